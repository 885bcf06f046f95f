#include <velacore/geometry/TxformMatrix.h>

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

}  // namespace

Tquaternion TxformMatrix::computeRotation() const {
  Tquaternion r = fRotation.asQuaternion();
  // Identity orientations are skipped so that they add no rounding.
  if (fRotateOrient.w != 1.0) r = fRotateOrient * r;
  if (fJointOrient.w != 1.0) r = r * fJointOrient;
  return r;
}

Tquaternion TxformMatrix::rotation() const {
  if (rotateIsQuaternion() || !fRotationDirty) return fCachedRotation;
  return computeRotation();
}

void TxformMatrix::refreshRotation() {
  if (rotateIsQuaternion() || !fRotationDirty) return;
  fCachedRotation = computeRotation();
  fRotationDirty = 0;
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
  fCachedRotation = q.normal();
  fRotationDirty = 0;
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
  if (on) fCachedRotation = rotation();  // keep the current rotation as the authority
  setFlag(kRotateIsQuaternion, on);
  markRotationDirty();
}

T4dDblMatrix TxformMatrix::matrix() const {
  const T4dDblMatrix rm = rotation().asMatrix();
  const auto& R = rm.fMatrix;
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
  for (int i = 0; i < 3; ++i)
    if (fScale[i] == 0.0 || (applyParentScaleInverse() && fParentScaleInverse[i] == 0.0))
      return T4dDblMatrix();
  // Each factor inverted, in reverse order: translations negate, the rotation transposes,
  // the scale takes reciprocals, and the unit lower-triangular shear I + N inverts to
  // I - N + N*N.
  const double c0 = fShear[0], c1 = fShear[1], c2 = fShear[2];
  const double shearInv[4][4] = {{1.0, 0.0, 0.0, 0.0},
                                 {-c0, 1.0, 0.0, 0.0},
                                 {c0 * c2 - c1, -c2, 1.0, 0.0},
                                 {0.0, 0.0, 0.0, 1.0}};
  T4dDblMatrix m;
  if (applyParentScaleInverse()) {
    const Tscale& p = fParentScaleInverse;
    m = translationMatrix(negated(fTranslation)) * diagonal(1.0 / p[0], 1.0 / p[1], 1.0 / p[2]) *
        translationMatrix(fTranslation);
  }
  m = m * translationMatrix(negated(fTranslation)) *
      translationMatrix(negated(fRotateTranslation)) * translationMatrix(fRotatePivot) *
      rotation().asMatrix().transpose() * translationMatrix(negated(fRotatePivot)) *
      translationMatrix(negated(fScaleTranslation)) * translationMatrix(fScalePivot);
  if (!fShear.isNeutral()) m = m * T4dDblMatrix(shearInv);
  return m * diagonal(1.0 / fScale[0], 1.0 / fScale[1], 1.0 / fScale[2]) *
         translationMatrix(negated(fScalePivot));
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
