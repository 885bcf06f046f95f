// TdataLetter: the heap object behind a Tdata that holds more than a number.
//
// A letter holds an array, a matrix, a tuple, a blob... and is shared by the envelopes (Tdata)
// that refer to it. Each envelope is a holder (reads) or the writer (may change the letter); the
// counts of both kinds are kept by TmultiSharedObject. Letters are normally made and shared
// through envelopes, not by hand:
//
//   Tdata a(new TdataDoubleArray);   // a holds the letter
//   Tdata b = a;                     // b shares it as a holder
//   b.makeWritable();                // b becomes the writer of the same letter (no copy)
//   a.makeWritable();                // the letter has a writer now: a gets its own copy
//
// A class derived from TdataLetter overrides what its payload supports. The base answers the
// comparisons with an envelope unevenly (== false, != true, <= false, >= true, < false, > true)
// and throws TincompatibleData for comparisons with another letter and for all arithmetic.
//
// Hazards:
// - Counts are atomic, contents are not: a letter with a writer must not be read on another
//   thread while the writer changes it.
// - A letter made with `new` is deleted with its last reference; never delete one by hand once
//   an envelope refers to it.
// - Copies made by makeWritable can be reported: switch the trace "dataLetterCopy" on.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/base/TiffTag.h>
#include <velacore/data/TmultiSharedObject.h>
#include <velacore/data/VPtrBase.h>
#include <velacore/types/Tmetaclass.h>

#include <cstdint>

class Footprint;
class Tdata;
class TargList;
class TdataLetterCopyManager;
class TdbTrace;
class TdebugOutput;
class Tfile;
class TiffFile;
class TpluginData;

class VELACORE_API TdataLetter : public TmultiSharedObject, public VPtrBase {
 public:
  VELA_DECLARE_TYPE(TdataLetter);

  /// Bits of the letter's flags byte.
  enum : std::uint8_t {
    kDeepCopyOnDuplicate = 1,  ///< a duplicate of this letter must be deep-copied
    kNotReusable = 2,          ///< a copy manager must not recycle this letter
  };

  TdataLetter();
  /// A copy shares no references and no copy manager; it keeps the flags byte.
  TdataLetter(const TdataLetter& other);
  TdataLetter& operator=(const TdataLetter&) = delete;
  ~TdataLetter() override;

  /// @name References
  /// @{
  /// Adds one reference of `kind`; the first writer triggers madeIntoWriter().
  void reference(TdataRefType kind);
  /// Drops one reference of `kind`; the last writer triggers madeIntoNonWriter(), a letter
  /// with a copy manager that is about to lose its last reference is offered to the manager,
  /// and a heap letter without references is deleted.
  void unreference(TdataRefType kind);
  /// As unreference() but never deletes.
  void unreferenceNoDelete(TdataRefType kind);
  /// Turns one holder reference into the writer reference when the letter has no writer (one
  /// atomic step; madeIntoWriter() follows). False, with nothing changed, when it has one.
  bool holderBecomesWriter();
  /// Turns the writer reference into a holder reference (madeIntoNonWriter() first).
  void writerBecomesHolder();
  /// Whether the payload is shared with letters other than this one (array letters that share
  /// their array); the base answers false.
  [[nodiscard]] virtual bool usesSharedData() const { return false; }
  /// Tells the copy manager (if any) not to recycle this letter.
  void makeNotReusable();
  [[nodiscard]] bool isReusable() const { return (fFlags & kNotReusable) == 0; }
  /// The manager that recycles this letter (null for none) and its setter.
  [[nodiscard]] TdataLetterCopyManager* copyManager() const { return fCopyManager; }
  void setCopyManager(TdataLetterCopyManager* manager) { fCopyManager = manager; }
  [[nodiscard]] std::uint8_t letterFlags() const { return fFlags; }
  void setDeepCopyOnDuplicate(bool on) {
    fFlags = std::uint8_t(on ? (fFlags | kDeepCopyOnDuplicate) : (fFlags & ~kDeepCopyOnDuplicate));
  }
  /// @}

  /// @name The letter's own behaviour (virtual, overridden by letter classes)
  /// @{
  /// Writes a description to `out`; `details` selects extra lines (0: one line).
  virtual void debug(TdebugOutput& out, unsigned details = 0) const;
  /// Reports the fixed fields and the bytes the letter owns.
  virtual void footprint(Footprint& fp) const;
  /// Empties the payload (the letter stays).
  virtual void reset();
  /// A new heap letter with a copy of the payload (no references yet).
  [[nodiscard]] virtual TdataLetter* copy() const;

