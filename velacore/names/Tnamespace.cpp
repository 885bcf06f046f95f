#include <velacore/names/Tnamespace.h>

#include <velacore/base/internal/Timmortal.h>
#include <velacore/names/internal/TnameStore.h>

VELA_DEFINE_TYPE(Tnamespace, TnameObject);
VELA_DEFINE_TYPE(TnameDictionaryNode, TdictionaryNode);
VELA_DEFINE_TYPE(TnameDictionary, Tdictionary);

using vela::names::storeLock;
using vela::names::TstoreLock;

namespace {

Tnamespace*& currentNamespace() {
  static Tnamespace* current = nullptr;  // null: the root
  return current;
}

bool isAsciiLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

Tnamespace::Tnamespace(const Tstring& name, Tnamespace* parent) : TnameObject(name) {
  if (parent != nullptr) parent->add(this);
}

Tnamespace::~Tnamespace() {
  TstoreLock guard(storeLock());
  for (TnameDictionaryNode* n = fEntries.first(); n != nullptr; n = TnameDictionary::next(n))
    if (n->data() != nullptr) detachLocked(n->data());
  fEntries.reset();
  if (currentNamespace() == this) currentNamespace() = nullptr;
  vela::names::storeChanged();
}

Tnamespace* Tnamespace::root() {
  static Timmortal<Tnamespace> sRoot;  // lives for the whole process
  return &*sRoot;
}

Tnamespace* Tnamespace::current() {
  TstoreLock guard(storeLock());
  Tnamespace* ns = currentNamespace();
  return ns != nullptr ? ns : root();
}

void Tnamespace::setCurrent(Tnamespace* ns) {
  TstoreLock guard(storeLock());
  currentNamespace() = ns;
}

bool Tnamespace::isValidName(const Tstring& name) {
  const char* s = name.asC();
  if (*s == '\0' || isDigit(*s)) return false;
  for (const char* p = s; *p != '\0'; ++p)
    if (!isAsciiLetter(*p) && !isDigit(*p) && *p != '_') return false;
  return !TnameObject::isKeyword(s);
}

bool Tnamespace::add(TnameObject* obj) {
  if (obj == nullptr) return false;
  TstoreLock guard(storeLock());
  if (obj->fNamespace == this && obj->isRegistered()) return true;
  if (!isValidName(obj->fName)) return false;
  if (obj->isNamespace() && isWithin(static_cast<Tnamespace*>(obj))) return false;
  if (obj->isRegistered() && obj->fNamespace != nullptr) obj->fNamespace->eraseLocked(obj);
  const TnameString wanted = obj->fName;
  return addLocked(obj, contains(wanted) ? uniqueNameLocked(wanted, obj) : wanted);
}

bool Tnamespace::remove(TnameObject* obj) {
  TstoreLock guard(storeLock());
  if (obj == nullptr || obj->fNamespace != this || !obj->isRegistered()) return false;
  eraseLocked(obj);
  return true;
}

bool Tnamespace::rename(TnameObject* obj, const Tstring& name) {
  TstoreLock guard(storeLock());
  if (obj == nullptr || obj->fNamespace != this || !obj->isRegistered()) return false;
  if (!isValidName(name)) return false;
  if (obj->fName == name) return true;
  eraseLocked(obj);
  const TnameString wanted(name);
  return addLocked(obj, contains(wanted) ? uniqueNameLocked(wanted, obj) : wanted);
}

bool Tnamespace::holdName(const Tstring& name) {
  TstoreLock guard(storeLock());
  return isValidName(name) && insertLocked(TnameString(name), nullptr);
}

bool Tnamespace::releaseHeldName(const Tstring& name) {
  TstoreLock guard(storeLock());
  const TnameString key(name);
  const TnameDictionaryNode* entry = entryLocked(key);
  if (entry == nullptr || entry->data() != nullptr) return false;
  removeEntryLocked(key);
  return true;
}

TnameObject* Tnamespace::find(const Tstring& name) const {
  TstoreLock guard(storeLock());
  const TnameDictionaryNode* entry = entryLocked(TnameString(name));
  return entry == nullptr ? nullptr : entry->data();
}

bool Tnamespace::contains(const Tstring& name) const {
  TstoreLock guard(storeLock());
  return entryLocked(TnameString(name)) != nullptr;
}

TnameObject* Tnamespace::resolve(const Tstring& path) const {
  TstoreLock guard(storeLock());
  const char* s = path.asC();
  const unsigned n = path.length();
  if (n == 0) return nullptr;
  TnameObject* at = const_cast<Tnamespace*>(this);
  unsigned start = 0;
  if (s[0] == ':') {
    at = root();
    start = 1;
    if (n == 1) return at;
  }
  for (unsigned i = start; i <= n; ++i) {
    if (i != n && s[i] != ':') continue;
    const Tstring segment(s + start, i - start);
    start = i + 1;
    if (at == nullptr || !at->isNamespace() || segment.isEmpty()) return nullptr;
    Tnamespace* ns = static_cast<Tnamespace*>(at);
    at = segment == ".." ? ns->parent() : ns->find(segment);
  }
  return at;
}

Tnamespace* Tnamespace::resolveNamespace(const Tstring& path) const {
  TnameObject* obj = resolve(path);
  return obj != nullptr && obj->isNamespace() ? static_cast<Tnamespace*>(obj) : nullptr;
}

bool Tnamespace::isWithin(const Tnamespace* ns) const {
  TstoreLock guard(storeLock());
  for (const Tnamespace* at = this; at != nullptr; at = at->parent())
    if (at == ns) return true;
  return false;
}

Tstring Tnamespace::nextIncrement(const Tstring& base) const {
  TstoreLock guard(storeLock());
  return nextIncrementLocked(base, nullptr);
}

Tstring Tnamespace::nextIncrementLocked(const Tstring& base, bool* mayBeTaken) const {
  // "@" sorts after every digit and before every letter and "_": the greatest name not above
  // base@ is the one with the highest trailing number for this base (or a smaller name).
  Tstring probe = base;
  probe += "@";
  const TnameDictionaryNode* entry = fEntries.findLastNotAbove(TnameString(probe), fMark);
  if (entry == nullptr) return Tstring("1");
  const TnameString& found = entry->key();
  if (entry->data() == nullptr) {
    // A held name: "1" may be taken by an object of the base below it.
    if (mayBeTaken != nullptr) *mayBeTaken = true;
    return Tstring("1");
  }
  if (found.baseString(TnameString::kTrailingDigits) == base)
    return found.versionStringIncrement();
  const unsigned b = base.length();
  if (found.length() > b && found.startsWith(base) && isDigit(found[b])) {
    unsigned e = b;
    while (e < found.length() && isDigit(found[e])) ++e;
    Tstring number("x");
    number += Tstring(found.asC() + b, e - b);
    return TnameString(number).versionStringIncrement();
  }
  return Tstring("1");
}

std::size_t Tnamespace::count() const {
  TstoreLock guard(storeLock());
  return fCount;
}

std::vector<TnameObject*> Tnamespace::objects() const {
  TstoreLock guard(storeLock());
  std::vector<TnameObject*> out;
  out.reserve(fCount);
  for (TnameDictionaryNode* n = fEntries.first(); n != nullptr; n = TnameDictionary::next(n))
    if (n->data() != nullptr) out.push_back(n->data());
  return out;
}

bool Tnamespace::addLocked(TnameObject* obj, const TnameString& name) {
  if (!isValidName(name) || !insertLocked(name, obj)) return false;
  obj->fName = name;
  obj->fNamespace = this;
  obj->fFlags |= kRegistered;
  obj->setNameCacheDirty();
  vela::names::storeChanged();
  return true;
}

void Tnamespace::eraseLocked(TnameObject* obj) {
  const TnameDictionaryNode* entry = entryLocked(obj->fName);
  if (entry != nullptr && entry->data() == obj) removeEntryLocked(obj->fName);
  detachLocked(obj);
  vela::names::storeChanged();
}

bool Tnamespace::insertLocked(const TnameString& name, TnameObject* obj) {
  if (entryLocked(name) != nullptr) return false;
  fEntries.insert(name, obj, fMark);
  ++fCount;
  return true;
}

void Tnamespace::removeEntryLocked(const TnameString& name) {
  fEntries.remove(name);
  fMark.reset();  // it may point at the removed node
  --fCount;
}

TnameDictionaryNode* Tnamespace::entryLocked(const TnameString& name) const {
  return fEntries.findNode(name, fMark);
}

void Tnamespace::detachLocked(TnameObject* obj) {
  obj->fNamespace = nullptr;
  obj->fFlags &= ~kRegistered;
  obj->setNameCacheDirty();
}

TnameString Tnamespace::uniqueNameLocked(const TnameString& wanted, const TnameObject* obj) const {
  Tstring base = wanted.baseString(TnameString::kTrailingDigits);
  if (base.isEmpty()) base = obj != nullptr ? obj->typeof()->name() : "object";
  // Base plus the increment sorts after the greatest name of the base, so it is free unless a
  // held name decided the increment; then step past whatever is in the way.
  bool mayBeTaken = false;
  TnameString candidate(base);
  candidate += nextIncrementLocked(base, &mayBeTaken);
  while (mayBeTaken && contains(candidate)) {
    TnameString next(base);
    next += candidate.versionStringIncrement();
    candidate = next;
  }
  return candidate;
}

Tstring Tnamespace::pathLocked() const {
  if (this == root()) return Tstring();
  if (!isRegistered() || parent() == nullptr) return name();
  Tstring path = parent()->pathLocked();
  path += ":";
  path += name();
  return path;
}
