// TdataLetterCopyManager: keeps letters whose last envelope went away, for reuse.
//
// A producer that makes a new letter of the same kind again and again (an evaluation that
// fills a fresh array on every pass) spends its time allocating and freeing the letter and its
// buffers. Attach a manager to the letters it makes; when the last envelope drops such a letter,
// the letter is parked here instead of being freed, and the next `take()` hands it back with its
// buffers still allocated:
//
//   static TdataLetterCopyManager gRecycler(4);
//   Tdata out = gRecycler.take();                  // a parked letter, or NULL
//   if (out.isNULL()) {
//     auto* fresh = new TdataDoubleArray;
//     fresh->setCopyManager(&gRecycler);
//     out = fresh;
//   }
//   out.makeWritable();
//   fillArray(out);                                // the producer's own work
//
// Policy: at most `capacity` letters are parked (last in, first out: the most recently used
// buffers are the warmest); a letter offered when the manager is full, a letter that is not on
// the heap and one marked not reusable (`makeNotReusable`) are not kept and are freed as usual.
// Parked letters keep their contents: the taker overwrites them. Thread-safe (a spin lock).
//
// Hazards: the manager must outlive every letter that names it (a static or long-lived object);
// its destructor frees the parked letters and detaches them.
#pragma once

#include <velacore/base/TmtSpinCriticalSection.h>
#include <velacore/base/TvelacoreApi.h>

#include <vector>

class Tdata;
class TdataLetter;

class VELACORE_API TdataLetterCopyManager {
 public:
  /// A manager that parks at most `capacity` letters.
  explicit TdataLetterCopyManager(unsigned capacity = 4);
  TdataLetterCopyManager(const TdataLetterCopyManager&) = delete;
  TdataLetterCopyManager& operator=(const TdataLetterCopyManager&) = delete;
  ~TdataLetterCopyManager();

  /// Parks `letter` (called by TdataLetter::unreference when its last reference is about to
  /// go); answers whether it was kept. A kept letter gains one holder reference owned here.
  bool add(TdataLetter* letter);
  /// An envelope holding a parked letter (as holder), or a NULL envelope when none is parked.
  [[nodiscard]] Tdata take();
  /// Stops recycling `letter`: marks it not reusable and unparks it if it is parked.
  void stopRecycling(TdataLetter* letter);
  /// Frees every parked letter.
  void purge();

  [[nodiscard]] unsigned parkedCount() const;
  [[nodiscard]] unsigned capacity() const { return fCapacity; }

 private:
  mutable TmtSpinCriticalSection fLock;
  std::vector<TdataLetter*> fParked;
  unsigned fCapacity;
};
