// TglobalTranslatorBase: what readers of values need to know about the file being read.
//
// Values whose disk form changed between file versions (animation times went from 4 to 8
// bytes) ask for the version of the file being decoded. A reader sets it for the time it
// decodes a file:
//
//   TglobalTranslatorBase::TreadingScope scope(file.version());
//   data.readBinary(tag, size, cursor);   // sees file.version()
//
// The setting belongs to the calling thread, so threads can read files of different versions
// at the same time. Outside a scope it is kCurrentFileVersion.
#pragma once

#include <velacore/base/TvelacoreApi.h>

class VELACORE_API TglobalTranslatorBase {
 public:
  /// The version this library writes.
  static constexpr int kCurrentFileVersion = 208;

  /// The version of the file this thread is reading.
  [[nodiscard]] static int currentlyReadingFileVersion();
  /// Sets it; returns the previous value.
  static int setCurrentlyReadingFileVersion(int version);

  /// Sets the version for its lifetime, then restores the previous one.
  class TreadingScope {
   public:
    explicit TreadingScope(int version) : fPrevious(setCurrentlyReadingFileVersion(version)) {}
    ~TreadingScope() { setCurrentlyReadingFileVersion(fPrevious); }
    TreadingScope(const TreadingScope&) = delete;
    TreadingScope& operator=(const TreadingScope&) = delete;

   private:
    int fPrevious;
  };
};
