// Tstring: the library's one text type.
//
// A Tstring is a single pointer to a shared, reference-counted body; null is the empty string and
// owns nothing. Copies share the body (one atomic increment) and a body shared by several strings
// is never changed in place: a mutator first detaches onto a private copy.
//
// The body keeps text in two forms: a byte form (UTF-8 on this host) and a wide form (UTF-16 in
// char16_t). Text set from bytes stays bytes until an operation needs characters (`numChars`,
// `asW`, searches in character positions, case mapping, splitting); the wide form is then made
// once, lazily, under one process-wide lock. Byte-only work (set, append, compare, `asC`,
// `length`, `hash`) never converts.
//
//   Tstring name("scene");
//   name += ".vela";                       // bytes only
//   Tstring copy = name;                   // shares the body
//   copy.toUpperCase();                    // detaches, converts, edits the private copy
//   Tstring msg;
//   msg.tFormat(Tstring("^2s was saved as ^1s"), copy, name);
//                                          // "scene.vela was saved as SCENE.VELA"
//
// Positions: byte operations (`index`, `rindex`, `findchr`, `substring`, `operator[]`) count
// bytes of the byte form; character operations (`findstr`, `findMB`, `findAny`, `at`,
// `substringMB`, `numChars`) count UTF-16 units. A character outside the Basic Multilingual
// Plane is two units. "Not found" is -1.
//
// Equality and hashing follow the byte form: two strings are equal exactly when their bytes
// are, and `hash` hashes the bytes, whichever forms a body has made so far (a string set from
// UTF-16 makes its bytes once, on the first comparison with a byte string). Malformed UTF-8 is
// kept as it is and stays distinct from its repair: Tstring("\xFF") is not equal to
// Tstring(u"\uFFFD"), although its wide form reads as U+FFFD.
//
// Hazards:
// - Const members may be called on one Tstring object from several threads at once (a static
//   constant, a table key under concurrent lookups), as for std::string; changing an object
//   while another thread uses it is a race. Distinct objects that share a body may be used
//   freely (the count is atomic and a shared body is never written).
// - `compare` (and <, >) orders bytes when both byte forms exist and UTF-16 units otherwise, so
//   for malformed text, and for characters beyond U+FFFF against U+E000 to U+FFFF, the order
//   may depend on which forms exist. `==` and `hash` do not.
// - Pointers from `asC`, `asW` and `asUTF8` stay valid until this string is next changed or
//   destroyed, like std::string::c_str().
// - Writes through `asNonConstC` must be finished before the string is queried again: what the
//   body remembers about its text (the wide form, the hash) is dropped when the pointer is
//   handed out, not when the bytes change.
// - Mixing byte and character positions is the classic mistake: `index` answers in bytes,
//   `findstr` in UTF-16 units. They agree only for ASCII text.
#pragma once

#include <velacore/base/TstringCatalog.h>
#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/ThashFunction.h>

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

class Footprint;
class Tstring;

/// The part of a shared string body that inline code reads: the count, the form state and the
/// byte form. The wide form lives in the derived body type, which only the strings sources
/// know. Not for use outside Tstring: the fields are public only so that Tstring's hot paths can
/// be inline.
///
/// Form state: the byte form of a body whose state is not `kWideOnly` is never written while
/// the body is shared (a lazy conversion of a shared body writes only the stale form), so a
/// reader that sees such a state with an acquire load may read `fNarrow` directly.
class VELACORE_API TstringRep {
 public:
  enum : uint32_t {
    kSynced = 0,         ///< both forms current
    kWideOnly = 1,       ///< only the wide form current; bytes are made on demand
    kNarrowPending = 2,  ///< only the byte form current; the wide form is made on demand
  };

  TstringRep(const TstringRep&) = delete;
  TstringRep& operator=(const TstringRep&) = delete;

  /// Whether the byte form is current (acquire: it may just have been made by another thread).
  [[nodiscard]] bool narrowValid() const {
    return fState.load(std::memory_order_acquire) != kWideOnly;
  }
  /// Whether the wide form is current.
  [[nodiscard]] bool wideValid() const {
    return fState.load(std::memory_order_acquire) != kNarrowPending;
  }

