#include <velacore/geometry/TrotateXYZ.h>

#include <cmath>

namespace {
// The axes of each order, first applied first.
constexpr int kAxes[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {1, 0, 2}, {2, 1, 0}};
}  // namespace

Tquaternion TrotateXYZ::axisQuaternion(int axis, double angle) {
  Tquaternion q;
  if (angle == 0.0) return q;
  const double s = std::sin(0.5 * angle);
  q.w = std::cos(0.5 * angle);
  if (axis == 0)
    q.x = s;
  else if (axis == 1)
    q.y = s;
  else
    q.z = s;
  return q;
}

namespace {

// (c + s*e) * q for the unit axis e of `axis`: the Hamilton product with an axis quaternion,
// written out so that its three zero components cost nothing (8 products instead of 16).
Tquaternion axisTimes(int axis, double s, double c, const Tquaternion& q) {
  switch (axis) {
    case 0:
      return Tquaternion(c * q.x + s * q.w, c * q.y - s * q.z, c * q.z + s * q.y,
                         c * q.w - s * q.x);
    case 1:
      return Tquaternion(c * q.x + s * q.z, c * q.y + s * q.w, c * q.z - s * q.x,
                         c * q.w - s * q.y);
    default:
      return Tquaternion(c * q.x - s * q.y, c * q.y + s * q.x, c * q.z + s * q.w,
                         c * q.w - s * q.z);
  }
}

}  // namespace

Tquaternion TrotateXYZ::asQuaternion() const {
  if (order < 0 || order > 5) return Tquaternion();
  const double angles[3] = {x, y, z};
  Tquaternion result;
  bool any = false;
  for (int i = 0; i < 3; ++i) {
    const int axis = kAxes[order][i];
    const double a = angles[axis];
    if (a == 0.0) continue;
    // Both unconditionally, so that the compiler can fuse them into one sincos call.
    const double c = std::cos(0.5 * a);
    const double s = std::sin(0.5 * a);
    if (c == 1.0) continue;  // no rotation (or one too small to show): skip the product
    // A later axis applies after the earlier ones, so it multiplies on the left.
    if (any) {
      result = axisTimes(axis, s, c, result);
    } else {
      result = Tquaternion();
      (axis == 0 ? result.x : axis == 1 ? result.y : result.z) = s;
      result.w = c;
      any = true;
    }
  }
  return result;
}

TrotateXYZ TrotateXYZ::fromMatrix(const T4dDblMatrix& m, TrotOrder order) {
  TrotateXYZ out(0.0, 0.0, 0.0, order);
  if (order < 0 || order > 5) return out;
  const int i = kAxes[order][0], j = kAxes[order][1], k = kAxes[order][2];
  // Read the column-vector matrix (the transpose), where the rotation is Rk * Rj * Ri. The
  // orders that are not cyclic turn the other way, hence the sign e.
  const auto r = [&](int a, int b) { return m.fMatrix[b][a]; };
  const double e = (order <= 2) ? 1.0 : -1.0;
  double angles[3] = {0.0, 0.0, 0.0};
  // atan2 keeps the middle angle accurate near +-pi/2, where asin would lose half the digits.
  const double cosMiddle = std::hypot(r(i, i), r(j, i));
  angles[j] = std::atan2(-e * r(k, i), cosMiddle);
  if (cosMiddle > 1e-12) {
    angles[i] = std::atan2(e * r(k, j), r(k, k));
    angles[k] = std::atan2(e * r(j, i), r(i, i));
  } else {  // gimbal lock: only the difference (or sum) of the outer angles is defined
    angles[i] = std::atan2(-e * r(j, k), r(j, j));
  }
  out.x = angles[0];
  out.y = angles[1];
  out.z = angles[2];
  return out;
}

namespace {

constexpr double kTwoPi = 6.283185307179586476925;
constexpr double kPiValue = 3.141592653589793238463;

// `v` moved by whole turns to lie within pi of `target`.
double nearestTurn(double v, double target) {
  return v + kTwoPi * std::nearbyint((target - v) / kTwoPi);
}

double distance(const TrotateXYZ& a, const TrotateXYZ& b) {
  return std::fabs(a.x - b.x) + std::fabs(a.y - b.y) + std::fabs(a.z - b.z);
}

double& angle(TrotateXYZ& r, int axis) { return axis == 0 ? r.x : axis == 1 ? r.y : r.z; }

bool validOrder(TrotateXYZ::TrotOrder o) { return o >= 0 && o <= 5; }

}  // namespace

TrotateXYZ TrotateXYZ::closestCut(const TrotateXYZ& target) const {
  return TrotateXYZ(nearestTurn(x, target.x), nearestTurn(y, target.y), nearestTurn(z, target.z),
                    order);
}

TrotateXYZ TrotateXYZ::alternateSolution() const {
  if (!validOrder(order)) return *this;
  // Ri(pi) Rj(pi - b) Rk(pi) == Rj(b) for any three distinct axes, so this is the same rotation.
  TrotateXYZ alt = *this;
  const int i = kAxes[order][0], j = kAxes[order][1], k = kAxes[order][2];
  angle(alt, i) += kPiValue;
  angle(alt, j) = kPiValue - angle(alt, j);
  angle(alt, k) += kPiValue;
  return alt.closestCut(*this);
}

TrotateXYZ TrotateXYZ::closestSolution(const TrotateXYZ& target) const {
  if (!validOrder(order)) return *this;
  const int i = kAxes[order][0], j = kAxes[order][1], k = kAxes[order][2];
  TrotateXYZ self = *this;
  if (std::fabs(std::cos(angle(self, j))) < 1e-9) {
    // Gimbal lock: the rotation depends on a_i + sign * a_k alone. Find the sign by trying a
    // change that keeps the sum, then split the difference from the target evenly.
    TrotateXYZ probe = self;
    angle(probe, i) += 0.5;
    angle(probe, k) -= 0.5;
    const double sign = probe.asMatrix().isEquivalent(asMatrix(), 1e-6) ? 1.0 : -1.0;
    TrotateXYZ t = target;
    const double d = std::remainder(
        angle(self, i) + sign * angle(self, k) - (angle(t, i) + sign * angle(t, k)), kTwoPi);
    angle(self, i) = angle(t, i) + 0.5 * d;
    angle(self, k) = angle(t, k) + sign * 0.5 * d;
    angle(self, j) = nearestTurn(angle(self, j), angle(t, j));
    return self;
  }
  const TrotateXYZ a = closestCut(target);
  const TrotateXYZ b = alternateSolution().closestCut(target);
  return distance(b, target) < distance(a, target) ? b : a;
}

TrotateXYZ TrotateXYZ::reorder(TrotOrder newOrder) const {
  if (!validOrder(newOrder)) return TrotateXYZ(x, y, z, newOrder);
  return fromMatrix(asMatrix(), newOrder).closestSolution(*this);
}

TrotateXYZ TrotateXYZ::incrementalRotateBy(const Tquaternion& q) const {
  if (!validOrder(order)) return *this;
  return fromMatrix((q * asQuaternion()).asMatrix(), order).closestSolution(*this);
}
