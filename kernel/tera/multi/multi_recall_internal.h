/// One recall of a multi-word index: hit lists -> weights of lines -> qualities -> candidates.
///
///     unit 1   hits by falling quality     lists     7 9 12 ...      cells   line 7: weight 1020, unit 1
///     unit 2                                         3 7 ...                 line 7: weight 2040, unit 2
///
/// In a line the best hit of a unit counts: the first one, as `lastUnit` tells. The sum is the line's weight,
/// or at least as much where units get into each other's way; then the line is evaluated.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "ace/ace_id_map.h"
#include "tera/multi/multi_eval_internal.h"
#include "tera/multi/multi_scratch_internal.h"

class TeraMulti;
class TeraResult;

class MultiRecall {
 public:
  struct Found {
    Large line;
    int quality;
    VInt weight;
    int tokens;
    bool isInOrder;
    bool isAbbreviated;
    const char* shownAs;  ///< null: not made yet
  };

  MultiRecall(const TeraMulti& multi, TeraMultiEval* eval, MultiScratch* used)
      : index(multi), multiEval(eval), scratch(used) {}

  /// The lines that reach the result's least quality. Returns the number of candidates, or -1.
  int run(TeraResult* result);
  /// With `first_and_last` set, only lines in which the first and the last word of the query have pairs.
  void set_ends(bool first_and_last) { needsEnds = first_and_last; }

 private:
  static constexpr Large SHORT_LINES = 256;

  bool is_skipped(Large key) const { return std::binary_search(skipped.begin(), skipped.end(), key); }
  VInt count_entries(Tiny unit) const;
  bool may_measure(int min_value) const;
  void sweep(int min_value);
  std::vector<Tiny> order_units() const;
  std::size_t count_finders(const std::vector<Tiny>& order, int min_value) const;
  VInt most_weight(Tiny unit) const;
  void sweep_all(Tiny unit);
  void sweep_found(Tiny unit);
  void mark_found(Tiny unit);
  void add_list(const IdList& list, Tiny unit, Large weight);
  void add_to_found(const IdList& list, Tiny unit, Large weight);
  void look_up_found(const IdList& list, Tiny unit, Large weight);
  VInt least_weight(int tokens, int min_value);
  void collect(int min_value);
  bool evaluate(Found* found, int min_value);
  bool has_ends() const;
  void limit(const TeraResult& result);
  void refine(TeraResult* result);
  void refine_one(bool shown, Found* found, AceAttach* at);
  const char* shown_line(bool evaluated, AceAttach* at) const;
  int fill(TeraResult* result);
  void add_candidate(bool evaluated, Found* found, TeraResult* result);
  void add_collection(std::size_t first, std::size_t last, TeraResult* result);

  const TeraMulti& index;
  TeraMultiEval* multiEval;
  MultiScratch* scratch;
  IdList skipped;
  bool needsEnds = false;
  bool isPlain = false;  // the sum of weights is what a line is worth
  VInt openWeight = 0;   // the most that units bring that are not looked up
  std::vector<Found> found;
  std::string lineText;
  VInt cachedMinWeight[SHORT_LINES] = {};  // per length, 0: not known yet
};
