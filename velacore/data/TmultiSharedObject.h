// TmultiSharedObject: an object shared by several owners of different kinds.
//
// A typed value's letter (TdataLetter) is shared between envelopes; each envelope is either a
// holder (reads) or the writer (may change the letter). This base keeps one reference count per
// kind and answers the total as their sum. Both counts live in one 64-bit atomic word (holders in
// the low half, writers in the high half), so every reference change is a single atomic
// operation, and a holder turning into the writer is one atomic step too: no window in which the
// object has neither reference.
//
//   TdataLetter* l = new TdataDoubleArray;   // counts 0, on the heap
//   l->reference(kDataHolder);               // total 1
//   l->unreference(kDataHolder);             // total 0: deleted
//
// Hazards:
// - Objects that are not created with `new` (static, automatic or member objects) are never
//   deleted when their count drops to zero; `isOnHeap()` tells which is which. Heap objects are
//   recognised by the class's own allocation operator, so a derived class must not replace it.
// - The object itself is not locked: counts are atomic, the contents are not.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

/// The kinds of reference an envelope holds on its letter.
enum TdataRefType : int { kDataHolder = 0, kDataWriter = 1 };

class VELACORE_API TmultiSharedObject {
 public:
  /// Allocation through these operators marks the object as a heap object, which is deleted
  /// when its last reference goes.
  static void* operator new(std::size_t bytes);
  static void operator delete(void* block) noexcept;
  static void* operator new(std::size_t, void* where) noexcept { return where; }
  static void operator delete(void*, void*) noexcept {}

  TmultiSharedObject();
  /// A copy starts with no references (counts are not copied).
  TmultiSharedObject(const TmultiSharedObject&);
  TmultiSharedObject& operator=(const TmultiSharedObject&) { return *this; }
  virtual ~TmultiSharedObject();

  /// @name Counts
  /// @{
  [[nodiscard]] std::uint32_t referenceCount() const {
    const std::uint64_t w = fCounts.load(std::memory_order_acquire);
    return std::uint32_t(w) + std::uint32_t(w >> 32);
  }
  [[nodiscard]] std::uint32_t holderCount() const {
    return std::uint32_t(fCounts.load(std::memory_order_acquire));
  }
  [[nodiscard]] std::uint32_t writerCount() const {
    return std::uint32_t(fCounts.load(std::memory_order_acquire) >> 32);
  }
  /// Whether the object was made with `new` (and is deleted with its last reference).
  [[nodiscard]] bool isOnHeap() const { return fOnHeap; }
  /// @}

 protected:
  static constexpr std::uint64_t kOneWriter = std::uint64_t(1) << 32;

  /// Adds one reference of `kind`; returns the count word as it was before.
  std::uint64_t addCount(TdataRefType kind) {
    return fCounts.fetch_add(kind == kDataWriter ? kOneWriter : 1, std::memory_order_relaxed);
  }
  /// Removes one reference of `kind`; returns the count word as it was before.
  std::uint64_t removeCount(TdataRefType kind) {
    return fCounts.fetch_sub(kind == kDataWriter ? kOneWriter : 1, std::memory_order_acq_rel);
  }
  /// Turns one holder reference into a writer reference in one step; returns the word before.
  std::uint64_t holderToWriter() {
    return fCounts.fetch_add(kOneWriter - 1, std::memory_order_acq_rel);
  }
  /// Turns one writer reference into a holder reference in one step; returns the word before.
  std::uint64_t writerToHolder() {
    return fCounts.fetch_sub(kOneWriter - 1, std::memory_order_acq_rel);
  }
  static std::uint32_t sTotal(std::uint64_t word) {
    return std::uint32_t(word) + std::uint32_t(word >> 32);
  }
  static std::uint32_t sWriters(std::uint64_t word) { return std::uint32_t(word >> 32); }

 private:
  std::atomic<std::uint64_t> fCounts{0};
  bool fOnHeap;
};
