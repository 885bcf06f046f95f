// Tstring: lifetime, setting, appending, access, comparison, search, pieces and splitting.
#include <velacore/strings/Tstring.h>

#include <velacore/base/Tfootprint.h>
#include <velacore/base/internal/Timmortal.h>
#include <velacore/containers/ThashFunction.h>
#include <velacore/strings/internal/TtextObject.h>

#include <QStringView>

#include <algorithm>
#include <climits>
#include <functional>
#include <cstring>

const char* const Tstring::kNullStr = "";
int Tstring::fsPrecision = 6;
bool Tstring::fsFloatClampingOnConversion = true;

namespace {

const std::string& emptyNarrow() {
  static Timmortal<const std::string> sEmpty;
  return *sEmpty;
}
const QString& emptyWide() {
  static Timmortal<const QString> sEmpty;
  return *sEmpty;
}

inline TtextObject* bodyOf(TstringRep* rep) { return static_cast<TtextObject*>(rep); }

inline bool isAsciiBytes(const char* p, std::size_t n) { return TtextObject::isAscii(p, n); }

}  // namespace

// ---- body access -------------------------------------------------------------------------

const std::string& TstringAccess::narrow(const Tstring& s) {
  TtextObject* t = text(s);
  if (t == nullptr) return emptyNarrow();
  t->syncNarrow();
  return t->fNarrow;
}

const QString& TstringAccess::wide(const Tstring& s) {
  TtextObject* t = text(s);
  if (t == nullptr) return emptyWide();
  t->syncWide();
  return t->fWide;
}

TtextObject& TstringAccess::detach(Tstring& s, bool keep) {
  if (s.fRep == nullptr) {
    s.fRep = new TtextObject;
  } else if (s.fRep->fRefCount.load(std::memory_order_acquire) > 1) {
    TtextObject* fresh = keep ? new TtextObject(*bodyOf(s.fRep)) : new TtextObject;
    Tstring::release(s.fRep);
    s.fRep = fresh;
  }
  return *bodyOf(s.fRep);
}

std::string& TstringAccess::editNarrow(Tstring& s) {
  TtextObject& t = detach(s, true);
  t.syncNarrow();
  t.changed(TtextObject::kNarrowPending);
  return t.fNarrow;
}

QString& TstringAccess::editWide(Tstring& s) {
  TtextObject& t = detach(s, true);
  t.syncWideForEdit();
  t.changed(TtextObject::kWideOnly);
  return t.fWide;
}

void TstringAccess::setNarrow(Tstring& s, const char* bytes, std::size_t length) {
  if (bytes == nullptr || length == 0) {
    s.clear();
    return;
  }
  if (s.fRep != nullptr && s.fRep->fRefCount.load(std::memory_order_acquire) == 1) {
    TtextObject& t = *bodyOf(s.fRep);
    std::string& n = t.fNarrow;
    const std::less<const char*> before;
    if (before(bytes, n.data()) || !before(bytes, n.data() + n.capacity())) {
      n.clear();  // bytes from elsewhere: a plain copy (cheaper than a general assign)
      n.append(bytes, length);
    } else {
      n.assign(bytes, length);  // safe when `bytes` lies inside the text
    }
    t.changed(TtextObject::kNarrowPending);
    return;
  }
  // Build the new body before letting go of the old one: the bytes may live in it.
  auto* fresh = new TtextObject(bytes, length);
  Tstring::release(s.fRep);
  s.fRep = fresh;
}

void TstringAccess::setWide(Tstring& s, QString wide) {
  if (wide.isEmpty()) {
    s.clear();
    return;
  }
  TtextObject& t = detach(s, false);
  t.fWide = std::move(wide);
  t.changed(TtextObject::kWideOnly);
}

void Tstring::destroyRep(TstringRep* rep) noexcept { delete bodyOf(rep); }

// ---- construction and assignment ---------------------------------------------------------

