// The compound letters: tuples of two to four numbers ("double2" ... "double4", "long2",
// "short3", "float3", ...), all kinds of TdataCompound. See TdataTuple.h for their behaviour.
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

#define VELA_DATA_COMPOUND(Class, T, N, name, tag)                               \
  class VELACORE_API Class : public TdataTuple<Class, TdataCompound, T, N> {     \
   public:                                                                       \
    VELA_DECLARE_TYPE(Class);                                                    \
    static constexpr const char* kTypeName = name;                               \
    static constexpr TiffTag kTag{tag};                                          \
    using TdataTuple::TdataTuple;                                                \
  };                                                                             \
  extern template class TdataTuple<Class, TdataCompound, T, N>

VELA_DATA_COMPOUND(Tdata2Double, double, 2, "double2", "DBL2");
VELA_DATA_COMPOUND(Tdata3Double, double, 3, "double3", "DBL3");
VELA_DATA_COMPOUND(Tdata4Double, double, 4, "double4", "DBL4");
VELA_DATA_COMPOUND(Tdata2Float, float, 2, "float2", "FLT2");
VELA_DATA_COMPOUND(Tdata3Float, float, 3, "float3", "FLT3");
VELA_DATA_COMPOUND(Tdata2Int32, std::int32_t, 2, "long2", "LNG2");
VELA_DATA_COMPOUND(Tdata3Int32, std::int32_t, 3, "long3", "LNG3");
VELA_DATA_COMPOUND(Tdata2Int16, std::int16_t, 2, "short2", "SRT2");
VELA_DATA_COMPOUND(Tdata3Int16, std::int16_t, 3, "short3", "SRT3");
#undef VELA_DATA_COMPOUND
