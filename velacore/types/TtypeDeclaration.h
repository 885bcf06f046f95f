// VELA_DECLARE_TYPE: the header half of the run-time type protocol, light enough for any
// header (it needs no more than a declaration of Tmetaclass). The source half and the whole
// story are in Tmetaclass.h:
//
//   class VELACORE_API Tshape {
//     VELA_DECLARE_TYPE(Tshape);
//    public:
//     virtual ~Tshape();
//   };
#pragma once

#include <velacore/base/TvelacoreApi.h>

class Tmetaclass;

namespace vela {

/// `p` viewed as a T (through its cast()), or null when it is not a kind of T or is null.
template <class T, class U>
[[nodiscard]] T* typeCast(U* p) {
  return p == nullptr ? nullptr : static_cast<T*>(p->cast(T::sTypeof()));
}

namespace types_internal {

// Builds class `t` (null, or a kind of `self`) and returns it viewed as `self`.
VELACORE_API void* constructAs(Tmetaclass* t, Tmetaclass* self);
VELACORE_API void* constructInPlaceAs(Tmetaclass* t, Tmetaclass* self, void* where);

}  // namespace types_internal
}  // namespace vela

/// Declares the run-time type protocol of X: the first line of X's class body.
#define VELA_DECLARE_TYPE(X) VELA_TYPE_DECLARE_(X)

#if defined(__clang__)
// An override without `override` beside members that have it would warn in subclasses.
#define VELA_TYPE_PUSH_ \
  _Pragma("clang diagnostic push") \
  _Pragma("clang diagnostic ignored \"-Winconsistent-missing-override\"")
#define VELA_TYPE_POP_ _Pragma("clang diagnostic pop")
#else
#define VELA_TYPE_PUSH_
#define VELA_TYPE_POP_
#endif

#define VELA_TYPE_DECLARE_(X)                                                               \
 public:                                                                                   \
  VELA_TYPE_PUSH_                                                                          \
  /** The class's metaclass (XTmeta). */                                                   \
  virtual Tmetaclass* typeof() const { return *sTmetaAddress(); }                         \
  /** This object viewed as class `t` (the pointer adjusted to that base), or null. */     \
  virtual void* cast(Tmetaclass* t);                                                       \
  VELA_TYPE_POP_                                                                           \
  /** The class's metaclass (XTmeta). */                                                   \
  static Tmetaclass* sTypeof() { return *sTmetaAddress(); }                               \
  /** A new instance of class `t` viewed as this class; null unless `t` is a kind of it. */ \
  static X* construct(Tmetaclass* t) {                                                     \
    return static_cast<X*>(vela::types_internal::constructAs(t, sTypeof()));               \
  }                                                                                        \
  /** The same, built in `where`. */                                                       \
  static X* constructInPlace(Tmetaclass* t, void* where) {                                 \
    return static_cast<X*>(vela::types_internal::constructInPlaceAs(t, sTypeof(), where)); \
  }                                                                                        \
  /** The address of XTmeta: the link that subclasses' metaclasses keep. */                \
  static Tmetaclass** sTmetaAddress()
