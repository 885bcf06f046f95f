// TdebugOutput: the sinks that developers' diagnostics are printed to.
//
// A sink prints printf-style text to a target (standard output or error, a file, a string, the
// system's developer channel) with an indentation level, optional time stamps and
// brace-delimited sections:
//
//   TdebugOutput& out = TdebugOutput::sCout();
//   out.beginSection("mesh %s", name);       // "mesh body\n{\n", then one level deeper
//   out.print("%d faces\n", faces);          // "   12 faces\n"
//   out.printError("no normals\n");          // "   ERR: no normals\n"
//   out.endSection();                        // "}\n"
//
// Sinks are shared by an intrusive reference count: traces and other holders call ref() and
// unref(), and the last unref() deletes the sink. Create shared sinks with new; a sink on the stack
// must never be handed to a holder that calls unref(). sCout() and sCerr() (and the developer
// channel sink TdebugOutputTrace::sTrace()) exist once per process and are never deleted, so they
// are usable from anywhere, also during static destruction.
//
// Threads: any thread may print. Changing the indentation and opening sections need ownership
// of the sink: an indentation change holds it for its own duration, beginSection until the
// matching endSection. Such calls from other threads meanwhile do nothing (beginSection then
// returns an empty title), so one thread's open section keeps its indentation whatever other
// threads do. Each printed line is written whole, so lines of different threads do not mix.
//
// Hazards: two indentation changes that belong together (+1, print, -1) are two separate
// ownerships; bracket them with acquireOwnership()/releaseOwnership(), or another thread may
// open a section in between and the second change be refused. The format buffer grows to fit
// the longest message, 1024 bytes at a time; messages that would need more than 2 GB are
// dropped. A null format prints nothing.
#pragma once

#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/TvelacoreApi.h>
#include <velacore/strings/Tstring.h>
#include <velacore/types/TtypeDeclaration.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <iosfwd>
#include <string>

#define VELA_PRINTF_FORMAT(fmtArg, firstArg) __attribute__((format(printf, fmtArg, firstArg)))

class TdbTrace;

class VELACORE_API TdebugOutput {
  VELA_DECLARE_TYPE(TdebugOutput);

 public:
  /// Bytes of the format buffer of every sink the library makes; also its growth step.
  static constexpr unsigned kFormatBufferStep = 1024;

  /// A sink printing to `stream` (which must outlive it) with a format buffer of `bufferSize`
  /// bytes. Registers the sink in the process-wide list of outputs.
  explicit TdebugOutput(std::ostream* stream, unsigned bufferSize = kFormatBufferStep);
  TdebugOutput(const TdebugOutput&) = delete;
  TdebugOutput& operator=(const TdebugOutput&) = delete;
  virtual ~TdebugOutput();

  /// @name Sharing
  /// Adds a reference.
  void ref() const { fRefCount.fetch_add(1, std::memory_order_relaxed); }
  /// Drops a reference; the last one deletes the sink.
  void unref() const;
  /// Adds a reference unless the count has already dropped to 0 (the sink is being deleted);
  /// returns whether it did. For registries that find sinks without holding a reference.
  bool tryRef() const;
  /// The number of references held.
  [[nodiscard]] int refCount() const { return fRefCount.load(std::memory_order_relaxed); }

  /// @name Sections (take ownership; do nothing while another thread owns the sink)
  /// Prints the formatted title and a line "{", then indents one level deeper; returns the
  /// title (empty when another thread owns the sink).
  virtual Tstring beginSection(const char* fmt, ...) VELA_PRINTF_FORMAT(2, 3);
  /// Closes a section with "} // " and the formatted text ("} // (empty)" for a null format).
  virtual void endSection(const char* fmt, ...) VELA_PRINTF_FORMAT(2, 3);
  /// Closes a section with "}".
  virtual void endSection();
  virtual Tstring vbeginSection(const char* fmt, va_list args);
  virtual void vendSection(const char* fmt, va_list args);

  /// @name Printing
  /// Prints a line: time stamp (when timed) and indentation, then the formatted text.
  virtual void print(const char* fmt, ...) VELA_PRINTF_FORMAT(2, 3);
  /// Prints the formatted text without time stamp or indentation.
  virtual void printNoIndent(const char* fmt, ...) VELA_PRINTF_FORMAT(2, 3);
  /// Prints the indentation, "ERR: ", then the formatted text.
  virtual void printError(const char* fmt, ...) VELA_PRINTF_FORMAT(2, 3);
  /// Prints a marker line around `mark`, easy to find in a long log.
  virtual void printMark(const char* mark);
  /// Prints the calling thread's stack, one line per frame, innermost first: the caller of
  /// printStack is frame 0 unless `skip` frames are left out; at most `depth` frames (0: all).
  /// A line reads "#N 0xADDRESS function+0xOFFSET (module)"; functions their module does not
  /// export show "??" (see vela::platform::captureStack).
  virtual void printStack(int skip, int depth);
  virtual void vprint(const char* fmt, va_list args);
  virtual void vprintNoIndent(const char* fmt, va_list args);
  virtual void vprintError(const char* fmt, va_list args);
  /// Formats into the sink's buffer, growing it in 1024-byte steps until the text fits. Returns
  /// false (buffer unchanged in meaning) for a null format or a text too long to hold.
  virtual bool doFormatToReportString(const char* fmt, va_list args);

