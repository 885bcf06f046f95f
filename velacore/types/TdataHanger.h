// TdataHanger: a small named property list that an object uses to hang untyped values off
// itself ("blind data").
//
// Each name holds a short list of items; an item holds a double, a 32-bit integer, a Tstring,
// a bool, a T4dDblMatrix, or a pointer with the function that releases it:
//
//   TdataHanger hanger;
//   hanger.set("weight", 0.5);                  // a new name: one item
//   hanger.set("weight", 0.7, 1);               // past the end: appended as the second item
//   double w = 0;
//   if (hanger.type("weight") == TdataHanger::kDouble && hanger.get("weight", w, 1)) ...
//   hanger.set("cache", buffer, 0, &std::free);  // released when replaced or removed
//   hanger.setPersistent("weight", true);
//   hanger.removeItem("weight", 0);             // the last item going takes the name with it
//
// Hazards:
// - Items keep the kind they were made with. set() on an existing item of another kind, and
//   get() of another kind, change nothing (get() answers false): ask type() first.
// - Re-setting a pointer item to the pointer it already holds does not release it.
// - Not thread-safe.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/geometry/T4dDblMatrix.h>
#include <velacore/strings/Tstring.h>
#include <velacore/types/Tmetaclass.h>

#include <cstdint>

/// One item of a hanger entry: the root of the item classes. Destroying an item destroys the
/// items after it.
class VELACORE_API TblindData {
  VELA_DECLARE_TYPE(TblindData);

 public:
  TblindData() = default;
  TblindData(const TblindData&) = delete;
  TblindData& operator=(const TblindData&) = delete;
  virtual ~TblindData();

  TblindData* fNext = nullptr;
};

/// An item holding one value of type T (TblindDoubleData, TblindInt32Data, ...).
template <class T>
class TblindValueData : public TblindData {
  VELA_DECLARE_TYPE(TblindValueData);

 public:
  TblindValueData() : fValue() {}
  explicit TblindValueData(const T& value) : fValue(value) {}

  T fValue;
};

using TblindDoubleData = TblindValueData<double>;
using TblindInt32Data = TblindValueData<std::int32_t>;
using TblindStringData = TblindValueData<Tstring>;
using TblindBooleanData = TblindValueData<bool>;
using TblindMatrixData = TblindValueData<T4dDblMatrix>;

// Each alias is its own run-time class; its metaclass is defined with the library.
template <>
VELACORE_API Tmetaclass** TblindDoubleData::sTmetaAddress();
template <>
VELACORE_API void* TblindDoubleData::cast(Tmetaclass* t);
template <>
VELACORE_API Tmetaclass** TblindInt32Data::sTmetaAddress();
template <>
VELACORE_API void* TblindInt32Data::cast(Tmetaclass* t);
template <>
VELACORE_API Tmetaclass** TblindStringData::sTmetaAddress();
template <>
VELACORE_API void* TblindStringData::cast(Tmetaclass* t);
template <>
VELACORE_API Tmetaclass** TblindBooleanData::sTmetaAddress();
template <>
VELACORE_API void* TblindBooleanData::cast(Tmetaclass* t);
template <>
VELACORE_API Tmetaclass** TblindMatrixData::sTmetaAddress();
template <>
VELACORE_API void* TblindMatrixData::cast(Tmetaclass* t);

/// An item holding a pointer and the function that releases it (called when the item is
/// destroyed or its pointer replaced, if both are non-null).
class VELACORE_API TblindPointerData : public TblindData {
  VELA_DECLARE_TYPE(TblindPointerData);

 public:
  using Trelease = void (*)(void*);
  TblindPointerData() = default;
  TblindPointerData(void* value, Trelease release) : fValue(value), fRelease(release) {}
  ~TblindPointerData() override;
  /// Releases the old pointer (unless it is `value` itself) and keeps the new pair.
  void replace(void* value, Trelease release);

  void* fValue = nullptr;
  Trelease fRelease = nullptr;
};

/// One name of a hanger: its items and its persistent flag. Destroying an entry destroys its
/// items and the entries after it.
struct VELACORE_API ThangerData {
  ThangerData() = default;
  ThangerData(const ThangerData&) = delete;
  ThangerData& operator=(const ThangerData&) = delete;
  ~ThangerData();

  ThangerData* fNext = nullptr;
  TblindData* fItems = nullptr;
  Tstring fName;
  bool fPersistent = false;
};

class VELACORE_API TdataHanger {
 public:
  /// What an entry's first item holds.
  enum TblindDataType {
    kNone = 0,
    kDouble = 1,
    kInt32 = 2,
    kString = 3,
    kBoolean = 4,
    kPointer = 5,
    kMatrix = 6,
  };

  TdataHanger() = default;
  TdataHanger(const TdataHanger&) = delete;
  TdataHanger& operator=(const TdataHanger&) = delete;
  /// Destroys every entry and item (releasing held pointers).
  ~TdataHanger();

  /// @name Setting
  /// A new name gets one item (the index is ignored); otherwise the item at `index` is
  /// overwritten, or a new item appended when there are fewer items.
  /// @{
  void set(const Tstring& name, double value, int index = 0);
  void set(const Tstring& name, int value, int index = 0);
  void set(const Tstring& name, const Tstring& value, int index = 0);
  /// Text (not the bool overload a pointer would otherwise pick).
  void set(const Tstring& name, const char* value, int index = 0) {
    set(name, Tstring(value), index);
  }
  void set(const Tstring& name, bool value, int index = 0);
  void set(const Tstring& name, const T4dDblMatrix& value, int index = 0);
  /// A pointer item; `release` (may be null) is called on the pointer when it goes.
  void set(const Tstring& name, void* value, int index, void (*release)(void*));
  /// @}

  /// @name Getting: false (value unchanged) without such a name, item or kind
  /// @{
  bool get(const Tstring& name, double& value, int index = 0) const;
  bool get(const Tstring& name, int& value, int index = 0) const;
  bool get(const Tstring& name, Tstring& value, int index = 0) const;
  bool get(const Tstring& name, bool& value, int index = 0) const;
  bool get(const Tstring& name, T4dDblMatrix& value, int index = 0) const;
  bool get(const Tstring& name, void*& value, int index = 0) const;
  /// @}

  /// @name Entries
  /// @{
  [[nodiscard]] bool exists(const Tstring& name) const { return find(name) != nullptr; }
  /// The kind of the entry's first item; kNone for an unknown name.
  [[nodiscard]] TblindDataType type(const Tstring& name) const;
  /// The number of items; 0 for an unknown name.
  [[nodiscard]] int itemCount(const Tstring& name) const;
  /// Destroys the entry and its items.
  void remove(const Tstring& name);
  /// Destroys one item; an entry left without items goes too.
  void removeItem(const Tstring& name, int index);
  /// The entry's persistent flag (false for an unknown name).
  [[nodiscard]] bool persistent(const Tstring& name) const;
  /// Sets the flag; ignored for an unknown name.
  void setPersistent(const Tstring& name, bool flag);
  /// @}

 protected:
  /// The entry called `name`, or null.
  [[nodiscard]] ThangerData* find(const Tstring& name) const;
  /// The same, with the entry before it (null for the first).
  [[nodiscard]] ThangerData* find(const Tstring& name, ThangerData*& previous) const;

 private:
  template <class Item, class V>
  void setValue(const Tstring& name, const V& value, int index);
  template <class Item, class V>
  bool getValue(const Tstring& name, V& value, int index) const;
  TblindData* item(const Tstring& name, int index) const;

  ThangerData* fHead = nullptr;
};
