#include <velacore/debug/TdebugOutputFile.h>

#include <velacore/base/internal/Timmortal.h>
#include <velacore/environment/VelaEnv.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace {

// File sinks by full name, for sFindNamedOutput. A sink enters at the end of its constructor and
// leaves at the start of its destructor, so the list never shows a half-made sink.
struct TfileRegistry {
  TmtCriticalSection lock;
  std::vector<TdebugOutputFile*> files;
};

TfileRegistry& fileRegistry() {
  static Timmortal<TfileRegistry> sRegistry;
  return *sRegistry;
}

}  // namespace

Tstring TdebugOutputFile::sFullFileName(const Tstring& fileName) {
  const std::string name = fileName.asC();
  if (name.empty() || name.front() == '/') return fileName;
  for (const char* variable : {"VELA_DEBUG_LOCATION", "BUILD", "VELA_APP_DIR"}) {
    const char* dir = VelaGetEnv(variable);
    if (dir == nullptr || *dir == '\0') continue;
    std::string full = dir;
    if (full.back() != '/') full += '/';
    full += name;
    return Tstring(full.c_str());
  }
  std::error_code error;
  const std::filesystem::path here = std::filesystem::current_path(error);
  if (error) return fileName;
  return Tstring((here / name).string().c_str());
}

TdebugOutputFile::TdebugOutputFile(const Tstring& fileName, unsigned bufferSize)
    : TdebugOutput(nullptr, bufferSize), fFullName(sFullFileName(fileName)) {
  setStream(&fFile);
  TfileRegistry& r = fileRegistry();
  TmtScopedLock guard(r.lock);
  r.files.push_back(this);
}

TdebugOutputFile::~TdebugOutputFile() {
  TfileRegistry& r = fileRegistry();
  TmtScopedLock guard(r.lock);
  r.files.erase(std::remove(r.files.begin(), r.files.end(), this), r.files.end());
}

TdebugOutputFile* TdebugOutputFile::sFindNamedOutput(const Tstring& fileName) {
  const Tstring full = sFullFileName(fileName);
  TfileRegistry& r = fileRegistry();
  TmtScopedLock guard(r.lock);
  for (TdebugOutputFile* file : r.files) {
    if (file->fFullName == full) return file;
  }
  return nullptr;
}

TdebugOutputFile* TdebugOutputFile::sFindOrMakeNamedOutput(const Tstring& fileName) {
  const Tstring full = sFullFileName(fileName);
  {
    TfileRegistry& r = fileRegistry();
    TmtScopedLock guard(r.lock);
    for (TdebugOutputFile* file : r.files) {
      if (file->fFullName == full && file->tryRef()) return file;
    }
  }
  auto* made = new TdebugOutputFile(full);
  made->ref();
  return made;
}

Tstring TdebugOutputFile::name() const { return fFullName; }

int TdebugOutputFile::openState() const {
  TmtScopedLock guard(fPrintLock);
  return fOpenState;
}

bool TdebugOutputFile::ensureOpen() {
  if (fOpenState == kOpen) return true;
  if (fNoReopen) return false;
  // The first open starts a fresh log; a reopen after close() continues it.
  const auto mode = fOpenState == kNeverOpened ? std::ios::out | std::ios::trunc
                                               : std::ios::out | std::ios::app;
  errno = 0;
  fFile.clear();
  fFile.open(fFullName.asC(), mode);
  if (!fFile.is_open()) {
    if (!fFailureReported) {
      fFailureReported = true;
      const int code = errno;
      TdebugOutput::sCerr().print("ERR: cannot open debug output file '%s': %s\n",
                                  fFullName.asC(),
                                  code != 0 ? std::strerror(code) : "open failed");
    }
    return false;
  }
  fOpenState = kOpen;
  fFailureReported = false;
  return true;
}

void TdebugOutputFile::reportString(const char* text) {
  if (text != nullptr && ensureOpen()) fFile << text;
}

void TdebugOutputFile::reportString() {
  TdebugOutput::reportString();  // the format buffer, through reportString(const char*)
  if (fOpenState == kOpen) fFile.flush();  // a crash must not eat the last lines
}

void TdebugOutputFile::close() {
  TmtScopedLock guard(fPrintLock);
  if (fOpenState == kOpen) {
    fFile.close();
    fOpenState = kClosed;
  }
}

void TdebugOutputFile::closeNoReopen() {
  TmtScopedLock guard(fPrintLock);
  if (fOpenState == kOpen) fFile.close();
  if (fOpenState != kNeverOpened) fOpenState = kClosed;
  fNoReopen = true;
}

void TdebugOutputFile::open() {
  TmtScopedLock guard(fPrintLock);
  fNoReopen = false;
  fFailureReported = false;
  ensureOpen();
}
