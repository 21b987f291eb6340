/// A query of several words: which keys of the index resemble its units, and what a line is worth.
///
///     query   Karl Mayer            units   Karl             Mayer
///     hits    Karl 255, Carl 191    (first) Mayer 255, Meyer 204, ...
///     line    Meyer Karl            weight  4 * 255 + 5 * 204 = 2040; quality: the model of
///                                           (255 * 9, 2040, 255 * 9)
///
/// Thread safety: belongs to one thread.
#pragma once

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tera/multi/multi_match_internal.h"
#include "tera/multi/multi_rows_internal.h"
#include "tera/multi/multi_text_internal.h"
#include "tera/tera_eval.h"
#include "tera/tera_query_kinds.h"

class AceReporter;
class TeraMulti;
class TeraResult;

/// How the words of a query are recalled, and lines evaluated.
struct MultiAsk {
  int options = 0;
  TeraEval::Model model = TeraEval::SHORT;
  TeraEval::Mode mode = TeraEval::LEVENSHTEIN;
  int singleMinQual = 0;
  int singleMaxEdit = 0;
  int origWeight = 0;
  std::string markers;
};

class TeraMultiEval {
 public:
  static constexpr int MAX_PARTS = 64;

  /// A key that resembles a unit.
  struct Hit {
    Large key;
    Small quality;
    bool isAbbreviated;
  };
  struct Score {
    int quality = 0;
    VInt weight = 0;
    int tokens = 0;
    bool isInOrder = false;
    bool isAbbreviated = false;
  };

  TeraMultiEval(const TeraMulti& multi, const char* query, MultiAsk ask);
  TeraMultiEval(const TeraMultiEval&) = delete;
  TeraMultiEval& operator=(const TeraMultiEval&) = delete;

  /// Begins to look up the units in the index of words, as far as lines of that value need it: what a unit
  /// brings less than it has to in each of them is left out. -1, reported, for more than MAX_PARTS atoms and
  /// when a recall fails.
  int find_words(int min_value, AceReporter* rep);
  /// Whether words are left out: all, or those that only lines of less than the value need.
  bool is_partial() const { return isPartial; }
  /// Whether they may be.
  bool can_be_partial() const;
  /// An unfinished last word, and a single letter, resemble thousands of keys: they wait until it is clear
  /// that these are needed. Until then they are measured in each line that is scored.
  bool is_deferred(std::size_t unit) const {
    return std::find(deferred.begin(), deferred.end(), unit) != deferred.end();
  }
  bool has_deferred() const { return !deferred.empty(); }
  int find_deferred(std::size_t unit, AceReporter* rep);

  const MultiText& get_query() const { return queryParts; }
  const std::vector<Hit>& get_hits(std::size_t unit) const { return hits[unit]; }
  int num_units() const { return static_cast<int>(queryParts.get_units().size()); }
  const MultiAsk& get_ask() const { return recallAsk; }
  /// Whether the best weights of the units in a line are its weight, where no word resembles two units:
  /// nothing is joined or cut.
  bool is_plain() const;
  /// Whether any key resembles two units; and that one.
  bool has_shared_keys() const { return isByNumber ? keyRows.has_shared() : rows.has_shared(); }
  bool is_shared(Large key) const { return isByNumber ? keyRows.is_shared(key) : rows.has_shared(); }
  /// The model's value of a weight and a length; 255 stays for `is_same`.
  int value_of(VInt weight, int tokens) const;
  /// The most that a line of that length is worth where the best weights of the units add up to that.
  int most_value_of(VInt weight, int tokens) const;
  /// The least weight with which a line of that length reaches a quality; more than any weight for none.
  VInt least_weight(int tokens, int min_value) const;
  /// The same for a line of any length.
  VInt least_weight_of_any(int min_value) const;

  /// The most that a word is worth to the unit that is not looked up, as it has too many errors; 0 for none.
  int most_beyond(std::size_t unit) const { return mostBeyond[unit]; }
  /// The tokens of a key, or fewer.
  int least_tokens(Large key) const;

