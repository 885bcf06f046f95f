#include <velacore/data/TmultiSharedObject.h>

#include <cstdlib>
#include <new>

namespace {
// The block most recently handed out by operator new on this thread. The constructor of the
// object being built there compares its own address with it: construction follows allocation
// on the same thread with no other shared-object allocation in between, so an equal address
// means the object lives in that block. TmultiSharedObject is the first base of every class
// that uses it, so `this` is the block's address.
thread_local void* tlLastBlock = nullptr;
}  // namespace

void* TmultiSharedObject::operator new(std::size_t bytes) {
  void* block = std::malloc(bytes == 0 ? 1 : bytes);
  if (block == nullptr) throw std::bad_alloc();
  tlLastBlock = block;
  return block;
}

void TmultiSharedObject::operator delete(void* block) noexcept { std::free(block); }

TmultiSharedObject::TmultiSharedObject() : fOnHeap(tlLastBlock == this) {
  if (fOnHeap) tlLastBlock = nullptr;
}

TmultiSharedObject::TmultiSharedObject(const TmultiSharedObject&)
    : fOnHeap(tlLastBlock == this) {
  if (fOnHeap) tlLastBlock = nullptr;
}

TmultiSharedObject::~TmultiSharedObject() = default;
