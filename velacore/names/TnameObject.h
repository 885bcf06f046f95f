// TnameObject: the base of every named thing (nodes, sets, namespaces). It holds a name, the
// namespace that holds it, and a few flags; the namespace store (Tnamespace.h) keeps the names
// of one namespace unique and ordered naturally (TnameString).
//
//   Tnamespace* chars = new Tnamespace("chars", Tnamespace::root());
//   TnameObject* a = new TnameObject("box");
//   a->setNamespace(chars);               // registered as box
//   TnameObject* b = new TnameObject("box");
//   b->setNamespace(chars);               // box was taken: registered as box1
//   a->makeNameUnique();                  // box2 (one more than the greatest box<N>)
//   a->fullName();                        // ":chars:box2"
//   TnameObject::registerKeywords(list);  // words no object may be named
//
// Names and paths (one syntax for the whole store):
// - A name is non-empty, does not start with a digit, holds ASCII letters, digits and "_" only
//   and is not a registered keyword.
// - ":" separates namespaces. The root namespace has the empty name; a path that begins with
//   ":" is absolute (":chars:box2"), any other is relative to a namespace ("chars:box2" from the
//   root). ".." names the parent namespace ("..:props:cup" from :chars).
// - fullName()/absoluteName() give the absolute path; relativeName(ns) the path below `ns`
//   (the absolute path when the object is not below it); relativeNameWithDoubleDot(ns) the
//   shortest path from `ns` using "..".
//
// Traps:
// - Objects are not owned by their namespace. Deleting an object unregisters it; deleting a
//   namespace unregisters its objects (they keep their names).
// - The whole store shares one lock: every operation is safe on any thread, but an object must
//   not be deleted while another thread uses it, and an iterator sees the objects present when
//   it was reset (objects deleted later must not be dereferenced).
// - Clash resolution renames silently: check name() after setName() or setNamespace().
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/names/TnameString.h>
#include <velacore/types/Tmetaclass.h>

#include <cstdint>
#include <vector>

class Tnamespace;

class VELACORE_API TnameObject {
  VELA_DECLARE_TYPE(TnameObject);

 public:
  TnameObject() = default;
  /// An unregistered object with this name (stored as given, not validated).
  explicit TnameObject(const Tstring& name) { setNameData(name); }
  TnameObject(const TnameObject&) = delete;
  TnameObject& operator=(const TnameObject&) = delete;
  /// Leaves its namespace.
  virtual ~TnameObject();

  /// @name Virtual operations (in slot order)
  /// @{
  /// Renames: a registered object is renamed in its namespace (validated; a clash is resolved
  /// as makeNameUnique does); an unregistered one, or an empty name, goes to setNameData().
  /// False when the name is invalid (the name is then unchanged).
  virtual bool setName(const Tstring& name);
  /// Moves the object into `ns` (null: out of every namespace), resolving a clash there.
  virtual bool setNamespace(Tnamespace* ns);
  /// Gives the object its base name (trailing digits removed) plus the next free number for
  /// that base in its namespace; an unregistered object is registered in the current namespace
  /// first. An object whose name has no base is named after its class.
  virtual bool makeNameUnique();
  /// Registers the object under its name in its place-holder or the current namespace. The
  /// name may carry a namespace path (":chars:box"), which must exist. False when already
  /// registered, when the name is invalid or taken.
  virtual bool reserveName();
  /// Leaves the namespace (the name stays). False when not registered.
  virtual bool releaseName();
  [[nodiscard]] virtual bool isNamespace() const { return false; }
  /// Forgets the place-holder namespace.
  virtual void clearPlaceHolderPaths();
  /// Forgets the cached full name.
  virtual void setNameCacheDirty();
  /// @}

  /// @name Names
  /// @{
  [[nodiscard]] const TnameString& name() const { return fName; }
  [[nodiscard]] Tstring name(bool full) const { return full ? fullName() : Tstring(fName); }
  [[nodiscard]] const TnameString& baseName() const { return fName; }
  /// The absolute path, ":chars:box2"; a place-holder namespace stands in for a missing one.
  [[nodiscard]] Tstring fullName() const;
  [[nodiscard]] Tstring absoluteName() const { return fullName(); }
  /// The path below the current namespace / below `ns` (the full name when not below it).
  [[nodiscard]] Tstring relativeName() const;
  [[nodiscard]] Tstring relativeName(Tnamespace* ns) const;
  /// The shortest path from `ns` (null: the current namespace), with ".." to go up.
  [[nodiscard]] Tstring relativeNameWithDoubleDot(Tnamespace* ns) const;
  /// The same for an absolute path.
  [[nodiscard]] static Tstring relativeNameWithDoubleDot(const Tstring& fullName, Tnamespace* ns);
  /// Stores the name without any namespace work (an empty string clears it). Do not use on a
  /// registered object: its namespace would file it under the old name.
  void setNameData(const Tstring& name);
  void clearName() { setNameData(Tstring()); }
  /// Whether no other registered object anywhere in the store has the same plain name.
  [[nodiscard]] bool hasUniqueName() const;
  /// @}