  /// Records an edit of a body held by one string: the new form state; what was learnt about
  /// the old text (its hash, its UTF-8 check or repair) is forgotten.
  void changed(uint32_t newState) {
    fState.store(newState, std::memory_order_relaxed);
    fHash.store(0, std::memory_order_relaxed);
    fUtf8Checked.store(false, std::memory_order_relaxed);
    if (fRepairedUtf8.load(std::memory_order_relaxed) != nullptr) dropRepairedUtf8();
  }

  /// Number of strings sharing this body; changed only atomically.
  std::atomic<uint32_t> fRefCount{1};
  /// Which forms are current (see above).
  std::atomic<uint32_t> fState{kSynced};
  /// The hash of the byte form once asked for, 0 when not known yet.
  std::atomic<uint32_t> fHash{0};
  /// The byte form has been found well-formed UTF-8.
  std::atomic<bool> fUtf8Checked{false};
  /// The repaired UTF-8 of a malformed byte form, made once on demand.
  std::atomic<std::string*> fRepairedUtf8{nullptr};
  /// The byte form (valid unless the state is `kWideOnly`).
  std::string fNarrow;

 protected:
  TstringRep() = default;
  /// A body holding only the byte form `bytes`.
  TstringRep(const char* bytes, std::size_t length)
      : fState(kNarrowPending), fNarrow(bytes, length) {}
  ~TstringRep() { delete fRepairedUtf8.load(std::memory_order_relaxed); }

 private:
  void dropRepairedUtf8() noexcept;
};

/// The line-end convention of a system kind, as used by `Tstring::clean`. The values are the
/// system-kind numbers of the operating-system resource query; only 2, 3, 8 and 48 have line-end
/// rules of their own, any other value behaves like `kSystemClassicMac`.
enum Tsystem : int {
  kSystemLinux = 2,        ///< line feed
  kSystemMacOSX = 3,       ///< line feed
  kSystemWindows = 8,      ///< carriage return + line feed
  kSystemClassicMac = 48,  ///< carriage return
};

class VELACORE_API Tstring {
 public:
  /// The empty byte string that byte accessors of an empty string return.
  static const char* const kNullStr;
  /// Default number of decimals (or significant digits after the integer part) for numbers.
  static int fsPrecision;
  /// When set, `setDouble` applies the precision rules and clamps magnitudes below 1e-10 to 0.
  static bool fsFloatClampingOnConversion;

  /// @name Construction, assignment, lifetime
  /// @{
  /// The empty string (null; allocates nothing).
  Tstring() noexcept = default;
  /// Text from NUL-terminated bytes; null or "" gives the empty string.
  /*implicit*/ Tstring(const char* bytes);
  /// Text from `length` bytes (NULs included).
  Tstring(const char* bytes, unsigned int length);
  /// Text from NUL-terminated UTF-16.
  /*implicit*/ Tstring(const char16_t* wide);
  /// Text from `length` UTF-16 units.
  Tstring(const char16_t* wide, unsigned int length);
  /// Shares the body of `other`.
  Tstring(const Tstring& other) noexcept : fRep(other.fRep) {
    if (fRep != nullptr) fRep->fRefCount.fetch_add(1, std::memory_order_relaxed);
  }
  /// Takes the body of `other`, which becomes empty.
  Tstring(Tstring&& other) noexcept : fRep(other.fRep) { other.fRep = nullptr; }
  /// The catalog text of `id`.
  explicit Tstring(TstringId id);
  ~Tstring() { release(fRep); }

  /// Shares the body of `other` (assigning a string to itself does nothing).
  Tstring& operator=(const Tstring& other) noexcept {
    if (fRep != other.fRep) {
      TstringRep* old = fRep;
      fRep = other.fRep;
      if (fRep != nullptr) fRep->fRefCount.fetch_add(1, std::memory_order_relaxed);
      release(old);
    }
    return *this;
  }
  Tstring& operator=(Tstring&& other) noexcept {
    if (this != &other) {
      release(fRep);
      fRep = other.fRep;
      other.fRep = nullptr;
    }
    return *this;
  }
  Tstring& operator=(const char* bytes);
  Tstring& operator=(const char16_t* wide);

