#include <velacore/geometry/Tquaternion.h>

#include <cmath>

Tquaternion::Tquaternion(const T4dDblMatrix& mat) {
  // The row-vector matrix is the transpose of the column-vector one: a(i, j) below reads
  // the column-vector element (i, j).
  const auto a = [&](int i, int j) { return mat.fMatrix[j][i]; };
  const double trace = a(0, 0) + a(1, 1) + a(2, 2);
  // Pick the largest diagonal term to divide by, for accuracy near 180 degrees.
  if (trace > 0.0) {
    const double s = 0.5 / std::sqrt(trace + 1.0);
    w = 0.25 / s;
    x = (a(2, 1) - a(1, 2)) * s;
    y = (a(0, 2) - a(2, 0)) * s;
    z = (a(1, 0) - a(0, 1)) * s;
  } else if (a(0, 0) > a(1, 1) && a(0, 0) > a(2, 2)) {
    const double s = 2.0 * std::sqrt(1.0 + a(0, 0) - a(1, 1) - a(2, 2));
    w = (a(2, 1) - a(1, 2)) / s;
    x = 0.25 * s;
    y = (a(0, 1) + a(1, 0)) / s;
    z = (a(0, 2) + a(2, 0)) / s;
  } else if (a(1, 1) > a(2, 2)) {
    const double s = 2.0 * std::sqrt(1.0 + a(1, 1) - a(0, 0) - a(2, 2));
    w = (a(0, 2) - a(2, 0)) / s;
    x = (a(0, 1) + a(1, 0)) / s;
    y = 0.25 * s;
    z = (a(1, 2) + a(2, 1)) / s;
  } else {
    const double s = 2.0 * std::sqrt(1.0 + a(2, 2) - a(0, 0) - a(1, 1));
    w = (a(1, 0) - a(0, 1)) / s;
    x = (a(0, 2) + a(2, 0)) / s;
    y = (a(1, 2) + a(2, 1)) / s;
    z = 0.25 * s;
  }
}

Tquaternion Tquaternion::fromAxisAngle(double ax, double ay, double az, double angle) {
  const double len = std::sqrt(ax * ax + ay * ay + az * az);
  if (len == 0.0) return Tquaternion();
  const double s = std::sin(0.5 * angle) / len;
  return Tquaternion(ax * s, ay * s, az * s, std::cos(0.5 * angle));
}

double Tquaternion::length() const { return std::sqrt(x * x + y * y + z * z + w * w); }

Tquaternion Tquaternion::normal() const {
  const double len = length();
  if (len == 0.0 || !std::isfinite(len)) return Tquaternion();
  return Tquaternion(x / len, y / len, z / len, w / len);
}

T4dDblMatrix Tquaternion::asMatrix() const {
  double r[3][3];
  rotationRows(r);
  T4dDblMatrix m;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) m.fMatrix[i][j] = r[i][j];
  return m;
}

Tquaternion Tquaternion::slerp(const Tquaternion& a, const Tquaternion& b, double t) {
  double cosTheta = a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
  Tquaternion to = b;
  if (cosTheta < 0.0) {  // the shorter arc goes to -b
    cosTheta = -cosTheta;
    to = Tquaternion(-b.x, -b.y, -b.z, -b.w);
  }
  double wa, wb;
  if (cosTheta > 0.9995) {
    // Nearly parallel: the sine below would lose its digits, and a straight line is as good.
    wa = 1.0 - t;
    wb = t;
  } else {
    const double theta = std::acos(cosTheta);
    const double sinTheta = std::sin(theta);
    wa = std::sin((1.0 - t) * theta) / sinTheta;
    wb = std::sin(t * theta) / sinTheta;
  }
  return Tquaternion(wa * a.x + wb * to.x, wa * a.y + wb * to.y, wa * a.z + wb * to.z,
                     wa * a.w + wb * to.w)
      .normal();
}

bool Tquaternion::isEquivalentRotation(const Tquaternion& o, double tolerance) const {
  const auto near = [&](double s) {
    return std::fabs(x - s * o.x) <= tolerance && std::fabs(y - s * o.y) <= tolerance &&
           std::fabs(z - s * o.z) <= tolerance && std::fabs(w - s * o.w) <= tolerance;
  };
  return near(1.0) || near(-1.0);
}
