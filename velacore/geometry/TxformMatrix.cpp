#include <velacore/geometry/TxformMatrix.h>

#include <atomic>
#include <cmath>

namespace {

T4dDblMatrix translationMatrix(const TdblVector& v) {
  T4dDblMatrix m;
  m.fMatrix[3][0] = v[0];
  m.fMatrix[3][1] = v[1];
  m.fMatrix[3][2] = v[2];
  return m;
}

T4dDblMatrix diagonal(double a, double b, double c) {
  T4dDblMatrix m;
  m.fMatrix[0][0] = a;
  m.fMatrix[1][1] = b;
  m.fMatrix[2][2] = c;
  return m;
}

// 1/s and 1/p for the inverse. Division is slow and the inverse needs six, so one division of
// the product of all six gives them all through products; when an intermediate value leaves
// the normal range (a huge or tiny scale) each is divided separately instead.
void reciprocals(const Tscale& s, const Tscale& p, double (&is)[3], double (&ip)[3]) {
  const double s01 = s[0] * s[1], p01 = p[0] * p[1];
  const double ss = s01 * s[2], ps = p01 * p[2];
  const double total = ss * ps;
  if (std::isnormal(s01) && std::isnormal(p01) && std::isnormal(ss) && std::isnormal(ps) &&
      std::isnormal(total)) {
    const double r = 1.0 / total;
    const double rs = ps * r;  // 1 / (s0 s1 s2)
    const double rp = ss * r;  // 1 / (p0 p1 p2)
    is[0] = s[1] * s[2] * rs;
    is[1] = s[0] * s[2] * rs;
    is[2] = s01 * rs;
    ip[0] = p[1] * p[2] * rp;
    ip[1] = p[0] * p[2] * rp;
    ip[2] = p01 * rp;
    return;
  }
  for (int i = 0; i < 3; ++i) {
    is[i] = 1.0 / s[i];
    ip[i] = 1.0 / p[i];
  }
}

}  // namespace

Tquaternion TxformMatrix::computeRotation() const {
  Tquaternion r = fRotation.asQuaternion();
  // Identity orientations are skipped so that they add no rounding.
  if (fRotateOrient.w != 1.0) r = fRotateOrient * r;
  if (fJointOrient.w != 1.0) r = r * fJointOrient;
  return r;
}

Tquaternion TxformMatrix::recomputeRotation() const {
  std::uint8_t state = fRotationCache.state.load(std::memory_order_acquire);
  if (state == TrotationCache::kFresh) return fRotationCache.value;
  const Tquaternion r = computeRotation();
  if (state == TrotationCache::kDirty &&
      fRotationCache.state.compare_exchange_strong(state, TrotationCache::kWriting,
                                                   std::memory_order_acquire)) {
    fRotationCache.value = r;
    fRotationCache.state.store(TrotationCache::kFresh, std::memory_order_release);
  }
  return r;
}

void TxformMatrix::scaleBy(const Tscale& s) {
  for (int i = 0; i < 3; ++i) fScale[i] *= s[i];
}

void TxformMatrix::rotateTo(const TrotateXYZ& r) {
  fRotation = r;
  setFlag(kRotateIsQuaternion, false);
  markRotationDirty();
}

void TxformMatrix::rotateTo(const Tquaternion& q) {
  setCachedRotation(q.normal());
  setFlag(kRotateIsQuaternion, true);
}

void TxformMatrix::rotateBy(const Tquaternion& q) { rotateTo((q * rotation()).normal()); }

void TxformMatrix::setRotationOrder(TrotOrder order) {
  fRotation.order = order;
  markRotationDirty();
}

void TxformMatrix::setRotateOrient(const Tquaternion& q) {
  fRotateOrient = q.normal();
  markRotationDirty();
}

void TxformMatrix::setJointOrient(const Tquaternion& q) {
  fJointOrient = q.normal();
  markRotationDirty();
}

void TxformMatrix::translateBy(const TdblVector& t) {
  for (int i = 0; i < 3; ++i) fTranslation[i] += t[i];
}

void TxformMatrix::shearBy(const Tshear& s) {
  for (int i = 0; i < 3; ++i) fShear[i] += s[i];
}

void TxformMatrix::parentScaleInverseBy(const Tscale& s) {
  for (int i = 0; i < 3; ++i) fParentScaleInverse[i] *= s[i];
}

