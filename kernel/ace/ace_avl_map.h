/// AVL trees whose keys are 64-bit numbers.
#pragma once

#include "ace/ace_avl.h"

template <class V>
class AVLMap : public AVLTree<VUint, V> {
 public:
  /// `error_value` stands for missing keys.
  explicit AVLMap(V error_value = V()) : AVLTree<VUint, V>(compare, std::move(error_value)) {}

 private:
  static int compare(VUint a, VUint b) { return a < b ? -1 : a > b ? 1 : 0; }
};
