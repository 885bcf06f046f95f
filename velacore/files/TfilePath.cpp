#include <velacore/files/TfilePath.h>

#include <velacore/base/Texception.h>
#include <velacore/base/TstringCatalog.h>
#include <velacore/files/TfileURI.h>
#include <velacore/files/internal/TpathText.h>
#include <velacore/platform/TplatformFiles.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <vector>

namespace pf = vela::platform;

using vela::files_internal::toTstring;
using vela::files_internal::view;

namespace {

std::string withSlashes(std::string text) {
  for (char& c : text)
    if (c == '\\') c = '/';
  return text;
}

// The second setting step: a bare drive as written, otherwise the absolute form of an existing
// path. Returns 0 with `out` set, or the errno value of the failure.
int resolve(const std::string& text, std::string& out) {
  if (text.size() >= 2 && text.size() < 4 && text[1] == ':') {
    out = withSlashes(text);
    return 0;
  }
  std::string full;
  int error = pf::fullPath(text, full);
  pf::FileStatus status;
  if (error == 0) error = pf::fileStatus(full, status);
  if (error == 0) {
    out.swap(full);
    return 0;
  }
  // "\" names a character of file names on this host; only when the text as written does not
  // exist is it read as a separator, so that paths typed the Windows way still work.
  if (text.find('\\') != std::string::npos) {
    if (pf::fullPath(withSlashes(text), full) == 0 && pf::fileStatus(full, status) == 0) {
      out.swap(full);
      return 0;
    }
  }
  return error;
}

std::string message(const char* key, const Tstring& path) {
  const Tstring format(TstringCatalog::sText(key));
  Tstring text;
  text.tFormat(&format, &path);
  return text.asC();
}

int statusOf(const Tstring& path, pf::FileStatus& status) {
  return pf::fileStatus(std::string(view(path)), status);
}

// What operator== compares: the absolute text (or the text itself when it has none) and the
// status record (zero when there is none).
struct Tidentity {
  std::string full;
  pf::FileStatus status;
  explicit Tidentity(const Tstring& path) {
    // The status of the absolute form, so that "missing/../f" and "f" are one file here as they
    // are for the full-path rule.
    const std::string text(view(path));
    if (pf::fullPath(text, full) != 0) full = text;
    (void)pf::fileStatus(full, status);
  }
  bool operator==(const Tidentity& o) const {
    const bool sameText = pf::kFileNamesIgnoreCase
                              ? Tstring(full.c_str()).caseCompare(Tstring(o.full.c_str())) == 0
                              : full == o.full;
    return sameText && status.device == o.status.device && status.size == o.status.size &&
           status.changeSeconds == o.status.changeSeconds &&
           status.changeNanoseconds == o.status.changeNanoseconds;
  }
};

}  // namespace

// ---- setting ---------------------------------------------------------------------------

TfilePath::TfilePath(const Tstring& path) {
  Tstring expanded;
  if (assign(path, expanded) != 0) fPath = expanded;
}

TfilePath::TfilePath(const char* path) : TfilePath(Tstring(path)) {}

TfilePath::~TfilePath() = default;

TfilePath& TfilePath::operator=(const Tstring& path) {
  Tstring expanded;
  if (assign(path, expanded) != 0) fPath = expanded;
  return *this;
}

TfilePath& TfilePath::operator=(const char* path) { return *this = Tstring(path); }

int TfilePath::assign(const Tstring& path, Tstring& expanded) {
  expanded = expandEnvVars(path);
  std::string out;
  const int error = resolve(std::string(view(expanded)), out);
  if (error == 0) fPath = toTstring(out);
  return error;
}

void TfilePath::setPath(const char* path, bool allowInvalid) { setPath(Tstring(path), allowInvalid); }

void TfilePath::setPath(const Tstring& path, bool allowInvalid) {
  Tstring expanded;
  const int error = assign(path, expanded);
  if (error == 0) return;
  if (allowInvalid) {
    fPath = expanded;
    return;
  }
  fPath.clear();
  throw TfileException(error, message("s_TfilePathStrings.rPathNotFound", expanded));
}

bool TfilePath::isValid() const {
  pf::FileStatus status;
  return statusOf(fPath, status) == 0;
}

bool TfilePath::validatePath() {
  std::string out;
  if (resolve(std::string(view(fPath)), out) != 0) return false;
  fPath = toTstring(out);
  return true;
}

// ---- facts -------------------------------------------------------------------------------

