// TdataMatrix: a 4x4 matrix of doubles ("matrix", tag MATR), row-major, points as row vectors
// multiplied on the left (p' = p * M), as the library's transforms are.
//
//   Tdata m(new TdataMatrix);                  // identity
//   m *= Tdata(new TdataMatrix(scale));        // matrix product: m * scale
//   m *= Tdata(2.0);                           // every element times 2
//
// Everything but * with another matrix acts element by element as for the other tuples
// (TdataTuple.h).
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/data/TdataTuple.h>

class VELACORE_API TdataMatrix : public TdataTuple<TdataMatrix, TdataLetter, double, 16> {
 public:
  VELA_DECLARE_TYPE(TdataMatrix);
  static constexpr const char* kTypeName = "matrix";
  static constexpr TiffTag kTag{"MATR"};

  /// The identity.
  TdataMatrix();
  explicit TdataMatrix(const Values& rowMajor) : TdataTuple(rowMajor) {}

  /// Element at `row`, `column`.
  [[nodiscard]] double at(unsigned row, unsigned column) const { return values()[row * 4 + column]; }
  /// Back to the identity.
  void reset() override;
  using TdataTuple::operator*=;
  /// With another matrix: the product this * other; with anything else element by element.
  TdataLetter& operator*=(const Tdata& o) override;
  TdataLetter& operator*=(const TdataLetter& o) override;
};

extern template class TdataTuple<TdataMatrix, TdataLetter, double, 16>;
