#include <velacore/data/TiffFile.h>

#include <velacore/data/internal/TdataFiles.h>
#include <velacore/strings/Tstring.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

using vela::data_internal::saveBytes;
using vela::data_internal::throwFileError;

namespace {

bool isGroupKind(TiffTag tag) {
  return tag == TiffFile::kForm || tag == TiffFile::kList || tag == TiffFile::kCat ||
         tag == TiffFile::kProp;
}

// Well-formed tags are four printable ASCII characters.
bool isPrintable(TiffTag tag) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    const unsigned c = (tag.value() >> shift) & 0xFFu;
    if (c < 0x20 || c > 0x7E) return false;
  }
  return true;
}

std::uint32_t readTag(const unsigned char* at) { return TbigEndian::read<std::uint32_t>(at); }

void appendTag(std::vector<unsigned char>& bytes, std::uint32_t value) {
  unsigned char b[4];
  TbigEndian::write(b, value);
  bytes.insert(bytes.end(), b, b + 4);
}

}  // namespace

// ---- writing ----

int TiffFile::beginGroup(TiffTag formType, TiffTag kind) {
  if (inChunk() || !isGroupKind(kind) || !isPrintable(formType)) return -1;
  if (fOpenGroups.empty() && !fBytes.empty()) return -1;  // one top group per file
  if (fByteLimit != 0 && fBytes.size() + 12 > fByteLimit) return -1;
  appendTag(fBytes, kind.value());
  fOpenGroups.push_back(fBytes.size());
  appendTag(fBytes, 0);
  appendTag(fBytes, formType.value());
  return 0;
}

int TiffFile::endGroup() {
  if (inChunk() || fOpenGroups.empty()) return -1;
  const std::size_t at = fOpenGroups.back();
  const std::size_t size = fBytes.size() - (at + 4);
  if (size > 0xFFFFFFFFu) return -1;
  TbigEndian::write(fBytes.data() + at, std::uint32_t(size));
  fOpenGroups.pop_back();
  return 0;
}

int TiffFile::beginChunk(TiffTag tag) {
  if (inChunk() || fOpenGroups.empty() || isGroupKind(tag) || !isPrintable(tag)) return -1;
  if (fByteLimit != 0 && fBytes.size() + 8 > fByteLimit) return -1;
  appendTag(fBytes, tag.value());
  fChunkStart = fBytes.size();
  appendTag(fBytes, 0);
  return 0;
}

unsigned char* TiffFile::reserveBytes(std::size_t count) {
  if (!inChunk() || count == 0) return nullptr;
  const std::size_t chunkSize = fBytes.size() - (fChunkStart + 4);
  if (count > 0xFFFFFFFFu - chunkSize) return nullptr;
  if (fByteLimit != 0 && (fBytes.size() > fByteLimit || count > fByteLimit - fBytes.size()))
    return nullptr;
  const std::size_t at = fBytes.size();
  fBytes.resize(at + count);
  return fBytes.data() + at;
}

int TiffFile::write(const void* bytes, std::size_t count) {
  if (count == 0) return inChunk() ? 0 : -1;
  unsigned char* to = reserveBytes(count);
  if (to == nullptr) return -1;
  std::memcpy(to, bytes, count);
  return 0;
}

int TiffFile::endChunk() {
  if (!inChunk()) return -1;
  const std::size_t size = fBytes.size() - (fChunkStart + 4);
  TbigEndian::write(fBytes.data() + fChunkStart, std::uint32_t(size));
  if (size % 2 != 0) fBytes.push_back(0);
  fChunkStart = kNoChunk;
  return 0;
}

int TiffFile::writeChunk(TiffTag tag, const void* bytes, std::size_t count) {
  if (beginChunk(tag) != 0) return -1;
  const int status = write(bytes, count);
  if (endChunk() != 0 || status != 0) return -1;
  return 0;
}

int TiffFile::writeVersion(int version) {
  if (beginChunk(kVersion) != 0) return -1;
  const int status = writeValue<std::int32_t>(version);
  return endChunk() == 0 && status == 0 ? 0 : -1;
}

int TiffFile::save(const char* path) const {
  if (inChunk() || !fOpenGroups.empty()) return -1;
  saveBytes(path, fBytes.data(), fBytes.size());
  return 0;
}