bool TfilePath::isDirectory() const {
  pf::FileStatus status;
  return statusOf(fPath, status) == 0 && status.isFolder;
}

bool TfilePath::isHidden() const {
  if (!isValid()) return false;
  return lastPathElement(fPath, true).asC()[0] == '.';
}

Tstring TfilePath::owner() const { return Tstring("User"); }

Tstring TfilePath::group() const { return Tstring("Group"); }

Ttime TfilePath::modifyTime() const {
  pf::FileStatus status;
  if (const int error = statusOf(fPath, status))
    throw TfileException(error, message("s_TfilePathStrings.rNoFileStatus", fPath));
  return Ttime(status.modifySeconds, status.modifyNanoseconds);
}

std::uint64_t TfilePath::size() const {
  pf::FileStatus status;
  if (const int error = statusOf(fPath, status))
    throw TfileException(error, message("s_TfilePathStrings.rNoFileStatus", fPath));
  return status.size;
}

// ---- walking -----------------------------------------------------------------------------

void TfilePath::push(const Tstring& element, bool allowInvalid) {
  if (fPath.isEmpty()) return;
  Tstring candidate = fPath;
  if (!candidate.endsWith("/")) candidate += "/";
  candidate += element;
  const Tstring previous = fPath;
  try {
    setPath(candidate, allowInvalid);
  } catch (const TfileException& e) {
    fPath = previous;
    throw TfileException(e.code(), e.message());
  }
}

Tstring TfilePath::pop() {
  if (fPath.isEmpty() || !isValid()) return Tstring();
  const std::string_view text = view(fPath);
  std::size_t end = text.size();
  if (text.back() == '/') --end;
  const std::size_t slash = end == 0 ? std::string_view::npos : text.rfind('/', end - 1);
  if (slash == std::string_view::npos) return Tstring();
  const Tstring element = toTstring(text.substr(slash + 1, end - slash - 1));
  fPath = toTstring(text.substr(0, slash == 0 ? 1 : slash));
  return element;
}

// ---- comparison ------------------------------------------------------------------------------

bool TfilePath::operator==(const TfilePath& other) const { return *this == other.fPath; }

bool TfilePath::operator==(const Tstring& other) const {
  return Tidentity(fPath) == Tidentity(other);
}

bool TfilePath::operator==(const char* other) const { return *this == Tstring(other); }

// ---- path text -----------------------------------------------------------------------------

namespace {

// The output pieces of simplifyPath: a small stack buffer that moves to the heap for deep paths.
class TpieceList {
 public:
  std::size_t size() const { return fSize; }
  std::string_view& operator[](std::size_t i) { return fData[i]; }
  void writeAt(std::size_t pos, std::string_view piece) {
    if (pos < fSize) {
      fData[pos] = piece;
      return;
    }
    if (fSize == fCapacity) grow();
    fData[fSize++] = piece;
  }
  void eraseAt(std::size_t pos) {
    for (std::size_t i = pos + 1; i < fSize; ++i) fData[i - 1] = fData[i];
    --fSize;
  }

 private:
  void grow() {
    fHeap.assign(fData, fData + fSize);
    fHeap.resize(fCapacity * 2);
    fData = fHeap.data();
    fCapacity *= 2;
  }
  std::string_view fLocal[48];
  std::vector<std::string_view> fHeap;
  std::string_view* fData = fLocal;
  std::size_t fSize = 0;
  std::size_t fCapacity = 48;
};

}  // namespace

Tstring TfilePath::simplifyPath(const Tstring& path) {
  const std::string_view text = view(path);
  const std::size_t n = text.size();
  if (n == 0) return path;
  const bool endsWithSeparator = text.back() == '/';
  TpieceList out;
  std::size_t pos = 0;
  long depth = 0;
  bool leadingDot = false;
  bool unchanged = true;  // every piece written in order: the result is the input
  std::size_t start = 0;
  for (std::size_t index = 0;; ++index) {
    std::size_t end = text.find('/', start);
    if (end == std::string_view::npos) end = n;
    const std::string_view piece = text.substr(start, end - start);
    if (piece.empty()) {
      if (pos == out.size() && !leadingDot) {
        out.writeAt(pos++, piece);
      } else {
        if (pos == out.size()) leadingDot = false;
        unchanged = false;
      }
    } else if (piece == "..") {
      if (depth < 1) {
        unchanged = unchanged && pos == out.size();
        out.writeAt(pos++, piece);
      } else {
        unchanged = false;
        --pos;
        if (out[pos].empty()) {
          out.eraseAt(pos);
          if (pos > 0) --pos;
        }
      }
      --depth;
    } else if (piece == ".") {
      if (index == 0) leadingDot = true;
      unchanged = false;
    } else {
      unchanged = unchanged && pos == out.size();
      out.writeAt(pos++, piece);
      ++depth;
    }
    if (end == n) break;
    start = end + 1;
    if (start == n) break;  // a trailing separator adds no piece
  }
  if (unchanged) return path;
  std::size_t length = 0;
  for (std::size_t i = 0; i < pos; ++i) length += out[i].size() + 1;
  std::string result;
  result.reserve(length + 1);
  for (std::size_t i = 0; i < pos; ++i) {
    if (i != 0) result += '/';
    result += out[i];
  }
  if (endsWithSeparator && pos != 0) result += '/';
  return toTstring(result);
}

