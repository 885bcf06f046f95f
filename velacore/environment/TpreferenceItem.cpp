#include <velacore/environment/TpreferenceItem.h>

#include <map>
#include <memory>

VELA_DEFINE_ABSTRACT_TYPE(TpreferenceItem);

TpreferenceItem::~TpreferenceItem() = default;

namespace {
std::map<int, std::unique_ptr<TpreferenceItem>>& items() {
  static std::map<int, std::unique_ptr<TpreferenceItem>> registry;
  return registry;
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
