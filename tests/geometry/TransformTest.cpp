// Matrices, rotations and the component transform: checked against products of the plain
// axis, scale, shear and translation matrices built independently here.
#include <velacore/geometry/T4dDblMatrix.h>
#include <velacore/geometry/TdoubleTriple.h>
#include <velacore/geometry/Tquaternion.h>
#include <velacore/geometry/TrotateXYZ.h>
#include <velacore/geometry/TxformMatrix.h>

#include "geometry/GeometryTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <thread>
#include <vector>

namespace {

using namespace geometryTest;

// Row-vector rotation about one axis, written out by hand.
T4dDblMatrix axisMatrix(int axis, double a) {
  const double c = std::cos(a), s = std::sin(a);
  T4dDblMatrix m;
  const int i = (axis + 1) % 3, j = (axis + 2) % 3;
  m(i, i) = c;
  m(i, j) = s;
  m(j, i) = -s;
  m(j, j) = c;
  return m;
}

void expectNear(const TdblVector& a, const TdblVector& b, double tol = 1e-12) {
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(a[i], b[i], tol) << "component " << i;
}

}  // namespace

TEST(T4dDblMatrix, TransposeDeterminantInverse) {
  Random rnd;
  for (int n = 0; n < 200; ++n) {
    double rows[4][4];
    for (auto& r : rows)
      for (double& v : r) v = rnd(-5, 5);
    const T4dDblMatrix m(rows);
    EXPECT_EQ(m.transpose().transpose(), m);
    EXPECT_EQ(m.transpose()(1, 3), m(3, 1));
    // det(ab) = det(a) det(b), and det of the transpose is the same.
    const T4dDblMatrix a = m * move(1, 2, 3) * axisMatrix(1, 0.3);
    EXPECT_NEAR(a.determinant(), m.determinant(), 1e-9 * (1 + std::fabs(m.determinant())));
    EXPECT_NEAR(m.transpose().determinant(), m.determinant(),
                1e-9 * (1 + std::fabs(m.determinant())));
    bool ok = false;
    const T4dDblMatrix inv = m.inverse(&ok);
    if (std::fabs(m.determinant()) < 1e-3) continue;
    EXPECT_TRUE(ok);
    EXPECT_TRUE((m * inv).isEquivalent(T4dDblMatrix::identity(), 1e-8));
    EXPECT_TRUE((inv * m).isEquivalent(T4dDblMatrix::identity(), 1e-8));
  }
  double diag[4][4] = {{2, 0, 0, 0}, {0, 3, 0, 0}, {0, 0, 4, 0}, {0, 0, 0, 5}};
  EXPECT_DOUBLE_EQ(T4dDblMatrix(diag).determinant(), 120.0);
  // Singular: a zero row, and two equal rows.
  double singular[4][4] = {{1, 2, 3, 4}, {1, 2, 3, 4}, {0, 1, 0, 0}, {0, 0, 0, 1}};
  bool ok = true;
  EXPECT_EQ(T4dDblMatrix(singular).inverse(&ok), T4dDblMatrix::identity());
  EXPECT_FALSE(ok);
  EXPECT_EQ(T4dDblMatrix(singular).determinant(), 0.0);
  // Tolerance equality: the boundary counts as equal, NaN never does.
  T4dDblMatrix b;
  b(2, 1) = 0.5;
  EXPECT_TRUE(b.isEquivalent(T4dDblMatrix(), 0.5));
  EXPECT_FALSE(b.isEquivalent(T4dDblMatrix(), 0.25));
  b(2, 1) = std::nan("");
  EXPECT_FALSE(b.isEquivalent(b, 1.0));
}

