// Talloca: a scratch buffer for one scope, released as a whole.
//
// Small requests live inside the object (on the stack when the object is); larger ones come from
// the runtime heap. Either way the memory goes away with the object, so it can replace alloca()
// without the risk of overflowing the stack.
//
//   Talloca scratch(count * sizeof(float));
//   auto* values = static_cast<float*>(scratch.data());   // null only when the heap is exhausted
//
// Hazards: not copyable or movable (the inline bytes would move); the contents start undefined.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstddef>
#include <cstdlib>

class VELACORE_API Talloca {
 public:
  /// Bytes served from inside the object.
  static constexpr std::size_t kInlineBytes = 512;

  /// A buffer of at least `bytes` bytes, 16-byte aligned.
  explicit Talloca(std::size_t bytes)
      : fData(bytes <= kInlineBytes ? fInline : std::malloc(bytes)), fSize(fData ? bytes : 0) {}
  ~Talloca() {
    if (fData != fInline) std::free(fData);
  }
  Talloca(const Talloca&) = delete;
  Talloca& operator=(const Talloca&) = delete;

  /// The buffer; null when a heap request failed.
  [[nodiscard]] void* data() const { return fData; }
  /// Its size in bytes (0 when the request failed).
  [[nodiscard]] std::size_t size() const { return fSize; }
  /// Whether the buffer lives inside the object.
  [[nodiscard]] bool isInline() const { return fData == fInline; }

 private:
  alignas(16) unsigned char fInline[kInlineBytes];
  void* fData;
  std::size_t fSize;
};
