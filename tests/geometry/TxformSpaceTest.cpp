// Setters given in object, parent and world space, each checked by what the composed matrix
// must then do, on random transforms with every component set.
#include <velacore/geometry/TxformMatrix.h>
#include <velacore/geometry/TxformSpace.h>

#include "geometry/GeometryTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

using namespace geometryTest;

// A parent placement with rotation, uneven scale and translation.
T4dDblMatrix randomParent(Random& rnd) {
  TxformMatrix p;
  p.scaleTo(rnd.scales());
  p.rotateTo(TrotateXYZ(rnd(-kPi, kPi), rnd(-kPi, kPi), rnd(-kPi, kPi)));
  p.translateTo(rnd.vec(10));
  return p.matrix();
}

T4dDblMatrix diagonal(const Tscale& s) {
  T4dDblMatrix m;
  for (int c = 0; c < 3; ++c) m(c, c) = s[c];
  return m;
}

// The upper 3x3 blocks agree.
bool sameBlock(const T4dDblMatrix& a, const T4dDblMatrix& b, double tol = 1e-9) {
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c)
      if (!(std::fabs(a(r, c) - b(r, c)) <= tol)) return false;
  return true;
}

bool near(const TdblVector& a, const TdblVector& b, double tol = 1e-9) {
  return std::fabs(a[0] - b[0]) <= tol && std::fabs(a[1] - b[1]) <= tol &&
         std::fabs(a[2] - b[2]) <= tol;
}

}  // namespace

TEST(TxformSpace, TranslationsAndPivots) {
  Random rnd(4242);
  for (int n = 0; n < 120; ++n) {
    const TxformMatrix x0 = randomTransform(rnd, n);
    const T4dDblMatrix m0 = x0.matrix(), w = randomParent(rnd);
    const TdblVector v = rnd.vec(3);
    TxformMatrix x = x0;
    x.translateBy(v, TxformSpace::kObject);  // as if every point moved by v first
    EXPECT_TRUE(x.matrix().isEquivalent(move(v) * m0, 1e-9)) << n;
    x = x0;
    x.translateBy(v, TxformSpace::kParent);
    EXPECT_TRUE(x.matrix().isEquivalent(m0 * move(v), 1e-9)) << n;
    x = x0;
    x.translateBy(v, TxformSpace::world(w));
    EXPECT_TRUE((x.matrix() * w).isEquivalent(m0 * w * move(v), 1e-8)) << n;
    x = x0;
    x.translateTo(v, TxformSpace::world(w));
    EXPECT_TRUE(near(apply(x.translation(), w), v)) << n;
    EXPECT_TRUE(sameBlock(x.matrix(), m0));

    // Compensating translations given in a space move the result by that much there.
    x = x0;
    x.setRotateTranslation(TdblVector(), TxformSpace::kParent);
    const T4dDblMatrix noRt = x.matrix();
    x.setRotateTranslation(v, TxformSpace::kParent);
    EXPECT_TRUE(x.matrix().isEquivalent(noRt * move(v), 1e-9)) << n;
    x.setScaleTranslation(TdblVector(), TxformSpace::kObject);
    const T4dDblMatrix noSt = x.matrix();
    x.setScaleTranslation(v, TxformSpace::kObject);
    EXPECT_TRUE(x.matrix().isEquivalent(move(v) * noSt, 1e-9)) << n;

    // A pivot set where the parent (or world) should see it is found there afterwards.
    const TdblVector p = rnd.vec(3);
    x = x0;
    x.setScalePivot(p, TxformSpace::kParent);
    EXPECT_TRUE(near(apply(x.scalePivot(), x.matrix()), p)) << n;
    x.setScalePivot(p, TxformSpace::world(w));
    EXPECT_TRUE(near(apply(apply(x.scalePivot(), x.matrix()), w), p, 1e-8)) << n;
    x = x0;
    x.setRotatePivot(p, TxformSpace::kParent);
    TdblVector seen;
    for (int i = 0; i < 3; ++i) {
      const double psi = x.applyParentScaleInverse() ? x.parentScaleInverse()[i] : 1.0;
      seen[i] = (x.rotatePivot()[i] + x.rotateTranslation()[i]) * psi + x.translation()[i];
    }
    EXPECT_TRUE(near(seen, p)) << n;
    // In object space pivots are stored as they are.
    x.setRotatePivot(p, TxformSpace::kObject);
    EXPECT_TRUE(near(x.rotatePivot(), p, 0.0));
  }
}

