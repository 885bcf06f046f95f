// The array letters: TdataDoubleArray, TdataFloatArray, TdataInt32Array, TdataInt64Array and
// TdataUInt64Array, aliases of one template over the element type (each its own run-time class).
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
#include <velacore/data/detail/TdataElementLetter.h>

#include <cstdint>
#include <type_traits>

namespace vela::data_internal {
// The type name and tag of the array letter of element type T.
template <class T>
struct TarrayNames;
template <>
struct TarrayNames<double> {
  static constexpr const char* kName = "doubleArray";
  static constexpr TiffTag kTag{"DBL#"};
};
template <>
struct TarrayNames<float> {
  static constexpr const char* kName = "floatArray";
  static constexpr TiffTag kTag{"FLT#"};
};
template <>
struct TarrayNames<std::int32_t> {
  static constexpr const char* kName = "Int32Array";
  static constexpr TiffTag kTag{"I32#"};
};
template <>
struct TarrayNames<std::int64_t> {
  static constexpr const char* kName = "Int64Array";
  static constexpr TiffTag kTag{"I64#"};
};
template <>
struct TarrayNames<std::uint64_t> {
  static constexpr const char* kName = "uInt64Array";
  static constexpr TiffTag kTag{"U64#"};
};
}  // namespace vela::data_internal

template <class T>
class VELACORE_API TdataTypedArray
    : public vela::data_internal::TdataElementLetter<TdataTypedArray<T>, TdataLetter, T>,
      public TsharedReference {
  // The element type's own accessor exists only on its letter (doubleArray() on doubles...).
  template <class U, class E>
  using Only = std::enable_if_t<std::is_same_v<U, E>, TvalueArray<T>&>;

 public:
  VELA_DECLARE_TYPE(TdataTypedArray);
  static constexpr const char* kTypeName = vela::data_internal::TarrayNames<T>::kName;
  static constexpr TiffTag kTag = vela::data_internal::TarrayNames<T>::kTag;
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
  /// The array to change under the element type's name (as writableArray()).
  template <class U = T>
  Only<U, double> doubleArray() { return writableArray(); }
  template <class U = T>
  Only<U, float> floatArray() { return writableArray(); }
  template <class U = T>
  Only<U, std::int32_t> int32Array() { return writableArray(); }
  template <class U = T>
  Only<U, std::int64_t> int64Array() { return writableArray(); }
  template <class U = T>
  Only<U, std::uint64_t> uInt64Array() { return writableArray(); }
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

// The metaclasses and the array code of each element type are defined with the library.
#define VELA_DATA_TYPED_ARRAY(T)                                       \
  template <>                                                          \
  VELACORE_API Tmetaclass** TdataTypedArray<T>::sTmetaAddress();       \
  template <>                                                          \
  VELACORE_API void* TdataTypedArray<T>::cast(Tmetaclass* t);          \
  extern template class TdataTypedArray<T>

VELA_DATA_TYPED_ARRAY(double);
VELA_DATA_TYPED_ARRAY(float);
VELA_DATA_TYPED_ARRAY(std::int32_t);
VELA_DATA_TYPED_ARRAY(std::int64_t);
VELA_DATA_TYPED_ARRAY(std::uint64_t);
#undef VELA_DATA_TYPED_ARRAY

/// Doubles ("doubleArray", tag DBL#).
using TdataDoubleArray = TdataTypedArray<double>;
/// Floats ("floatArray", tag FLT#).
using TdataFloatArray = TdataTypedArray<float>;
/// 32-bit integers ("Int32Array", tag I32#).
using TdataInt32Array = TdataTypedArray<std::int32_t>;
/// 64-bit integers ("Int64Array", tag I64#).
using TdataInt64Array = TdataTypedArray<std::int64_t>;
/// Unsigned 64-bit integers ("uInt64Array", tag U64#).
using TdataUInt64Array = TdataTypedArray<std::uint64_t>;
