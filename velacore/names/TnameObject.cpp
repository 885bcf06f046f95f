#include <velacore/names/TnameObject.h>

#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/internal/Timmortal.h>
#include <velacore/names/Tnamespace.h>
#include <velacore/names/internal/TnameStore.h>

#include <atomic>
#include <string>
#include <unordered_set>

VELA_DEFINE_TYPE(TnameObject);

using vela::names::storeLock;
using vela::names::TstoreLock;

namespace vela::names {

// Never destroyed, like the keyword table below: static name objects leave the store at exit.
TmtRecursiveMutex& storeLock() {
  static Timmortal<TmtRecursiveMutex> sLock;
  return *sLock;
}

std::atomic<std::uint64_t>& storeGeneration() {
  static std::atomic<std::uint64_t> generation{1};
  return generation;
}

}  // namespace vela::names

namespace {

struct TkeywordTable {
  TmtCriticalSection lock;
  std::unordered_set<std::string> words;
  std::atomic<bool> any{false};  // lets every name check skip the lock until a word exists
};

TkeywordTable& keywordTable() {
  static Timmortal<TkeywordTable> sTable;  // empty until the first registration
  return *sTable;
}

// Splits "a:b:c" at ':' (an absolute path's leading ':' gives no segment).
std::vector<Tstring> segments(const Tstring& path) {
  std::vector<Tstring> out;
  const char* s = path.asC();
  unsigned start = s[0] == ':' ? 1 : 0;
  const unsigned n = path.length();
  if (start == n) return out;
  for (unsigned i = start; i <= n; ++i) {
    if (i == n || s[i] == ':') {
      out.emplace_back(s + start, i - start);
      start = i + 1;
    }
  }
  return out;
}

// Where an unregistered object registers: its namespace pointer, else its place-holder
// namespace (when that resolves), else the current namespace.
Tnamespace* homeNamespace(const TnameObject& obj) {
  Tnamespace* ns = obj.getNamespace();
  if (ns == nullptr && obj.hasPlaceHolderNamespace())
    ns = Tnamespace::current()->resolveNamespace(obj.placeHolderNamespace());
  return ns != nullptr ? ns : Tnamespace::current();
}

}  // namespace

TnameObject::~TnameObject() {
  TstoreLock guard(storeLock());
  if (isRegistered() && fNamespace != nullptr) fNamespace->eraseLocked(this);
}

bool TnameObject::setName(const Tstring& name) {
  TstoreLock guard(storeLock());
  if (name.isEmpty() || !isRegistered()) {
    setNameData(name);
    return true;
  }
  return fNamespace->rename(this, name);
}

bool TnameObject::setNamespace(Tnamespace* ns) {
  if (ns == nullptr) return releaseName();
  return ns->add(this);
}

bool TnameObject::makeNameUnique() {
  TstoreLock guard(storeLock());
  Tnamespace* ns = fNamespace;
  const bool isRegisteredBefore = isRegistered();
  if (!isRegisteredBefore) {
    // Registered first where reserveName would put it; a taken or missing name is fine here,
    // the name is replaced below anyway.
    if (!fName.isEmpty() && !Tnamespace::isValidName(fName)) return false;
    ns = homeNamespace(*this);
  } else {
    ns->eraseLocked(this);
  }
  const TnameString old = fName;
  if (ns->addLocked(this, ns->uniqueNameLocked(fName, this))) return true;
  if (isRegisteredBefore) ns->addLocked(this, old);  // nothing is lost on failure
  return false;
}

bool TnameObject::reserveName() {
  TstoreLock guard(storeLock());
  if (isRegistered()) return false;
  Tnamespace* ns = homeNamespace(*this);
  TnameString leaf = fName;
  const int colon = fName.rindex(':');
  if (colon >= 0) {
    const unsigned c = static_cast<unsigned>(colon);
    const Tstring where = c == 0 ? Tstring(":") : Tstring(fName.asC(), c);
    ns = ns->resolveNamespace(where);
    if (ns == nullptr) return false;
    leaf = Tstring(fName.asC() + c + 1, fName.length() - c - 1);
  }
  if (!Tnamespace::isValidName(leaf) || ns->contains(leaf)) return false;
  return ns->addLocked(this, leaf);
}

bool TnameObject::releaseName() {
  TstoreLock guard(storeLock());
  if (!isRegistered()) return false;
  fNamespace->eraseLocked(this);
  return true;
}

void TnameObject::clearPlaceHolderPaths() {
  fPlaceHolder.clear();
  setNameCacheDirty();
}

void TnameObject::setNameCacheDirty() { fFullNameGeneration = 0; }

void TnameObject::setNameData(const Tstring& name) {
  fName = name;
  setNameCacheDirty();
}

