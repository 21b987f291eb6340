#include "tera/edit/edit_cluster_internal.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "ace/ace_parallel.h"
#include "ace/ace_reporter.h"
#include "tera/tera_edit.h"
#include "tera/text/tera_token_walk_internal.h"

namespace {

constexpr int MIN_PIECE = 1 << 14;  // slots

/// The tokens of a group: how many of its entries have a token at a position.
class GroupTokens {
 public:
  explicit GroupTokens(int length) : counts(static_cast<std::size_t>(length) * NUM_VALUES) {}

  void clear() { std::fill(counts.begin(), counts.end(), Tiny{0}); }
  bool has(int pos, Token tok) const { return counts[static_cast<std::size_t>(pos) * NUM_VALUES + tok] != 0; }
  /// Tokens that the entry would add.
  int cost(const Token* row, int length) const {
    int added = 0;
    const Tiny* at = counts.data();
    for (int pos = 0; pos < length; ++pos, at += NUM_VALUES) added += at[row[pos]] == 0 ? 1 : 0;
    return added;
  }
  /// Tokens that only this entry, one of the group, has.
  int own(const Token* row, int length) const {
    int alone = 0;
    const Tiny* at = counts.data();
    for (int pos = 0; pos < length; ++pos, at += NUM_VALUES) alone += at[row[pos]] == 1 ? 1 : 0;
    return alone;
  }
  void change(const Token* row, int length, int by) {
    Tiny* at = counts.data();
    for (int pos = 0; pos < length; ++pos, at += NUM_VALUES)
      at[row[pos]] = static_cast<Tiny>(at[row[pos]] + by);
  }

 private:
  static constexpr int NUM_VALUES = 256;
  std::vector<Tiny> counts;
};

/// The entries that a group may take next, in their order, and how many tokens each would add.
///
///     place        0    1    2    3
///     entry       17   18   21   22
///     cost         3    1    -    2        the third one is taken
///     column 0     a    a    b    a        the tokens of all at a position
///     column 1     n    m    n    n
///
/// When the group gets a token, those that have it at that position cost less by one: one comparison of its
/// column, many places at a time.
class Window {
 public:
  Window(int length, int most)
      : n(length),
        width((most + LANES - 1) / LANES * LANES),
        columns(static_cast<std::size_t>(length) * static_cast<std::size_t>(width)),
        costs(static_cast<std::size_t>(width), TAKEN),
        entries(static_cast<std::size_t>(width)) {}

  int num_left() const { return numLeft; }
  void append(int entry, const Token* row, int cost) {
    Token* out = columns.data() + size;
    for (int pos = 0; pos < n; ++pos, out += width) *out = row[pos];
    costs[static_cast<std::size_t>(size)] = static_cast<Small>(cost);
    entries[static_cast<std::size_t>(size++)] = entry;
    ++numLeft;
  }
  /// Takes the first of the cheapest ones; or the first one.
  int take_best() {
    Small least = TAKEN;
    for (const Small cost : costs) least = std::min(least, cost);
    return take(std::find(costs.begin(), costs.end(), least) - costs.begin());
  }
  int take_first() { return take(std::find_if(costs.begin(), costs.end(), is_left) - costs.begin()); }
  /// The group has the token at the position now.
  void lower(int pos, Token tok) {
    const Token* const column = columns.data() + static_cast<VInt>(pos) * width;
    for (int place = 0; place < width; place += LANES)
      for (int lane = place; lane < place + LANES; ++lane)
        costs[static_cast<std::size_t>(lane)] =
            static_cast<Small>(costs[static_cast<std::size_t>(lane)] - (column[lane] == tok ? 1 : 0));
  }
  /// A group begins: nothing has been added. Those that are left move up.
  void start() {
    int num = 0;
    for (int place = 0; place < size; ++place) {
      if (!is_left(costs[static_cast<std::size_t>(place)])) continue;
      entries[static_cast<std::size_t>(num)] = entries[static_cast<std::size_t>(place)];
      Token* column = columns.data();
      for (int pos = 0; pos < n; ++pos, column += width) column[num] = column[place];
      ++num;
    }
    size = num;
    std::fill(costs.begin(), costs.begin() + num, static_cast<Small>(n));
    std::fill(costs.begin() + num, costs.end(), TAKEN);
  }

 private:
  static constexpr int LANES = 64;
  static constexpr Small TAKEN = 0xFFFF;  // and what is less by up to a token for each position
  static bool is_left(Small cost) { return cost <= TeraEdit::MAX_POSITIONS; }

  int take(std::ptrdiff_t place) {
    costs[static_cast<std::size_t>(place)] = TAKEN;
    --numLeft;
    return entries[static_cast<std::size_t>(place)];
  }

  int n;
  int width;
  int size = 0;     // places in use
  int numLeft = 0;  // of them, without those that are taken
  std::vector<Token> columns;
  std::vector<Small> costs;
  std::vector<int> entries;
};

class Refiner {
 public:
  explicit Refiner(const EditCluster& part)
      : cluster(part),
        n(part.length),
        groupSize(1 << part.filterLog),
        rows(static_cast<std::size_t>(part.numSlots) * static_cast<std::size_t>(n)),
        group(n) {
    for (int i = 0; i < part.numSlots; ++i) {
      Token* const out = rows.data() + static_cast<VInt>(i) * n;
      const auto ignore = [](int) {};
      walk_positions(
          part.tokens[part.order[i]], true, [&](int pos, Token tok) { out[std::min(pos, n - 1)] = tok; },
          ignore, ignore);
    }
  }

