// Tmetaclass: velacore's own run-time types, one static metaclass object per participating class.
//
// A metaclass describes its class: name, instance size, IFF tag, up to four direct superclasses
// and how to create an instance. Every metaclass enters one process-wide registry when it is
// constructed (during static initialisation), which gives kind-of tests in constant time,
// lookups by name or tag, creation of a class chosen at run time and a printable class tree.
//
// A class takes part with one line in its header and one in its source:
//
//   // Tshape.h                                 // Tshape.cpp, at global scope
//   class VELACORE_API Tshape {                  VELA_DEFINE_ABSTRACT_TYPE(Tshape);
//     VELA_DECLARE_TYPE(Tshape);
//    public:                                     // Tcube.cpp
//     virtual ~Tshape();                         VELA_DEFINE_TYPE(Tcube, Tshape);
//   };
//   class VELACORE_API Tcube : public Tshape {
//     VELA_DECLARE_TYPE(Tcube);
//    public:
//     double fEdge = 1.0;
//   };
//
// and then:
//
//   Tshape* s = Tshape::construct(Tmetaclass::findClass("Tcube"));   // a new Tcube, as Tshape*
//   if (s->typeof()->isa(Tcube::sTypeof())) ...                        // kind-of test
//   Tcube* c = vela::typeCast<Tcube>(s);                              // null if s is no Tcube
//   Tmetaclass::findClass("Tcube")->isAbstract();                      // false
//
// What the two lines give class X:
// - the global `Tmetaclass* XTmeta` (exported), pointing at X's metaclass;
// - static `sTypeof()` (returns XTmeta) and `sTmetaAddress()` (returns &XTmeta, the link that
//   subclasses store), virtual `typeof()` and `cast(Tmetaclass*)`, static `construct(t)` and
//   `constructInPlace(t, where)` that build a class `t` (X or a kind of X) and return it as X*.
//
// Variants of the source line (all at global scope, superclasses in the order of the C++ base
// list, at most four; only participating bases are listed):
//   VELA_DEFINE_TYPE(X, Bases...)            concrete: constructed with `new X()`
//   VELA_DEFINE_ABSTRACT_TYPE(X, Bases...)   no creation procedure (isAbstract() is true)
//   VELA_DEFINE_TYPE_AS(name, tag, kind, X, Bases...)   a name other than "X" and an IFF tag
//                                            (an unsigned value, e.g. TiffTag("DBL#").value());
//                                            kind is TtypeKind::kConcrete or kAbstract
//   VELA_DEFINE_TEMPLATE_TYPE_AS(name, tag, kind, Alias, Bases...)   one specialisation of a
//                                            class template, named by an alias (the global is
//                                            AliasTmeta); declare `template <> Tmetaclass**
//                                            Alias::sTmetaAddress();` in the header too.
//
// Hazards:
// - The class graph must be complete before the first kind-of query of a class: its ancestor
//   table is built once and never rebuilt (addSuperClass() after that is not seen).
// - VELA_DECLARE_TYPE leaves the access of what follows public; put it first in the class body
//   so that typeof() and cast() are the class's first virtual operations.
// - `typeof` is a keyword of the GNU dialects; the package adds -fno-gnu-keywords for its users.
// - Registration and addSuperClass() are not locked: they belong to static initialisation. All
//   queries may run on any thread afterwards.
// - A metaclass constructed outside static storage must pass forceIndex = true, or it may not
//   receive an index (the index is only handed out while the size still reads 0).
// - The copy of a metaclass shares the original's ancestor table; it must not outlive it.
#pragma once

#include <velacore/base/TiffTag.h>
#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TtypedObjArray.h>
#include <velacore/types/TtypeDeclaration.h>

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <new>
#include <string>
#include <tuple>

class TdebugOutput;
class Tmetaclass;
class TtypeDictionary;

/// The metaclasses of the registry and of class-tree queries.
using TtypeidArray = TtypedObjArray<Tmetaclass*>;

/// A class's two creation procedures: each makes an instance and returns it viewed as `as`
/// (null when `as` is not the class or one of its ancestors).
struct VELACORE_API TconstructorProc {
  using Tconstruct = void* (*)(Tmetaclass* as);
  using TconstructInPlace = void* (*)(Tmetaclass* as, void* where);

  /// No procedures: an abstract class.
  constexpr TconstructorProc() = default;
  /// The pair of procedures.
  constexpr TconstructorProc(void* (&make)(Tmetaclass*), void* (&makeIn)(Tmetaclass*, void*))
      : construct(&make), constructInPlace(&makeIn) {}

  Tconstruct construct = nullptr;
  TconstructInPlace constructInPlace = nullptr;
};

/// A creator object: the alternative to a procedure pair, for classes whose instances come from
/// somewhere other than `new` (pools, factories). Used by Tmetaclass::construct() only.
class VELACORE_API TconstructorClass {
 public:
  virtual ~TconstructorClass();
  /// A new instance viewed as `as`, or null.
  virtual void* construct(Tmetaclass* as) = 0;
  /// An instance built in `where`, viewed as `as`, or null.
  virtual void* constructInPlace(Tmetaclass* as, void* where) = 0;
};

