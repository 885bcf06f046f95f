// TrotateXYZ: three Euler angles (radians) about x, y and z, with the order they apply in.
//
// With row vectors, the first axis of the order is applied first: order kXYZ rotates about
// x, then y, then z, so its matrix is Rx * Ry * Rz and its quaternion qz * qy * qx.
//
//   const double quarterTurn = 1.5707963267948966;  // radians
//   TrotateXYZ r(quarterTurn, 0.0, 0.0, TrotateXYZ::kXYZ);
//   Tquaternion q = r.asQuaternion();     // exactly (sin 45deg, 0, 0, cos 45deg)
//   T4dDblMatrix m = r.asMatrix();
//
// Traps: an order above 5 is accepted and means no rotation at all; filtering leaves such a
// rotation as it is. Angles of exactly zero
// cost nothing: their factor is skipped, so a single-axis rotation gives the exact axis
// quaternion, without rounding from identity products.
#pragma once

#include <cstdint>

#include <velacore/base/TvelacoreApi.h>
#include <velacore/geometry/T4dDblMatrix.h>
#include <velacore/geometry/Tquaternion.h>

class VELACORE_API TrotateXYZ {
 public:
  /// The order the three axes apply in; the first letter applies first.
  enum TrotOrder : std::int32_t { kXYZ = 0, kYZX = 1, kZXY = 2, kXZY = 3, kYXZ = 4, kZYX = 5 };

  constexpr TrotateXYZ() : x(0.0), y(0.0), z(0.0), order(kXYZ) {}
  constexpr TrotateXYZ(double ax, double ay, double az, TrotOrder o = kXYZ)
      : x(ax), y(ay), z(az), order(o) {}

  /// The rotation as a quaternion; the identity for an order above 5.
  [[nodiscard]] Tquaternion asQuaternion() const;
  /// The row-vector rotation matrix.
  [[nodiscard]] T4dDblMatrix asMatrix() const { return asQuaternion().asMatrix(); }

  /// The Euler angles in `order` of a row-vector rotation matrix (upper 3x3 block, assumed
  /// orthonormal). The middle angle lies in [-pi/2, pi/2]; at gimbal lock (middle angle at
  /// +-pi/2) the last axis's angle is set to 0 and the first takes the whole turn.
  [[nodiscard]] static TrotateXYZ fromMatrix(const T4dDblMatrix& m, TrotOrder order = kXYZ);

  /// @name Filtering
  /// Every rotation has two angle triples in a given order (more at gimbal lock), each repeated
  /// every whole turn. These pick the one an animator expects: the one nearest to the angles
  /// it replaces, measured as the sum of the three absolute angle differences.
  ///
  /// The other triple of this order with the same rotation: first and last angle plus pi,
  /// middle angle pi minus itself, each then moved by whole turns to lie nearest this one's.
  [[nodiscard]] TrotateXYZ alternateSolution() const;
  /// Each angle moved by whole turns to lie within pi of `target`'s; the rotation is unchanged.
  [[nodiscard]] TrotateXYZ closestCut(const TrotateXYZ& target) const;
  /// Of the triples that give this rotation in this order, the one nearest `target`. At gimbal
  /// lock (the middle angle at +-pi/2) only the sum or difference of the outer angles matters;
  /// the outer angles then share the change from `target`'s equally.
  [[nodiscard]] TrotateXYZ closestSolution(const TrotateXYZ& target) const;
  /// The same rotation in `newOrder`, nearest to the current angles.
  [[nodiscard]] TrotateXYZ reorder(TrotOrder newOrder) const;
  /// This rotation followed by `q`, in the same order and nearest to the current angles, so
  /// that a run of small steps changes the angles in small steps (no flips to the alternate
  /// triple, no jumps by whole turns).
  [[nodiscard]] TrotateXYZ incrementalRotateBy(const Tquaternion& q) const;

  /// The rotation by `angle` radians about axis 0 (x), 1 (y) or 2 (z), as a quaternion.
  [[nodiscard]] static Tquaternion axisQuaternion(int axis, double angle);

  /// Exact equality of angles and order.
  [[nodiscard]] constexpr bool operator==(const TrotateXYZ& o) const {
    return x == o.x && y == o.y && z == o.z && order == o.order;
  }
  [[nodiscard]] constexpr bool operator!=(const TrotateXYZ& o) const { return !(*this == o); }

  double x, y, z;
  TrotOrder order;
};
