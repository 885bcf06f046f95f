// TpoolManager and TpoolData: a fixed set of equal byte buffers, lent out whole.
//
// For producers that need a few large scratch buffers over and over (a frame of pixels, a batch
// of vertices): create the buffers once, then borrow one with getPool() and give it back with
// releasePool(). Buffers are lent in the order they were returned, so the one unused longest goes
// out first. Thread-safe: every operation holds the manager's recursive lock.
//
//   TpoolManager frames;
//   frames.create(3, 1920 * 1080, 4);
//   int bytes = 0;
//   void* frame = frames.getPool(bytes);   // null when all three are lent out
//   ...
//   frames.releasePool(frame);
//
// Hazards: a buffer's address is valid until it is released or the manager is resized or
// destroyed; changeSize() refuses while any buffer is lent out.
#pragma once

#include <velacore/base/TmtRecursiveMutex.h>
#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TvalueArray.h>

#include <cstddef>
#include <deque>

/// One buffer of a TpoolManager: its bytes and whether it is lent out.
class VELACORE_API TpoolData {
 public:
  /// A buffer of `bytes` bytes (zero-filled; at most 4 GiB - 1).
  explicit TpoolData(std::size_t bytes);
  virtual ~TpoolData();
  TpoolData(const TpoolData&) = delete;
  TpoolData& operator=(const TpoolData&) = delete;

  [[nodiscard]] void* data() { return fBytes.data(); }
  [[nodiscard]] std::size_t size() const { return fBytes.size(); }
  [[nodiscard]] bool inUse() const { return fInUse; }
  void setInUse(bool inUse) { fInUse = inUse; }
  /// Gives the buffer a new size, zero-filled; the contents are not kept.
  void resize(std::size_t bytes);

 private:
  TcharArray fBytes;
  bool fInUse = false;
};

class VELACORE_API TpoolManager {
 public:
  TpoolManager();
  virtual ~TpoolManager();
  TpoolManager(const TpoolManager&) = delete;
  TpoolManager& operator=(const TpoolManager&) = delete;

  /// Adds `count` buffers of `elementCount` x `elementSize` bytes; false (nothing added) when
  /// count is not positive or the size is negative or 4 GiB or more.
  bool create(int count, int elementCount, int elementSize);
  /// Frees every buffer, lent out or not.
  void destroy();
  /// Resizes every buffer; false (nothing changed) while any buffer is lent out.
  bool changeSize(int elementCount, int elementSize);

  /// Lends the buffer returned longest ago and sets `sizeOut` to its size; null when none is free.
  [[nodiscard]] void* getPool(int& sizeOut);
  /// Takes a lent buffer back; false when `p` is not a lent buffer of this manager.
  bool releasePool(void* p);
  /// The buffer lent out longest ago / most recently, null when none is lent.
  [[nodiscard]] TpoolData* getOldestInUsePool();
  /// `markInUse` is accepted for compatibility; the buffer is lent already.
  [[nodiscard]] TpoolData* getNewestInUsePool(bool markInUse = true);

  /// Buffer size in bytes.
  [[nodiscard]] std::size_t size() const;
  /// Buffers in total, free, and lent out.
  [[nodiscard]] int count() const;
  [[nodiscard]] int availableCount() const;
  [[nodiscard]] int inUseCount() const;

 private:
  int fCount = 0;
  std::size_t fSize = 0;
  std::deque<TpoolData*> fAvailable;
  std::deque<TpoolData*> fInUse;
  mutable TmtRecursiveMutex fMutex;
};
