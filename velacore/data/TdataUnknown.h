// TdataUnknown: the letter of a value whose type this program does not know.
//
// Reading a chunk whose tag names no registered letter (or a text value of an unknown type
// name) gives a TdataUnknown instead of failing: it keeps the tag and the bytes, so the value
// survives a read and a write unchanged. Asking for a letter by an unknown name or tag
// (TmetaLetter::construct) gives one too, never null.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/data/TdataBinary.h>

class VELACORE_API TdataUnknown : public TdataByteLetter<TdataUnknown> {
 public:
  VELA_DECLARE_TYPE(TdataUnknown);
  static constexpr const char* kTypeName = "TdataUnknown";
  static constexpr TiffTag kTag{"UNKN"};

  TdataUnknown() = default;
  /// An unknown value of tag `tag` (what it was written with).
  explicit TdataUnknown(TiffTag tag) : fOriginalTag(tag) {}

  /// The tag the value was read with (UNKN when nothing was read).
  [[nodiscard]] TiffTag originalTag() const { return fOriginalTag; }
  void setOriginalTag(TiffTag tag) { fOriginalTag = tag; }

  int readBinary(TiffTag tag, unsigned& size, const void*& cursor) override;
  bool smartCopy(const TdataLetter* source) override;

 private:
  TiffTag fOriginalTag = kTag;
};

extern template class TdataByteLetter<TdataUnknown>;
