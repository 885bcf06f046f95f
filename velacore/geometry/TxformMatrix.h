// TxformMatrix: an object's placement as separate, editable components, composed into a
// T4dDblMatrix on demand.
//
// The components, applied to a row vector in this order: scale and shear about the scale
// pivot, the scale translation, rotation (rotate orientation, Euler or quaternion rotation,
// joint orientation) about the rotate pivot, the rotate translation, the translation, and
// finally, when enabled, the inverse of the parent's scale about the translation point:
//
//   TxformMatrix x;
//   x.scaleTo(Tscale(2.0, 2.0, 2.0));
//   x.setScalePivot(TdblVector(1.0, 0.0, 0.0));   // (1, 0, 0) stays where it is
//   x.rotateTo(TrotateXYZ(0.0, 0.0, 1.5707963267948966));   // a quarter turn about z
//   x.translateTo(TdblVector(0.0, 0.0, 5.0));
//   T4dDblMatrix m = x.matrix();
//   T4dDblMatrix back = x.inverse();               // m * back is the identity
//
// Traps:
// - The pivots are stored negated (origin minus pivot); the accessors and setters speak of
//   the pivot itself.
// - By default values are the components themselves: scaleBy multiplies, translateBy adds,
//   rotateBy composes after the current rotation. A TxformSpace argument gives them in the
//   object's, the parent's or the world's frame instead (see TxformSpace.h).
// - rotateBy and rotateTo(Tquaternion) switch the transform to quaternion rotation
//   (rotateIsQuaternion): the Euler angles are then ignored until rotateTo(TrotateXYZ).
// - A zero scale makes the matrix singular: inverse() then returns the identity.
// - Concurrent const use (matrix(), inverse(), accessors, copying) is safe. The first const
//   call after a rotation change fills the cached combined rotation; an atomic state byte lets
//   exactly one caller write it while the others use their own result. Changing a transform
//   while another thread reads it is a race, as for any value.
#pragma once

#include <atomic>
#include <cstdint>

#include <velacore/base/TvelacoreApi.h>
#include <velacore/geometry/T4dDblMatrix.h>
#include <velacore/geometry/TdoubleTriple.h>
#include <velacore/geometry/Tquaternion.h>
#include <velacore/geometry/TrotateXYZ.h>
#include <velacore/geometry/TxformSpace.h>

namespace vela::geometry_internal {
struct TxformInverseAccess;
}

class VELACORE_API TxformMatrix {
 public:
  using TrotOrder = TrotateXYZ::TrotOrder;
  /// Flag values.
  enum : std::uint8_t {
    kCompensateForParentScale = 1,
    kApplyParentScaleInverse = 2,
    kRotateIsQuaternion = 4,
  };

  TxformMatrix() = default;
  virtual ~TxformMatrix() = default;
  TxformMatrix(const TxformMatrix&) = default;
  TxformMatrix& operator=(const TxformMatrix&) = default;

  /// @name Components
  [[nodiscard]] virtual Tscale scale() const { return fScale; }
  [[nodiscard]] virtual TrotateXYZ rotationXYZ() const { return fRotation; }
  [[nodiscard]] virtual TrotOrder rotationOrder() const { return fRotation.order; }
  [[nodiscard]] virtual Tquaternion rotateOrient() const { return fRotateOrient; }
  [[nodiscard]] virtual TdblVector translation() const { return fTranslation; }
  [[nodiscard]] virtual Tshear shear() const { return fShear; }
  [[nodiscard]] virtual TdblVector scalePivot() const { return negated(fScalePivot); }
  [[nodiscard]] virtual TdblVector scaleTranslation() const { return fScaleTranslation; }
  [[nodiscard]] virtual TdblVector rotatePivot() const { return negated(fRotatePivot); }
  [[nodiscard]] virtual TdblVector rotateTranslation() const { return fRotateTranslation; }
  [[nodiscard]] virtual Tquaternion jointOrient() const { return fJointOrient; }
  [[nodiscard]] virtual bool compensateForParentScale() const {
    return (fFlags & kCompensateForParentScale) != 0;
  }
  [[nodiscard]] virtual Tscale parentScaleInverse() const { return fParentScaleInverse; }
  [[nodiscard]] virtual bool rotateIsQuaternion() const {
    return (fFlags & kRotateIsQuaternion) != 0;
  }
  /// Whether matrix() applies parentScaleInverse().
  [[nodiscard]] bool applyParentScaleInverse() const {
    return (fFlags & kApplyParentScaleInverse) != 0;
  }
  /// The combined rotation rotateOrient * rotation * jointOrient, from the cache when it is
  /// fresh; otherwise computed and cached.
  [[nodiscard]] Tquaternion rotation() const {
    if (fRotationCache.state.load(std::memory_order_acquire) == TrotationCache::kFresh)
      return fRotationCache.value;
    return recomputeRotation();
  }
  /// Whether the cached combined rotation must be recomputed before use.
  [[nodiscard]] bool rotationNeedsRecomputing() const {
    return fRotationCache.state.load(std::memory_order_acquire) != TrotationCache::kFresh;
  }

