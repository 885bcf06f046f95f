// TsortedArray: the untyped base of the sorted object arrays.
//
// A TobjArray whose elements stay in ascending order, found by binary search. The ordering
// lives in the typed template TtypedSortedArray<T, Less> (TtypedSortedArray.h), which is what
// code uses:
//
//   TuInt32SortedArray ids;          // duplicates not allowed, increment 8
//   ids.insert(7);                   // 0
//   ids.insert(7);                   // -1: already there
//   uint32_t at;
//   if (ids.find(7, at) == 0) ids.removeAt(at);
//
// Searches return 0 when found and -1 when not (with the insertion position in `index`).
//
// Hazards: the order is only kept by the sorted operations; anything that writes elements in
// place (addLastUnsorted, setArray) must be followed by sort(). Changing the duplicates flag to
// false does not remove existing duplicates.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TobjArray.h>

#include <cstdint>

class VELACORE_API TsortedArray : public TobjArray {
 public:
  /// An empty sorted array of `objectSize`-byte elements.
  TsortedArray(std::uint32_t objectSize, std::uint32_t increment, bool allowDuplicates);
  ~TsortedArray() override;

  /// Lets equal elements be inserted (or, with false, refuses them from now on).
  void allowDuplicates(bool allow = true) { fAllowDuplicates = allow; }
  /// Whether equal elements may be inserted.
  [[nodiscard]] bool duplicatesAllowed() const { return fAllowDuplicates; }

 protected:
  void swapFlags(TsortedArray& other) noexcept;

  bool fAllowDuplicates;
};
