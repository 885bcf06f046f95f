// TtextObject: the text held inside a Tstring body, and the body itself.
//
// Private to the strings sources (it includes Qt, which never appears in a public header). The
// body keeps a byte form (UTF-8) and a wide form (UTF-16 in a QString) and a state saying which
// of them is current; the count, the state and the byte form sit in the public base TstringRep so
// that Tstring's byte accessors, equality, hash and append can be inline:
//   kSynced        both are current;
//   kWideOnly      only the wide form is current; the byte form is made on demand;
//   kNarrowPending only the byte form is current; the wide form is made on demand.
// On-demand conversions of a body that may be shared run under one process-wide lock and publish
// the new state with a release store, so readers that see the state also see the converted text.
// A body held by one string only is edited freely by that string's owner; every such edit goes
// through `changed`, which also forgets what was learnt about the old text (hash, UTF-8 check).
#pragma once

#include <velacore/strings/Tstring.h>

#include <QString>

#include <atomic>
#include <cstdint>
#include <string>

class TtextObject : public TstringRep {
 public:
  TtextObject() = default;
  /// A body holding only the byte form `bytes` (narrow pending).
  TtextObject(const char* bytes, std::size_t length) : TstringRep(bytes, length) {}
  /// Copies the forms that are current (into a body of its own, count 1). Another thread may
  /// be converting `o` at this moment (it writes only the form that is not current), so the
  /// stale form is never read.
  TtextObject(const TtextObject& o) : TstringRep() {
    const uint32_t s = o.fState.load(std::memory_order_acquire);
    fState.store(s, std::memory_order_relaxed);
    if (s != kWideOnly) {
      fNarrow = o.fNarrow;
      fHash.store(o.fHash.load(std::memory_order_relaxed), std::memory_order_relaxed);
    }
    if (s != kNarrowPending) fWide = o.fWide;
  }
  TtextObject& operator=(const TtextObject&) = delete;
  ~TtextObject() = default;

  [[nodiscard]] uint32_t state() const { return fState.load(std::memory_order_acquire); }

  /// Makes the wide / byte form current: one acquire load when it already is, else the
  /// conversion under the process-wide lock (once, however many threads ask at a time).
  void syncWide();
  /// The same for a body about to be edited: its string holds it alone and, being changed, is
  /// used by no other thread, so no lock is needed.
  void syncWideForEdit();
  void syncNarrow();

  /// The text as well-formed UTF-8: the byte form itself when it is well formed (the usual
  /// case, checked once per text), else a repaired copy made once, in which each malformed
  /// sequence is U+FFFD. Safe on a shared body.
  const std::string& utf8();

  /// Converts UTF-8 bytes to UTF-16 (ASCII fast path in front of Qt's decoder).
  static QString decode(const char* bytes, std::size_t length);
  /// Converts UTF-16 to UTF-8.
  static void encode(const QString& wide, std::string& out);
  /// Whether every one of `n` bytes is below 0x80 (vector loop).
  static bool isAscii(const char* bytes, std::size_t n);

  /// The wide form (valid unless the state is `kNarrowPending`).
  QString fWide;
};

/// The heap body of a Tstring: the count and byte form (in the base) and the wide form.
using TstringBody = TtextObject;

/// The strings sources' access to a Tstring's body.
class TstringAccess {
 public:
  /// The text object, or null for the empty null string.
  static TtextObject* text(const Tstring& s) {
    return static_cast<TtextObject*>(s.fRep);
  }
  /// The current byte form (an empty string for null).
  static const std::string& narrow(const Tstring& s);
  /// The current wide form (an empty QString for null).
  static const QString& wide(const Tstring& s);
  /// A body held by `s` alone, keeping the text when `keep`; may be freshly allocated.
  static TtextObject& detach(Tstring& s, bool keep);
  /// Detaches keeping the text and returns the current byte form for editing; the wide form
  /// becomes stale.
  static std::string& editNarrow(Tstring& s);
  /// Detaches keeping the text and returns the current wide form for editing; the byte form
  /// becomes stale.
  static QString& editWide(Tstring& s);
  /// Replaces the text by `length` bytes (which may lie inside `s`).
  static void setNarrow(Tstring& s, const char* bytes, std::size_t length);
  /// Replaces the text by a wide string.
  static void setWide(Tstring& s, QString wide);
  /// Drops the body (the string becomes null).
  static void drop(Tstring& s) {
    Tstring::release(s.fRep);
    s.fRep = nullptr;
  }
};

/// QString's units seen as char16_t.
inline const char16_t* units(const QString& s) {
  return reinterpret_cast<const char16_t*>(s.utf16());
}
