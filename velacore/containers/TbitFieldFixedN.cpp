#include <velacore/containers/TbitFieldFixedN.h>

#include <velacore/base/Texception.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr unsigned kAllOnes = 0xFFFFFFFFu;

unsigned wordsFor(unsigned count) { return (count + 32) / 32; }

/// Mask of the low `bits` bits of a word (bits < 32).
unsigned lowMask(unsigned bits) { return (1u << bits) - 1u; }

// Whole-word scans in blocks that the compiler can vectorize; the early exit is per block.
constexpr unsigned kBlock = 16;

bool anyWordSet(const unsigned* words, unsigned n) {
  unsigned w = 0;
  for (; w + kBlock <= n; w += kBlock) {
    unsigned acc = 0;
    for (unsigned k = 0; k < kBlock; ++k) acc |= words[w + k];
    if (acc != 0) return true;
  }
  for (; w < n; ++w)
    if (words[w] != 0) return true;
  return false;
}

bool anyWordClear(const unsigned* words, unsigned n) {
  unsigned w = 0;
  for (; w + kBlock <= n; w += kBlock) {
    unsigned acc = kAllOnes;
    for (unsigned k = 0; k < kBlock; ++k) acc &= words[w + k];
    if (acc != kAllOnes) return true;
  }
  for (; w < n; ++w)
    if (words[w] != kAllOnes) return true;
  return false;
}

bool anyWordSetInBoth(const unsigned* a, const unsigned* b, unsigned n) {
  unsigned w = 0;
  for (; w + kBlock <= n; w += kBlock) {
    unsigned acc = 0;
    for (unsigned k = 0; k < kBlock; ++k) acc |= a[w + k] & b[w + k];
    if (acc != 0) return true;
  }
  for (; w < n; ++w)
    if ((a[w] & b[w]) != 0) return true;
  return false;
}

unsigned* allocateWords(unsigned count) {
  auto* words = new (std::nothrow) unsigned[wordsFor(count)]();
  if (words == nullptr) throw TmemoryException();
  return words;
}

}  // namespace

TbitFieldFixedN::TbitFieldFixedN(unsigned count, unsigned* words) : fCount(count) {
  if (count == 0) return;
  if (words == nullptr) {
    fBits = allocateWords(count);
    setBitsOwnership(true);
  } else {
    fBits = words;
    std::memset(fBits, 0, elementCount() * sizeof(unsigned));
  }
}

TbitFieldFixedN::TbitFieldFixedN(const TbitFieldFixedN& other) { *this = other; }

TbitFieldFixedN::~TbitFieldFixedN() { releaseBits(); }

TbitFieldFixedN& TbitFieldFixedN::operator=(const TbitFieldFixedN& other) {
  if (this == &other) return *this;
  if (other.fBits == nullptr || other.fCount == 0) {
    releaseBits();
    return *this;
  }
  if (!other.ownBits()) {
    // Borrowed words stay with their supplier: both sets now view them.
    releaseBits();
    fCount = other.fCount;
    fBits = other.fBits;
    return *this;
  }
  const unsigned words = wordsFor(other.fCount);
  bool owned = true;
  if (fBits == nullptr || elementCount() != words) {
    releaseBits();
    fBits = allocateWords(other.fCount);
  } else {
    owned = ownBits();
  }
  fCount = other.fCount;
  std::memcpy(fBits, other.fBits, words * sizeof(unsigned));
  setBitsOwnership(owned);
  return *this;
}

void TbitFieldFixedN::setBitsOwnership(bool owned) {
  if (fBits == nullptr) return;
  const unsigned mask = 1u << (fCount & 31);
  if (owned)
    fBits[fCount >> 5] |= mask;
  else
    fBits[fCount >> 5] &= ~mask;
}

void TbitFieldFixedN::releaseBits() {
  if (ownBits()) delete[] fBits;
  fBits = nullptr;
  fCount = 0;
}

void TbitFieldFixedN::setBitRange(unsigned first, unsigned count, bool value) {
  if (count == 0) return;
  assert(first + count <= fCount && "TbitFieldFixedN::setBitRange: range out of bounds");
  // A range ending near the top may reach the ownership bit under these masks; keep it.
  const bool owned = ownBits();
  const unsigned end = first + count;
  const unsigned a = first >> 5;
  const unsigned b = end >> 5;
  const unsigned head = kAllOnes >> (first & 31);
  const unsigned tail = kAllOnes << (31 - (end & 31));
  auto apply = [&](unsigned w, unsigned mask) {
    if (value)
      fBits[w] |= mask;
    else
      fBits[w] &= ~mask;
  };
  if (a == b) {
    apply(a, head & tail);
  } else {
    apply(a, head);
    for (unsigned w = a + 1; w < b; ++w) fBits[w] = value ? kAllOnes : 0u;
    apply(b, tail);
  }
  setBitsOwnership(owned);
}

