// TdebugOutputString and TdebugOutputTrace: debug output sinks that write to memory.
//
// TdebugOutputString collects everything printed to it, which makes it the sink of choice for
// reports that are shown elsewhere and for tests:
//
//   TdebugOutputString out;
//   TnestedTimers::dump(TnestedTimers::kFlat, &out);
//   show(out.string());
//   out.clear();
//
// TdebugOutputTrace is the process-wide sink "msdev" that hands each line to the system's
// developer channel (the system log) and keeps nothing: its buffer is emptied after every line.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/debug/TdebugOutput.h>
#include <velacore/types/TtypeDeclaration.h>

#include <sstream>

class VELACORE_API TdebugOutputString : public TdebugOutput {
  VELA_DECLARE_TYPE(TdebugOutputString);

 public:
  /// An empty in-memory sink.
  explicit TdebugOutputString(unsigned bufferSize = kFormatBufferStep);
  ~TdebugOutputString() override;

  /// Everything written since construction or the last clear().
  [[nodiscard]] Tstring string() const;
  /// Forgets what was written.
  void clear();

 protected:
  void reportString(const char* text) override;
  void reportString() override;

  std::ostringstream fText;  // fPrintLock
};

class VELACORE_API TdebugOutputTrace : public TdebugOutputString {
  VELA_DECLARE_TYPE(TdebugOutputTrace);

 public:
  /// The process-wide developer-channel sink; made on first use, never deleted.
  [[nodiscard]] static TdebugOutputTrace& sTrace();

  /// "msdev".
  [[nodiscard]] Tstring name() const override;

 protected:
  void reportString(const char* text) override;
  void reportString() override;

 private:
  TdebugOutputTrace();
  ~TdebugOutputTrace() override;
};
