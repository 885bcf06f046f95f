// TdataSpectrum and TdataReflectance: a colour as red, green and blue doubles ("spectrumRGB",
// tag SRGB: light, unbounded; "reflectanceRGB", tag RRGB: a surface's fraction of light, from
// 0 to 1 by convention, not enforced). Both behave as the other tuples (TdataTuple.h).
//
//   Tdata light(new TdataSpectrum({1.0, 0.9, 0.8}));
//   light *= Tdata(new TdataSpectrum({0.5, 0.5, 0.5}));   // filtered: {0.5, 0.45, 0.4}
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/data/TdataTuple.h>

class VELACORE_API TdataSpectrum : public TdataTuple<TdataSpectrum, TdataLetter, double, 3> {
 public:
  VELA_DECLARE_TYPE(TdataSpectrum);
  static constexpr const char* kTypeName = "spectrumRGB";
  static constexpr TiffTag kTag{"SRGB"};
  using TdataTuple::TdataTuple;
};

class VELACORE_API TdataReflectance
    : public TdataTuple<TdataReflectance, TdataLetter, double, 3> {
 public:
  VELA_DECLARE_TYPE(TdataReflectance);
  static constexpr const char* kTypeName = "reflectanceRGB";
  static constexpr TiffTag kTag{"RRGB"};
  using TdataTuple::TdataTuple;
};

extern template class TdataTuple<TdataSpectrum, TdataLetter, double, 3>;
extern template class TdataTuple<TdataReflectance, TdataLetter, double, 3>;
