#include <velacore/base/TmtSpinCriticalSection.h>

#include <thread>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define VELA_CPU_RELAX() _mm_pause()
#elif defined(__aarch64__)
#define VELA_CPU_RELAX() asm volatile("yield")
#else
#define VELA_CPU_RELAX() ((void)0)
#endif

void TmtSpinCriticalSection::lockSlow() {
  for (;;) {
    // Spin on a plain load so that waiters share the cache line instead of stealing it.
    for (int spins = 0; fLocked.load(std::memory_order_relaxed); ++spins) {
      if (spins < 64) {
        VELA_CPU_RELAX();
      } else {
        std::this_thread::yield();  // the holder may have been preempted
        spins = 0;
      }
    }
    if (!fLocked.exchange(true, std::memory_order_acquire)) return;
  }
}
