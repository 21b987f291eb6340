#include "tera/edit/module_codes_internal.h"

#include <algorithm>
#include <iterator>

#include "ace/ace_dyn_heap.h"

namespace module_codes {

namespace {

constexpr int NUM_SYMBOLS = 1025;
constexpr int NUM_NODES = 2 * NUM_SYMBOLS - 1;
constexpr int NONE = -1;

/// How often words of a kind are expected, per word of the kind. Part of the file format: a change makes
/// other codes.
struct Weights {
  int none, one, two, run, all, allButOne, escape;
};
constexpr Weights WEIGHTS[] = {
    {60000, 200, 4, 2, 50, 1, 300},    {8000, 300, 24, 8, 2000, 10, 12000},
    {20000, 400, 16, 4, 200, 2, 3000}, {3000, 200, 20, 6, 500, 10, 25000},
    {300, 20, 4, 4, 6000, 150, 60000},
};
constexpr int NUM_TYPES = static_cast<int>(std::size(WEIGHTS));

/// Calls `insert(word, weight)` for each symbol.
template <class Insert>
constexpr void for_each_symbol(const Weights& weights, Insert insert) {
  insert(Bit{0}, weights.none);
  insert(~Bit{0}, weights.all);
  insert(ESCAPE, weights.escape);
  for (int i = 0; i < WORD_BITS; ++i) {
    insert(Bit{1} << i, weights.one);
    insert(~(Bit{1} << i), weights.allButOne);
    for (int j = i + 1; j < WORD_BITS; ++j) insert(Bit{1} << i | Bit{1} << j, weights.two);
  }
  // Runs that are not among those above.
  for (int length = 3; length < WORD_BITS - 1; ++length)
    for (int from = 0; from + length <= WORD_BITS; ++from)
      insert(((Bit{1} << length) - 1) << from, weights.run);
}

/// A node of a code's tree. The first NUM_SYMBOLS are the leaves, and sons come before their parents.
struct Node {
  int weight = 0;
  Bit symbol = 0;
  int left = NONE;
  int right = NONE;
  int height = 0;
};

/// HuffmanTree::make on arrays: the same steps, so that equal weights fall the same way.
class Maker {
 public:
  constexpr explicit Maker(const Weights& weights) {
    for_each_symbol(weights, [this](Bit symbol, int weight) { nodes[num++] = {weight, symbol}; });
    std::sort(nodes, nodes + num, [](const Node& a, const Node& b) { return a.symbol < b.symbol; });
    count_depths();
    pair_levels();
  }

  constexpr Tables make_tables() {
    Tables tables;
    tables.width = table_width(num - 1);
    tables.numCodes = NUM_SYMBOLS;
    tables.numEntries = 1 << tables.width;
    enter(num - 1, tables.width, 0, 0, 0, &tables);
    return tables;
  }

 private:
  constexpr int merge(int left, int right) {
    nodes[num] = {nodes[left].weight + nodes[right].weight, 0, left, right,
                  std::max(nodes[left].height, nodes[right].height) + 1};
    return num++;
  }

  /// Merges the lightest two until one is left: the order in which leaves are taken, and their depths.
  constexpr void count_depths() {
    int heap[NUM_SYMBOLS] = {};
    Large card = 0;
    const auto compare = [this](int a, int b) { return nodes[a].weight - nodes[b].weight; };
    const auto push = [&](int node) {
      heap[card++] = node;
      heap_rise(heap, card - 1, compare);
    };
    int numTaken = 0;
    const auto take = [&] {
      const int node = heap[0];
      heap[0] = heap[--card];
      heap_sink(heap, 0, card, compare);
      if (node < NUM_SYMBOLS) taken[numTaken++] = node;
      return node;
    };
    for (int leaf = 0; leaf < NUM_SYMBOLS; ++leaf) push(leaf);
    while (card > 1) {
      const int smallest = take();
      push(merge(smallest, take()));
    }
    int depths[NUM_NODES] = {};
    for (int node = num - 1; node >= NUM_SYMBOLS; --node)
      depths[nodes[node].left] = depths[nodes[node].right] = depths[node] + 1;
    for (int leaf = 0; leaf < NUM_SYMBOLS; ++leaf) ++numOfDepth[depths[leaf]];
  }

  /// The tree again, in which the leaves taken first are the deepest, and a level's nodes, leaves first, are
  /// paired from left to right.
  constexpr void pair_levels() {
    int level[NUM_SYMBOLS] = {};
    int inLevel = 0;
    int leaf = 0;
    const int deepest = nodes[num - 1].height;
    num = NUM_SYMBOLS;
    for (int depth = deepest; depth > 0; --depth) {
      const int leaves = numOfDepth[depth];
      std::copy_backward(level, level + inLevel, level + inLevel + leaves);
      std::copy(taken + leaf, taken + leaf + leaves, level);
      leaf += leaves;
      inLevel = (inLevel + leaves) / 2;
      for (int i = 0; i < inLevel; ++i) level[i] = merge(level[2 * i], level[2 * i + 1]);
    }
  }

  constexpr int table_width(int node) const { return std::min(nodes[node].height, HuffmanTree::TABLE_BITS); }

  /// Fills the entries whose low `level` bits are `prefix`, of the table of `width` bits at `base`.
  constexpr void enter(int node, int width, int base, int prefix, int level, Tables* out) const {
    if (nodes[node].left == NONE) {
      for (int index = prefix; index < 1 << width; index += 1 << level) {
        out->help[base + index] = static_cast<Tiny>(level);
        out->info[base + index] = nodes[node].symbol;
      }
      return;
    }
    if (level == width) {
      const int below = table_width(node);
      out->help[base + prefix] = static_cast<Tiny>(HuffmanTree::SUB_TABLE | below);
      out->info[base + prefix] = static_cast<Bit>(out->numEntries);
      base = out->numEntries;
      out->numEntries += 1 << below;
      width = below;
      prefix = level = 0;
    }
    enter(nodes[node].left, width, base, prefix, level + 1, out);
    enter(nodes[node].right, width, base, prefix | 1 << level, level + 1, out);
  }

  Node nodes[NUM_NODES];
  int num = 0;
  int taken[NUM_SYMBOLS] = {};
  int numOfDepth[HuffmanTree::MAX_CODE_BITS + 1] = {};
};

/// One by one, as compilers bound the steps of an expression.
template <int TYPE>
constexpr Tables CODE = Maker(WEIGHTS[TYPE]).make_tables();

constexpr const Tables* CODES[NUM_TYPES] = {&CODE<0>, &CODE<1>, &CODE<2>, &CODE<3>, &CODE<4>};

}  // namespace

void Tables::lend(HuffmanTree* tree) const {
  const auto size = static_cast<std::size_t>(numEntries);
  tree->borrow({help, size}, {info, size}, width, numCodes);
}

const Tables& code_of(int type) {
  return *CODES[type];
}

void insert_weights(int type, HuffmanStat* stat) {
  for_each_symbol(WEIGHTS[type],
                  [stat](Bit word, int weight) { stat->insert(static_cast<int>(word), weight); });
}

}  // namespace module_codes
