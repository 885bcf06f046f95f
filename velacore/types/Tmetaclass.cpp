#include <velacore/types/Tmetaclass.h>

#include <velacore/debug/TdebugOutput.h>
#include <velacore/types/TtypeDictionary.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

namespace {

// Both live from the first registration to the end of the process. Registration happens during
// static initialisation, on one thread, so neither is locked; both are constant-initialised, so
// they are ready before any metaclass constructor runs.
TtypeidArray* gRegistry = nullptr;
std::uint64_t gNextIndex = 0;

bool sameName(const char* a, const char* b) {
  return std::strcmp(a == nullptr ? "" : a, b) == 0;
}

const char* printable(const char* name) { return name == nullptr ? "" : name; }

}  // namespace

TconstructorClass::~TconstructorClass() = default;

void* vela::types_internal::constructAs(Tmetaclass* t, Tmetaclass* self) {
  return t == nullptr || !t->isa(self) ? nullptr : t->construct(self);
}

void* vela::types_internal::constructInPlaceAs(Tmetaclass* t, Tmetaclass* self, void* where) {
  return t == nullptr || !t->isa(self) ? nullptr : t->constructInPlace(self, where);
}

Tmetaclass::Tmetaclass(Tmetaclass** /*self*/, const char* name, unsigned size,
                       TconstructorProc proc, unsigned tag, bool forceIndex, Tmetaclass** super1,
                       Tmetaclass** super2, Tmetaclass** super3, Tmetaclass** super4)
    : fAncestorTable(nullptr), fName(name), fTag(tag), fConstructorProc(proc), fCreator(nullptr) {
  fBorrowedTable = false;
  fSuperCount = 0;
  registerClass(forceIndex);
  storeSupers(size, super1, super2, super3, super4);
}

Tmetaclass::Tmetaclass(Tmetaclass** /*self*/, const char* name, unsigned size,
                       TconstructorClass* creator, unsigned tag, bool forceIndex,
                       Tmetaclass** super1, Tmetaclass** super2, Tmetaclass** super3,
                       Tmetaclass** super4)
    : Tmetaclass(nullptr, name, size, TconstructorProc(), tag, forceIndex, super1, super2, super3,
                 super4) {
  fCreator = creator;
}

Tmetaclass::Tmetaclass(const Tmetaclass& other)
    : fAncestorTable(other.fAncestorTable.load(std::memory_order_acquire)),
      fName(other.fName),
      fTag(other.fTag),
      fConstructorProc(other.fConstructorProc),
      fCreator(other.fCreator),
      fSize(other.fSize),
      fIndex(other.fIndex),
      fSuperCount(other.fSuperCount),
      fBorrowedTable(fAncestorTable.load(std::memory_order_relaxed) != nullptr) {
  for (int i = 0; i < 4; ++i) fSuper[i] = other.fSuper[i];
}

Tmetaclass& Tmetaclass::operator=(const Tmetaclass& other) {
  if (this == &other) return *this;
  unsigned* mine = fAncestorTable.load(std::memory_order_relaxed);
  unsigned* theirs = other.fAncestorTable.load(std::memory_order_acquire);
  if (mine != theirs && !fBorrowedTable) std::free(mine);
  fAncestorTable.store(theirs, std::memory_order_release);
  fBorrowedTable = theirs != nullptr;
  for (int i = 0; i < 4; ++i) fSuper[i] = other.fSuper[i];
  fName = other.fName;
  fTag = other.fTag;
  fConstructorProc = other.fConstructorProc;
  fCreator = other.fCreator;
  fSize = other.fSize;
  fIndex = other.fIndex;
  fSuperCount = other.fSuperCount;
  return *this;
}

Tmetaclass::~Tmetaclass() {
  if (gRegistry != nullptr) gRegistry->remove(this);
  unsigned* table = fAncestorTable.exchange(nullptr, std::memory_order_acq_rel);
  if (!fBorrowedTable) std::free(table);
}

void Tmetaclass::registerClass(bool forceIndex) {
  if (gRegistry == nullptr) {
    try {
      auto* registry = new TtypeidArray(8);
      registry->changePhysicalSizeTo(8);
      gRegistry = registry;
    } catch (...) {
      // Without a registry the class is simply not findable; lookups answer null.
    }
  }
  if (gRegistry != nullptr) {
    try {
      gRegistry->addLast(this);
    } catch (...) {
    }
  }
  // The size is stored only after this test, so a metaclass in zero-filled static storage
  // always gets an index; the barrier makes the compiler read what the storage holds instead
  // of assuming a member not yet written in this constructor.
#if defined(__GNUC__)
  asm volatile("" ::: "memory");
#endif
  if (forceIndex || fSize == 0) fIndex = static_cast<std::uint16_t>(gNextIndex++);
}