/// Whether a class defined with VELA_DEFINE_TYPE_AS can be created.
enum class TtypeKind { kConcrete, kAbstract };

class VELACORE_API Tmetaclass {
 public:
  /// debug() flag: everything on one line ("/TfileException/Texception").
  static constexpr unsigned kDebugOneLine = 0x4000;

  /// @name Construction (during static initialisation; registers the class)
  /// @{
  /// A class named `name` (not copied) of `size` bytes, created by `proc`, with IFF tag `tag`
  /// (0: none) and up to four superclass links: the addresses of the superclasses' XTmeta
  /// globals, so that superclasses may be constructed later. Links after the first null one
  /// are ignored. `self` is accepted and not used. The class receives the next type index.
  Tmetaclass(Tmetaclass** self, const char* name, unsigned size, TconstructorProc proc,
             unsigned tag = 0, bool forceIndex = false, Tmetaclass** super1 = nullptr,
             Tmetaclass** super2 = nullptr, Tmetaclass** super3 = nullptr,
             Tmetaclass** super4 = nullptr);
  /// The same with a creator object (not owned) instead of procedures.
  Tmetaclass(Tmetaclass** self, const char* name, unsigned size, TconstructorClass* creator,
             unsigned tag = 0, bool forceIndex = false, Tmetaclass** super1 = nullptr,
             Tmetaclass** super2 = nullptr, Tmetaclass** super3 = nullptr,
             Tmetaclass** super4 = nullptr);
  /// A memberwise copy, sharing the ancestor table; not registered.
  Tmetaclass(const Tmetaclass& other);
  Tmetaclass& operator=(const Tmetaclass& other);
  /// Leaves the registry and frees the ancestor table.
  ~Tmetaclass();
  /// @}

  /// @name Description
  /// @{
  [[nodiscard]] const char* name() const { return fName; }
  /// Instance size in bytes.
  [[nodiscard]] unsigned size() const { return fSize; }
  [[nodiscard]] TiffTag tag() const { return TiffTag(fTag); }
  /// The type index given at registration.
  [[nodiscard]] unsigned index() const { return fIndex; }
  /// The i-th direct superclass, or null.
  [[nodiscard]] Tmetaclass* super(unsigned i) const {
    return i < 4 && fSuper[i] != nullptr ? *fSuper[i] : nullptr;
  }
  /// The number of leading non-null superclass links.
  [[nodiscard]] unsigned superCount() const { return fSuperCount; }
  /// The size minus the sizes of the direct superclasses (wraps around below 0).
  [[nodiscard]] unsigned extraSize() const;
  /// No creation procedure and no creator.
  [[nodiscard]] bool isAbstract() const {
    return fConstructorProc.construct == nullptr && fCreator == nullptr;
  }
  /// @}

  /// @name Kind-of tests
  /// The first test of a class with superclasses builds its ancestor table; afterwards each
  /// costs a range check and a bit test. A null class is nobody's kind.
  /// @{
  /// This class is `m` or has `m` among its ancestors.
  [[nodiscard]] bool isa(const Tmetaclass* m) const { return m == this || istype(m); }
  [[nodiscard]] bool isnota(const Tmetaclass* m) const { return m != this && !istype(m); }
  [[nodiscard]] bool isexactlya(const Tmetaclass* m) const { return m == this; }
  [[nodiscard]] bool isnotexactlya(const Tmetaclass* m) const { return m != this; }
  /// The same by class name (walks the superclasses; no table). A null name matches nothing.
  [[nodiscard]] bool isa(const char* name) const;
  [[nodiscard]] bool isnota(const char* name) const { return !isa(name); }
  [[nodiscard]] bool isexactlya(const char* name) const;
  [[nodiscard]] bool isnotexactlya(const char* name) const { return !isexactlya(name); }
  /// @}

  /// @name Creation
  /// @{
  /// A new instance viewed as `as` (through the procedure, else the creator), or null.
  [[nodiscard]] void* construct(Tmetaclass* as) const;
  /// An instance built in `where` viewed as `as` (procedure only), or null.
  [[nodiscard]] void* constructInPlace(Tmetaclass* as, void* where) const;
  /// Creates instances through `creator` (not owned) from now on; clears the procedures.
  void setCreator(TconstructorClass* creator);
  /// Adds a superclass link into the first free slot, unless present or all four are used.
  void addSuperClass(Tmetaclass** super);
  /// @}