void TxformMatrix::setRotateIsQuaternion(bool on) {
  if (on == rotateIsQuaternion()) return;
  if (on) setCachedRotation(rotation());  // keep the current rotation as the authority
  setFlag(kRotateIsQuaternion, on);
  markRotationDirty();
}

T4dDblMatrix TxformMatrix::matrix() const {
  double R[3][3];
  rotation().rotationRows(R);
  const Tscale& s = fScale;
  const TdblVector& sp = fScalePivot;  // negated forms, as in the stored fields
  const TdblVector& rp = fRotatePivot;

  // Upper block diag(s) * Sh * R, and the point sp * diag(s) * Sh that the pivot goes to.
  double A[3][3];
  double v[3] = {sp[0] * s[0], sp[1] * s[1], sp[2] * s[2]};
  if (fShear.isNeutral()) {
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) A[i][j] = s[i] * R[i][j];
  } else {
    const double c0 = fShear[0], c1 = fShear[1], c2 = fShear[2];
    for (int j = 0; j < 3; ++j) {
      A[0][j] = s[0] * R[0][j];
      A[1][j] = s[1] * (c0 * R[0][j] + R[1][j]);
      A[2][j] = s[2] * (c1 * R[0][j] + c2 * R[1][j] + R[2][j]);
    }
    v[0] += c0 * v[1] + c1 * v[2];
    v[1] += c2 * v[2];
  }

  double u[3];
  for (int i = 0; i < 3; ++i) u[i] = rp[i] - sp[i] + fScaleTranslation[i] + v[i];
  T4dDblMatrix m;
  for (int j = 0; j < 3; ++j) {
    for (int i = 0; i < 3; ++i) m.fMatrix[i][j] = A[i][j];
    m.fMatrix[3][j] = fTranslation[j] - rp[j] + fRotateTranslation[j] + u[0] * R[0][j] +
                      u[1] * R[1][j] + u[2] * R[2][j];
  }

  if (applyParentScaleInverse()) {
    const Tscale& p = fParentScaleInverse;
    for (int j = 0; j < 3; ++j) {
      for (int i = 0; i < 3; ++i) m.fMatrix[i][j] *= p[j];
      m.fMatrix[3][j] = (m.fMatrix[3][j] - fTranslation[j]) * p[j] + fTranslation[j];
    }
  }
  return m;
}

T4dDblMatrix TxformMatrix::matrix(const Tshear2& upper) const {
  const double lower[4][4] = {{1.0, 0.0, 0.0, 0.0},
                              {fShear[0], 1.0, 0.0, 0.0},
                              {fShear[1], fShear[2], 1.0, 0.0},
                              {0.0, 0.0, 0.0, 1.0}};
  const double up[4][4] = {{1.0, upper[0], upper[1], 0.0},
                           {0.0, 1.0, upper[2], 0.0},
                           {0.0, 0.0, 1.0, 0.0},
                           {0.0, 0.0, 0.0, 1.0}};
  T4dDblMatrix m = translationMatrix(fScalePivot) * diagonal(fScale[0], fScale[1], fScale[2]) *
                   T4dDblMatrix(lower) * T4dDblMatrix(up) *
                   translationMatrix(negated(fScalePivot)) * translationMatrix(fScaleTranslation) *
                   translationMatrix(fRotatePivot) * rotation().asMatrix() *
                   translationMatrix(negated(fRotatePivot)) *
                   translationMatrix(fRotateTranslation) * translationMatrix(fTranslation);
  if (applyParentScaleInverse()) {
    const Tscale& p = fParentScaleInverse;
    m = m * translationMatrix(negated(fTranslation)) * diagonal(p[0], p[1], p[2]) *
        translationMatrix(fTranslation);
  }
  return m;
}

