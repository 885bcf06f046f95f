// TsharedReference: the part of a letter that shares one heap object with other letters.
//
// Array letters copy in O(1): the copy points at the same array through a small counted
// sharing record, and the array itself is copied only when one of the sharers asks to change it
// (`makePrivate`). The record also says whether the array is deleted with its last sharer
// (`deleteWhenDestroy`): a letter may wrap an array that someone else owns.
//
// Hazards: the record's count is atomic, the shared object is not; a sharer that changes the
// object must make it private first.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <atomic>
#include <cstdint>

class VELACORE_API TsharedReference {
 public:
  /// The counted record: the shared object, how to delete it, and whether to.
  struct Trecord {
    void* object;
    void (*destroy)(void*);
    std::atomic<std::uint32_t> sharers{1};
    bool deleteWhenDestroyed;
  };

  /// Whether the shared object is deleted with its last sharer.
  void deleteWhenDestroy(bool on) {
    if (fRecord != nullptr) fRecord->deleteWhenDestroyed = on;
  }
  [[nodiscard]] bool deletesWhenDestroyed() const {
    return fRecord != nullptr && fRecord->deleteWhenDestroyed;
  }
  /// The number of letters sharing the object (0 without one).
  [[nodiscard]] std::uint32_t sharerCount() const {
    return fRecord != nullptr ? fRecord->sharers.load(std::memory_order_acquire) : 0;
  }

 protected:
  TsharedReference() = default;
  /// Shares `other`'s object.
  TsharedReference(const TsharedReference& other) : fRecord(other.fRecord) {
    if (fRecord != nullptr) fRecord->sharers.fetch_add(1, std::memory_order_relaxed);
  }
  TsharedReference& operator=(const TsharedReference&) = delete;
  ~TsharedReference() { release(); }

  /// Starts sharing `object` alone (the previous one is released).
  void adopt(void* object, void (*destroy)(void*), bool deleteWhenDestroyed);
  /// Stops sharing; the last sharer deletes the object when the record says so.
  void release();
  [[nodiscard]] void* sharedObject() const { return fRecord != nullptr ? fRecord->object : nullptr; }
  [[nodiscard]] bool isShared() const { return sharerCount() > 1; }

 private:
  Trecord* fRecord = nullptr;
};
