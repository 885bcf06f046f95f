// Tdata: the library's general value.
//
// A Tdata is a 16-byte envelope. Numbers, 64-bit integers, addresses and animation times live
// inline in it and never allocate; anything bigger lives in a shared heap letter (TdataLetter:
// arrays, matrices, tuples, blobs). Envelopes that share a letter are holders; one of them may
// be the writer. A holder that wants to write calls makeWritable(), which takes the letter over
// when nobody writes it and takes a private copy only when it already has a writer.
//
//   Tdata n(3);                          // numeric 3.0
//   n.int32Value();                      // 3; Tdata(-2.7).int32Value() is -2 (toward zero)
//   Tdata t(TanimTime(141120000));       // one second
//   t.doubleValue();                     // 1.0
//
//   Tdata a(new TdataDoubleArray);       // holds the letter
//   Tdata b = a;                         // assignment always makes a holder
//   b.makeWritable();                    // b writes the same letter: a sees its changes
//   a.makeWritable();                    // now the letter has a writer: a copies
//
// Hazards:
// - A default Tdata is numeric 0.0, not NULL; setToNULL() makes it NULL.
// - Holders see the writer's later changes (the writer took the letter over without a copy).
//   Call makeWritable() on every envelope that must not see them.
// - An envelope is not synchronised: share letters between threads, not envelopes.
// - Conversions never throw: unsuitable kinds give 0, false or null. Operators between letters
//   that do not support each other throw TincompatibleData.
#pragma once

#include <velacore/base/Texception.h>
#include <velacore/base/TvelacoreApi.h>
#include <velacore/data/TdataLetter.h>
#include <velacore/data/Tid.h>
#include <velacore/base/TiffTag.h>
#include <velacore/time/TanimTime.h>

#include <cstdint>
#include <limits>

class VELACORE_API Tdata {
 public:
  /// Flag bits.
  enum : std::uint32_t {
    kNumeric = 1,            ///< inline number (double unless kAddress or kInt64)
    kAnimTime = 2,           ///< inline animation time (tick count)
    kFromCache = 4,          ///< see fromCache()
    kHolder = 8,             ///< shares its letter as a holder
    kAddress = 16,           ///< inline untyped address (with kNumeric)
    kInt64 = 32,             ///< inline 64-bit integer (with kNumeric)
    kDeepCopyOnWrite = 64,   ///< the next private copy is deep-copied too
    kConfirmed = 128,        ///< confirmed for the Tid in the dirty id
  };
  /// Ticks of an animation time in one second.
  static constexpr double kTicksPerSecond = double(TanimTime::kTicksPerSecond);

  /// @name Construction
  /// @{
  Tdata() : fFlags(kNumeric) { fPayload.d = 0.0; }
  Tdata(int v) : fFlags(kNumeric) { fPayload.d = v; }           // NOLINT(implicit)
  Tdata(unsigned v) : fFlags(kNumeric) { fPayload.d = v; }      // NOLINT(implicit)
  Tdata(bool v) : fFlags(kNumeric) { fPayload.d = v ? 1.0 : 0.0; }  // NOLINT(implicit)
  Tdata(double v) : fFlags(kNumeric) { fPayload.d = v; }        // NOLINT(implicit)
  Tdata(long long v) : fFlags(kNumeric | kInt64) { fPayload.i = v; }  // NOLINT(implicit)
  Tdata(long v) : fFlags(kNumeric | kInt64) { fPayload.i = v; }       // NOLINT(implicit)
  Tdata(void* v) : fFlags(kNumeric | kAddress) { fPayload.p = v; }    // NOLINT(implicit)
  Tdata(TanimTime t) : fFlags(kAnimTime) { fPayload.i = t.inTicks(); } // NOLINT(implicit)
  Tdata(const char*) = delete;  // would silently become a bool
  /// Shares `letter` as a holder; a null letter gives a NULL envelope.
  Tdata(TdataLetter* letter) : fFlags(kHolder) {  // NOLINT(implicit)
    fPayload.l = letter;
    if (letter != nullptr) letter->reference(kDataHolder);
  }
  /// Holds a copy of `letter`.
  explicit Tdata(const TdataLetter& letter);
  /// A holder of `other`'s letter, or a copy of its inline value.
  Tdata(const Tdata& other) {
    // What assigning into a fresh envelope does. The copy is one 16-byte move with the dirty
    // id replaced on the way, so an inline value costs a load, a store and one flag test.
#if defined(__GNUC__)
    using Twords = std::uint32_t __attribute__((vector_size(16)));
    Twords words;
    __builtin_memcpy(&words, &other, sizeof words);
    words = (words & Twords{~0u, ~0u, ~0u, 0u}) | Twords{0u, 0u, 0u, Tid::kNone};
    __builtin_memcpy(static_cast<void*>(this), &words, sizeof words);
#else
    fPayload = other.fPayload;
    fFlags = other.fFlags;
#endif
    if (sHoldsLetter(other.fFlags)) shareCopiedLetter();
  }
  ~Tdata() {
    if (sHoldsLetter(fFlags) && fPayload.l != nullptr) releaseLetter();
  }
  /// An anim-time envelope of `ticks`.
  [[nodiscard]] static Tdata sFromTicks(std::int64_t ticks) {
    Tdata d;
    d.fFlags = kAnimTime;
    d.fPayload.i = ticks;
    return d;
  }
  /// @}

