#include <velacore/geometry/TrotateXYZ.h>

#include <cmath>

Tquaternion TrotateXYZ::axisQuaternion(int axis, double angle) {
  Tquaternion q;
  if (angle == 0.0) return q;
  const double s = std::sin(0.5 * angle);
  q.w = std::cos(0.5 * angle);
  if (axis == 0) q.x = s;
  else if (axis == 1) q.y = s;
  else q.z = s;
  return q;
}

Tquaternion TrotateXYZ::asQuaternion() const {
  // The axes of each order, first applied first.
  static constexpr int kAxes[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1},
                                      {0, 2, 1}, {1, 0, 2}, {2, 1, 0}};
  if (order < 0 || order > 5) return Tquaternion();
  const double angles[3] = {x, y, z};
  Tquaternion result;
  bool any = false;
  for (int i = 0; i < 3; ++i) {
    const int axis = kAxes[order][i];
    const Tquaternion q = axisQuaternion(axis, angles[axis]);
    if (q.w == 1.0) continue;  // no rotation (or one too small to show): skip the product
    // A later axis applies after the earlier ones, so it multiplies on the left.
    result = any ? q * result : q;
    any = true;
  }
  return result;
}