Tstring::Tstring(const char* bytes) {
  if (bytes != nullptr && *bytes != '\0') TstringAccess::setNarrow(*this, bytes, std::strlen(bytes));
}

Tstring::Tstring(const char* bytes, unsigned int length) {
  TstringAccess::setNarrow(*this, bytes, length);
}

Tstring::Tstring(const char16_t* wide) { set(wide); }

Tstring::Tstring(const char16_t* wide, unsigned int length) { set(wide, length); }

Tstring::Tstring(TstringId id) { copy(id); }

Tstring& Tstring::operator=(const char* bytes) {
  copy(bytes);
  return *this;
}

Tstring& Tstring::operator=(const char16_t* wide) {
  set(wide);
  return *this;
}

int Tstring::copy(const Tstring& other) {
  *this = other;
  return 0;
}

int Tstring::copy(const char* bytes) {
  TstringAccess::setNarrow(*this, bytes, bytes == nullptr ? 0 : std::strlen(bytes));
  return 0;
}

int Tstring::copy(const char* bytes, unsigned int length) {
  TstringAccess::setNarrow(*this, bytes, length);
  return 0;
}

int Tstring::copy(TstringId id) { return copy(TstringCatalog::sText(id)); }

int Tstring::set(const char16_t* wide) {
  unsigned int n = 0;
  if (wide != nullptr)
    while (wide[n] != 0) ++n;
  return set(wide, n);
}

int Tstring::set(const char16_t* wide, unsigned int length) {
  if (wide == nullptr || length == 0) {
    clear();
    return 0;
  }
  TstringAccess::setWide(*this,
                         QString(reinterpret_cast<const QChar*>(wide), static_cast<int>(length)));
  return 0;
}

void Tstring::clear() {
  if (fRep == nullptr) return;
  if (fRep->fRefCount.load(std::memory_order_acquire) == 1) {
    TtextObject& t = *bodyOf(fRep);
    t.fNarrow.clear();
    t.fWide.clear();
    t.changed(TtextObject::kSynced);
  } else {
    TstringAccess::drop(*this);
  }
}

void Tstring::reserve(unsigned int n, bool keep) {
  TtextObject& t = TstringAccess::detach(*this, keep);
  if (!keep) {
    t.fNarrow.clear();
    t.fWide.clear();
    t.changed(TtextObject::kSynced);
  }
  if (t.narrowValid()) t.fNarrow.reserve(n);
  if (t.wideValid()) t.fWide.reserve(static_cast<int>(std::min<unsigned int>(n, INT_MAX)));
}

void Tstring::resize(unsigned int byteLength) {
  if (byteLength == length()) return;
  TstringAccess::editNarrow(*this).resize(byteLength, '\0');
}

void Tstring::shrink() {
  if (fRep == nullptr || fRep->fRefCount.load(std::memory_order_acquire) != 1) return;
  TtextObject& t = *bodyOf(fRep);
  if (t.narrowValid()) t.fNarrow.shrink_to_fit();
  if (t.wideValid()) t.fWide.squeeze();
}

// ---- appending ---------------------------------------------------------------------------

int Tstring::catenateSlow(const char* bytes, unsigned int length) {
  if (bytes == nullptr || length == 0) return 0;
  if (isEmpty()) {
    TstringAccess::setNarrow(*this, bytes, length);
    return 0;
  }
  TtextObject* cur = TstringAccess::text(*this);
  if (cur->state() == TtextObject::kWideOnly) {
    QString tail = TtextObject::decode(bytes, length);  // decoded before `bytes` may move
    TstringAccess::editWide(*this).append(tail);
    return 0;
  }
  // A shared body: the new one takes both pieces at once.
  auto* fresh = new TtextObject;
  std::string& n = fresh->fNarrow;
  n.reserve(cur->fNarrow.size() + length);
  n.append(cur->fNarrow).append(bytes, length);
  fresh->fState.store(TtextObject::kNarrowPending, std::memory_order_relaxed);
  release(fRep);
  fRep = fresh;
  return 0;
}

