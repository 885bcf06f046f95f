// Shared state of the namespace store: one recursive lock for every namespace and name object,
// and a counter that changes whenever a name or a namespace's place changes (cached full names
// compare against it).
#pragma once

#include <velacore/base/TmtRecursiveMutex.h>
#include <velacore/base/TmtScopedLock.h>

#include <atomic>
#include <cstdint>

namespace vela::names {

TmtRecursiveMutex& storeLock();
std::atomic<std::uint64_t>& storeGeneration();
inline void storeChanged() { storeGeneration().fetch_add(1, std::memory_order_relaxed); }

using TstoreLock = TmtScopedLock<TmtRecursiveMutex>;

}  // namespace vela::names
