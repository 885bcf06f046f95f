// TdataFunction and TfunctionMapping: letters that hold functions of one variable (Tfunction).
//
// TdataFunction ("function", tag FUNC) wraps one function. With a number its operators change
// every key's value (f + 1 lifts the whole curve); with another function they combine the two
// at every key of either, so sums and differences of two line-joined functions are exact.
// Comparisons other than == and != are refused.
//
//   Tdata f(new TdataFunction(Tfunction({{0, 0}, {10, 1}})));
//   f += Tdata(1.0);                                    // values 1 and 2
//   f.letterAs<TdataFunction>()->evaluate(5);           // 1.5
//
// TfunctionMapping ("functionMapping", tag FMAP) maps one function onto another: the value at
// x is onto(from(x)), e.g. a time warp (from) followed by a curve (onto). It has no arithmetic.
//
//   TfunctionMapping warp(Tfunction({{0, 0}, {1, 2}}), Tfunction({{0, 5}, {2, 7}}));
//   warp.evaluate(0.5);                                 // onto(1) = 6
//
// Binary form: each function in turn (see Tfunction). Text form: each function's text form,
// then one space.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/data/TdataLetter.h>
#include <velacore/data/Tfunction.h>

#include <array>

/// The behaviour shared by letters that hold `N` functions.
template <class Self, unsigned N>
class VELACORE_API TdataFunctionLetter : public TdataLetter {
 public:
  void debug(TdebugOutput& out, unsigned details = 0) const override;
  void footprint(Footprint& fp) const override;
  /// Removes every key.
  void reset() override;
  [[nodiscard]] TdataLetter* copy() const override { return new Self(*static_cast<const Self*>(this)); }
  VELA_DATA_LETTER_EQUALITY()
  int readBinary(TiffTag tag, unsigned& size, const void*& cursor) override;
  int writeBinary(TiffFile& file) const override;
  int readASCII(const TargList& args, unsigned& index, int flags) override;
  int writeASCII(Tfile& file, int flags) const override;
  bool smartCopy(const TdataLetter* source) override;

 protected:
  TdataFunctionLetter() = default;
  explicit TdataFunctionLetter(const std::array<Tfunction, N>& functions) : fFunctions(functions) {}

  std::array<Tfunction, N> fFunctions;
};

class VELACORE_API TdataFunction : public TdataFunctionLetter<TdataFunction, 1> {
 public:
  VELA_DECLARE_TYPE(TdataFunction);
  static constexpr const char* kTypeName = "function";
  static constexpr TiffTag kTag{"FUNC"};

  TdataFunction() = default;
  explicit TdataFunction(const Tfunction& f) : TdataFunctionLetter({f}) {}

  [[nodiscard]] const Tfunction& function() const { return fFunctions[0]; }
  [[nodiscard]] Tfunction& function() { return fFunctions[0]; }
  [[nodiscard]] double evaluate(double x) const { return fFunctions[0].evaluate(x); }
  /// The value at 0.
  [[nodiscard]] double doubleValue() const override { return evaluate(0.0); }

  TdataLetter& operator+=(const Tdata& o) override;
  TdataLetter& operator+=(const TdataLetter& o) override;
  TdataLetter& operator-=(const Tdata& o) override;
  TdataLetter& operator-=(const TdataLetter& o) override;
  TdataLetter& operator*=(const Tdata& o) override;
  TdataLetter& operator*=(const TdataLetter& o) override;
  TdataLetter& operator/=(const Tdata& o) override;
  TdataLetter& operator/=(const TdataLetter& o) override;

 private:
  TdataLetter& apply(const Tdata& o, int op);
  TdataLetter& apply(const TdataLetter& o, int op);
};

class VELACORE_API TfunctionMapping : public TdataFunctionLetter<TfunctionMapping, 2> {
 public:
  VELA_DECLARE_TYPE(TfunctionMapping);
  static constexpr const char* kTypeName = "functionMapping";
  static constexpr TiffTag kTag{"FMAP"};

  TfunctionMapping() = default;
  TfunctionMapping(const Tfunction& from, const Tfunction& onto) : TdataFunctionLetter({from, onto}) {}

  [[nodiscard]] const Tfunction& from() const { return fFunctions[0]; }
  [[nodiscard]] Tfunction& from() { return fFunctions[0]; }
  [[nodiscard]] const Tfunction& onto() const { return fFunctions[1]; }
  [[nodiscard]] Tfunction& onto() { return fFunctions[1]; }
  /// onto(from(x)).
  [[nodiscard]] double evaluate(double x) const { return onto().evaluate(from().evaluate(x)); }
  /// The value at 0.
  [[nodiscard]] double doubleValue() const override { return evaluate(0.0); }
};

extern template class TdataFunctionLetter<TdataFunction, 1>;
extern template class TdataFunctionLetter<TfunctionMapping, 2>;
