// Shared by the geometry tests: random inputs (seeded, so failures repeat) and small helpers
// written independently of the library's own composition code.
#pragma once

#include <velacore/geometry/T4dDblMatrix.h>
#include <velacore/geometry/TdoubleTriple.h>
#include <velacore/geometry/Tquaternion.h>
#include <velacore/geometry/TrotateXYZ.h>
#include <velacore/geometry/TxformMatrix.h>

#include <random>

namespace geometryTest {

constexpr double kPi = 3.14159265358979323846;

struct Random {
  explicit Random(unsigned seed = 1234) : gen(seed) {}
  double operator()(double lo, double hi) { return std::uniform_real_distribution<>(lo, hi)(gen); }
  Tquaternion quat() {
    return Tquaternion((*this)(-1, 1), (*this)(-1, 1), (*this)(-1, 1), (*this)(-1, 1)).normal();
  }
  TdblVector vec(double r) { return TdblVector((*this)(-r, r), (*this)(-r, r), (*this)(-r, r)); }
  double scale() {  // away from zero, either sign
    const double v = (*this)(0.3, 3.0);
    return (*this)(0, 1) < 0.2 ? -v : v;
  }
  Tscale scales() { return Tscale(scale(), scale(), scale()); }
  std::mt19937_64 gen;
};

// A transform with every component set; `n` varies the order, shear, orientations, parent scale
// inverse and quaternion mode from case to case.
inline TxformMatrix randomTransform(Random& rnd, int n) {
  TxformMatrix x;
  x.scaleTo(rnd.scales());
  x.rotateTo(TrotateXYZ(rnd(-kPi, kPi), rnd(-kPi, kPi), rnd(-kPi, kPi),
                        static_cast<TrotateXYZ::TrotOrder>(n % 6)));
  x.translateTo(rnd.vec(10));
  if (n % 3 != 0) x.shearTo(Tshear(rnd(-2, 2), rnd(-2, 2), rnd(-2, 2)));
  x.setScalePivot(rnd.vec(5));
  x.setScaleTranslation(rnd.vec(5));
  x.setRotatePivot(rnd.vec(5));
  x.setRotateTranslation(rnd.vec(5));
  if (n % 2) x.setRotateOrient(rnd.quat());
  if (n % 4 < 2) x.setJointOrient(rnd.quat());
  if (n % 5 == 0) {
    x.parentScaleInverseTo(rnd.scales());
    x.setApplyParentScaleInverse(true);
  }
  if (n % 7 == 0) x.rotateBy(rnd.quat());
  return x;
}

inline T4dDblMatrix move(double x, double y, double z) {
  T4dDblMatrix m;
  m(3, 0) = x;
  m(3, 1) = y;
  m(3, 2) = z;
  return m;
}
inline T4dDblMatrix move(const TdblVector& v) { return move(v[0], v[1], v[2]); }

inline TdblVector apply(const TdblVector& p, const T4dDblMatrix& m) {
  TdblVector out;
  for (int c = 0; c < 3; ++c) out[c] = p[0] * m(0, c) + p[1] * m(1, c) + p[2] * m(2, c) + m(3, c);
  return out;
}

}  // namespace geometryTest
