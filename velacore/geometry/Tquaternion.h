// Tquaternion: a rotation as a unit quaternion (x, y, z, w).
//
// The product is Hamilton's; `a * b` rotates by b first, then by a. asMatrix() gives the
// row-vector matrix (p' = p * M), so (a * b).asMatrix() == b.asMatrix() * a.asMatrix():
//
//   const double quarterTurn = 1.5707963267948966;  // radians
//   Tquaternion qz = Tquaternion::fromAxisAngle(0.0, 0.0, 1.0, quarterTurn);  // about z
//   T4dDblMatrix m = qz.asMatrix();          // maps (1, 0, 0) to (0, 1, 0)
//   Tquaternion back(m);                     // the same rotation (q or -q)
//   Tquaternion half = Tquaternion::slerp(Tquaternion(), qz, 0.5);
//
// Traps: q and -q are the same rotation, so compare rotations through their matrices or
// isEquivalentRotation(). Non-unit quaternions give non-rotation matrices: normalize first.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/geometry/T4dDblMatrix.h>

class VELACORE_API Tquaternion {
 public:
  /// The identity rotation (0, 0, 0, 1).
  constexpr Tquaternion() : x(0.0), y(0.0), z(0.0), w(1.0) {}
  constexpr Tquaternion(double ax, double ay, double az, double aw) : x(ax), y(ay), z(az), w(aw) {}
  /// The rotation part of a row-vector matrix (its upper 3x3 block, assumed orthonormal).
  explicit Tquaternion(const T4dDblMatrix& m);

  /// `angle` radians about the axis (ax, ay, az), which need not be unit length.
  [[nodiscard]] static Tquaternion fromAxisAngle(double ax, double ay, double az, double angle);

  /// Hamilton product: rotates by `o` first, then by this.
  [[nodiscard]] constexpr Tquaternion operator*(const Tquaternion& o) const {
    return Tquaternion(w * o.x + x * o.w + y * o.z - z * o.y, w * o.y - x * o.z + y * o.w + z * o.x,
                       w * o.z + x * o.y - y * o.x + z * o.w,
                       w * o.w - x * o.x - y * o.y - z * o.z);
  }
  constexpr Tquaternion& operator*=(const Tquaternion& o) { return *this = *this * o; }

  /// Component-wise sum, difference and scaling (for blending; the results are not unit).
  [[nodiscard]] constexpr Tquaternion operator+(const Tquaternion& o) const {
    return Tquaternion(x + o.x, y + o.y, z + o.z, w + o.w);
  }
  [[nodiscard]] constexpr Tquaternion operator-(const Tquaternion& o) const {
    return Tquaternion(x - o.x, y - o.y, z - o.z, w - o.w);
  }
  [[nodiscard]] constexpr Tquaternion operator*(double k) const {
    return Tquaternion(x * k, y * k, z * k, w * k);
  }
  /// The four-component dot product; its sign tells whether two rotations lie in the same
  /// hemisphere.
  [[nodiscard]] constexpr double dot(const Tquaternion& o) const {
    return x * o.x + y * o.y + z * o.z + w * o.w;
  }

  /// (-x, -y, -z, w): the inverse rotation of a unit quaternion.
  [[nodiscard]] constexpr Tquaternion conjugate() const { return Tquaternion(-x, -y, -z, w); }
  /// Euclidean length of the four components.
  [[nodiscard]] double length() const;
  /// Scaled to unit length; a zero quaternion becomes the identity.
  [[nodiscard]] Tquaternion normal() const;
  Tquaternion& normalizeIt() { return *this = normal(); }

  /// The row-vector rotation matrix (no translation).
  [[nodiscard]] T4dDblMatrix asMatrix() const;
  /// The upper 3x3 block of asMatrix(), for callers that need no 4x4 matrix.
  constexpr void rotationRows(double (&r)[3][3]) const {
    const double xx = x * x, yy = y * y, zz = z * z;
    const double xy = x * y, xz = x * z, yz = y * z;
    const double wx = w * x, wy = w * y, wz = w * z;
    r[0][0] = 1.0 - 2.0 * (yy + zz);
    r[0][1] = 2.0 * (xy + wz);
    r[0][2] = 2.0 * (xz - wy);
    r[1][0] = 2.0 * (xy - wz);
    r[1][1] = 1.0 - 2.0 * (xx + zz);
    r[1][2] = 2.0 * (yz + wx);
    r[2][0] = 2.0 * (xz + wy);
    r[2][1] = 2.0 * (yz - wx);
    r[2][2] = 1.0 - 2.0 * (xx + yy);
  }

  /// Spherical interpolation along the shorter arc; t = 0 gives `a`, t = 1 gives `b` (or -b).
  [[nodiscard]] static Tquaternion slerp(const Tquaternion& a, const Tquaternion& b, double t);

  /// Exact component equality.
  [[nodiscard]] constexpr bool operator==(const Tquaternion& o) const {
    return x == o.x && y == o.y && z == o.z && w == o.w;
  }
  [[nodiscard]] constexpr bool operator!=(const Tquaternion& o) const { return !(*this == o); }
  /// True when both describe the same rotation within `tolerance` (q and -q are equal).
  [[nodiscard]] bool isEquivalentRotation(const Tquaternion& o, double tolerance = 1e-10) const;

  double x, y, z, w;
};
