#include <velacore/data/Tdata.h>

#include <velacore/base/TbigEndian.h>
#include <velacore/base/Tfootprint.h>
#include <velacore/base/TstringCatalog.h>
#include <velacore/data/TargList.h>
#include <velacore/data/Tfile.h>
#include <velacore/data/TglobalTranslatorBase.h>
#include <velacore/data/TiffFile.h>
#include <velacore/data/TmetaLetter.h>
#include <velacore/data/detail/TdataElementOps.h>
#include <velacore/debug/TdbTrace.h>
#include <velacore/debug/TdebugOutput.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <new>

// The envelope's own metaclass, and the abstract one that stands for its inline numbers.
extern VELACORE_API Tmetaclass* TdataTmeta;
extern VELACORE_API Tmetaclass* TdataNumericTmeta;
namespace {
void* newEnvelope(Tmetaclass* as) { return as == TdataTmeta ? new Tdata : nullptr; }
void* newEnvelopeIn(Tmetaclass* as, void* where) {
  return as == TdataTmeta && where != nullptr ? ::new (where) Tdata : nullptr;
}
Tmetaclass gTdataMetaclass(&TdataTmeta, "Tdata", sizeof(Tdata),
                           TconstructorProc(newEnvelope, newEnvelopeIn), TiffTag("DBLE").value());
Tmetaclass gTdataNumericMetaclass(&TdataNumericTmeta, "TdataNumeric", sizeof(Tdata),
                                  TconstructorProc());
}  // namespace
Tmetaclass* TdataTmeta = &gTdataMetaclass;
Tmetaclass* TdataNumericTmeta = &gTdataNumericMetaclass;

Tmetaclass* Tdata::sTypeof() { return TdataTmeta; }

Tdata* Tdata::construct(Tmetaclass* t) { return static_cast<Tdata*>(t != nullptr ? t->construct(TdataTmeta) : nullptr); }

const Tdata Tdata::fsNULL(static_cast<TdataLetter*>(nullptr));
const TincompatibleData Tdata::fsDataMismatch(
    TstringCatalog::sText("s_TdataStrings.rDataMismatch"));

namespace {

using vela::data_internal::applyDouble;
using vela::data_internal::kAdd;
using vela::data_internal::kDiv;
using vela::data_internal::kMul;
using vela::data_internal::kSub;
enum Tcmp { kEq, kNe, kLt, kGt, kLe, kGe };

// Truncation toward zero that stays defined for every double: NaN gives 0, values beyond the
// 64-bit range give its ends.
std::int64_t truncateToInt64(double v) { return vela::data_internal::fromDouble<std::int64_t>(v); }

std::int64_t wrapping(std::int64_t a, std::int64_t b, int op) {
  const auto ua = static_cast<std::uint64_t>(a);
  const auto ub = static_cast<std::uint64_t>(b);
  switch (op) {
    case kAdd: return static_cast<std::int64_t>(ua + ub);
    case kSub: return static_cast<std::int64_t>(ua - ub);
    default: return static_cast<std::int64_t>(ua * ub);
  }
}

template <class T>
bool applyCompare(const T& a, const T& b, int op) {
  switch (op) {
    case kEq: return a == b;
    case kNe: return !(a == b);
    case kLt: return a < b;
    case kGt: return b < a;
    case kLe: return a <= b;
    default: return a >= b;
  }
}

// a op b  <=>  b mirrored(op) a
int mirrored(int op) {
  switch (op) {
    case kLt: return kGt;
    case kGt: return kLt;
    case kLe: return kGe;
    case kGe: return kLe;
    default: return op;
  }
}

bool letterCompare(const TdataLetter& l, const Tdata& o, int op) {
  switch (op) {
    case kEq: return l == o;
    case kNe: return l != o;
    case kLt: return l < o;
    case kGt: return l > o;
    case kLe: return l <= o;
    default: return l >= o;
  }
}

}  // namespace

