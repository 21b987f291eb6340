/// Recall over automata: exact words, beginnings, intervals, and error-tolerant recall within a number of
/// edits.
///
///     TeraResult result("meier", 190, 100, 255);
///     automaton.recall(&result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, TeraAutoRecall::TRANSPOSE, 2, 0,
///     rep);
///
/// Measures are those of the edit index (tera_edit.h), cut at `max_edit` edits: substitutions, insertions,
/// deletions and, with TRANSPOSE, swaps of neighbours. Above 3 edits, and above as many as the query has
/// positions, no more count. CLOSE looks at whole entries. In modes that measure no edits (POSITION, SEQ,
/// SUBSET, ...) the number of edits is no limit, and all entries are measured. A recall has a budget of steps
/// (16 for each entry, at least 700,000 entries): where it ends, the result has what was found so far and is
/// marked unreliable.
///
/// With HAS_WILD, token 250 in an entry ("?") accepts any token and token 255 ("*") any run of tokens. An
/// entry with a run counts as long as the query, or as its other positions if those are more.
///
/// Candidates have their numbers, and strings, in canonical form; then aliases are added, with penalties, and
/// numbers replaced by attribute numbers, as the options say.
///
/// Errors: negative results, explained on the reporter or the default one: -1; -2 for a result without query;
/// -4 for a mode that there is no measure for.
/// Thread safety: any number of threads may recall, each with a result of its own.
/// Cost: recall of T edits visits the states that T edits of a beginning of the query lead to; with a
/// reversed automaton half of the query is walked from either end with half of the edits.
#pragma once

#include <functional>

#include "ace/ace_attach.h"
#include "tera/tera_auto_data.h"
#include "tera/tera_decompose.h"
#include "tera/tera_eval.h"
#include "tera/tera_result.h"

class AceReporter;
class TeraQuery;
class TeraScanGraph;
class TeraSplitResult;
class TeraTransform;
struct TeraAutoAsk;
class TeraAutoBudget;

/// Which of two strings may go on where the other one ends.
struct TeraAutoOp {
  enum OverlapMode : int { ENTRY = 0, LEVEN = 1, QUERY = 2 };
};

/// One direction.
class SORV_API TeraAutoRecallBasic {
 public:
  /// A run of numbers, [first, first + count).
  struct Range {
    Large first = 0;
    Large count = 0;
  };

  explicit operator bool() const { return autoData != nullptr; }
  /// The entries that begin with the tokens; all for none.
  Range beginning_with(const Token* tokens) const;
  /// The number of the first entry that is not less than the tokens; one behind the last for none.
  Large lower_bound(const Token* tokens) const;

  const TeraAutoData* autoData = nullptr;
};

/// An automaton, perhaps with that of its reversed entries.
struct SORV_API TeraBidirectAuto {
  TeraAutoRecallBasic forward;
  TeraAutoRecallBasic back;
  const int* turner = nullptr;               ///< from numbers of `back` to those of `forward`
  const TeraTransform* transform = nullptr;  ///< of the phonetic pair
};

class SORV_API TeraAutoRecall {
 public:
  enum RecallOptions : int {
    NO_OPERATORS = 1,         ///< the query has no operators
    TRANSPOSE = 2,            ///< two neighbours in the wrong order are one error
    NO_ALIASES = 4,           ///< do not add aliases
    NO_RESOLVE = 8,           ///< candidates keep their numbers
    SPLIT_UNMAPPED = 16,      ///< texts: characters without tokens separate words
    HAS_WILD = 2048,          ///< entries have wildcards
    COMPLETE_QUERY = 4096,    ///< texts: the last word may go on
    IGNORE_SEPARATOR = 8192,  ///< texts: what separates the words of a run is left out
    DONT_DEDUP = 16384,       ///< texts: an entry is a candidate on every span that finds it
    FRONT_MODE = 32768,       ///< texts: only spans that begin where the text does
    BACK_MODE = 65536,        ///< texts: only spans that end where the text does
  };
  static constexpr int KNOWN_OPTIONS = NO_OPERATORS | TRANSPOSE | NO_ALIASES | NO_RESOLVE | SPLIT_UNMAPPED |
                                       HAS_WILD | COMPLETE_QUERY | IGNORE_SEPARATOR | DONT_DEDUP |
                                       FRONT_MODE | BACK_MODE;
  static constexpr int NO_PHONETICS = 100;
  static constexpr int GENERAL_ERROR = -1;
  static constexpr int NO_QUERY = -2;
  static constexpr int UNALIGNED_MODEL = -4;
  /// Positions of a query.
  static constexpr int MAX_POSITIONS = 1023;
  /// Words of a run of a text.
  static constexpr int MAX_SCAN_WORDS = 16;

