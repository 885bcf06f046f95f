// TdoubleTriple: three doubles, the storage of scales, shears and the transform's vectors.
//
// One template with a tag per meaning, so that a scale cannot be passed where a shear is
// expected by accident:
//
//   Tscale s(2.0, 2.0, 1.0);
//   Tshear sh;                 // all zeros: no shear
//   sh[0] = 1.0;               // components are numbered 0, 1, 2
//   TdblVector t(1.0, 0.0, 0.0);
//   double sum = s[0] + t.x();
//
// Tscale defaults to (1, 1, 1); every other kind defaults to zeros.
#pragma once

#include <velacore/base/TvelacoreApi.h>

namespace vela_geometry_tags {
struct Scale {
  static constexpr double kDefault = 1.0;
};
struct Shear {
  static constexpr double kDefault = 0.0;
};
struct Shear2 {
  static constexpr double kDefault = 0.0;
};
struct Vector {
  static constexpr double kDefault = 0.0;
};
}  // namespace vela_geometry_tags

template <class Tag>
class TdoubleTriple {
 public:
  /// The kind's neutral value: ones for a scale, zeros otherwise.
  constexpr TdoubleTriple() : f{Tag::kDefault, Tag::kDefault, Tag::kDefault} {}
  constexpr TdoubleTriple(double a, double b, double c) : f{a, b, c} {}

  /// Component 0, 1 or 2.
  [[nodiscard]] constexpr double operator[](int i) const { return f[i]; }
  constexpr double& operator[](int i) { return f[i]; }
  [[nodiscard]] constexpr double x() const { return f[0]; }
  [[nodiscard]] constexpr double y() const { return f[1]; }
  [[nodiscard]] constexpr double z() const { return f[2]; }

  /// True when every component equals the kind's neutral value exactly.
  [[nodiscard]] constexpr bool isNeutral() const {
    return f[0] == Tag::kDefault && f[1] == Tag::kDefault && f[2] == Tag::kDefault;
  }

  [[nodiscard]] constexpr bool operator==(const TdoubleTriple& o) const {
    return f[0] == o.f[0] && f[1] == o.f[1] && f[2] == o.f[2];
  }
  [[nodiscard]] constexpr bool operator!=(const TdoubleTriple& o) const { return !(*this == o); }

  double f[3];
};

/// Scale factors along x, y, z.
using Tscale = TdoubleTriple<vela_geometry_tags::Scale>;
/// Lower-triangular shear: c0 adds y to x, c1 adds z to x, c2 adds z to y.
using Tshear = TdoubleTriple<vela_geometry_tags::Shear>;
/// Upper-triangular shear: u0 adds x to y, u1 adds x to z, u2 adds y to z.
using Tshear2 = TdoubleTriple<vela_geometry_tags::Shear2>;
/// A point or a translation.
using TdblVector = TdoubleTriple<vela_geometry_tags::Vector>;
