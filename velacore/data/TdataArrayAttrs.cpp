#include <velacore/data/TdataArrayAttrs.h>

#include <velacore/base/TbigEndian.h>
#include <velacore/base/Tfootprint.h>
#include <velacore/data/TargList.h>
#include <velacore/data/Tfile.h>
#include <velacore/data/TiffFile.h>
#include <velacore/data/TmetaLetter.h>
#include <velacore/debug/TdebugOutput.h>

#include <cstring>

VELA_DEFINE_TYPE_AS("newParticles", TiffTag("NWP#").value(), TtypeKind::kConcrete,
                    TdataArrayAttrs, TdataLetter);
static const TmetaLetter gArrayAttrsLetter(TdataArrayAttrsTmeta);

namespace {

constexpr TiffTag kNumber("DBLE");
// Attribute sets inside attribute sets are read at most this deep (a file cannot make the
// reader recurse without end).
constexpr int kMaxNesting = 16;
thread_local int tlNesting = 0;

struct TnestingGuard {
  TnestingGuard() { ++tlNesting; }
  ~TnestingGuard() { --tlNesting; }
  TnestingGuard(const TnestingGuard&) = delete;
  TnestingGuard& operator=(const TnestingGuard&) = delete;
};

// The binary form of one value as `writeBinary` appends it to a chunk of its own.
int encode(const Tdata& value, TiffTag tag, std::vector<unsigned char>& out) {
  TiffFile scratch;
  if (scratch.beginGroup(TiffTag("ATTR")) != 0 || scratch.beginChunk(tag) != 0) return -1;
  if (value.pLetter() == nullptr && scratch.writeValue<std::uint32_t>(value.flags()) != 0) return -1;
  if (value.writeBinary(scratch) != 0 || scratch.endChunk() != 0) return -1;
  const std::uint32_t size = TbigEndian::read<std::uint32_t>(scratch.bytes().data() + 16);
  out.assign(scratch.bytes().begin() + 20, scratch.bytes().begin() + 20 + size);
  return 0;
}

// A reader over [at, end) that refuses to read past the end.
struct Treader {
  const unsigned char* at;
  const unsigned char* end;
  bool u32(std::uint32_t& v) {
    if (end - at < 4) return false;
    v = TbigEndian::read<std::uint32_t>(at);
    at += 4;
    return true;
  }
};

}  // namespace

TdataArrayAttrs::TdataArrayAttrs() { setDeepCopyOnDuplicate(true); }

TdataArrayAttrs::~TdataArrayAttrs() = default;

const Tdata* TdataArrayAttrs::find(const char* name) const {
  for (const auto& a : fAttributes)
    if (std::strcmp(a.first.asC(), name != nullptr ? name : "") == 0) return &a.second;
  return nullptr;
}

Tdata* TdataArrayAttrs::find(const char* name) {
  return const_cast<Tdata*>(static_cast<const TdataArrayAttrs*>(this)->find(name));
}

void TdataArrayAttrs::set(const Tstring& name, const Tdata& value) {
  if (Tdata* existing = find(name.asC())) {
    *existing = value;
  } else {
    fAttributes.emplace_back(name, value);
  }
}

bool TdataArrayAttrs::remove(const char* name) {
  for (auto it = fAttributes.begin(); it != fAttributes.end(); ++it) {
    if (std::strcmp(it->first.asC(), name != nullptr ? name : "") == 0) {
      fAttributes.erase(it);
      return true;
    }
  }
  return false;
}

void TdataArrayAttrs::debug(TdebugOutput& out, unsigned details) const {
  TdataLetter::debug(out, details);
  for (const auto& a : fAttributes) {
    out.print("%s:\n", a.first.asC());
    out.setIndent(1);
    a.second.debug(out, details);
    out.setIndent(-1);
  }
}

void TdataArrayAttrs::footprint(Footprint& fp) const {
  TdataLetter::footprint(fp);
  fp.addField("attributes", sizeof fAttributes);
  fp.addReferenced(fAttributes.capacity() * sizeof(fAttributes[0]));
}

bool TdataArrayAttrs::operator==(const TdataLetter& o) const {
  const auto* other = dynamic_cast<const TdataArrayAttrs*>(&o);
  if (other == nullptr) sIncompatible();
  if (other->fAttributes.size() != fAttributes.size()) return false;
  for (std::size_t i = 0; i < fAttributes.size(); ++i) {
    if (!(fAttributes[i].first == other->fAttributes[i].first)) return false;
    if (!(fAttributes[i].second == other->fAttributes[i].second)) return false;
  }
  return true;
}