  /// What a line is worth. With `measured`, words that the recall did not find are measured, too.
  Score score(const char* line, bool measured);
  /// Whether words are keys, so that numbers of words tell what a line of the index is worth: without its
  /// text, which takes several times as long to read. The keys are made ready.
  bool has_numbers() const { return isByNumber; }
  void number_keys();
  /// The same as `score` for the line with those words, but that a quality of 255 is not yet checked by its
  /// text, and that less than `min_value` may be 0. There are no texts in `get_line`.
  Score score_words(const std::vector<Large>& words, int tokens, int min_value);
  /// Lets `score` know the words of a line.
  void know_words(const std::vector<Large>& words);
  /// The text that `score` has split last, and the pairs that it found.
  const MultiText& get_line() const { return lineParts; }
  const MultiMatch& get_match() const { return lineMatch; }
  /// Whether a line has the words of the query in their order.
  bool is_same(const char* line);
  /// Whether the look-up of a word ended early.
  bool is_unreliable() const { return isUnreliable; }
  /// Whether an evaluation of that line has to reach every word of the query.
  bool does_reeval() const { return doReeval; }

 private:
  bool isUnreliable = false;
  using Cell = MultiRows::Cell;
  struct Measures {
    TeraQueryRef whole;
    TeraQueryRef beginning;  ///< of longer words; null for a unit that is no abbreviation
    TeraQueryRef abbreviation;
    int tokens = 0;
  };

  void split(const char* query);
  void forget_words();
  int least_quality(std::size_t unit, VInt needed) const;
  bool are_words_keys() const;
  bool is_closed() const;
  bool can_defer(const MultiText::Unit& unit) const;
  bool is_beginning(const MultiText::Unit& unit) const;
  bool is_unfinished(const MultiText::Unit& unit) const;
  std::string abbreviated_text(const MultiText::Unit& unit) const;
  int find_unit(std::size_t unit, AceReporter* rep);
  int find_key(std::size_t unit, const char* text, TeraEval::Mode mode, TeraEval::Model model, int tokens,
               AceReporter* rep);
  bool is_wanted(TeraEval::Mode mode, const char* key, int tokens) const;
  static void sort_hits(std::vector<Hit>* list);
  int decompose_words(AceReporter* rep);
  void know_all_words();
  VInt add_pair(std::size_t unit, std::size_t line_unit, const Cell& cell);
  Score solve(const MultiText& line, int tokens);
  const Cell* measure_deferred(Large word);
  const Cell* look_up(const MultiText::Unit& unit) const;
  const Cell* find_row(const MultiText::Unit& unit, bool measured);
  void make_measures();
  const Cell* measure(const char* text, std::span<const std::size_t> units);
  const Cell* with_deferred(const MultiText::Unit& unit, const Cell* row);
  bool same_atoms() const;

  const TeraMulti& index;
  MultiAsk recallAsk;
  TeraEval::Eval* evalFunc;  // the fine form of the model
  bool doReeval;
  bool isFullReeval;
  bool isByNumber = false;
  MultiRules queryRules;
  MultiRules lineRules;
  MultiText queryParts;
  int indexedWeight = 0;  // tokens of the query
  std::string queryString;
  std::vector<std::vector<Hit>> hits;  // per unit, best first
  std::vector<int> leastQualities;     // per unit: of its hits
  std::vector<int> mostBeyond;         // per unit: of words that are not looked up
  bool isPartial = true;
  std::vector<std::size_t> allUnits;
  std::vector<std::size_t> deferred;  // units that wait
  MultiRows rows;
  bool areRowsComplete = true;
  MultiKeyRows keyRows;
  MultiKeyRows deferredRows;  // of the units that wait
  std::vector<Cell> measuredRow;
  std::vector<Measures> measures;
  MultiText lineParts;
  MultiText lineWords;
  MultiMatch lineMatch;
};