  /// Replace the text (synonyms). A null or zero-length source clears the string.
  int copy(const Tstring& other);
  int copy(const char* bytes);
  int copy(const char* bytes, unsigned int length);
  int copy(TstringId id);
  int set(const Tstring& other) { return copy(other); }
  int set(const char* bytes) { return copy(bytes); }
  int set(const char* bytes, unsigned int length) { return copy(bytes, length); }
  int set(TstringId id) { return copy(id); }
  int set(const char16_t* wide);
  int set(const char16_t* wide, unsigned int length);
  int copyChar(const char* bytes) { return copy(bytes); }
  int copyChar(const char* bytes, unsigned int length) { return copy(bytes, length); }
  int setChar(const char* bytes) { return copy(bytes); }
  int setChar(const char* bytes, unsigned int length) { return copy(bytes, length); }

  /// Empties the string: in place when this string alone holds the body, else drops the share.
  void clear();
  /// Exchanges the bodies of two strings.
  void swap(Tstring& other) noexcept {
    TstringRep* t = fRep;
    fRep = other.fRep;
    other.fRep = t;
  }
  /// Number of strings sharing the body; 0 for the empty null string.
  [[nodiscard]] unsigned int refCount() const {
    return fRep == nullptr ? 0 : fRep->fRefCount.load(std::memory_order_relaxed);
  }
  /// Makes the body private (keeping the text when `keep`) and reserves room for `n` units.
  void reserve(unsigned int n, bool keep = true);
  /// Sets the byte length; new bytes are NUL.
  void resize(unsigned int byteLength);
  /// Releases spare capacity.
  void shrink();
  /// @}

  /// @name Appending
  /// @{
  int catenate(const Tstring& other) {
    // Bytes onto bytes in a body held by this string alone: a plain byte append.
    TstringRep* mine = fRep;
    const TstringRep* theirs = other.fRep;
    if (mine != nullptr && theirs != nullptr && mine != theirs &&
        mine->fRefCount.load(std::memory_order_acquire) == 1 &&
        mine->fState.load(std::memory_order_relaxed) != TstringRep::kWideOnly &&
        theirs->narrowValid()) {
      mine->fNarrow.append(theirs->fNarrow);
      mine->changed(TstringRep::kNarrowPending);
      return 0;
    }
    return catenateSlow(other);
  }
  void catenate(const char* bytes) {
    if (bytes != nullptr) catenate(bytes, static_cast<unsigned int>(std::strlen(bytes)));
  }
  int catenate(const char* bytes, unsigned int length) {
    // The common case: bytes onto a body held by this string alone whose byte form is current
    // (std::string::append copes with `bytes` lying inside the text).
    TstringRep* mine = fRep;
    if (mine != nullptr && bytes != nullptr && length != 0 &&
        mine->fRefCount.load(std::memory_order_acquire) == 1 &&
        mine->fState.load(std::memory_order_relaxed) != TstringRep::kWideOnly) {
      mine->fNarrow.append(bytes, length);
      mine->changed(TstringRep::kNarrowPending);
      return 0;
    }
    return catenateSlow(bytes, length);
  }
  int catenate(TstringId id);
  int append(const Tstring& other) { return catenate(other); }
  void append(const char* bytes) { catenate(bytes); }
  int append(const char* bytes, unsigned int length) { return catenate(bytes, length); }
  int append(TstringId id) { return catenate(id); }
  int catenateChar(const char* bytes, unsigned int length) { return catenate(bytes, length); }
  int appendChar(const char* bytes, unsigned int length) { return catenate(bytes, length); }
  /// Appends UTF-16 units.
  int appendW(const char16_t* wide, unsigned int length);
  Tstring& operator+=(const Tstring& other) {
    catenate(other);
    return *this;
  }
  Tstring& operator+=(const char* bytes) {
    catenate(bytes);
    return *this;
  }
  /// Appends the decimal text of `value` ("%d").
  int catenateInt32(int value);
  /// Appends `value` as `setDouble(value)` writes it.
  int catenateDouble(double value);
  /// Appends one blank.
  int appendSpace();
  /// Appends one line feed.
  int appendNewline();
  /// @}

