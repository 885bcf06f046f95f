#include <velacore/data/TdataLetter.h>

#include <velacore/base/Texception.h>
#include <velacore/base/Tfootprint.h>
#include <velacore/data/Tdata.h>
#include <velacore/data/TdataLetterCopyManager.h>
#include <velacore/debug/TdbTrace.h>
#include <velacore/debug/TdebugOutput.h>

const TdataLetter::TcopyTrace TdataLetter::fsTrace{};

TdbTrace& TdataLetter::TcopyTrace::trace() const {
  static TdbTrace trace("dataLetterCopy", "cerr",
                        "Private copies of data letters made by Tdata::makeWritable");
  return trace;
}

bool TdataLetter::TcopyTrace::on() const { return trace().on(); }

VPtrBase::~VPtrBase() = default;

TdataLetter::TdataLetter() = default;

TdataLetter::TdataLetter(const TdataLetter& other)
    : TmultiSharedObject(other), VPtrBase(other), fFlags(other.fFlags) {}

TdataLetter::~TdataLetter() = default;

void TdataLetter::reference(TdataRefType kind) {
  const std::uint64_t before = addCount(kind);
  if (kind == kDataWriter && sWriters(before) == 0) madeIntoWriter();
}

void TdataLetter::dropped(TdataRefType kind, bool mayDelete) {
  if (kind == kDataWriter && writerCount() == 1) madeIntoNonWriter();
  // Only the last owner can see a total of 1, so nobody else touches the letter while the
  // manager decides whether to park it.
  if (fCopyManager != nullptr && referenceCount() == 1 && mayDelete) fCopyManager->add(this);
  const std::uint64_t before = removeCount(kind);
  if (mayDelete && sTotal(before) == 1 && isOnHeap()) delete this;
}

bool TdataLetter::holderBecomesWriter() {
  const std::uint64_t before = holderToWriter();
  if (sWriters(before) == 0) {
    madeIntoWriter();
    return true;
  }
  // Another envelope became the writer first: undo, the caller copies instead.
  writerToHolder();
  return false;
}

void TdataLetter::writerBecomesHolder() {
  if (writerCount() == 1) madeIntoNonWriter();
  writerToHolder();
}

void TdataLetter::unreference(TdataRefType kind) { dropped(kind, true); }

void TdataLetter::unreferenceNoDelete(TdataRefType kind) { dropped(kind, false); }

void TdataLetter::makeNotReusable() {
  fFlags |= kNotReusable;
  if (fCopyManager != nullptr) fCopyManager->stopRecycling(this);
}

void TdataLetter::debug(TdebugOutput& out, unsigned details) const {
  out.print("%s: %u references (%u holders, %u writers)\n", typeName(), referenceCount(),
            holderCount(), writerCount());
  if (details != 0) out.print("flags 0x%x%s\n", unsigned(fFlags), isOnHeap() ? ", on the heap" : "");
}

void TdataLetter::footprint(Footprint& fp) const {
  fp.addField("vtable", sizeof(void*));
  fp.addField("counts", sizeof(std::uint64_t));
  fp.addField("onHeap", sizeof(bool));
  fp.addField("apiVtable", sizeof(void*));
  fp.addField("flags", sizeof fFlags);
  fp.addField("copyManager", sizeof fCopyManager);
  fp.addField("pluginData", sizeof fPluginData);
  fp.addField("apiUserObject", sizeof fApiUserObject);
}

void TdataLetter::reset() {}

TdataLetter* TdataLetter::copy() const { return new TdataLetter(*this); }

void TdataLetter::sIncompatible() { throw Tdata::fsDataMismatch; }

// The uneven answers against an envelope are intended: a letter that knows nothing about the
// other value sorts after it and never equals it.
bool TdataLetter::operator==(const Tdata&) const { return false; }
bool TdataLetter::operator!=(const Tdata&) const { return true; }
bool TdataLetter::operator<=(const Tdata&) const { return false; }
bool TdataLetter::operator>=(const Tdata&) const { return true; }
bool TdataLetter::operator<(const Tdata&) const { return false; }
bool TdataLetter::operator>(const Tdata&) const { return true; }
bool TdataLetter::operator==(const TdataLetter&) const { sIncompatible(); }
bool TdataLetter::operator!=(const TdataLetter&) const { sIncompatible(); }
bool TdataLetter::operator<=(const TdataLetter&) const { sIncompatible(); }
bool TdataLetter::operator>=(const TdataLetter&) const { sIncompatible(); }
bool TdataLetter::operator<(const TdataLetter&) const { sIncompatible(); }
bool TdataLetter::operator>(const TdataLetter&) const { sIncompatible(); }
TdataLetter& TdataLetter::operator+=(const Tdata&) { sIncompatible(); }
TdataLetter& TdataLetter::operator+=(const TdataLetter&) { sIncompatible(); }
TdataLetter& TdataLetter::operator-=(const Tdata&) { sIncompatible(); }
TdataLetter& TdataLetter::operator-=(const TdataLetter&) { sIncompatible(); }
TdataLetter& TdataLetter::operator*=(const Tdata&) { sIncompatible(); }
TdataLetter& TdataLetter::operator*=(const TdataLetter&) { sIncompatible(); }
TdataLetter& TdataLetter::operator/=(const Tdata&) { sIncompatible(); }
TdataLetter& TdataLetter::operator/=(const TdataLetter&) { sIncompatible(); }

const TdataLetter* TdataLetter::sameClassLetter(const Tdata& o) const {
  const TdataLetter* l = o.pLetter();
  return l != nullptr && l->typeof() == typeof() ? l : nullptr;
}

double TdataLetter::doubleValue() const { return 0.0; }
void TdataLetter::madeIntoWriter() {}
void TdataLetter::madeIntoNonWriter() {}
void TdataLetter::forceLazyUpdate() {}

int TdataLetter::readASCII(const TargList&, unsigned&, int) { return -1; }
int TdataLetter::writeASCII(Tfile&, int) const { return -1; }
int TdataLetter::readBinary(TiffTag, unsigned&, const void*&) { return -1; }
int TdataLetter::writeBinary(TiffFile&) const { return -1; }

const char* TdataLetter::typeName() const { return typeof()->name(); }
TiffTag TdataLetter::iffTag() const { return typeof()->tag(); }
void TdataLetter::deepCopy() {}
bool TdataLetter::smartCopy(const TdataLetter*) { return false; }

// The plug-in interface numbers data letters as kind 1.
int TdataLetter::apiType() const { return 1; }
void TdataLetter::apiReference() { reference(kDataHolder); }
void TdataLetter::apiUnreference() { unreference(kDataHolder); }
bool TdataLetter::apiHasReferenceCounting() const { return true; }
const char* TdataLetter::apiTypeString() const { return typeName(); }
void* TdataLetter::apiUserObject() const { return fApiUserObject; }
void TdataLetter::setApiUserObject(void* object) { fApiUserObject = object; }
void TdataLetter::clearInstance() { reset(); }