  /// @name Setters
  /// Each takes the space its value is given in (see TxformSpace.h); the default is the
  /// component's own value. Converting from kParent or kWorld uses the current state, and a
  /// scale or shear given along other axes than the object's is folded back into scale, shear
  /// and rotation components.
  void scaleTo(const Tscale& s, const TxformSpace& space = TxformSpace());
  /// Multiplies the scale component-wise (along the space's axes).
  void scaleBy(const Tscale& s, const TxformSpace& space = TxformSpace());
  /// Euler rotation (ends quaternion rotation). kTransform and kObject set the Euler component;
  /// kParent and kWorld make the angles the combined rotation as the parent (world) sees it.
  void rotateTo(const TrotateXYZ& r, const TxformSpace& space = TxformSpace());
  /// Quaternion rotation: `q` becomes the combined rotation, orientations included, relative
  /// to the parent (kTransform, kParent) or the world (kWorld); kObject gives the rotation
  /// between the two orientations.
  void rotateTo(const Tquaternion& q, const TxformSpace& space = TxformSpace());
  /// Applies `q` after the current combined rotation, about the parent's (kTransform, kParent)
  /// or the world's axes (kWorld), or before it, about the object's own axes (kObject).
  /// Switches to quaternion rotation.
  void rotateBy(const Tquaternion& q, const TxformSpace& space = TxformSpace());
  /// The same, but an Euler rotation stays Euler: the new angles are the ones nearest the
  /// current angles (TrotateXYZ::closestSolution), so repeated small steps never flip.
  void rotateBy(const TrotateXYZ& r, const TxformSpace& space = TxformSpace());
  void setRotationOrder(TrotOrder order);
  /// kWorld removes the parent's world rotation; the other kinds take `q` as given.
  void setRotateOrient(const Tquaternion& q, const TxformSpace& space = TxformSpace());
  /// kTransform and kParent set the translation itself; kObject takes an offset along the
  /// object's axes; kWorld a position in the world.
  void translateTo(const TdblVector& t, const TxformSpace& space = TxformSpace());
  /// Adds an offset given in `space` (kTransform and kParent: the parent's axes).
  void translateBy(const TdblVector& t, const TxformSpace& space = TxformSpace());
  /// Replaces the shear; in kParent or kWorld the new shear applies along that space's axes.
  void shearTo(const Tshear& s, const TxformSpace& space = TxformSpace());
  /// Adds to the shear component-wise (kTransform, kObject) or shears along the space's axes.
  void shearBy(const Tshear& s, const TxformSpace& space = TxformSpace());
  /// The pivot as an object-space point (kTransform, kObject), or the point where the parent
  /// (world) should see it (kParent, kWorld).
  void setScalePivot(const TdblVector& p, const TxformSpace& space = TxformSpace());
  /// An offset added after the scale; in other spaces converted into that frame.
  void setScaleTranslation(const TdblVector& t, const TxformSpace& space = TxformSpace());
  /// The pivot in the frame the rotation applies in (kTransform, kObject), or where the parent
  /// (world) should see it (kParent, kWorld).
  void setRotatePivot(const TdblVector& p, const TxformSpace& space = TxformSpace());
  /// An offset added after the rotation; in other spaces converted into that frame.
  void setRotateTranslation(const TdblVector& t, const TxformSpace& space = TxformSpace());
  /// kWorld removes the parent's world rotation; the other kinds take `q` as given.
  void setJointOrient(const Tquaternion& q, const TxformSpace& space = TxformSpace());
  void setCompensateForParentScale(bool on) { setFlag(kCompensateForParentScale, on); }
  void parentScaleInverseTo(const Tscale& s) { fParentScaleInverse = s; }
  /// Multiplies the parent scale inverse component-wise.
  void parentScaleInverseBy(const Tscale& s);
  void setApplyParentScaleInverse(bool on) { setFlag(kApplyParentScaleInverse, on); }
  /// Makes the cached quaternion the authority (true) or rebuilds it from the Euler angles.
  void setRotateIsQuaternion(bool on);