  /// @name Sizes and access
  /// @{
  /// Bytes in the byte form (no conversion when only the byte form is current).
  [[nodiscard]] unsigned int length() const {
    if (fRep == nullptr) return 0;
    if (fRep->narrowValid()) return static_cast<unsigned int>(fRep->fNarrow.size());
    return lengthSlow();
  }
  [[nodiscard]] unsigned int size() const { return length(); }
  [[nodiscard]] unsigned int physicalSize() const { return length(); }
  /// `length() + 1`, room for the terminator.
  [[nodiscard]] unsigned int asCStoreSize() const { return length() + 1; }
  /// UTF-16 units (makes the wide form current first).
  [[nodiscard]] unsigned int numChars() const;
  [[nodiscard]] bool isEmpty() const {
    if (fRep == nullptr) return true;
    if (fRep->narrowValid()) return fRep->fNarrow.empty();
    return isEmptySlow();
  }
  /// Whether every character is ASCII (true for the empty string).
  [[nodiscard]] bool isAscii() const;
  /// The UTF-16 unit at `index` (0 past the end).
  [[nodiscard]] char16_t at(unsigned int index) const;
  /// The byte at `index` of the byte form (0 past the end).
  [[nodiscard]] char operator[](unsigned int index) const;
  /// Always 0.
  [[nodiscard]] unsigned int first() const { return 0; }
  /// `numChars() - 1`, 0 for the empty string.
  [[nodiscard]] unsigned int last() const;
  /// The NUL-terminated byte form; `kNullStr` when empty.
  [[nodiscard]] const char* asC() const {
    if (fRep == nullptr) return kNullStr;
    if (fRep->narrowValid()) return fRep->fNarrow.c_str();
    return asCSlow();
  }
  /// The byte form, writable in place (detaches first; the wide form is redone when needed).
  [[nodiscard]] char* asNonConstC();
  /// The NUL-terminated UTF-16 form; a static empty string when empty.
  [[nodiscard]] const char16_t* asW() const;
  /// The text as UTF-8.
  [[nodiscard]] const char* asUTF8() const;
  /// Size of `asUTF8()` including its terminator.
  [[nodiscard]] unsigned int asUTF8StoreSize() const;
  /// Replaces the text from UTF-8; each malformed sequence becomes U+FFFD and, when `ok` is
  /// given, sets it false (true otherwise).
  int setUTF8(const char* utf8, bool* ok = nullptr);
  int setUTF8(const char* utf8, unsigned int length, bool* ok = nullptr);
  /// 32-bit hash of the byte form (MurmurHash3-based, seed 0); remembered in the body until
  /// the text changes.
  [[nodiscard]] unsigned int hash() const {
    if (fRep == nullptr) return ThashFunction::hash32(kNullStr, 0, 0);
    if (fRep->narrowValid()) {
      uint32_t h = fRep->fHash.load(std::memory_order_relaxed);
      if (h == 0) {  // not known yet (or a text that really hashes to 0: recomputed each time)
        h = ThashFunction::hash32(fRep->fNarrow.data(),
                                  static_cast<unsigned>(fRep->fNarrow.size()), 0);
        fRep->fHash.store(h, std::memory_order_relaxed);
      }
      return h;
    }
    return hashSlow();
  }
  /// Adds the memory used by this string to `fp`.
  void footprint(Footprint& fp) const;
  /// @}

  /// @name Comparison
  /// @{
  /// Negative, 0 or positive. Bytes are compared when both byte forms are current, else UTF-16.
  [[nodiscard]] int compare(const Tstring& other) const;
  [[nodiscard]] int compare(const char* bytes) const;
  /// Case-insensitive ordering.
  [[nodiscard]] int caseCompare(const Tstring& other) const;
  [[nodiscard]] int caseCompare(const char* bytes) const;

  /// Equal bytes (see the header comment); a string holding only UTF-16 makes its bytes once.
  [[nodiscard]] bool operator==(const Tstring& other) const {
    const TstringRep* a = fRep;
    const TstringRep* b = other.fRep;
    if (a == b) return true;
    if (a != nullptr && b != nullptr && a->narrowValid() && b->narrowValid()) {
      const std::size_t n = a->fNarrow.size();
      return n == b->fNarrow.size() && std::memcmp(a->fNarrow.data(), b->fNarrow.data(), n) == 0;
    }
    return equalSlow(other);
  }
  [[nodiscard]] bool operator!=(const Tstring& other) const { return !(*this == other); }
  [[nodiscard]] bool operator<(const Tstring& other) const { return compare(other) < 0; }
  [[nodiscard]] bool operator<=(const Tstring& other) const { return compare(other) <= 0; }
  [[nodiscard]] bool operator>(const Tstring& other) const { return compare(other) > 0; }
  [[nodiscard]] bool operator>=(const Tstring& other) const { return compare(other) >= 0; }
  /// Byte comparisons in strcmp order; the empty string equals a null pointer, and `!=`, `<`,
  /// `>`, `>=` with a null pointer are false.
  [[nodiscard]] bool operator==(const char* bytes) const;
  [[nodiscard]] bool operator!=(const char* bytes) const;
  [[nodiscard]] bool operator<(const char* bytes) const;
  [[nodiscard]] bool operator<=(const char* bytes) const;
  [[nodiscard]] bool operator>(const char* bytes) const;
  [[nodiscard]] bool operator>=(const char* bytes) const;
  /// @}