int Tstring::catenate(TstringId id) {
  catenate(TstringCatalog::sText(id));
  return 0;
}

int Tstring::catenateSlow(const Tstring& other) {
  if (other.isEmpty()) return 0;
  if (isEmpty()) {
    *this = other;
    return 0;
  }
  TtextObject* mine = TstringAccess::text(*this);
  TtextObject* theirs = TstringAccess::text(other);
  if (mine->narrowValid() && theirs->narrowValid()) {
    const Tstring keep(other);  // `other` may be this very string
    const std::string& tail = theirs->fNarrow;
    return catenate(tail.data(), static_cast<unsigned int>(tail.size()));
  }
  const QString tail = TstringAccess::wide(other);
  TstringAccess::editWide(*this).append(tail);
  return 0;
}

int Tstring::appendW(const char16_t* wide, unsigned int length) {
  if (wide == nullptr || length == 0) return 0;
  const QString tail(reinterpret_cast<const QChar*>(wide), static_cast<int>(length));
  TstringAccess::editWide(*this).append(tail);
  return 0;
}

int Tstring::catenateInt32(int value) {
  char buf[16];
  const int n = std::snprintf(buf, sizeof buf, "%d", value);
  return catenate(buf, static_cast<unsigned int>(n));
}

int Tstring::catenateDouble(double value) {
  Tstring s;
  s.setDouble(value);
  return catenate(s);
}

int Tstring::appendSpace() { return catenate(" ", 1); }
int Tstring::appendNewline() { return catenate("\n", 1); }

Tstring operator+(const Tstring& a, const Tstring& b) {
  Tstring r(a);
  r.catenate(b);
  return r;
}

Tstring operator+(const Tstring& a, const char* b) {
  Tstring r(a);
  r.catenate(b);
  return r;
}

Tstring operator+(const char* a, const Tstring& b) {
  Tstring r(a);
  r.catenate(b);
  return r;
}

// ---- sizes and access --------------------------------------------------------------------

unsigned int Tstring::lengthSlow() const {
  return static_cast<unsigned int>(TstringAccess::narrow(*this).size());
}

unsigned int Tstring::numChars() const {
  return static_cast<unsigned int>(TstringAccess::wide(*this).size());
}

bool Tstring::isEmptySlow() const {
  const TtextObject* t = TstringAccess::text(*this);
  return t->narrowValid() ? t->fNarrow.empty() : t->fWide.isEmpty();
}

bool Tstring::isAscii() const {
  TtextObject* t = TstringAccess::text(*this);
  if (t == nullptr) return true;
  if (t->narrowValid()) return isAsciiBytes(t->fNarrow.data(), t->fNarrow.size());
  for (QChar c : t->fWide)
    if (c.unicode() >= 0x80) return false;
  return true;
}

char16_t Tstring::at(unsigned int index) const {
  const QString& w = TstringAccess::wide(*this);
  return index < static_cast<unsigned int>(w.size()) ? units(w)[index] : u'\0';
}

char Tstring::operator[](unsigned int index) const {
  const std::string& n = TstringAccess::narrow(*this);
  return index < n.size() ? n[index] : '\0';
}

unsigned int Tstring::last() const {
  const unsigned int n = numChars();
  return n == 0 ? 0 : n - 1;
}

const char* Tstring::asCSlow() const { return TstringAccess::narrow(*this).c_str(); }

char* Tstring::asNonConstC() {
  if (fRep == nullptr) return const_cast<char*>(kNullStr);  // nothing to write: length 0
  return TstringAccess::editNarrow(*this).data();
}

const char16_t* Tstring::asW() const { return units(TstringAccess::wide(*this)); }

const char* Tstring::asUTF8() const {
  TtextObject* t = TstringAccess::text(*this);
  return t == nullptr ? kNullStr : t->utf8().c_str();
}

