#include <velacore/platform/TplatformStack.h>

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace vela::platform {

std::string demangle(const char* symbol) {
  if (symbol == nullptr) return std::string();
  int status = 0;
  char* plain = abi::__cxa_demangle(symbol, nullptr, nullptr, &status);
  if (status != 0 || plain == nullptr) return symbol;
  std::string name(plain);
  std::free(plain);
  return name;
}

// Not inlined, so that this frame is the one left out for the caller's count to start right.
__attribute__((noinline)) std::vector<TstackFrame> captureStack(int skip, int depth) {
  constexpr int kMaxFrames = 256;
  if (skip < 0) skip = 0;
  if (depth <= 0 || depth > kMaxFrames) depth = kMaxFrames;
  constexpr int kSlack = 8;  // frames of this function and of the unwinder's own wrappers
  void* addresses[kMaxFrames + kSlack];
  const int wanted = std::min(kMaxFrames + kSlack, skip + depth + kSlack);
  const int found = ::backtrace(addresses, wanted);
  // The caller's frame is the one holding our return address. Usually it is the second entry
  // (after this function's own), but a sanitizer's wrapper around backtrace may add or drop one.
  int callerFrame = 1;
  const void* intoCaller = __builtin_return_address(0);
  for (int i = 0; i < std::min(found, kSlack); ++i) {
    if (addresses[i] == intoCaller) {
      callerFrame = i;
      break;
    }
  }
  std::vector<TstackFrame> frames;
  const int end = std::min(found, callerFrame + skip + depth);
  for (int i = callerFrame + skip; i < end; ++i) {
    TstackFrame frame;
    frame.address = addresses[i];
    Dl_info info{};
    // A return address may be one past the call's function end (a call that never returns), so
    // the symbol is looked up for the call instruction itself, one byte back.
    const auto lookup = static_cast<const char*>(addresses[i]) - 1;
    if (::dladdr(lookup, &info) != 0) {
      if (info.dli_fname != nullptr) {
        const char* slash = std::strrchr(info.dli_fname, '/');
        frame.module = slash != nullptr ? slash + 1 : info.dli_fname;
      }
      if (info.dli_sname != nullptr && info.dli_saddr != nullptr) {
        frame.function = demangle(info.dli_sname);
        frame.offset = reinterpret_cast<std::uintptr_t>(addresses[i]) -
                       reinterpret_cast<std::uintptr_t>(info.dli_saddr);
      } else if (info.dli_fbase != nullptr) {
        frame.offset = reinterpret_cast<std::uintptr_t>(addresses[i]) -
                       reinterpret_cast<std::uintptr_t>(info.dli_fbase);
      }
    }
    frames.push_back(std::move(frame));
  }
  return frames;
}

}  // namespace vela::platform
