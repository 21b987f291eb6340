/// AVL trees: maps with keys in order, built for pointer keys.
///
/// A tree orders its keys by a comparison function that it is given; keys are stored as they are passed, so
/// that the caller keeps what a pointer key points to alive (`StrAvlTree` owns copies of string keys). Nodes
/// never move: a node, and the reference to its value, stay valid until that very key is erased.
///
/// Invariants: keys ascend in in-order; the heights of a node's two subtrees differ by at most one, and `bal`
/// says which is taller; every child's `parent` points back. All operations are iterative, O(log n).
///
/// The node found last is kept in `selectNode`, and lookups test it first. Lookups of a const tree only read
/// it; the others write it.
///
/// Errors: memory exhaustion throws `std::bad_alloc` and leaves the tree as it was.
/// Thread safety: a tree belongs to one thread at a time. A finished tree may be searched by any number of
/// threads: through a const reference they share nothing that is written (`selectNode` is a relaxed atomic,
/// so that lookups of a non-const tree are no data race either, only slower).
/// Source: G. M. Adelson-Velskii, E. M. Landis, Doklady Akad. Nauk SSSR 146, 1962; D. E. Knuth, The Art of
/// Computer Programming 3, 6.2.3.
#pragma once

#include <atomic>
#include <utility>

#include "ace/ace_check_type.h"
#include "ace/ace_types.h"

template <class K, class V>
class AVLNode : public AceCheckType<AVLNode<K, V>> {
 public:
  /// The taller subtree; `AVL_NEW` marks a node that is not linked yet.
  enum Balance : unsigned char { AVL_NEW = 0, AVL_DOWN = 1, AVL_EVEN = 2, AVL_UP = 3 };

  AVLNode(K key, const V& value) : avlKey(key), avlValue(value) {}

  K avlKey;
  V avlValue;
  AVLNode* down = nullptr;  ///< subtree of the smaller keys
  AVLNode* up = nullptr;    ///< subtree of the greater keys
  AVLNode* parent = nullptr;
  Balance bal = AVL_NEW;
};

template <class K, class V>
class AVLTree {
 public:
  using Node = AVLNode<K, V>;
  /// Negative, 0 or positive as the first key is before, equal to or behind the second.
  using AVLCompare = int (*)(K, K);

  /// `error_value` stands for missing keys, and is the first value of new ones.
  AVLTree(AVLCompare compare, V error_value) : errValue(std::move(error_value)), cmpKey(compare) {}
  AVLTree(const AVLTree&) = delete;
  AVLTree& operator=(const AVLTree&) = delete;
  ~AVLTree() { remove(); }

  // Lookup.

  /// The node of the key, or null.
  Node* search(K key) { return select(find(key)); }
  const Node* search(K key) const { return find(key); }
  bool contains(K key) const { return find(key) != nullptr; }
  /// The value of the key, or the error value; never inserts.
  const V& operator()(K key) const {
    const Node* node = find(key);
    return node != nullptr ? node->avlValue : errValue;
  }
  /// The nodes of the smallest and the greatest key; null in an empty tree.
  Node* minimum() { return lowest(rootNode); }
  const Node* minimum() const { return lowest(rootNode); }
  Node* maximum() { return highest(rootNode); }
  const Node* maximum() const { return highest(rootNode); }
  /// The smallest and the greatest key; `K()` in an empty tree.
  K min_key() const { return key_of(minimum()); }
  K max_key() const { return key_of(maximum()); }
  /// The stored key that a non-const lookup or an insertion found last; `K()` if there is none.
  K get_select_key() const { return key_of(selected()); }
  int num_elements() const { return numElements; }
  bool empty() const { return numElements == 0; }

  // Change.

  /// The node of the key, made with the error value when the key is new.
  Node* insert(K key) {
    return insert(key, [](K same) { return same; });
  }
  /// The same, where `keep(key)` gives the key to store (a lasting copy) when the key is new.
  template <class Keep>
  Node* insert(K key, Keep keep);
  /// The value of the key, which is inserted when missing.
  V& operator[](K key) { return insert(key)->avlValue; }
  /// Returns the number of keys erased, 1 or 0.
  int erase(K key);
  /// Unlinks and deletes a node of this tree; null is ignored.
  void del(Node* node);
  /// The key equal to `key` is from now on stored as `key` itself. A missing one is inserted when
  /// `insert_missing` is set. Returns the key stored before, for its owner to free; `K()` if it was missing.
  K replace_key_pointer(K key, bool insert_missing);
  void remove();

  // Traversal in the order of the keys. `f` returns 0 to go on; another value stops and is passed back. It
  // must not insert or erase.

  /// Calls `f(key, value)`.
  template <class F>
  int for_each(F f) const;
  /// The same from the greatest key to the smallest.
  template <class F>
  int back(F f) const;
  /// `for_each` with a value that `f` may change.
  template <class F>
  int modify(F f);
  /// `modify`, and deletes each node that was visited; after a stop the others stay.
  template <class F>
  int remove(F f);

