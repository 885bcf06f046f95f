#include <velacore/types/TdataHanger.h>

#include <utility>

VELA_DEFINE_ABSTRACT_TYPE(TblindData);
VELA_DEFINE_TEMPLATE_TYPE_AS("TblindDoubleData", 0u, TtypeKind::kConcrete, TblindDoubleData,
                             TblindData);
VELA_DEFINE_TEMPLATE_TYPE_AS("TblindInt32Data", 0u, TtypeKind::kConcrete, TblindInt32Data,
                             TblindData);
VELA_DEFINE_TEMPLATE_TYPE_AS("TblindStringData", 0u, TtypeKind::kConcrete, TblindStringData,
                             TblindData);
VELA_DEFINE_TEMPLATE_TYPE_AS("TblindBooleanData", 0u, TtypeKind::kConcrete, TblindBooleanData,
                             TblindData);
VELA_DEFINE_TYPE(TblindPointerData, TblindData);
VELA_DEFINE_TEMPLATE_TYPE_AS("TblindMatrixData", 0u, TtypeKind::kConcrete, TblindMatrixData,
                             TblindData);

namespace {

// Destroys `node` and the nodes after it in a loop, not by recursion through the destructors,
// so that a long list cannot exhaust the stack.
template <class Node>
void deleteChain(Node* node) {
  while (node != nullptr) {
    Node* after = node->fNext;
    node->fNext = nullptr;
    delete node;
    node = after;
  }
}

}  // namespace

TblindData::~TblindData() { deleteChain(fNext); }

TblindPointerData::~TblindPointerData() {
  if (fValue != nullptr && fRelease != nullptr) fRelease(fValue);
}

void TblindPointerData::replace(void* value, Trelease release) {
  if (fValue != nullptr && fRelease != nullptr && fValue != value) fRelease(fValue);
  fValue = value;
  fRelease = release;
}

ThangerData::~ThangerData() {
  delete fItems;
  deleteChain(fNext);
}

TdataHanger::~TdataHanger() { delete fHead; }

ThangerData* TdataHanger::find(const Tstring& name) const {
  ThangerData* previous;
  return find(name, previous);
}

ThangerData* TdataHanger::find(const Tstring& name, ThangerData*& previous) const {
  previous = nullptr;
  for (ThangerData* entry = fHead; entry != nullptr; previous = entry, entry = entry->fNext)
    if (entry->fName == name) return entry;
  previous = nullptr;
  return nullptr;
}

TblindData* TdataHanger::item(const Tstring& name, int index) const {
  const ThangerData* entry = find(name);
  if (entry == nullptr || index < 0) return nullptr;
  TblindData* it = entry->fItems;
  for (int i = 0; it != nullptr && i < index; ++i) it = it->fNext;
  return it;
}

namespace {

// A pointer item's value: the pointer and its release function.
using TpointerValue = std::pair<void*, TblindPointerData::Trelease>;

// Stores `value` into an item of the kind Item; items of another kind stay as they are.
template <class Item, class V>
void assign(TblindData* item, const V& value) {
  if (auto* same = vela::typeCast<Item>(item)) same->fValue = value;
}

template <>
void assign<TblindPointerData>(TblindData* item, const TpointerValue& value) {
  if (auto* same = vela::typeCast<TblindPointerData>(item)) same->replace(value.first, value.second);
}

template <class Item, class V>
Item* makeItem(const V& value) {
  return new Item(value);
}

template <>
TblindPointerData* makeItem<TblindPointerData>(const TpointerValue& value) {
  return new TblindPointerData(value.first, value.second);
}

}  // namespace

template <class Item, class V>
void TdataHanger::setValue(const Tstring& name, const V& value, int index) {
  ThangerData* entry = find(name);
  if (entry == nullptr) {
    auto* fresh = new ThangerData();
    fresh->fName = name;
    fresh->fItems = makeItem<Item>(value);
    fresh->fNext = fHead;
    fHead = fresh;
    return;
  }
  TblindData** link = &entry->fItems;
  for (int i = 0; *link != nullptr; ++i) {
    if (i == index) {
      assign<Item>(*link, value);
      return;
    }
    link = &(*link)->fNext;
  }
  *link = makeItem<Item>(value);  // past the end, whatever the index: appended
}

