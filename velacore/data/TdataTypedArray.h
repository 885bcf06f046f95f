// The array letters: TdataDoubleArray, TdataFloatArray, TdataInt32Array, TdataInt64Array and
// TdataUInt64Array, one template over the element type.
//
// An array letter owns its array through a sharing record (TsharedReference): copying the
// letter shares the array, and the array is copied only when a sharer asks for it to change
// (`writableArray`). So the copy that Tdata::makeWritable takes is cheap until it is written.
//
//   auto* xs = new TdataDoubleArray;
//   xs->writableArray().addLast(1.5);
//   Tdata d(xs);
//   d.makeWritable();
//   d.letterAs<TdataDoubleArray>()->doubleArray().addLast(2.5);
//   d *= Tdata(2.0);                         // every element times 2
//
// Binary form: the elements big-endian, each sizeof(T) bytes; an empty array writes nothing.
// Text form: the element count, the elements, then one space.
//
// Operators: + - * / with a number apply to every element, with an array of the same class and
// size element by element (TincompatibleData otherwise); == and != compare sizes and elements,
// < <= > >= compare lexicographically. Integer results are truncated toward zero and clamped
// to the element type.
//
// Hazards:
// - array() of a letter that shares its array with others is read-only; change it through
//   writableArray()/doubleArray(), which makes it private first.
// - unReferencedArray() hands out the shared array itself: changes through it reach every
//   sharer.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TvalueArray.h>
#include <velacore/data/TdataLetter.h>
#include <velacore/data/TsharedReference.h>
#include <velacore/data/internal/TdataElementLetter.h>

#include <cstdint>

template <class Self, class T>
class VELACORE_API TdataTypedArray
    : public vela::data_internal::TdataElementLetter<Self, TdataLetter, T>,
      public TsharedReference {
 public:
  using Array = TvalueArray<T>;
  using Element = T;

  /// A letter without an array (one is made on the first write).
  TdataTypedArray() = default;
  /// A letter holding a copy of `values`.
  explicit TdataTypedArray(const Array& values);
  /// A letter over `array`; with `deleteWhenDestroyed` the last sharer deletes it.
  TdataTypedArray(Array* array, bool deleteWhenDestroyed);
  /// Shares `other`'s array.
  TdataTypedArray(const TdataTypedArray& other) = default;
  ~TdataTypedArray() override = default;

  /// @name The array
  /// @{
  /// The elements (an empty array when the letter has none).
  [[nodiscard]] const Array& array() const;
  /// The array to change: private to this letter, made when missing.
  [[nodiscard]] Array& writableArray();
  /// The shared array itself (may be null); see the hazards above.
  [[nodiscard]] Array* unReferencedArray() const { return static_cast<Array*>(sharedObject()); }
  [[nodiscard]] const T& operator[](std::uint32_t i) const { return array()[i]; }
  [[nodiscard]] std::uint32_t size() const { return array().size(); }
  /// The elements as the shared operators see them.
  [[nodiscard]] const T* elementData() const { return array().data(); }
  [[nodiscard]] std::uint32_t elementCount() const { return array().size(); }
  [[nodiscard]] T* writableElements() { return writableArray().data(); }
  /// @}

  /// @name Letter behaviour
  /// @{
  void debug(TdebugOutput& out, unsigned details = 0) const override;
  void footprint(Footprint& fp) const override;
  void reset() override;
  [[nodiscard]] TdataLetter* copy() const override;
  [[nodiscard]] bool usesSharedData() const override { return isShared(); }
  int readASCII(const TargList& args, unsigned& index, int flags) override;
  int writeASCII(Tfile& file, int flags) const override;
  int readBinary(TiffTag tag, unsigned& size, const void*& cursor) override;
  int writeBinary(TiffFile& file) const override;
  void deepCopy() override;
  bool smartCopy(const TdataLetter* source) override;
  /// @}

 private:
  static void sDestroy(void* array) { delete static_cast<Array*>(array); }
};

/// Doubles ("doubleArray", tag DBL#).
class VELACORE_API TdataDoubleArray : public TdataTypedArray<TdataDoubleArray, double> {
 public:
  VELA_DECLARE_TYPE(TdataDoubleArray);
  static constexpr const char* kTypeName = "doubleArray";
  static constexpr TiffTag kTag{"DBL#"};
  using TdataTypedArray::TdataTypedArray;
  /// The array to change (as writableArray()).
  TdoubleArray& doubleArray() { return writableArray(); }
};

/// Floats ("floatArray", tag FLT#).
class VELACORE_API TdataFloatArray : public TdataTypedArray<TdataFloatArray, float> {
 public:
  VELA_DECLARE_TYPE(TdataFloatArray);
  static constexpr const char* kTypeName = "floatArray";
  static constexpr TiffTag kTag{"FLT#"};
  using TdataTypedArray::TdataTypedArray;
  TfloatArray& floatArray() { return writableArray(); }
};

/// 32-bit integers ("Int32Array", tag I32#).
class VELACORE_API TdataInt32Array : public TdataTypedArray<TdataInt32Array, std::int32_t> {
 public:
  VELA_DECLARE_TYPE(TdataInt32Array);
  static constexpr const char* kTypeName = "Int32Array";
  static constexpr TiffTag kTag{"I32#"};
  using TdataTypedArray::TdataTypedArray;
  Tint32Array& int32Array() { return writableArray(); }
};

/// 64-bit integers ("Int64Array", tag I64#).
class VELACORE_API TdataInt64Array : public TdataTypedArray<TdataInt64Array, std::int64_t> {
 public:
  VELA_DECLARE_TYPE(TdataInt64Array);
  static constexpr const char* kTypeName = "Int64Array";
  static constexpr TiffTag kTag{"I64#"};
  using TdataTypedArray::TdataTypedArray;
  Tint64Array& int64Array() { return writableArray(); }
};

/// Unsigned 64-bit integers ("uInt64Array", tag U64#).
class VELACORE_API TdataUInt64Array : public TdataTypedArray<TdataUInt64Array, std::uint64_t> {
 public:
  VELA_DECLARE_TYPE(TdataUInt64Array);
  static constexpr const char* kTypeName = "uInt64Array";
  static constexpr TiffTag kTag{"U64#"};
  using TdataTypedArray::TdataTypedArray;
  TuInt64Array& uInt64Array() { return writableArray(); }
};

extern template class TdataTypedArray<TdataDoubleArray, double>;
extern template class TdataTypedArray<TdataFloatArray, float>;
extern template class TdataTypedArray<TdataInt32Array, std::int32_t>;
extern template class TdataTypedArray<TdataInt64Array, std::int64_t>;
extern template class TdataTypedArray<TdataUInt64Array, std::uint64_t>;