TdataLetter& Tdata::sEmptyLetter() {
  static TdataLetter* const empty = [] {
    auto* l = new TdataLetter;
    l->reference(kDataHolder);  // never released: the empty letter lives as long as the process
    return l;
  }();
  return *empty;
}

Tdata::Tdata(const TdataLetter& letter) : fFlags(kHolder) {
  fPayload.l = letter.copy();
  if (fPayload.l != nullptr) fPayload.l->reference(kDataHolder);
}

void Tdata::shareCopiedLetter() {
  fFlags |= kHolder;
  if (fPayload.l != nullptr) fPayload.l->reference(kDataHolder);
}

void Tdata::releaseLetter() { fPayload.l->unreference(holder() ? kDataHolder : kDataWriter); }

Tdata& Tdata::assignSlow(const Tdata& other) {
  if (this == &other) return *this;
  if ((other.fFlags & (kNumeric | kAnimTime)) == 0) {
    TdataLetter* letter = other.fPayload.l;
    if (letter != nullptr && pLetter() == letter) {
      fFlags = (other.fFlags & ~kHolder) | (fFlags & kHolder);
      return *this;
    }
    // Reference first: releasing our own letter may free the last owner of `other`.
    if (letter != nullptr) letter->reference(kDataHolder);
    if (pLetter() != nullptr) releaseLetter();
    fPayload.l = letter;
    fFlags = other.fFlags | kHolder;
    return *this;
  }
  if (pLetter() != nullptr) releaseLetter();
  fPayload = other.fPayload;
  fFlags = other.fFlags;
  return *this;
}

Tdata& Tdata::operator=(TdataLetter* letter) {
  if (letter != nullptr && letter == pLetter()) return *this;
  if (letter != nullptr) letter->reference(kDataHolder);
  if (pLetter() != nullptr) releaseLetter();
  fPayload.l = letter;
  fFlags = (fFlags & ~(kNumeric | kAnimTime | kAddress | kInt64)) | kHolder;
  return *this;
}

Tdata& Tdata::operator=(const TdataLetter& letter) { return *this = letter.copy(); }

void Tdata::reset() {
  if (pLetter() != nullptr) releaseLetter();
  fPayload.l = nullptr;
  fFlags = (fFlags & ~(kNumeric | kAnimTime | kAddress | kInt64)) | kHolder;
}

void Tdata::setToNULL() { reset(); }

// ---- conversions ----

double Tdata::convertToDoubleValue() const {
  if (asDouble()) return fPayload.d;
  if (asAddr()) return 0.0;
  if (asInt64()) return double(fPayload.i);
  if (isAnimTime()) return double(fPayload.i) / kTicksPerSecond;
  if (const TdataLetter* l = pLetter()) return l->doubleValue();
  return 0.0;
}

std::int64_t Tdata::convertToIntPtrSzValue() const {
  if (asAddr()) return 0;
  if (asInt64()) return fPayload.i;
  return truncateToInt64(asDouble() ? fPayload.d : convertToDoubleValue());
}

std::uint64_t Tdata::convertToUIntPtrSzValue() const {
  return static_cast<std::uint64_t>(convertToIntPtrSzValue());
}

bool Tdata::booleanValue() const {
  if (asDouble()) return fPayload.d != 0.0;
  if (asAddr()) return false;
  if (asInt64() || isAnimTime()) return fPayload.i != 0;
  return convertToDoubleValue() != 0.0;
}

std::int64_t Tdata::timeTicks() const {
  if (isAnimTime()) return fPayload.i;
  if (asAddr()) return 0;
  return TanimTime(doubleValue(), kTimeSeconds).inTicks();
}

// ---- sharing ----

