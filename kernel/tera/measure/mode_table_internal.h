/// What is known of each mode, one row a mode: how it is called, what a single word measures for it, and what
/// the edit index must know of its measure.
///
/// Thread safety: constants.
#pragma once

#include <iterator>

#include "tera/tera_eval.h"
#include "tera/tera_word.h"

struct TeraModeRow {
  using Measure = int(const TeraWord& word, const char* entry, TeraEval::Eval* eval, int options);

  /// What the model gets for query length m, measure x and entry length n.
  enum Form : char {
    PLAIN,    ///< (m, x, n)
    COUNTED,  ///< (m, x, min(n, 64)): positions from 65 on are not compared
    DOUBLED,  ///< (2m, x, 2n): tokens and pairs
    PAIRS,    ///< (m + 1, x, n + 1): pairs, and the ends
    PATTERN,  ///< no model: it matches or not
  };
  /// The largest measure.
  enum Largest : char {
    NOT_INDEXED,      ///< the edit index has no such measure
    SHORTER,          ///< min(m, n)
    SHORTER_COUNTED,  ///< min(m, n, 64)
    NEIGHBOURS,       ///< min(m, min(n, 64) + 1)
    BOTH_SEQUENCES,   ///< 2 min(m, n) - 1
    ENTRY_PAIRS,      ///< n + 1: an entry may repeat the query's pairs
    ONE,
  };
  /// What a step of its measure costs, in cells of the table of edit distances.
  struct Cost {
    int plain;
    int transposed;
  };

  TeraEval::Mode mode;
  const char* name;
  TeraEval::Model defaultModel;
  Measure* measure;       ///< null for EXACT
  int options;            ///< of the measure
  int transposedOptions;  ///< the same where the query allows transpositions
  bool hasWords;          ///< there is a form for several words
  Form form;
  Largest largest;
  bool isWalk;     ///< takes the first match that it finds, so that more tokens can make it smaller
  bool isAligned;  ///< warned about in an index whose lengths share sections
  Cost cost;

  /// No entry has a larger measure than the shorter length, and the model gets the lengths as they are: what
  /// `TeraEval::limit_lengths` assumes.
  bool has_plain_lengths() const { return form == PLAIN && largest == SHORTER; }
};

