#include <velacore/geometry/internal/TxformInverse.h>

#include <velacore/geometry/TxformMatrix.h>

#include <cstring>

#if defined(__x86_64__) && defined(__GNUC__)
#  define VELA_GEOMETRY_WIDE_KERNEL 1
#  include <immintrin.h>
#endif

namespace vela::geometry_internal {

namespace {

// Two doubles that the compiler keeps in one SSE (or NEON) register; elsewhere a plain pair.
#if defined(__GNUC__)
typedef double Tpair __attribute__((vector_size(16)));
#else
struct Tpair {
  double v[2];
  double operator[](int i) const { return v[i]; }
};
inline Tpair operator+(Tpair a, Tpair b) { return Tpair{a.v[0] + b.v[0], a.v[1] + b.v[1]}; }
inline Tpair operator-(Tpair a, Tpair b) { return Tpair{a.v[0] - b.v[0], a.v[1] - b.v[1]}; }
inline Tpair operator*(Tpair a, Tpair b) { return Tpair{a.v[0] * b.v[0], a.v[1] * b.v[1]}; }
inline Tpair operator*(double k, Tpair a) { return Tpair{k * a.v[0], k * a.v[1]}; }
inline Tpair operator*(Tpair a, double k) { return k * a; }
inline Tpair operator/(double k, Tpair a) { return Tpair{k / a.v[0], k / a.v[1]}; }
#endif

inline Tpair loadPair(const double* p) {
  Tpair r;
  std::memcpy(&r, p, sizeof r);
  return r;
}
inline void storePair(double* p, Tpair v) { std::memcpy(p, &v, sizeof v); }

const double kOnes[3] = {1.0, 1.0, 1.0};

// The exact test behind a product of scales that came out zero (it may have underflowed).
bool anyZero(const double* s, const double* p) {
  for (int i = 0; i < 3; ++i)
    if (s[i] == 0.0 || p[i] == 0.0) return true;
  return false;
}

// Each kernel body is inlined into two entries: one for TinverseParts and one for a
// TxformMatrix, whose parts are then addresses of its fields and cost nothing to pass.
#if defined(__GNUC__)
#  define VELA_INLINE __attribute__((always_inline)) inline
#else
#  define VELA_INLINE inline
#endif

VELA_INLINE bool portableBody(const TinverseParts& c, double (&out)[4][4]) {
  const double* s = c.scale;
  const double* p = c.parentScaleInverse ? c.parentScaleInverse : kOnes;
  if (s[0] * s[1] * s[2] * (p[0] * p[1] * p[2]) == 0.0 && anyZero(s, p)) return false;
  const Tpair s01 = loadPair(s), p01 = loadPair(p);
  const Tpair is01 = 1.0 / s01, ip01 = 1.0 / p01, r2 = 1.0 / Tpair{s[2], p[2]};
  const double is2 = r2[0], ip2 = r2[1];

  // Rotation rows k as the pair (R[k][0], R[k][1]) and the third column as {R[0][2], R[1][2]}
  // and R[2][2]: the products of the quaternion's components, two at a time.
  const Tpair q01 = loadPair(c.rotation), q23 = loadPair(c.rotation + 2);  // {x, y}, {z, w}
  const Tpair d01 = q01 + q01, d23 = q23 + q23;
  const double x2 = d01[0], y2 = d01[1], z2 = d23[0], w2 = d23[1];
  const Tpair u = {q01[1], -q01[0]};  // {y, -x}
  const Tpair R0 = Tpair{1.0, 0.0} - u * y2 - Tpair{q23[0], -q23[1]} * z2;
  const Tpair R1 = Tpair{0.0, 1.0} + u * x2 - Tpair{q23[1], q23[0]} * z2;
  const Tpair a = q01 * z2, b = u * w2;
  const Tpair R2 = a + b, Rc = a - b;
  const Tpair sq = q01 * d01;
  const double R22 = 1.0 - (sq[0] + sq[1]);

  // Columns of transpose(R) * Sh^-1 over rows 0 and 1 (pairs) and row 2 (scalars), scaled.
  const double c0 = c.shear[0], c2 = c.shear[2], c02 = c0 * c2 - c.shear[1];
  const Tpair C0 = R0 - c0 * R1 + c02 * R2, C1 = R1 - c2 * R2;
  const double C02 = Rc[0] - c0 * Rc[1] + c02 * R22, C12 = Rc[1] - c2 * R22;
  const Tpair B0 = C0 * (ip01 * is01[0]), B1 = C1 * (ip01 * is01[1]), B2 = R2 * (ip01 * is2);
  const Tpair row0 = {B0[0], B1[0]}, row1 = {B0[1], B1[1]};
  const Tpair row2 = Tpair{C02, C12} * (is01 * ip2);
  const double b22 = R22 * (is2 * ip2);
  storePair(out[0], row0);
  storePair(out[0] + 2, Tpair{B2[0], 0.0});
  storePair(out[1], row1);
  storePair(out[1] + 2, Tpair{B2[1], 0.0});
  storePair(out[2], row2);
  storePair(out[2] + 2, Tpair{b22, 0.0});

  // Fourth row: g * block + (h * Sh^-1) o (1/s) - scalePivot', with g = P(rp' - rt) - t and
  // h = sp' - rp' - st (primes: the stored negated pivots).
  const double *t = c.translation, *sp = c.scalePivot, *st = c.scaleTranslation;
  const double *rp = c.rotatePivot, *rt = c.rotateTranslation;
  const Tpair g01 = p01 * (loadPair(rp) - loadPair(rt)) - loadPair(t);
  const double g2 = p[2] * (rp[2] - rt[2]) - t[2];
  const Tpair sp01 = loadPair(sp);
  const Tpair h01 = sp01 - loadPair(rp) - loadPair(st);
  const double h2 = sp[2] - rp[2] - st[2];
  const Tpair hN = Tpair{h01[0] - c0 * h01[1] + c02 * h2, h01[1] - c2 * h2} * is01;
  const Tpair T01 = g01[0] * row0 + g01[1] * row1 + g2 * row2 + (hN - sp01);
  const Tpair g3 = g01 * B2;
  const double T2 = g3[0] + g3[1] + g2 * b22 + h2 * is2 - sp[2];
  storePair(out[3], T01);
  storePair(out[3] + 2, Tpair{T2, 1.0});
  return true;
}

}  // namespace

// The friend of TxformMatrix that reads its fields.
struct TxformInverseAccess {
  VELA_INLINE static TinverseParts parts(const TxformMatrix& x, const double* rotation) {
    return TinverseParts{x.fScale.f,
                         x.fShear.f,
                         x.fTranslation.f,
                         x.fScalePivot.f,
                         x.fScaleTranslation.f,
                         x.fRotatePivot.f,
                         x.fRotateTranslation.f,
                         x.applyParentScaleInverse() ? x.fParentScaleInverse.f : nullptr,
                         rotation};
  }
};

bool invertPortable(const TinverseParts& parts, double (&out)[4][4]) {
  return portableBody(parts, out);
}

namespace {

bool invertPortableXform(const TxformMatrix& x, const double* rotation, double (&out)[4][4]) {
  return portableBody(TxformInverseAccess::parts(x, rotation), out);
}

}  // namespace

#if VELA_GEOMETRY_WIDE_KERNEL

namespace {

// The same formula on rows of four doubles: the three columns of the block are built over the
// rows (lane 3 unused), transposed, and the fourth row is a combination of the three rows.
#  define VELA_WIDE __attribute__((target("avx2,fma")))
#  define VELA_PERMUTE(v, a, b, c, d) _mm256_permute4x64_pd(v, (a) | (b) << 2 | (c) << 4 | (d) << 6)

// One rotation row: unit + q1 o d1 o sign1 + q2 o d2 o sign2.
VELA_WIDE inline __m256d rotationRow(__m256d q1, __m256d d1, __m256d sign1, __m256d q2, __m256d d2,
                                     __m256d sign2, __m256d unit) {
  return _mm256_fmadd_pd(_mm256_mul_pd(q2, d2), sign2,
                         _mm256_fmadd_pd(_mm256_mul_pd(q1, d1), sign1, unit));
}

VELA_WIDE VELA_INLINE bool wideBody(const TinverseParts& c, double (&out)[4][4]) {
  const __m256d one = _mm256_set1_pd(1.0), zero = _mm256_setzero_pd();
  // Four doubles from three-double fields: lane 3 belongs to the next field. It is replaced
  // by 1 where it would be divided by, and otherwise lands only in lane 3 of the fourth row,
  // which is set at the end.
  const __m256d s = _mm256_blend_pd(_mm256_loadu_pd(c.scale), one, 8);
  const __m256d p =
      c.parentScaleInverse ? _mm256_blend_pd(_mm256_loadu_pd(c.parentScaleInverse), one, 8) : one;
  const __m256d zeros =
      _mm256_or_pd(_mm256_cmp_pd(s, zero, _CMP_EQ_OQ), _mm256_cmp_pd(p, zero, _CMP_EQ_OQ));
  if (_mm256_movemask_pd(zeros) != 0) return false;
  const __m256d is = _mm256_div_pd(one, s), ip = _mm256_div_pd(one, p);

  // Rotation rows (lane 3 zero): the quaternion's products, two permuted factors at a time.
  const __m256d q = _mm256_loadu_pd(c.rotation), d = _mm256_add_pd(q, q);
  const __m256d R0 =
      rotationRow(VELA_PERMUTE(q, 1, 1, 2, 3), VELA_PERMUTE(d, 1, 0, 0, 3), _mm256_setr_pd(-1, 1, 1, 0),
          VELA_PERMUTE(q, 2, 2, 1, 3), VELA_PERMUTE(d, 2, 3, 3, 3), _mm256_setr_pd(-1, 1, -1, 0),
          _mm256_setr_pd(1, 0, 0, 0));
  const __m256d R1 =
      rotationRow(VELA_PERMUTE(q, 0, 0, 1, 3), VELA_PERMUTE(d, 1, 0, 2, 3), _mm256_setr_pd(1, -1, 1, 0),
          VELA_PERMUTE(q, 2, 2, 0, 3), VELA_PERMUTE(d, 3, 2, 3, 3), _mm256_setr_pd(-1, -1, 1, 0),
          _mm256_setr_pd(0, 1, 0, 0));
  const __m256d R2 =
      rotationRow(VELA_PERMUTE(q, 0, 1, 0, 3), VELA_PERMUTE(d, 2, 2, 0, 3), _mm256_setr_pd(1, 1, -1, 0),
          VELA_PERMUTE(q, 1, 0, 1, 3), VELA_PERMUTE(d, 3, 3, 1, 3), _mm256_setr_pd(1, -1, -1, 0),
          _mm256_setr_pd(0, 0, 1, 0));

  // Columns j of the block over its rows: (R0, R1, R2 combined by Sh^-1) o (1/p) * (1/s_j).
  const double c0 = c.shear[0], c2 = c.shear[2], c02 = c0 * c2 - c.shear[1];
  const __m256d C0 = _mm256_fmadd_pd(_mm256_set1_pd(c02), R2,
                                     _mm256_fnmadd_pd(_mm256_set1_pd(c0), R1, R0));
  const __m256d C1 = _mm256_fnmadd_pd(_mm256_set1_pd(c2), R2, R1);
  const __m256d B0 = _mm256_mul_pd(C0, _mm256_mul_pd(ip, VELA_PERMUTE(is, 0, 0, 0, 0)));
  const __m256d B1 = _mm256_mul_pd(C1, _mm256_mul_pd(ip, VELA_PERMUTE(is, 1, 1, 1, 1)));
  const __m256d B2 = _mm256_mul_pd(R2, _mm256_mul_pd(ip, VELA_PERMUTE(is, 2, 2, 2, 2)));
  const __m256d t0 = _mm256_unpacklo_pd(B0, B1), t1 = _mm256_unpackhi_pd(B0, B1);
  const __m256d t2 = _mm256_unpacklo_pd(B2, zero), t3 = _mm256_unpackhi_pd(B2, zero);
  const __m256d row0 = _mm256_permute2f128_pd(t0, t2, 0x20);
  const __m256d row1 = _mm256_permute2f128_pd(t1, t3, 0x20);
  const __m256d row2 = _mm256_permute2f128_pd(t0, t2, 0x31);
  _mm256_storeu_pd(out[0], row0);
  _mm256_storeu_pd(out[1], row1);
  _mm256_storeu_pd(out[2], row2);

  // Fourth row, as in the portable kernel: g * block + (h * Sh^-1) o (1/s) - scalePivot'.
  const __m256d rp = _mm256_loadu_pd(c.rotatePivot), sp = _mm256_loadu_pd(c.scalePivot);
  const __m256d g = _mm256_fmsub_pd(p, _mm256_sub_pd(rp, _mm256_loadu_pd(c.rotateTranslation)),
                                    _mm256_loadu_pd(c.translation));
  const __m256d h = _mm256_sub_pd(_mm256_sub_pd(sp, rp), _mm256_loadu_pd(c.scaleTranslation));
  const __m256d hN = _mm256_fmadd_pd(
      _mm256_setr_pd(c02, 0, 0, 0), VELA_PERMUTE(h, 2, 2, 2, 2),
      _mm256_fnmadd_pd(_mm256_setr_pd(c0, c2, 0, 0), VELA_PERMUTE(h, 1, 2, 3, 3), h));
  __m256d T = _mm256_fmsub_pd(hN, is, sp);
  T = _mm256_fmadd_pd(VELA_PERMUTE(g, 0, 0, 0, 0), row0, T);
  T = _mm256_fmadd_pd(VELA_PERMUTE(g, 1, 1, 1, 1), row1, T);
  T = _mm256_fmadd_pd(VELA_PERMUTE(g, 2, 2, 2, 2), row2, T);
  _mm256_storeu_pd(out[3], _mm256_blend_pd(T, one, 8));
  return true;
}

VELA_WIDE bool invertWide(const TinverseParts& parts, double (&out)[4][4]) {
  return wideBody(parts, out);
}

VELA_WIDE bool invertWideXform(const TxformMatrix& x, const double* rotation,
                               double (&out)[4][4]) {
  return wideBody(TxformInverseAccess::parts(x, rotation), out);
}

#  undef VELA_PERMUTE
#  undef VELA_WIDE

bool hasWideKernel() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}

}  // namespace

TinverseKernel wideInverseKernel() { return hasWideKernel() ? &invertWide : nullptr; }

TxformInverseKernel xformInverseKernel() {
  return hasWideKernel() ? &invertWideXform : &invertPortableXform;
}

#else

TinverseKernel wideInverseKernel() { return nullptr; }

TxformInverseKernel xformInverseKernel() { return &invertPortableXform; }

#endif

}  // namespace vela::geometry_internal
