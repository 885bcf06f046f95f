// The compound letters: tuples of two to four numbers ("double2" ... "double4", "long2",
// "short3", "float3", ...), all kinds of TdataCompound, one template over the element type and
// the count (TdataCompoundTuple) with an alias per kind. See TdataTuple.h for their behaviour.
//
//   Tdata v(new Tdata3Float({0.f, 1.f, 0.5f}));
//   v.tag();                                   // "FLT3"
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/data/TdataLetter.h>
#include <velacore/data/TdataTuple.h>

#include <cstdint>

/// The base of the compound letters (abstract: the tuples derive from it).
class VELACORE_API TdataCompound : public TdataLetter {
 public:
  VELA_DECLARE_TYPE(TdataCompound);
  static constexpr const char* kTypeName = "TdataCompound";
  static constexpr TiffTag kTag{"CMPD"};
};

namespace vela::data_internal {
// The type names (by count, from 2) and the first three tag characters of the compounds of
// element type T: the tag ends with the count ("DBL" + '3').
template <class T>
struct TcompoundNames;
template <>
struct TcompoundNames<double> {
  static constexpr const char* kNames[] = {"double2", "double3", "double4"};
  static constexpr char kTag[] = "DBL";
};
template <>
struct TcompoundNames<float> {
  static constexpr const char* kNames[] = {"float2", "float3"};
  static constexpr char kTag[] = "FLT";
};
template <>
struct TcompoundNames<std::int32_t> {
  static constexpr const char* kNames[] = {"long2", "long3"};
  static constexpr char kTag[] = "LNG";
};
template <>
struct TcompoundNames<std::int16_t> {
  static constexpr const char* kNames[] = {"short2", "short3"};
  static constexpr char kTag[] = "SRT";
};
}  // namespace vela::data_internal

/// A compound of N elements of type T; each alias below is its own run-time class.
template <class T, unsigned N>
class VELACORE_API TdataCompoundTuple
    : public TdataTuple<TdataCompoundTuple<T, N>, TdataCompound, T, N> {
  using Names = vela::data_internal::TcompoundNames<T>;

 public:
  VELA_DECLARE_TYPE(TdataCompoundTuple);
  static constexpr const char* kTypeName = Names::kNames[N - 2];
  static constexpr TiffTag kTag{std::uint32_t(static_cast<unsigned char>(Names::kTag[0])) << 24 |
                                std::uint32_t(static_cast<unsigned char>(Names::kTag[1])) << 16 |
                                std::uint32_t(static_cast<unsigned char>(Names::kTag[2])) << 8 |
                                std::uint32_t('0' + N)};
  using TdataTuple<TdataCompoundTuple, TdataCompound, T, N>::TdataTuple;
};

// The metaclasses and the tuple code of each compound are defined with the library.
#define VELA_DATA_COMPOUND(T, N)                                       \
  template <>                                                          \
  VELACORE_API Tmetaclass** TdataCompoundTuple<T, N>::sTmetaAddress(); \
  template <>                                                          \
  VELACORE_API void* TdataCompoundTuple<T, N>::cast(Tmetaclass* t);    \
  extern template class TdataTuple<TdataCompoundTuple<T, N>, TdataCompound, T, N>

VELA_DATA_COMPOUND(double, 2);
VELA_DATA_COMPOUND(double, 3);
VELA_DATA_COMPOUND(double, 4);
VELA_DATA_COMPOUND(float, 2);
VELA_DATA_COMPOUND(float, 3);
VELA_DATA_COMPOUND(std::int32_t, 2);
VELA_DATA_COMPOUND(std::int32_t, 3);
VELA_DATA_COMPOUND(std::int16_t, 2);
VELA_DATA_COMPOUND(std::int16_t, 3);
#undef VELA_DATA_COMPOUND

using Tdata2Double = TdataCompoundTuple<double, 2>;
using Tdata3Double = TdataCompoundTuple<double, 3>;
using Tdata4Double = TdataCompoundTuple<double, 4>;
using Tdata2Float = TdataCompoundTuple<float, 2>;
using Tdata3Float = TdataCompoundTuple<float, 3>;
using Tdata2Int32 = TdataCompoundTuple<std::int32_t, 2>;
using Tdata3Int32 = TdataCompoundTuple<std::int32_t, 3>;
using Tdata2Int16 = TdataCompoundTuple<std::int16_t, 2>;
using Tdata3Int16 = TdataCompoundTuple<std::int16_t, 3>;
