// TpreferenceItem and TglobalPrefMgr: the process registry of preference items by item type.
//
//   TglobalPrefMgr::addPrefItem(new TprefOptionVars);      // the manager owns it now
//   TpreferenceItem* item = nullptr;
//   if (TglobalPrefMgr::getPrefItem(1403, item) &&
//       item->typeof()->isa(TprefOptionVars::sTypeof())) ...
//   TglobalPrefMgr::removeAllPrefItems();                  // destroys every item
//
// Hazards:
// - Not thread-safe: preference items belong to the application's main thread.
// - Adding an item of a type already present destroys the old item.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/types/Tmetaclass.h>

class VELACORE_API TpreferenceItem {
  VELA_DECLARE_TYPE(TpreferenceItem);

 public:
  TpreferenceItem(int itemType, int itemFlags) : fItemType(itemType), fItemFlags(itemFlags) {}
  TpreferenceItem(const TpreferenceItem&) = delete;
  TpreferenceItem& operator=(const TpreferenceItem&) = delete;
  virtual ~TpreferenceItem();

  [[nodiscard]] int itemType() const { return fItemType; }
  [[nodiscard]] int itemFlags() const { return fItemFlags; }

 private:
  int fItemType;
  int fItemFlags;
};

class VELACORE_API TglobalPrefMgr {
 public:
  /// Takes ownership of `item`, replacing (and destroying) an item of the same type.
  static void addPrefItem(TpreferenceItem* item);
  /// The item of `type` into `item`; false (item untouched) when there is none.
  static bool getPrefItem(int type, TpreferenceItem*& item);
  /// Destroys the item of `type`, if any.
  static void removePrefItem(int type);
  static void removeAllPrefItems();
};
