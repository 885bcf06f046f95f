#include <velacore/platform/TplatformSignal.h>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <mutex>
#include <thread>

namespace vela::platform {
namespace {

// The self-pipe: the handler writes one byte, the watcher blocks on reading it.
int gPipe[2] = {-1, -1};
std::atomic<TdebugSignalCallback> gCallback{nullptr};
std::atomic<bool> gInstalled{false};
std::atomic<unsigned long> gHandled{0};
std::mutex gInstallLock;

extern "C" void onDebugSignal(int) {
  const int saved = errno;  // write() may change errno under the interrupted code
  const char byte = 1;
  [[maybe_unused]] ssize_t n = ::write(gPipe[1], &byte, 1);  // full pipe: a wake-up is pending
  errno = saved;
}

void watcherLoop() {
  char bytes[64];
  for (;;) {
    const ssize_t n = ::read(gPipe[0], bytes, sizeof bytes);  // drains merged signals at once
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    if (TdebugSignalCallback cb = gCallback.load(std::memory_order_acquire)) cb();
    gHandled.fetch_add(1, std::memory_order_release);
  }
}

}  // namespace

bool watchDebugSignal(TdebugSignalCallback callback) {
  std::lock_guard<std::mutex> guard(gInstallLock);
  gCallback.store(callback, std::memory_order_release);
  if (gInstalled.load(std::memory_order_relaxed)) return true;

  if (::pipe(gPipe) != 0) return false;
  for (int fd : gPipe) ::fcntl(fd, F_SETFD, FD_CLOEXEC);
  ::fcntl(gPipe[1], F_SETFL, O_NONBLOCK);  // the handler must never block

  try {
    std::thread(watcherLoop).detach();
  } catch (...) {
    ::close(gPipe[0]);
    ::close(gPipe[1]);
    gPipe[0] = gPipe[1] = -1;
    return false;
  }

  struct sigaction action {};
  action.sa_handler = onDebugSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  if (::sigaction(SIGUSR1, &action, nullptr) != 0) return false;
  gInstalled.store(true, std::memory_order_release);
  return true;
}

bool debugSignalWatched() { return gInstalled.load(std::memory_order_acquire); }

bool raiseDebugSignal() { return ::kill(::getpid(), SIGUSR1) == 0; }

unsigned long debugSignalsHandled() { return gHandled.load(std::memory_order_acquire); }

}  // namespace vela::platform
