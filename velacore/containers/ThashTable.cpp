#include <velacore/containers/ThashTable.h>

#include <velacore/base/Texception.h>
#include <velacore/platform/TplatformLargePages.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

/// The smallest power of two not below `n`, doubling from 1 and stopping at 2^31.
unsigned powerOfTwoAtLeast(unsigned n) {
  unsigned p = 1;
  while (p < n && p < 0x80000000u) p *= 2;
  return p;
}

/// Whether a bucket array of `n` buckets lives in large pages. Big arrays are read at random,
/// one line per lookup: with small pages nearly every read would also miss the translation
/// cache. The choice depends on the size alone, so freeing needs no record of it.
bool bucketsInLargePages(unsigned n) {
  return std::size_t{n} * sizeof(ThashTableEntry*) >= vela::platform::largePageSize();
}

/// A cleared array of `n` buckets, or null.
ThashTableEntry** allocateBuckets(unsigned n) {
  if (bucketsInLargePages(n))
    return static_cast<ThashTableEntry**>(
        vela::platform::mapLargePages(std::size_t{n} * sizeof(ThashTableEntry*)));
  return static_cast<ThashTableEntry**>(std::calloc(n, sizeof(ThashTableEntry*)));
}

void freeBuckets(ThashTableEntry** buckets, unsigned n) {
  if (buckets == nullptr) return;
  if (bucketsInLargePages(n))
    vela::platform::unmapLargePages(buckets, std::size_t{n} * sizeof(ThashTableEntry*));
  else
    std::free(buckets);
}

}  // namespace

ThashTableEntry* ThashTable::sNoBuckets[1] = {nullptr};

ThashTable::ThashTable(unsigned minSize, unsigned maxSize) {
  fMinSize = powerOfTwoAtLeast(minSize);
  if (fMinSize < 8) fMinSize = 8;
  fMaxSize = powerOfTwoAtLeast(maxSize);
  if (fMaxSize < fMinSize) fMaxSize = fMinSize;
  reinitializeTable();
}

ThashTable::ThashTable(const ThashTable& other) { copyFields(other, false); }

ThashTable::ThashTable(ThashTable&& other) noexcept { takeOver(other); }

ThashTable& ThashTable::operator=(const ThashTable& other) {
  // Assigning a copy to its original (or the reverse) would free what both then view.
  if (this == &other || sharesTableWith(other)) return *this;
  releaseTable();
  copyFields(other, false);
  return *this;
}

ThashTable& ThashTable::operator=(ThashTable&& other) noexcept {
  if (this == &other) return *this;
  releaseTable();
  takeOver(other);
  return *this;
}

ThashTable::~ThashTable() { releaseTable(); }

void ThashTable::copyFields(const ThashTable& other, bool owns) {
  fShrinkThreshold = other.fShrinkThreshold;
  fGrowThreshold = other.fGrowThreshold;
  fMinSize = other.fMinSize;
  fMaxSize = other.fMaxSize;
  fEntryCount = other.fEntryCount;
  fTableSize = other.fTableSize;
  fSizeLock = other.fSizeLock;
  fBuckets = other.fBuckets;
  fOwnsTable = owns;
}

void ThashTable::takeOver(ThashTable& other) noexcept {
  copyFields(other, other.fOwnsTable);
  // The source starts over, empty, with its configured limits and without allocating: a move
  // that could throw would make std::vector copy tables instead, and copies are only views.
  if (other.fSizeLock != nullptr) {
    other.fMinSize = other.fSizeLock->savedMinSize;
    other.fMaxSize = other.fSizeLock->savedMaxSize;
  }
  other.fSizeLock = nullptr;
  other.becomeUnallocated();
}

void ThashTable::becomeUnallocated() noexcept {
  fBuckets = sNoBuckets;
  fTableSize = 1;  // one (empty) chain: lookups need no test for the missing array
  fEntryCount = 0;
  fOwnsTable = true;
  setThresholds();
}

void ThashTable::releaseTable() noexcept {
  if (fOwnsTable) {
    forEachEntry([](ThashTableEntry* e) { delete e; });
    freeBuckets(ownedBuckets(), fTableSize);
    delete fSizeLock;
  }
  fBuckets = nullptr;
  fSizeLock = nullptr;
  fEntryCount = 0;
  fTableSize = 0;
}

void ThashTable::reinitializeTable() {
  fEntryCount = 0;
  if (fBuckets == nullptr || fTableSize != fMinSize) {
    ThashTableEntry** buckets = allocateBuckets(fMinSize);
    if (buckets != nullptr) {
      if (fOwnsTable) freeBuckets(ownedBuckets(), fTableSize);
      fBuckets = buckets;
      fTableSize = fMinSize;
      fOwnsTable = true;
    } else if (fBuckets == nullptr) {
      throw TmemoryException();
    }
  }
  std::memset(fBuckets, 0, std::size_t{fTableSize} * sizeof(ThashTableEntry*));
  setThresholds();
}

