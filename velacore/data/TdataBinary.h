// TdataBinary: a blob of bytes ("binary", tag BINA) that the library does not interpret.
//
//   auto* blob = new TdataBinary;
//   blob->bytes().assign(header, header + 16);
//   Tdata d(blob);
//
// Binary form: the bytes as they are. Text form: the byte count and each byte as a number,
// then one space. == and != compare the bytes; other comparisons and arithmetic are refused
// (TincompatibleData), as for any letter without them. TdataUnknown keeps the bytes of values
// of unknown type the same way.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/data/TdataLetter.h>

#include <vector>

/// The behaviour shared by the letters that keep raw bytes.
template <class Self>
class VELACORE_API TdataByteLetter : public TdataLetter {
 public:
  [[nodiscard]] const std::vector<unsigned char>& bytes() const { return fBytes; }
  [[nodiscard]] std::vector<unsigned char>& bytes() { return fBytes; }

  void debug(TdebugOutput& out, unsigned details = 0) const override;
  void footprint(Footprint& fp) const override;
  void reset() override { fBytes.clear(); }
  [[nodiscard]] TdataLetter* copy() const override { return new Self(*static_cast<const Self*>(this)); }
  VELA_DATA_LETTER_EQUALITY()
  /// Keeps every byte that is left in the chunk.
  int readBinary(TiffTag tag, unsigned& size, const void*& cursor) override;
  int writeBinary(TiffFile& file) const override;
  int readASCII(const TargList& args, unsigned& index, int flags) override;
  int writeASCII(Tfile& file, int flags) const override;
  bool smartCopy(const TdataLetter* source) override;

 private:
  std::vector<unsigned char> fBytes;
};

class VELACORE_API TdataBinary : public TdataByteLetter<TdataBinary> {
 public:
  VELA_DECLARE_TYPE(TdataBinary);
  static constexpr const char* kTypeName = "binary";
  static constexpr TiffTag kTag{"BINA"};
};

extern template class TdataByteLetter<TdataBinary>;
