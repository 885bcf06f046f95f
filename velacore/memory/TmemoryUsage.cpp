#include <velacore/memory/TmemoryUsage.h>

#include <velacore/memory/TbaseArena.h>
#include <velacore/memory/TpoolAllocator.h>

#include <ostream>

std::vector<TmemoryUsage> TmemoryUsage::sCollect() {
  std::vector<TmemoryUsage> all;
  TbaseArena::sCollectUsage(all);
  TpoolAllocator::sCollectUsage(all);
  return all;
}

void TmemoryUsage::sPrint(std::ostream& out) {
  for (const TmemoryUsage& u : sCollect())
    out << u.kind << " \"" << u.name << "\": " << u.reserved << " bytes reserved, " << u.used
        << " used, " << u.peak << " at peak\n";
}
