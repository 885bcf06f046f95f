// Tnamespace: the store of name objects. Each namespace keeps its objects in a dictionary
// ordered by TnameString::strnumcmp, so within one namespace every name is held once. A
// namespace is itself a name object, held by its parent; the root namespace (empty name) holds
// the top level, and one namespace is current (where unregistered objects go).
//
//   Tnamespace* chars = new Tnamespace("chars", Tnamespace::root());
//   TnameObject cup("cup");
//   chars->add(&cup);                                  // :chars:cup
//   Tnamespace::root()->resolve("chars:cup");          // &cup
//   chars->nextIncrement("cup");                       // "1"
//   Tnamespace::isValidName("2cup");                   // false: starts with a digit
//
// Path syntax and name rules are described in TnameObject.h. A dictionary entry may also be a
// held name with no object (holdName): it keeps the name taken, and unique naming does not
// number after it.
#pragma once

#include <velacore/names/TnameDictionary.h>
#include <velacore/names/TnameObject.h>

#include <vector>

class VELACORE_API Tnamespace : public TnameObject {
  VELA_DECLARE_TYPE(Tnamespace);

 public:
  Tnamespace() = default;
  /// A namespace named `name`, added to `parent` when given (renamed there on a clash).
  explicit Tnamespace(const Tstring& name, Tnamespace* parent = nullptr);
  /// Unregisters every object it holds, then itself; a deleted current namespace hands the
  /// role back to the root.
  ~Tnamespace() override;

  [[nodiscard]] bool isNamespace() const override { return true; }

  /// The root namespace (lives for the whole process).
  [[nodiscard]] static Tnamespace* root();
  /// The current namespace (the root unless set).
  [[nodiscard]] static Tnamespace* current();
  /// Makes `ns` current (null: the root).
  static void setCurrent(Tnamespace* ns);

  /// A name is non-empty, does not start with a digit, holds ASCII letters, digits and "_"
  /// only and is not a keyword.
  [[nodiscard]] static bool isValidName(const Tstring& name);

  /// Registers `obj` here under its name, taking it out of its former namespace. A taken name
  /// is resolved as makeNameUnique does. False for an invalid name or for a namespace that
  /// would hold itself (directly or through its children).
  bool add(TnameObject* obj);
  /// Unregisters `obj` if it is held here.
  bool remove(TnameObject* obj);
  /// Renames `obj` (held here) to `name`, resolving a clash; false for an invalid name.
  bool rename(TnameObject* obj, const Tstring& name);
  /// Keeps `name` taken without an object; false when invalid or taken.
  bool holdName(const Tstring& name);
  bool releaseHeldName(const Tstring& name);

  /// The object named `name` directly in this namespace, or null.
  [[nodiscard]] TnameObject* find(const Tstring& name) const;
  /// Whether `name` is taken here (by an object or a held name).
  [[nodiscard]] bool contains(const Tstring& name) const;
  /// The object a path leads to (absolute, or relative to this namespace), or null.
  [[nodiscard]] TnameObject* resolve(const Tstring& path) const;
  /// The namespace a path leads to, or null.
  [[nodiscard]] Tnamespace* resolveNamespace(const Tstring& path) const;
  /// The parent namespace (null for the root and for unregistered namespaces).
  [[nodiscard]] Tnamespace* parent() const { return getNamespace(); }
  /// Whether this is `ns` or one of its descendants.
  [[nodiscard]] bool isWithin(const Tnamespace* ns) const;
  /// The next number for `base`: one more than that of the greatest name of the base here.
  [[nodiscard]] Tstring nextIncrement(const Tstring& base) const;
  /// Entries held here (objects and held names).
  [[nodiscard]] std::size_t count() const;
  /// The objects held here, in name order.
  [[nodiscard]] std::vector<TnameObject*> objects() const;

 private:
  friend class TnameObject;
  friend class TnameObjectIterator;

  bool addLocked(TnameObject* obj, const TnameString& wanted);
  /// Adds the entry unless the name is taken.
  bool insertLocked(const TnameString& name, TnameObject* obj);
  /// Removes the entry named `name`, which exists.
  void removeEntryLocked(const TnameString& name);
  /// The entry named `name`, or null.
  [[nodiscard]] TnameDictionaryNode* entryLocked(const TnameString& name) const;
  void eraseLocked(TnameObject* obj);
  /// Marks `obj` as belonging to no namespace (its entry is the caller's business).
  static void detachLocked(TnameObject* obj);
  [[nodiscard]] Tstring nextIncrementLocked(const Tstring& base, bool* mayBeTaken) const;
  [[nodiscard]] TnameString uniqueNameLocked(const TnameString& wanted,
                                             const TnameObject* obj) const;
  [[nodiscard]] Tstring pathLocked() const;

  // The dictionary is logically const for lookups: the bookmark (the place of the last search,
  // so that runs of names of one base are found in constant time) changes under the store lock.
  mutable TnameDictionary fEntries;
  mutable Tbookmark fMark;
  std::size_t fCount = 0;
};
