// The inverse kernels run directly, each of them (TxformMatrix::inverse() uses only the one this
// processor prefers), on components read back through TxformMatrix's public accessors.
#include <velacore/geometry/internal/TxformInverse.h>

#include "GeometryTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

using namespace geometryTest;
using namespace vela::geometry_internal;

namespace {

// The components of `x` as the kernels read them: every triple with a fourth double after it,
// set to a value that must not leak into the result.
struct Tstored {
  explicit Tstored(const TxformMatrix& x) {
    const auto put = [](double(&to)[4], double a, double b, double c) {
      to[0] = a;
      to[1] = b;
      to[2] = c;
      to[3] = 0.0;  // a zero to divide by, were lane 3 not kept out
    };
    const auto triple = [&](double(&to)[4], const auto& v) { put(to, v[0], v[1], v[2]); };
    const auto negated = [&](double(&to)[4], const TdblVector& v) { put(to, -v[0], -v[1], -v[2]); };
    triple(scale, x.scale());
    triple(shear, x.shear());
    triple(translation, x.translation());
    negated(scalePivot, x.scalePivot());
    triple(scaleTranslation, x.scaleTranslation());
    negated(rotatePivot, x.rotatePivot());
    triple(rotateTranslation, x.rotateTranslation());
    triple(parent, x.parentScaleInverse());
    const Tquaternion q = x.rotation();
    rotation[0] = q.x;
    rotation[1] = q.y;
    rotation[2] = q.z;
    rotation[3] = q.w;
    parts = TinverseParts{scale,       shear,
                          translation, scalePivot,
                          scaleTranslation, rotatePivot,
                          rotateTranslation, x.applyParentScaleInverse() ? parent : nullptr,
                          rotation};
  }
  double scale[4], shear[4], translation[4], scalePivot[4], scaleTranslation[4], rotatePivot[4],
      rotateTranslation[4], parent[4], rotation[4];
  TinverseParts parts;
};

struct Tkernel {
  std::string name;
  TinverseKernel run;
};

std::vector<Tkernel> kernels() {
  std::vector<Tkernel> k{{"portable", &invertPortable}};
  if (TinverseKernel wide = wideInverseKernel()) k.push_back({"wide", wide});
  return k;
}

// Runs `kernel` on `x` into a matrix filled with a marker, so that an untouched result shows.
T4dDblMatrix invert(const Tkernel& kernel, const TxformMatrix& x, bool* ok) {
  const Tstored stored(x);
  T4dDblMatrix m;
  for (auto& row : m.fMatrix)
    for (double& v : row) v = 42.0;
  *ok = kernel.run(stored.parts, m.fMatrix);
  return m;
}

}  // namespace

TEST(TxformInverse, EveryKernelInvertsTheComposedMatrix) {
  Random rnd(99);
  for (const Tkernel& kernel : kernels()) {
    for (int n = 0; n < 300; ++n) {
      const TxformMatrix x = randomTransform(rnd, n);
      bool ok = false;
      const T4dDblMatrix inv = invert(kernel, x, &ok);
      ASSERT_TRUE(ok) << kernel.name << " " << n;
      EXPECT_TRUE((x.matrix() * inv).isEquivalent(T4dDblMatrix::identity(), 1e-12))
          << kernel.name << " " << n;
      // The kernels agree with each other, and the public inverse is one of them.
      EXPECT_TRUE(inv.isEquivalent(x.inverse(), 1e-12)) << kernel.name << " " << n;
      EXPECT_EQ(inv(0, 3), 0.0);
      EXPECT_EQ(inv(3, 3), 1.0);
    }
  }
}

TEST(TxformInverse, SingularAndExtremeScales) {
  for (const Tkernel& kernel : kernels()) {
    SCOPED_TRACE(kernel.name);
    bool ok = true;
    for (int i = 0; i < 3; ++i) {
      // A zero in any slot of the scale, or of an applied parent scale inverse, has no inverse
      // and leaves the result untouched; an unapplied parent scale inverse does not matter.
      TxformMatrix x;
      Tscale zero(2, 3, 4);
      zero[i] = 0.0;
      x.scaleTo(zero);
      EXPECT_EQ(invert(kernel, x, &ok)(1, 2), 42.0);
      EXPECT_FALSE(ok);
      TxformMatrix y;
      y.parentScaleInverseTo(zero);
      EXPECT_TRUE((y.matrix() * invert(kernel, y, &ok)).isEquivalent(T4dDblMatrix(), 0));
      EXPECT_TRUE(ok);
      y.setApplyParentScaleInverse(true);
      invert(kernel, y, &ok);
      EXPECT_FALSE(ok);
    }
    // Scales whose product underflows or overflows are not zero: each is inverted on its own.
    TxformMatrix tiny;
    tiny.scaleTo(Tscale(1e-200, 1e-200, 1e-100));
    tiny.parentScaleInverseTo(Tscale(1e150, 4.0, 1e90));
    tiny.setApplyParentScaleInverse(true);
    const T4dDblMatrix inv = invert(kernel, tiny, &ok);
    ASSERT_TRUE(ok);
    const TdblVector p(0.25, -4.0, 7.0);
    const TdblVector back = apply(apply(p, tiny.matrix()), inv);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(back[i], p[i], 1e-9) << i;
    // Not a number is not singular: it spreads instead of turning into the identity.
    TxformMatrix bad;
    bad.scaleTo(Tscale(1, std::numeric_limits<double>::quiet_NaN(), 1));
    EXPECT_TRUE(std::isnan(invert(kernel, bad, &ok)(1, 1)));
    EXPECT_TRUE(ok);
  }
}