TEST(Tquaternion, ProductMatrixAndBack) {
  Random rnd;
  for (int n = 0; n < 200; ++n) {
    const Tquaternion a = rnd.quat(), b = rnd.quat();
    // The product composes like the matrices: b first, then a.
    EXPECT_TRUE((a * b).asMatrix().isEquivalent(b.asMatrix() * a.asMatrix(), 1e-12));
    EXPECT_TRUE((a * a.conjugate()).isEquivalentRotation(Tquaternion(), 1e-12));
    EXPECT_TRUE(Tquaternion(a.asMatrix()).isEquivalentRotation(a, 1e-12));
    EXPECT_NEAR(a.asMatrix().determinant(), 1.0, 1e-12);
    // Axis-angle against the hand-written axis matrices.
    const int axis = n % 3;
    const double angle = rnd(-kPi, kPi);
    const double dir[3] = {axis == 0 ? 2.0 : 0.0, axis == 1 ? 2.0 : 0.0, axis == 2 ? 2.0 : 0.0};
    EXPECT_TRUE(Tquaternion::fromAxisAngle(dir[0], dir[1], dir[2], angle)
                    .asMatrix()
                    .isEquivalent(axisMatrix(axis, angle), 1e-12));
    // Slerp ends at its inputs and halves the angle in between.
    EXPECT_TRUE(Tquaternion::slerp(a, b, 0.0).isEquivalentRotation(a, 1e-12));
    EXPECT_TRUE(Tquaternion::slerp(a, b, 1.0).isEquivalentRotation(b, 1e-12));
  }
  // Near 180 degrees, where the trace is -1, the matrix still converts back.
  for (int axis = 0; axis < 3; ++axis) {
    const Tquaternion q = TrotateXYZ::axisQuaternion(axis, kPi);
    EXPECT_TRUE(Tquaternion(q.asMatrix()).isEquivalentRotation(q, 1e-12));
  }
  const Tquaternion qz = Tquaternion::fromAxisAngle(0, 0, 1, kPi / 2);
  EXPECT_TRUE(Tquaternion::slerp(Tquaternion(), qz, 0.5)
                  .isEquivalentRotation(Tquaternion::fromAxisAngle(0, 0, 1, kPi / 4), 1e-12));
  EXPECT_EQ(Tquaternion(0, 0, 0, 0).normal(), Tquaternion());
  expectNear(apply(TdblVector(1, 0, 0), qz.asMatrix()), TdblVector(0, 1, 0));
}

TEST(TrotateXYZ, EveryOrderMatchesTheProductOfAxisMatrices) {
  static const int axes[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {1, 0, 2}, {2, 1, 0}};
  Random rnd;
  for (int order = 0; order < 6; ++order)
    for (int n = 0; n < 50; ++n) {
      double a[3] = {rnd(-kPi, kPi), rnd(-kPi, kPi), rnd(-kPi, kPi)};
      if (n == 0) a[1] = kPi / 2;  // gimbal lock
      if (n == 1) a[0] = a[2] = 0.0;
      const TrotateXYZ r(a[0], a[1], a[2], static_cast<TrotateXYZ::TrotOrder>(order));
      const T4dDblMatrix expected = axisMatrix(axes[order][0], a[axes[order][0]]) *
                                    axisMatrix(axes[order][1], a[axes[order][1]]) *
                                    axisMatrix(axes[order][2], a[axes[order][2]]);
      EXPECT_TRUE(r.asMatrix().isEquivalent(expected, 1e-12)) << "order " << order;
    }
  // Exactly the Hamilton product of the axis quaternions, later axes on the left (the first two
  // multiplied first), with any of the angles zero: the written-out products must round as
  // the plain product does.
  for (int order = 0; order < 6; ++order)
    for (int zeros = 0; zeros < 8; ++zeros) {
      double a[3] = {rnd(-kPi, kPi), rnd(-kPi, kPi), rnd(-kPi, kPi)};
      for (int i = 0; i < 3; ++i)
        if (zeros & (1 << i)) a[i] = 0.0;
      const int* ax = axes[order];
      const Tquaternion plain = TrotateXYZ::axisQuaternion(ax[2], a[ax[2]]) *
                                (TrotateXYZ::axisQuaternion(ax[1], a[ax[1]]) *
                                 TrotateXYZ::axisQuaternion(ax[0], a[ax[0]]));
      EXPECT_EQ(TrotateXYZ(a[0], a[1], a[2], static_cast<TrotateXYZ::TrotOrder>(order))
                    .asQuaternion(),
                plain)
          << "order " << order << " zeros " << zeros;
    }
  // An order above 5 is no rotation.
  EXPECT_EQ(TrotateXYZ(1, 2, 3, static_cast<TrotateXYZ::TrotOrder>(6)).asQuaternion(),
            Tquaternion());
  // One non-zero angle: the exact axis quaternion, whatever the order.
  for (int order = 0; order < 6; ++order) {
    const auto o = static_cast<TrotateXYZ::TrotOrder>(order);
    EXPECT_EQ(TrotateXYZ(0, 0.7, 0, o).asQuaternion(),
              Tquaternion(0, std::sin(0.35), 0, std::cos(0.35)));
    EXPECT_EQ(TrotateXYZ(0, 0, 0, o).asQuaternion(), Tquaternion());
  }
  // xyz and zyx differ for (90, 90, 0) and agree with one angle.
  const TrotateXYZ xyz(kPi / 2, kPi / 2, 0, TrotateXYZ::kXYZ),
      zyx(kPi / 2, kPi / 2, 0, TrotateXYZ::kZYX);
  EXPECT_FALSE(xyz.asMatrix().isEquivalent(zyx.asMatrix(), 1e-6));
  EXPECT_EQ(TrotateXYZ(0.4, 0, 0, TrotateXYZ::kXYZ).asMatrix(),
            TrotateXYZ(0.4, 0, 0, TrotateXYZ::kZYX).asMatrix());
}

