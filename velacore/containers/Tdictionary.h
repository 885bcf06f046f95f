// Tdictionary: the library's ordered associative container, a skip list of nodes in ascending
// key order.
//
// A concrete dictionary pairs a header class derived from Tdictionary with a node class derived
// from TdictionaryNode that holds the key and value and defines their order; TindexDictionary
// (unsigned to unsigned) and TtypeDictionary (class name to metaclass) are the two provided:
//
//   TindexDictionary map;
//   map.insert(7, 70);                     // no uniqueness check: search first if it matters
//   if (unsigned* v = map.search(7)) ...   // the first of equal keys (the latest inserted)
//   for (auto* n = map.first(); n != nullptr; n = TindexDictionary::next(n)) use(n->key());
//   Tbookmark mark;                        // a finger: runs of nearby keys get cheap
//   for (unsigned k = 0; k < 1000; ++k) map.insert(k, k, mark);
//   map.remove(7);
//
// Each node is one block holding its key, its value and exactly as many forward pointers as
// its level (three in four nodes have one). Levels come from the library's own additive
// feedback generator, so a program builds the same lists every run. Each thread has its own
// generator, seeded the same way when the thread starts: a single-threaded program draws one
// sequence, exactly as from one process-wide generator; when several threads insert, each draws
// its own copy of that sequence (the same levels for the same order of insertions on each
// thread), whatever the others do, and no draw takes a lock.
//
// Hazards:
// - Not thread-safe: a dictionary shared between threads needs its users' lock (different
//   dictionaries may be used on different threads).
// - A Tbookmark belongs to one dictionary. Reset it after a removal from that dictionary (it may
//   point at the removed node); insertions without it are fine.
// - Node pointers stay valid until that node is removed or the dictionary reset.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/types/Tmetaclass.h>

#include <cstdint>

class TdictionaryNode;

/// The predecessors of the last bookmarked search, one per level (all null after reset()).
struct Tbookmark {
  static constexpr int kLevels = 16;
  Tbookmark() { reset(); }
  /// Forgets the position: the next bookmarked operation searches from the top.
  void reset() {
    for (TdictionaryNode*& node : fNodes) node = nullptr;
  }
  TdictionaryNode* fNodes[kLevels];
};

/// A node of a skip list: key, value and forward pointers defined by a subclass.
class VELACORE_API TdictionaryNode {
  VELA_DECLARE_TYPE(TdictionaryNode);

 public:
  TdictionaryNode() = default;
  TdictionaryNode(const TdictionaryNode&) = default;
  TdictionaryNode& operator=(const TdictionaryNode&) = default;
  virtual ~TdictionaryNode();
  /// Negative when this node's key is smaller than `other`'s, 0 when equal, positive above.
  virtual int compare(TdictionaryNode& other) = 0;
  /// Copies `other`'s value into this node.
  virtual void setValue(TdictionaryNode& other) = 0;
  /// A new node with this node's key and value and `level` null forward pointers.
  virtual TdictionaryNode* clone(int level) = 0;
  /// Frees a node made by clone().
  virtual void destroy() = 0;
  /// The forward pointer at `level` (below the node's level).
  virtual TdictionaryNode*& forward(int level) = 0;
};

/// The header node of a skip list and its algorithms; concrete dictionaries derive from it.
class VELACORE_API Tdictionary : public TdictionaryNode {
  VELA_DECLARE_TYPE(Tdictionary);

 public:
  /// Levels of the list; also the cap of a node's level.
  static constexpr int kMaxLevel = 16;

  /// An empty dictionary (level count 0).
  Tdictionary();
  Tdictionary(const Tdictionary&) = delete;
  Tdictionary& operator=(const Tdictionary&) = delete;
  /// Frees every node.
  ~Tdictionary() override;

  /// Frees every node (and a typed dictionary's node pages); the dictionary is empty afterwards.
  void reset();
  /// The number of levels in use (0 when empty).
  [[nodiscard]] int levelCount() const { return fLevel; }

  /// @name The header as a node: no key, no value
  /// @{
  int compare(TdictionaryNode& other) override;
  void setValue(TdictionaryNode& other) override;
  TdictionaryNode* clone(int level) override;
  void destroy() override;
  TdictionaryNode*& forward(int level) override { return fForward[level]; }
  /// @}

 protected:
  /// @name The algorithms, through the nodes' virtual operations
  /// The probe is a node of the caller's that carries the key (and the value to insert); it
  /// is never linked itself.
  /// @{
  /// Links a clone of `probe` before any equal keys; returns it.
  TdictionaryNode* insertNode(TdictionaryNode& probe);
  TdictionaryNode* insertNode(TdictionaryNode& probe, Tbookmark& bookmark);
  /// The first node equal to `probe`, or null.
  TdictionaryNode* searchNode(TdictionaryNode& probe);
  TdictionaryNode* searchNode(TdictionaryNode& probe, Tbookmark& bookmark);
  /// Unlinks and destroys the first node equal to `probe`; false when there is none.
  bool removeNode(TdictionaryNode& probe);
  /// A level for a new node: at most one above the level count, at most kMaxLevel.
  int randomLevel();
  /// @}

  // The same algorithms over an Ops type that knows the node class, so that the concrete
  // dictionaries compare and follow pointers without virtual calls (TdictionaryImpl.h).
  template <class Ops>
  TdictionaryNode* insertWith(const Ops& ops, TdictionaryNode& probe, Tbookmark* bookmark);
  template <class Ops>
  TdictionaryNode* searchWith(const Ops& ops, TdictionaryNode& probe, Tbookmark* bookmark);
  template <class Ops>
  bool removeWith(const Ops& ops, TdictionaryNode& probe);
  /// The first node equal to `probe`, else the last node below it; null when every node is
  /// above it.
  template <class Ops>
  TdictionaryNode* floorWith(const Ops& ops, TdictionaryNode& probe, Tbookmark* bookmark);

  int fLevel = 0;
  /// The node storage of a typed subclass (TdictionaryOf): a count of heap nodes made, then a
  /// handle of its page pool, which reset() gives back. It fills what would be padding after
  /// the level count, so the header keeps its size.
  std::uint32_t fNodeStore = 0;
  TdictionaryNode* fForward[kMaxLevel];
  // A bookmark holds one predecessor per level the list can have.
  static_assert(Tbookmark::kLevels == kMaxLevel);

 private:
  // Small and on every bookmarked step: always inlined where the compiler allows it.
  template <class Ops>
#if defined(__GNUC__)
  __attribute__((always_inline))
#endif
  inline bool nearPath(const Ops& ops, TdictionaryNode& probe, Tbookmark* bookmark,
                TdictionaryNode** update, int& kept, bool& equal, TdictionaryNode*& found);
  template <class Ops>
  TdictionaryNode* findPath(const Ops& ops, TdictionaryNode& probe, Tbookmark* bookmark,
                            TdictionaryNode** update, int& kept, bool& equal);
  template <class Ops>
  TdictionaryNode* markedPath(const Ops& ops, TdictionaryNode& probe, Tbookmark* bookmark,
                              TdictionaryNode** update, bool& equal);
  template <class Ops>
  TdictionaryNode* descend(const Ops& ops, TdictionaryNode& probe, TdictionaryNode* x, int from,
                           TdictionaryNode* stop, int stopCompare, TdictionaryNode** update,
                           bool& equal);
};

#include <velacore/containers/detail/TdictionaryImpl.h>