bool TbitFieldFixedN::insertBit(unsigned i, bool value) {
  assert(i < fCount && "TbitFieldFixedN::insertBit: index out of range");
  const bool owned = ownBits();
  const bool previous = testBit(i);
  const unsigned first = i >> 5;
  const unsigned bit = i & 31;
  // Each word takes the top bit of the word below it, from the last word down.
  for (unsigned w = elementCount() - 1; w > first; --w)
    fBits[w] = (fBits[w] << 1) | (fBits[w - 1] >> 31);
  const unsigned keep = lowMask(bit);
  const unsigned word = fBits[first];
  fBits[first] = (word & keep) | ((word & ~keep) << 1) | (static_cast<unsigned>(value) << bit);
  setBitsOwnership(owned);
  return previous;
}

bool TbitFieldFixedN::removeBit(unsigned i) {
  assert(i < fCount && "TbitFieldFixedN::removeBit: index out of range");
  const bool owned = ownBits();
  const bool previous = testBit(i);
  const unsigned first = i >> 5;
  const unsigned bit = i & 31;
  const unsigned last = elementCount() - 1;
  const unsigned keep = lowMask(bit);
  const unsigned word = fBits[first];
  fBits[first] = (word & keep) | ((word >> 1) & ~keep);
  // Each word passes its bottom bit to the top of the word below it.
  for (unsigned w = first + 1; w <= last; ++w) {
    fBits[w - 1] |= fBits[w] << 31;
    fBits[w] >>= 1;
  }
  setBitsOwnership(owned);
  setBit(fCount - 1, false);
  return previous;
}

void TbitFieldFixedN::setAll() {
  if (fBits == nullptr) return;
  const bool owned = ownBits();
  std::memset(fBits, 0xFF, elementCount() * sizeof(unsigned));
  setBitsOwnership(owned);
}

void TbitFieldFixedN::resetAll() {
  if (fBits == nullptr) return;
  const bool owned = ownBits();
  std::memset(fBits, 0, elementCount() * sizeof(unsigned));
  setBitsOwnership(owned);
}

void TbitFieldFixedN::invertAll() {
  if (fBits == nullptr) return;
  const bool owned = ownBits();
  for (unsigned w = 0, n = elementCount(); w < n; ++w) fBits[w] = ~fBits[w];
  setBitsOwnership(owned);
}

template <class Op>
void TbitFieldFixedN::combine(const TbitFieldFixedN& other, Op op) {
  const unsigned count = std::min(fCount, other.fCount);
  if (count == 0) return;
  const unsigned full = count >> 5;
  unsigned* __restrict dst = fBits;
  const unsigned* __restrict src = other.fBits;
  if (dst == src) {
    // A set combined with itself, or two sets viewing one borrowed array.
    for (unsigned w = 0; w < full; ++w) fBits[w] = op(fBits[w], fBits[w]);
  } else {
    for (unsigned w = 0; w < full; ++w) dst[w] = op(dst[w], src[w]);
  }
  if (const unsigned rest = count & 31) {
    const unsigned mask = lowMask(rest);
    const unsigned combined = op(fBits[full], other.fBits[full]);
    fBits[full] = (fBits[full] & ~mask) | (combined & mask);
  }
}

TbitFieldFixedN& TbitFieldFixedN::AND(const TbitFieldFixedN& other) {
  combine(other, [](unsigned a, unsigned b) { return a & b; });
  return *this;
}

TbitFieldFixedN& TbitFieldFixedN::OR(const TbitFieldFixedN& other) {
  combine(other, [](unsigned a, unsigned b) { return a | b; });
  return *this;
}

TbitFieldFixedN& TbitFieldFixedN::XOR(const TbitFieldFixedN& other) {
  combine(other, [](unsigned a, unsigned b) { return a ^ b; });
  return *this;
}

