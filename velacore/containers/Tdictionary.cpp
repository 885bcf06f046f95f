#include <velacore/containers/Tdictionary.h>

#include <velacore/base/TmtScopedLock.h>
#include <velacore/base/TmtSpinCriticalSection.h>
#include <velacore/base/internal/Timmortal.h>
#include <velacore/containers/internal/TbsdRandom.h>

VELA_DEFINE_ABSTRACT_TYPE(TdictionaryNode);
VELA_DEFINE_TYPE(Tdictionary, TdictionaryNode);

namespace {

// The level generator: one per process, seeded once. Dictionaries on different threads share
// it, so draws take a spin lock (a few instructions, uncontended in practice).
struct TlevelSource {
  vela::containers_internal::TbsdRandom fRandom{1013904223u};
  TmtSpinCriticalSection fLock;
};

// Never destroyed: a static dictionary may still insert while other statics are destroyed.
TlevelSource& levelSource() {
  static Timmortal<TlevelSource> sSource;
  return *sSource;
}

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
  levelSource();  // seeds the generator with the first dictionary
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
}

int Tdictionary::compare(TdictionaryNode& /*other*/) { return 0; }
void Tdictionary::setValue(TdictionaryNode& /*other*/) {}
TdictionaryNode* Tdictionary::clone(int /*level*/) { return nullptr; }
void Tdictionary::destroy() {}

int Tdictionary::randomLevel() {
  TlevelSource& source = levelSource();
  TmtScopedLock guard(source.fLock);
  int level = 1;
  // Each further level with probability 1/4, at most one above the present top.
  while (static_cast<std::uint32_t>(source.fRandom.next() * 2u) < 0x40000000u) {
    if (level > fLevel) break;
    ++level;
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