bool Tdata::makeWritable() {
  TdataLetter* letter = pLetter();
  if (letter == nullptr || writer()) return true;
  if (!letter->hasWriter() && letter->holderBecomesWriter()) {
    fFlags &= ~kHolder;
    return true;
  }
  TdataLetter* mine = letter->copy();
  mine->reference(kDataWriter);
  letter->unreference(kDataHolder);
  fPayload.l = mine;
  fFlags &= ~kHolder;
  if ((fFlags & kDeepCopyOnWrite) != 0) {
    mine->deepCopy();
    fFlags &= ~kDeepCopyOnWrite;
  }
  if (TdataLetter::fsTrace.on()) {
    Footprint fp;
    mine->footprint(fp);
    TdataLetter::fsTrace.trace().print("private copy of %s letter, %zu bytes\n", mine->typeName(),
                               fp.totalBytes());
  }
  return true;
}

bool Tdata::makeHolder() {
  TdataLetter* letter = pLetter();
  if (letter != nullptr && writer()) {
    letter->writerBecomesHolder();
    fFlags |= kHolder;
  }
  return true;
}

bool Tdata::makeWritableCopy(const Tdata& source) {
  *this = source;
  TdataLetter* letter = pLetter();
  if (letter == nullptr) return true;
  TdataLetter* mine = letter->copy();
  mine->reference(kDataWriter);
  letter->unreference(kDataHolder);
  fPayload.l = mine;
  fFlags &= ~kHolder;
  if ((fFlags & kDeepCopyOnWrite) != 0 ||
      (mine->letterFlags() & TdataLetter::kDeepCopyOnDuplicate) != 0) {
    mine->deepCopy();
    fFlags &= ~kDeepCopyOnWrite;
  }
  return true;
}

bool Tdata::isLetterWritable() const {
  const TdataLetter* letter = pLetter();
  return letter == nullptr || writer() || !letter->hasWriter();
}

bool Tdata::hasWriter() const {
  const TdataLetter* letter = pLetter();
  return letter != nullptr && letter->hasWriter();
}

void Tdata::duplicateDone(const Tdata&) {
  const TdataLetter* letter = pLetter();
  if (letter != nullptr && (letter->letterFlags() & TdataLetter::kDeepCopyOnDuplicate) != 0)
    fFlags |= kDeepCopyOnWrite;
}

void Tdata::makeNotReusable() {
  if (TdataLetter* letter = pLetter()) letter->makeNotReusable();
}

void Tdata::confirmData(const Tid& id, bool confirmed) {
  resetEMFlagsIfNeeded(id);
  fFlags = confirmed ? (fFlags | kConfirmed) : (fFlags & ~kConfirmed);
}

// ---- arithmetic and comparison ----
//
// Numbers combine as numbers: two 64-bit integers stay integers (wrapping; a division stays
// exact only when it divides evenly, else gives a double), anything else with a double gives a
// double. An animation time with a number treats the number as seconds for + and - and as a
// factor for * and /; two times add and subtract as times. Addresses and NULL take part in no
// arithmetic; a letter answers through its own operators.

// A letter changes in place (after becoming its writer); inline values are replaced.
#define VELA_TDATA_UPDATE(op, code)                         \
  Tdata& Tdata::operator op(const Tdata& o) {               \
    if (pLetter() == nullptr) return *this = arithmetic(o, code); \
    makeWritable();                                         \
    *pLetter() op o;                                        \
    return *this;                                           \
  }
VELA_TDATA_UPDATE(+=, kAdd)
VELA_TDATA_UPDATE(-=, kSub)
VELA_TDATA_UPDATE(*=, kMul)
VELA_TDATA_UPDATE(/=, kDiv)
#undef VELA_TDATA_UPDATE
Tdata Tdata::operator+(const Tdata& o) const { return arithmetic(o, kAdd); }
Tdata Tdata::operator-(const Tdata& o) const { return arithmetic(o, kSub); }
Tdata Tdata::operator*(const Tdata& o) const { return arithmetic(o, kMul); }
Tdata Tdata::operator/(const Tdata& o) const { return arithmetic(o, kDiv); }

