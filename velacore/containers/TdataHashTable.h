// TdataHashTable<K, V>: a chained hash table of keys and values, on the ThashTable core.
//
// The library's lookup tables: tag value to letter class, type name to letter class, name to
// number or text, address to text. Keys hash through ThashKey<K>: an unsigned key is its own
// hash, a Tstring uses Tstring::hash, a pointer hashes its 8 bytes with ThashFunction::hash32
// (seed 0). Other key types provide a ThashKey specialization.
//
//   TdataHashTable<Tstring, int> ids(0, 0xFFFFFFFF);
//   ids.insertUnique("cube", 1);            // false if "cube" is already there
//   ids.insertReplace("cube", 2);           // overwrites
//   if (int* id = ids.find("cube")) ...
//   ids.remove("cube");
//
// insert() never searches: it may add a second entry for a key already present, and the most
// recently inserted one is then the one found (and removed) first.
//
// Hazards:
// - Copies are shallow views that own nothing (see ThashTable): never modify through a copy,
//   never use one after the original changed size or died. Move a table to hand it over.
// - Value pointers from find() stay valid until that entry is removed or the table is reset;
//   growing and shrinking move entries between chains, not in memory.
// - Removed entries' memory is kept for later insertions and returned on reset() or destruction.
// - Not thread-safe: a shared table needs its users' lock.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/ThashFunction.h>
#include <velacore/containers/ThashTable.h>
#include <velacore/containers/ThashTableEntry.h>
#include <velacore/strings/Tstring.h>

#include <cassert>
#include <new>
#include <type_traits>
#include <utility>

class Tmetaclass;

/// How TdataHashTable hashes and compares keys of type K. Specialize for new key types with
/// static `hash(key)` and `equal(a, b)`; add `static constexpr bool kHashIsKey = true` when
/// equal hashes imply equal keys.
template <class K>
struct ThashKey;

template <>
struct ThashKey<unsigned> {
  /// Equal hashes mean equal keys, so lookups need not compare the keys themselves.
  static constexpr bool kHashIsKey = true;
  [[nodiscard]] static unsigned hash(unsigned key) { return key; }
  [[nodiscard]] static bool equal(unsigned a, unsigned b) { return a == b; }
};

template <class T>
struct ThashKey<T*> {
  // The address's 8 bytes through the inline byte hash. A caller that drops the record of a
  // block it has just released must key the removal before the release (see TmallocAllocator).
  [[nodiscard]] static unsigned hash(T* key) {
    const void* address = key;
    return ThashFunction::hash32(&address, sizeof address, 0);
  }
  [[nodiscard]] static bool equal(T* a, T* b) { return a == b; }
};

template <>
struct ThashKey<Tstring> {
  [[nodiscard]] static unsigned hash(const Tstring& key) { return key.hash(); }
  [[nodiscard]] static bool equal(const Tstring& a, const Tstring& b) { return a == b; }
};

/// One key and its value in a TdataHashTable chain. A value of at most 4 bytes next to a
/// wider-aligned key is laid out first, in the 4 bytes the base leaves after the hash: a
/// Tstring-to-int entry then takes 32 bytes instead of 40, two to a cache line.
template <class K, class V,
          bool kValueFirst = (sizeof(V) <= 4 && alignof(V) <= 4 && alignof(K) > 4)>
class VELACORE_API TdataHashEntry : public ThashTableEntry {
 public:
  TdataHashEntry(const K& k, const V& v) : key(k), value(v) {}
  K key;
  V value;
};
template <class K, class V>
class TdataHashEntry<K, V, true> : public ThashTableEntry {
 public:
  TdataHashEntry(const K& k, const V& v) : value(v), key(k) {}
  V value;
  K key;
};

template <class K, class V>
class TdataHashTable : public ThashTable {
 public:
  using Tkey = ThashKey<K>;
  /// One key and its value, in the table's chain.
  using Tentry = TdataHashEntry<K, V>;

  /// @name Construction
  /// An empty table between `minSize` and `maxSize` buckets (see ThashTable).
  TdataHashTable(unsigned minSize, unsigned maxSize) : ThashTable(minSize, maxSize) {}
  /// A shallow view of `other` that owns nothing (see the hazards above).
  TdataHashTable(const TdataHashTable& other) : ThashTable(other), fPool(other.fPool) {}
  /// Takes over `other`'s entries without allocating; `other` is left empty and allocates
  /// again at its next insertion. Never throws, so std::vector moves tables when it grows.
  TdataHashTable(TdataHashTable&& other) noexcept
      : ThashTable(std::move(other)), fPool(other.fPool) {
    other.fPool = nullptr;
  }
  /// Destroys this table's entries (when it owns them), then views `other` like a copy.
  TdataHashTable& operator=(const TdataHashTable& other) {
    if (this != &other && !sharesTableWith(other)) {
      releaseEntries();
      ThashTable::operator=(other);
      fPool = other.fPool;
    }
    return *this;
  }
  /// Destroys this table's entries, then takes over `other`'s.
  TdataHashTable& operator=(TdataHashTable&& other) noexcept {
    if (this != &other) {
      releaseEntries();
      ThashTable::operator=(std::move(other));
      fPool = other.fPool;
      other.fPool = nullptr;
    }
    return *this;
  }
  ~TdataHashTable() override { releaseEntries(); }

