// TmemoryUsage: what each live arena and pool holds, under its name.
//
// Every arena and every TpoolAllocator keeps three figures: the bytes it has reserved from its
// allocator (an arena's pages, a pool's blocks in use or cached), the bytes handed out to users
// and not released, and the most it ever reserved at one time. sCollect() gathers them for every
// live arena and pool; TmallocAllocator::printStatistics lists the same.
//
//   TvariantArena meshes(65536, 8, TmallocAllocator::mallocAllocator(), "Meshes");
//   void* p = meshes.allocate(1000);
//   std::size_t inUse = 0;
//   for (const TmemoryUsage& u : TmemoryUsage::sCollect())
//     if (u.name == "Meshes") inUse = u.used;    // 1000 bytes handed out
//
// Hazards: a snapshot; other threads may change the figures right after. Arenas of one name
// appear once each (names are not merged). A pool made without a name is listed as
// "pool of N bytes".
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

struct VELACORE_API TmemoryUsage {
  /// The arena's or pool's name.
  std::string name;
  /// "variant", "compact", "fixed", "stack" or "pool".
  std::string kind;
  /// Bytes taken from the allocator and not given back.
  std::size_t reserved = 0;
  /// Bytes handed out to users and not released.
  std::size_t used = 0;
  /// The most bytes reserved at one time.
  std::size_t peak = 0;

  /// Every live arena and pool, arenas first.
  [[nodiscard]] static std::vector<TmemoryUsage> sCollect();
  /// One line per arena and pool: kind, name in quotes, reserved, used and peak bytes.
  static void sPrint(std::ostream& out);
};