void ThashTable::detachView() {
  if (fOwnsTable) return;
  fBuckets = nullptr;
  fSizeLock = nullptr;
  fOwnsTable = true;
  reinitializeTable();
}

void ThashTable::forgetEntries() {
  if (fBuckets == sNoBuckets) return;  // shared by every emptied table: never written
  std::memset(fBuckets, 0, std::size_t{fTableSize} * sizeof(ThashTableEntry*));
  fEntryCount = 0;
}

bool ThashTable::setTableSize(unsigned n) {
  if (n == fTableSize) return true;
  ThashTableEntry** buckets = allocateBuckets(n);
  if (buckets == nullptr) return false;
  const unsigned mask = n - 1;
  if (n == 2 * fTableSize) {
    // Doubling splits each chain in two, in order: entry order within a chain is what makes
    // the newest of several equal keys the one found first.
    for (unsigned b = 0; b < fTableSize; ++b) {
      // Chains of a big table are scattered: fetch a later chain's head while this one moves.
      if (b + 8 < fTableSize) __builtin_prefetch(fBuckets[b + 8]);
      ThashTableEntry** low = &buckets[b];
      ThashTableEntry** high = &buckets[b + fTableSize];
      for (ThashTableEntry* e = fBuckets[b]; e != nullptr; e = e->fNext) {
        ThashTableEntry**& tail = (e->fHash & fTableSize) ? high : low;
        *tail = e;
        tail = &e->fNext;
      }
      *low = nullptr;
      *high = nullptr;
    }
  } else {
    // Any other size: reverse each chain, then push its entries to the front of their new
    // chains; entries of one key come from one old chain, so their order survives.
    for (unsigned b = 0; b < fTableSize; ++b) {
      ThashTableEntry* reversed = nullptr;
      for (ThashTableEntry *e = fBuckets[b], *next; e != nullptr; e = next) {
        next = e->fNext;
        e->fNext = reversed;
        reversed = e;
      }
      for (ThashTableEntry *e = reversed, *next; e != nullptr; e = next) {
        next = e->fNext;
        ThashTableEntry*& head = buckets[e->fHash & mask];
        e->fNext = head;
        head = e;
      }
    }
  }
  freeBuckets(ownedBuckets(), fTableSize);
  fBuckets = buckets;
  fTableSize = n;
  setThresholds();
  return true;
}

bool ThashTable::resize() {
  if (fSizeLock != nullptr) return false;
  unsigned long long s = fTableSize;
  if (fEntryCount < fShrinkThreshold && fTableSize / 2 >= fMinSize) {
    while (fEntryCount < s / 16 && s / 4 >= fMinSize) s /= 2;
    return setTableSize(static_cast<unsigned>(s / 2));
  }
  if (fEntryCount > fGrowThreshold && 2ull * fTableSize <= fMaxSize) {
    while (fEntryCount > s * 3 / 8 && 2 * s <= fMaxSize) s *= 2;
    return setTableSize(static_cast<unsigned>(s));
  }
  return true;
}

bool ThashTable::lockSize() {
  if (fSizeLock != nullptr) {
    ++fSizeLock->count;
    return true;
  }
  if (fBuckets == sNoBuckets) {  // lock the layout a new table would have
    try {
      reinitializeTable();
    } catch (const TmemoryException&) {
      return false;
    }
  }
  fSizeLock = new (std::nothrow) TsizeLock{1, fMinSize, fMaxSize};
  if (fSizeLock == nullptr) return false;
  fMinSize = fMaxSize = fTableSize;
  return true;
}

bool ThashTable::unlockSize() {
  if (fSizeLock == nullptr) return false;
  if (--fSizeLock->count == 0) {
    fMinSize = fSizeLock->savedMinSize;
    fMaxSize = fSizeLock->savedMaxSize;
    delete fSizeLock;
    fSizeLock = nullptr;
    (void)resize();
  }
  return true;
}

void ThashTable::footprint(Footprint& fp) const {
  fp.addField("thresholds", sizeof(fShrinkThreshold) + sizeof(fGrowThreshold));
  fp.addField("limits", sizeof(fMinSize) + sizeof(fMaxSize));
  fp.addField("counts", sizeof(fEntryCount) + sizeof(fTableSize));
  fp.addField("sizeLock", sizeof(fSizeLock));
  fp.addField("buckets", sizeof(fBuckets));
  if (fOwnsTable && fBuckets != nullptr)
    fp.addReferenced(std::size_t{fTableSize} * sizeof(ThashTableEntry*));
}
