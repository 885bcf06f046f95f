// Differential tests: matrices, quaternions, Euler rotations and the composed transform
// against Eigen, a trusted independent implementation. Eigen uses column vectors, so every
// Eigen matrix is the transpose of ours, and its Quaterniond takes w first.
#include <velacore/geometry/T4dDblMatrix.h>
#include <velacore/geometry/Tquaternion.h>
#include <velacore/geometry/TrotateXYZ.h>
#include <velacore/geometry/TxformMatrix.h>

#include "geometry/GeometryTestSupport.h"

#include <gtest/gtest.h>
#include <Eigen/Dense>
#include <Eigen/Geometry>

#include <cmath>
#include <random>

namespace {

using namespace geometryTest;

Eigen::Matrix4d toEigen(const T4dDblMatrix& m) {
  Eigen::Matrix4d e;
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) e(c, r) = m(r, c);
  return e;
}

// Largest element difference, relative to the larger matrix's largest element (at least 1).
double distance(const T4dDblMatrix& ours, const Eigen::Matrix4d& theirs) {
  const Eigen::Matrix4d d = toEigen(ours) - theirs;
  const double scale = std::max({1.0, theirs.cwiseAbs().maxCoeff()});
  return d.cwiseAbs().maxCoeff() / scale;
}

Eigen::Quaterniond toEigen(const Tquaternion& q) { return Eigen::Quaterniond(q.w, q.x, q.y, q.z); }

Eigen::Vector3d axisVector(int axis) { return Eigen::Vector3d::Unit(axis); }

Eigen::Translation3d move(const TdblVector& v) { return Eigen::Translation3d(v[0], v[1], v[2]); }
Eigen::Translation3d moveBack(const TdblVector& v) {
  return Eigen::Translation3d(-v[0], -v[1], -v[2]);
}

// The transform's factor chain written with Eigen's own types, in column-vector order.
Eigen::Affine3d eigenChain(const TxformMatrix& x) {
  const Tshear c = x.shear();
  Eigen::Matrix3d shear;  // our lower-triangular shear, transposed
  shear << 1, c[0], c[1], 0, 1, c[2], 0, 0, 1;
  const Tscale s = x.scale();
  Eigen::Affine3d a = move(x.translation()) * move(x.rotateTranslation()) * move(x.rotatePivot()) *
                      toEigen(x.rotation()) * moveBack(x.rotatePivot()) *
                      move(x.scaleTranslation()) * move(x.scalePivot()) * Eigen::Affine3d(shear) *
                      Eigen::Scaling(s[0], s[1], s[2]) * moveBack(x.scalePivot());
  if (x.applyParentScaleInverse()) {
    const Tscale p = x.parentScaleInverse();
    a = move(x.translation()) * Eigen::Scaling(p[0], p[1], p[2]) * moveBack(x.translation()) * a;
  }
  return a;
}

}  // namespace

TEST(EigenOracle, MatrixProductDeterminantInverse) {
  Random rnd(20261122);
  for (int n = 0; n < 500; ++n) {
    double ra[4][4], rb[4][4];
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c) {
        ra[r][c] = rnd(-10, 10);
        rb[r][c] = rnd(-10, 10);
      }
    const T4dDblMatrix a(ra), b(rb);
    const Eigen::Matrix4d ea = toEigen(a), eb = toEigen(b);
    // Ours applies a then b; with column vectors that is eb * ea.
    EXPECT_LT(distance(a * b, eb * ea), 1e-14) << n;
    EXPECT_LT(distance(a.transpose(), ea.transpose()), 1e-15);
    const double det = ea.determinant();
    EXPECT_NEAR(a.determinant(), det, 1e-11 * std::max(1.0, std::fabs(det))) << n;
    bool ok = false;
    const T4dDblMatrix inv = a.inverse(&ok);
    ASSERT_TRUE(ok);
    // Conditioning decides how far two correct inverses may differ.
    const Eigen::Matrix4d einv = ea.inverse();
    const double cond = ea.norm() * einv.norm();
    EXPECT_LT(distance(inv, einv), 1e-14 * cond) << n;
  }
}

