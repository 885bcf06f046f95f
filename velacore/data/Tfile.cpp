#include <velacore/data/Tfile.h>

#include <velacore/base/Texception.h>
#include <velacore/base/TstringCatalog.h>
#include <velacore/data/internal/TdataFiles.h>
#include <velacore/strings/Tstring.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fstream>

void Tfile::writeDouble(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.17g", v);
  fText += buf;
}

void Tfile::writeFloat(float v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.9g", double(v));
  fText += buf;
}

void Tfile::writeInt(long long v) { fText += std::to_string(v); }

void Tfile::writeUInt(unsigned long long v) { fText += std::to_string(v); }

void Tfile::writeQuoted(const char* text) {
  fText += '"';
  for (const char* c = text != nullptr ? text : ""; *c != '\0'; ++c) {
    if (*c == '"' || *c == '\\') fText += '\\';
    fText += *c;
  }
  fText += '"';
}

template <class T>
void Tfile::writeElements(const TvalueArray<T>& a) {
  writeUInt(a.size());
  for (const T& v : a) {
    fText += ' ';
    writeNumber(v);
  }
}

void Tfile::writeArray(const TdoubleArray& a) { writeElements(a); }
void Tfile::writeArray(const TfloatArray& a) { writeElements(a); }
void Tfile::writeArray(const Tint16Array& a) { writeElements(a); }
void Tfile::writeArray(const Tint32Array& a) { writeElements(a); }
void Tfile::writeArray(const Tint64Array& a) { writeElements(a); }
void Tfile::writeArray(const TuInt8Array& a) { writeElements(a); }
void Tfile::writeArray(const TuInt32Array& a) { writeElements(a); }
void Tfile::writeArray(const TuInt64Array& a) { writeElements(a); }

void Tfile::save(const char* path) const {
  vela::data_internal::saveBytes(path, fText.data(), fText.size());
}

namespace vela::data_internal {

void throwFileError(const char* key, const char* path, int code) {
  const Tstring format(TstringCatalog::sText(key));
  const Tstring file(path != nullptr ? path : "");
  const Tstring reason(std::strerror(code));
  Tstring text;
  text.tFormat(&format, &file, &reason);
  throw TfileException(code, text.asC());
}

void saveBytes(const char* path, const void* bytes, std::size_t count) {
  errno = 0;
  std::ofstream out(path != nullptr ? path : "", std::ios::binary | std::ios::trunc);
  if (out) out.write(static_cast<const char*>(bytes), std::streamsize(count));
  if (out) out.flush();
  if (!out) throwFileError("s_TiffStrings.rCannotWrite", path, errno != 0 ? errno : EIO);
}

}  // namespace vela::data_internal
