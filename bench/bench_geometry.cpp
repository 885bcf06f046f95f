// Transforms against Eigen: composing every component into a matrix, Euler angles to a
// quaternion in each order, and inverting the composed matrix. Both sides get the same inputs;
// Eigen works with column vectors, so its chains read right to left.
#include <velacore/geometry/T4dDblMatrix.h>
#include <velacore/geometry/Tquaternion.h>
#include <velacore/geometry/TrotateXYZ.h>
#include <velacore/geometry/TxformMatrix.h>
#include <velacore/geometry/internal/TxformInverse.h>

#include <benchmark/benchmark.h>
#include <Eigen/Dense>
#include <Eigen/Geometry>

#include <cmath>
#include <random>
#include <vector>

namespace {

constexpr int kInputs = 64;  // cycled, so that no result can be folded into a constant
constexpr int kAxes[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {1, 0, 2}, {2, 1, 0}};

struct Tinputs {
  std::vector<TxformMatrix> xforms;
  std::vector<TrotateXYZ> eulers;
};

const Tinputs& inputs() {
  static const Tinputs in = [] {
    std::mt19937_64 gen(7);
    std::uniform_real_distribution<> u(-1.0, 1.0);
    const auto vec = [&] { return TdblVector(3 * u(gen), 3 * u(gen), 3 * u(gen)); };
    const auto quat = [&] { return Tquaternion(u(gen), u(gen), u(gen), u(gen)).normal(); };
    Tinputs r;
    for (int i = 0; i < kInputs; ++i) {
      TxformMatrix x;
      x.scaleTo(Tscale(1.5 + u(gen), 1.5 + u(gen), 1.5 + u(gen)));
      x.shearTo(Tshear(u(gen), u(gen), u(gen)));
      x.rotateTo(TrotateXYZ(3 * u(gen), 3 * u(gen), 3 * u(gen)));
      x.translateTo(vec());
      x.setScalePivot(vec());
      x.setScaleTranslation(vec());
      x.setRotatePivot(vec());
      x.setRotateTranslation(vec());
      x.setRotateOrient(quat());
      x.setJointOrient(quat());
      x.parentScaleInverseTo(Tscale(1.5 + u(gen), 1.5 + u(gen), 1.5 + u(gen)));
      x.setApplyParentScaleInverse(true);
      (void)x.rotation();  // fill the cached combined rotation
      r.xforms.push_back(x);
      r.eulers.emplace_back(3 * u(gen), 3 * u(gen), 3 * u(gen));
    }
    return r;
  }();
  return in;
}

Eigen::Quaterniond toEigen(const Tquaternion& q) { return Eigen::Quaterniond(q.w, q.x, q.y, q.z); }
Eigen::Vector3d toEigen(const TdblVector& v) { return Eigen::Vector3d(v[0], v[1], v[2]); }

// The transform's components in Eigen's types, read once outside the timed loops.
struct TeigenXform {
  Eigen::Vector3d scale, translation, scalePivot, scaleTranslation, rotatePivot, rotateTranslation,
      parentScaleInverse;
  Eigen::Matrix3d shear;
  Eigen::Quaterniond rotation, rotateOrient, jointOrient;
  double euler[3];
};

std::vector<TeigenXform> eigenInputs() {
  std::vector<TeigenXform> out;
  for (const TxformMatrix& x : inputs().xforms) {
    TeigenXform e;
    e.scale = Eigen::Vector3d(x.scale()[0], x.scale()[1], x.scale()[2]);
    e.parentScaleInverse = Eigen::Vector3d(x.parentScaleInverse()[0], x.parentScaleInverse()[1],
                                           x.parentScaleInverse()[2]);
    e.translation = toEigen(x.translation());
    e.scalePivot = toEigen(x.scalePivot());
    e.scaleTranslation = toEigen(x.scaleTranslation());
    e.rotatePivot = toEigen(x.rotatePivot());
    e.rotateTranslation = toEigen(x.rotateTranslation());
    const Tshear c = x.shear();
    e.shear << 1, c[0], c[1], 0, 1, c[2], 0, 0, 1;
    e.rotation = toEigen(x.rotation());
    e.rotateOrient = toEigen(x.rotateOrient());
    e.jointOrient = toEigen(x.jointOrient());
    const TrotateXYZ r = x.rotationXYZ();
    e.euler[0] = r.x;
    e.euler[1] = r.y;
    e.euler[2] = r.z;
    out.push_back(e);
  }
  return out;
}

// The same factor chain as TxformMatrix::matrix(), with the given combined rotation.
Eigen::Affine3d eigenChain(const TeigenXform& e, const Eigen::Quaterniond& rotation) {
  using T = Eigen::Translation3d;
  return T(e.translation) * Eigen::Scaling(e.parentScaleInverse) * T(-e.translation) *
         T(e.translation) * T(e.rotateTranslation) * T(e.rotatePivot) * rotation *
         T(-e.rotatePivot) * T(e.scaleTranslation) * T(e.scalePivot) * Eigen::Affine3d(e.shear) *
         Eigen::Scaling(e.scale) * T(-e.scalePivot);
}

// matrix() with every component set and the combined rotation cached.
void BM_Compose_vela(benchmark::State& state) {
  const auto& xs = inputs().xforms;
  int i = 0;
  for (auto _ : state) {
    T4dDblMatrix m = xs[i].matrix();
    benchmark::DoNotOptimize(m);
    i = (i + 1) % kInputs;
  }
}
BENCHMARK(BM_Compose_vela);

void BM_Compose_eigen(benchmark::State& state) {
  const std::vector<TeigenXform> es = eigenInputs();
  int i = 0;
  for (auto _ : state) {
    Eigen::Affine3d a = eigenChain(es[i], es[i].rotation);
    benchmark::DoNotOptimize(a);
    i = (i + 1) % kInputs;
  }
}
BENCHMARK(BM_Compose_eigen);

// The rotation changed before every matrix(): Euler angles (xyz) and both orientations are
// combined again.
void BM_ComposeNewRotation_vela(benchmark::State& state) {
  std::vector<TxformMatrix> xs = inputs().xforms;
  int i = 0;
  for (auto _ : state) {
    TxformMatrix& x = xs[i];
    x.rotateTo(x.rotationXYZ());
    T4dDblMatrix m = x.matrix();
    benchmark::DoNotOptimize(m);
    i = (i + 1) % kInputs;
  }
}
BENCHMARK(BM_ComposeNewRotation_vela);

void BM_ComposeNewRotation_eigen(benchmark::State& state) {
  const std::vector<TeigenXform> es = eigenInputs();
  int i = 0;
  for (auto _ : state) {
    const TeigenXform& e = es[i];
    const Eigen::Quaterniond r =
        e.rotateOrient * Eigen::AngleAxisd(e.euler[2], Eigen::Vector3d::UnitZ()) *
        Eigen::AngleAxisd(e.euler[1], Eigen::Vector3d::UnitY()) *
        Eigen::AngleAxisd(e.euler[0], Eigen::Vector3d::UnitX()) * e.jointOrient;
    Eigen::Affine3d a = eigenChain(e, r);
    benchmark::DoNotOptimize(a);
    i = (i + 1) % kInputs;
  }
}
BENCHMARK(BM_ComposeNewRotation_eigen);

// Euler angles to a quaternion; the argument is the rotation order.
void BM_EulerToQuat_vela(benchmark::State& state) {
  std::vector<TrotateXYZ> rs = inputs().eulers;
  for (TrotateXYZ& r : rs) r.order = static_cast<TrotateXYZ::TrotOrder>(state.range(0));
  int i = 0;
  for (auto _ : state) {
    Tquaternion q = rs[i].asQuaternion();
    benchmark::DoNotOptimize(q);
    i = (i + 1) % kInputs;
  }
}
BENCHMARK(BM_EulerToQuat_vela)->DenseRange(0, 5);

void BM_EulerToQuat_eigen(benchmark::State& state) {
  const auto& rs = inputs().eulers;
  const int* axes = kAxes[state.range(0)];
  const Eigen::Vector3d axis[3] = {Eigen::Vector3d::UnitX(), Eigen::Vector3d::UnitY(),
                                   Eigen::Vector3d::UnitZ()};
  int i = 0;
  for (auto _ : state) {
    const double a[3] = {rs[i].x, rs[i].y, rs[i].z};
    Eigen::Quaterniond q = Eigen::AngleAxisd(a[axes[2]], axis[axes[2]]) *
                           Eigen::AngleAxisd(a[axes[1]], axis[axes[1]]) *
                           Eigen::AngleAxisd(a[axes[0]], axis[axes[0]]);
    benchmark::DoNotOptimize(q);
    i = (i + 1) % kInputs;
  }
}
BENCHMARK(BM_EulerToQuat_eigen)->DenseRange(0, 5);

// What both conversions share: the three half-angle sines and cosines (the libm call each side
// makes per angle), with nothing else.
void BM_EulerSincosOnly_libm(benchmark::State& state) {
  const auto& rs = inputs().eulers;
  int i = 0;
  for (auto _ : state) {
    const double a[3] = {rs[i].x, rs[i].y, rs[i].z};
    for (double angle : a) {
      double s = std::sin(0.5 * angle), c = std::cos(0.5 * angle);
      benchmark::DoNotOptimize(s);
      benchmark::DoNotOptimize(c);
    }
    i = (i + 1) % kInputs;
  }
}
BENCHMARK(BM_EulerSincosOnly_libm);

// The inverse of the composed matrix: ours from the components, Eigen's general 4x4 inverse.
void BM_Inverse_vela(benchmark::State& state) {
  const auto& xs = inputs().xforms;
  int i = 0;
  for (auto _ : state) {
    T4dDblMatrix m = xs[i].inverse();
    benchmark::DoNotOptimize(m);
    i = (i + 1) % kInputs;
  }
}
BENCHMARK(BM_Inverse_vela);

void BM_Inverse_eigen(benchmark::State& state) {
  std::vector<Eigen::Matrix4d> ms;
  for (const TeigenXform& e : eigenInputs()) ms.push_back(eigenChain(e, e.rotation).matrix());
  int i = 0;
  for (auto _ : state) {
    Eigen::Matrix4d m = ms[i].inverse();
    benchmark::DoNotOptimize(m);
    i = (i + 1) % kInputs;
  }
}
BENCHMARK(BM_Inverse_eigen);

// The portable inverse kernel alone, as a processor without AVX2 runs it (inverse() takes the
// fastest kernel the processor has); the peer is the same Eigen inverse as above.
void BM_InversePortable_vela(benchmark::State& state) {
  struct Tstored {  // the components as the kernels read them
    double v[8][4];
    double rotation[4];
    vela::geometry_internal::TinverseParts parts;
  };
  std::vector<Tstored> stored(kInputs);
  for (int n = 0; n < kInputs; ++n) {
    const TxformMatrix& x = inputs().xforms[n];
    Tstored& s = stored[n];
    const TdblVector sp = x.scalePivot(), rp = x.rotatePivot();
    const double triples[8][3] = {
        {x.scale()[0], x.scale()[1], x.scale()[2]},
        {x.shear()[0], x.shear()[1], x.shear()[2]},
        {x.translation()[0], x.translation()[1], x.translation()[2]},
        {-sp[0], -sp[1], -sp[2]},
        {x.scaleTranslation()[0], x.scaleTranslation()[1], x.scaleTranslation()[2]},
        {-rp[0], -rp[1], -rp[2]},
        {x.rotateTranslation()[0], x.rotateTranslation()[1], x.rotateTranslation()[2]},
        {x.parentScaleInverse()[0], x.parentScaleInverse()[1], x.parentScaleInverse()[2]}};
    for (int i = 0; i < 8; ++i)
      for (int j = 0; j < 4; ++j) s.v[i][j] = j < 3 ? triples[i][j] : 0.0;
    const Tquaternion q = x.rotation();
    s.rotation[0] = q.x;
    s.rotation[1] = q.y;
    s.rotation[2] = q.z;
    s.rotation[3] = q.w;
    s.parts = {s.v[0], s.v[1], s.v[2], s.v[3], s.v[4], s.v[5], s.v[6], s.v[7], s.rotation};
  }
  int i = 0;
  for (auto _ : state) {
    T4dDblMatrix m;
    vela::geometry_internal::invertPortable(stored[i].parts, m.fMatrix);
    benchmark::DoNotOptimize(m);
    i = (i + 1) % kInputs;
  }
}
BENCHMARK(BM_InversePortable_vela);
BENCHMARK(BM_Inverse_eigen)->Name("BM_InversePortable_eigen");

// The general inverse of any 4x4 matrix, ours against Eigen's (no target; for reference).
void BM_GeneralInverse_vela(benchmark::State& state) {
  std::vector<T4dDblMatrix> ms;
  for (const TxformMatrix& x : inputs().xforms) ms.push_back(x.matrix());
  int i = 0;
  for (auto _ : state) {
    T4dDblMatrix m = ms[i].inverse();
    benchmark::DoNotOptimize(m);
    i = (i + 1) % kInputs;
  }
}
BENCHMARK(BM_GeneralInverse_vela);

void BM_GeneralInverse_eigen(benchmark::State& state) {
  std::vector<Eigen::Matrix4d> ms;
  for (const TxformMatrix& x : inputs().xforms) {
    Eigen::Matrix4d e;
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c) e(c, r) = x.matrix()(r, c);
    ms.push_back(e);
  }
  int i = 0;
  for (auto _ : state) {
    Eigen::Matrix4d m = ms[i].inverse();
    benchmark::DoNotOptimize(m);
    i = (i + 1) % kInputs;
  }
}
BENCHMARK(BM_GeneralInverse_eigen);

}  // namespace