template <class Item, class V>
bool TdataHanger::getValue(const Tstring& name, V& value, int index) const {
  auto* it = vela::typeCast<Item>(item(name, index));
  if (it == nullptr) return false;
  value = it->fValue;
  return true;
}

void TdataHanger::set(const Tstring& name, double value, int index) {
  setValue<TblindDoubleData>(name, value, index);
}
void TdataHanger::set(const Tstring& name, int value, int index) {
  setValue<TblindInt32Data>(name, std::int32_t(value), index);
}
void TdataHanger::set(const Tstring& name, const Tstring& value, int index) {
  setValue<TblindStringData>(name, value, index);
}
void TdataHanger::set(const Tstring& name, bool value, int index) {
  setValue<TblindBooleanData>(name, value, index);
}
void TdataHanger::set(const Tstring& name, const T4dDblMatrix& value, int index) {
  setValue<TblindMatrixData>(name, value, index);
}
void TdataHanger::set(const Tstring& name, void* value, int index, void (*release)(void*)) {
  setValue<TblindPointerData>(name, TpointerValue(value, release), index);
}

bool TdataHanger::get(const Tstring& name, double& value, int index) const {
  return getValue<TblindDoubleData>(name, value, index);
}
bool TdataHanger::get(const Tstring& name, int& value, int index) const {
  return getValue<TblindInt32Data>(name, value, index);
}
bool TdataHanger::get(const Tstring& name, Tstring& value, int index) const {
  return getValue<TblindStringData>(name, value, index);
}
bool TdataHanger::get(const Tstring& name, bool& value, int index) const {
  return getValue<TblindBooleanData>(name, value, index);
}
bool TdataHanger::get(const Tstring& name, T4dDblMatrix& value, int index) const {
  return getValue<TblindMatrixData>(name, value, index);
}
bool TdataHanger::get(const Tstring& name, void*& value, int index) const {
  return getValue<TblindPointerData>(name, value, index);
}

TdataHanger::TblindDataType TdataHanger::type(const Tstring& name) const {
  const TblindData* first = item(name, 0);
  if (first == nullptr) return kNone;
  const Tmetaclass* kind = first->typeof();
  if (kind == TblindDoubleData::sTypeof()) return kDouble;
  if (kind == TblindInt32Data::sTypeof()) return kInt32;
  if (kind == TblindStringData::sTypeof()) return kString;
  if (kind == TblindBooleanData::sTypeof()) return kBoolean;
  if (kind == TblindPointerData::sTypeof()) return kPointer;
  if (kind == TblindMatrixData::sTypeof()) return kMatrix;
  return kNone;
}

int TdataHanger::itemCount(const Tstring& name) const {
  const ThangerData* entry = find(name);
  int count = 0;
  if (entry != nullptr)
    for (const TblindData* it = entry->fItems; it != nullptr; it = it->fNext) ++count;
  return count;
}

void TdataHanger::remove(const Tstring& name) {
  ThangerData* previous;
  ThangerData* entry = find(name, previous);
  if (entry == nullptr) return;
  (previous != nullptr ? previous->fNext : fHead) = entry->fNext;
  entry->fNext = nullptr;
  delete entry;
}

void TdataHanger::removeItem(const Tstring& name, int index) {
  ThangerData* entry = find(name);
  if (entry == nullptr || index < 0) return;
  TblindData** link = &entry->fItems;
  for (int i = 0; *link != nullptr && i < index; ++i) link = &(*link)->fNext;
  TblindData* gone = *link;
  if (gone == nullptr) return;
  *link = gone->fNext;
  gone->fNext = nullptr;
  delete gone;
  if (entry->fItems == nullptr) remove(name);
}

bool TdataHanger::persistent(const Tstring& name) const {
  const ThangerData* entry = find(name);
  return entry != nullptr && entry->fPersistent;
}

void TdataHanger::setPersistent(const Tstring& name, bool flag) {
  if (ThangerData* entry = find(name)) entry->fPersistent = flag;
}
