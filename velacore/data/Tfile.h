// Tfile: the text writer of values (the ASCII form of typed data in text scene files).
//
// Values are written as words separated by single spaces; the caller adds separators between
// values. Arrays are written as their element count followed by the elements:
//
//   Tfile out;
//   TdoubleArray xs;  xs.addLast(1.5);  xs.addLast(2);
//   out.writeArray(xs);                  // "2 1.5 2"
//   out.write(" ");
//   out.save("values.txt");              // throws TfileException when it cannot be written
//
// Doubles are written with 17 significant digits and floats with 9, so text read back with
// TargList gives the same bits.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TvalueArray.h>

#include <cstdint>
#include <string>
#include <type_traits>

class VELACORE_API Tfile {
 public:
  Tfile() = default;

  /// @name Writing
  /// @{
  void write(const char* text) { fText += text; }
  void writeDouble(double v);
  void writeFloat(float v);
  void writeInt(long long v);
  void writeUInt(unsigned long long v);
  /// One number in the form of its type (as writeDouble, writeFloat, writeInt or writeUInt).
  template <class T>
  void writeNumber(T v) {
    if constexpr (std::is_same_v<T, double>) {
      writeDouble(v);
    } else if constexpr (std::is_same_v<T, float>) {
      writeFloat(v);
    } else if constexpr (std::is_signed_v<T>) {
      writeInt(v);
    } else {
      writeUInt(v);
    }
  }
  /// A quoted word (double quotes; quotes and backslashes inside are escaped).
  void writeQuoted(const char* text);
  void writeArray(const TdoubleArray& a);
  void writeArray(const TfloatArray& a);
  void writeArray(const Tint16Array& a);
  void writeArray(const Tint32Array& a);
  void writeArray(const Tint64Array& a);
  void writeArray(const TuInt8Array& a);
  void writeArray(const TuInt32Array& a);
  void writeArray(const TuInt64Array& a);
  /// @}

  /// The text written so far.
  [[nodiscard]] const std::string& text() const { return fText; }
  void clear() { fText.clear(); }
  /// Writes the text to `path`; throws TfileException when the file cannot be written.
  void save(const char* path) const;

 private:
  template <class T>
  void writeElements(const TvalueArray<T>& a);

  std::string fText;
};
