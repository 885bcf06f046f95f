// TnameDictionary: the objects of one namespace by name, in natural name order
// (TnameString::strnumcmp), as a skip list (Tdictionary). A null object marks a name that is
// held without one.
//
//   TnameObject a("box9"), b("box10");
//   TnameDictionary names;
//   names.insert(TnameString("box9"), &a);
//   names.insert(TnameString("box10"), &b);
//   names.findLastNotAbove(TnameString("box@"))->data();   // &b: the highest box<N>
//
// Not thread-safe (the namespace store locks around it); no uniqueness check on insert.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TdictionaryOf.h>
#include <velacore/names/TnameString.h>

class TnameObject;

/// A node: the name, the object and its forward pointers (32 bytes with one).
class VELACORE_API TnameDictionaryNode
    : public TdictionaryNodeOf<TnameString, TnameObject*, TnameDictionaryNode> {
  VELA_DECLARE_TYPE(TnameDictionaryNode);

 public:
  using TdictionaryNodeOf::TdictionaryNodeOf;
  static int compareKeys(const TnameString& a, const TnameString& b) {
    return TnameString::strnumcmp(a.asC(), b.asC());
  }
};

class VELACORE_API TnameDictionary : public TdictionaryOf<TnameDictionaryNode> {
  VELA_DECLARE_TYPE(TnameDictionary);
};