  /// @name Assignment (a letter is always shared as a holder)
  /// @{
  Tdata& operator=(const Tdata& other) {
    if ((other.fFlags & (kNumeric | kAnimTime)) != 0 &&
        ((fFlags & (kNumeric | kAnimTime)) != 0 || fPayload.l == nullptr)) {
      fPayload = other.fPayload;  // inline over inline or NULL: no letter involved
      fFlags = other.fFlags;
      return *this;
    }
    return assignSlow(other);
  }
  Tdata& operator=(TdataLetter* letter);
  Tdata& operator=(const TdataLetter& letter);
  Tdata& operator=(double v) { return setInline(kNumeric, Tpayload::ofDouble(v)); }
  Tdata& operator=(int v) { return *this = double(v); }
  Tdata& operator=(unsigned v) { return *this = double(v); }
  Tdata& operator=(bool v) { return *this = v ? 1.0 : 0.0; }
  Tdata& operator=(long long v) { return setInline(kNumeric | kInt64, Tpayload::ofInt(v)); }
  Tdata& operator=(long v) { return *this = static_cast<long long>(v); }
  Tdata& operator=(void* v) { return setInline(kNumeric | kAddress, Tpayload::ofAddr(v)); }
  Tdata& operator=(TanimTime t) { return setInline(kAnimTime, Tpayload::ofInt(t.inTicks())); }
  Tdata& operator=(const char*) = delete;
  /// Releases the letter; the envelope becomes NULL (a holder of nothing).
  void reset();
  /// As reset().
  void setToNULL();
  /// @}

  /// @name Values (inline kinds answer directly; others convert, never throw)
  /// @{
  [[nodiscard]] double doubleValue() const { return asDouble() ? fPayload.d : convertToDoubleValue(); }
  [[nodiscard]] float floatValue() const { return float(doubleValue()); }
  [[nodiscard]] bool booleanValue() const;
  [[nodiscard]] std::uint8_t byteValue() const { return std::uint8_t(convertToUIntPtrSzValue()); }
  [[nodiscard]] char charValue() const { return char(convertToIntPtrSzValue()); }
  [[nodiscard]] std::int16_t int16Value() const { return std::int16_t(convertToIntPtrSzValue()); }
  [[nodiscard]] std::int32_t int32Value() const { return std::int32_t(convertToIntPtrSzValue()); }
  [[nodiscard]] std::int64_t int64Value() const { return asInt64() ? fPayload.i : convertToIntPtrSzValue(); }
  [[nodiscard]] std::uint32_t uInt32Value() const { return std::uint32_t(convertToUIntPtrSzValue()); }
  /// The address payload; null unless the envelope holds an address.
  [[nodiscard]] void* addrValue() const { return asAddr() ? fPayload.p : nullptr; }
  /// The tick count of an anim-time payload; other kinds convert their seconds to ticks.
  [[nodiscard]] std::int64_t timeTicks() const;
  /// timeTicks() as a time.
  [[nodiscard]] TanimTime timeValue() const { return TanimTime(timeTicks()); }
  /// @}

