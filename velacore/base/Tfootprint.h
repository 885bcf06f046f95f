// Footprint: what one object costs in memory, for the memory-footprint reports.
//
// An object fills in its fixed part field by field (the bytes inside the object itself) and the
// bytes it owns elsewhere (its buffers):
//
//   Footprint fp;
//   values.footprint(fp);
//   fp.fixedBytes();        // sizeof the fields listed by name
//   fp.referencedBytes();   // the element buffer's capacity in bytes
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstddef>

class VELACORE_API Footprint {
 public:
  /// One named field of the fixed part.
  struct Tfield {
    const char* name;
    std::size_t bytes;
  };
  static constexpr int kMaxFields = 16;

  /// Records one field of the object's fixed part. Fields past kMaxFields still count in
  /// fixedBytes() but are not listed.
  void addField(const char* name, std::size_t bytes) {
    if (fCount < kMaxFields) fFields[fCount++] = {name, bytes};
    fFixed += bytes;
  }
  /// Records memory that the object owns outside itself.
  void addReferenced(std::size_t bytes) { fReferenced += bytes; }

  [[nodiscard]] int fieldCount() const { return fCount; }
  [[nodiscard]] const Tfield& field(int i) const { return fFields[i]; }
  [[nodiscard]] std::size_t fixedBytes() const { return fFixed; }
  [[nodiscard]] std::size_t referencedBytes() const { return fReferenced; }
  [[nodiscard]] std::size_t totalBytes() const { return fFixed + fReferenced; }

 private:
  Tfield fFields[kMaxFields] = {};
  int fCount = 0;
  std::size_t fFixed = 0;
  std::size_t fReferenced = 0;
};