// ---- reading ----

void TiffFile::load(const char* path) {
  errno = 0;
  std::ifstream in(path != nullptr ? path : "", std::ios::binary);
  if (!in) throwFileError("s_TiffStrings.rCannotRead", path, errno != 0 ? errno : ENOENT);
  std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)),
                                   std::istreambuf_iterator<char>());
  if (in.bad()) throwFileError("s_TiffStrings.rCannotRead", path, EIO);
  fBytes.swap(bytes);
  fEntries.clear();
  fError.clear();
  fVersion = 0;
}

void TiffFile::setBuffer(const void* bytes, std::size_t count) {
  const auto* b = static_cast<const unsigned char*>(bytes);
  fBytes.assign(b, b + count);
  fOpenGroups.clear();
  fChunkStart = kNoChunk;
  fEntries.clear();
  fError.clear();
  fVersion = 0;
}

int TiffFile::fail(const char* why, std::size_t at) {
  fError = Tstring::cFormatString("%s at byte %zu", why, at).asC();
  return -1;
}

int TiffFile::parse() {
  fEntries.clear();
  fError.clear();
  fVersion = 0;
  int status = 0;
  if (inChunk() || !fOpenGroups.empty()) {
    status = fail("groups still open", fBytes.size());
  } else {
    const int end = parseGroup(0, fBytes.size(), 0);
    if (end < 0) {
      status = -1;
    } else if (fEntries.empty() || fEntries.front().size + 12 != fBytes.size()) {
      status = fail("bytes after the top group", fEntries.empty() ? 0 : fEntries.front().size + 12);
    }
  }
  if (status != 0) {
    fEntries.clear();
    fVersion = 0;
  }
  return status;
}

// Parses the group whose kind tag is at `at` and which must end by `end`; answers 0 or -1.
int TiffFile::parseGroup(std::size_t at, std::size_t end, int depth) {
  if (depth > kMaxDepth) return fail("groups nested too deeply", at);
  if (end < at || end - at < 12) return fail("truncated group header", at);
  const unsigned char* base = fBytes.data();
  const TiffTag kind(readTag(base + at));
  if (!isGroupKind(kind)) return fail("not a group", at);
  const std::uint32_t size = TbigEndian::read<std::uint32_t>(base + at + 4);
  if (size < 4) return fail("group too small for its type", at);
  if (size % 2 != 0) return fail("odd group size", at);
  if (size > end - at - 8) return fail("group size past the end of its container", at);
  const TiffTag formType(readTag(base + at + 8));
  if (!isPrintable(formType)) return fail("unreadable form type", at + 8);
  const std::size_t groupEnd = at + 8 + size;
  fEntries.push_back({Tentry::kGroupBegin, std::uint8_t(depth), kind, formType, size - 4,
                      base + at + 12, at});
  std::size_t pos = at + 12;
  while (pos < groupEnd) {
    if (groupEnd - pos < 8) return fail("truncated chunk header", pos);
    const TiffTag tag(readTag(base + pos));
    const std::uint32_t chunkSize = TbigEndian::read<std::uint32_t>(base + pos + 4);
    if (isGroupKind(tag)) {
      const std::size_t before = fEntries.size();
      if (parseGroup(pos, groupEnd, depth + 1) != 0) return -1;
      pos += 8 + std::size_t(fEntries[before].size) + 4;
      continue;
    }
    if (!isPrintable(tag)) return fail("unreadable chunk tag", pos);
    if (chunkSize > groupEnd - pos - 8) return fail("chunk size past the end of its group", pos);
    fEntries.push_back({Tentry::kChunk, std::uint8_t(depth + 1), tag, TiffTag(), chunkSize,
                        base + pos + 8, pos});
    if (tag == kVersion && depth == 0 && chunkSize == 4) {
      fVersion = TbigEndian::read<std::int32_t>(base + pos + 8);
    }
    pos += 8 + std::size_t(chunkSize);
    if (chunkSize % 2 != 0) {
      if (pos >= groupEnd) return fail("odd chunk without its pad byte", pos);
      ++pos;
    }
  }
  fEntries.push_back({Tentry::kGroupEnd, std::uint8_t(depth), kind, formType, size - 4,
                      base + at + 12, at});
  return 0;
}
