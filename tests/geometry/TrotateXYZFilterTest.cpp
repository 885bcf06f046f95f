// Euler filtering: every answer is the same rotation, and the one nearest the reference.
#include <velacore/geometry/TrotateXYZ.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

constexpr double kPi = 3.14159265358979323846;

double distance(const TrotateXYZ& a, const TrotateXYZ& b) {
  return std::fabs(a.x - b.x) + std::fabs(a.y - b.y) + std::fabs(a.z - b.z);
}

bool sameRotation(const TrotateXYZ& a, const TrotateXYZ& b) {
  return a.asMatrix().isEquivalent(b.asMatrix(), 1e-9);
}

}  // namespace

TEST(TrotateXYZFilter, SolutionsCutsAndReorders) {
  std::mt19937_64 gen(5);
  std::uniform_real_distribution<> u(-3 * kPi, 3 * kPi);
  for (int n = 0; n < 600; ++n) {
    const auto order = static_cast<TrotateXYZ::TrotOrder>(n % 6);
    const TrotateXYZ r(u(gen), u(gen), u(gen), order);
    const TrotateXYZ alt = r.alternateSolution();
    EXPECT_TRUE(sameRotation(alt, r)) << n;
    EXPECT_GT(distance(alt, r), 1.0);
    const TrotateXYZ target(u(gen), u(gen), u(gen), order);
    const TrotateXYZ cut = r.closestCut(target);
    EXPECT_TRUE(sameRotation(cut, r));
    EXPECT_LE(std::fabs(cut.x - target.x), kPi + 1e-12);
    const TrotateXYZ best = r.closestSolution(target);
    EXPECT_TRUE(sameRotation(best, r)) << n;
    EXPECT_LE(distance(best, target), distance(cut, target) + 1e-12);
    EXPECT_LE(distance(best, target), distance(alt.closestCut(target), target) + 1e-12);
    // A triple whole turns away from the target, or its alternate, comes back as the target.
    const TrotateXYZ shifted(target.x + 2 * kPi, target.y - 4 * kPi, target.z, order);
    EXPECT_LT(distance(shifted.closestSolution(target), target), 1e-9);
    EXPECT_LT(distance(target.alternateSolution().closestSolution(target), target), 1e-9);
    // Reordering keeps the rotation; reordering to the same order keeps the angles.
    const auto other = static_cast<TrotateXYZ::TrotOrder>((n / 6) % 6);
    const TrotateXYZ re = r.reorder(other);
    EXPECT_EQ(re.order, other);
    EXPECT_TRUE(sameRotation(re, r)) << n;
    EXPECT_LT(distance(r.reorder(order), r), 1e-9) << n;
  }
  // Orders above 5 are no rotation and are left alone.
  const TrotateXYZ none(1, 2, 3, static_cast<TrotateXYZ::TrotOrder>(9));
  EXPECT_EQ(none.alternateSolution(), none);
  EXPECT_EQ(none.closestSolution(TrotateXYZ()), none);
}

TEST(TrotateXYZFilter, GimbalLockSharesTheChange) {
  static const int axes[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {1, 0, 2}, {2, 1, 0}};
  for (int order = 0; order < 6; ++order)
    for (double middle : {kPi / 2, -kPi / 2}) {
      const auto o = static_cast<TrotateXYZ::TrotOrder>(order);
      double a[3] = {0.3, 0.3, 0.3};
      a[axes[order][0]] = 0.4;
      a[axes[order][1]] = middle;
      a[axes[order][2]] = -0.2;
      const TrotateXYZ target(a[0], a[1], a[2], o);
      // Read back from the matrix, all the outer turn lands on one angle; filtering against
      // the original angles recovers them.
      const TrotateXYZ read = TrotateXYZ::fromMatrix(target.asMatrix(), o);
      const TrotateXYZ best = read.closestSolution(target);
      EXPECT_TRUE(sameRotation(best, target)) << order;
      EXPECT_LT(distance(best, target), 1e-6) << order << " " << middle;
    }
}

TEST(TrotateXYZFilter, IncrementalStepsStayContinuous) {
  // Turning about each world axis in small steps passes the middle angle through +-pi/2,
  // where reading the angles from the matrix alone would flip to the alternate triple.
  for (int order = 0; order < 6; ++order)
    for (int axis = 0; axis < 3; ++axis) {
      TrotateXYZ r(0.2, -0.1, 0.3, static_cast<TrotateXYZ::TrotOrder>(order));
      Tquaternion expected = r.asQuaternion();
      const Tquaternion step = TrotateXYZ::axisQuaternion(axis, 0.05);
      for (int i = 0; i < 150; ++i) {
        const TrotateXYZ next = r.incrementalRotateBy(step);
        expected = step * expected;
        ASSERT_TRUE(next.asQuaternion().isEquivalentRotation(expected, 1e-9)) << order << axis;
        // Near the lock the outer angles move faster than the step, but a flip to the
        // alternate triple or a wrap by a whole turn would move them by 2 pi or more.
        ASSERT_LT(distance(next, r), kPi) << "order " << order << " axis " << axis << " step " << i;
        r = next;
      }
    }
}