  /// @name Kind
  /// @{
  [[nodiscard]] bool isNumeric() const { return (fFlags & kNumeric) != 0; }
  [[nodiscard]] bool isAnimTime() const { return (fFlags & kAnimTime) != 0; }
  [[nodiscard]] bool isNULL() const {
    return (fFlags & (kNumeric | kAnimTime)) == 0 && fPayload.l == nullptr;
  }
  [[nodiscard]] bool holder() const { return (fFlags & kHolder) != 0; }
  [[nodiscard]] bool writer() const { return (fFlags & kHolder) == 0; }
  [[nodiscard]] std::uint32_t flags() const { return fFlags; }
  void fromCache(bool on) { fFlags = on ? (fFlags | kFromCache) : (fFlags & ~kFromCache); }
  [[nodiscard]] bool isFromCache() const { return (fFlags & kFromCache) != 0; }
  /// @}

  /// @name Letter access
  /// @{
  /// The letter; for inline values and NULL envelopes the process-wide empty letter.
  [[nodiscard]] TdataLetter& letter() const { return pLetter() != nullptr ? *fPayload.l : sEmptyLetter(); }
  [[nodiscard]] TdataLetter& privateData() const { return letter(); }
  /// The letter, or null for inline values and NULL envelopes.
  [[nodiscard]] TdataLetter* pLetter() const {
    return (fFlags & (kNumeric | kAnimTime)) == 0 ? fPayload.l : nullptr;
  }
  [[nodiscard]] TdataLetter* privateDataStar() const { return pLetter(); }
  /// The letter viewed as `L` when it is one (dynamic check), else null.
  template <class L>
  [[nodiscard]] L* letterAs() const { return dynamic_cast<L*>(pLetter()); }
  /// The shared letter every inline envelope answers from letter().
  [[nodiscard]] static TdataLetter& sEmptyLetter();
  /// @}

  /// @name Sharing
  /// @{
  /// Makes this envelope the writer of its letter, copying the letter only when it already has
  /// another writer. Inline values, NULL and writers answer true at once.
  bool makeWritable();
  bool makeWriter() { return makeWritable(); }
  /// Turns a writer into a holder.
  bool makeHolder();
  /// Makes this envelope the writer of a private copy of `source`'s value.
  bool makeWritableCopy(const Tdata& source);
  /// Whether this envelope could write its letter without copying.
  [[nodiscard]] bool isLetterWritable() const;
  /// Whether the letter has a writer (this envelope or another).
  [[nodiscard]] bool hasWriter() const;
  [[nodiscard]] bool needsDeepCopyOnMakeWrite() const { return (fFlags & kDeepCopyOnWrite) != 0; }
  void setNeedsDeepCopyOnMakeWrite(bool on) {
    fFlags = on ? (fFlags | kDeepCopyOnWrite) : (fFlags & ~kDeepCopyOnWrite);
  }
  /// After duplicating `source` into this envelope: a letter that asks for deep copies of its
  /// duplicates sets the deep-copy-on-write bit.
  void duplicateDone(const Tdata& source);
  /// Tells the letter's copy manager to stop recycling it.
  void makeNotReusable();
  /// @}

  /// @name Dirty tracking
  /// @{
  /// Confirms (or unconfirms) the value for `id`.
  void confirmData(const Tid& id, bool confirmed);
  /// Whether the value was confirmed for `id` and may be skipped.
  [[nodiscard]] bool ignoreDirty(const Tid& id) const {
    return fDirtyId == id.value() && fDirtyId != Tid::kNone && (fFlags & kConfirmed) != 0;
  }
  [[nodiscard]] std::uint16_t dirtyId() const { return std::uint16_t(fDirtyId); }
  /// @}

  /// @name Arithmetic and comparison
  /// @{
  Tdata operator+(const Tdata& o) const;
  Tdata operator-(const Tdata& o) const;
  Tdata operator*(const Tdata& o) const;
  Tdata operator/(const Tdata& o) const;
  Tdata& operator+=(const Tdata& o);
  Tdata& operator-=(const Tdata& o);
  Tdata& operator*=(const Tdata& o);
  Tdata& operator/=(const Tdata& o);
  bool operator==(const Tdata& o) const;
  bool operator!=(const Tdata& o) const;
  bool operator<(const Tdata& o) const;
  bool operator>(const Tdata& o) const;
  bool operator<=(const Tdata& o) const;
  bool operator>=(const Tdata& o) const;
  /// @}