Tdata Tdata::arithmetic(const Tdata& o, int op) const {
  if (pLetter() != nullptr) {
    Tdata result(*this);
    result.makeWritable();
    TdataLetter& l = *result.pLetter();
    switch (op) {
      case kAdd: l += o; break;
      case kSub: l -= o; break;
      case kMul: l *= o; break;
      default: l /= o; break;
    }
    return result;
  }
  if (isNULL() || (o.fFlags & (kNumeric | kAnimTime)) == 0 || asAddr() || o.asAddr())
    throw fsDataMismatch;
  if (isAnimTime() || o.isAnimTime()) {
    // Times follow TanimTime's saturating arithmetic.
    const TanimTime a = timeValue();
    const TanimTime b = o.timeValue();
    if (op == kAdd) return Tdata(a + b);
    if (op == kSub) return Tdata(a - b);
    // A time scaled by a number stays a time; a number over a time, or two times multiplied,
    // are plain numbers of seconds.
    if (isAnimTime() && !o.isAnimTime()) return Tdata(op == kMul ? a * o.doubleValue() : a / o.doubleValue());
    if (!isAnimTime() && op == kMul) return Tdata(b * doubleValue());
    return Tdata(applyDouble(doubleValue(), o.doubleValue(), op));
  }
  if (asInt64() && o.asInt64()) {
    if (op != kDiv) return Tdata(static_cast<long long>(wrapping(fPayload.i, o.fPayload.i, op)));
    if (o.fPayload.i != 0 && !(o.fPayload.i == -1 && fPayload.i == std::numeric_limits<std::int64_t>::min()) &&
        fPayload.i % o.fPayload.i == 0)
      return Tdata(static_cast<long long>(fPayload.i / o.fPayload.i));
  }
  return Tdata(applyDouble(doubleValue(), o.doubleValue(), op));
}

bool Tdata::operator==(const Tdata& o) const { return compare(o, kEq) != 0; }
bool Tdata::operator!=(const Tdata& o) const { return compare(o, kNe) != 0; }
bool Tdata::operator<(const Tdata& o) const { return compare(o, kLt) != 0; }
bool Tdata::operator>(const Tdata& o) const { return compare(o, kGt) != 0; }
bool Tdata::operator<=(const Tdata& o) const { return compare(o, kLe) != 0; }
bool Tdata::operator>=(const Tdata& o) const { return compare(o, kGe) != 0; }

int Tdata::compare(const Tdata& o, int op) const {
  if (const TdataLetter* l = pLetter()) return letterCompare(*l, o, op);
  if (const TdataLetter* l = o.pLetter()) return letterCompare(*l, *this, mirrored(op));
  if (isNULL() || o.isNULL()) {
    const bool both = isNULL() && o.isNULL();
    if (op == kEq || op == kLe || op == kGe) return both;
    return op == kNe ? !both : false;
  }
  if (asInt64() && o.asInt64()) return applyCompare(fPayload.i, o.fPayload.i, op);
  if (isAnimTime() && o.isAnimTime()) return applyCompare(fPayload.i, o.fPayload.i, op);
  if (asAddr() && o.asAddr()) {
    return applyCompare(reinterpret_cast<std::uintptr_t>(fPayload.p),
                        reinterpret_cast<std::uintptr_t>(o.fPayload.p), op);
  }
  return applyCompare(doubleValue(), o.doubleValue(), op);
}

// ---- type ----

TiffTag Tdata::tag() const {
  if (const TdataLetter* l = pLetter()) return l->iffTag();
  return TiffTag("DBLE");
}

bool Tdata::tag(TiffTag& out) const {
  out = tag();
  return pLetter() != nullptr;
}

// ---- files ----

int Tdata::writeBinary(TiffFile& file) const {
  if (const TdataLetter* l = pLetter()) return l->writeBinary(file);
  if (isNULL()) return 0;
  if (asAddr()) return -1;
  if (asDouble()) return file.writeValue(fPayload.d);
  return file.writeValue(fPayload.i);  // int64 and anim time: 8 bytes
}