unsigned int Tstring::asUTF8StoreSize() const {
  TtextObject* t = TstringAccess::text(*this);
  return t == nullptr ? 1 : static_cast<unsigned int>(t->utf8().size()) + 1;
}

int Tstring::setUTF8(const char* utf8, bool* ok) {
  return setUTF8(utf8, utf8 == nullptr ? 0 : static_cast<unsigned int>(std::strlen(utf8)), ok);
}

int Tstring::setUTF8(const char* utf8, unsigned int length, bool* ok) {
  if (utf8 == nullptr || length == 0) {
    clear();
    if (ok != nullptr) *ok = true;
    return 0;
  }
  // Decode (malformed sequences become U+FFFD) and encode again: the input was well formed
  // exactly when the round trip gives back the same bytes.
  QString wide = QString::fromUtf8(utf8, static_cast<int>(length));
  std::string back;
  TtextObject::encode(wide, back);
  const bool good = back.size() == length && std::memcmp(back.data(), utf8, length) == 0;
  if (ok != nullptr) *ok = good;
  TtextObject& t = TstringAccess::detach(*this, false);
  t.fNarrow = std::move(back);
  t.fWide = std::move(wide);
  t.changed(TtextObject::kSynced);
  t.fUtf8Checked.store(true, std::memory_order_relaxed);  // encoded from UTF-16: well formed
  return 0;
}

unsigned int Tstring::hashSlow() const {
  TstringAccess::narrow(*this);  // makes the byte form current; the inline path does the rest
  return hash();
}

void Tstring::footprint(Footprint& fp) const {
  fp.addField("fRep", sizeof fRep);
  TtextObject* t = TstringAccess::text(*this);
  if (t == nullptr) return;
  // A shared body is split between its holders so that a report sums to the real total.
  std::size_t bytes = sizeof(TstringBody);
  // Only the current forms are read: another holder may be converting into the stale one.
  if (t->narrowValid() && t->fNarrow.capacity() > 15) bytes += t->fNarrow.capacity() + 1;
  if (t->wideValid()) bytes += static_cast<std::size_t>(t->fWide.capacity()) * 2 + 2;
  fp.addReferenced(bytes / std::max(1u, refCount()));
}

// ---- comparison --------------------------------------------------------------------------

