#include <velacore/debug/TdebugOutputString.h>

#include <velacore/platform/TplatformTrace.h>

#include <atomic>
#include <string>

TdebugOutputString::TdebugOutputString(unsigned bufferSize)
    : TdebugOutput(nullptr, bufferSize) {
  setStream(&fText);
}

TdebugOutputString::~TdebugOutputString() = default;

Tstring TdebugOutputString::string() const {
  TmtScopedLock guard(fPrintLock);
  const std::string text = fText.str();
  return Tstring(text.data(), static_cast<unsigned>(text.size()));
}

void TdebugOutputString::clear() {
  TmtScopedLock guard(fPrintLock);
  fText.str(std::string());
  fText.clear();
}

void TdebugOutputString::reportString(const char* text) {
  if (text != nullptr) fText << text;
}

void TdebugOutputString::reportString() { TdebugOutput::reportString(); }

// ---- the developer channel ----

namespace {
std::atomic<TdebugOutputTrace*> gTrace{nullptr};
}  // namespace

TdebugOutputTrace::TdebugOutputTrace() = default;
TdebugOutputTrace::~TdebugOutputTrace() = default;

TdebugOutputTrace& TdebugOutputTrace::sTrace() {
  TdebugOutputTrace* current = gTrace.load(std::memory_order_acquire);
  if (current != nullptr) return *current;
  auto* made = new TdebugOutputTrace();
  made->ref();  // held for the rest of the process
  if (gTrace.compare_exchange_strong(current, made, std::memory_order_acq_rel,
                                     std::memory_order_acquire)) {
    return *made;
  }
  delete made;
  return *current;
}

Tstring TdebugOutputTrace::name() const { return Tstring("msdev"); }

void TdebugOutputTrace::reportString(const char* text) {
  if (text == nullptr) return;
  fText << text;
  // Pieces of a line (time stamp, indentation, text) gather until the line ends; each whole
  // line then goes out as one message and the buffer is emptied.
  const std::size_t length = std::char_traits<char>::length(text);
  if (length == 0 || text[length - 1] != '\n') return;
  vela::platform::sendToDeveloperChannel(fText.str().c_str());
  fText.str(std::string());
  fText.clear();
}

void TdebugOutputTrace::reportString() { TdebugOutput::reportString(); }
