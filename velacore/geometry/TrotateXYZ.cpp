#include <velacore/geometry/TrotateXYZ.h>

#include <cmath>

namespace {
// The axes of each order, first applied first.
constexpr int kAxes[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {1, 0, 2}, {2, 1, 0}};

bool validOrder(TrotateXYZ::TrotOrder o) { return o >= 0 && o <= 5; }
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

// (c + s*e) * q for the unit axis e of kAxis: the Hamilton product with an axis quaternion,
// written out so that its three zero components cost nothing (8 products instead of 16).
template <int kAxis>
Tquaternion axisTimes(double s, double c, const Tquaternion& q) {
  if (kAxis == 0)
    return Tquaternion(c * q.x + s * q.w, c * q.y - s * q.z, c * q.z + s * q.y, c * q.w - s * q.x);
  if (kAxis == 1)
    return Tquaternion(c * q.x + s * q.z, c * q.y + s * q.w, c * q.z - s * q.x, c * q.w - s * q.y);
  return Tquaternion(c * q.x - s * q.y, c * q.y + s * q.x, c * q.z + s * q.w, c * q.w - s * q.z);
}

// The axis quaternion itself: s in the axis component, c in w.
template <int kAxis>
Tquaternion axisQuat(double s, double c) {
  Tquaternion q;
  (kAxis == 0 ? q.x : kAxis == 1 ? q.y : q.z) = s;
  q.w = c;
  return q;
}

// (cb + sb*eb) * (ca + sa*ea) for two different axes: four products, since the cross term is
// the third axis (eb x ea is minus it when b follows a in x, y, z, x, and plus it otherwise).
template <int kA, int kB>
Tquaternion twoAxes(double sa, double ca, double sb, double cb) {
  constexpr int kC = 3 - kA - kB;
  const double cross = (kB == (kA + 1) % 3) ? -(sb * sa) : sb * sa;
  double v[3];
  v[kA] = cb * sa;
  v[kB] = sb * ca;
  v[kC] = cross;
  return Tquaternion(v[0], v[1], v[2], cb * ca);
}

// The product for one order: the three half-angle sines and cosines first, then the product,
// each later axis on the left. A factor whose w is exactly 1 (an angle of exactly 0, or one
// too small to show) is skipped, so a rotation about one axis is the exact axis quaternion;
// which factors remain is decided next to each call, so that only a bit mask is kept across
// the calls.
template <int kFirst, int kSecond, int kThird>
Tquaternion eulerQuaternion(const TrotateXYZ& r) {
  constexpr int kAxis[3] = {kFirst, kSecond, kThird};
  double s[3], c[3];  // read only where `skip` says they were set
  unsigned skip = 0;
  for (int i = 0; i < 3; ++i) {
    // Read from the object after each call rather than kept (and saved) across it.
    const double a = kAxis[i] == 0 ? r.x : kAxis[i] == 1 ? r.y : r.z;
    if (a == 0.0) {
      skip |= 1u << i;
      continue;
    }
    // Both unconditionally, so that the compiler fuses them into one sincos call.
    c[i] = std::cos(0.5 * a);
    s[i] = std::sin(0.5 * a);
    if (c[i] == 1.0) skip |= 1u << i;
  }
  switch (skip) {
    case 0:
      return axisTimes<kThird>(s[2], c[2], twoAxes<kFirst, kSecond>(s[0], c[0], s[1], c[1]));
    case 1:
      return twoAxes<kSecond, kThird>(s[1], c[1], s[2], c[2]);
    case 2:
      return twoAxes<kFirst, kThird>(s[0], c[0], s[2], c[2]);
    case 4:
      return twoAxes<kFirst, kSecond>(s[0], c[0], s[1], c[1]);
    case 3:
      return axisQuat<kThird>(s[2], c[2]);
    case 5:
      return axisQuat<kSecond>(s[1], c[1]);
    case 6:
      return axisQuat<kFirst>(s[0], c[0]);
    default:
      return Tquaternion();
  }
}

}  // namespace

Tquaternion TrotateXYZ::asQuaternion() const {
  const TrotateXYZ& angles = *this;
  switch (order) {  // first axis applied first, as the enumerators read
    case kXYZ:
      return eulerQuaternion<0, 1, 2>(angles);
    case kYZX:
      return eulerQuaternion<1, 2, 0>(angles);
    case kZXY:
      return eulerQuaternion<2, 0, 1>(angles);
    case kXZY:
      return eulerQuaternion<0, 2, 1>(angles);
    case kYXZ:
      return eulerQuaternion<1, 0, 2>(angles);
    case kZYX:
      return eulerQuaternion<2, 1, 0>(angles);
  }
  return Tquaternion();  // an order above 5: no rotation
}

TrotateXYZ TrotateXYZ::fromMatrix(const T4dDblMatrix& m, TrotOrder order) {
  TrotateXYZ out(0.0, 0.0, 0.0, order);
  if (!validOrder(order)) return out;
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