TEST(TxformSpace, ScaleShearAndRotation) {
  Random rnd(4242);
  for (int n = 0; n < 120; ++n) {
    const TxformMatrix x0 = randomTransform(rnd, n);
    const T4dDblMatrix m0 = x0.matrix(), w = randomParent(rnd);
    const Tscale s = rnd.scales();
    TxformMatrix x = x0;
    x.scaleBy(s, TxformSpace::kParent);  // along the parent's axes
    EXPECT_TRUE(sameBlock(x.matrix(), m0 * diagonal(s))) << n;
    EXPECT_EQ(x.rotateIsQuaternion(), x0.rotateIsQuaternion());
    x = x0;
    x.scaleBy(s, TxformSpace::world(w));
    EXPECT_TRUE(sameBlock(x.matrix() * w, m0 * w * diagonal(s), 1e-8)) << n;
    x = x0;
    x.scaleTo(s, TxformSpace::kParent);
    const T4dDblMatrix m = x.matrix();
    for (int c = 0; c < 3; ++c)
      EXPECT_NEAR(std::sqrt(m(0, c) * m(0, c) + m(1, c) * m(1, c) + m(2, c) * m(2, c)),
                  std::fabs(s[c]), 1e-9);  // a negative factor mirrors
    x = x0;
    x.scaleBy(s, TxformSpace::kObject);
    EXPECT_EQ(x.scale()[1], x0.scale()[1] * s[1]);

    const Tshear c(rnd(-1, 1), rnd(-1, 1), rnd(-1, 1));
    const double shRows[4][4] = {{1, 0, 0, 0}, {c[0], 1, 0, 0}, {c[1], c[2], 1, 0}, {0, 0, 0, 1}};
    x = x0;
    x.shearBy(c, TxformSpace::kParent);
    EXPECT_TRUE(sameBlock(x.matrix(), m0 * T4dDblMatrix(shRows))) << n;

    // Rotations: about the object's own axes first, or the parent's / world's axes after.
    const Tquaternion q = rnd.quat();
    x = x0;
    x.rotateBy(q, TxformSpace::kObject);
    EXPECT_TRUE(x.rotation().isEquivalentRotation(x0.rotation() * q, 1e-12));
    x = x0;
    x.rotateBy(q, TxformSpace::kParent);
    EXPECT_TRUE(x.rotation().isEquivalentRotation(q * x0.rotation(), 1e-12));
    TxformMatrix rigid;  // a parent without scale, so that world rotations compose plainly
    rigid.rotateTo(TrotateXYZ(rnd(-3, 3), rnd(-3, 3), rnd(-3, 3)));
    rigid.translateTo(rnd.vec(3));
    const T4dDblMatrix wr = rigid.matrix();
    x = x0;
    x.rotateTo(q, TxformSpace::world(wr));  // the world then sees rotation q
    EXPECT_TRUE(Tquaternion(x.rotation().asMatrix() * wr).isEquivalentRotation(q, 1e-9)) << n;
    x = x0;
    x.rotateTo(q, TxformSpace::kObject);
    EXPECT_TRUE(x.rotation().isEquivalentRotation(x0.rotateOrient() * q * x0.jointOrient(), 1e-12));

    // Euler rotations given for the parent stay Euler and near the requested angles.
    const TrotateXYZ e(rnd(-1, 1), rnd(-3, 3), rnd(-3, 3), TrotateXYZ::kZXY);  // x in the middle
    x = x0;
    x.rotateTo(e, TxformSpace::kParent);
    EXPECT_FALSE(x.rotateIsQuaternion());
    EXPECT_EQ(x.rotationOrder(), TrotateXYZ::kZXY);
    EXPECT_TRUE(x.rotation().isEquivalentRotation(e.asQuaternion(), 1e-9)) << n;
    x = x0;
    x.rotateTo(e);
    x.rotateBy(TrotateXYZ(0.01, 0, 0), TxformSpace::kObject);
    EXPECT_FALSE(x.rotateIsQuaternion());
    const TrotateXYZ after = x.rotationXYZ();
    EXPECT_LT(std::fabs(after.x - e.x) + std::fabs(after.y - e.y) + std::fabs(after.z - e.z), 0.5);
  }
}

// The usage example from the space header.
TEST(TxformSpace, HeaderExample) {
  TxformMatrix x;
  x.rotateTo(TrotateXYZ(0.0, 0.0, kPi / 2));
  x.translateBy(TdblVector(1.0, 0.0, 0.0), TxformSpace::kObject);
  x.translateBy(TdblVector(0.0, 1.0, 0.0));
  T4dDblMatrix parentWorld;
  parentWorld(3, 0) = 10.0;
  EXPECT_TRUE(near(x.translation(), TdblVector(0.0, 2.0, 0.0), 1e-12));
  x.translateTo(TdblVector(0.0, 0.0, 5.0), TxformSpace::world(parentWorld));
  EXPECT_TRUE(near(x.translation(), TdblVector(-10.0, 0.0, 5.0), 1e-12));
}
