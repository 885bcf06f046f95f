#include <velacore/data/TsharedReference.h>

void TsharedReference::adopt(void* object, void (*destroy)(void*), bool deleteWhenDestroyed) {
  auto* record = new Trecord{object, destroy, {1}, deleteWhenDestroyed};
  release();
  fRecord = record;
}

void TsharedReference::release() {
  Trecord* record = fRecord;
  fRecord = nullptr;
  if (record == nullptr || record->sharers.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  if (record->deleteWhenDestroyed && record->object != nullptr) record->destroy(record->object);
  delete record;
}
