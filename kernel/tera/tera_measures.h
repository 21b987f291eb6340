/// The measures: how much of a query word is found in an entry.
///
/// `TeraTokenWord`, `TeraQuadWord` and `TeraLongWord` measure token strings, `TeraWord` texts (which it reads
/// through its map, without a copy). All take the entry, a model (tera_eval.h) and the option word below.
/// They count x, the number of query positions or entry tokens that match, and return the model's value of
/// (m, x, n), m being the positions of the query and n those of the entry. With a null model they return the
/// raw measure: x, or the distance where that is said.
///
/// The entry is read position by position as tera_token.h says: an alternative is one position that a query
/// position matches when it accepts a member, a wildcard matches every query position, and separators (253)
/// and wildcard sequences (255) are skipped. An alternative that is not closed ends with the entry.
///
/// All return -1 for a null entry and when there is no word. Nothing is allocated, and entries may have any
/// length below 2^31. The cost is proportional to the entry's tokens unless said otherwise. Thread safety:
/// any number of threads may measure with one word.
#pragma once

#include "tera/tera_eval.h"
#include "tera/tera_token_values.h"

/// Bits of the option word.
struct TeraWordOptions {
  static constexpr int NO_GLOB =
      0x0001;  ///< texts: read without operators; tokens: there are no alternatives
  static constexpr int TRANSPOSE = 0x0002;  ///< two neighbours in the wrong order are one error, or match
  static constexpr int FREE_QUERY_PREFIX = 0x1000;  ///< the query may begin with tokens that cost nothing
  static constexpr int FREE_QUERY_SUFFIX = 0x2000;  ///< the query may end with them
  static constexpr int FREE_ENTRY_PREFIX = 0x4000;  ///< the entry may begin with them
  static constexpr int FREE_ENTRY_SUFFIX = 0x8000;  ///< the entry may end with them
  static constexpr int WORD_BOUNDS = 0x1000;        ///< `bigrams`: the ends of the words count too

  static constexpr int FREE_QUERY = FREE_QUERY_PREFIX | FREE_QUERY_SUFFIX;
  static constexpr int FREE_ENTRY = FREE_ENTRY_PREFIX | FREE_ENTRY_SUFFIX;
};

/// `Word` is the class that has the measures, `Char` what its entries are made of.
template <class Word, class Char>
class SORV_API TeraMeasures {
 public:
  using Eval = TeraEval::Eval;

  /// Edit distance d: substitutions, insertions and deletions (with TRANSPOSE also swaps of neighbours
  /// between which nothing else is edited), with free ends as the options say. The raw measure is d.
  ///
  ///     free ends                   x
  ///     none                        max(m, n) - d
  ///     of the query                n - d
  ///     of the entry                m - d
  ///     of both                     min(m, n) - d
  ///     the suffixes of both        the larger x with only the entry's free ends (which wins ties) and with
  ///                                 only the query's
  ///
  /// Source: G. Myers, J. ACM 46(3), 1999; H. Hyyro, Univ. of Tampere A-2001-10 and 2003 (transpositions).
  int leven(const Char* entry, Eval* eval, int options) const;
  /// `leven` in which tokens also match where their half tokens do (`add_halfs`).
  int half_lev(const Char* entry, Eval* eval, int options) const;

  /// Positions i below 64 at which the query accepts the entry's token; with TRANSPOSE also those i where
  /// tokens i - 1 and i are accepted at i and i - 1. Here n is at most 64.
  int count(const Char* entry, Eval* eval, int options) const;
  /// Query positions that accept an entry token (of the first 64) at most one position away. 0 without asking
  /// the model when x is 0; n is at most 64.
  int app_count(const Char* entry, Eval* eval, int options) const;
  /// Longest common subsequence. Source: H. Hyyro, AWOCA 2004; L. Allison, T. Dix, IPL 23, 1986.
  int lcs(const Char* entry, Eval* eval, int options) const;
  /// Longest common subsequence of the tokens plus that of the pairs of neighbours; the model gets
  /// (2m, x, 2n). 0 when x is 0.
  int biseq(const Char* entry, Eval* eval, int options) const;
  /// Neighbours in the entry that are accepted by neighbours in the query, with TRANSPOSE in either order;
  /// the model gets (m - 1, x, n - 1). With WORD_BOUNDS the first and the last token count when they match
  /// the query's first and last, and the model gets (m + 1, x, n + 1). 0 when x is 0.
  int bigrams(const Char* entry, Eval* eval, int options) const;

  /// Whether each position accepts the entry's token at the same place, and no more is left: 1 or 0.
  /// The model plays no part.
  int match(const Char* entry, Eval* eval = nullptr, int options = 0) const;
  /// Whether the entry matches the query as a pattern, in which a wildcard sequence stands for any tokens: 1
  /// or 0. The empty entry matches the empty query alone. The model plays no part.
  int wildcard(const Char* entry, Eval* eval, int options) const;

  /// Walks over the entry with a set of reachable query positions, all of them at first. A token that
  /// reachable positions accept is a hit, and then those behind them are reachable; on a miss each reachable
  /// position also makes the next one reachable. With TRANSPOSE two tokens that a reachable position and its
  /// successor accept in the wrong order are two hits; of what is possible at a token, the most hits win, and
  /// the sets of equal ones are united. x is the number of hits; 0 when there are none.
  int subset(const Char* entry, Eval* eval, int options) const;
  /// Walks over the query: a position counts when it accepts one of the first 63 entry tokens behind the one
  /// counted last, which is then the first such. With TRANSPOSE two positions may accept two neighbouring
  /// tokens in the wrong order, which counts two; the most hits win, then the earliest place. 0 when x is 0.
  /// Costs in addition a step per pair of positions that match.
  int superset(const Char* entry, Eval* eval, int options) const;
  /// `subset` when the entry has no more positions than the query, else `superset`.
  int blockedit(const Char* entry, Eval* eval, int options) const;

  /// The query in a run of whole or partial entry words: m less the edit distance to the best run of tokens,
  /// wherever it begins and ends. Honours NO_GLOB and TRANSPOSE.
  int subword(const Char* entry, Eval* eval, int options) const;
  /// The query against every run of whole entry words: the largest max(m, length of the run) less the edit
  /// distance to it. Words begin behind separators, in texts also at and behind blanks and bars. The words
  /// [*from, *to) are the shortest such run; both are 0 for an entry without words. Honours NO_GLOB and
  /// TRANSPOSE. Costs up to 2m steps per word.
  int scan(const Char* entry, Eval* eval, int options, int* from = nullptr, int* to = nullptr) const;

 protected:
  TeraMeasures() = default;
  ~TeraMeasures() = default;

 private:
  const Word& word() const { return static_cast<const Word&>(*this); }
};