  virtual bool operator==(const Tdata& other) const;
  virtual bool operator==(const TdataLetter& other) const;
  virtual bool operator!=(const Tdata& other) const;
  virtual bool operator!=(const TdataLetter& other) const;
  virtual bool operator<=(const Tdata& other) const;
  virtual bool operator<=(const TdataLetter& other) const;
  virtual bool operator>=(const Tdata& other) const;
  virtual bool operator>=(const TdataLetter& other) const;
  virtual bool operator<(const Tdata& other) const;
  virtual bool operator<(const TdataLetter& other) const;
  virtual bool operator>(const Tdata& other) const;
  virtual bool operator>(const TdataLetter& other) const;
  virtual TdataLetter& operator+=(const Tdata& other);
  virtual TdataLetter& operator+=(const TdataLetter& other);
  virtual TdataLetter& operator-=(const Tdata& other);
  virtual TdataLetter& operator-=(const TdataLetter& other);
  virtual TdataLetter& operator*=(const Tdata& other);
  virtual TdataLetter& operator*=(const TdataLetter& other);
  virtual TdataLetter& operator/=(const Tdata& other);
  virtual TdataLetter& operator/=(const TdataLetter& other);

  /// The payload as one number (0.0 when it has none).
  [[nodiscard]] virtual double doubleValue() const;
  /// Called when the letter gains its first writer and when it loses its last one.
  virtual void madeIntoWriter();
  virtual void madeIntoNonWriter();
  [[nodiscard]] virtual bool hasWriter() const { return writerCount() != 0; }
  /// Brings a lazily computed payload up to date (nothing in the base).
  virtual void forceLazyUpdate();

  /// Reads the text form from `args` starting at `index` (advanced past what is used).
  virtual int readASCII(const TargList& args, unsigned& index, int flags);
  /// Writes the text form to `file`.
  virtual int writeASCII(Tfile& file, int flags) const;
  /// Reads the binary form from a chunk: `cursor` and `size` advance by what is consumed.
  virtual int readBinary(TiffTag tag, unsigned& size, const void*& cursor);
  /// Appends the binary form to the chunk being written.
  virtual int writeBinary(TiffFile& file) const;

  /// The registered type name and IFF tag of the letter's class (its metaclass's).
  [[nodiscard]] virtual const char* typeName() const;
  [[nodiscard]] virtual TiffTag iffTag() const;
  /// Makes payload that is still shared with other letters private to this one.
  virtual void deepCopy();
  /// Makes this letter a copy of `source` reusing this letter's storage where it can; false
  /// when `source` is of another kind.
  virtual bool smartCopy(const TdataLetter* source);
  [[nodiscard]] virtual TpluginData* pluginDataInfo() const { return fPluginData; }
  virtual void setPluginDataInfo(TpluginData* info) { fPluginData = info; }
  /// @}

  /// @name Plug-in handle
  /// @{
  [[nodiscard]] int apiType() const override;
  void apiReference() override;
  void apiUnreference() override;
  [[nodiscard]] bool apiHasReferenceCounting() const override;
  [[nodiscard]] const char* apiTypeString() const override;
  [[nodiscard]] void* apiUserObject() const override;
  void setApiUserObject(void* object) override;
  void clearInstance() override;
  /// @}

  /// The trace "dataLetterCopy": reports each private copy that Tdata::makeWritable makes
  /// (type name and size); off by default. The trace is registered on first use, so loading
  /// the library registers no trace of its own.
  class VELACORE_API TcopyTrace {
   public:
    [[nodiscard]] TdbTrace& trace() const;
    [[nodiscard]] bool on() const;
  };
  static const TcopyTrace fsTrace;

 protected:
  /// Throws the shared TincompatibleData exception (for unsupported operands).
  [[noreturn]] static void sIncompatible();
  /// The letter that `o` holds when it is of this letter's exact class, else null: letters that
  /// compare with their own kind answer envelopes of that kind through it.
  [[nodiscard]] const TdataLetter* sameClassLetter(const Tdata& o) const;

 private:
  void dropped(TdataRefType kind, bool mayDelete);

  std::uint8_t fFlags = 0;
  TdataLetterCopyManager* fCopyManager = nullptr;
  TpluginData* fPluginData = nullptr;
  void* fApiUserObject = nullptr;
};

/// Equality for a letter class that compares only with letters of its own class: an envelope
/// holding such a letter compares as that letter, anything else gets TdataLetter's answers.
/// The class defines `bool operator==(const TdataLetter&) const`.
#define VELA_DATA_LETTER_EQUALITY()                                          \
  bool operator==(const Tdata& o) const override {                           \
    const TdataLetter* l = sameClassLetter(o);                               \
    return l != nullptr ? *this == *l : TdataLetter::operator==(o);          \
  }                                                                          \
  bool operator!=(const Tdata& o) const override { return !(*this == o); }   \
  bool operator==(const TdataLetter& o) const override;                      \
  bool operator!=(const TdataLetter& o) const override { return !(*this == o); }