int Tdata::readBinary(TiffTag tag, unsigned& size, const void*& cursor) {
  if (pLetter() != nullptr) {
    makeWritable();
    return pLetter()->readBinary(tag, size, cursor);
  }
  if (isNULL()) {
    // An empty envelope takes the letter that the chunk's tag names.
    Tdata value(TmetaLetter::construct(tag));
    value.makeWritable();
    if (value.pLetter()->readBinary(tag, size, cursor) != 0) return -1;
    *this = value;
    return 0;
  }
  if (asAddr()) {
    fPayload.p = nullptr;
    return 0;
  }
  const auto* bytes = static_cast<const unsigned char*>(cursor);
  if (isAnimTime()) {
    const int version = TglobalTranslatorBase::currentlyReadingFileVersion();
    const unsigned used = TanimTime::sDiskFormIs64(version) ? 8 : 4;
    if (size < used) return -1;
    TanimTime time;
    time.setValueFromDiskBuffer(bytes, version);
    fPayload.i = time.inTicks();
    fFlags = (fFlags & ~(kNumeric | kAddress | kInt64)) | kAnimTime;
    size -= used;
    cursor = bytes + used;
    return 0;
  }
  if (size < 8) return -1;
  if (asInt64()) {
    fPayload.i = TbigEndian::read<std::int64_t>(bytes);
    fFlags |= kInt64;
  } else {
    fPayload.d = TbigEndian::read<double>(bytes);
  }
  size -= 8;
  cursor = bytes + 8;
  return 0;
}

int Tdata::writeASCII(Tfile& file, int flags, bool withType) const {
  if (const TdataLetter* l = pLetter()) {
    if (withType) {
      file.write(l->typeName());
      file.write(" ");
    }
    return l->writeASCII(file, flags);
  }
  if (isNULL()) return 0;
  if (asAddr()) return -1;
  if (asDouble()) {
    file.writeDouble(fPayload.d);
  } else {
    file.writeInt(fPayload.i);
  }
  file.write(" ");
  return 0;
}

int Tdata::readASCII(const TargList& args, unsigned& index, int flags) {
  if (pLetter() != nullptr) {
    makeWritable();
    return pLetter()->readASCII(args, index, flags);
  }
  if (isNULL()) {
    // An empty envelope reads the type name first (as writeASCII writes it with its type).
    if (index >= args.count()) return -1;
    unsigned at = index;
    Tdata value(TmetaLetter::construct(args[at++].asC()));
    value.makeWritable();
    if (value.pLetter()->readASCII(args, at, flags) != 0) return -1;
    *this = value;
    index = at;
    return 0;
  }
  if (asAddr()) return -1;
  if (asDouble()) return args.readDouble(index, fPayload.d) ? 0 : -1;
  return args.readInt64(index, fPayload.i) ? 0 : -1;
}

// ---- diagnostics ----

void Tdata::debug(TdebugOutput& out, unsigned details) const {
  if (const TdataLetter* l = pLetter()) {
    out.print("Tdata %s of letter %p\n", holder() ? "holder" : "writer", static_cast<const void*>(l));
    l->debug(out, details);
  } else if (isNULL()) {
    out.print("Tdata NULL\n");
  } else if (asAddr()) {
    out.print("Tdata address %p\n", fPayload.p);
  } else if (asInt64()) {
    out.print("Tdata int64 %lld\n", static_cast<long long>(fPayload.i));
  } else if (isAnimTime()) {
    out.print("Tdata time %lld ticks\n", static_cast<long long>(fPayload.i));
  } else {
    out.print("Tdata %.17g\n", fPayload.d);
  }
}

void Tdata::footprint(Footprint& fp) const {
  fp.addField("payload", sizeof fPayload);
  fp.addField("flags", sizeof fFlags);
  fp.addField("dirtyId", sizeof fDirtyId);
  // A shared letter is counted by whoever reports the letter, not by every envelope.
}