Tstring TnameObject::fullName() const {
  TstoreLock guard(storeLock());
  if (ignoreAllNamespaces()) return fName;
  if (this == Tnamespace::root()) return Tstring(":");
  const std::uint64_t now = vela::names::storeGeneration().load(std::memory_order_relaxed);
  if (fFullNameGeneration == now) return fFullNameCache;
  Tstring full;
  if (isRegistered()) {
    full = fNamespace->pathLocked();
    full += ":";
  } else if (hasPlaceHolderNamespace() && !ignorePlaceHolderNamespaces() &&
             !(ignoreRootPlaceHolderNamespace() && fPlaceHolder == ":")) {
    full = fPlaceHolder;
    if (!full.endsWith(Tstring(":"))) full += ":";
  }
  full += fName;
  fFullNameCache = full;
  fFullNameGeneration = now;
  return full;
}

Tstring TnameObject::relativeName() const { return relativeName(nullptr); }

Tstring TnameObject::relativeName(Tnamespace* ns) const {
  TstoreLock guard(storeLock());
  if (ns == nullptr) ns = Tnamespace::current();
  const Tstring full = fullName();
  Tstring prefix = ns == Tnamespace::root() ? Tstring() : ns->pathLocked();
  prefix += ":";
  if (full.length() > prefix.length() && full.startsWith(prefix))
    return Tstring(full.asC() + prefix.length(), full.length() - prefix.length());
  return full;
}

Tstring TnameObject::relativeNameWithDoubleDot(Tnamespace* ns) const {
  return relativeNameWithDoubleDot(fullName(), ns);
}

Tstring TnameObject::relativeNameWithDoubleDot(const Tstring& fullName, Tnamespace* ns) {
  if (fullName.isEmpty() || fullName[0] != ':') return fullName;  // already relative
  TstoreLock guard(storeLock());
  if (ns == nullptr) ns = Tnamespace::current();
  const std::vector<Tstring> target = segments(fullName);
  const std::vector<Tstring> from = segments(ns == Tnamespace::root() ? Tstring() : ns->pathLocked());
  if (target.empty()) return fullName;  // the root itself
  std::size_t common = 0;
  while (common < from.size() && common + 1 < target.size() && from[common] == target[common])
    ++common;
  Tstring out;
  for (std::size_t i = common; i < from.size(); ++i) {
    if (!out.isEmpty()) out += ":";
    out += "..";
  }
  for (std::size_t i = common; i < target.size(); ++i) {
    if (!out.isEmpty()) out += ":";
    out += target[i];
  }
  return out;
}

bool TnameObject::hasUniqueName() const {
  TstoreLock guard(storeLock());
  std::vector<Tnamespace*> todo{Tnamespace::root()};
  while (!todo.empty()) {
    Tnamespace* ns = todo.back();
    todo.pop_back();
    for (TnameDictionaryNode* n = ns->fEntries.first(); n != nullptr; n = TnameDictionary::next(n)) {
      TnameObject* obj = n->data();
      if (obj == nullptr) continue;
      if (obj != this && n->key() == fName) return false;
      if (obj->isNamespace()) todo.push_back(static_cast<Tnamespace*>(obj));
    }
  }
  return true;
}

bool TnameObject::isKeyword(const char* name) {
  TkeywordTable& table = keywordTable();
  if (!table.any.load(std::memory_order_acquire)) return false;
  TmtScopedLock<TmtCriticalSection> guard(table.lock);
  return table.words.count(name != nullptr ? name : "") != 0;
}

void TnameObject::registerKeywords(const char* const* list) {
  if (list == nullptr) return;
  TkeywordTable& table = keywordTable();
  TmtScopedLock<TmtCriticalSection> guard(table.lock);
  for (; *list != nullptr; ++list) table.words.insert(*list);
  table.any.store(!table.words.empty(), std::memory_order_release);
}

void TnameObject::registerKeywords(char** list) {
  registerKeywords(const_cast<const char* const*>(list));
}

void TnameObjectIterator::reset(const Tstring& pattern, Tmetaclass* type, Tnamespace* ns,
                                bool recurse, bool includeNamespaces) {
  fItems.clear();
  fIndex = 0;
  TstoreLock guard(storeLock());
  if (ns == nullptr) ns = Tnamespace::current();
  const bool all = pattern.isEmpty();
  // A namespace's own objects first, then each nested namespace in name order.
  const auto walk = [&](Tnamespace* space, auto& self) -> void {
    std::vector<Tnamespace*> nested;
    for (TnameDictionaryNode* n = space->fEntries.first(); n != nullptr; n = TnameDictionary::next(n)) {
      const TnameString& key = n->key();
      TnameObject* obj = n->data();
      if (obj == nullptr) continue;
      const bool isNs = obj->isNamespace();
      if (isNs && recurse) nested.push_back(static_cast<Tnamespace*>(obj));
      if (isNs && !includeNamespaces) continue;
      if (!all && !key.matches(pattern)) continue;
      if (type != nullptr && !obj->typeof()->isa(type)) continue;
      fItems.push_back(obj);
    }
    for (Tnamespace* child : nested) self(child, self);
  };
  walk(ns, walk);
}
