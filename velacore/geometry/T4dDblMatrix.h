// T4dDblMatrix: a 4x4 matrix of doubles, the library's transformation matrix.
//
// Points and directions are row vectors multiplied on the left (p' = p * M), so the
// translation sits in the fourth row and `a * b` applies a first, then b:
//
//   T4dDblMatrix move;                       // identity
//   move.fMatrix[3][0] = 5.0;                // translate by 5 along x
//   T4dDblMatrix scale;
//   scale(0, 0) = 2.0;                       // double x
//   T4dDblMatrix both = scale * move;        // scale, then move
//   if (both.isEquivalent(move * scale)) ...  // false: the order matters
//
// A plain value: 128 bytes, copied freely. `==` compares every element exactly; results of
// arithmetic should be compared with isEquivalent() and a tolerance instead.
//
// Traps: inverse() of a singular matrix (a zero scale, say) cannot exist; it returns the
// identity and reports the failure through its optional flag, so check the flag when the
// input may be degenerate.
#pragma once

#include <velacore/base/TvelacoreApi.h>

class VELACORE_API T4dDblMatrix {
 public:
  /// The identity.
  constexpr T4dDblMatrix()
      : fMatrix{{1.0, 0.0, 0.0, 0.0},
                {0.0, 1.0, 0.0, 0.0},
                {0.0, 0.0, 1.0, 0.0},
                {0.0, 0.0, 0.0, 1.0}} {}
  /// The matrix with these rows.
  constexpr explicit T4dDblMatrix(const double (&rows)[4][4]) : fMatrix{} {
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c) fMatrix[r][c] = rows[r][c];
  }

  [[nodiscard]] static constexpr T4dDblMatrix identity() { return T4dDblMatrix(); }
  /// Makes this the identity.
  constexpr void setToIdentity() { *this = T4dDblMatrix(); }

  /// Element at row `r`, column `c`.
  [[nodiscard]] constexpr double operator()(int r, int c) const { return fMatrix[r][c]; }
  [[nodiscard]] constexpr double& operator()(int r, int c) { return fMatrix[r][c]; }

  /// This matrix followed by `o` (row vectors: p * (this * o) == (p * this) * o).
  [[nodiscard]] constexpr T4dDblMatrix operator*(const T4dDblMatrix& o) const {
    T4dDblMatrix out(kZero);
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c) {
        double sum = 0.0;
        for (int k = 0; k < 4; ++k) sum += fMatrix[r][k] * o.fMatrix[k][c];
        out.fMatrix[r][c] = sum;
      }
    return out;
  }
  constexpr T4dDblMatrix& operator*=(const T4dDblMatrix& o) { return *this = *this * o; }

  [[nodiscard]] constexpr bool operator==(const T4dDblMatrix& o) const {
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c)
        if (fMatrix[r][c] != o.fMatrix[r][c]) return false;
    return true;
  }
  [[nodiscard]] constexpr bool operator!=(const T4dDblMatrix& o) const { return !(*this == o); }

  /// True when every element differs from `o`'s by at most `tolerance`.
  [[nodiscard]] bool isEquivalent(const T4dDblMatrix& o, double tolerance = 1e-10) const;

  /// Rows and columns swapped.
  [[nodiscard]] constexpr T4dDblMatrix transpose() const {
    T4dDblMatrix out(kZero);
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c) out.fMatrix[c][r] = fMatrix[r][c];
    return out;
  }

  /// The determinant of the whole 4x4 matrix.
  [[nodiscard]] double determinant() const;

  /// The general inverse (cofactors over the determinant). A singular matrix yields the
  /// identity and sets `*ok` (when given) to false.
  [[nodiscard]] T4dDblMatrix inverse(bool* ok = nullptr) const;

  double fMatrix[4][4];

 private:
  static constexpr double kZero[4][4] = {};
};