  std::vector<int> run() {
    const bool greedy = (cluster.flags & TeraEdit::USE_GREEDY_CLUSTER) != 0;
    std::vector<int> order(static_cast<std::size_t>(cluster.numSlots));
    std::iota(order.begin(), order.end(), 0);
    if (greedy) order = grow_groups();
    if ((cluster.flags & TeraEdit::USE_FINE_CLUSTER) != 0) exchange(&order);
    return order;
  }

 private:
  const Token* row(int i) const { return rows.data() + static_cast<VInt>(i) * n; }

  std::vector<int> grow_groups() {
    const bool continuous = (cluster.flags & TeraEdit::USE_CONT_CLUSTER) != 0;
    const int most = std::min(cluster.fine, MAX_FINE) * groupSize;
    Window window(n, most + groupSize);
    std::vector<int> order;
    order.reserve(static_cast<std::size_t>(cluster.numSlots));
    int next = 0;  // the first one that has not been in the window
    const auto fill = [&] {
      for (; window.num_left() < most && next < cluster.numSlots; ++next)
        window.append(next, row(next), group.cost(row(next), n));
      return window.num_left() > 0;
    };
    const auto take = [&](int entry) {
      order.push_back(entry);
      const Token* const tokens = row(entry);
      for (int pos = 0; pos < n; ++pos)
        if (!group.has(pos, tokens[pos])) window.lower(pos, tokens[pos]);
      group.change(tokens, n, 1);
    };
    while (fill()) {
      const int first = continuous ? window.take_best() : window.take_first();
      window.start();
      group.clear();
      take(first);
      for (int k = 1; k < groupSize && fill(); ++k) take(window.take_best());
    }
    return order;
  }

  /// Between each pair of neighbouring groups, exchanges the pair of entries that saves the most tokens, as
  /// long as there is one.
  void exchange(std::vector<int>* order) {
    GroupTokens other(n);
    const int num = static_cast<int>(order->size());
    for (int first = 0; first + groupSize < num; first += groupSize) {
      int* const mine = order->data() + first;
      int* const theirs = mine + groupSize;
      const int numTheirs = std::min(groupSize, num - first - groupSize);
      fill(&group, mine, groupSize);
      fill(&other, theirs, numTheirs);
      for (int round = 0; round < MAX_EXCHANGES && exchange_one(&other, mine, theirs, numTheirs); ++round) {
      }
    }
  }
  void fill(GroupTokens* tokens, const int* entries, int num) const {
    tokens->clear();
    for (int k = 0; k < num; ++k) tokens->change(row(entries[k]), n, 1);
  }
  bool exchange_one(GroupTokens* other, int* mine, int* theirs, int num_theirs) {
    // The best entry to give away on each side; what the two share is not counted.
    const auto [give, saved] = best_to_give(group, *other, mine, groupSize);
    const auto [get, savedToo] = best_to_give(*other, group, theirs, num_theirs);
    if (saved + savedToo <= 0) return false;
    move(&group, other, *give);
    move(other, &group, *get);
    std::swap(*give, *get);
    return true;
  }
  /// The first entry of a group that saves the most tokens in the other one, and how many.
  std::pair<int*, int> best_to_give(const GroupTokens& from, const GroupTokens& to, int* entries,
                                    int num) const {
    std::pair<int*, int> best(entries, -n - 1);
    for (int* entry = entries; entry != entries + num; ++entry)
      if (const int gain = from.own(row(*entry), n) - to.cost(row(*entry), n); gain > best.second)
        best = {entry, gain};
    return best;
  }
  void move(GroupTokens* from, GroupTokens* to, int entry) const {
    from->change(row(entry), n, -1);
    to->change(row(entry), n, 1);
  }

  static constexpr int MAX_FINE = 64;
  static constexpr int MAX_EXCHANGES = 8;

  const EditCluster& cluster;
  int n;
  int groupSize;
  std::vector<Token> rows;
  GroupTokens group;
};

}  // namespace

void EditCluster::split(std::vector<EditCluster>* pieces) const {
  for (int from = 0; from < numSlots; from += MIN_PIECE) {
    EditCluster piece = *this;
    piece.order = order + from;
    piece.numSlots = std::min(MIN_PIECE, numSlots - from);
    pieces->push_back(piece);
  }
}

void EditCluster::refine() const {
  Refiner refiner(*this);
  const std::vector<Large> before(order, order + numSlots);
  const std::vector<int> after = refiner.run();
  std::transform(after.begin(), after.end(), order,
                 [&](int i) { return before[static_cast<std::size_t>(i)]; });
}

void EditCluster::run_all(std::vector<EditCluster>* jobs, int num_threads, AceReporter* rep) {
  struct Worker {};
  using Parallel = AceParallel<EditCluster, void, Worker>;
  const int threads = ace_get_trace_num_threads(num_threads);
  Parallel::map(
      jobs->data(), nullptr, static_cast<VInt>(jobs->size()), nullptr, nullptr,
      [](EditCluster* all, void*, Worker*, VInt index) { all[index].refine(); }, threads,
      threads > 1 ? nullptr : rep);
}