  /// @name Search (-1 when not found)
  /// @{
  /// Byte positions in the byte form.
  [[nodiscard]] int index(char c) const { return index(c, 0); }
  [[nodiscard]] int index(char c, unsigned int start) const;
  [[nodiscard]] int rindex(char c) const;
  /// Last occurrence at or before byte `start`.
  [[nodiscard]] int rindex(char c, unsigned int start) const;
  [[nodiscard]] int findchr(char c) const { return index(c, 0); }
  [[nodiscard]] int findrchr(char c) const { return rindex(c); }
  /// UTF-16 positions of the first / last occurrence of `s`.
  [[nodiscard]] int findstr(const Tstring& s) const;
  [[nodiscard]] int findrstr(const Tstring& s) const;
  [[nodiscard]] int findMB(char16_t c, unsigned int start = 0) const;
  [[nodiscard]] int findMB(const Tstring& s, unsigned int start = 0) const;
  [[nodiscard]] int rfindMB(char16_t c) const;
  [[nodiscard]] int rfindMB(const Tstring& s) const;
  /// First / last position of any character of `set`.
  [[nodiscard]] int findAny(const Tstring& set, unsigned int start = 0) const;
  [[nodiscard]] int rfindAny(const Tstring& set) const;
  /// Whether any character of `set` occurs (not a substring test).
  [[nodiscard]] bool contains(const Tstring& set) const;
  /// Whether any character needs more than one byte; the second form also collects those
  /// characters, once each, into `found`.
  [[nodiscard]] bool containsMultibyte() const;
  bool containsMultibyte(Tstring& found) const;
  [[nodiscard]] bool startsWith(const Tstring& prefix) const;
  [[nodiscard]] bool endsWith(const Tstring& suffix) const;
  /// Wildcard match of the whole string: `*` any run, `?` one byte, `\` quotes the next byte.
  [[nodiscard]] bool matches(const Tstring& pattern) const;
  [[nodiscard]] bool matches(const char* pattern) const;
  /// Whether the text holds `*` or `?`.
  [[nodiscard]] bool isWildCard() const;
  /// POSIX extended regular-expression match of the whole string; captured groups go to the
  /// given outputs (groups that did not take part become empty).
  bool matchesRegexp(const Tstring& pattern, Tstring* g1 = nullptr, Tstring* g2 = nullptr,
                     Tstring* g3 = nullptr, Tstring* g4 = nullptr, Tstring* g5 = nullptr,
                     Tstring* g6 = nullptr, Tstring* g7 = nullptr, Tstring* g8 = nullptr,
                     Tstring* g9 = nullptr) const;
  /// @}

  /// @name Pieces and splitting
  /// @{
  /// Bytes `first` to `last` inclusive (clipped to the text).
  [[nodiscard]] Tstring substring(unsigned int first, unsigned int last) const;
  int substring(unsigned int first, unsigned int last, Tstring& out) const;
  /// UTF-16 units `first` to `last` inclusive.
  [[nodiscard]] Tstring substringMB(unsigned int first, unsigned int last) const;
  int substringMB(unsigned int first, unsigned int last, Tstring& out) const;

