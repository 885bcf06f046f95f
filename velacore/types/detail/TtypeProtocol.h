// The machinery behind VELA_DECLARE_TYPE and VELA_DEFINE_TYPE (see Tmetaclass.h).
//
// A detail of the public headers that include it, installed with them; not to be included on
// its own.
#pragma once

#include <cstddef>
#include <new>
#include <tuple>
#include <type_traits>

namespace vela::types_internal {

// Creation procedures of a concrete class X: a new X handed back as the view `as`. A view that
// X does not have gives null and nothing is left behind.
template <class X>
void* newInstance(Tmetaclass* as) {
  X* made = new X();
  void* view = made->cast(as);
  if (view == nullptr) delete made;
  return view;
}

template <class X>
void* newInstanceInPlace(Tmetaclass* as, void* where) {
  if (where == nullptr) return nullptr;
  X* made = ::new (where) X();
  void* view = made->cast(as);
  if (view == nullptr) made->~X();
  return view;
}

// What a defined class X with participating bases S... needs: its procedures, its superclass
// links and its cast().
template <TtypeKind Kind, class X, class... S>
struct TtypeDefinition {
  static_assert(sizeof...(S) <= 4, "a metaclass has at most four superclasses");
  static_assert(sizeof(X) <= 0xFFFF, "a metaclass records sizes below 64 KiB");

  static TconstructorProc proc() {
    if constexpr (Kind == TtypeKind::kConcrete)
      return TconstructorProc(newInstance<X>, newInstanceInPlace<X>);
    else
      return TconstructorProc();
  }

  template <std::size_t I>
  static Tmetaclass** link() {
    if constexpr (I < sizeof...(S))
      return std::tuple_element_t<I, std::tuple<S...>>::sTmetaAddress();
    else
      return nullptr;
  }

  // X's own view, else the first base (in order) that has the view. The bases' cast() is
  // called non-virtually: a virtual call would come back here.
  static void* cast(X* self, Tmetaclass* t) {
    if (t == *X::sTmetaAddress()) return self;
    void* view = nullptr;
    static_cast<void>((((view = static_cast<S*>(self)->S::cast(t)) != nullptr) || ...));
    return view;
  }
};

}  // namespace vela::types_internal

#define VELA_TYPE_FIRST_(first, ...) first
#define VELA_TYPE_STR2_(x) #x
#define VELA_TYPE_STR_(x) VELA_TYPE_STR2_(x)

// prefix: nothing, or `template <>` for a template specialisation named by the alias X.
#define VELA_TYPE_DEFINE_(prefix, X, name, tag, kind, ...) \
  VELA_TYPE_DEFINE2_(prefix, X, name, tag, kind, __VA_ARGS__)
#define VELA_TYPE_DEFINE2_(prefix, X, name, tag, kind, ...)                                 \
  extern VELACORE_API Tmetaclass* X##Tmeta;                                               \
  namespace {                                                                             \
  using X##TypeDefinition_ = vela::types_internal::TtypeDefinition<kind, __VA_ARGS__>;    \
  Tmetaclass X##Metaclass_(&X##Tmeta, name, sizeof(X), X##TypeDefinition_::proc(), tag,   \
                           false, X##TypeDefinition_::link<0>(),                          \
                           X##TypeDefinition_::link<1>(), X##TypeDefinition_::link<2>(),  \
                           X##TypeDefinition_::link<3>());                                \
  }                                                                                       \
  Tmetaclass* X##Tmeta = &X##Metaclass_;                                                  \
  prefix Tmetaclass** X::sTmetaAddress() { return &X##Tmeta; }                            \
  prefix void* X::cast(Tmetaclass* t) { return X##TypeDefinition_::cast(this, t); }       \
  static_assert(sizeof(X) > 0, #X " is a complete class")
