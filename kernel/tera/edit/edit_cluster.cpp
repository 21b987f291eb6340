#include "tera/edit/edit_cluster_internal.h"

#include <algorithm>
#include <numeric>

#include "ace/ace_parallel.h"
#include "ace/ace_reporter.h"
#include "tera/tera_edit.h"
#include "tera/text/tera_token_walk_internal.h"

namespace {

constexpr int MIN_PIECE = 1 << 14;  // slots
constexpr int NONE = -1;

/// The tokens of a group: how many of its entries have a token at a position.
class GroupTokens {
 public:
  explicit GroupTokens(int length) : counts(static_cast<std::size_t>(length) * NUM_VALUES) {}

  void clear() { std::fill(counts.begin(), counts.end(), Tiny{0}); }
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
    std::vector<int> next(static_cast<std::size_t>(cluster.numSlots) + 1);  // those that are left, as a list
    std::iota(next.begin(), next.end(), 0);                                 // next[i] is behind i - 1
    next.back() = NONE;
    std::vector<int> order;
    order.reserve(static_cast<std::size_t>(cluster.numSlots));
    while (next[0] != NONE) {
      if (!continuous) group.clear();
      take_best(&next, continuous ? window() : 1, &order);
      group.clear();
      group.change(row(order.back()), n, 1);
      for (int k = 1; k < groupSize && next[0] != NONE; ++k) take_best(&next, window(), &order);
    }
    return order;
  }

  int window() const { return std::min(cluster.fine, MAX_FINE) * groupSize; }

  /// Moves the best of the first `num` entries that are left to the group.
  void take_best(std::vector<int>* next, int num, std::vector<int>* order) {
    int best = NONE;
    int before = 0;  // place of the link to the best
    int fewest = n + 1;
    int link = 0;
    for (int k = 0; k < num && fewest > 0; ++k) {
      const int entry = (*next)[static_cast<std::size_t>(link)];
      if (entry == NONE) break;
      if (const int cost = group.cost(row(entry), n); cost < fewest) {
        fewest = cost;
        best = entry;
        before = link;
      }
      link = entry + 1;
    }
    (*next)[static_cast<std::size_t>(before)] = (*next)[static_cast<std::size_t>(best) + 1];
    group.change(row(best), n, 1);
    order->push_back(best);
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
    const auto gain = [&](const GroupTokens& from, const GroupTokens& to, int entry) {
      return from.own(row(entry), n) - to.cost(row(entry), n);
    };
    int* const give = std::max_element(mine, mine + groupSize, [&](int a, int b) {
      return gain(group, *other, a) < gain(group, *other, b);
    });
    int* const get = std::max_element(theirs, theirs + num_theirs, [&](int a, int b) {
      return gain(*other, group, a) < gain(*other, group, b);
    });
    if (gain(group, *other, *give) + gain(*other, group, *get) <= 0) return false;
    move(&group, other, *give);
    move(other, &group, *get);
    std::swap(*give, *get);
    return true;
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