void Tmetaclass::storeSupers(unsigned size, Tmetaclass** s1, Tmetaclass** s2, Tmetaclass** s3,
                             Tmetaclass** s4) {
  fSize = static_cast<std::uint16_t>(size);
  fSuper[0] = s1;
  fSuper[1] = s2;
  fSuper[2] = s3;
  fSuper[3] = s4;
  std::uint8_t count = 0;
  while (count < 4 && fSuper[count] != nullptr) ++count;
  fSuperCount = count;
}

unsigned Tmetaclass::extraSize() const {
  unsigned extra = fSize;
  for (unsigned i = 0; i < fSuperCount; ++i)
    if (const Tmetaclass* s = super(i)) extra -= s->fSize;
  return extra;
}

// ----- kind-of tests -----

const unsigned* Tmetaclass::buildTable() const {
  unsigned short lo = 0xFFFF;
  unsigned short hi = 0;
  getTableSize(lo, hi);
  if (lo > hi) lo = hi = 0;  // every link still unset: an empty range at 0
  const unsigned words = (unsigned(hi) - lo + 32) / 32 + 1;
  auto* table = static_cast<unsigned*>(std::calloc(words, sizeof(unsigned)));
  if (table == nullptr) throw std::bad_alloc();
  setBounds(table, lo, hi);
  fillTable(table, lo);
  // Two threads asking the first question at once may both build; one table is kept and the
  // other freed, and both hold the same bits.
  unsigned* expected = nullptr;
  if (!fAncestorTable.compare_exchange_strong(expected, table, std::memory_order_acq_rel,
                                              std::memory_order_acquire)) {
    std::free(table);
    return expected;
  }
  return table;
}

void Tmetaclass::getTableSize(unsigned short& lower, unsigned short& upper) const {
  for (unsigned i = 0; i < fSuperCount; ++i) {
    const Tmetaclass* s = super(i);
    if (s == nullptr) continue;
    if (s->fIndex < lower) lower = s->fIndex;
    if (s->fIndex > upper) upper = s->fIndex;
    s->getTableSize(lower, upper);
  }
}

void Tmetaclass::fillTable(unsigned* table, unsigned short lower) const {
  for (unsigned i = 0; i < fSuperCount; ++i) {
    const Tmetaclass* s = super(i);
    if (s == nullptr) continue;
    const unsigned bit = unsigned(s->fIndex) - lower;
    table[1 + bit / 32] |= 1u << (bit % 32);
    s->fillTable(table, lower);
  }
}

void Tmetaclass::setBounds(unsigned* table, unsigned short lower, unsigned short upper) {
  table[0] = unsigned(lower) | unsigned(upper) << 16;
}

bool Tmetaclass::isexactlya(const char* name) const {
  return name != nullptr && sameName(fName, name);
}

bool Tmetaclass::isa(const char* name) const {
  if (name == nullptr) return false;
  // Along the first-superclass chain; the other superclasses are asked recursively on the way.
  for (const Tmetaclass* c = this; c != nullptr;) {
    if (sameName(c->fName, name)) return true;
    for (unsigned i = 1; i < c->fSuperCount; ++i)
      if (const Tmetaclass* s = c->super(i); s != nullptr && s->isa(name)) return true;
    c = c->fSuperCount > 0 ? c->super(0) : nullptr;
  }
  return false;
}

// ----- creation -----

void* Tmetaclass::construct(Tmetaclass* as) const {
  if (fConstructorProc.construct != nullptr) return fConstructorProc.construct(as);
  if (fCreator != nullptr) return fCreator->construct(as);
  return nullptr;
}

void* Tmetaclass::constructInPlace(Tmetaclass* as, void* where) const {
  if (fConstructorProc.constructInPlace != nullptr)
    return fConstructorProc.constructInPlace(as, where);
  return nullptr;
}

void Tmetaclass::setCreator(TconstructorClass* creator) {
  fCreator = creator;
  fConstructorProc = TconstructorProc();
}

void Tmetaclass::addSuperClass(Tmetaclass** super) {
  for (int i = 0; i < 4; ++i)
    if (fSuper[i] == super) return;
  for (int i = 0; i < 4; ++i) {
    if (fSuper[i] == nullptr) {
      fSuper[i] = super;
      fSuperCount = static_cast<std::uint8_t>(i + 1);
      return;
    }
  }
}

// ----- the registry -----

const TtypeidArray* Tmetaclass::registry() { return gRegistry; }

Tmetaclass* Tmetaclass::findClass(const char* name) {
  if (gRegistry == nullptr || name == nullptr) return nullptr;
  for (Tmetaclass* c : *gRegistry)
    if (sameName(c->fName, name)) return c;
  return nullptr;
}

