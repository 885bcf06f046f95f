// TdataUnknown: the letter of a value whose type this program does not know.
//
// Reading a chunk whose tag names no registered letter (or a text value of an unknown type
// name) gives a TdataUnknown instead of failing: it keeps the tag and the bytes, so the value
// survives a read and a write unchanged.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/data/TdataLetter.h>

#include <vector>

class VELACORE_API TdataUnknown : public TdataLetter {
 public:
  static constexpr const char* kTypeName = "TdataUnknown";
  static constexpr TiffTag kTag{"UNKN"};

  TdataUnknown() = default;
  /// An unknown value of tag `tag` (what it was written with).
  explicit TdataUnknown(TiffTag tag) : fOriginalTag(tag) {}

  /// The tag the value was read with (UNKN when it was made empty).
  [[nodiscard]] TiffTag originalTag() const { return fOriginalTag; }
  [[nodiscard]] const std::vector<unsigned char>& bytes() const { return fBytes; }

  void debug(TdebugOutput& out, unsigned details = 0) const override;
  void footprint(Footprint& fp) const override;
  void reset() override { fBytes.clear(); }
  [[nodiscard]] TdataLetter* copy() const override { return new TdataUnknown(*this); }
  using TdataLetter::operator==;
  using TdataLetter::operator!=;
  bool operator==(const TdataLetter& o) const override;
  bool operator!=(const TdataLetter& o) const override { return !(*this == o); }
  /// Keeps every byte of the chunk.
  int readBinary(TiffTag tag, unsigned& size, const void*& cursor) override;
  /// Writes the bytes back.
  int writeBinary(TiffFile& file) const override;
  /// Text form: the bytes as a count and unsigned numbers.
  int readASCII(const TargList& args, unsigned& index, int flags) override;
  int writeASCII(Tfile& file, int flags) const override;
  [[nodiscard]] const char* typeName() const override { return kTypeName; }
  [[nodiscard]] TiffTag iffTag() const override { return kTag; }
  bool smartCopy(const TdataLetter* source) override;

 private:
  TiffTag fOriginalTag = kTag;
  std::vector<unsigned char> fBytes;
};
