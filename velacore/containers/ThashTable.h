// ThashTable: the chained hash table core under TdataHashTable and the library's lookup tables.
//
// A power-of-two array of buckets, each the head of a singly linked chain of entries. The table
// grows early (when more than 3/8 of the bucket count is used) and shrinks when fewer than 1/8
// remain, always between a minimum and a maximum size, so chains stay short. Every entry keeps
// its key's full hash, so a rehash moves pointers and never reads a key.
//
//   TdataHashTable<unsigned, int> table(0, 0xFFFFFFFF);   // 8 buckets, grows to 2^31
//   table.lockSize();          // freeze the layout while walking and editing values
//   ...
//   table.unlockSize();        // back to the normal policy, resized to fit once
//
// Derived tables define the entries (see ThashTableEntry) and the key comparison; this core
// holds the buckets, the load policy and the size lock. A bucket array of a large page (2 MiB,
// 262,144 buckets) or more is mapped in large pages: lookups in a big table read it at random,
// and with small pages nearly every such read would also miss the address-translation cache.
//
// Copies are shallow, on purpose: the copy constructor and assignment copy the fields
// memberwise, bucket array and lock record included, so a copy is a second view of the same
// chains. A copy does not own what it views: destroying it frees nothing, and only the original
// (or a table it was moved into) frees the buckets and entries. Hazards that follow:
// - a copy is valid only while the original lives and is not changed; an insertion or removal
//   through either side that resizes the table leaves the other side with a stale bucket array;
// - never modify through a copy (entry counts are not shared);
// - to hand a table over, move it: a move transfers ownership and leaves the source empty.
//
// Not thread-safe: tables shared between threads are guarded by their users.
#pragma once

#include <velacore/base/Tfootprint.h>
#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/ThashTableEntry.h>

class VELACORE_API ThashTable {
 public:
  /// @name Construction
  /// A table between `minSize` and `maxSize` buckets, each raised to a power of two (at least
  /// 8; the maximum at least the minimum). (0, 0xFFFFFFFF) gives 8 to 2^31 buckets.
  /// Throws TmemoryException when the bucket array cannot be allocated.
  ThashTable(unsigned minSize, unsigned maxSize);
  /// A shallow copy: views `other`'s buckets and entries without owning them.
  ThashTable(const ThashTable& other);
  /// Takes over `other`'s buckets and entries. Never throws: `other` is left empty with no
  /// bucket array (tableSize() 0) and allocates one at its next insertion.
  ThashTable(ThashTable&& other) noexcept;
  /// Frees whatever this table owns, then views `other`'s buckets (shallow, like the copy).
  ThashTable& operator=(const ThashTable& other);
  /// Frees whatever this table owns, then takes over `other`'s contents (as the move above).
  ThashTable& operator=(ThashTable&& other) noexcept;
  /// Destroys the remaining entries and frees the buckets, when this table owns them.
  virtual ~ThashTable();

  /// @name Size and load policy
  /// The number of entries.
  [[nodiscard]] unsigned entryCount() const { return fEntryCount; }
  /// The number of buckets, a power of two (0 in a table emptied by a move).
  [[nodiscard]] unsigned tableSize() const { return fBuckets == sNoBuckets ? 0 : fTableSize; }
  /// The current minimum and maximum bucket counts (both the table size while locked).
  [[nodiscard]] unsigned minSize() const { return fMinSize; }
  [[nodiscard]] unsigned maxSize() const { return fMaxSize; }
  /// The bucket of `hash` in a table of `tableSize` buckets.
  [[nodiscard]] static unsigned tableIndex(unsigned tableSize, unsigned hash) {
    return hash & (tableSize - 1);
  }
  /// Freezes the bucket layout: until the matching unlockSize(), neither insertion nor removal
  /// resizes the table. Locks nest. Returns false when the lock record cannot be allocated.
  bool lockSize();
  /// Releases one lock; the last one restores the limits and resizes the table to fit its
  /// entries. Returns false when the table was not locked.
  bool unlockSize();
  /// Whether the layout is locked.
  [[nodiscard]] bool isSizeLocked() const { return fSizeLock != nullptr; }
  /// Resizes the table to fit its entries in one step (halving or doubling as often as needed).
  /// Returns false when the size is locked or the new bucket array cannot be allocated.
  bool resize();

  /// Records the table's memory use (fields and bucket array; derived tables add entries).
  void footprint(Footprint& fp) const;