TEST(TxformMatrix, CasesByHand) {
  TxformMatrix t;
  EXPECT_EQ(t.matrix(), T4dDblMatrix::identity());
  t.translateTo(TdblVector(1, 2, 3));
  EXPECT_EQ(t.matrix(), move(1, 2, 3));

  TxformMatrix s;
  s.scaleTo(Tscale(2, 2, 2));
  s.setScalePivot(TdblVector(1, 0, 0));
  EXPECT_EQ(s.scalePivot(), TdblVector(1, 0, 0));
  expectNear(apply(TdblVector(1, 0, 0), s.matrix()), TdblVector(1, 0, 0));
  expectNear(apply(TdblVector(0, 0, 0), s.matrix()), TdblVector(-1, 0, 0));

  TxformMatrix sh;
  sh.shearTo(Tshear(1, 0, 0));
  expectNear(apply(TdblVector(0, 1, 0), sh.matrix()), TdblVector(1, 1, 0));
  sh.shearTo(Tshear(0, 0.5, 2));
  expectNear(apply(TdblVector(0, 0, 1), sh.matrix()), TdblVector(0.5, 2, 1));

  // A rotation about a pivot keeps the pivot in place.
  TxformMatrix r;
  r.rotateTo(TrotateXYZ(0, 0, kPi / 2));
  r.setRotatePivot(TdblVector(1, 1, 0));
  expectNear(apply(TdblVector(1, 1, 0), r.matrix()), TdblVector(1, 1, 0));
  expectNear(apply(TdblVector(2, 1, 0), r.matrix()), TdblVector(1, 2, 0));

  // Parent scale inverse scales about the translation point.
  TxformMatrix p;
  p.translateTo(TdblVector(5, 0, 0));
  p.scaleTo(Tscale(4, 4, 4));
  p.parentScaleInverseTo(Tscale(0.5, 0.25, 1));
  EXPECT_EQ(p.matrix(), p.matrix(Tshear2()));  // flag not yet set: ignored
  p.setApplyParentScaleInverse(true);
  expectNear(apply(TdblVector(1, 1, 1), p.matrix()), TdblVector(7, 1, 4));
  EXPECT_FALSE(p.compensateForParentScale());
  p.setCompensateForParentScale(true);
  EXPECT_TRUE(p.compensateForParentScale() && p.applyParentScaleInverse());
}