 private:
  using Balance = typename Node::Balance;
  static constexpr Balance DOWN = Node::AVL_DOWN;
  static constexpr Balance EVEN = Node::AVL_EVEN;
  static constexpr Balance UP = Node::AVL_UP;

  static Balance other(Balance side) { return side == DOWN ? UP : DOWN; }
  static Node*& child(Node* node, Balance side) { return side == DOWN ? node->down : node->up; }
  static Balance side_of(const Node* node) { return node->parent->down == node ? DOWN : UP; }
  static K key_of(const Node* node) { return node != nullptr ? node->avlKey : K(); }
  static Node* lowest(Node* node);
  static Node* highest(Node* node);
  static Node* after(Node* node);
  static Node* before(Node* node);

  Node* selected() const { return selectNode.load(std::memory_order_relaxed); }
  Node* select(Node* node) {
    if (node != nullptr) selectNode.store(node, std::memory_order_relaxed);
    return node;
  }
  Node* find(K key) const;
  Node*& link_to(Node* node);
  void swap_places(Node* node, Node* next);
  Node* rotate(Node* top, Balance heavy);
  Node* restore(Node* top, Balance heavy);
  void grown(Node* node);
  void shrunk(Node* node, Balance side);

  int numElements = 0;
  Node* rootNode = nullptr;
  std::atomic<Node*> selectNode = nullptr;
  V errValue;
  AVLCompare cmpKey;
};

template <class K, class V>
auto AVLTree<K, V>::lowest(Node* node) -> Node* {
  if (node != nullptr)
    while (node->down != nullptr) node = node->down;
  return node;
}

template <class K, class V>
auto AVLTree<K, V>::highest(Node* node) -> Node* {
  if (node != nullptr)
    while (node->up != nullptr) node = node->up;
  return node;
}

template <class K, class V>
auto AVLTree<K, V>::after(Node* node) -> Node* {
  if (node->up != nullptr) return lowest(node->up);
  while (node->parent != nullptr && side_of(node) == UP) node = node->parent;
  return node->parent;
}

template <class K, class V>
auto AVLTree<K, V>::before(Node* node) -> Node* {
  if (node->down != nullptr) return highest(node->down);
  while (node->parent != nullptr && side_of(node) == DOWN) node = node->parent;
  return node->parent;
}

template <class K, class V>
auto AVLTree<K, V>::find(K key) const -> Node* {
  Node* node = selected();
  if (node != nullptr && cmpKey(key, node->avlKey) == 0) return node;
  node = rootNode;
  while (node != nullptr) {
    const int order = cmpKey(key, node->avlKey);
    if (order == 0) return node;
    node = order < 0 ? node->down : node->up;
  }
  return nullptr;
}

template <class K, class V>
template <class Keep>
auto AVLTree<K, V>::insert(K key, Keep keep) -> Node* {
  if (Node* last = selected(); last != nullptr && cmpKey(key, last->avlKey) == 0) return last;
  Node* above = nullptr;
  Node** link = &rootNode;
  while (*link != nullptr) {
    above = *link;
    const int order = cmpKey(key, above->avlKey);
    if (order == 0) return select(above);
    link = order < 0 ? &above->down : &above->up;
  }
  Node* node = new Node(keep(key), errValue);
  node->parent = above;
  node->bal = EVEN;
  *link = node;
  ++numElements;
  grown(node);
  return select(node);
}

template <class K, class V>
int AVLTree<K, V>::erase(K key) {
  Node* node = find(key);
  del(node);
  return node != nullptr ? 1 : 0;
}

template <class K, class V>
void AVLTree<K, V>::del(Node* node) {
  if (node == nullptr) return;
  if (node->down != nullptr && node->up != nullptr) swap_places(node, lowest(node->up));
  Node* below = node->down != nullptr ? node->down : node->up;
  Node* above = node->parent;
  const Balance side = above != nullptr ? side_of(node) : EVEN;
  link_to(node) = below;
  if (below != nullptr) below->parent = above;
  shrunk(above, side);
  if (selected() == node) selectNode.store(nullptr, std::memory_order_relaxed);
  --numElements;
  delete node;
}

template <class K, class V>
K AVLTree<K, V>::replace_key_pointer(K key, bool insert_missing) {
  Node* node = select(find(key));
  if (node != nullptr) return std::exchange(node->avlKey, key);
  if (insert_missing) insert(key);
  return K();
}

template <class K, class V>
void AVLTree<K, V>::remove() {
  Node* node = rootNode;
  while (node != nullptr) {  // children first, so that each node is visited at most three times
    if (node->down != nullptr) {
      node = std::exchange(node->down, nullptr);
    } else if (node->up != nullptr) {
      node = std::exchange(node->up, nullptr);
    } else {
      Node* above = node->parent;
      delete node;
      node = above;
    }
  }
  rootNode = nullptr;
  selectNode.store(nullptr, std::memory_order_relaxed);
  numElements = 0;
}