  virtual ~TeraAutoRecall();

  // What resolves candidates. Return the number of candidates, or -1.

  virtual const TeraMap* get_tera_map() const = 0;
  /// Numbers become attribute numbers. Without a map of those nothing changes, and it returns 0.
  virtual int resolve(TeraResult* result) const = 0;
  /// Numbers of the phonetic automaton become those of entries.
  virtual int resolve_phonetic(TeraResult* result) const = 0;
  /// Each alias hit costs `penalty` beside its own one.
  virtual int add_aliases(TeraResult* result, int penalty) const = 0;
  virtual int resolve(TeraScanGraph* graph) const = 0;
  virtual int resolve_phonetic(TeraScanGraph* graph) const = 0;
  virtual int add_aliases(TeraScanGraph* graph, int penalty) const = 0;

  // Queries. All return the number of candidates of the result, or a negative code.

  /// The entry with the tokens of the query, with operators or HAS_WILD all that match; quality 255.
  int exact(TeraResult* result, int options) const;
  /// Entries in order, quality 255: those that begin with the query (`prefix` not 0), or those from the query
  /// on. At most `max`, or with 0 as many as the result asks for.
  int interval(TeraResult* result, int max, int prefix, int options = NO_OPERATORS) const;
  /// Stores at most `max` entries that begin with the string, in order, and returns how many.
  int complete(const char* string, int max, char** array, AceAttach* at) const;
  /// The entries within `max_edit` edits (below 0: 0) that reach the result's least quality. An alias hit
  /// costs `alias_penalty`; `orig_weight` is the weight of spelling against sound, 100 leaves sound out.
  int recall(TeraResult* result, TeraEval::Mode mode, TeraEval::Model model, int options, int max_edit,
             int alias_penalty, AceReporter* rep, int orig_weight = NO_PHONETICS) const;
  /// `recall` in LEVENSHTEIN mode of entries whose length differs by at most `restrict_len` (0 and below: by
  /// any) from the query's; with `complete` in PREFIX mode with model SHORT, also of entries that go on where
  /// the query ends, by any length. Plain qualities.
  int recall_r(TeraResult* result, int options, int max_edit, int restrict_len, int complete,
               int alias_penalty = 0) const;
  /// Recalls every word of the query, and all of it, in LEVENSHTEIN mode; an entry has its best quality.
  /// Words end at blanks and at the bytes of `add_seps`; a word behind which a byte of `comp_markers` stands
  /// is the beginning of one. Either may be null.
  int recall_s(TeraResult* result, TeraEval::Model model, int options, int max_edit, int orig_weight,
               const char* add_seps, const char* comp_markers) const;
  /// Recalls the words, the runs of words and the whole of the graph's text, in LEVENSHTEIN mode, into the
  /// graph's edges (as `TeraEdit::scan` does). An entry stays on its best span, unless DONT_DEDUP. A graph
  /// without nodes gets those of its text, words as above; unfinished ones are looked up as PREFIX, SHORT.
  /// Returns the number of spans, or -1.
  int scan(TeraScanGraph* graph, TeraEval::Model model, int options, int max_edit,
           int orig_weight = NO_PHONETICS, const char* add_seps = nullptr,
           const char* comp_markers = nullptr) const;
  /// The query as two entries written together (tera_decompose.h), also with one byte of `separators`, which
  /// may be null, between them.
  int decompose(TeraResult* result, int min_left, int min_right, TeraEval::Model model, int options,
                int max_edit, const char* separators, AceReporter* rep) const;

 protected:
  TeraBidirectAuto mainAuto;
  TeraBidirectAuto phoneAuto;

 private:
  struct Request;
  int look(const Request& request) const;
  int measure_all(const Request& request) const;
  int find_pattern(const Request& request) const;
  int find_range(TeraResult* result, TeraAutoRecallBasic::Range range, int options) const;
  int add_phonetic(const Request& request, int min_value) const;
  int finish(const Request& request) const;
  void add_strings(TeraResult* result) const;
  template <class Use>
  int for_each_span(const TeraSplitResult& split, const Request& asked, int max_words, Use use) const;
  int recall_within(TeraResult* result, const TeraSplitResult& split, int from, int to,
                    const Request& request) const;
  int recall_span(TeraResult* result, const TeraSplitResult& split, int from, int to,
                  const Request& asked) const;
};