TEST(EigenOracle, QuaternionsAndEulerOrders) {
  static const int axes[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {1, 0, 2}, {2, 1, 0}};
  Random rnd(20261122);
  for (int n = 0; n < 600; ++n) {
    const Tquaternion a = rnd.quat(), b = rnd.quat();
    const Eigen::Quaterniond ea = toEigen(a), eb = toEigen(b);
    EXPECT_TRUE((a * b).isEquivalentRotation(
        Tquaternion((ea * eb).x(), (ea * eb).y(), (ea * eb).z(), (ea * eb).w()), 1e-15));
    Eigen::Matrix4d er = Eigen::Matrix4d::Identity();
    er.topLeftCorner<3, 3>() = ea.toRotationMatrix();
    EXPECT_LT(distance(a.asMatrix(), er), 1e-15);
    // Matrix to quaternion: Eigen's conversion of the same matrix.
    const Eigen::Quaterniond back(ea.toRotationMatrix());
    EXPECT_TRUE(
        Tquaternion(a.asMatrix())
            .isEquivalentRotation(Tquaternion(back.x(), back.y(), back.z(), back.w()), 1e-14));
    const double t = rnd(0, 1);
    const Eigen::Quaterniond es = ea.slerp(t, eb);
    EXPECT_TRUE(Tquaternion::slerp(a, b, t).isEquivalentRotation(
        Tquaternion(es.x(), es.y(), es.z(), es.w()), 1e-9))
        << n;

    // Euler angles in every order against the AngleAxisd product, first axis rightmost.
    const int order = n % 6;
    double angle[3] = {rnd(-2 * kPi, 2 * kPi), rnd(-2 * kPi, 2 * kPi), rnd(-2 * kPi, 2 * kPi)};
    if (n % 7 == 0) angle[axes[order][1]] = (n % 2 ? -kPi : kPi) / 2;  // gimbal lock
    if (n % 11 == 0) angle[axes[order][0]] = 0.0;
    const TrotateXYZ r(angle[0], angle[1], angle[2], static_cast<TrotateXYZ::TrotOrder>(order));
    const int i = axes[order][0], j = axes[order][1], k = axes[order][2];
    const Eigen::Quaterniond ee(Eigen::AngleAxisd(angle[k], axisVector(k)) *
                                Eigen::AngleAxisd(angle[j], axisVector(j)) *
                                Eigen::AngleAxisd(angle[i], axisVector(i)));
    const Tquaternion q = r.asQuaternion();
    EXPECT_NEAR(q.x, ee.x(), 1e-15) << n;
    EXPECT_NEAR(q.y, ee.y(), 1e-15) << n;
    EXPECT_NEAR(q.z, ee.z(), 1e-15) << n;
    EXPECT_NEAR(q.w, ee.w(), 1e-15) << n;
    // And back: the angles read from the matrix rebuild it, in Eigen's hands too.
    const TrotateXYZ read = TrotateXYZ::fromMatrix(r.asMatrix(), r.order);
    const double got[3] = {read.x, read.y, read.z};
    const Eigen::Matrix3d rebuilt =
        (Eigen::AngleAxisd(got[k], axisVector(k)) * Eigen::AngleAxisd(got[j], axisVector(j)) *
         Eigen::AngleAxisd(got[i], axisVector(i)))
            .toRotationMatrix();
    EXPECT_LT((rebuilt - ee.toRotationMatrix()).cwiseAbs().maxCoeff(), 1e-9) << n;
  }
}

TEST(EigenOracle, ComposedTransformAndItsInverse) {
  Random rnd(20261122);
  for (int n = 0; n < 600; ++n) {
    const TxformMatrix x = randomTransform(rnd, n);
    const Eigen::Affine3d chain = eigenChain(x);
    const T4dDblMatrix m = x.matrix();
    EXPECT_LT(distance(m, chain.matrix()), 1e-13) << n;
    EXPECT_LT(distance(x.matrix(Tshear2()), chain.matrix()), 1e-13) << n;
    // Our structured inverse against Eigen's general one and its affine one.
    const Eigen::Matrix4d general = chain.matrix().inverse();
    const double cond = chain.matrix().norm() * general.norm();
    EXPECT_LT(distance(x.inverse(), general), 1e-15 * cond) << n;
    EXPECT_LT(distance(x.inverse(), chain.inverse(Eigen::Affine).matrix()), 1e-15 * cond) << n;
    EXPECT_TRUE((m * x.inverse()).isEquivalent(T4dDblMatrix::identity(), 1e-12)) << n;
  }
}
