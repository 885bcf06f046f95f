#include <velacore/environment/TpreferenceItem.h>

#include <velacore/base/internal/Timmortal.h>

#include <map>
#include <memory>

VELA_DEFINE_ABSTRACT_TYPE(TpreferenceItem);

TpreferenceItem::~TpreferenceItem() = default;

namespace {
std::map<int, std::unique_ptr<TpreferenceItem>>& items() {
  // Never destroyed: the host's static destructors may still look items up.
  static Timmortal<std::map<int, std::unique_ptr<TpreferenceItem>>> sRegistry;
  return *sRegistry;
}
}  // namespace

void TglobalPrefMgr::addPrefItem(TpreferenceItem* item) {
  if (item != nullptr) items()[item->itemType()].reset(item);
}

bool TglobalPrefMgr::getPrefItem(int type, TpreferenceItem*& item) {
  const auto it = items().find(type);
  if (it == items().end()) return false;
  item = it->second.get();
  return true;
}

void TglobalPrefMgr::removePrefItem(int type) { items().erase(type); }

void TglobalPrefMgr::removeAllPrefItems() { items().clear(); }