  /// Appends each non-empty run between separators to `out` (any array with addLast); a string
  /// without separators is appended whole, an empty one adds nothing. Returns 0.
  template <class Array>
  int split(char separator, Array& out) const {
    return splitImpl(&separator, 1, kSkipEmpty, &addTo<Array>, &out);
  }
  template <class Array>
  int split(char16_t separator, Array& out) const {
    return splitWideImpl(&separator, 1, kSkipEmpty, &addTo<Array>, &out);
  }
  template <class Array>
  int splitAny(const Tstring& separators, Array& out) const {
    return splitWideImpl(separators.asW(), separators.numChars(), kSkipEmpty, &addTo<Array>,
                         &out);
  }
  /// As `split`, but every empty run (also before a leading separator) adds an empty string; a
  /// trailing separator adds nothing.
  template <class Array>
  int splitWithEmptyStrings(char16_t separator, Array& out) const {
    return splitWideImpl(&separator, 1, kKeepEmpty, &addTo<Array>, &out);
  }
  /// @}

  /// @name Editing (each returns *this)
  /// @{
  /// Upper-cases the first character.
  Tstring& capitalize();
  Tstring& toUpperCase();
  Tstring& toLowerCase();
  /// Drops the last `.` and what follows it in the last path piece.
  Tstring& stripExtension();
  /// Keeps only the last path piece.
  Tstring& stripPath();
  /// Same as `decodeEscapeSequences`.
  Tstring& collapseEscapeSequences();
  Tstring& removeSpaces();
  Tstring& removeInitialAndFinalSpaces();
  /// Turns each run of white space into one blank.
  Tstring& collapseWhiteSpace();
  /// Word-wraps at `width` columns by turning white space into line feeds.
  Tstring& formatToWidth(unsigned int width);
  /// Prepends `pad` until the string has `width` UTF-16 units.
  Tstring& padLeft(unsigned int width, char16_t pad = u' ');
  /// Replaces every occurrence / the first occurrence of `from` by `to`.
  Tstring& substitute(const Tstring& from, const Tstring& to);
  Tstring& substituteFirst(const Tstring& from, const Tstring& to);
  /// Writes control characters, `\` and (when `quoted`) `"` as C escape sequences.
  Tstring& encodeEscapeSequences(bool quoted = false);
  /// Turns C escape sequences (\a \b \t \n \v \f \r, \\, \", octal triples) back into characters.
  Tstring& decodeEscapeSequences();
  /// Appends the escaped form of `bytes`.
  int catenateEscapeSequences(const char* bytes, bool quoted = false);
  /// Converts line ends to the convention of `kind`.
  Tstring& clean(Tsystem kind);
  /// @}

  /// @name Path pieces (`/` and `\` both separate)
  /// @{
  /// Text before the last `.` of the last piece (the whole text without one).
  [[nodiscard]] Tstring root() const;
  /// The text without `suffix` at its end (the whole text when it does not end so).
  [[nodiscard]] Tstring root(const Tstring& suffix) const;
  /// Text after the last `.` of the last piece (empty without one).
  [[nodiscard]] Tstring extension() const;
  /// The last piece.
  [[nodiscard]] Tstring baseName() const;
  /// Everything up to and including the last separator.
  [[nodiscard]] Tstring directoryPath() const;
  /// @}

  /// @name Numbers
  /// @{
  Tstring& setInt32(int value);
  Tstring& setUInt32(unsigned int value);
  Tstring& setInt64(long long value);
  Tstring& setUInt64(unsigned long long value);
  Tstring& setIntPtrSz(std::ptrdiff_t value);
  /// Hexadecimal with a 0x prefix.
  Tstring& setUIntPtrSz(std::size_t value);
  /// `setDouble(value, fsPrecision, true)`.
  Tstring& setDouble(double value);
  /// `precision` decimals, or significant digits after the integer part when `significant`.
  Tstring& setDouble(double value, int precision, bool significant);
  /// The shortest text that reads back as `value`.
  Tstring& setDouble_NUTI(double value);

  /// Syntactic tests of the byte form (overflow is not detected).
  [[nodiscard]] bool isInt16() const { return isInt32(); }
  [[nodiscard]] bool isInt32() const;
  [[nodiscard]] bool isUInt32() const;
  [[nodiscard]] bool isFloat() const { return isDouble(); }
  [[nodiscard]] bool isDouble() const;

  /// Conversions of the byte form; none reports errors (use the tests above first).
  [[nodiscard]] short asInt16() const;
  [[nodiscard]] int asInt32() const;
  [[nodiscard]] unsigned int asUInt32() const;
  [[nodiscard]] std::ptrdiff_t asIntPtrSz() const;
  /// Reads hexadecimal.
  [[nodiscard]] std::size_t asUIntPtrSz() const;
  [[nodiscard]] float asFloat() const;
  [[nodiscard]] double asDouble() const;
  /// @}