 protected:
  /// Stores `hash` in `entry`, puts it at the front of its chain and grows the table when the
  /// count passes 3/8 of the bucket count (and the maximum allows).
  void insertWithHash(ThashTableEntry* entry, unsigned hash) {
    ensureBuckets();
    entry->fHash = hash;
    ThashTableEntry*& head = fBuckets[tableIndex(fTableSize, hash)];
    entry->fNext = head;
    head = entry;
    if (++fEntryCount > fGrowThreshold && 2ull * fTableSize <= fMaxSize)
      (void)setTableSize(fTableSize * 2);
  }
  /// The first entry of the chain that holds `hash`.
  [[nodiscard]] ThashTableEntry* chain(unsigned hash) const {
    return fBuckets[tableIndex(fTableSize, hash)];
  }
  /// Unlinks `entry` (found in the chain of `hash` after `previous`, null when first) and
  /// shrinks the table when the policy says so. The caller destroys the entry.
  void unlinkEntry(ThashTableEntry* previous, ThashTableEntry* entry) {
    if (previous == nullptr)
      fBuckets[tableIndex(fTableSize, entry->fHash)] = entry->fNext;
    else
      previous->fNext = entry->fNext;
    --fEntryCount;
    shrinkTable();
  }
  /// Moves every entry into `n` buckets (a power of two). Returns false, keeping the old
  /// table, when the new bucket array cannot be allocated.
  bool setTableSize(unsigned n);
  /// Halves the table when fewer than 1/8 of the buckets are used and the minimum allows.
  void shrinkTable() {
    if (fEntryCount < fShrinkThreshold && fTableSize / 2 >= fMinSize)
      (void)setTableSize(fTableSize / 2);
  }
  /// Empties the bucket array and returns to the minimum size; the entries must already be
  /// destroyed by the caller.
  void reinitializeTable();
  /// Gives a table emptied by a move its bucket array back (throws TmemoryException when it
  /// cannot be allocated); does nothing otherwise.
  void ensureBuckets() {
    if (fBuckets == sNoBuckets) reinitializeTable();
  }
  /// Calls `visit(entry)` for every entry; `visit` may destroy the entry it is given.
  template <class F>
  void forEachEntry(F&& visit) const {
    for (unsigned b = 0; b < fTableSize; ++b)
      for (ThashTableEntry *e = fBuckets[b], *next; e != nullptr; e = next) {
        next = e->fNext;
        visit(e);
      }
  }
  /// Clears every bucket and the entry count, keeping the size (entries already destroyed).
  void forgetEntries();
  /// Whether this table owns its buckets and entries (false in a shallow copy).
  [[nodiscard]] bool ownsTable() const { return fOwnsTable; }
  /// Turns a shallow copy into an empty table of its own, leaving the viewed table alone.
  void detachView();
  /// Whether both tables are views of one bucket array (a table and its copies).
  [[nodiscard]] bool sharesTableWith(const ThashTable& other) const {
    return fBuckets == other.fBuckets;
  }

 private:
  struct TsizeLock {
    unsigned count;
    unsigned savedMinSize;
    unsigned savedMaxSize;
  };

  void setThresholds() {
    fShrinkThreshold = fTableSize / 8;
    fGrowThreshold = static_cast<unsigned>(fTableSize / 8ull * 3);
  }
  /// Frees the buckets and lock record and deletes the remaining entries, when owned.
  void releaseTable() noexcept;
  void takeOver(ThashTable& other) noexcept;
  /// The state a move leaves behind: no entries, and the shared empty bucket below.
  void becomeUnallocated() noexcept;
  /// The bucket array unless it is the shared empty one (null then): what may be freed.
  [[nodiscard]] ThashTableEntry** ownedBuckets() const {
    return fBuckets == sNoBuckets ? nullptr : fBuckets;
  }

  /// The one-bucket array of every table emptied by a move: lookups read its empty chain
  /// without a test, nothing ever writes it, and the next insertion replaces it.
  static ThashTableEntry* sNoBuckets[1];
  /// Copies every field of `other`; `owns` says whether this table then owns what it points to.
  void copyFields(const ThashTable& other, bool owns);

  unsigned fShrinkThreshold = 0;
  unsigned fGrowThreshold = 0;
  unsigned fMinSize = 8;
  unsigned fMaxSize = 8;
  unsigned fEntryCount = 0;
  unsigned fTableSize = 0;
  TsizeLock* fSizeLock = nullptr;
  ThashTableEntry** fBuckets = nullptr;
  bool fOwnsTable = true;
};
