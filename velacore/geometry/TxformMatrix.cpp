#include <velacore/geometry/TxformMatrix.h>

#include <velacore/geometry/internal/TxformInverse.h>

#include <atomic>
#include <cmath>
#include <cstring>

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

using Tblock = double[3][3];

// A 3x3 block as a value, for helpers that return one.
struct Tmat3 {
  double m[3][3];
  operator const Tblock&() const { return m; }  // NOLINT(google-explicit-constructor)
};

Tmat3 upperBlock(const T4dDblMatrix& w) {
  Tmat3 b;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) b.m[i][j] = w(i, j);
  return b;
}

// The block diag(s) * Sh * R, Sh the unit lower-triangular shear c.
void shearedBlock(const Tscale& s, const Tshear& c, const Tblock& R, Tblock& a) {
  for (int j = 0; j < 3; ++j) {
    a[0][j] = s[0] * R[0][j];
    a[1][j] = s[1] * (c[0] * R[0][j] + R[1][j]);
    a[2][j] = s[2] * (c[1] * R[0][j] + c[2] * R[1][j] + R[2][j]);
  }
}

void multiply(const Tblock& a, const Tblock& b, Tblock& out) {
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      out[i][j] = a[i][0] * b[0][j] + a[i][1] * b[1][j] + a[i][2] * b[2][j];
}

bool invert(const Tblock& a, Tblock& out) {
  const double c00 = a[1][1] * a[2][2] - a[1][2] * a[2][1];
  const double c01 = a[1][2] * a[2][0] - a[1][0] * a[2][2];
  const double c02 = a[1][0] * a[2][1] - a[1][1] * a[2][0];
  const double det = a[0][0] * c00 + a[0][1] * c01 + a[0][2] * c02;
  if (det == 0.0 || !std::isfinite(det)) return false;
  const double k = 1.0 / det;
  out[0][0] = c00 * k;
  out[1][0] = c01 * k;
  out[2][0] = c02 * k;
  out[0][1] = (a[0][2] * a[2][1] - a[0][1] * a[2][2]) * k;
  out[1][1] = (a[0][0] * a[2][2] - a[0][2] * a[2][0]) * k;
  out[2][1] = (a[0][1] * a[2][0] - a[0][0] * a[2][1]) * k;
  out[0][2] = (a[0][1] * a[1][2] - a[0][2] * a[1][1]) * k;
  out[1][2] = (a[0][2] * a[1][0] - a[0][0] * a[1][2]) * k;
  out[2][2] = (a[0][0] * a[1][1] - a[0][1] * a[1][0]) * k;
  return true;
}

TdblVector rowTimes(const TdblVector& v, const Tblock& a) {
  return TdblVector(v[0] * a[0][0] + v[1] * a[1][0] + v[2] * a[2][0],
                    v[0] * a[0][1] + v[1] * a[1][1] + v[2] * a[2][1],
                    v[0] * a[0][2] + v[1] * a[1][2] + v[2] * a[2][2]);
}

// v * transpose(r): undoes a rotation.
TdblVector timesTranspose(const TdblVector& v, const Tblock& r) {
  return TdblVector(v[0] * r[0][0] + v[1] * r[0][1] + v[2] * r[0][2],
                    v[0] * r[1][0] + v[1] * r[1][1] + v[2] * r[1][2],
                    v[0] * r[2][0] + v[1] * r[2][1] + v[2] * r[2][2]);
}

TdblVector transformPoint(const TdblVector& p, const T4dDblMatrix& m) {
  const TdblVector v = rowTimes(p, upperBlock(m));
  return TdblVector(v[0] + m(3, 0), v[1] + m(3, 1), v[2] + m(3, 2));
}

