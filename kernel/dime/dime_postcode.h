/// Field method POSTCODE: postal codes, compared position by position: what is wrong in front (the region)
/// costs more than what is wrong behind.
///
///     weights  5 4 3 2 1          quality  255 x matched weight / total weight
///     entry    8 0 0 3 1
///     query    8 0 0 1 3          (5 + 4 + 3) x 255 / 15 = 204
///
/// Query and entry are compared in the form that the map gives them; a position that only one of them has
/// counts in the total. From the last weight on all positions have that, up to 32 positions; what is behind
/// does not count. A query with '*' for any run of positions is a pattern: codes that it matches as a whole
/// have 255, others 0. An entry of exactly as many positions as there are weights that begins with 0 is
/// compared with the query and a 0 in front, at `lead_zero_pen`, where the query has one position less and
/// does not begin with 0. Only one dropped zero is put back: 123 does not find 00123. A query of up to three
/// letters, '-' or blanks, and digits ("D-10115", "CH 8001") is also compared, and looked up, without the
/// letters of the country; codes that it finds that way have 254 at most.
///
/// Recall options:
///
///     min_value, max_dist, num_cands   190, 255, 2500
///     no_glob            flag           "[" and "]" are no alternatives, '*' and '?' no wildcards
///     no_transpose       flag           look-ups: swaps are two errors
///     leven_comp         flag           positions are those of an alignment with the fewest errors, and of
///     those
///                                       one with the most matched weight; a character that only the query
///                                       has weighs as the entry's position behind it
///     restricted_length  int     2      largest difference of lengths of what is looked up, except for codes
///                                       that go on in COMPLETE; 0: any
///     auto_max_edit      int     3      errors of what is looked up
///     lead_zero_pen      int     20
///     length_pen         int     0      for each position that one has more than the other
///     eval_mode          string  LEVENSHTEIN   how errors are measured where no length is restricted
///     weight_str         string  5-4-3-2-1     1 to 32 weights from 0 on, not all 0
///
/// There are no build options. Calls: EXACT finds the code, or else codes that begin so; COMPLETE also codes
/// that go on, however far; DETECT each word of a text, with the quality of the word's
/// errors; FS_DETECT and FS_COMPLETE the codes in a text; others codes within the errors. Wherever a single
/// code is compared, its quality is that of the query object; candidates are looked up without limits, and
/// cut by those of the options afterwards. The query object of EXACT takes the code only: whether there is
/// none, so that codes count that begin so, the index knows. Results say what a code may be worth that is not
/// looked up, as it has more errors (`TeraResult::get_best_frequent`); to words of a text (DETECT) anything.
///
/// Codes with zeros in front are also kept without, as aliases. Items are numbered in sorted order, those of
/// aliases included; item 0 is the empty value. `make` for an index that serves strings returns -2, and names
/// the value, where one is not in the form that the map gives back.
///
/// Record of `save`: `TeraAuto`; then the recall options: magic PCROP, three ints (dime_recall_options.h),
/// three bools (no_glob, no_transpose, leven_comp), ints auto_max_edit, restricted_length, lead_zero_pen,
/// length_pen, mode, number of weights, their sum, 32 weights.
///
/// Thread safety: as TeraAuto. Parsing options is guarded.
#pragma once

#include <array>
#include <bitset>
#include <memory>
#include <vector>

#include "dime/dime_method.h"
#include "dime/dime_recall_options.h"
#include "tera/tera_auto.h"
#include "tera/tera_eval.h"
#include "tera/tera_query.h"
#include "tera/tera_query_kinds.h"

class AceOptionsParser;
class TeraResult;

class SORV_API DimePostCodeRecallOptions {
 public:
  static constexpr int MAX_WEIGHTS = 32;
  static constexpr int MAX_WEIGHT = 1'000'000;

  /// The parser registered under "POSTCODE".
  static AceOptionsParser* get_parser();
  /// Parses. Returns 0; -1, and nothing changes.
  int apply(const char* config_string);
  void configure(const DimePostCodeRecallOptions& other) { *this = other; }
  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

  /// "5-4-3-2-1". Returns 0; -1, reported, and the old weights stay, for what are no weights.
  int set_weights(const char* text);
  /// The weight of a position; 0 from MAX_WEIGHTS on.
  int get_weight(int pos) const {
    return pos < MAX_WEIGHTS ? weightsArray[static_cast<std::size_t>(pos)] : 0;
  }
  int get_expected_len() const { return expectedLen; }
  int get_total_weight() const { return totalWeight; }

  const DimeRecallOptions& get_primary() const { return primaryOptions; }
  bool get_no_glob() const { return noGlob; }
  bool get_no_transpose() const { return noTranspose; }
  bool get_leven_comp() const { return levenComp; }
  int get_auto_max_edit() const { return autoMaxEdit; }
  int get_restricted_length() const { return restrictedLength; }
  int get_lead_zero_penalty() const { return leadZeroPenalty; }
  int get_length_penalty() const { return lengthPenalty; }
  TeraEval::Mode get_eval_mode() const { return evalMode; }