  /// @name Type
  /// @{
  /// The envelope's metaclass ("Tdata", tag DBLE). The envelope has no virtual table (it stays
  /// 16 bytes), so these are plain members.
  [[nodiscard]] static Tmetaclass* sTypeof();
  [[nodiscard]] Tmetaclass* typeof() const { return sTypeof(); }
  /// This envelope when `t` is the Tdata metaclass, else null.
  [[nodiscard]] void* cast(Tmetaclass* t) { return t == sTypeof() ? this : nullptr; }
  /// A new (numeric 0.0) envelope when `t` is the Tdata metaclass, else null.
  [[nodiscard]] static Tdata* construct(Tmetaclass* t);
  /// The letter's tag; "DBLE" for inline values and NULL.
  [[nodiscard]] TiffTag tag() const;
  /// Stores tag() in `out`; answers whether the envelope holds a letter.
  bool tag(TiffTag& out) const;
  /// @}

  /// @name Files (0 success, -1 failure)
  /// @{
  int readASCII(const TargList& args, unsigned& index, int flags);
  int writeASCII(Tfile& file, int flags, bool withType) const;
  int readBinary(TiffTag tag, unsigned& size, const void*& cursor);
  int writeBinary(TiffFile& file) const;
  /// @}

  /// @name Diagnostics
  /// @{
  void debug(TdebugOutput& out, unsigned details = 0) const;
  void footprint(Footprint& fp) const;
  /// @}

  /// A NULL envelope.
  static const Tdata fsNULL;
  /// The shared instance of the exception that mismatched operands raise.
  static const TincompatibleData fsDataMismatch;

 protected:
  [[nodiscard]] bool asDouble() const { return (fFlags & (kNumeric | kAddress | kInt64)) == kNumeric; }
  [[nodiscard]] bool asInt64() const { return (fFlags & (kNumeric | kInt64)) == (kNumeric | kInt64); }
  [[nodiscard]] bool asAddr() const { return (fFlags & (kNumeric | kAddress)) == (kNumeric | kAddress); }
  [[nodiscard]] double convertToDoubleValue() const;
  [[nodiscard]] std::int64_t convertToIntPtrSzValue() const;
  [[nodiscard]] std::uint64_t convertToUIntPtrSzValue() const;
  /// Clears the confirmed bit and remembers `id` unless it is already the dirty id.
  void resetEMFlagsIfNeeded(const Tid& id) {
    if (fDirtyId != id.value()) {
      fFlags &= ~kConfirmed;
      fDirtyId = id.value();
    }
  }

 private:
  union Tpayload {
    double d;
    std::int64_t i;
    void* p;
    TdataLetter* l;
    static Tpayload ofDouble(double v) { Tpayload t; t.d = v; return t; }
    static Tpayload ofInt(std::int64_t v) { Tpayload t; t.i = v; return t; }
    static Tpayload ofAddr(void* v) { Tpayload t; t.p = v; return t; }
  };

  Tdata& setInline(std::uint32_t flags, Tpayload payload) {
    if ((fFlags & (kNumeric | kAnimTime)) == 0 && fPayload.l != nullptr) releaseLetter();
    fPayload = payload;
    fFlags = flags;
    return *this;
  }
  // Whether `flags` say that the payload is a letter pointer. Hinted unlikely: inline values
  // are the common case, and the hint keeps their copy and destruction free of taken branches.
  static bool sHoldsLetter(std::uint32_t flags) {
#if defined(__GNUC__)
    return __builtin_expect((flags & (kNumeric | kAnimTime)) == 0, 0);
#else
    return (flags & (kNumeric | kAnimTime)) == 0;
#endif
  }
  Tdata& assignSlow(const Tdata& other);
  // The letter path of the copy constructor: the copy becomes a holder of the same letter.
  void shareCopiedLetter();
  void releaseLetter();
  Tdata arithmetic(const Tdata& o, int op) const;
  int compare(const Tdata& o, int op) const;

  Tpayload fPayload;
  std::uint32_t fFlags;
  std::uint32_t fDirtyId = Tid::kNone;
};

static_assert(sizeof(Tdata) == 16, "a Tdata is a 16-byte envelope");
