// TtypeDictionary: a sorted dictionary from class name to metaclass, the form in which
// Tmetaclass::generateDictionaryFor() hands out a family of classes.
//
//   TtypeDictionary* family = Tmetaclass::generateDictionaryFor(Texception::sTypeof());
//   if (Tmetaclass** cls = family->search("TfileException")) ...
//   for (auto* n = family->first(); n; n = TtypeDictionary::next(n)) print(n->key().value());
//   delete family;
//
// Keys are views of the class names (not copied): a name must outlive its entry (metaclass
// names are string literals). Names order as zero-terminated byte strings.
#pragma once

#include <velacore/containers/TdictionaryOf.h>
#include <velacore/strings/TcharString.h>
#include <velacore/types/Tmetaclass.h>

/// A node: the name, the metaclass and its forward pointers (32 bytes with one).
class VELACORE_API TtypeDictionaryNode
    : public TdictionaryNodeOf<TcharString, Tmetaclass*, TtypeDictionaryNode> {
  VELA_DECLARE_TYPE(TtypeDictionaryNode);

 public:
  using TdictionaryNodeOf::TdictionaryNodeOf;
  /// Byte order of the names. A key whose first byte is smaller as a signed byte also counts
  /// as smaller, whatever the rest.
  static int compareKeys(const TcharString& a, const TcharString& b);
};

class VELACORE_API TtypeDictionary : public TdictionaryOf<TtypeDictionaryNode> {
  VELA_DECLARE_TYPE(TtypeDictionary);
};