  /// @name Composition
  /// The composed matrix (row vectors, translation in the fourth row).
  [[nodiscard]] T4dDblMatrix matrix() const;
  /// The same composition with an upper-triangular shear after the shear; slower, general.
  [[nodiscard]] T4dDblMatrix matrix(const Tshear2& upper) const;
  /// Components that compose to `m` (an affine matrix: last column (0, 0, 0, 1)): scale,
  /// shear, an Euler rotation in `order` and translation, everything else neutral. A
  /// mirroring matrix gets a negative z scale. A singular block yields false and leaves
  /// `out` unchanged.
  [[nodiscard]] static bool decompose(const T4dDblMatrix& m, TxformMatrix& out,
                                      TrotOrder order = TrotateXYZ::kXYZ);
  /// The inverse of matrix(), composed from the inverted factors in reverse order and written
  /// out in closed form: the block is diag(1/p) * transpose(R) * Sh^-1 * diag(1/s) and the
  /// fourth row is the origin taken back through each factor, with no general 4x4 inversion.
  /// Processors with AVX2 and FMA take a wider path with fused multiply-adds, so the last bits
  /// of the result can differ from one processor to another.
  [[nodiscard]] T4dDblMatrix inverse() const;

 private:
  // The inverse kernels read the components in place.
  friend struct vela::geometry_internal::TxformInverseAccess;
  static TdblVector negated(const TdblVector& v) { return TdblVector(-v[0], -v[1], -v[2]); }
  void setFlag(std::uint8_t bit, bool on) {
    fFlags = static_cast<std::uint8_t>(on ? (fFlags | bit) : (fFlags & ~bit));
  }
  using Tblock = double[3][3];
  // The upper block diag(scale) * Sh * R, without the parent scale inverse.
  void linearBlock(Tblock& a) const;
  // Splits a block into scale, shear and combined rotation and stores them.
  bool setLinearBlock(const Tblock& a);
  // Applies `x`, a linear map along the axes of `space`, after the current block.
  void applyInSpace(const Tblock& x, const TxformSpace& space);
  // Makes `c` the combined rotation, through the Euler angles when they are the authority.
  void setCombinedRotation(const Tquaternion& c);
  // An offset or a point given in `space`, as the parent sees it.
  TdblVector parentOffset(const TdblVector& v, const TxformSpace& space) const;
  TdblVector parentPoint(const TdblVector& v, const TxformSpace& space) const;
  TdblVector withoutParentScale(const TdblVector& v) const;
  // A point given in `space`, taken back through the translation and the parent scale
  // inverse: where it lies just after the rotation and its offsets.
  TdblVector afterRotation(const TdblVector& p, const TxformSpace& space) const;
  // The combined rotation after also rotating by `q` in `space`.
  Tquaternion combinedAfter(const Tquaternion& q, const TxformSpace& space) const;
  static Tquaternion inParent(const Tquaternion& q, const TxformSpace& space);
  // kParent or kWorld: frames outside the object's matrix, whose values are converted with
  // the current state.
  static bool outerSpace(const TxformSpace& space) {
    return space.kind() == TxformSpace::kParent || space.kind() == TxformSpace::kWorld;
  }
  Tquaternion computeRotation() const;
  Tquaternion recomputeRotation() const;
  // In quaternion mode the cache is the authority and stays fresh.
  void markRotationDirty() {
    if (!rotateIsQuaternion())
      fRotationCache.state.store(TrotationCache::kDirty, std::memory_order_relaxed);
  }
  void setCachedRotation(const Tquaternion& q) {
    fRotationCache.value = q;
    fRotationCache.state.store(TrotationCache::kFresh, std::memory_order_relaxed);
  }

  // The cached combined rotation and its state byte. A const caller that finds it dirty moves
  // it to kWriting, stores the value and publishes kFresh, so readers that see kFresh read a
  // finished value and nobody writes it again until a non-const member marks it dirty.
  struct TrotationCache {
    enum : std::uint8_t { kFresh = 0, kDirty = 1, kWriting = 2 };
    TrotationCache() = default;
    TrotationCache(const TrotationCache& o) { *this = o; }
    TrotationCache& operator=(const TrotationCache& o) {
      if (this == &o) return *this;
      // Copy the value only when it is finished; otherwise the copy recomputes it.
      const bool fresh = o.state.load(std::memory_order_acquire) == kFresh;
      if (fresh) value = o.value;
      state.store(fresh ? kFresh : kDirty, std::memory_order_relaxed);
      return *this;
    }
    mutable Tquaternion value;
    mutable std::atomic<std::uint8_t> state{kFresh};
  };

  Tscale fScale;
  TrotateXYZ fRotation;
  TdblVector fTranslation;
  Tshear fShear;
  TdblVector fScalePivot;  // origin minus the pivot
  TdblVector fScaleTranslation;
  TdblVector fRotatePivot;  // origin minus the pivot
  TdblVector fRotateTranslation;
  Tquaternion fRotateOrient;
  Tquaternion fJointOrient;
  Tscale fParentScaleInverse;
  TrotationCache fRotationCache;
  std::uint8_t fFlags = 0;
};