 private:
  DimeRecallOptions primaryOptions{190, 255, 2500};
  bool noGlob = false;
  bool noTranspose = false;
  bool levenComp = false;
  int autoMaxEdit = 3;
  int restrictedLength = 2;
  int leadZeroPenalty = 20;
  int lengthPenalty = 0;
  TeraEval::Mode evalMode = TeraEval::LEVENSHTEIN;
  int expectedLen = 5;
  int totalWeight = 15;
  std::array<int, MAX_WEIGHTS> weightsArray = {5, 4, 3, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
                                               1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
};

/// Scores codes against one query.
class SORV_API PostCodeQuery : public TeraQuery {
 public:
  /// The map is kept by pointer, the options are copied; null for the query text: nothing matches.
  /// `is_exact`: whatever is another code has 0.
  PostCodeQuery(const char* query, const TeraMap* map, const DimePostCodeRecallOptions& options,
                bool is_exact = false);

  int is_empty() const override { return isGiven ? 0 : 1; }
  /// Whether there is a '*' in the query.
  bool is_pattern() const { return pattern != nullptr; }
  /// The code behind the letters of a country; "" where there are none.
  static std::string without_country(const char* query);
  /// 0 for a null or empty entry and for a null or empty query; 255 where only the map leaves nothing of
  /// both.
  int compare(const char* entry) override;
  using TeraQuery::compare;
  bool equals(const char* entry) const override;
  /// The most that a code may be worth that lies more edits away.
  int most_beyond(int edits) const;

 private:
  using Position = std::bitset<256>;
  struct Score {
    VInt matched = 0;
    VInt total = 0;
  };
  /// Tokens of an entry that are looked at; more only count as length.
  static constexpr int MAX_ENTRY = 256;

  int compare_whole(const char* entry);
  bool lacks_zero(const Token* entry, int length) const;
  Score compare_positions(const Token* entry, int length, bool padded) const;
  Score align(const Token* entry, int length, bool padded);
  bool accepts(int pos, Token token, bool padded) const;
  bool is_same(const Token* entry, int length, bool padded) const;
  int most_of_length(int length, int missing) const;

  const TeraMap* teraMap;
  DimePostCodeRecallOptions opts;
  std::string queryText;
  bool isGiven;
  bool isExact;
  Token zeroToken = 0;
  std::vector<Position> positions;  // tokens that each position accepts
  TeraQueryRef pattern;             // of a query with runs
  TeraQueryRef inCountry;           // of a query that begins with a country, what is behind
};

class SORV_API DimePostCodeMethod : public DimeMethod<DimePostCodeMethod, DimePostCodeRecallOptions> {
 public:
  static constexpr const char* NAME = "POSTCODE";
  static constexpr const char* MAGIC = "PCODE";
  static constexpr const char* RECONFIGURE =
      "config_method = dynamic_cast<const DimePostCodeMethod*> (method)";

  DimePostCodeMethod();
  ~DimePostCodeMethod() override;

  using DastBaseMethod::make;
  TeraScanGraph* lookup(const char* query, DastOptions::Call call, AceReporter* rep) const override;
  int make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) override;
  void clean() override { autoStruct.clean(); }
  const TeraMap* get_map() const override { return autoStruct.get_tera_map(); }
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;
  bool is_parallelizable() const override { return true; }

  int configure_build_options(const char* options, const TeraMap* map) override;
  TeraQuery* eval(DastOptions::Call call, const char* query, AceReporter* rep) const override;
  const char* show(Large id, AceAttach* at) const override { return autoStruct.get_string(id, at); }
  int get_num_items() const override { return static_cast<int>(autoStruct.get_capacity()); }
  int get_items(int pos, const Large** ids, AceAttach* at) const override;
  const char* get_item(int pos, AceAttach* at) const override;
  int can_sort() const override { return autoStruct.can_sort(); }

  /// The codes that match one query, resolved; the caller deletes the result. Null, reported, on errors.
  TeraResult* scan(DastOptions::Call call, const char* query, AceReporter* rep) const;
  const TeraAuto* get_auto() const { return &autoStruct; }

 private:
  int lookup_options() const;
  int most_unseen(DastOptions::Call call, const PostCodeQuery& query) const;
  int recall(DastOptions::Call call, TeraResult* result, AceReporter* rep) const;
  int find_exact(TeraResult* result) const;
  std::unique_ptr<TeraResult> reevaluate(TeraResult* result, TeraResult* more = nullptr) const;
  TeraScanGraph* detect(DastOptions::Call call, const char* text) const;

  TeraAuto autoStruct;
};

/// Makes sure that the method is known, for hosts that link statically.
SORV_API void DimePostCodeMethod_init();
