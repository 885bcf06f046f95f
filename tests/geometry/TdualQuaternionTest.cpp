// Dual quaternions against the matrices they stand for, and blending's promises.
#include <velacore/geometry/TdualQuaternion.h>

#include <gtest/gtest.h>
#include <Eigen/Geometry>

#include <cmath>
#include <random>

namespace {

struct Random {
  std::mt19937_64 gen{99};
  double operator()(double lo, double hi) { return std::uniform_real_distribution<>(lo, hi)(gen); }
  Tquaternion quat() {
    return Tquaternion((*this)(-1, 1), (*this)(-1, 1), (*this)(-1, 1), (*this)(-1, 1)).normal();
  }
  TdblVector vec() { return TdblVector((*this)(-9, 9), (*this)(-9, 9), (*this)(-9, 9)); }
  TdualQuaternion rigid() { return TdualQuaternion(quat(), vec()); }
};

T4dDblMatrix rigidMatrix(const Tquaternion& q, const TdblVector& t) {
  T4dDblMatrix m = q.asMatrix();
  for (int c = 0; c < 3; ++c) m(3, c) = t[c];
  return m;
}

void expectRigid(const TdualQuaternion& d) {
  EXPECT_NEAR(d.real.length(), 1.0, 1e-12);
  EXPECT_NEAR(d.real.dot(d.dual), 0.0, 1e-12);
}

}  // namespace

TEST(TdualQuaternion, AgreesWithMatricesAndEigen) {
  Random rnd;
  for (int n = 0; n < 300; ++n) {
    const Tquaternion qa = rnd.quat(), qb = rnd.quat();
    const TdblVector ta = rnd.vec(), tb = rnd.vec();
    const TdualQuaternion a(qa, ta), b(qb, tb);
    EXPECT_TRUE(a.asMatrix().isEquivalent(rigidMatrix(qa, ta), 1e-12));
    EXPECT_TRUE(TdualQuaternion(a.asMatrix()).isEquivalent(a, 1e-12));
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(a.translation()[c], ta[c], 1e-12);
    // b first, then a: the row-vector matrices multiply the other way round.
    const TdualQuaternion ab = a * b;
    EXPECT_TRUE(ab.asMatrix().isEquivalent(b.asMatrix() * a.asMatrix(), 1e-11)) << n;
    expectRigid(ab);
    EXPECT_TRUE((a * a.inverse()).isEquivalent(TdualQuaternion(), 1e-12));
    // Eigen's isometries as the second opinion for the composed point.
    const Eigen::Isometry3d ea =
        Eigen::Translation3d(ta[0], ta[1], ta[2]) * Eigen::Quaterniond(qa.w, qa.x, qa.y, qa.z);
    const Eigen::Isometry3d eb =
        Eigen::Translation3d(tb[0], tb[1], tb[2]) * Eigen::Quaterniond(qb.w, qb.x, qb.y, qb.z);
    const TdblVector p = rnd.vec();
    const Eigen::Vector3d ep = ea * (eb * Eigen::Vector3d(p[0], p[1], p[2]));
    const TdblVector ours = ab.transformPoint(p);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(ours[c], ep[c], 1e-11) << n;
  }
}

TEST(TdualQuaternion, Blending) {
  Random rnd;
  for (int n = 0; n < 200; ++n) {
    const TdualQuaternion a = rnd.rigid(), b = rnd.rigid();
    EXPECT_TRUE(TdualQuaternion::blend(a, b, 0.0).isEquivalent(a, 1e-12));
    EXPECT_TRUE(TdualQuaternion::blend(a, b, 1.0).isEquivalent(b, 1e-12));
    expectRigid(TdualQuaternion::blend(a, b, rnd(0, 1)));
    // The same transform written with both signs must not cancel out.
    const TdualQuaternion flipped = TdualQuaternion::fromParts(a.real * -1.0, a.dual * -1.0);
    EXPECT_TRUE(TdualQuaternion::blend(a, flipped, 0.5).isEquivalent(a, 1e-12));
  }
  // A screw motion halfway: half the turn and half the travel along the axis.
  const TdualQuaternion start;
  const TdualQuaternion end(Tquaternion::fromAxisAngle(0, 0, 1, 1.2), TdblVector(0, 0, 4));
  const TdualQuaternion mid = TdualQuaternion::blend(start, end, 0.5);
  EXPECT_TRUE(mid.isEquivalent(
      TdualQuaternion(Tquaternion::fromAxisAngle(0, 0, 1, 0.6), TdblVector(0, 0, 2)), 1e-12));
  // Nothing to blend, or weights that cancel: the identity.
  EXPECT_TRUE(TdualQuaternion::blend(nullptr, nullptr, 0).isEquivalent(TdualQuaternion()));
  const TdualQuaternion two[2] = {end, end};
  const double cancel[2] = {1.0, -1.0};
  EXPECT_TRUE(TdualQuaternion::blend(two, cancel, 2).isEquivalent(TdualQuaternion()));
}

// The usage example from the header.
TEST(TdualQuaternion, HeaderExample) {
  TdualQuaternion lift(Tquaternion(), TdblVector(0.0, 0.0, 1.0));
  TdualQuaternion turn(Tquaternion::fromAxisAngle(0.0, 0.0, 1.0, 1.0), TdblVector());
  TdualQuaternion both = lift * turn;
  TdblVector p = both.transformPoint(TdblVector(1.0, 0.0, 0.0));
  EXPECT_NEAR(p[0], std::cos(1.0), 1e-15);
  EXPECT_NEAR(p[1], std::sin(1.0), 1e-15);
  EXPECT_NEAR(p[2], 1.0, 1e-15);
  const TdualQuaternion poses[2] = {lift, both};
  const double weights[2] = {0.5, 0.5};
  TdualQuaternion mid = TdualQuaternion::blend(poses, weights, 2);
  EXPECT_NEAR(mid.translation()[2], 1.0, 1e-12);
}
