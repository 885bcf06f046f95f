#include <velacore/data/TdataVoidPtr.h>

#include <velacore/base/Tfootprint.h>
#include <velacore/debug/TdebugOutput.h>

TdataVoidPtr::~TdataVoidPtr() { setPointer(nullptr); }

void TdataVoidPtr::setPointer(void* pointer, Trelease release) {
  if (fRelease != nullptr && fPointer != nullptr && fPointer != pointer) fRelease(fPointer);
  fPointer = pointer;
  fRelease = release;
}

void TdataVoidPtr::debug(TdebugOutput& out, unsigned details) const {
  TdataLetter::debug(out, details);
  out.print("pointer %p%s\n", fPointer, fRelease != nullptr ? " (owned)" : "");
}

void TdataVoidPtr::footprint(Footprint& fp) const {
  TdataLetter::footprint(fp);
  fp.addField("pointer", sizeof fPointer);
  fp.addField("release", sizeof fRelease);
}

bool TdataVoidPtr::operator==(const TdataLetter& o) const {
  const auto* other = dynamic_cast<const TdataVoidPtr*>(&o);
  if (other == nullptr) sIncompatible();
  return fPointer == other->fPointer;
}

int TdataVoidPtr::readBinary(TiffTag, unsigned&, const void*&) {
  setPointer(nullptr);
  return 0;
}

int TdataVoidPtr::writeBinary(TiffFile&) const { return 0; }

int TdataVoidPtr::readASCII(const TargList&, unsigned&, int) {
  setPointer(nullptr);
  return 0;
}

int TdataVoidPtr::writeASCII(Tfile&, int) const { return 0; }

bool TdataVoidPtr::smartCopy(const TdataLetter* source) {
  const auto* other = dynamic_cast<const TdataVoidPtr*>(source);
  if (other == nullptr) return false;
  setPointer(other->fPointer);
  return true;
}
