#include <velacore/data/TglobalTranslatorBase.h>

namespace {
thread_local int tlReadingVersion = TglobalTranslatorBase::kCurrentFileVersion;
}  // namespace

int TglobalTranslatorBase::currentlyReadingFileVersion() { return tlReadingVersion; }

int TglobalTranslatorBase::setCurrentlyReadingFileVersion(int version) {
  const int previous = tlReadingVersion;
  tlReadingVersion = version;
  return previous;
}