TEST(TxformMatrix, RandomComponentsAgainstTheFactorChain) {
  Random rnd;
  for (int n = 0; n < 300; ++n) {
    TxformMatrix x = randomTransform(rnd, n);

    // The direct formula, the general product path and the chain built here agree.
    const T4dDblMatrix m = x.matrix();
    EXPECT_TRUE(m.isEquivalent(x.matrix(Tshear2()), 1e-9)) << n;
    const TdblVector sp = x.scalePivot(), rp = x.rotatePivot();
    const Tshear c = x.shear();
    const double shRows[4][4] = {{1, 0, 0, 0}, {c[0], 1, 0, 0}, {c[1], c[2], 1, 0}, {0, 0, 0, 1}};
    T4dDblMatrix S;
    for (int i = 0; i < 3; ++i) S(i, i) = x.scale()[i];
    const Tquaternion q = x.rotateIsQuaternion()
                              ? x.rotation()
                              : x.rotateOrient() * x.rotationXYZ().asQuaternion() * x.jointOrient();
    T4dDblMatrix chain =
        move(-sp[0], -sp[1], -sp[2]) * S * T4dDblMatrix(shRows) * move(sp[0], sp[1], sp[2]) *
        move(x.scaleTranslation()[0], x.scaleTranslation()[1], x.scaleTranslation()[2]) *
        move(-rp[0], -rp[1], -rp[2]) * q.asMatrix() * move(rp[0], rp[1], rp[2]) *
        move(x.rotateTranslation()[0], x.rotateTranslation()[1], x.rotateTranslation()[2]) *
        move(x.translation()[0], x.translation()[1], x.translation()[2]);
    if (x.applyParentScaleInverse()) {
      const TdblVector t = x.translation();
      T4dDblMatrix P;
      for (int i = 0; i < 3; ++i) P(i, i) = x.parentScaleInverse()[i];
      chain = chain * move(-t[0], -t[1], -t[2]) * P * move(t[0], t[1], t[2]);
    }
    EXPECT_TRUE(m.isEquivalent(chain, 1e-9)) << n;
    // The inverse, composed from inverted factors, undoes the matrix.
    EXPECT_TRUE((m * x.inverse()).isEquivalent(T4dDblMatrix::identity(), 1e-12)) << n;
  }
  // Scales far apart: the inverse must not form their overflowing or vanishing product.
  TxformMatrix wide;
  wide.scaleTo(Tscale(1e200, 1e200, 3.0));
  wide.parentScaleInverseTo(Tscale(1e-150, 1e-150, 1.0));
  wide.setApplyParentScaleInverse(true);
  wide.translateTo(TdblVector(1, 2, 3));
  const TdblVector p(0.25, -4.0, 7.0);
  expectNear(apply(apply(p, wide.matrix()), wide.inverse()), p, 1e-9);
  // A zero scale has no inverse.
  TxformMatrix flat;
  flat.scaleTo(Tscale(1, 0, 1));
  EXPECT_EQ(flat.inverse(), T4dDblMatrix::identity());
  EXPECT_EQ(flat.matrix().determinant(), 0.0);
}

TEST(TxformMatrix, SetterSemanticsAndCache) {
  TxformMatrix x;
  x.scaleTo(Tscale(2, 3, 4));
  x.scaleBy(Tscale(0.5, 2, -1));
  EXPECT_EQ(x.scale(), Tscale(1, 6, -4));
  x.translateBy(TdblVector(1, 2, 3));
  x.translateBy(TdblVector(1, 0, 0));
  EXPECT_EQ(x.translation(), TdblVector(2, 2, 3));
  x.shearBy(Tshear(1, 0, 0));
  x.shearBy(Tshear(1, 2, 0));
  EXPECT_EQ(x.shear(), Tshear(2, 2, 0));

  // Euler rotation, then an orientation: the cache must notice both changes.
  x.rotateTo(TrotateXYZ(0, 0, 0.5));
  EXPECT_TRUE(x.rotation().isEquivalentRotation(TrotateXYZ::axisQuaternion(2, 0.5)));
  EXPECT_FALSE(x.rotationNeedsRecomputing());  // the const call above filled the cache
  x.setJointOrient(TrotateXYZ::axisQuaternion(2, 0.25));
  EXPECT_TRUE(x.rotationNeedsRecomputing());
  EXPECT_TRUE(x.rotation().isEquivalentRotation(TrotateXYZ::axisQuaternion(2, 0.75)));
  x.setRotationOrder(TrotateXYZ::kZYX);
  EXPECT_EQ(x.rotationOrder(), TrotateXYZ::kZYX);

  // Quaternion mode: the Euler angles stop mattering until an Euler rotateTo.
  x.rotateBy(TrotateXYZ::axisQuaternion(2, 0.25));
  EXPECT_TRUE(x.rotateIsQuaternion());
  EXPECT_TRUE(x.rotation().isEquivalentRotation(TrotateXYZ::axisQuaternion(2, 1.0)));
  x.rotateTo(TrotateXYZ(0, 0, 0));
  EXPECT_FALSE(x.rotateIsQuaternion());
  EXPECT_TRUE(x.rotation().isEquivalentRotation(TrotateXYZ::axisQuaternion(2, 0.25)));
  x.setRotateIsQuaternion(true);  // keeps the rotation it had
  EXPECT_TRUE(x.rotation().isEquivalentRotation(TrotateXYZ::axisQuaternion(2, 0.25)));
}

