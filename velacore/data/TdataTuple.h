// TdataTuple: the letters that hold a fixed number of numbers (the compounds Tdata2Double ...
// Tdata4Double, the matrix, the RGB spectrum and reflectance), one template over the element
// type, the count and the letter base.
//
//   Tdata p(new Tdata3Double({1, 2, 3}));
//   p += Tdata(1.0);                             // {2, 3, 4}
//   p *= Tdata(new Tdata3Double({2, 2, 0.5}));   // element by element: {4, 6, 2}
//   p.letterAs<Tdata3Double>()->values()[2];     // 2
//
// Binary form: the elements big-endian, nothing else (a chunk shorter than that is refused).
// Text form: the elements, then one space. Operators act element by element with a number or a
// tuple of the same class (TincompatibleData otherwise); comparisons are lexicographic.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/data/TdataLetter.h>
#include <velacore/data/detail/TdataElementLetter.h>

#include <array>
#include <cstdint>

template <class Self, class Base, class T, unsigned N>
class VELACORE_API TdataTuple : public vela::data_internal::TdataElementLetter<Self, Base, T> {
 public:
  using Element = T;
  using Values = std::array<T, N>;
  static constexpr unsigned kCount = N;

  /// All elements 0.
  TdataTuple() : fValues{} {}
  explicit TdataTuple(const Values& values) : fValues(values) {}

  [[nodiscard]] const Values& values() const { return fValues; }
  [[nodiscard]] Values& values() { return fValues; }
  [[nodiscard]] const T& operator[](unsigned i) const { return fValues[i]; }
  [[nodiscard]] T& operator[](unsigned i) { return fValues[i]; }
  /// The elements as the shared operators see them.
  [[nodiscard]] const T* elementData() const { return fValues.data(); }
  [[nodiscard]] std::uint32_t elementCount() const { return N; }
  [[nodiscard]] T* writableElements() { return fValues.data(); }

  void debug(TdebugOutput& out, unsigned details = 0) const override;
  void footprint(Footprint& fp) const override;
  /// Sets every element to 0.
  void reset() override { fValues = Values{}; }
  [[nodiscard]] TdataLetter* copy() const override;
  int readASCII(const TargList& args, unsigned& index, int flags) override;
  int writeASCII(Tfile& file, int flags) const override;
  int readBinary(TiffTag tag, unsigned& size, const void*& cursor) override;
  int writeBinary(TiffFile& file) const override;
  bool smartCopy(const TdataLetter* source) override;

 private:
  Values fValues;
};