Tstring TfilePath::canonicalizeDirectoryPaths(const Tstring& path) {
  const std::string_view text = view(path);
  std::string out;
  out.reserve(text.size() + 1);
  const auto isSep = [](char c) { return c == '/' || c == '\\'; };
  const bool unc = text.size() >= 2 && isSep(text[0]) && isSep(text[1]);
  if (unc) out += '/';
  for (char c : text) {
    if (isSep(c)) {
      if (out.empty() || out.back() != '/' || (unc && out.size() == 1)) out += '/';
    } else {
      out += c;
    }
  }
  if (out.size() > 1 && out.back() == '/') out.pop_back();
  return toTstring(out);
}

Tstring TfilePath::removeRedundantInitialSeparators(const Tstring& path) {
  const std::string_view text = view(path);
  if (text.size() <= 1 || text[0] != '/') return path;
  const std::string_view rest = text.substr(1);
  const auto isSep = [](char c) { return c == '/' || c == '\\'; };
  const auto isAsciiLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  bool redundant = rest.size() >= 2 && isAsciiLetter(rest[0]) && rest[1] == ':';
  redundant = redundant || (rest.size() >= 2 && isSep(rest[0]) && isSep(rest[1]));
  if (!redundant && !rest.empty() && rest[0] == '.') {
    const std::size_t dots = rest.find_first_not_of('.');
    redundant = dots != std::string_view::npos && isSep(rest[dots]);
  }
  return redundant ? toTstring(rest) : path;
}

void TfilePath::ensureHasTrailingSeparator(Tstring& path) {
  if (!path.isEmpty() && path.asC()[path.length() - 1] != '/') path += "/";
}

Tstring TfilePath::tail(const Tstring& path) {
  const std::string_view text = view(path);
  const std::size_t slash = text.rfind('/');
  return slash == std::string_view::npos ? path : toTstring(text.substr(slash + 1));
}

Tstring TfilePath::lastPathElement(const Tstring& path, bool noTrailingSeparator) {
  std::string_view text = view(path);
  const auto isSep = [](char c) { return c == '/' || c == '\\'; };
  const bool trailing = !text.empty() && isSep(text.back());
  if (trailing) text.remove_suffix(1);
  Tstring element = toTstring(text).baseName();
  if (trailing && !noTrailingSeparator) ensureHasTrailingSeparator(element);
  return element;
}

// ---- tests on text -------------------------------------------------------------------------

bool TfilePath::hasEnvOrTilde(const Tstring& path) { return path.index('$') >= 0; }

bool TfilePath::containsEnvVars(const Tstring& path) {
  const std::string_view text = view(path);
  const std::size_t first = text.find('%');
  return text.find('$') != std::string_view::npos ||
         (first != std::string_view::npos && text.find('%', first + 1) != std::string_view::npos);
}

bool TfilePath::startsWithEnvVars(const Tstring& path) {
  const char c = path.asC()[0];
  return c == '$' || c == '%';
}

bool TfilePath::isFullPathAnyPlatform(const Tstring& path) {
  const char* s = path.asC();
  if (s[0] == '/' || s[0] == '\\') return true;
  const bool letter = (s[0] >= 'a' && s[0] <= 'z') || (s[0] >= 'A' && s[0] <= 'Z');
  return letter && s[1] == ':';
}

bool TfilePath::isRelativePathAnyPlatform(const Tstring& path) {
  return !path.isEmpty() && !isFullPathAnyPlatform(path) && !TfileURI::isValidURI(path);
}