  /// @name Formatting
  /// @{
  /// Replaces the text by printf-style formatting; returns 0, or -1 when formatting fails (the
  /// string is then empty).
  int cFormat(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  int cFormatArgList(const char* fmt, va_list args);
  /// A new string formatted printf-style; empty when formatting fails.
  [[nodiscard]] static Tstring cFormatString(const char* fmt, ...)
      __attribute__((format(printf, 1, 2)));
  /// Replaces the text by positional formatting: `^Nx` inserts argument N (from 1) of type x:
  /// `s` const Tstring*, `r` TstringId (catalog text), `d` int, `l` long long, `f` double,
  /// `c` const char*, `n` int that writes nothing. `^N(w)d` zero-pads to w digits, `^N(w.p)f`
  /// sets width and precision; `^^` is a caret. A null `fmt` gives the empty string.
  ///
  /// Unchecked, like printf: the arguments are read as the markers' letters say, and nothing
  /// can tell what was really passed. An argument of another type, or fewer arguments than
  /// the highest marker number, is undefined behaviour (usually a crash). Formats that come
  /// from outside (catalogs, translations) are safest with the checked form below.
  int tFormat(const Tstring* fmt, ...);
  int tFormatArgList(const Tstring* fmt, va_list args);
  /// Checked positional formatting for text: `^Ns` inserts `args` N (from 1), `^^` is a caret.
  /// The arguments must be Tstrings (checked when compiling); a marker of another type or one
  /// naming an argument that was not given makes the call return -1 and leaves the text as it
  /// was.
  ///   msg.tFormat(Tstring("^2s was saved as ^1s"), name, copy);
  template <class... Args>
  int tFormat(const Tstring& fmt, const Args&... args) {
    static_assert((std::is_same<Args, Tstring>::value && ...),
                  "tFormat(const Tstring&, ...) takes Tstring arguments only");
    const Tstring* list[] = {&args..., nullptr};
    return tFormatStrings(fmt, list, sizeof...(Args));
  }
  /// @}

  /// Test hook: how many byte-to-wide conversions of bodies this process has made so far.
  [[nodiscard]] static uint64_t sWideConversionCount();

 private:
  friend class TstringAccess;
  enum TsplitMode { kSkipEmpty, kKeepEmpty };
  using TaddFn = void (*)(void* array, const Tstring& piece);

  template <class Array>
  static void addTo(void* array, const Tstring& piece) {
    static_cast<Array*>(array)->addLast(piece);
  }
  int splitImpl(const char* separators, unsigned int count, TsplitMode mode, TaddFn add,
                void* array) const;
  int splitWideImpl(const char16_t* separators, unsigned int count, TsplitMode mode, TaddFn add,
                    void* array) const;

  int tFormatStrings(const Tstring& fmt, const Tstring* const* args, unsigned int count);

  /// The byte form (`kNullStr` when empty).
  [[nodiscard]] const char* data() const { return asC(); }
  Tstring& doSubstitute(const Tstring& from, const Tstring& to, bool all);
  static bool regMatch(const char* text, const char* pattern);

  // Out-of-line halves of the inline accessors above.
  [[nodiscard]] unsigned int lengthSlow() const;
  [[nodiscard]] bool isEmptySlow() const;
  [[nodiscard]] const char* asCSlow() const;
  [[nodiscard]] unsigned int hashSlow() const;
  [[nodiscard]] bool equalSlow(const Tstring& other) const;
  int catenateSlow(const char* bytes, unsigned int length);
  int catenateSlow(const Tstring& other);

  static void release(TstringRep* rep) noexcept {
    if (rep != nullptr && rep->fRefCount.fetch_sub(1, std::memory_order_acq_rel) == 1)
      destroyRep(rep);
  }
  static void destroyRep(TstringRep* rep) noexcept;

  TstringRep* fRep = nullptr;
};

/// Concatenations yielding a new string.
[[nodiscard]] VELACORE_API Tstring operator+(const Tstring& a, const Tstring& b);
[[nodiscard]] VELACORE_API Tstring operator+(const Tstring& a, const char* b);
[[nodiscard]] VELACORE_API Tstring operator+(const char* a, const Tstring& b);