TdblVector minus(const TdblVector& a, const TdblVector& b) {
  return TdblVector(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}

// Splits a block into diag(s) * Sh * R, Sh unit lower-triangular and R a rotation: Gram-Schmidt
// from the first row down gives R's rows, the scales as lengths and the shears as the
// projections. A mirror gets a negative z scale. False for a singular block.
bool splitBlock(const Tblock& a, double (&s)[3], double (&shear)[3], Tblock& R) {
  const auto dot = [](const double* x, const double* y) {
    return x[0] * y[0] + x[1] * y[1] + x[2] * y[2];
  };
  double proj[3] = {0.0, 0.0, 0.0};  // row1.R0, row2.R0, row2.R1
  for (int row = 0; row < 3; ++row) {
    for (int c = 0; c < 3; ++c) R[row][c] = a[row][c];
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
  shear[0] = proj[0] / s[1];
  shear[1] = proj[1] / s[2];
  shear[2] = proj[2] / s[2];
  return true;
}

// The 4x4 matrix with `a` as its upper block and no translation.
T4dDblMatrix withBlock(const Tblock& a) {
  T4dDblMatrix m;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) m(i, j) = a[i][j];
  return m;
}

Tquaternion rotationOf(const Tblock& r) { return Tquaternion(withBlock(r)).normal(); }

// The rotation part of a matrix that may also scale and shear (the identity if singular).
Tquaternion rotationOf(const T4dDblMatrix& w) {
  double s[3], shear[3];
  Tblock R;
  if (!splitBlock(upperBlock(w), s, shear, R)) return Tquaternion();
  return rotationOf(R);
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

// ---- Setters and their spaces ----

void TxformMatrix::linearBlock(Tblock& a) const {
  double R[3][3];
  rotation().rotationRows(R);
  shearedBlock(fScale, fShear, R, a);
}

bool TxformMatrix::setLinearBlock(const Tblock& a) {
  double s[3], shear[3];
  Tblock R;
  if (!splitBlock(a, s, shear, R)) return false;
  fScale = Tscale(s[0], s[1], s[2]);
  fShear = Tshear(shear[0], shear[1], shear[2]);
  setCombinedRotation(rotationOf(R));
  return true;
}

void TxformMatrix::applyInSpace(const Tblock& x, const TxformSpace& space) {
  // The space's frame is F = P (the parent scale inverse, when applied), times the linear
  // part of the parent's world matrix for kWorld; a map X along its axes changes the block A
  // to A * F * X * F^-1.
  Tblock f = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  if (applyParentScaleInverse())
    for (int i = 0; i < 3; ++i) f[i][i] = fParentScaleInverse[i];
  if (space.kind() == TxformSpace::kWorld) {
    const Tblock p = {{f[0][0], 0, 0}, {0, f[1][1], 0}, {0, 0, f[2][2]}};
    multiply(p, upperBlock(space.parentWorld()), f);
  }
  Tblock fInv, a, af, afx;
  if (!invert(f, fInv)) return;
  linearBlock(a);
  multiply(a, f, af);
  multiply(af, x, afx);
  multiply(afx, fInv, a);
  setLinearBlock(a);
}

void TxformMatrix::setCombinedRotation(const Tquaternion& c) {
  if (rotateIsQuaternion()) {
    setCachedRotation(c.normal());
    return;
  }
  // Combined = rotateOrient * euler * jointOrient, so euler = ro^-1 * combined * jo^-1.
  const Tquaternion euler = fRotateOrient.conjugate() * c * fJointOrient.conjugate();
  fRotation = TrotateXYZ::fromMatrix(euler.asMatrix(), fRotation.order).closestSolution(fRotation);
  markRotationDirty();
}

TdblVector TxformMatrix::parentOffset(const TdblVector& v, const TxformSpace& space) const {
  switch (space.kind()) {
    case TxformSpace::kObject:
      return rowTimes(v, upperBlock(matrix()));
    case TxformSpace::kWorld: {
      Tblock inv;
      if (!invert(upperBlock(space.parentWorld()), inv)) return v;
      return rowTimes(v, inv);
    }
    default:
      return v;
  }
}

TdblVector TxformMatrix::parentPoint(const TdblVector& v, const TxformSpace& space) const {
  switch (space.kind()) {
    case TxformSpace::kObject:
      return transformPoint(v, matrix());
    case TxformSpace::kWorld: {
      bool ok = false;
      const T4dDblMatrix inv = space.parentWorld().inverse(&ok);
      return ok ? transformPoint(v, inv) : v;
    }
    default:
      return v;
  }
}

// `v` with the parent scale inverse taken off, when it is applied.
TdblVector TxformMatrix::withoutParentScale(const TdblVector& v) const {
  if (!applyParentScaleInverse()) return v;
  const Tscale& p = fParentScaleInverse;
  return TdblVector(v[0] / p[0], v[1] / p[1], v[2] / p[2]);
}

TdblVector TxformMatrix::afterRotation(const TdblVector& p, const TxformSpace& space) const {
  return withoutParentScale(minus(parentPoint(p, space), fTranslation));
}

void TxformMatrix::scaleTo(const Tscale& s, const TxformSpace& space) {
  if (!outerSpace(space)) {
    fScale = s;
    return;
  }
  // Along the space's axes: scale each axis by the factor that brings its length to s.
  Tblock a;
  linearBlock(a);
  if (applyParentScaleInverse())
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) a[i][j] *= fParentScaleInverse[j];
  if (space.kind() == TxformSpace::kWorld) {
    Tblock aw;
    multiply(a, upperBlock(space.parentWorld()), aw);
    std::memcpy(a, aw, sizeof a);
  }
  Tblock d = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  for (int j = 0; j < 3; ++j) {
    const double len = std::sqrt(a[0][j] * a[0][j] + a[1][j] * a[1][j] + a[2][j] * a[2][j]);
    if (len > 0.0) d[j][j] = s[j] / len;
  }
  applyInSpace(d, space);
}

void TxformMatrix::scaleBy(const Tscale& s, const TxformSpace& space) {
  if (!outerSpace(space)) {
    for (int i = 0; i < 3; ++i) fScale[i] *= s[i];
    return;
  }
  const Tblock d = {{s[0], 0, 0}, {0, s[1], 0}, {0, 0, s[2]}};
  applyInSpace(d, space);
}

void TxformMatrix::shearTo(const Tshear& s, const TxformSpace& space) {
  if (!outerSpace(space)) {
    fShear = s;
    return;
  }
  fShear = Tshear();
  shearBy(s, space);
}

void TxformMatrix::shearBy(const Tshear& s, const TxformSpace& space) {
  if (!outerSpace(space)) {
    for (int i = 0; i < 3; ++i) fShear[i] += s[i];
    return;
  }
  const Tblock sh = {{1, 0, 0}, {s[0], 1, 0}, {s[1], s[2], 1}};
  applyInSpace(sh, space);
}

Tquaternion TxformMatrix::combinedAfter(const Tquaternion& q, const TxformSpace& space) const {
  const Tquaternion c = rotation();
  switch (space.kind()) {
    case TxformSpace::kObject:
      return (c * q).normal();  // q first, about the object's own axes
    case TxformSpace::kWorld: {
      const Tquaternion w = rotationOf(space.parentWorld());
      return (w.conjugate() * q * w * c).normal();
    }
    default:
      return (q * c).normal();
  }
}

void TxformMatrix::rotateTo(const TrotateXYZ& r, const TxformSpace& space) {
  fRotation = r;
  setFlag(kRotateIsQuaternion, false);
  markRotationDirty();
  if (outerSpace(space)) setCombinedRotation(inParent(r.asQuaternion(), space));
}

void TxformMatrix::rotateTo(const Tquaternion& q, const TxformSpace& space) {
  Tquaternion c = inParent(q, space);
  if (space.kind() == TxformSpace::kObject) c = fRotateOrient * q * fJointOrient;
  setCachedRotation(c.normal());
  setFlag(kRotateIsQuaternion, true);
}

void TxformMatrix::rotateBy(const Tquaternion& q, const TxformSpace& space) {
  rotateTo(combinedAfter(q, space));
}

void TxformMatrix::rotateBy(const TrotateXYZ& r, const TxformSpace& space) {
  if (rotateIsQuaternion())
    rotateBy(r.asQuaternion(), space);
  else
    setCombinedRotation(combinedAfter(r.asQuaternion(), space));
}

// A rotation given in `space`, relative to the parent: kWorld takes off the parent's world
// rotation (mat(c) * mat(w) == mat(q), so c = w^-1 * q).
Tquaternion TxformMatrix::inParent(const Tquaternion& q, const TxformSpace& space) {
  if (space.kind() != TxformSpace::kWorld) return q;
  return rotationOf(space.parentWorld()).conjugate() * q;
}

void TxformMatrix::setRotationOrder(TrotOrder order) {
  fRotation.order = order;
  markRotationDirty();
}

void TxformMatrix::setRotateOrient(const Tquaternion& q, const TxformSpace& space) {
  fRotateOrient = inParent(q, space).normal();
  markRotationDirty();
}

void TxformMatrix::setJointOrient(const Tquaternion& q, const TxformSpace& space) {
  fJointOrient = inParent(q, space).normal();
  markRotationDirty();
}

void TxformMatrix::translateTo(const TdblVector& t, const TxformSpace& space) {
  fTranslation =
      space.kind() == TxformSpace::kWorld ? parentPoint(t, space) : parentOffset(t, space);
}

void TxformMatrix::translateBy(const TdblVector& t, const TxformSpace& space) {
  const TdblVector d = parentOffset(t, space);
  for (int i = 0; i < 3; ++i) fTranslation[i] += d[i];
}

void TxformMatrix::setScaleTranslation(const TdblVector& t, const TxformSpace& space) {
  if (space.kind() == TxformSpace::kTransform) {
    fScaleTranslation = t;
    return;
  }
  // The parent sees it rotated and scaled by the parent scale inverse: undo both.
  double R[3][3];
  rotation().rotationRows(R);
  fScaleTranslation = timesTranspose(withoutParentScale(parentOffset(t, space)), R);
}

void TxformMatrix::setRotateTranslation(const TdblVector& t, const TxformSpace& space) {
  fRotateTranslation =
      space.kind() == TxformSpace::kTransform ? t : withoutParentScale(parentOffset(t, space));
}

void TxformMatrix::setScalePivot(const TdblVector& p, const TxformSpace& space) {
  if (space.kind() == TxformSpace::kTransform || space.kind() == TxformSpace::kObject) {
    fScalePivot = negated(p);
    return;
  }
  // The scale pivot is fixed by scale and shear, so the parent sees it at
  // ((sp + st - rp) * R + rp + rt) * P + t; solve for sp.
  const TdblVector q = afterRotation(p, space);
  const TdblVector rp = rotatePivot();
  double R[3][3];
  rotation().rotationRows(R);
  const TdblVector back = timesTranspose(minus(minus(q, rp), fRotateTranslation), R);
  TdblVector sp;
  for (int i = 0; i < 3; ++i) sp[i] = back[i] + rp[i] - fScaleTranslation[i];
  fScalePivot = negated(sp);
}

void TxformMatrix::setRotatePivot(const TdblVector& p, const TxformSpace& space) {
  if (space.kind() == TxformSpace::kTransform || space.kind() == TxformSpace::kObject) {
    fRotatePivot = negated(p);
    return;
  }
  // The rotation fixes its pivot, so the parent sees it at (rp + rt) * P + t; solve for rp.
  const TdblVector q = afterRotation(p, space);
  fRotatePivot = negated(minus(q, fRotateTranslation));
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
    shearedBlock(s, fShear, R, A);
    v[0] += fShear[0] * v[1] + fShear[1] * v[2];
    v[1] += fShear[2] * v[2];
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
  static const vela::geometry_internal::TxformInverseKernel sKernel =
      vela::geometry_internal::xformInverseKernel();
  T4dDblMatrix m;  // the identity: the answer for a singular transform
  // The cached rotation is read in place when it is fresh: a copy would be written as four
  // doubles and read back as one wide load, which stalls on store forwarding.
  if (rotationNeedsRecomputing()) {
    const Tquaternion q = recomputeRotation();
    const double rotation[4] = {q.x, q.y, q.z, q.w};
    sKernel(*this, rotation, m.fMatrix);
  } else {
    sKernel(*this, &fRotationCache.value.x, m.fMatrix);
  }
  return m;
}

bool TxformMatrix::decompose(const T4dDblMatrix& m, TxformMatrix& out, TrotOrder order) {
  double s[3], shear[3];
  Tblock R;
  if (!splitBlock(upperBlock(m), s, shear, R)) return false;
  TxformMatrix x;
  x.scaleTo(Tscale(s[0], s[1], s[2]));
  x.shearTo(Tshear(shear[0], shear[1], shear[2]));
  x.rotateTo(TrotateXYZ::fromMatrix(withBlock(R), order));
  x.translateTo(TdblVector(m.fMatrix[3][0], m.fMatrix[3][1], m.fMatrix[3][2]));
  out = x;
  return true;
}