  /// @name Namespace
  /// @{
  [[nodiscard]] Tnamespace* getNamespace() const { return fNamespace; }
  /// Sets the pointer only (the namespace's dictionary is not touched).
  void setNamespaceData(Tnamespace* ns) { fNamespace = ns; }
  bool clearNamespace() { return releaseName(); }
  [[nodiscard]] bool isRegistered() const { return (fFlags & kRegistered) != 0; }
  [[nodiscard]] const Tstring& placeHolderNamespace() const { return fPlaceHolder; }
  void setPlaceHolderNamespace(const Tstring& path) { fPlaceHolder = path; setNameCacheDirty(); }
  [[nodiscard]] bool hasPlaceHolderNamespace() const { return !fPlaceHolder.isEmpty(); }
  /// @}

  /// @name Flags
  /// @{
  [[nodiscard]] bool isReserved() const { return (fFlags & kReserved) != 0; }
  void setIsReserved(bool on) { setFlag(kReserved, on); }
  /// fullName() gives the plain name.
  [[nodiscard]] bool ignoreAllNamespaces() const { return (fFlags & kIgnoreAll) != 0; }
  void setIgnoreAllNamespaces(bool on) { setFlag(kIgnoreAll, on); }
  /// fullName() of an unregistered object does not use its place-holder namespace.
  [[nodiscard]] bool ignorePlaceHolderNamespaces() const { return (fFlags & kIgnorePH) != 0; }
  void setIgnorePlaceHolderNamespaces(bool on) { setFlag(kIgnorePH, on); }
  /// A place-holder namespace of ":" (the root) is left out of fullName().
  [[nodiscard]] bool ignoreRootPlaceHolderNamespace() const { return (fFlags & kIgnoreRootPH) != 0; }
  void setIgnoreRootPlaceHolderNamespace(bool on) { setFlag(kIgnoreRootPH, on); }
  /// @}

  /// @name Keywords (one process-wide table, thread-safe)
  /// @{
  /// Whether `name` is a registered keyword (null is looked up as "").
  [[nodiscard]] static bool isKeyword(const char* name);
  /// Adds each word of a list ended by a null entry.
  static void registerKeywords(char** list);
  static void registerKeywords(const char* const* list);
  /// @}

 private:
  friend class Tnamespace;
  enum : std::uint32_t {
    kReserved = 1u,
    kRegistered = 2u,
    kIgnoreAll = 4u,
    kIgnorePH = 8u,
    kIgnoreRootPH = 16u,
  };
  void setFlag(std::uint32_t flag, bool on) {
    fFlags = on ? (fFlags | flag) : (fFlags & ~flag);
    setNameCacheDirty();
  }

  TnameString fName;
  Tnamespace* fNamespace = nullptr;
  std::uint32_t fFlags = 0;
  Tstring fPlaceHolder;
  mutable Tstring fFullNameCache;
  mutable std::uint64_t fFullNameGeneration = 0;  // 0: no cached name
};

/// Walks the objects of a namespace whose names match a wildcard pattern (Tstring::matches:
/// "*", "?", "\"; empty matches all) and whose class is `type` or derives from it (null: any).
/// The objects come in name order, a namespace's own objects before those of its children.
///
///   for (TnameObjectIterator it("box*", nullptr, chars, false, false); !it.isDone(); it.next())
///     use(it.item());
class VELACORE_API TnameObjectIterator {
 public:
  TnameObjectIterator() = default;
  /// `ns` null: the current namespace. `recurse`: also walk the nested namespaces.
  /// `includeNamespaces`: also yield nested namespace objects that match.
  TnameObjectIterator(const Tstring& pattern, Tmetaclass* type, Tnamespace* ns, bool recurse,
                      bool includeNamespaces) {
    reset(pattern, type, ns, recurse, includeNamespaces);
  }
  /// Collects the matching objects anew.
  void reset(const Tstring& pattern, Tmetaclass* type, Tnamespace* ns, bool recurse,
             bool includeNamespaces);
  /// Back to the first collected object.
  void reset() { fIndex = 0; }
  [[nodiscard]] bool isDone() const { return fIndex >= fItems.size(); }
  [[nodiscard]] TnameObject* item() const { return isDone() ? nullptr : fItems[fIndex]; }
  void next() {
    if (!isDone()) ++fIndex;
  }
  [[nodiscard]] std::size_t count() const { return fItems.size(); }

 private:
  std::vector<TnameObject*> fItems;
  std::size_t fIndex = 0;
};
