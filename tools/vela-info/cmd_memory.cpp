// vela-info memory [--malloc]: runs a small workload on each arena kind and a pool, then prints
// the allocator's statistics with the reserved, used and peak bytes of every arena and pool.
#include "VelaInfoCommand.h"

#include <velacore/environment/VelaEnv.h>
#include <velacore/memory/Tallocator.h>
#include <velacore/memory/TcompactArena.h>
#include <velacore/memory/TpoolAllocator.h>
#include <velacore/memory/TstackArena.h>
#include <velacore/memory/TvariantArena.h>

#include <cstdio>
#include <cstring>
#include <iostream>
#include <vector>

namespace {

void help(std::FILE* out) {
  std::fputs(
      "usage: vela-info memory [--malloc]\n"
      "  Runs a small workload (a variant arena of meshes, a compact arena of edges, a stack\n"
      "  arena of scratch buffers and a pool of nodes, each left part used) and prints the\n"
      "  allocator's statistics: process figures, then one line per arena and pool with the\n"
      "  bytes it reserved, the bytes in use and its peak. Pages come from the allocator's own\n"
      "  large-block source unless --malloc is given (VELA_USE_MALLOC then stays as it is).\n",
      out);
}

int run(int argc, char** argv) {
  bool useMalloc = false;
  for (int i = 2; i < argc; ++i) {
    if (std::strcmp(argv[i], "--malloc") == 0) {
      useMalloc = true;
    } else {
      std::fprintf(stderr, "vela-info memory: unknown argument \"%s\"\n", argv[i]);
      help(stderr);
      return 2;
    }
  }
  if (!useMalloc) {
    (void)VelaPutEnv("VELA_USE_MALLOC=0");
    TmallocAllocator::sReloadSwitches();
  }
  Tallocator& pages = TmallocAllocator::mallocAllocator();
  TvariantArena meshes(65536, 8, pages, "Demo Meshes");
  TcompactArena edges(32, 16384, pages, "Demo Edges");
  TstackArena scratch(16384, pages);
  scratch.setName("Demo Scratch");
  TpoolAllocator nodes(48, "Demo Nodes");

  // Keep every second mesh block and edge; the nodes' pool ends with half its blocks cached.
  std::vector<void*> meshBlocks, edgeBlocks, nodeBlocks;
  for (int i = 0; i < 2000; ++i) {
    meshBlocks.push_back(meshes.allocate(16 + static_cast<std::size_t>(i * 37 % 497)));
    edgeBlocks.push_back(edges.allocate());
  }
  for (std::size_t i = 0; i < meshBlocks.size(); i += 2) {
    TvariantArena::deallocate(meshBlocks[i]);
    edges.deallocate(edgeBlocks[i]);
  }
  void* a = scratch.allocate(4000);
  void* b = scratch.allocate(9000);
  TstackArena::deallocate(b);
  for (int i = 0; i < 400; ++i) nodeBlocks.push_back(nodes.mpAlloc());
  for (int i = 0; i < 200; ++i) {
    nodes.mpFree(nodeBlocks.back());
    nodeBlocks.pop_back();
  }

  TmallocAllocator::printStatistics(std::cout);
  std::cout.flush();

  for (std::size_t i = 1; i < meshBlocks.size(); i += 2) TvariantArena::deallocate(meshBlocks[i]);
  for (std::size_t i = 1; i < edgeBlocks.size(); i += 2) edges.deallocate(edgeBlocks[i]);
  TstackArena::deallocate(a);
  for (void* p : nodeBlocks) nodes.mpFree(p);
  return 0;
}

const TvelaInfoCommand kMemory{"memory", "[--malloc]", "arena and pool memory after a small workload",
                               run, help};

}  // namespace

VELA_INFO_REGISTER(kMemory);
