#include <velacore/containers/Tdictionary.h>

#include <velacore/containers/detail/TdictionaryNodePool.h>
#include <velacore/containers/internal/TbsdRandom.h>

VELA_DEFINE_ABSTRACT_TYPE(TdictionaryNode);
VELA_DEFINE_TYPE(Tdictionary, TdictionaryNode);

static_assert(sizeof(Tdictionary) == 144, "the header node keeps its size");

namespace {

// The level generator: one per thread, each seeded the same way, so that drawing a level takes
// no lock. A single-threaded program sees one generator seeded once, as if it were process-wide.
// The seeded state is computed at compile time: the thread-local needs no start-up code and no
// guard, and every new thread starts from a copy of it. Initial-exec keeps the access a plain
// thread-pointer offset (no call) in this shared library; the state is small.
constexpr std::uint32_t kLevelSeed = 1013904223u;
#if defined(__GNUC__)
__attribute__((tls_model("initial-exec")))
#endif
thread_local vela::containers_internal::TbsdRandom tLevels{kLevelSeed};

// The algorithms through the nodes' virtual operations, for dictionaries of any node class.
// Their comparisons are the node classes' own code, so each is made exactly when the walk
// needs it.
struct TvirtualOps {
  static constexpr bool kPureCompare = false;
  int compare(TdictionaryNode* node, TdictionaryNode& probe) const {
    return node->compare(probe);
  }
  TdictionaryNode*& fwd(TdictionaryNode* node, int level) const { return node->forward(level); }
  TdictionaryNode* clone(TdictionaryNode& probe, int level) const { return probe.clone(level); }
  void destroy(TdictionaryNode* node) const { node->destroy(); }
};

}  // namespace

TdictionaryNode::~TdictionaryNode() = default;

Tdictionary::Tdictionary() {
  for (TdictionaryNode*& link : fForward) link = nullptr;
}

Tdictionary::~Tdictionary() { reset(); }

void Tdictionary::reset() {
  TdictionaryNode* node = fForward[0];
  while (node != nullptr) {
    TdictionaryNode* next = node->forward(0);
    node->destroy();
    node = next;
  }
  fLevel = 0;
  for (TdictionaryNode*& link : fForward) link = nullptr;
  // The nodes are gone, so their pages may go too.
  if ((fNodeStore & TdictionaryNodePool::kHandleBit) != 0) TdictionaryNodePool::sDestroy(fNodeStore);
  fNodeStore = 0;
}

int Tdictionary::compare(TdictionaryNode& /*other*/) { return 0; }
void Tdictionary::setValue(TdictionaryNode& /*other*/) {}
TdictionaryNode* Tdictionary::clone(int /*level*/) { return nullptr; }
void Tdictionary::destroy() {}

int Tdictionary::randomLevel() {
  vela::containers_internal::TbsdRandom& random = tLevels;
  // Each further level with probability 1/4, at most one above the present top: draw, stop at a
  // miss, or when the level already exceeds the top, else climb. The first two steps are taken
  // without branching on the draws, which no predictor can guess; 15 in 16 end there.
  const auto hit = [](std::uint32_t draw) {
    return static_cast<std::uint32_t>(draw * 2u) < 0x40000000u;
  };
  const bool second = hit(random.next()) & (fLevel >= 1);
  unsigned third = unsigned(hit(random.nextIf(second))) & unsigned(second) & unsigned(fLevel >= 2);
#if defined(__GNUC__)
  // One test of the whole condition (true 1 in 16), not a branch on each unpredictable part.
  asm("" : "+r"(third));
#endif
  int level = 1 + int(second);
  if (third != 0) {
    level = 3;
    while (hit(random.next())) {
      if (level > fLevel) break;
      ++level;
    }
  }
  return level > kMaxLevel ? kMaxLevel : level;
}

TdictionaryNode* Tdictionary::insertNode(TdictionaryNode& probe) {
  return insertWith(TvirtualOps(), probe, nullptr);
}

TdictionaryNode* Tdictionary::insertNode(TdictionaryNode& probe, Tbookmark& bookmark) {
  return insertWith(TvirtualOps(), probe, &bookmark);
}

TdictionaryNode* Tdictionary::searchNode(TdictionaryNode& probe) {
  return searchWith(TvirtualOps(), probe, nullptr);
}

TdictionaryNode* Tdictionary::searchNode(TdictionaryNode& probe, Tbookmark& bookmark) {
  return searchWith(TvirtualOps(), probe, &bookmark);
}

bool Tdictionary::removeNode(TdictionaryNode& probe) {
  return removeWith(TvirtualOps(), probe);
}