T4dDblMatrix TxformMatrix::inverse() const {
  const bool parentInverse = applyParentScaleInverse();
  const Tscale& s = fScale;
  const Tscale& p = fParentScaleInverse;
  // One named result for every return, so that it is built in place (a copy of a matrix
  // written element by element stalls on store forwarding).
  T4dDblMatrix m;
  for (int i = 0; i < 3; ++i)
    if (s[i] == 0.0 || (parentInverse && p[i] == 0.0)) return m;  // singular: the identity
  double R[3][3];
  rotation().rotationRows(R);
  // The unit lower-triangular shear I + N inverts to I - N + N*N: rows (1, 0, 0), (-c0, 1, 0),
  // (c0*c2 - c1, -c2, 1). Applied always: a branch costs more than its five flops.
  const double c0 = fShear[0], c2 = fShear[2], c02 = c0 * c2 - fShear[1];
  double is[3], ip[3];
  reciprocals(s, parentInverse ? p : Tscale(), is, ip);

  // Upper block: (diag(s) * Sh * R * diag(p))^-1 = diag(1/p) * transpose(R) * Sh^-1 * diag(1/s).
  for (int i = 0; i < 3; ++i) {
    const double r0 = R[0][i] * ip[i], r1 = R[1][i] * ip[i], r2 = R[2][i] * ip[i];
    m.fMatrix[i][0] = (r0 - c0 * r1 + c02 * r2) * is[0];
    m.fMatrix[i][1] = (r1 - c2 * r2) * is[1];
    m.fMatrix[i][2] = r2 * is[2];
  }

  // Fourth row: the origin taken back through every inverted factor, the last factor first.
  const TdblVector& t = fTranslation;
  const TdblVector& sp = fScalePivot;  // negated forms, as stored
  const TdblVector& rp = fRotatePivot;
  const TdblVector& st = fScaleTranslation;
  const TdblVector& rt = fRotateTranslation;
  double v[3];
  for (int j = 0; j < 3; ++j) v[j] = rp[j] - rt[j] - t[j] * ip[j];  // t - t/p - t = -t/p
  double w[3];
  for (int j = 0; j < 3; ++j)
    w[j] = v[0] * R[j][0] + v[1] * R[j][1] + v[2] * R[j][2] - rp[j] - st[j] + sp[j];
  m.fMatrix[3][0] = (w[0] - c0 * w[1] + c02 * w[2]) * is[0] - sp[0];
  m.fMatrix[3][1] = (w[1] - c2 * w[2]) * is[1] - sp[1];
  m.fMatrix[3][2] = w[2] * is[2] - sp[2];
  return m;
}

bool TxformMatrix::decompose(const T4dDblMatrix& m, TxformMatrix& out, TrotOrder order) {
  // The block is diag(s) * Sh * R with Sh unit lower-triangular and R a rotation: Gram-Schmidt
  // from the first row down recovers R's rows, the scales as lengths and the shears as the
  // projections.
  const auto dot = [](const double* a, const double* b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
  };
  double R[3][3];
  double s[3];
  double proj[3] = {0.0, 0.0, 0.0};  // row1.R0, row2.R0, row2.R1
  for (int row = 0; row < 3; ++row) {
    for (int c = 0; c < 3; ++c) R[row][c] = m.fMatrix[row][c];
    for (int prev = 0; prev < row; ++prev) {
      const double p = dot(R[row], R[prev]);
      proj[row == 1 ? 0 : 1 + prev] = p;
      for (int c = 0; c < 3; ++c) R[row][c] -= p * R[prev][c];
    }
    s[row] = std::sqrt(dot(R[row], R[row]));
    if (!(s[row] > 1e-300) || !std::isfinite(s[row])) return false;
    for (int c = 0; c < 3; ++c) R[row][c] /= s[row];
  }
  const double cross[3] = {R[0][1] * R[1][2] - R[0][2] * R[1][1],
                           R[0][2] * R[1][0] - R[0][0] * R[1][2],
                           R[0][0] * R[1][1] - R[0][1] * R[1][0]};
  if (dot(cross, R[2]) < 0.0) {  // a mirror: keep R a rotation
    s[2] = -s[2];
    for (double& v : R[2]) v = -v;
  }
  T4dDblMatrix rot;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) rot.fMatrix[r][c] = R[r][c];
  TxformMatrix x;
  x.scaleTo(Tscale(s[0], s[1], s[2]));
  x.shearTo(Tshear(proj[0] / s[1], proj[1] / s[2], proj[2] / s[2]));
  x.rotateTo(TrotateXYZ::fromMatrix(rot, order));
  x.translateTo(TdblVector(m.fMatrix[3][0], m.fMatrix[3][1], m.fMatrix[3][2]));
  out = x;
  return true;
}