template <class K, class V>
template <class F>
int AVLTree<K, V>::for_each(F f) const {
  for (Node* node = lowest(rootNode); node != nullptr; node = after(node))
    if (const int stop = f(node->avlKey, std::as_const(node->avlValue)); stop != 0) return stop;
  return 0;
}

template <class K, class V>
template <class F>
int AVLTree<K, V>::back(F f) const {
  for (Node* node = highest(rootNode); node != nullptr; node = before(node))
    if (const int stop = f(node->avlKey, std::as_const(node->avlValue)); stop != 0) return stop;
  return 0;
}

template <class K, class V>
template <class F>
int AVLTree<K, V>::modify(F f) {
  for (Node* node = lowest(rootNode); node != nullptr; node = after(node))
    if (const int stop = f(node->avlKey, node->avlValue); stop != 0) return stop;
  return 0;
}

template <class K, class V>
template <class F>
int AVLTree<K, V>::remove(F f) {
  while (Node* node = minimum()) {
    const int stop = f(node->avlKey, node->avlValue);
    del(node);
    if (stop != 0) return stop;
  }
  return 0;
}

/// The pointer through which the tree reaches the node.
template <class K, class V>
auto AVLTree<K, V>::link_to(Node* node) -> Node*& {
  return node->parent == nullptr ? rootNode : child(node->parent, side_of(node));
}

/// Puts `next`, the node behind `node` and the lowest of its upper subtree, in its place and the other way
/// round. Nodes are relinked, not copied, because callers keep their addresses.
template <class K, class V>
void AVLTree<K, V>::swap_places(Node* node, Node* next) {
  Node* below = next->up;
  link_to(node) = next;
  if (next == node->up) {
    next->parent = node->parent;
    next->up = node;
    node->parent = next;
  } else {
    link_to(next) = node;
    std::swap(node->parent, next->parent);
    next->up = node->up;
    next->up->parent = next;
  }
  next->down = node->down;
  next->down->parent = next;
  node->down = nullptr;
  node->up = below;
  if (below != nullptr) below->parent = node;
  std::swap(node->bal, next->bal);
}

/// Lifts the heavy child of `top` above it; returns the child. `bal` is left to the caller.
///
///       top               child
///      /   \              /   \       (the heavy side drawn on the right)
///     a   child   ->    top    c
///         /   \        /   \.
///        b     c      a     b
template <class K, class V>
auto AVLTree<K, V>::rotate(Node* top, Balance heavy) -> Node* {
  Node* lifted = child(top, heavy);
  Node*& inner = child(lifted, other(heavy));
  link_to(top) = lifted;
  lifted->parent = top->parent;
  child(top, heavy) = inner;
  if (inner != nullptr) inner->parent = top;
  inner = top;
  top->parent = lifted;
  return lifted;
}

/// Restores the balance of `top`, whose heavy subtree is two levels taller than the other. Returns the
/// subtree's new top; it is `AVL_EVEN` unless the subtree has kept its height.
template <class K, class V>
auto AVLTree<K, V>::restore(Node* top, Balance heavy) -> Node* {
  Node* lifted = child(top, heavy);
  if (lifted->bal != other(heavy)) {
    const bool keepsHeight = lifted->bal == EVEN;  // only after a deletion
    rotate(top, heavy);
    top->bal = keepsHeight ? heavy : EVEN;
    lifted->bal = keepsHeight ? other(heavy) : EVEN;
    return lifted;
  }
  Node* middle = child(lifted, other(heavy));
  rotate(lifted, other(heavy));
  rotate(top, heavy);
  top->bal = middle->bal == heavy ? other(heavy) : EVEN;
  lifted->bal = middle->bal == other(heavy) ? heavy : EVEN;
  middle->bal = EVEN;
  return middle;
}

/// Corrects the balances above `node`, whose subtree has grown by one level.
template <class K, class V>
void AVLTree<K, V>::grown(Node* node) {
  for (Node* above = node->parent; above != nullptr; node = above, above = node->parent) {
    const Balance side = side_of(node);
    if (above->bal == other(side)) {
      above->bal = EVEN;
      return;
    }
    if (above->bal == side) {
      restore(above, side);
      return;
    }
    above->bal = side;
  }
}

/// Corrects the balances from `node` upwards, whose subtree on `side` has shrunk by one level.
template <class K, class V>
void AVLTree<K, V>::shrunk(Node* node, Balance side) {
  while (node != nullptr) {
    if (node->bal == EVEN) {
      node->bal = other(side);
      return;
    }
    if (node->bal == side) {
      node->bal = EVEN;
    } else {
      node = restore(node, other(side));
      if (node->bal != EVEN) return;
    }
    if (node->parent != nullptr) side = side_of(node);
    node = node->parent;
  }
}
