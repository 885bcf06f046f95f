// TdebugOutputFile: a debug output sink that writes to a file.
//
// A relative file name is placed in the first directory set among the environment variables
// VELA_DEBUG_LOCATION, BUILD and VELA_APP_DIR, else in the current directory; an absolute name is
// used as given. The file is created (emptied) on the first write, not at construction, so a
// trace that never prints leaves no file behind:
//
//   auto* log = new TdebugOutputFile("geometry.txt");   // $VELA_DEBUG_LOCATION/geometry.txt
//   log->ref();
//   log->print("%d faces\n", faces);                    // creates the file
//   log->close();                                        // the next write appends again
//   log->unref();                                        // closes and deletes the sink
//
// A file that cannot be opened is reported once on standard error; the sink then drops its
// output instead of failing, and tries again after the next close() or open().
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/debug/TdebugOutput.h>
#include <velacore/types/TtypeDeclaration.h>

#include <fstream>

class VELACORE_API TdebugOutputFile : public TdebugOutput {
  VELA_DECLARE_TYPE(TdebugOutputFile);

 public:
  /// Open states of the file.
  enum TopenState : int { kNeverOpened = 0, kOpen = 1, kClosed = 2 };

  /// A sink for `fileName`, located as described above; nothing is opened yet.
  explicit TdebugOutputFile(const Tstring& fileName, unsigned bufferSize = kFormatBufferStep);
  ~TdebugOutputFile() override;

  /// The file's full name.
  [[nodiscard]] Tstring name() const override;
  /// Closes the file; the next write reopens it for appending.
  void close() override;
  /// Closes the file for good: later output is dropped.
  void closeNoReopen() override;
  /// Opens the file now (appending when it was open before).
  void open() override;
  /// kNeverOpened, kOpen or kClosed.
  [[nodiscard]] int openState() const;

  /// The full name a sink made for `fileName` would write to.
  [[nodiscard]] static Tstring sFullFileName(const Tstring& fileName);
  /// The file sink writing to `fileName` (located as above), or null. The sink is not
  /// referenced for the caller: ref() it before keeping it.
  [[nodiscard]] static TdebugOutputFile* sFindNamedOutput(const Tstring& fileName);
  /// The sink writing to `fileName` (located as above), made when there is none yet; referenced
  /// for the caller, who must unref() it.
  [[nodiscard]] static TdebugOutputFile* sFindOrMakeNamedOutput(const Tstring& fileName);

 protected:
  void reportString(const char* text) override;
  void reportString() override;

 private:
  bool ensureOpen();  // fPrintLock held

  Tstring fFullName;
  std::ofstream fFile;
  int fOpenState = kNeverOpened;  // fPrintLock
  bool fNoReopen = false;         // fPrintLock
  bool fFailureReported = false;  // fPrintLock
};
