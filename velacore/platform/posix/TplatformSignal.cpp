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
// What the host had installed for the signal before us; called after our own wake-up.
struct sigaction gPrevious {};

extern "C" void onDebugSignal(int signal, siginfo_t* info, void* context) {
  const int saved = errno;  // write() may change errno under the interrupted code
  const char byte = 1;
  [[maybe_unused]] ssize_t n = ::write(gPipe[1], &byte, 1);  // full pipe: a wake-up is pending
  errno = saved;
  if ((gPrevious.sa_flags & SA_SIGINFO) != 0) {
    if (gPrevious.sa_sigaction != nullptr) gPrevious.sa_sigaction(signal, info, context);
  } else if (gPrevious.sa_handler != SIG_DFL && gPrevious.sa_handler != SIG_IGN &&
             gPrevious.sa_handler != nullptr) {
    gPrevious.sa_handler(signal);
  }
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

  // The host's handler is read before ours goes in, so the first signal already reaches it.
  if (::sigaction(SIGUSR1, nullptr, &gPrevious) != 0) return false;
  struct sigaction action {};
  action.sa_sigaction = onDebugSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART | SA_SIGINFO;
  if (::sigaction(SIGUSR1, &action, nullptr) != 0) return false;
  gInstalled.store(true, std::memory_order_release);
  return true;
}

bool debugSignalWatched() { return gInstalled.load(std::memory_order_acquire); }

bool raiseDebugSignal() { return ::kill(::getpid(), SIGUSR1) == 0; }

unsigned long debugSignalsHandled() { return gHandled.load(std::memory_order_acquire); }

}  // namespace vela::platform