Tmetaclass* Tmetaclass::findClass(const char* name, Tmetaclass* base) {
  if (gRegistry == nullptr || name == nullptr) return nullptr;
  for (Tmetaclass* c : *gRegistry)
    if (sameName(c->fName, name) && c->isa(base)) return c;
  return nullptr;
}

Tmetaclass* Tmetaclass::findClass(TiffTag tag) {
  if (gRegistry == nullptr) return nullptr;
  for (Tmetaclass* c : *gRegistry)
    if (c->fTag == tag.value()) return c;
  return nullptr;
}

TtypeDictionary* Tmetaclass::generateDictionaryFor(Tmetaclass* base) {
  auto* family = new TtypeDictionary();
  if (base == nullptr || gRegistry == nullptr) return family;
  for (Tmetaclass* c : *gRegistry)
    if (c->isa(base)) family->insert(c->fName, c);
  return family;
}

namespace {

bool isDirectSubclass(const Tmetaclass* c, const Tmetaclass* base) {
  for (unsigned i = 0; i < c->superCount(); ++i)
    if (c->super(i) == base) return true;
  return false;
}

}  // namespace

void Tmetaclass::getDerivedClasses(Tmetaclass* base, TtypeidArray& out) {
  if (base == nullptr) return;
  out.insert(base, 0);
  if (gRegistry == nullptr) return;
  for (Tmetaclass* c : *gRegistry)
    if (isDirectSubclass(c, base)) getDerivedClasses(c, out);
}

void Tmetaclass::getInheritedClasses(Tmetaclass* cls, TtypeidArray& out) {
  if (cls == nullptr) return;
  out.insert(cls, 0);
  for (unsigned i = 0; i < cls->fSuperCount; ++i) {
    Tmetaclass* s = cls->super(i);
    if (s == nullptr) continue;
    bool reachedLater = false;
    for (unsigned j = i + 1; j < cls->fSuperCount && !reachedLater; ++j)
      if (const Tmetaclass* later = cls->super(j)) reachedLater = later->istype(s);
    if (!reachedLater) getInheritedClasses(s, out);
  }
}

// ----- printing -----

namespace {

void dumpLine(std::ostream& out, const Tmetaclass* c, int depth) {
  for (int i = 0; i < depth; ++i) out << ". ";
  out << printable(c->name()) << ":  +" << c->extraSize() << " = " << c->size();
  if (c->isAbstract()) out << "    (abstract)";
  out << '\n';
}

}  // namespace

void Tmetaclass::dumpAllClasses() { dumpAllClasses(std::cout); }

void Tmetaclass::dumpAllClasses(std::ostream& out) {
  if (gRegistry == nullptr) return;
  for (Tmetaclass* c : *gRegistry) {
    if (c->fSuperCount != 0) continue;
    dumpLine(out, c, 0);
    for (Tmetaclass* child : *gRegistry)
      if (isDirectSubclass(child, c)) dumpAllClassesDerivedFrom(out, child, 1);
  }
  out.flush();
}

void Tmetaclass::dumpAllClassesDerivedFrom(Tmetaclass* base, int depth) {
  dumpAllClassesDerivedFrom(std::cout, base, depth);
  std::cout.flush();
}

void Tmetaclass::dumpAllClassesDerivedFrom(std::ostream& out, Tmetaclass* base, int depth) {
  if (base == nullptr) return;
  dumpLine(out, base, depth);
  if (gRegistry == nullptr) return;
  for (Tmetaclass* child : *gRegistry)
    if (isDirectSubclass(child, base)) dumpAllClassesDerivedFrom(out, child, depth + 1);
}

void Tmetaclass::debugOneLine(std::string& line) const {
  line += '/';
  line += printable(fName);
  if (fSuperCount >= 2) {
    line += '{';
    for (unsigned i = 0; i < fSuperCount; ++i) {
      if (i != 0) line += ", ";
      if (const Tmetaclass* s = super(i)) s->debugOneLine(line);
    }
    line += '}';
  } else if (fSuperCount == 1) {
    if (const Tmetaclass* s = super(0)) s->debugOneLine(line);
  }
}

void Tmetaclass::debug(TdebugOutput& out, unsigned flags) const {
  if ((flags & kDebugOneLine) != 0) {
    std::string line;
    debugOneLine(line);
    out.print("%s", line.c_str());
    return;
  }
  // The indentation changes belong together: hold the sink for the whole tree.
  const bool owned = out.acquireOwnership();
  out.print("/%s\n", printable(fName));
  for (unsigned i = 0; i < fSuperCount; ++i) {
    const Tmetaclass* s = super(i);
    if (s == nullptr) continue;
    out.setIndent(1);
    s->debug(out, flags);
    out.setIndent(-1);
  }
  if (owned) out.releaseOwnership();
}

void Tmetaclass::debugMe(const Tmetaclass& cls, unsigned flags) {
  cls.debug(TdebugOutput::sCerr(), flags);
}