  /// @name Insertion and removal
  /// Adds an entry without looking for the key; always true.
  bool insert(const K& key, const V& value) {
    addEntry(Tkey::hash(key), key, value);
    return true;
  }
  /// Adds an entry when the key is absent; false (the old value kept) when it is present.
  bool insertUnique(const K& key, const V& value) {
    const unsigned h = Tkey::hash(key);
    if (findEntry(h, key) != nullptr) return false;
    addEntry(h, key, value);
    return true;
  }
  /// Overwrites the value of the key's first entry, or adds one when absent; always true.
  bool insertReplace(const K& key, const V& value) {
    const unsigned h = Tkey::hash(key);
    if (Tentry* e = findEntry(h, key)) {
      e->value = value;
      return true;
    }
    addEntry(h, key, value);
    return true;
  }
  /// Removes the key's first entry; false when the key is absent.
  bool remove(const K& key);
  /// Destroys every entry and returns to the minimum size. On a shallow copy, turns the copy
  /// into an empty table of its own and leaves the viewed entries alone.
  void reset() {
    clearall();
    reinitializeTable();
  }

  /// @name Lookup
  /// The value of the key's first entry, or null.
  [[nodiscard]] V* find(const K& key) {
    Tentry* e = findEntry(Tkey::hash(key), key);
    return e != nullptr ? &e->value : nullptr;
  }
  [[nodiscard]] const V* find(const K& key) const {
    const Tentry* e = findEntry(Tkey::hash(key), key);
    return e != nullptr ? &e->value : nullptr;
  }
  /// Copies the key's value into `value` and answers true, or answers false.
  bool find(const K& key, V& value) const {
    const Tentry* e = findEntry(Tkey::hash(key), key);
    if (e == nullptr) return false;
    value = e->value;
    return true;
  }
  /// Calls `visit(key, value)` for every entry, in bucket order. Entries must not be added or
  /// removed during the walk.
  template <class F>
  void forEach(F&& visit) {
    forEachEntry([&](ThashTableEntry* e) {
      auto* entry = static_cast<Tentry*>(e);
      visit(static_cast<const K&>(entry->key), entry->value);
    });
  }
  template <class F>
  void forEach(F&& visit) const {
    forEachEntry([&](ThashTableEntry* e) {
      const auto* entry = static_cast<const Tentry*>(e);
      visit(entry->key, entry->value);
    });
  }

  /// Records the table's memory use, entries included.
  void footprint(Footprint& fp) const {
    ThashTable::footprint(fp);
    fp.addField("pool", sizeof(fPool));
    if (ownsTable() && fPool != nullptr) fp.addReferenced(fPool->bytesReserved());
  }

 protected:
  /// Destroys every entry and clears every bucket, keeping the current size.
  void clearall();

 private:
  static constexpr bool kTrivialEntries =
      std::is_trivially_destructible<K>::value && std::is_trivially_destructible<V>::value;

  template <class T, class = void>
  struct THashIsKey : std::false_type {};
  template <class T>
  struct THashIsKey<T, std::void_t<decltype(T::kHashIsKey)>>
      : std::integral_constant<bool, T::kHashIsKey> {};

  [[nodiscard]] Tentry* findEntry(unsigned h, const K& key) const {
    for (ThashTableEntry* e = chain(h); e != nullptr; e = e->next()) {
      if (e->hash() != h) continue;
      if constexpr (THashIsKey<Tkey>::value) {
        (void)key;
        return static_cast<Tentry*>(e);
      } else {
        if (Tkey::equal(static_cast<Tentry*>(e)->key, key)) return static_cast<Tentry*>(e);
      }
    }
    return nullptr;
  }
  void addEntry(unsigned h, const K& key, const V& value) {
    assert(ownsTable() && "TdataHashTable: a shallow copy must not be modified");
    ensureBuckets();
    if (fPool == nullptr) fPool = new ThashEntryPool(sizeof(Tentry), alignof(Tentry));
    void* cell = fPool->allocate();
    Tentry* e;
    try {
      e = new (cell) Tentry(key, value);
    } catch (...) {
      fPool->release(cell);
      throw;
    }
    insertWithHash(e, h);
  }
  void destroyEntry(Tentry* e) {
    e->~Tentry();
    fPool->release(e);
  }
  /// Destroys the entries and the pool when this table owns them.
  void releaseEntries() {
    if (!ownsTable()) return;
    clearall();
    delete fPool;
    fPool = nullptr;
  }

  ThashEntryPool* fPool = nullptr;  // created at the first insertion; shared by copies
};

template <class K, class V>
bool TdataHashTable<K, V>::remove(const K& key) {
  assert(ownsTable() && "TdataHashTable: a shallow copy must not be modified");
  const unsigned h = Tkey::hash(key);
  ThashTableEntry* previous = nullptr;
  for (ThashTableEntry* e = chain(h); e != nullptr; previous = e, e = e->next()) {
    auto* entry = static_cast<Tentry*>(e);
    if (e->hash() == h && Tkey::equal(entry->key, key)) {
      unlinkEntry(previous, e);
      destroyEntry(entry);
      return true;
    }
  }
  return false;
}

template <class K, class V>
void TdataHashTable<K, V>::clearall() {
  if (!ownsTable()) {  // a shallow copy lets go of the viewed entries instead
    fPool = nullptr;
    detachView();
    return;
  }
  if (fPool == nullptr) return;
  if (!kTrivialEntries) forEachEntry([](ThashTableEntry* e) { static_cast<Tentry*>(e)->~Tentry(); });
  fPool->releaseAll();
  forgetEntries();
}

// The tables the library itself uses are compiled once, in the library.
extern template class VELACORE_API TdataHashTable<unsigned, Tmetaclass*>;
extern template class VELACORE_API TdataHashTable<Tstring, Tmetaclass*>;
extern template class VELACORE_API TdataHashTable<Tstring, int>;
extern template class VELACORE_API TdataHashTable<Tstring, Tstring>;
extern template class VELACORE_API TdataHashTable<void*, Tstring>;
