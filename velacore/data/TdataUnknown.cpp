#include <velacore/data/TdataUnknown.h>

#include <velacore/base/Tfootprint.h>
#include <velacore/data/TargList.h>
#include <velacore/data/Tfile.h>
#include <velacore/data/TiffFile.h>
#include <velacore/debug/TdebugOutput.h>

void TdataUnknown::debug(TdebugOutput& out, unsigned details) const {
  TdataLetter::debug(out, details);
  out.print("unknown value of tag %s, %zu bytes\n", fOriginalTag.text().data(), fBytes.size());
}

void TdataUnknown::footprint(Footprint& fp) const {
  TdataLetter::footprint(fp);
  fp.addField("originalTag", sizeof fOriginalTag);
  fp.addField("bytes", sizeof fBytes);
  fp.addReferenced(fBytes.capacity());
}

bool TdataUnknown::operator==(const TdataLetter& o) const {
  const auto* other = dynamic_cast<const TdataUnknown*>(&o);
  if (other == nullptr) sIncompatible();
  return fOriginalTag == other->fOriginalTag && fBytes == other->fBytes;
}

int TdataUnknown::readBinary(TiffTag tag, unsigned& size, const void*& cursor) {
  const auto* from = static_cast<const unsigned char*>(cursor);
  fBytes.assign(from, from + size);
  fOriginalTag = tag;
  cursor = from + size;
  size = 0;
  return 0;
}

int TdataUnknown::writeBinary(TiffFile& file) const {
  return fBytes.empty() ? 0 : file.write(fBytes.data(), fBytes.size());
}

int TdataUnknown::readASCII(const TargList& args, unsigned& index, int) {
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

int TdataUnknown::writeASCII(Tfile& file, int) const {
  file.writeUInt(fBytes.size());
  for (unsigned char b : fBytes) {
    file.write(" ");
    file.writeUInt(b);
  }
  file.write(" ");
  return 0;
}

bool TdataUnknown::smartCopy(const TdataLetter* source) {
  const auto* other = dynamic_cast<const TdataUnknown*>(source);
  if (other == nullptr) return false;
  fOriginalTag = other->fOriginalTag;
  fBytes = other->fBytes;
  return true;
}
