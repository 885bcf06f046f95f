// TxformSpace: the space in which a value handed to a TxformMatrix setter is given.
//
//   TxformMatrix x;
//   x.translateBy(TdblVector(1.0, 0.0, 0.0), TxformSpace::kObject);   // along its own x axis
//   x.translateBy(TdblVector(0.0, 1.0, 0.0));                          // the component itself
//   T4dDblMatrix parentWorld;                                         // the parent's placement
//   x.translateTo(TdblVector(0.0, 0.0, 5.0), TxformSpace::world(parentWorld));
//
// The kinds:
// - kTransform (the default): the component's own value, stored as given.
// - kObject: the object's own frame, before its matrix applies: offsets along its axes and in
//   its units, rotations about its own axes applied first. Scale, shear, pivots and joint
//   orientation live there already, so for them it is the same as kTransform.
// - kParent: the parent's frame, after the object's matrix: offsets and positions as the
//   parent sees them, scales and shears along the parent's axes, rotations about them.
// - kWorld: like kParent but in the frame of the parent's world matrix, which the space
//   carries (world() without a matrix means a parent at the origin: world is parent space).
//
// Traps: a value in kParent or kWorld is converted with the transform's state at the call, so
// the order of calls matters (set the rotation before a pivot given in parent space).
#pragma once

#include <cstdint>

#include <velacore/base/TvelacoreApi.h>
#include <velacore/geometry/T4dDblMatrix.h>

class VELACORE_API TxformSpace {
 public:
  enum Tkind : std::int32_t { kTransform = 0, kObject = 1, kParent = 2, kWorld = 3 };

  /// A space of this kind; kWorld made this way has the identity as parent matrix.
  constexpr TxformSpace(Tkind kind = kTransform) /*implicit*/ : fKind(kind), fParentWorld() {}
  /// World space under a parent whose world matrix is `parentWorld`.
  [[nodiscard]] static TxformSpace world(const T4dDblMatrix& parentWorld) {
    TxformSpace s(kWorld);
    s.fParentWorld = parentWorld;
    return s;
  }

  [[nodiscard]] constexpr Tkind kind() const { return fKind; }
  /// The parent's world matrix (the identity unless made by world()).
  [[nodiscard]] constexpr const T4dDblMatrix& parentWorld() const { return fParentWorld; }

 private:
  Tkind fKind;
  T4dDblMatrix fParentWorld;
};
