#include <velacore/files/TfileName.h>

#include <string>

namespace {

bool holdsAny(const Tstring& text, const Tstring& set) { return text.findAny(set) >= 0; }

}  // namespace

const Tstring& TfileName::invalidBaseChars() {
  static const Tstring chars("[];*?\"`'\\/:");
  return chars;
}

const Tstring& TfileName::invalidDirChars() {
  static const Tstring chars("[];*?\"`'");
  return chars;
}

void TfileName::setExt(const Tstring& ext) {
  if (ext == this->ext()) return;
  Tstring name = dirName();
  name += basePrefix();
  name += ".";
  name += ext;
  fPath = name;
}

bool TfileName::isValidBaseName() const {
  return !holdsAny(fPath, invalidBaseChars()) && fPath == baseName();
}

bool TfileName::hasValidBaseName() const { return !holdsAny(baseName(), invalidBaseChars()); }

bool TfileName::hasValidDirName() const { return !holdsAny(dirName(), invalidDirChars()); }

bool TfileName::isValid() const {
  if (holdsAny(fPath, invalidDirChars())) return false;
  const Tstring base = baseName();
  if (!base.isEmpty() && holdsAny(base, invalidBaseChars())) return false;
  return dirName().isEmpty() || hasValidDirName();
}

Tstring TfileName::validateWith(const Tstring& replaceChars) {
  if (replaceChars.isEmpty() || !holdsAny(fPath, replaceChars)) return fPath;
  const char16_t* set = replaceChars.asW();
  const unsigned setLength = replaceChars.numChars();
  std::u16string text(fPath.asW(), fPath.numChars());
  for (char16_t& c : text) {
    for (unsigned i = 0; i < setLength; ++i) {
      if (c == set[i]) {
        c = u'_';
        break;
      }
    }
  }
  fPath = Tstring(text.data(), static_cast<unsigned int>(text.size()));
  return fPath;
}
