/// AVL trees over strings that own copies of their keys.
///
/// Keys are copied, terminator included, into blocks of `KEY_BLOCK_SIZE` bytes; a longer key gets a block of
/// its own size. Blocks live until the tree is emptied (`remove`) or destroyed: an erased key gives its place
/// in the block back only then. Keys are ordered by `strcmp`.
///
/// Errors: a null key is never found; inserting one throws `AceNullpointerException`. Memory exhaustion
/// throws `std::bad_alloc` and leaves the keys as they were.
/// Thread safety: as `AVLTree`.
#pragma once

#include <cstring>

#include "ace/ace_attach.h"
#include "ace/ace_avl.h"
#include "ace/ace_exception.h"
#include "ace/ace_types.h"

template <class V>
class StrAvlTree {
 public:
  static constexpr VInt KEY_BLOCK_SIZE = 65520;

  /// `error_value` stands for missing keys, and is the first value of new ones.
  explicit StrAvlTree(V error_value) : avlTree(compare, error_value), errValue(std::move(error_value)) {}

  /// The value of the key, which is copied when it is new. Valid until the key is erased.
  V& insert(const char* key) { return insert(key, nullptr); }
  /// The same; the tree's own copy of the key is stored in `*stored_key` when that is not null.
  V& insert(const char* key, const char** stored_key);
  V& operator[](const char* key) { return insert(key); }
  /// The value of the key, or the error value.
  const V& search(const char* key) const { return key != nullptr ? avlTree(key) : errValue; }
  const V& operator()(const char* key) const { return search(key); }
  /// The value of the key for changing it, or null.
  V* find(const char* key);
  bool contains(const char* key) const { return key != nullptr && avlTree.contains(key); }
  /// Returns the number of keys erased, 1 or 0. The erased value, or the error value, is stored in `*value`
  /// when that is not null.
  int erase(const char* key, V* value);
  /// Erases all keys and frees their blocks.
  void remove();

  int num_strings() const { return avlTree.num_elements(); }
  bool empty() const { return avlTree.empty(); }
  /// Bytes of all string blocks.
  VInt heap_size() const { return heapSize; }

  // Traversal in the order of the keys, as in `AVLTree`: a value of `f` other than 0 stops and is passed
  // back.
  template <class F>
  int for_each(F f) const {
    return avlTree.for_each(f);
  }
  template <class F>
  int back(F f) const {
    return avlTree.back(f);
  }
  template <class F>
  int modify(F f) {
    return avlTree.modify(f);
  }
  /// Visits and erases; the keys' blocks are freed when nothing is left.
  template <class F>
  int remove(F f);

 private:
  static int compare(const char* first, const char* second) { return std::strcmp(first, second); }
  const char* keep(const char* key);

  AVLTree<const char*, V> avlTree;
  AceAttach blockList;
  char* currentBlock = nullptr;  // free part of the block that is being filled
  VInt leftSpace = 0;            // its bytes
  VInt heapSize = 0;
  V errValue;
};

template <class V>
V& StrAvlTree<V>::insert(const char* key, const char** stored_key) {
  if (key == nullptr) throw AceNullpointerException("key");
  auto* node = avlTree.insert(key, [this](const char* text) { return keep(text); });
  if (stored_key != nullptr) *stored_key = node->avlKey;
  return node->avlValue;
}

template <class V>
V* StrAvlTree<V>::find(const char* key) {
  auto* node = key != nullptr ? avlTree.search(key) : nullptr;
  return node != nullptr ? &node->avlValue : nullptr;
}

template <class V>
int StrAvlTree<V>::erase(const char* key, V* value) {
  auto* node = key != nullptr ? avlTree.search(key) : nullptr;
  if (value != nullptr) *value = node != nullptr ? node->avlValue : errValue;
  avlTree.del(node);
  return node != nullptr ? 1 : 0;
}

template <class V>
void StrAvlTree<V>::remove() {
  avlTree.remove();
  blockList.release();
  currentBlock = nullptr;
  leftSpace = 0;
  heapSize = 0;
}

template <class V>
template <class F>
int StrAvlTree<V>::remove(F f) {
  const int stop = avlTree.remove(f);
  if (avlTree.empty()) remove();
  return stop;
}

template <class V>
const char* StrAvlTree<V>::keep(const char* key) {
  const VInt size = static_cast<VInt>(std::strlen(key)) + 1;
  if (size > leftSpace) {
    if (size > KEY_BLOCK_SIZE) {  // beside the current block, which goes on being filled
      char* own = static_cast<char*>(blockList.alloc(size));
      heapSize += size;
      return static_cast<char*>(std::memcpy(own, key, static_cast<std::size_t>(size)));
    }
    currentBlock = static_cast<char*>(blockList.alloc(KEY_BLOCK_SIZE));
    leftSpace = KEY_BLOCK_SIZE;
    heapSize += KEY_BLOCK_SIZE;
  }
  char* copy = currentBlock;
  std::memcpy(copy, key, static_cast<std::size_t>(size));
  currentBlock += size;
  leftSpace -= size;
  return copy;
}
