// TdualQuaternion: a rigid transform (rotation, then translation) as a unit dual quaternion,
// the form that blends rigid motions without the shrinking that averaged matrices show.
//
// The real part is the rotation; the dual part is half the translation (as a pure quaternion)
// times the rotation. Products compose like Tquaternion's: `a * b` applies b first, then a,
// so (a * b).asMatrix() == b.asMatrix() * a.asMatrix() for our row-vector matrices:
//
//   TdualQuaternion lift(Tquaternion(), TdblVector(0.0, 0.0, 1.0));
//   TdualQuaternion turn(Tquaternion::fromAxisAngle(0.0, 0.0, 1.0, 1.0), TdblVector());
//   TdualQuaternion both = lift * turn;           // turn, then lift
//   TdblVector p = both.transformPoint(TdblVector(1.0, 0.0, 0.0));
//   const TdualQuaternion poses[2] = {lift, both};
//   const double weights[2] = {0.5, 0.5};
//   TdualQuaternion mid = TdualQuaternion::blend(poses, weights, 2);
//
// Traps: only rotations and translations are represented; building one from a matrix with
// scale or shear keeps its rotation part and drops the rest. (q, d) and (-q, -d) are the same
// transform: compare with isEquivalent(), and blend() aligns the signs for you.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/geometry/T4dDblMatrix.h>
#include <velacore/geometry/TdoubleTriple.h>
#include <velacore/geometry/Tquaternion.h>

class VELACORE_API TdualQuaternion {
 public:
  /// The identity transform.
  constexpr TdualQuaternion() : real(), dual(0.0, 0.0, 0.0, 0.0) {}
  /// Rotation by `rotation` (normalised here), then translation by `translation`.
  TdualQuaternion(const Tquaternion& rotation, const TdblVector& translation);
  /// The rigid part of a row-vector matrix: the rotation of its upper 3x3 block (assumed
  /// orthonormal) and the translation in its fourth row.
  explicit TdualQuaternion(const T4dDblMatrix& m);
  /// The raw parts, taken as they are (normalize() makes them a rigid transform).
  static constexpr TdualQuaternion fromParts(const Tquaternion& r, const Tquaternion& d) {
    TdualQuaternion q;
    q.real = r;
    q.dual = d;
    return q;
  }

  /// @name Parts
  [[nodiscard]] const Tquaternion& rotation() const { return real; }
  [[nodiscard]] TdblVector translation() const;

  /// @name Composition
  /// Applies `o` first, then this.
  [[nodiscard]] TdualQuaternion operator*(const TdualQuaternion& o) const {
    return fromParts(real * o.real, real * o.dual + dual * o.real);
  }
  /// The inverse transform (of a unit dual quaternion).
  [[nodiscard]] TdualQuaternion inverse() const {
    return fromParts(real.conjugate(), dual.conjugate());
  }
  /// `p` rotated, then translated.
  [[nodiscard]] TdblVector transformPoint(const TdblVector& p) const;
  /// The row-vector matrix: rotation block and translation in the fourth row.
  [[nodiscard]] T4dDblMatrix asMatrix() const;

  /// Scaled to a unit real part with the dual part made orthogonal to it, so that it is a
  /// rigid transform again; a zero real part gives the identity.
  [[nodiscard]] TdualQuaternion normal() const;

  /// Dual-quaternion linear blending: the normalised weighted sum of `n` transforms, each
  /// weight's sign flipped where a rotation lies in the other hemisphere from the first one
  /// (q and -q are the same rotation). No transforms, or weights that cancel, give the
  /// identity.
  [[nodiscard]] static TdualQuaternion blend(const TdualQuaternion* dqs, const double* weights,
                                             int n);
  /// blend() of two: t = 0 gives `a`, t = 1 gives `b`.
  [[nodiscard]] static TdualQuaternion blend(const TdualQuaternion& a, const TdualQuaternion& b,
                                             double t);

  /// True when both are the same rigid transform within `tolerance` per component.
  [[nodiscard]] bool isEquivalent(const TdualQuaternion& o, double tolerance = 1e-10) const;

  Tquaternion real;  // the rotation
  Tquaternion dual;  // half the translation times the rotation
};
