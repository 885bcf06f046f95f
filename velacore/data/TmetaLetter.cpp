#include <velacore/data/TmetaLetter.h>

#include <velacore/base/TmtSpinCriticalSection.h>
#include <velacore/containers/TdataHashTable.h>
#include <velacore/data/TdataLetter.h>
#include <velacore/data/TdataUnknown.h>
#include <velacore/strings/Tstring.h>
#include <velacore/types/Tmetaclass.h>

namespace {

using TnameTable = TdataHashTable<Tstring, Tmetaclass*>;
using TiffTable = TdataHashTable<std::uint32_t, Tmetaclass*>;

// Made on first registration and kept for the life of the process (letters are looked up until
// the very end, during static destruction too).
TnameTable* gNameTable = nullptr;
TiffTable* gIffTable = nullptr;
TmtSpinCriticalSection gRegistrationLock;

TdataLetter* makeOrUnknown(Tmetaclass* cls, TiffTag askedTag) {
  TdataLetter* made = cls != nullptr ? TdataLetter::construct(cls) : nullptr;
  if (made == nullptr) made = new TdataUnknown(askedTag.value() != 0 ? askedTag : TdataUnknown::kTag);
  return made;
}

}  // namespace

TmetaLetter::TmetaLetter(Tmetaclass* letterClass) : fClass(letterClass) {
  if (letterClass == nullptr) return;
  TmtSpinCriticalSection::Tguard guard(gRegistrationLock);
  if (gNameTable == nullptr) gNameTable = new TnameTable(16, 0xFFFFFFFFu);
  if (gIffTable == nullptr) gIffTable = new TiffTable(16, 0xFFFFFFFFu);
  if (letterClass->name() != nullptr) gNameTable->insertUnique(Tstring(letterClass->name()), letterClass);
  if (letterClass->tag().value() != 0) gIffTable->insertUnique(letterClass->tag().value(), letterClass);
}

const char* TmetaLetter::name() const { return fClass != nullptr ? fClass->name() : nullptr; }

TiffTag TmetaLetter::iffTag() const { return fClass != nullptr ? fClass->tag() : TiffTag(); }

TdataLetter* TmetaLetter::createDataLetter() const { return makeOrUnknown(fClass, iffTag()); }

TdataLetter* TmetaLetter::construct(const char* name) {
  return makeOrUnknown(findTypeid(name), TiffTag());
}

TdataLetter* TmetaLetter::construct(const TiffTag& tag) { return makeOrUnknown(findTypeid(tag), tag); }

Tmetaclass* TmetaLetter::findTypeid(const char* name) {
  if (name == nullptr || *name == '\0' || gNameTable == nullptr) return nullptr;
  Tmetaclass* found = nullptr;
  return gNameTable->find(Tstring(name), found) ? found : nullptr;
}

Tmetaclass* TmetaLetter::findTypeid(const TiffTag& tag) {
  if (gIffTable == nullptr) return nullptr;
  Tmetaclass* found = nullptr;
  return gIffTable->find(tag.value(), found) ? found : nullptr;
}