  /// @name The registry (scans in registration order; the first match wins)
  /// @{
  /// The first class named `name`, or null.
  [[nodiscard]] static Tmetaclass* findClass(const char* name);
  /// The first class named `name` that is `base` or a kind of it, or null.
  [[nodiscard]] static Tmetaclass* findClass(const char* name, Tmetaclass* base);
  /// The first class with this tag, or null.
  [[nodiscard]] static Tmetaclass* findClass(TiffTag tag);
  /// A new dictionary (owned by the caller) from class name to class of every registered
  /// class that is `base` or a kind of it; empty for null.
  [[nodiscard]] static TtypeDictionary* generateDictionaryFor(Tmetaclass* base);
  /// Inserts `base` and, depth first in registration order, every class derived from it at
  /// the front of `out` (so the last visited comes first; diamonds are listed twice).
  static void getDerivedClasses(Tmetaclass* base, TtypeidArray& out);
  /// Inserts `cls` and its ancestors at the front of `out`; a direct superclass that a later
  /// one derives from is reached only through that later one.
  static void getInheritedClasses(Tmetaclass* cls, TtypeidArray& out);
  /// The registry itself, in registration order (null before the first registration).
  [[nodiscard]] static const TtypeidArray* registry();
  /// @}

  /// @name Printing
  /// @{
  /// Prints the class tree to standard output: each root class
  /// ("<name>:  +<extraSize> = <size>", "    (abstract)" when abstract), then its subclasses
  /// indented with ". " per level.
  static void dumpAllClasses();
  static void dumpAllClasses(std::ostream& out);
  /// Prints `base`'s line with `depth` leading ". " and its subtree below it.
  static void dumpAllClassesDerivedFrom(Tmetaclass* base, int depth);
  static void dumpAllClassesDerivedFrom(std::ostream& out, Tmetaclass* base, int depth);
  /// Prints "/<name>" and the superclasses indented below it; with kDebugOneLine set, all on
  /// one line ("/D{/B/A, /C/A}") without a line end.
  void debug(TdebugOutput& out, unsigned flags) const;
  /// debug() to the standard error sink.
  static void debugMe(const Tmetaclass& cls, unsigned flags);
  /// @}

 private:
  void registerClass(bool forceIndex);
  void storeSupers(unsigned size, Tmetaclass** s1, Tmetaclass** s2, Tmetaclass** s3,
                   Tmetaclass** s4);
  bool istype(const Tmetaclass* other) const {
    if (other == nullptr || fSuperCount == 0) return false;
    const unsigned* table = fAncestorTable.load(std::memory_order_acquire);
    if (table == nullptr) table = buildTable();
    const unsigned bit = unsigned(other->fIndex) - (table[0] & 0xFFFFu);
    if (bit > (table[0] >> 16) - (table[0] & 0xFFFFu)) return false;  // also below lower
    return (table[1 + bit / 32] >> (bit % 32) & 1u) != 0;
  }
  const unsigned* buildTable() const;
  void getTableSize(unsigned short& lower, unsigned short& upper) const;
  void fillTable(unsigned* table, unsigned short lower) const;
  static void setBounds(unsigned* table, unsigned short lower, unsigned short upper);
  void debugOneLine(std::string& line) const;

  // Built on the first kind-of test; owned unless fBorrowedTable.
  mutable std::atomic<unsigned*> fAncestorTable;
  Tmetaclass** fSuper[4];
  const char* fName;
  std::uint32_t fTag;
  TconstructorProc fConstructorProc;
  TconstructorClass* fCreator;
  std::uint16_t fSize;
  std::uint16_t fIndex;
  std::uint8_t fSuperCount;
  bool fBorrowedTable;  // the table came with a copy: the original frees it
};

#include <velacore/types/detail/TtypeProtocol.h>

/// Defines a concrete class's metaclass: `VELA_DEFINE_TYPE(X, Bases...)`, at global scope.
#define VELA_DEFINE_TYPE(...)                                                                \
  VELA_TYPE_DEFINE_(, VELA_TYPE_FIRST_(__VA_ARGS__, ~), VELA_TYPE_STR_(VELA_TYPE_FIRST_(      \
                    __VA_ARGS__, ~)), 0u, TtypeKind::kConcrete, __VA_ARGS__)

/// Defines an abstract class's metaclass: `VELA_DEFINE_ABSTRACT_TYPE(X, Bases...)`.
#define VELA_DEFINE_ABSTRACT_TYPE(...)                                                       \
  VELA_TYPE_DEFINE_(, VELA_TYPE_FIRST_(__VA_ARGS__, ~), VELA_TYPE_STR_(VELA_TYPE_FIRST_(      \
                    __VA_ARGS__, ~)), 0u, TtypeKind::kAbstract, __VA_ARGS__)

/// Defines a metaclass with its own name and tag: `VELA_DEFINE_TYPE_AS(name, tag, kind, X,
/// Bases...)`.
#define VELA_DEFINE_TYPE_AS(name, tag, kind, ...) \
  VELA_TYPE_DEFINE_(, VELA_TYPE_FIRST_(__VA_ARGS__, ~), name, tag, kind, __VA_ARGS__)

/// The same for one specialisation of a class template, named by an alias.
#define VELA_DEFINE_TEMPLATE_TYPE_AS(name, tag, kind, ...) \
  VELA_TYPE_DEFINE_(template <>, VELA_TYPE_FIRST_(__VA_ARGS__, ~), name, tag, kind, __VA_ARGS__)