bool TbitFieldFixedN::anySet() const {
  if (fCount == 0) return false;
  const unsigned full = fCount >> 5;
  return anyWordSet(fBits, full) || (fBits[full] & lowMask(fCount & 31)) != 0;
}

bool TbitFieldFixedN::anySet(const TbitFieldFixedN& mask) const {
  const unsigned count = std::min(fCount, mask.fCount);
  if (count == 0) return false;
  const unsigned full = count >> 5;
  return anyWordSetInBoth(fBits, mask.fBits, full) ||
         (fBits[full] & mask.fBits[full] & lowMask(count & 31)) != 0;
}

bool TbitFieldFixedN::anyClear() const {
  if (fCount == 0) return false;
  const unsigned full = fCount >> 5;
  const unsigned mask = lowMask(fCount & 31);
  return anyWordClear(fBits, full) || (fBits[full] & mask) != mask;
}

unsigned TbitFieldFixedN::bitsSet() const {
  if (fCount == 0) return 0;
  const unsigned full = fCount >> 5;
  unsigned n = 0;
  for (unsigned w = 0; w < full; ++w) n += static_cast<unsigned>(__builtin_popcount(fBits[w]));
  return n + static_cast<unsigned>(__builtin_popcount(fBits[full] & lowMask(fCount & 31)));
}

bool TbitFieldFixedN::operator==(const TbitFieldFixedN& other) const {
  if (fCount != other.fCount) return false;
  if (fCount == 0 || fBits == other.fBits) return true;
  const unsigned full = fCount >> 5;
  if (std::memcmp(fBits, other.fBits, full * sizeof(unsigned)) != 0) return false;
  const unsigned mask = lowMask(fCount & 31);
  return (fBits[full] & mask) == (other.fBits[full] & mask);
}

void TbitFieldFixedN::resizeArray(unsigned count, unsigned* words, bool clear) {
  // Handing back the current words must not free them under the caller.
  if (words != fBits) releaseBits();
  fCount = count;
  fBits = nullptr;
  if (count == 0) return;
  const bool allocate = words == nullptr;
  fBits = allocate ? allocateWords(count) : words;
  if (clear && !allocate) std::memset(fBits, 0, elementCount() * sizeof(unsigned));
  setBitsOwnership(allocate);
}

void TbitFieldFixedN::resizeArrayWithCopy(unsigned count, unsigned* words) {
  if (words != nullptr && words == fBits) {
    setBitsOwnership(false);
    return;
  }
  const unsigned oldCount = fCount;
  unsigned* const oldBits = fBits;
  const bool oldOwned = ownBits();
  fCount = count;
  fBits = nullptr;
  if (count != 0) {
    const bool allocate = words == nullptr;
    fBits = allocate ? allocateWords(count) : words;
    const unsigned n = elementCount();
    const unsigned kept = std::min(oldCount, count);
    const unsigned copied = oldBits != nullptr ? std::min(wordsFor(oldCount), n) : 0;
    if (copied != 0) std::memmove(fBits, oldBits, copied * sizeof(unsigned));
    std::memset(fBits + copied, 0, (n - copied) * sizeof(unsigned));
    // The copied last word may carry the old ownership flag and stale bits above the old
    // count: they are not part of the value, so they must not become bits of the new one.
    if (copied != 0 && kept < count) fBits[kept >> 5] &= lowMask(kept & 31);
    setBitsOwnership(allocate);
  }
  if (oldOwned) delete[] oldBits;
}

void TbitFieldFixedN::clone(const TbitFieldFixedN& other) {
  if (fBits == nullptr || this == &other) return;
  const bool owned = ownBits();
  const unsigned n = elementCount();
  if (other.fBits == nullptr) {
    std::memset(fBits, 0, n * sizeof(unsigned));
  } else if (other.fBits != fBits) {
    const unsigned copied = std::min(other.elementCount(), n);
    std::memmove(fBits, other.fBits, copied * sizeof(unsigned));
    std::memset(fBits + copied, 0, (n - copied) * sizeof(unsigned));
    // Only `other`'s own bits are copied, not its ownership flag or the bits above its count.
    if (other.fCount < fCount) fBits[other.fCount >> 5] &= lowMask(other.fCount & 31);
  }
  setBitsOwnership(owned);
}

void TbitFieldFixedN::footprint(Footprint& fp) const {
  fp.addField("count", sizeof(fCount));
  fp.addField("bits", sizeof(fBits));
  if (ownBits()) fp.addReferenced(bytesNeeded(fCount));
}
