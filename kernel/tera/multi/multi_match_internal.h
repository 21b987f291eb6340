/// The best way to give the units of a query those of a line: each atom of either side counts once.
///
///     query   Karl  Weber             pairs    Karl - Karl 255    Weber - Veber 204
///     line    Veber Hans  Karl        weight   4 * 255 + 5 * 204
///
/// In most lines no two pairs are in each other's way, and all count. Else first the best way in which the
/// order stays (dynamic programming over atoms of both sides); it is the best of all where each query atom
/// has its best pair. So is one that gives each atom its best one, if these are different. Else an assignment
/// of least cost decides (tera_bipartite.h), once for every choice of up to `MOST_JOINED` pairs of joined
/// units.
#pragma once

#include <vector>

#include "ace/ace_types.h"
#include "tera/multi/multi_text_internal.h"

class MultiMatch {
 public:
  static constexpr int MOST_JOINED = 8;

  struct Pair {
    int query;  ///< unit
    int line;   ///< unit
    int quality;
    bool isAbbreviated;
    VInt weight;
  };

  void clear() { pairs.clear(); }
  /// In ascending order of line units.
  void add(const Pair& pair) { pairs.push_back(pair); }
  bool empty() const { return pairs.empty(); }
  /// Finds the best way; then the following hold.
  void solve(const MultiText& query, const MultiText& line);

  VInt get_weight() const { return bestWeight; }
  bool is_in_order() const { return isInOrder; }
  /// Whether each query atom has a pair.
  bool is_complete() const { return isComplete; }
  const std::vector<Pair>& get_chosen() const { return chosen; }

 private:
  struct Span {
    int queryFirst, queryLast, lineFirst, lineLast;
  };

  static bool is_joined(const Span& span) {
    return span.queryLast - span.queryFirst > 1 || span.lineLast - span.lineFirst > 1;
  }
  Span span_of(const Pair& pair) const;
  bool take_all();
  void number_line_atoms();
  VInt solve_in_order();
  void trace_order();
  VInt upper_bound();
  bool take_best_ones(VInt bound);
  void list_joined();
  void choose_joined(std::size_t next, VInt weight);
  void assign_rest(VInt weight);
  bool is_free(const Span& span) const;
  void occupy(const Span& span, bool taken);
  bool covers_query() const;

  const MultiText* queryText = nullptr;
  const MultiText* lineText = nullptr;
  std::vector<Pair> pairs;
  std::vector<Pair> chosen;
  VInt bestWeight = 0;
  bool isInOrder = true;
  bool isComplete = false;
  int numQuery = 0;
  int numLine = 0;             // line atoms that occur in pairs
  std::vector<int> lineAtoms;  // per line atom its number among these; -1 for none
  std::vector<VInt> order;     // best weight of the first i query atoms and j line atoms
  std::vector<VInt> bestOf;    // per query atom
  std::vector<Pair> joined;    // pairs of joined units
  std::vector<Pair> taken;     // while choosing
  std::vector<char> queryTaken;
  std::vector<char> lineTaken;
};
