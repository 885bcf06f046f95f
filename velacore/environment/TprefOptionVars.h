// TprefOptionVars: the collection of option variables, kept sorted by name, that the
// application saves into the user's preferences as a script of optionVar commands.
//
//   TprefOptionVars prefs;
//   prefs.addVar("gridSpacing", 2.5);
//   prefs.addVar("userName", Tstring("Ann \"A\" Lee"));
//   prefs.addLastArrayVar("recent", Tstring("a.vela"));   // a new one-element string array
//   int n = 0;
//   prefs.getVar("gridSpacing", n);                        // false: it holds a double
//   Tstring script;
//   prefs.commandString(script);
//   // "\noptionVar -version 3;\noptionVar\n -fv \"gridSpacing\" 2.5\n -ca \"recent\"..."
//
// Hazards:
// - Not thread-safe: one thread (the application's main thread) owns the collection.
// - Names sort by their UTF-8 bytes, so "Zoom" comes before "apple" and var(i) follows that.
// - Names are written into the script as they are: a name holding a double quote or a line
//   break makes a script that does not read back.
// - The array-element members change the variable in place; clients still hear of each change.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TvalueArray.h>
#include <velacore/environment/ToptionVar.h>
#include <velacore/environment/TpreferenceItem.h>
#include <velacore/types/Tmetaclass.h>

#include <cstdint>
#include <vector>

/// An array of option-variable pointers.
using ToptionVarPtrArray = TvalueArray<ToptionVar*>;

class VELACORE_API TprefOptionVars : public TpreferenceItem {
  VELA_DECLARE_TYPE(TprefOptionVars);

 public:
  /// The preference item type and flags of the collection.
  static constexpr int kItemType = 1403;
  static constexpr int kItemFlags = 21;
  /// The preference format version written into the script.
  static const int fsVersion;
  /// Notes on each format version, oldest first.
  static const char* const fsVersionChanges[];

  TprefOptionVars();
  TprefOptionVars(const TprefOptionVars&) = delete;
  TprefOptionVars& operator=(const TprefOptionVars&) = delete;
  ~TprefOptionVars() override;

  /// @name Whole variables (an existing variable takes the new value and its kind)
  /// @{
  void addVar(const Tstring& name, double value);
  void addVar(const Tstring& name, int value);
  void addVar(const Tstring& name, const Tstring& value);
  void addVar(const Tstring& name, const TdoubleArray& value);
  void addVar(const Tstring& name, const Tint32Array& value);
  void addVar(const Tstring& name, const TstringArray& value);
  /// False (value untouched) when the name is unknown or the kind differs.
  bool getVar(const Tstring& name, double& value) const;
  bool getVar(const Tstring& name, int& value) const;
  bool getVar(const Tstring& name, Tstring& value) const;
  bool getVar(const Tstring& name, TdoubleArray& value) const;
  bool getVar(const Tstring& name, Tint32Array& value) const;
  bool getVar(const Tstring& name, TstringArray& value) const;
  void removeVar(const Tstring& name);
  void removeAllVars();
  /// @}

  /// @name Array elements (false for unknown names, other kinds or bad indices)
  /// @{
  /// Appends; a matching scalar becomes a two-element array, a missing variable a new
  /// one-element array.
  bool addLastArrayVar(const Tstring& name, double value);
  bool addLastArrayVar(const Tstring& name, int value);
  bool addLastArrayVar(const Tstring& name, const Tstring& value);
  /// Inserts before `index`; index equal to the count appends.
  bool insertArrayVar(const Tstring& name, unsigned index, double value);
  bool insertArrayVar(const Tstring& name, unsigned index, int value);
  bool insertArrayVar(const Tstring& name, unsigned index, const Tstring& value);
  bool replaceArrayVar(const Tstring& name, unsigned index, double value);
  bool replaceArrayVar(const Tstring& name, unsigned index, int value);
  bool replaceArrayVar(const Tstring& name, unsigned index, const Tstring& value);
  bool removeArrayVar(const Tstring& name, unsigned index);
  /// Empties an array variable of any kind; false for scalars.
  bool clearArrayVar(const Tstring& name);
  bool getArrayVar(const Tstring& name, unsigned index, double& value) const;
  bool getArrayVar(const Tstring& name, unsigned index, int& value) const;
  bool getArrayVar(const Tstring& name, unsigned index, Tstring& value) const;
  /// @}

  /// @name Queries
  /// @{
  /// ToptionVar::arraySize of the variable; 0 when unknown.
  [[nodiscard]] unsigned varSize(const Tstring& name) const;
  /// The variable's kind; kNone when unknown.
  [[nodiscard]] ToptionVar::ToptionVarType varType(const Tstring& name) const;
  [[nodiscard]] unsigned numVars() const { return static_cast<unsigned>(fKeys.size()); }
  /// The name at sorted position `i` (empty past the end).
  [[nodiscard]] Tstring var(unsigned i) const;
  [[nodiscard]] bool varExists(const Tstring& name) const;
  /// The variable itself, or null.
  [[nodiscard]] ToptionVar* findVar(const Tstring& name) const;
  /// @}

  /// Subscribes to changes of one existing variable; false for an unknown name.
  bool addClient(const Tstring& name, void* client, int clientType, TclientCallback callback);
  /// The same for a client that unsubscribes itself when it is destroyed first.
  bool addClient(const Tstring& name, TclientServer* client, int clientType,
                 TclientCallback callback);

  /// Writes the collection as a script of optionVar commands into `text`.
  virtual void commandString(Tstring& text) const;

  [[nodiscard]] static int version() { return fsVersion; }
  /// The note on version i + 1; empty past the last.
  [[nodiscard]] static Tstring versionString(unsigned i);

 private:
  /// Binary search; `index` is the position found or the insertion position.
  bool varExists(const Tstring& name, unsigned& index) const;
  template <class T>
  void addVarOf(const Tstring& name, const T& value);
  template <class T>
  bool getVarOf(const Tstring& name, T& value) const;
  template <class T>
  bool addLastOf(const Tstring& name, const T& value);
  template <class T>
  bool insertOf(const Tstring& name, unsigned index, const T& value);
  template <class T>
  bool replaceOf(const Tstring& name, unsigned index, const T& value);
  template <class Client>
  bool addClientOf(const Tstring& name, Client* client, int clientType, TclientCallback callback);
  template <class T>
  bool getElementOf(const Tstring& name, unsigned index, T& value) const;

  /// Inserts a new variable (its key) at a position varExists found.
  void insertVar(ToptionVar* v, unsigned index);

  /// A variable's name as searches see it: its first sixteen bytes as two big-endian numbers,
  /// its length in bytes, and the variable (for the rest of a longer name).
  struct Tkey {
    std::uint64_t hi;
    std::uint64_t lo;
    unsigned length;
    ToptionVar* var;
  };
  static Tkey keyOf(const Tstring& name, ToptionVar* var);
  /// Byte order of two names; `bName` is b's name (b may have no variable yet).
  static int compareKeys(const Tkey& a, const Tkey& b, const Tstring& bName);

  /// The variables (owned), one key each, sorted by name in byte order: what searches run over
  /// and what var(i) indexes.
  std::vector<Tkey> fKeys;
};
