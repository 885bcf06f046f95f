#include <velacore/data/TdataUnknown.h>

#include <velacore/base/Tfootprint.h>
#include <velacore/data/TargList.h>
#include <velacore/data/Tfile.h>
#include <velacore/data/TiffFile.h>
#include <velacore/debug/TdebugOutput.h>

template <class Self>
void TdataByteLetter<Self>::debug(TdebugOutput& out, unsigned details) const {
  TdataLetter::debug(out, details);
  out.print("%zu bytes\n", fBytes.size());
}

template <class Self>
void TdataByteLetter<Self>::footprint(Footprint& fp) const {
  TdataLetter::footprint(fp);
  fp.addField("bytes", sizeof fBytes);
  fp.addReferenced(fBytes.capacity());
}

template <class Self>
bool TdataByteLetter<Self>::operator==(const TdataLetter& o) const {
  const auto* other = dynamic_cast<const Self*>(&o);
  if (other == nullptr) sIncompatible();
  return iffTag() == other->iffTag() && fBytes == other->fBytes;
}

template <class Self>
int TdataByteLetter<Self>::readBinary(TiffTag, unsigned& size, const void*& cursor) {
  const auto* from = static_cast<const unsigned char*>(cursor);
  fBytes.assign(from, from + size);
  cursor = from + size;
  size = 0;
  return 0;
}

template <class Self>
int TdataByteLetter<Self>::writeBinary(TiffFile& file) const {
  return fBytes.empty() ? 0 : file.write(fBytes.data(), fBytes.size());
}

template <class Self>
int TdataByteLetter<Self>::readASCII(const TargList& args, unsigned& index, int) {
  unsigned at = index;
  std::uint32_t n = 0;
  if (!args.readCount(at, n)) return -1;
  std::vector<unsigned char> bytes;
  bytes.reserve(n);
  for (std::uint32_t i = 0; i < n; ++i) {
    std::uint64_t v = 0;
    if (!args.readUInt64(at, v) || v > 255) return -1;
    bytes.push_back(static_cast<unsigned char>(v));
  }
  fBytes.swap(bytes);
  index = at;
  return 0;
}

template <class Self>
int TdataByteLetter<Self>::writeASCII(Tfile& file, int) const {
  file.writeUInt(fBytes.size());
  for (unsigned char b : fBytes) {
    file.write(" ");
    file.writeUInt(b);
  }
  file.write(" ");
  return 0;
}

template <class Self>
bool TdataByteLetter<Self>::smartCopy(const TdataLetter* source) {
  const auto* other = dynamic_cast<const Self*>(source);
  if (other == nullptr) return false;
  fBytes = other->fBytes;
  return true;
}

bool TdataUnknown::smartCopy(const TdataLetter* source) {
  if (!TdataByteLetter::smartCopy(source)) return false;
  fOriginalTag = static_cast<const TdataUnknown*>(source)->fOriginalTag;
  return true;
}

int TdataUnknown::readBinary(TiffTag tag, unsigned& size, const void*& cursor) {
  fOriginalTag = tag;
  return TdataByteLetter::readBinary(tag, size, cursor);
}

template class TdataByteLetter<TdataBinary>;
template class TdataByteLetter<TdataUnknown>;
