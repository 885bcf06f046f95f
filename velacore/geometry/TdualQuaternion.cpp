#include <velacore/geometry/TdualQuaternion.h>

#include <cmath>

namespace {

Tquaternion pure(const TdblVector& v) { return Tquaternion(v[0], v[1], v[2], 0.0); }

}  // namespace

TdualQuaternion::TdualQuaternion(const Tquaternion& rotation, const TdblVector& translation)
    : real(rotation.normal()), dual(pure(translation) * real * 0.5) {}

TdualQuaternion::TdualQuaternion(const T4dDblMatrix& m)
    : TdualQuaternion(Tquaternion(m), TdblVector(m(3, 0), m(3, 1), m(3, 2))) {}

TdblVector TdualQuaternion::translation() const {
  const Tquaternion t = dual * real.conjugate() * 2.0;
  return TdblVector(t.x, t.y, t.z);
}

TdblVector TdualQuaternion::transformPoint(const TdblVector& p) const {
  double r[3][3];
  real.rotationRows(r);
  const TdblVector t = translation();
  TdblVector out;
  for (int c = 0; c < 3; ++c) out[c] = p[0] * r[0][c] + p[1] * r[1][c] + p[2] * r[2][c] + t[c];
  return out;
}

T4dDblMatrix TdualQuaternion::asMatrix() const {
  T4dDblMatrix m = real.asMatrix();
  const TdblVector t = translation();
  for (int c = 0; c < 3; ++c) m(3, c) = t[c];
  return m;
}

TdualQuaternion TdualQuaternion::normal() const {
  const double len = real.length();
  if (len == 0.0 || !std::isfinite(len)) return TdualQuaternion();
  const Tquaternion r = real * (1.0 / len);
  const Tquaternion d = dual * (1.0 / len);
  // A rigid transform's dual part is orthogonal to its real part; drop what is not.
  return fromParts(r, d - r * r.dot(d));
}

TdualQuaternion TdualQuaternion::blend(const TdualQuaternion* dqs, const double* weights, int n) {
  if (n <= 0) return TdualQuaternion();
  Tquaternion r(0.0, 0.0, 0.0, 0.0), d(0.0, 0.0, 0.0, 0.0);
  for (int i = 0; i < n; ++i) {
    const double w = dqs[i].real.dot(dqs[0].real) < 0.0 ? -weights[i] : weights[i];
    r = r + dqs[i].real * w;
    d = d + dqs[i].dual * w;
  }
  return fromParts(r, d).normal();
}

TdualQuaternion TdualQuaternion::blend(const TdualQuaternion& a, const TdualQuaternion& b,
                                       double t) {
  const TdualQuaternion both[2] = {a, b};
  const double weights[2] = {1.0 - t, t};
  return blend(both, weights, 2);
}

bool TdualQuaternion::isEquivalent(const TdualQuaternion& o, double tolerance) const {
  const auto near = [&](double s) {
    const auto close = [&](const Tquaternion& a, const Tquaternion& b) {
      return std::fabs(a.x - s * b.x) <= tolerance && std::fabs(a.y - s * b.y) <= tolerance &&
             std::fabs(a.z - s * b.z) <= tolerance && std::fabs(a.w - s * b.w) <= tolerance;
    };
    return close(real, o.real) && close(dual, o.dual);
  };
  return near(1.0) || near(-1.0);
}