TEST(TxformMatrix, ConstUseFromManyThreads) {
  // The threads start while the cached rotation is stale, so they race to fill it; copies
  // taken meanwhile must still compose the same matrix.
  for (int round = 0; round < 20; ++round) {
    TxformMatrix x;
    x.rotateTo(TrotateXYZ(0.1, 0.2, 0.3 + round));
    x.setRotateOrient(TrotateXYZ::axisQuaternion(0, 0.4));
    x.translateTo(TdblVector(1, 2, 3));
    const TxformMatrix copy = x;
    ASSERT_TRUE(x.rotationNeedsRecomputing() && copy.rotationNeedsRecomputing());
    const T4dDblMatrix expected = copy.matrix();
    std::vector<std::thread> threads;
    std::vector<int> good(4, 0);
    for (int t = 0; t < 4; ++t)
      threads.emplace_back([&, t] {
        for (int i = 0; i < 50; ++i) {
          const TxformMatrix mine = x;
          good[t] +=
              x.matrix() == expected && mine.matrix() == expected && x.inverse() == copy.inverse();
        }
      });
    for (auto& th : threads) th.join();
    for (int g : good) EXPECT_EQ(g, 50);
    EXPECT_FALSE(x.rotationNeedsRecomputing());
  }
}

// The usage example from the transform header.
TEST(TxformMatrix, HeaderExample) {
  TxformMatrix x;
  x.scaleTo(Tscale(2.0, 2.0, 2.0));
  x.setScalePivot(TdblVector(1.0, 0.0, 0.0));
  x.rotateTo(TrotateXYZ(0.0, 0.0, kPi / 2));
  x.translateTo(TdblVector(0.0, 0.0, 5.0));
  T4dDblMatrix m = x.matrix();
  T4dDblMatrix back = x.inverse();
  EXPECT_TRUE((m * back).isEquivalent(T4dDblMatrix::identity(), 1e-12));
  expectNear(apply(TdblVector(1, 0, 0), m), TdblVector(0, 1, 5));
}

TEST(TxformMatrix, DecompositionRoundTrips) {
  Random rnd;
  for (int n = 0; n < 300; ++n) {
    TxformMatrix x;
    x.scaleTo(Tscale(rnd.scale(), rnd.scale(), rnd.scale()));
    const auto order = static_cast<TrotateXYZ::TrotOrder>(n % 6);
    double mid = rnd(-kPi, kPi);
    if (n % 10 == 0) mid = kPi / 2;  // gimbal lock
    x.rotateTo(TrotateXYZ(rnd(-kPi, kPi), mid, rnd(-kPi, kPi), TrotateXYZ::kXYZ));
    x.setRotatePivot(rnd.vec(3));
    x.setScalePivot(rnd.vec(3));
    x.translateTo(rnd.vec(10));
    if (n % 2) x.shearTo(Tshear(rnd(-2, 2), rnd(-2, 2), rnd(-2, 2)));
    const T4dDblMatrix m = x.matrix();
    TxformMatrix back;
    ASSERT_TRUE(TxformMatrix::decompose(m, back, order));
    EXPECT_EQ(back.rotationOrder(), order);
    EXPECT_TRUE(back.matrix().isEquivalent(m, 1e-9)) << n;
    // Euler angles alone round-trip through a matrix in every order.
    static const int middleAxis[6] = {1, 2, 0, 2, 0, 1};
    double a[3] = {rnd(-kPi, kPi), rnd(-kPi, kPi), rnd(-kPi, kPi)};
    a[middleAxis[order]] = mid;
    const TrotateXYZ r(a[0], a[1], a[2], order);
    EXPECT_TRUE(
        TrotateXYZ::fromMatrix(r.asMatrix(), order).asMatrix().isEquivalent(r.asMatrix(), 1e-9))
        << n;
  }
  TxformMatrix flat, untouched;
  flat.scaleTo(Tscale(1, 0, 1));
  EXPECT_FALSE(TxformMatrix::decompose(flat.matrix(), untouched));
  EXPECT_EQ(untouched.matrix(), T4dDblMatrix::identity());
}
