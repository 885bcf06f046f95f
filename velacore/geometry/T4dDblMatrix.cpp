#include <velacore/geometry/T4dDblMatrix.h>

#include <cmath>

bool T4dDblMatrix::isEquivalent(const T4dDblMatrix& o, double tolerance) const {
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c)
      if (!(std::fabs(fMatrix[r][c] - o.fMatrix[r][c]) <= tolerance)) return false;
  return true;
}

namespace {

// The 2x2 minors of the lower two rows, shared by the determinant and the inverse so that
// both expand the same way (Laplace expansion by complementary minors).
struct Tminors {
  double s0, s1, s2, s3, s4, s5;  // from rows 0 and 1
  double c0, c1, c2, c3, c4, c5;  // from rows 2 and 3
};

Tminors minors(const double (&m)[4][4]) {
  Tminors t{};
  t.s0 = m[0][0] * m[1][1] - m[1][0] * m[0][1];
  t.s1 = m[0][0] * m[1][2] - m[1][0] * m[0][2];
  t.s2 = m[0][0] * m[1][3] - m[1][0] * m[0][3];
  t.s3 = m[0][1] * m[1][2] - m[1][1] * m[0][2];
  t.s4 = m[0][1] * m[1][3] - m[1][1] * m[0][3];
  t.s5 = m[0][2] * m[1][3] - m[1][2] * m[0][3];
  t.c5 = m[2][2] * m[3][3] - m[3][2] * m[2][3];
  t.c4 = m[2][1] * m[3][3] - m[3][1] * m[2][3];
  t.c3 = m[2][1] * m[3][2] - m[3][1] * m[2][2];
  t.c2 = m[2][0] * m[3][3] - m[3][0] * m[2][3];
  t.c1 = m[2][0] * m[3][2] - m[3][0] * m[2][2];
  t.c0 = m[2][0] * m[3][1] - m[3][0] * m[2][1];
  return t;
}

double det(const Tminors& t) {
  return t.s0 * t.c5 - t.s1 * t.c4 + t.s2 * t.c3 + t.s3 * t.c2 - t.s4 * t.c1 + t.s5 * t.c0;
}

}  // namespace

double T4dDblMatrix::determinant() const { return det(minors(fMatrix)); }

T4dDblMatrix T4dDblMatrix::inverse(bool* ok) const {
  const auto& a = fMatrix;
  const Tminors t = minors(a);
  const double d = det(t);
  if (d == 0.0 || !std::isfinite(d)) {
    if (ok) *ok = false;
    return T4dDblMatrix();
  }
  if (ok) *ok = true;
  const double k = 1.0 / d;
  T4dDblMatrix b;
  b.fMatrix[0][0] = (a[1][1] * t.c5 - a[1][2] * t.c4 + a[1][3] * t.c3) * k;
  b.fMatrix[0][1] = (-a[0][1] * t.c5 + a[0][2] * t.c4 - a[0][3] * t.c3) * k;
  b.fMatrix[0][2] = (a[3][1] * t.s5 - a[3][2] * t.s4 + a[3][3] * t.s3) * k;
  b.fMatrix[0][3] = (-a[2][1] * t.s5 + a[2][2] * t.s4 - a[2][3] * t.s3) * k;
  b.fMatrix[1][0] = (-a[1][0] * t.c5 + a[1][2] * t.c2 - a[1][3] * t.c1) * k;
  b.fMatrix[1][1] = (a[0][0] * t.c5 - a[0][2] * t.c2 + a[0][3] * t.c1) * k;
  b.fMatrix[1][2] = (-a[3][0] * t.s5 + a[3][2] * t.s2 - a[3][3] * t.s1) * k;
  b.fMatrix[1][3] = (a[2][0] * t.s5 - a[2][2] * t.s2 + a[2][3] * t.s1) * k;
  b.fMatrix[2][0] = (a[1][0] * t.c4 - a[1][1] * t.c2 + a[1][3] * t.c0) * k;
  b.fMatrix[2][1] = (-a[0][0] * t.c4 + a[0][1] * t.c2 - a[0][3] * t.c0) * k;
  b.fMatrix[2][2] = (a[3][0] * t.s4 - a[3][1] * t.s2 + a[3][3] * t.s0) * k;
  b.fMatrix[2][3] = (-a[2][0] * t.s4 + a[2][1] * t.s2 - a[2][3] * t.s0) * k;
  b.fMatrix[3][0] = (-a[1][0] * t.c3 + a[1][1] * t.c1 - a[1][2] * t.c0) * k;
  b.fMatrix[3][1] = (a[0][0] * t.c3 - a[0][1] * t.c1 + a[0][2] * t.c0) * k;
  b.fMatrix[3][2] = (-a[3][0] * t.s3 + a[3][1] * t.s1 - a[3][2] * t.s0) * k;
  b.fMatrix[3][3] = (a[2][0] * t.s3 - a[2][1] * t.s1 + a[2][2] * t.s0) * k;
  return b;
}
