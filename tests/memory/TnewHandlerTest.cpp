// Out-of-memory seen by host code: once the allocator has installed its new-handler, a failed
// operator new anywhere in the process raises the library's exception, which code that only
// knows the standard library must still catch as std::bad_alloc.
#include <velacore/base/Texception.h>
#include <velacore/environment/TenvGuard.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/memory/Tallocator.h>

#include <gtest/gtest.h>

#include <new>

TEST(TmallocAllocatorNewHandler, HostCodeCatchesStdBadAlloc) {
  TenvGuard guard;
  ASSERT_EQ(VelaPutEnv("VELA_USE_MALLOC=0"), 0);
  ASSERT_EQ(VelaUnsetEnv("VELA_NO_MEMORY_EXCEPTION"), 0);
  TmallocAllocator::sReloadSwitches();
  // A large block in recording mode opens the allocator, which installs its new-handler.
  TmallocAllocator& source = TmallocAllocator::mallocAllocator();
  void* page = source.allocate(1 << 20, "new-handler test");
  ASSERT_NE(page, nullptr);
  source.free(page, 1 << 20);
  const std::new_handler handler = std::get_new_handler();
  ASSERT_NE(handler, nullptr);

  // What operator new does when the heap is exhausted: call the handler.
  bool caught = false;
  try {
    handler();
  } catch (const std::bad_alloc& e) {
    caught = true;
    EXPECT_NE(dynamic_cast<const TmemoryException*>(&e), nullptr);
  }
  EXPECT_TRUE(caught);
  TmallocAllocator::sReloadSwitches();
}
