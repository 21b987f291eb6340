/// One recall of a multi-word index: hit lists -> weights of lines -> qualities -> candidates.
///
///     unit 1   hits by falling quality     lists     7 9 12 ...      cells   line 7: weight 1020, unit 1
///     unit 2                                         3 7 ...                 line 7: weight 2040, unit 2
///
/// In a line the best hit of a unit counts: the first one, as `lastUnit` tells. The sum is the line's weight,
/// or at least as much where units get into each other's way; then the line is evaluated. A result that wants
/// few lines gets the most promising ones, and the others are neither evaluated nor put into order; for very
/// few, only lines that are nearly perfect are looked for first, as if they alone were asked for.
#pragma once

#include <algorithm>
#include <span>
#include <string>
#include <vector>

#include "ace/ace_id_map.h"
#include "tera/multi/multi_eval_internal.h"
#include "tera/multi/multi_scratch_internal.h"

class AceReporter;
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
  int run(TeraResult* result, AceReporter* rep);
  /// With `first_and_last` set, only lines in which the first and the last word of the query have pairs.
  void set_ends(bool first_and_last) { needsEnds = first_and_last; }

 private:
  static constexpr Large SHORT_LINES = 256;
  using Place = std::vector<Found>::iterator;
  /// What a key of a unit brings a line.
  struct Share {
    Large weight;
    Tiny unit;
    Tiny isShared;  ///< it resembles another unit, too
  };
  /// A line, and the most that it may be worth.
  struct Promise {
    Large line;
    Large weight;
    Small tokens;
    Tiny numUnits;
    Tiny most;
    bool isShared;
  };
  static constexpr std::size_t NUM_KNOWN = 256;
  struct Known {
    VInt weight = -1;
    int tokens = 0;
    Tiny value = 0;
  };

  bool is_skipped(Large key) const { return std::binary_search(skipped.begin(), skipped.end(), key); }
  bool has_skip_words(Tiny unit) const;
  bool is_rare(Tiny unit) const;
  VInt count_entries(Tiny unit) const;
  bool wants_few(const TeraResult& result) const;
  int find_best(const TeraResult& result, AceReporter* rep);
  int find_all(TeraResult* result, AceReporter* rep);
  int find_lines(const TeraResult& result, int min_value);
  bool is_hopeless(const TeraResult& result) const;
  void forget();
  std::span<const Tiny> finders() const { return {order.data(), numFinders}; }
  int find_finders(int min_value);
  Tiny next_needed() const;
  void order_units();
  void count_finders(int min_value);
  int find_late();
  void sweep();
  int most_of_skip_words() const;
  int most_of_words_beyond() const;
  int most_of_weight(VInt weight, VInt weight_per_token) const;
  void sweep_rest(std::span<const Tiny> units);
  VInt most_weight(Tiny unit) const;
  void sweep_all(Tiny unit);
  void sweep_found(Tiny unit);
  void mark_found(Tiny unit);
  Share share_of(Tiny unit, const TeraMultiEval::Hit& hit) const;
  void add_list(const IdList& list, const Share& share);
  void add_to_found(const IdList& list, const Share& share);
  void look_up_found(const IdList& list, const Share& share);
  void add_share(Large line, const Share& share);
  VInt least_weight(int tokens, int min_value);
  void promise(int min_value);
  bool collect(const TeraResult& result, int min_value);
  VInt most_measured() const;
  Tiny most_value(VInt weight, int tokens);
  void fetch(std::vector<Promise>::const_iterator next) const;
  int value(const Promise& line, int min_value);
  bool evaluate(Found* found, int min_value);
  TeraMultiEval::Score score_of(const Found& found, int min_value);
  bool has_ends() const;
  void limit(const TeraResult& result);
  void refine(TeraResult* result);
  void group_by_quality();
  /// Calls `visit(first, last)` for the lines of each quality.
  template <class Visit>
  void for_each_group(Visit visit) {
    for (Place first = found.begin(), last = first; first != found.end(); first = last) {
      last =
          std::find_if(first, found.end(), [&](const Found& one) { return one.quality != first->quality; });
      visit(first, last);
    }
  }
  static VInt num_shown(const TeraResult& result, VInt size);
  void refine_one(bool shown, Found* found, AceAttach* at);
  const char* shown_line(const Found& one, bool evaluated, AceAttach* at);
  int fill(TeraResult* result);
  void add_candidate(bool evaluated, Found* found, TeraResult* result);
  void add_collection(std::span<const Found> members, TeraResult* result);

  const TeraMulti& index;
  TeraMultiEval* multiEval;
  MultiScratch* scratch;
  IdList skipped;
  std::vector<Tiny> order;     // units, from 1 on
  std::size_t numFinders = 0;  // the first ones find lines
  bool isTooMuch = false;      // there are too many entries to look at
  bool needsEnds = false;
  bool doesMatch = false;  // units get into each other's way in lines without a shared word, too
  VInt openWeight = 0;     // the most that units bring that are not looked up
  int mostLeft = 0;        // the most that a line is worth that is left out
  int mostSkipped = 0;     // the most that a line is worth that skip words did not find
  std::vector<Promise> promised;
  std::vector<Found> found;
  std::string lineText;
  std::vector<Large> lineWords;
  VInt cachedMinWeight[SHORT_LINES] = {};  // per length, 0: not known yet
  Known knownValues[NUM_KNOWN];
};
