// TdictionaryOf<Node> and TdictionaryNodeOf<K, V, Node>: the typed skip-list dictionaries
// (TindexDictionary, TtypeDictionary), one template over Tdictionary.
//
// A node class derives from TdictionaryNodeOf<K, V, Itself> and gives a static
// `int compareKeys(const K& a, const K& b)` (negative, 0, positive); its dictionary derives from
// TdictionaryOf<Node>. Lookups compare keys and follow links directly, without the virtual
// calls of the untyped algorithms, and behave exactly like them.
//
//   class TmyNode : public TdictionaryNodeOf<int, double, TmyNode> {
//     VELA_DECLARE_TYPE(TmyNode);
//    public:
//     using TdictionaryNodeOf::TdictionaryNodeOf;
//     static int compareKeys(const int& a, const int& b) { return (a > b) - (a < b); }
//   };
//
// Nodes are one block: the node object (with room for one forward pointer) followed by the
// rest of its level's pointers. A typed dictionary's first nodes are heap blocks of their own;
// from the kHeapNodes-th on, nodes of the common levels come from the dictionary's own pages
// (TdictionaryNodePool), where removed nodes' blocks are reused. Such a node is of a final
// subclass of Node (same size, same metaclass) whose destroy() gives the block back to its
// pool, so the untyped algorithms and Tdictionary::reset() free either kind alike. The pages
// go back to the heap when the dictionary is reset or destroyed.
#pragma once

#include <velacore/containers/Tdictionary.h>
#include <velacore/containers/detail/TdictionaryNodePool.h>

#include <cstdint>
#include <new>

template <class K, class V, class Node>
class TdictionaryNodeOf : public TdictionaryNode {
 public:
  using Key = K;
  using Value = V;

  /// A node with a default key and value; only a probe or a metaclass's instance.
  TdictionaryNodeOf() : fKey(), fValue() { fForward[0] = nullptr; }
  /// A probe carrying `key` and `value`.
  TdictionaryNodeOf(const K& key, const V& value) : fKey(key), fValue(value) {
    fForward[0] = nullptr;
  }

  [[nodiscard]] const K& key() const { return fKey; }
  [[nodiscard]] V& data() { return fValue; }
  [[nodiscard]] const V& data() const { return fValue; }

  int compare(TdictionaryNode& other) override {
    return Node::compareKeys(fKey, static_cast<Node&>(other).fKey);
  }
  void setValue(TdictionaryNode& other) override { fValue = static_cast<Node&>(other).fValue; }
  TdictionaryNode* clone(int level) override { return make(fKey, fValue, level); }
  void destroy() override {
    Node* self = static_cast<Node*>(this);
    self->~Node();
    ::operator delete(static_cast<void*>(self));
  }
  TdictionaryNode*& forward(int level) override { return links()[level]; }

  /// A new node of `level` (1 to 16) null forward pointers.
  static Node* make(const K& key, const V& value, int level) {
    return makeIn<Node>(::operator new(blockBytes(level)), key, value, level);
  }
  /// A node of class Made (Node or a subclass of its size) in `block` of blockBytes(level).
  template <class Made>
  static Node* makeIn(void* block, const K& key, const V& value, int level) {
    Node* node = ::new (block) Made(key, value);
    TdictionaryNode** links = node->links();
    for (int i = 1; i < level; ++i) links[i] = nullptr;
    return node;
  }
  /// The bytes of a node of `level`.
  static constexpr std::size_t blockBytes(int level) {
    return sizeof(Node) + std::size_t(level - 1) * sizeof(TdictionaryNode*);
  }

  /// The forward pointers: the first inside the node, the others right behind it.
  TdictionaryNode** links() { return fForward; }

 protected:
  template <class>
  friend class TdictionaryOf;

  K fKey;
  V fValue;
  TdictionaryNode* fForward[1];
};

// A node that lives in a TdictionaryNodePool: destroy() gives its block back to the pool.
template <class Node>
class TpooledDictionaryNode final : public Node {
 public:
  using Node::Node;
  void destroy() override {
    this->~TpooledDictionaryNode();
    TdictionaryNodePool::release(this);
  }
};

template <class Node>
class TdictionaryOf : public Tdictionary {
 public:
  using Key = typename Node::Key;
  using Value = typename Node::Value;
  /// Nodes made as heap blocks of their own before the dictionary takes pages (small
  /// dictionaries stay small).
  static constexpr std::uint32_t kHeapNodes = 128;