namespace {

int compareBytes(const std::string& a, const std::string& b) {
  const std::size_t n = std::min(a.size(), b.size());
  const int c = n == 0 ? 0 : std::memcmp(a.data(), b.data(), n);
  if (c != 0) return c < 0 ? -1 : 1;
  return a.size() < b.size() ? -1 : (a.size() > b.size() ? 1 : 0);
}

int compareWide(const QString& a, const QString& b) {
  const int c = QStringView(a).compare(QStringView(b), Qt::CaseSensitive);
  return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

}  // namespace

int Tstring::compare(const Tstring& other) const {
  if (fRep == other.fRep) return 0;
  const bool e1 = isEmpty();
  const bool e2 = other.isEmpty();
  if (e1 || e2) return e1 == e2 ? 0 : (e1 ? -1 : 1);
  TtextObject* a = TstringAccess::text(*this);
  TtextObject* b = TstringAccess::text(other);
  if (a->narrowValid() && b->narrowValid()) return compareBytes(a->fNarrow, b->fNarrow);
  return compareWide(TstringAccess::wide(*this), TstringAccess::wide(other));
}

int Tstring::compare(const char* bytes) const { return compare(Tstring(bytes)); }

int Tstring::caseCompare(const Tstring& other) const {
  if (fRep == other.fRep) return 0;
  const bool e1 = isEmpty();
  const bool e2 = other.isEmpty();
  if (e1 || e2) return e1 == e2 ? 0 : (e1 ? -1 : 1);
  const int c = QString::compare(TstringAccess::wide(*this), TstringAccess::wide(other),
                                 Qt::CaseInsensitive);
  return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

int Tstring::caseCompare(const char* bytes) const { return caseCompare(Tstring(bytes)); }

bool Tstring::equalSlow(const Tstring& other) const {
  if (fRep == nullptr || other.fRep == nullptr) return isEmpty() && other.isEmpty();
  // At least one holds only its wide form: make its bytes (once) and compare those, so that
  // equality, like the hash, never depends on which forms happen to exist.
  return TstringAccess::narrow(*this) == TstringAccess::narrow(other);
}

bool Tstring::operator==(const char* bytes) const {
  return std::strcmp(asC(), bytes == nullptr ? "" : bytes) == 0;
}
bool Tstring::operator!=(const char* bytes) const {
  return bytes != nullptr && std::strcmp(asC(), bytes) != 0;
}
bool Tstring::operator<(const char* bytes) const {
  return bytes != nullptr && std::strcmp(asC(), bytes) < 0;
}
bool Tstring::operator<=(const char* bytes) const {
  return std::strcmp(asC(), bytes == nullptr ? "" : bytes) <= 0;
}
bool Tstring::operator>(const char* bytes) const {
  return bytes != nullptr && std::strcmp(asC(), bytes) > 0;
}
bool Tstring::operator>=(const char* bytes) const {
  return bytes != nullptr && std::strcmp(asC(), bytes) >= 0;
}

// ---- search ------------------------------------------------------------------------------

int Tstring::index(char c, unsigned int start) const {
  const std::string& n = TstringAccess::narrow(*this);
  if (start >= n.size()) return -1;
  const void* p = std::memchr(n.data() + start, c, n.size() - start);
  return p == nullptr ? -1 : static_cast<int>(static_cast<const char*>(p) - n.data());
}

int Tstring::rindex(char c) const {
  const std::string& n = TstringAccess::narrow(*this);
  const std::size_t pos = n.rfind(c);
  return pos == std::string::npos ? -1 : static_cast<int>(pos);
}

int Tstring::rindex(char c, unsigned int start) const {
  const std::string& n = TstringAccess::narrow(*this);
  const std::size_t pos = n.rfind(c, start);
  return pos == std::string::npos ? -1 : static_cast<int>(pos);
}

int Tstring::findstr(const Tstring& s) const {
  if (s.isEmpty()) return isEmpty() ? -1 : 0;
  // An ASCII needle found in the byte form after an ASCII prefix sits at the same UTF-16
  // position; anything else is searched in the wide form.
  TtextObject* t = TstringAccess::text(*this);
  if (t != nullptr && t->narrowValid()) {
    const std::string& hay = t->fNarrow;
    const std::string& needle = TstringAccess::narrow(s);
    if (isAsciiBytes(needle.data(), needle.size())) {
      const void* at = memmem(hay.data(), hay.size(), needle.data(), needle.size());
      if (at == nullptr) return -1;
      const std::size_t pos = static_cast<std::size_t>(static_cast<const char*>(at) - hay.data());
      if (isAsciiBytes(hay.data(), pos)) return static_cast<int>(pos);
    }
  }
  return static_cast<int>(TstringAccess::wide(*this).indexOf(TstringAccess::wide(s)));
}

int Tstring::findrstr(const Tstring& s) const {
  if (s.isEmpty() || isEmpty()) return -1;
  return static_cast<int>(TstringAccess::wide(*this).lastIndexOf(TstringAccess::wide(s)));
}

int Tstring::findMB(char16_t c, unsigned int start) const {
  const QString& w = TstringAccess::wide(*this);
  if (start >= static_cast<unsigned int>(w.size())) return -1;
  return w.indexOf(QChar(c), static_cast<int>(start));
}

int Tstring::findMB(const Tstring& s, unsigned int start) const {
  const QString& w = TstringAccess::wide(*this);
  if (s.isEmpty() || start >= static_cast<unsigned int>(w.size())) return -1;
  return w.indexOf(TstringAccess::wide(s), static_cast<int>(start));
}

int Tstring::rfindMB(char16_t c) const {
  return TstringAccess::wide(*this).lastIndexOf(QChar(c));
}

int Tstring::rfindMB(const Tstring& s) const { return findrstr(s); }

int Tstring::findAny(const Tstring& set, unsigned int start) const {
  const QString& w = TstringAccess::wide(*this);
  if (start >= static_cast<unsigned int>(w.size())) return -1;  // also keeps 2^31 and up positive
  const QString& chars = TstringAccess::wide(set);
  for (int i = static_cast<int>(start); i < w.size(); ++i)
    if (chars.contains(w[i])) return i;
  return -1;
}

int Tstring::rfindAny(const Tstring& set) const {
  const QString& w = TstringAccess::wide(*this);
  const QString& chars = TstringAccess::wide(set);
  for (int i = w.size() - 1; i >= 0; --i)
    if (chars.contains(w[i])) return i;
  return -1;
}

bool Tstring::contains(const Tstring& set) const {
  if (isEmpty() || set.isEmpty()) return false;
  const QString& w = TstringAccess::wide(*this);
  for (QChar c : TstringAccess::wide(set))
    if (w.contains(c)) return true;
  return false;
}

bool Tstring::containsMultibyte() const { return !isAscii(); }

bool Tstring::containsMultibyte(Tstring& found) const {
  found.clear();
  if (isAscii()) return false;
  QString out;
  const QString& w = TstringAccess::wide(*this);
  for (int i = 0; i < w.size(); ++i) {
    const int len = w[i].isHighSurrogate() && i + 1 < w.size() && w[i + 1].isLowSurrogate() ? 2 : 1;
    if (w[i].unicode() >= 0x80) {
      const QStringView piece = QStringView(w).mid(i, len);
      if (!QStringView(out).contains(piece)) out.append(piece.toString());
    }
    i += len - 1;
  }
  TstringAccess::setWide(found, std::move(out));
  return true;
}

bool Tstring::startsWith(const Tstring& prefix) const {
  if (prefix.isEmpty()) return true;
  if (isEmpty() || prefix.length() > length()) return false;
  return TstringAccess::wide(*this).startsWith(TstringAccess::wide(prefix));
}

bool Tstring::endsWith(const Tstring& suffix) const {
  if (suffix.isEmpty()) return true;
  if (isEmpty() || suffix.length() > length()) return false;
  return TstringAccess::wide(*this).endsWith(TstringAccess::wide(suffix));
}

bool Tstring::isWildCard() const {
  const std::string& n = TstringAccess::narrow(*this);
  return n.find_first_of("*?") != std::string::npos;
}

bool Tstring::matches(const Tstring& pattern) const { return regMatch(asC(), pattern.asC()); }

bool Tstring::matches(const char* pattern) const {
  return regMatch(asC(), pattern == nullptr ? "" : pattern);
}

bool Tstring::regMatch(const char* text, const char* pattern) {
  // Only the most recent star ever needs to take more text: a later star can absorb whatever
  // an earlier one would have, so backtracking to the last star alone finds every match and
  // keeps the work at O(text x pattern) instead of exponential in the number of stars.
  const char* starPattern = nullptr;  // pattern just after the last star
  const char* starText = nullptr;     // where the text after that star begins now
  for (;;) {
    if (*pattern == '*') {
      while (*pattern == '*') ++pattern;
      if (*pattern == '\0') return true;  // a trailing star takes the rest at once
      starPattern = pattern;
      starText = text;
      continue;
    }
    if (*text == '\0') return *pattern == '\0';
    bool same = false;
    int step = 1;
    if (*pattern == '?') {
      same = true;
    } else if (*pattern != '\0') {
      char literal = *pattern;
      if (literal == '\\' && pattern[1] != '\0') {
        literal = pattern[1];
        step = 2;
      }
      same = *text == literal;
    }
    if (same) {
      ++text;
      pattern += step;
      continue;
    }
    if (starPattern == nullptr) return false;
    text = ++starText;  // let the last star take one more byte
    pattern = starPattern;
  }
}

// ---- pieces and splitting ----------------------------------------------------------------

int Tstring::substring(unsigned int first, unsigned int last, Tstring& out) const {
  const std::string& n = TstringAccess::narrow(*this);
  if (first > last || first >= n.size()) {
    out.clear();
    return 0;
  }
  const std::size_t end = std::min<std::size_t>(last, n.size() - 1) + 1;
  const Tstring keep(*this);  // `out` may be this string
  TstringAccess::setNarrow(out, n.data() + first, end - first);
  return 0;
}

Tstring Tstring::substring(unsigned int first, unsigned int last) const {
  Tstring out;
  substring(first, last, out);
  return out;
}

int Tstring::substringMB(unsigned int first, unsigned int last, Tstring& out) const {
  const QString& w = TstringAccess::wide(*this);
  if (first > last || first >= static_cast<unsigned int>(w.size())) {
    out.clear();
    return 0;
  }
  const unsigned int end = std::min<unsigned int>(last, static_cast<unsigned int>(w.size()) - 1) + 1;
  TstringAccess::setWide(out, w.mid(static_cast<int>(first), static_cast<int>(end - first)));
  return 0;
}

Tstring Tstring::substringMB(unsigned int first, unsigned int last) const {
  Tstring out;
  substringMB(first, last, out);
  return out;
}

int Tstring::splitImpl(const char* separators, unsigned int count, TsplitMode mode, TaddFn add,
                       void* array) const {
  // A byte separator below 0x80 never occurs inside a multibyte character, so the byte form
  // can be cut directly; other bytes go through the character form.
  if (count == 1 && static_cast<unsigned char>(separators[0]) < 0x80) {
    const std::string& n = TstringAccess::narrow(*this);
    if (n.empty()) return 0;
    const char sep = separators[0];
    if (n.find(sep) == std::string::npos) {
      add(array, *this);
      return 0;
    }
    std::size_t start = 0;
    for (;;) {
      const std::size_t pos = n.find(sep, start);
      const std::size_t end = pos == std::string::npos ? n.size() : pos;
      if (end > start) {
        add(array, Tstring(n.data() + start, static_cast<unsigned int>(end - start)));
      } else if (mode == kKeepEmpty && pos != std::string::npos) {
        add(array, Tstring());
      }
      if (pos == std::string::npos) break;
      start = pos + 1;
    }
    return 0;
  }
  const char16_t wide = static_cast<unsigned char>(separators[0]);
  return splitWideImpl(&wide, 1, mode, add, array);
}

int Tstring::splitWideImpl(const char16_t* separators, unsigned int count, TsplitMode mode,
                           TaddFn add, void* array) const {
  if (count == 1 && separators[0] < 0x80) {
    const char c = static_cast<char>(separators[0]);
    return splitImpl(&c, 1, mode, add, array);
  }
  if (isEmpty()) return 0;
  const QString w = TstringAccess::wide(*this);
  auto isSep = [&](char16_t u) {
    for (unsigned int i = 0; i < count; ++i)
      if (separators[i] == u) return true;
    return false;
  };
  const char16_t* p = units(w);
  const int n = w.size();
  bool any = false;
  for (int i = 0; i < n && !any; ++i) any = isSep(p[i]);
  if (!any) {
    add(array, *this);
    return 0;
  }
  int start = 0;
  for (int i = 0; i <= n; ++i) {
    if (i < n && !isSep(p[i])) continue;
    if (i > start) {
      add(array, Tstring(p + start, static_cast<unsigned int>(i - start)));
    } else if (mode == kKeepEmpty && i < n) {
      add(array, Tstring());
    }
    start = i + 1;
  }
  return 0;
}