namespace tera_modes {

using Row = TeraModeRow;

template <auto MEASURE>
int measure(const TeraWord& word, const char* entry, TeraEval::Eval* eval, int options) {
  return (word.*MEASURE)(entry, eval, options);
}
inline int measure_wildcard(const TeraWord& word, const char* entry, TeraEval::Eval* eval, int options) {
  return TeraEval::PERFECT * word.wildcard(entry, eval, options);
}
inline int measure_scan(const TeraWord& word, const char* entry, TeraEval::Eval* eval, int options) {
  return word.scan(entry, eval, options);
}

/// A mode of edit distances with some ends free.
constexpr Row edit_row(TeraEval::Mode mode, const char* name, TeraEval::Model model, int options,
                       int transposed_options, bool is_aligned = true) {
  return {mode,         name,
          model,        measure<&TeraWord::leven>,
          options,      transposed_options,
          true,         Row::PLAIN,
          Row::SHORTER, false,
          is_aligned,   {1, 2}};
}

inline constexpr int ENTRY_PREFIX_ONLY = TeraWordOptions::NO_GLOB | TeraWordOptions::FREE_ENTRY_PREFIX;

/// In the order of the enum. SUBSET and SUPERSET are named from the query's side, their measures from the
/// entry's. SUFFIX without transpositions looks at the start of the entry; that is the system's behaviour.
inline constexpr Row TABLE[] = {
    {TeraEval::EXACT,
     "EXACT",
     TeraEval::MAXIMUM,
     nullptr,
     0,
     0,
     false,
     Row::PATTERN,
     Row::NOT_INDEXED,
     false,
     true,
     {1, 1}},
    edit_row(TeraEval::LEVENSHTEIN, "LEVENSHTEIN", TeraEval::MAXIMUM, 0x0001, 0x0001, false),
    edit_row(TeraEval::PREFIX, "PREFIX", TeraEval::SHORT, 0x8001, 0x8001),
    edit_row(TeraEval::SUFFIX, "SUFFIX", TeraEval::SHORT, 0x8001, ENTRY_PREFIX_ONLY),
    edit_row(TeraEval::FACTOR, "FACTOR", TeraEval::SHORT, 0xC001, 0xC001),
    edit_row(TeraEval::COVER, "COVER", TeraEval::LONG, 0x3001, 0x3001),
    edit_row(TeraEval::CLOSE, "CLOSE", TeraEval::LONG, 0x1001, 0x1001),
    edit_row(TeraEval::EXTEND, "EXTEND", TeraEval::LONG, 0x2001, 0x2001),
    {TeraEval::POSITION,
     "POSITION",
     TeraEval::MAXIMUM,
     measure<&TeraWord::count>,
     0x0001,
     0x0001,
     false,
     Row::COUNTED,
     Row::SHORTER_COUNTED,
     false,
     false,
     {1, 2}},
    {TeraEval::BIPOS,
     "BIPOS",
     TeraEval::MAXIMUM,
     measure<&TeraWord::app_count>,
     0x0001,
     0x0001,
     false,
     Row::COUNTED,
     Row::NEIGHBOURS,
     false,
     false,
     {1, 1}},
    {TeraEval::SEQ,
     "SEQ",
     TeraEval::MAXIMUM,
     measure<&TeraWord::lcs>,
     0,
     0,
     false,
     Row::PLAIN,
     Row::SHORTER,
     false,
     false,
     {1, 1}},
    {TeraEval::BISEQ,
     "BISEQ",
     TeraEval::MAXIMUM,
     measure<&TeraWord::biseq>,
     0,
     0,
     false,
     Row::DOUBLED,
     Row::BOTH_SEQUENCES,
     false,
     true,
     {2, 2}},
    {TeraEval::WILDCARD,
     "WILDCARD",
     TeraEval::QUERY,
     measure_wildcard,
     0x0001,
     0x0001,
     false,
     Row::PATTERN,
     Row::ONE,
     false,
     false,
     {1, 1}},
    edit_row(TeraEval::FRONT, "FRONT", TeraEval::PARTIAL, 0xA001, 0xA001),
    edit_row(TeraEval::BACK, "BACK", TeraEval::PARTIAL, 0x5001, 0x5001),
    edit_row(TeraEval::MID, "MID", TeraEval::PARTIAL, 0xF001, 0xF001),
    {TeraEval::BIGRAMS,
     "BIGRAMS",
     TeraEval::MAXIMUM,
     measure<&TeraWord::bigrams>,
     0x1001,
     0x1001,
     false,
     Row::PAIRS,
     Row::ENTRY_PAIRS,
     false,
     true,
     {1, 2}},
    {TeraEval::SUBSET,
     "SUBSET",
     TeraEval::QUERY,
     measure<&TeraWord::superset>,
     0x0001,
     0x0001,
     false,
     Row::PLAIN,
     Row::SHORTER,
     true,
     true,
     {1, 2}},
    {TeraEval::SUPERSET,
     "SUPERSET",
     TeraEval::ENTRY,
     measure<&TeraWord::subset>,
     0x0001,
     0x0001,
     false,
     Row::PLAIN,
     Row::SHORTER,
     true,
     true,
     {1, 2}},
    {TeraEval::BLOCKEDIT,
     "BLOCK",
     TeraEval::PARTIAL,
     measure<&TeraWord::blockedit>,
     0x0001,
     0x0001,
     false,
     Row::PLAIN,
     Row::SHORTER,
     true,
     true,
     {1, 2}},
    {TeraEval::SUBWORD,
     "SUBWORD",
     TeraEval::ENTRY,
     measure<&TeraWord::subword>,
     0x0001,
     0x0001,
     false,
     Row::PLAIN,
     Row::NOT_INDEXED,
     false,
     true,
     {1, 1}},
    {TeraEval::SCAN,
     "SCAN",
     TeraEval::MAXIMUM,
     measure_scan,
     0x0001,
     0x0001,
     false,
     Row::PLAIN,
     Row::NOT_INDEXED,
     false,
     true,
     {1, 1}},
};
static_assert(std::size(TABLE) == TeraEval::NUM_MODES);
static_assert([] {
  for (int mode = 0; mode < TeraEval::NUM_MODES; ++mode)
    if (TABLE[mode].mode != mode) return false;
  return true;
}());

}  // namespace tera_modes

/// Null for what is no mode.
constexpr const TeraModeRow* tera_mode_row(TeraEval::Mode mode) {
  return mode >= 0 && mode < TeraEval::NUM_MODES ? &tera_modes::TABLE[mode] : nullptr;
}
