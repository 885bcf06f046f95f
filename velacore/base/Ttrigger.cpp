#include <velacore/base/Ttrigger.h>

#include <algorithm>
#include <utility>

Ttrigger::Tid Ttrigger::add(std::function<void()> callback) {
  TmtScopedLock guard(fLock);
  const Tid id = fNextId++;
  fEntries.push_back({id, std::move(callback)});
  return id;
}

Ttrigger::Tid Ttrigger::add(Tcallback callback, void* clientData) {
  return add([callback, clientData] { callback(clientData); });
}

bool Ttrigger::remove(Tid id) {
  TmtScopedLock guard(fLock);
  auto it = std::find_if(fEntries.begin(), fEntries.end(),
                         [id](const Tentry& e) { return e.id == id; });
  if (it == fEntries.end()) return false;
  fEntries.erase(it);
  return true;
}

void Ttrigger::clear() {
  TmtScopedLock guard(fLock);
  fEntries.clear();
}

void Ttrigger::fire() const {
  std::vector<Tentry> snapshot;
  {
    TmtScopedLock guard(fLock);
    snapshot = fEntries;
  }
  for (const Tentry& e : snapshot) e.callback();
}

std::size_t Ttrigger::size() const {
  TmtScopedLock guard(fLock);
  return fEntries.size();
}
