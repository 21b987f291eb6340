#include "ace/ace_avl.h"

#include <cmath>
#include <cstring>
#include <map>
#include <random>
#include <thread>

#include "ace/ace_exception.h"
#include "ace/ace_str_avl.h"

namespace {

using Tree = AVLTree<int, int>;
using Node = Tree::Node;

int compare(int first, int second) {
  return first < second ? -1 : first > second ? 1 : 0;
}

/// Checks balances, links and order of a subtree; returns its height.
int checked_height(const Node* node, const Node* parent) {
  if (node == nullptr) return 0;
  EXPECT_EQ(node->parent, parent);
  if (node->down != nullptr) {
    EXPECT_LT(node->down->avlKey, node->avlKey);
  }
  if (node->up != nullptr) {
    EXPECT_GT(node->up->avlKey, node->avlKey);
  }
  const int down = checked_height(node->down, node);
  const int up = checked_height(node->up, node);
  EXPECT_LE(std::abs(up - down), 1);
  EXPECT_EQ(node->bal, up == down ? Node::AVL_EVEN : up > down ? Node::AVL_UP : Node::AVL_DOWN);
  return 1 + std::max(down, up);
}

void expect_same(const Tree& tree, const std::map<int, int>& oracle) {
  const Node* root = tree.minimum();
  while (root != nullptr && root->parent != nullptr) root = root->parent;
  checked_height(root, nullptr);
  ASSERT_EQ(tree.num_elements(), static_cast<int>(oracle.size()));
  auto next = oracle.begin();
  tree.for_each([&](int key, int value) {
    EXPECT_EQ(std::make_pair(key, value), std::make_pair(next->first, next->second));
    ++next;
    return 0;
  });
  auto last = oracle.rbegin();
  tree.back([&](int key, int value) {
    EXPECT_EQ(std::make_pair(key, value), std::make_pair(last->first, last->second));
    ++last;
    return 0;
  });
  EXPECT_EQ(tree.min_key(), oracle.empty() ? 0 : oracle.begin()->first);
  EXPECT_EQ(tree.max_key(), oracle.empty() ? 0 : oracle.rbegin()->first);
}

TEST(AVLTree, agrees_with_an_ordered_map_in_any_sequence_of_changes) {
  for (unsigned seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const int numKeys = seed % 3 == 0 ? 8 : 300;
    Tree tree(compare, -1);
    std::map<int, int> oracle;
    std::map<int, Node*> nodes;  // a node never moves
    for (int step = 0; step < 1500; ++step) {
      const int key = static_cast<int>(random() % static_cast<unsigned>(numKeys));
      const bool isShrinking = (step / 500) % 2 == 1;
      if (random() % 10 < (isShrinking ? 3 : 6)) {
        Node* node = tree.insert(key);
        if (oracle.emplace(key, -1).second) {
          EXPECT_EQ(node->avlValue, -1);
        }
        EXPECT_EQ(nodes.emplace(key, node).first->second, node);
        oracle[key] = tree[key] = step;
      } else if (random() % 4 == 0) {
        tree.del(tree.search(key));
        nodes.erase(key);
        oracle.erase(key);
      } else {
        EXPECT_EQ(tree.erase(key), static_cast<int>(oracle.erase(key)));
        nodes.erase(key);
      }
      const int other = static_cast<int>(random() % static_cast<unsigned>(numKeys));
      EXPECT_EQ(tree(other), oracle.contains(other) ? oracle[other] : -1);
      EXPECT_EQ(tree.contains(other), oracle.contains(other));
      if (step % 100 == 0) expect_same(tree, oracle);
    }
    expect_same(tree, oracle);
  }
}

TEST(AVLTree, stays_flat_and_is_emptied_without_recursion) {
  Tree tree(compare, 0);
  for (int key = 0; key < 200000; ++key) tree[key] = key;
  const Node* root = tree.minimum();
  while (root->parent != nullptr) root = root->parent;
  EXPECT_LE(checked_height(root, nullptr), 1.4405 * std::log2(200002));
  tree.remove();
  EXPECT_TRUE(tree.empty());
  EXPECT_EQ(tree.search(5), nullptr);
}

TEST(AVLTree, traversals_stop_and_pass_the_value_back) {
  Tree tree(compare, 0);
  for (int key = 1; key <= 9; ++key) tree[key] = key;
  const auto stop_at_three = [](int key, int) { return key == 3 ? 33 : 0; };
  EXPECT_EQ(tree.for_each(stop_at_three), 33);
  EXPECT_EQ(tree.back(stop_at_three), 33);
  EXPECT_EQ(tree.modify([](int key, int& value) { return value *= 2, key == 3 ? 44 : 0; }), 44);
  EXPECT_EQ(tree(3), 6);
  EXPECT_EQ(tree(4), 4);
  EXPECT_EQ(tree.remove([](int key, int&) { return key == 5 ? 55 : 0; }), 55);
  EXPECT_EQ(tree.num_elements(), 4);
  EXPECT_EQ(tree.min_key(), 6);
  EXPECT_EQ(tree.remove([](int, int&) { return 0; }), 0);
  EXPECT_TRUE(tree.empty());
}

TEST(AVLTree, a_key_pointer_is_replaced_by_an_equal_one) {
  AVLTree<const char*, int> tree([](const char* a, const char* b) { return std::strcmp(a, b); }, 7);
  const char first[] = "same";
  const char second[] = "same";
  EXPECT_EQ(tree.replace_key_pointer(first, false), nullptr);
  EXPECT_TRUE(tree.empty());
  EXPECT_EQ(tree.replace_key_pointer(first, true), nullptr);
  EXPECT_EQ(tree.replace_key_pointer(second, false), first);
  EXPECT_EQ(tree.get_select_key(), second);
  EXPECT_EQ(tree("same"), 7);
  tree.erase("same");
  EXPECT_EQ(tree.get_select_key(), nullptr) << "the found node is gone";
}

TEST(AVLTree, a_finished_tree_is_searched_by_several_threads) {
  Tree tree(compare, -1);
  for (int key = 0; key < 1000; ++key) tree[key] = 3 * key;
  const auto read_all = [&tree](bool as_const) {
    for (int key = -5; key < 1005; ++key) {
      const int expected = key >= 0 && key < 1000 ? 3 * key : -1;
      if (as_const || expected < 0)
        EXPECT_EQ(std::as_const(tree)(key), expected);
      else
        EXPECT_EQ(tree.search(key)->avlValue, expected);
    }
  };
  std::thread first(read_all, true);
  std::thread second(read_all, false);
  std::thread third(read_all, false);
  first.join();
  second.join();
  third.join();
}

TEST(StrAvlTree, owns_its_keys_and_agrees_with_an_ordered_map) {
  std::mt19937 random(11);
  StrAvlTree<int> tree(-1);
  std::map<std::string, int> oracle;
  std::vector<std::pair<std::string, const char*>> kept;
  for (int step = 0; step < 20000; ++step) {
    std::string key(1 + random() % 12, 'a');
    for (char& letter : key) letter = static_cast<char>('a' + random() % 3);
    if (random() % 3 != 0) {
      const char* stored = nullptr;
      tree.insert(key.c_str(), &stored) = step;
      if (oracle.insert_or_assign(key, step).second) kept.emplace_back(key, stored);
      EXPECT_NE(stored, key.c_str());
    } else {
      int value = 0;
      const auto found = oracle.find(key);
      EXPECT_EQ(tree.erase(key.c_str(), &value), found != oracle.end() ? 1 : 0);
      EXPECT_EQ(value, found != oracle.end() ? found->second : -1);
      if (found != oracle.end()) oracle.erase(found);
    }
  }
  for (const auto& [key, stored] : kept) ASSERT_EQ(key, stored) << "a stored key lasts as long as the tree";
  ASSERT_EQ(tree.num_strings(), static_cast<int>(oracle.size()));
  auto next = oracle.begin();
  tree.for_each([&](const char* key, int value) {
    EXPECT_EQ(next->first, key);
    EXPECT_EQ((next++)->second, value);
    return 0;
  });
  EXPECT_EQ(tree.search("missing"), -1);
  EXPECT_EQ(tree.search(nullptr), -1);
  EXPECT_FALSE(tree.contains("missing"));
  EXPECT_THROW(tree.insert(nullptr), AceNullpointerException);
}

TEST(StrAvlTree, fills_blocks_and_gives_a_longer_key_one_of_its_own) {
  StrAvlTree<int> tree(0);
  EXPECT_EQ(tree.heap_size(), 0);
  const std::string fitting(65519, 'f');
  const std::string longer(65520, 'l');
  tree.insert("a");
  EXPECT_EQ(tree.heap_size(), 65520);
  tree.insert(longer.c_str());
  EXPECT_EQ(tree.heap_size(), 65520 + 65521);
  tree.insert("b");
  EXPECT_EQ(tree.heap_size(), 65520 + 65521) << "the first block is still being filled";
  tree.insert(fitting.c_str());
  EXPECT_EQ(tree.heap_size(), 2 * 65520 + 65521);
  EXPECT_TRUE(tree.contains(longer.c_str()) && tree.contains(fitting.c_str()) && tree.contains("b"));
  EXPECT_EQ(tree.remove([](const char*, int&) { return 0; }), 0);
  EXPECT_EQ(tree.heap_size(), 0);
}

}  // namespace
