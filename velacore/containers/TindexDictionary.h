// TindexDictionary: a sorted skip-list map from unsigned 32-bit keys to unsigned 32-bit values,
// the library's index map. Duplicate keys are kept (the latest inserted comes first); see
// Tdictionary.h for bookmarks, iteration and the hazards.
//
//   TindexDictionary map;
//   Tbookmark mark;
//   for (unsigned i = 0; i < n; ++i) map.insert(i * 2, i, mark);   // ascending: cheap
//   if (unsigned* v = map.search(40)) ...                           // 20
//   for (auto* node = map.first(); node; node = TindexDictionary::next(node))
//     total += node->data();
#pragma once

#include <velacore/containers/TdictionaryOf.h>

#include <cstdint>

/// A node: key, value and its forward pointers (24 bytes with one).
class VELACORE_API TindexDictionaryNode
    : public TdictionaryNodeOf<std::uint32_t, std::uint32_t, TindexDictionaryNode> {
  VELA_DECLARE_TYPE(TindexDictionaryNode);

 public:
  using TdictionaryNodeOf::TdictionaryNodeOf;
  static int compareKeys(const std::uint32_t& a, const std::uint32_t& b) {
    return (a > b) - (a < b);
  }
};

class VELACORE_API TindexDictionary : public TdictionaryOf<TindexDictionaryNode> {
  VELA_DECLARE_TYPE(TindexDictionary);
};
