#include <velacore/files/TprojectMgrBase.h>

std::atomic<TprojectMgrBase*> TprojectMgrBase::theProjectMgr{nullptr};

TprojectMgrBase::TprojectMgrBase() {
  TprojectMgrBase* none = nullptr;
  (void)theProjectMgr.compare_exchange_strong(none, this, std::memory_order_acq_rel);
}

TprojectMgrBase::~TprojectMgrBase() {
  TprojectMgrBase* self = this;
  (void)theProjectMgr.compare_exchange_strong(self, nullptr, std::memory_order_acq_rel);
}