  /// @name Target
  /// "stdout", "stderr", or "STREAM: 0x..." with the stream's address; subclasses name theirs.
  [[nodiscard]] virtual Tstring name() const;
  /// Closes the target (file sinks reopen on the next write).
  virtual void close();
  /// Closes the target for good.
  virtual void closeNoReopen();
  /// Opens the target if it is closed.
  virtual void open();
  /// The target stream.
  [[nodiscard]] std::ostream& stream() const { return *fStream; }

  /// @name Indentation (changes take ownership)
  /// Moves the indentation level by `delta` (may go negative: then "<<<" per missing level).
  void setIndent(int delta);
  /// Sets the indentation level.
  void setIndentAbsolute(unsigned int level);
  /// The indentation level.
  [[nodiscard]] int indent() const;
  /// Limits the printed indentation to `levels` units (0: no limit); deeper levels print
  /// "-%3d ->" with the excess first.
  void setMaxIndent(int levels);
  /// Whether the level is beyond the maximum.
  [[nodiscard]] bool isOverMaxIndent() const;
  /// Switches indentation (and time stamps) of print() on or off.
  void setUseIndent(bool use);
  /// Makes the next print() omit time stamp and indentation (to continue a line).
  void skipNextIndent();
  /// The text printed for the current level.
  [[nodiscard]] Tstring indentationString() const;

  /// @name Time stamps
  /// Prefixes each printed line with a time stamp.
  void setTimed(bool timed);
  [[nodiscard]] bool isTimed() const { return fTimed.load(std::memory_order_relaxed); }
  /// The current time as printed before lines: "HH:MM:SS.mmm " (UTC).
  [[nodiscard]] static Tstring timeString();

  /// @name Ownership
  /// Takes ownership for the calling thread (nesting); false when another thread owns it.
  bool acquireOwnership();
  /// Undoes one acquireOwnership() of the owning thread.
  void releaseOwnership();
  /// The system id of the owning thread (truncated to 32 bits), 0 when unowned.
  [[nodiscard]] std::uint32_t owner() const { return fOwner.load(std::memory_order_acquire); }

  /// The size of the format buffer in bytes.
  [[nodiscard]] unsigned formatBufferSize() const;

  /// @name Process-wide
  /// The standard-output sink, "stdout"; made on first use, never deleted.
  [[nodiscard]] static TdebugOutput& sCout();
  /// The standard-error sink, "stderr"; made on first use, never deleted.
  [[nodiscard]] static TdebugOutput& sCerr();
  /// `text`, or "(null)" for a null pointer.
  [[nodiscard]] static const char* sNullString(const char* text);
  /// "true" or "false".
  [[nodiscard]] static const char* sBoolString(bool value);
  /// Enters a sink in the process-wide list of outputs (the constructor does this).
  static void sAddNewOutput(TdebugOutput* output);
  /// The number of sinks in the process-wide list.
  [[nodiscard]] static int sNumOutputs();

 protected:
  /// Writes `text` to the target. Called with the print lock held.
  virtual void reportString(const char* text);
  /// Writes the format buffer to the target. Called with the print lock held.
  virtual void reportString();
  /// Points the sink at another stream (for subclasses that own theirs).
  void setStream(std::ostream* stream) { fStream = stream; }

  /// Serialises formatting and writing so that lines stay whole; subclasses take it around
  /// their own uses of the target.
  mutable TmtCriticalSection fPrintLock;

 private:
  friend class TdbTrace;

  enum class Tline { kPlain, kNoIndent, kError };
  /// The shared tail of every print: formats, then writes prefix and text under the lock.
  void emit(Tline kind, const char* extraPrefix, const char* fmt, va_list args);
  void rebuildIndentation();  // fPrintLock held
  static void sRemoveOutput(TdebugOutput* output);

  std::ostream* fStream;
  mutable std::atomic<int> fRefCount{0};
  std::atomic<std::uint32_t> fOwner{0};
  std::uint32_t fOwnerDepth = 0;  // touched by the owning thread only

  std::string fIndentUnit = "   ";
  std::string fUnderflowUnit = "<<<";
  std::string fIndentation;  // the cached text for fLevel; fPrintLock
  int fLevel = 0;            // fPrintLock
  int fMaxIndent = 0;        // fPrintLock

  char* fBuffer = nullptr;   // fPrintLock
  unsigned fBufferSize = 0;  // fPrintLock

  std::atomic<bool> fUseIndent{true};
  std::atomic<bool> fSkipNextIndent{false};
  std::atomic<bool> fTimed{false};
};