  /// The bytes of node pages this dictionary holds (0 while it is small).
  [[nodiscard]] std::size_t reservedBytes() const {
    return TdictionaryNodePool::sReservedBytes(fNodeStore);
  }

  /// Adds `key` with `value` (before any equal keys); returns the new node.
  Node* insert(const Key& key, const Value& value) {
    Node probe(key, value);
    return static_cast<Node*>(insertWith(ops(), probe, nullptr));
  }
  Node* insert(const Key& key, const Value& value, Tbookmark& bookmark) {
    Node probe(key, value);
    return static_cast<Node*>(insertWith(ops(), probe, &bookmark));
  }
  /// The value of the first node with `key`, or null.
  [[nodiscard]] Value* search(const Key& key) {
    Node* node = findNode(key);
    return node == nullptr ? nullptr : &node->fValue;
  }
  [[nodiscard]] Value* search(const Key& key, Tbookmark& bookmark) {
    Node* node = findNode(key, bookmark);
    return node == nullptr ? nullptr : &node->fValue;
  }
  /// The first node with `key`, or null.
  [[nodiscard]] Node* findNode(const Key& key) {
    Node probe(key, Value());
    return static_cast<Node*>(searchWith(ops(), probe, nullptr));
  }
  [[nodiscard]] Node* findNode(const Key& key, Tbookmark& bookmark) {
    Node probe(key, Value());
    return static_cast<Node*>(searchWith(ops(), probe, &bookmark));
  }
  /// The first node with `key`, else the node with the greatest key below it; null when every
  /// key is above `key`.
  [[nodiscard]] Node* findLastNotAbove(const Key& key) {
    Node probe(key, Value());
    return static_cast<Node*>(floorWith(ops(), probe, nullptr));
  }
  [[nodiscard]] Node* findLastNotAbove(const Key& key, Tbookmark& bookmark) {
    Node probe(key, Value());
    return static_cast<Node*>(floorWith(ops(), probe, &bookmark));
  }
  /// Removes the first node with `key`; false when there is none.
  bool remove(const Key& key) {
    Node probe(key, Value());
    return removeWith(ops(), probe);
  }
  /// The node with the smallest key, or null when empty.
  [[nodiscard]] Node* first() const { return static_cast<Node*>(fForward[0]); }
  /// The node after `node` in key order (null after the last one or for null).
  [[nodiscard]] static Node* next(Node* node) {
    return node == nullptr ? nullptr : static_cast<Node*>(node->fForward[0]);
  }

 private:
  // The algorithms' view of this dictionary's nodes: direct key comparison and links.
  struct Tops {
    static constexpr bool kPureCompare = true;
    TdictionaryNode* header;  // the dictionary, which also makes the nodes
    TdictionaryNode** headerLinks;
    int compare(TdictionaryNode* node, TdictionaryNode& probe) const {
      return Node::compareKeys(static_cast<Node*>(node)->fKey, static_cast<Node&>(probe).fKey);
    }
    TdictionaryNode*& fwd(TdictionaryNode* node, int level) const {
      return node == header ? headerLinks[level] : static_cast<Node*>(node)->links()[level];
    }
    TdictionaryNode* clone(TdictionaryNode& probe, int level) const {
      Node& p = static_cast<Node&>(probe);
      return static_cast<TdictionaryOf*>(header)->makeNode(p.fKey, p.fValue, level);
    }
    void destroy(TdictionaryNode* node) const { node->destroy(); }
  };
  Tops ops() { return Tops{this, fForward}; }

  // fNodeStore counts the heap nodes made, up to kHeapNodes, then holds the pool's handle.
  Node* makeNode(const Key& key, const Value& value, int level) {
    // Page blocks are 8-byte aligned: nodes that need more stay heap blocks.
    if constexpr (alignof(Node) > alignof(void*)) return Node::make(key, value, level);
    if (fNodeStore < kHeapNodes) {
      ++fNodeStore;
      return Node::make(key, value, level);
    }
    if (level > TdictionaryNodePool::kLevels) return Node::make(key, value, level);
    if (fNodeStore == kHeapNodes) fNodeStore = TdictionaryNodePool::sCreate(Node::blockBytes(1));
    return Node::template makeIn<TpooledDictionaryNode<Node>>(
        TdictionaryNodePool::sAllocate(fNodeStore, level), key, value, level);
  }
  static_assert(sizeof(TpooledDictionaryNode<Node>) == sizeof(Node));
};