int TdataArrayAttrs::writeBinary(TiffFile& file) const {
  std::vector<unsigned char> form;
  unsigned char word[4];
  auto put32 = [&](std::uint32_t v) {
    TbigEndian::write(word, v);
    form.insert(form.end(), word, word + 4);
  };
  put32(std::uint32_t(fAttributes.size()));
  std::vector<unsigned char> value;
  for (const auto& a : fAttributes) {
    const TiffTag tag = a.second.pLetter() != nullptr ? a.second.letter().iffTag() : kNumber;
    if (a.second.isNULL() || encode(a.second, tag, value) != 0) return -1;
    put32(a.first.length());
    form.insert(form.end(), a.first.asC(), a.first.asC() + a.first.length());
    put32(tag.value());
    put32(std::uint32_t(value.size()));
    form.insert(form.end(), value.begin(), value.end());
  }
  return file.write(form.data(), form.size());
}

int TdataArrayAttrs::readBinary(TiffTag, unsigned& size, const void*& cursor) {
  if (tlNesting >= kMaxNesting) return -1;
  TnestingGuard guard;
  const auto* begin = static_cast<const unsigned char*>(cursor);
  Treader in{begin, begin + size};
  std::uint32_t count = 0;
  if (!in.u32(count)) return -1;
  std::vector<std::pair<Tstring, Tdata>> read;
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint32_t nameLength = 0, tagValue = 0, valueSize = 0;
    if (!in.u32(nameLength) || std::size_t(in.end - in.at) < nameLength) return -1;
    const std::string name(reinterpret_cast<const char*>(in.at), nameLength);
    in.at += nameLength;
    if (!in.u32(tagValue) || !in.u32(valueSize) || std::size_t(in.end - in.at) < valueSize) return -1;
    const TiffTag tag(tagValue);
    Tdata value;
    const void* at = in.at;
    unsigned left = valueSize;
    if (tag == kNumber) {
      std::uint32_t flags = 0;
      Treader number{in.at, in.at + valueSize};
      if (!number.u32(flags)) return -1;
      if ((flags & Tdata::kAnimTime) != 0) {
        value = TanimTime(0);
      } else if ((flags & Tdata::kInt64) != 0) {
        value = 0LL;
      } else if ((flags & Tdata::kAddress) != 0) {
        return -1;  // addresses are never written
      }
      at = number.at;
      left -= 4;
    } else {
      value = TmetaLetter::construct(tag);
    }
    if (value.readBinary(tag, left, at) != 0) return -1;
    in.at += valueSize;
    read.emplace_back(Tstring(name.c_str()), value);
  }
  fAttributes.swap(read);
  size -= unsigned(in.at - begin);
  cursor = in.at;
  return 0;
}

int TdataArrayAttrs::writeASCII(Tfile& file, int flags) const {
  file.writeUInt(fAttributes.size());
  file.write(" ");
  for (const auto& a : fAttributes) {
    if (a.second.isNULL()) return -1;
    file.writeQuoted(a.first.asC());
    file.write(" ");
    if (a.second.pLetter() == nullptr) file.write(a.second.isAnimTime() ? "time " : a.second.flags() & Tdata::kInt64 ? "int64 " : "number ");
    if (a.second.writeASCII(file, flags, a.second.pLetter() != nullptr) != 0) return -1;
  }
  return 0;
}

int TdataArrayAttrs::readASCII(const TargList& args, unsigned& index, int flags) {
  if (tlNesting >= kMaxNesting) return -1;
  TnestingGuard guard;
  unsigned at = index;
  std::uint32_t count = 0;
  if (!args.readCount(at, count)) return -1;
  std::vector<std::pair<Tstring, Tdata>> read;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (at + 2 > args.count()) return -1;
    const Tstring name = args[at++];
    const Tstring type = args[at++];
    Tdata value;
    if (type == Tstring("time")) {
      value = TanimTime(0);
    } else if (type == Tstring("int64")) {
      value = 0LL;
    } else if (!(type == Tstring("number"))) {
      value = TmetaLetter::construct(type.asC());
    }
    if (value.readASCII(args, at, flags) != 0) return -1;
    read.emplace_back(name, value);
  }
  fAttributes.swap(read);
  index = at;
  return 0;
}

void TdataArrayAttrs::deepCopy() {
  for (auto& a : fAttributes) {
    Tdata mine;
    mine.makeWritableCopy(a.second);
    a.second = mine;
  }
}

bool TdataArrayAttrs::smartCopy(const TdataLetter* source) {
  const auto* other = dynamic_cast<const TdataArrayAttrs*>(source);
  if (other == nullptr) return false;
  fAttributes = other->fAttributes;
  return true;
}
