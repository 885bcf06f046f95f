// The kernels behind TxformMatrix::inverse(): the inverse of the composed matrix written out in
// closed form from the components, with no general 4x4 inversion.
//
// With S = diag(scale), Sh the lower-triangular shear, R the combined rotation and P the parent
// scale inverse (identity when it is not applied), the upper block of matrix() is S*Sh*R*P, so
// the inverse block is P^-1 * transpose(R) * Sh^-1 * S^-1, and the unit shear inverts exactly
// to rows (1, 0, 0), (-c0, 1, 0), (c0*c2 - c1, -c2, 1). The fourth row is the origin taken back
// through every inverted factor.
//
// Two kernels compute the same formula: a portable one on pairs of doubles, and one on rows of
// four doubles for x86-64 processors with AVX2 and FMA, chosen at run time (the library itself
// is built for baseline x86-64). Kept apart from TxformMatrix so that the tests can run both.
#pragma once

class TxformMatrix;

namespace vela::geometry_internal {

/// The components as TxformMatrix stores them (pivots negated). Every three-double pointer must
/// have one more readable double after it (the wide kernel loads four and ignores the last);
/// TxformMatrix's fields are laid out that way.
struct TinverseParts {
  const double* scale;
  const double* shear;
  const double* translation;
  const double* scalePivot;  // origin minus the pivot
  const double* scaleTranslation;
  const double* rotatePivot;  // origin minus the pivot
  const double* rotateTranslation;
  const double* parentScaleInverse;  // null when it is not applied
  const double* rotation;            // the combined rotation's x, y, z, w
};

/// Writes the inverse into `out` and returns true; a zero scale (or a zero parent scale
/// inverse, when applied) leaves `out` untouched and returns false.
using TinverseKernel = bool (*)(const TinverseParts& parts, double (&out)[4][4]);

/// The portable kernel.
bool invertPortable(const TinverseParts& parts, double (&out)[4][4]);
/// The AVX2 kernel, or null where this build or this processor has none.
TinverseKernel wideInverseKernel();

/// The same kernels reading a TxformMatrix's fields in place (`rotation`: the combined
/// rotation's x, y, z, w); the fastest one this processor runs.
using TxformInverseKernel = bool (*)(const TxformMatrix& x, const double* rotation,
                                     double (&out)[4][4]);
TxformInverseKernel xformInverseKernel();

}  // namespace vela::geometry_internal
