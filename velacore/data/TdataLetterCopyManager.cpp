#include <velacore/data/TdataLetterCopyManager.h>

#include <velacore/data/Tdata.h>
#include <velacore/data/TdataLetter.h>

#include <algorithm>

TdataLetterCopyManager::TdataLetterCopyManager(unsigned capacity) : fCapacity(capacity) {
  fParked.reserve(capacity);
}

TdataLetterCopyManager::~TdataLetterCopyManager() { purge(); }

bool TdataLetterCopyManager::add(TdataLetter* letter) {
  if (letter == nullptr || !letter->isReusable() || !letter->isOnHeap()) return false;
  {
    TmtSpinCriticalSection::Tguard guard(fLock);
    if (fParked.size() >= fCapacity) return false;
    if (std::find(fParked.begin(), fParked.end(), letter) != fParked.end()) return false;
    fParked.push_back(letter);
    letter->reference(kDataHolder);
  }
  return true;
}

Tdata TdataLetterCopyManager::take() {
  TdataLetter* letter = nullptr;
  {
    TmtSpinCriticalSection::Tguard guard(fLock);
    if (fParked.empty()) return Tdata::fsNULL;
    letter = fParked.back();
    fParked.pop_back();
  }
  Tdata out(letter);
  // The envelope now holds it; the parking reference goes (the total stays above 1 here, so the
  // letter is not parked again).
  letter->unreference(kDataHolder);
  return out;
}

void TdataLetterCopyManager::stopRecycling(TdataLetter* letter) {
  bool parked = false;
  {
    TmtSpinCriticalSection::Tguard guard(fLock);
    auto at = std::find(fParked.begin(), fParked.end(), letter);
    if (at != fParked.end()) {
      fParked.erase(at);
      parked = true;
    }
  }
  if (parked) {
    letter->setCopyManager(nullptr);
    letter->unreference(kDataHolder);
  }
}

void TdataLetterCopyManager::purge() {
  std::vector<TdataLetter*> parked;
  {
    TmtSpinCriticalSection::Tguard guard(fLock);
    parked.swap(fParked);
  }
  for (TdataLetter* letter : parked) {
    letter->setCopyManager(nullptr);
    letter->unreference(kDataHolder);
  }
}

unsigned TdataLetterCopyManager::parkedCount() const {
  TmtSpinCriticalSection::Tguard guard(fLock);
  return unsigned(fParked.size());
}
