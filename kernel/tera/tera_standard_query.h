/// The query for one word and many entries: a mode decides what is measured, a model what it is worth.
#pragma once

#include <memory>

#include "ace/ace_attach.h"
#include "tera/tera_eval.h"
#include "tera/tera_query.h"
#include "tera/tera_word.h"
#include "tera/tera_words.h"

/// Several words with bars between are measured word by word in the edit modes (LEVENSHTEIN to EXTEND, FRONT,
/// BACK and MID), and the best word counts; in the other modes they are one word.
class SORV_API TeraStandardQuery : public TeraQuery {
 public:
  /// The low five bits of `options` are word options: bit 0 reads the query without operators, bit 1 allows
  /// transpositions. The map is kept by pointer.
  TeraStandardQuery(const char* query, TeraEval::Mode mode, TeraEval::Model model, const TeraMap* map,
                    int options);

  /// 1 when the query was built and has no tokens.
  int is_empty() const override;
  /// Quality of an entry; 0 for a null entry and an empty query. -1 when nothing was built: a null query or
  /// map, an alternative that is empty or not closed (in several words, also one with a bar in it), what is
  /// no mode or no model, and except in EXACT mode more than `TeraTokenWord::MAX_POSITIONS` positions. Where
  /// a model leaves 0..255, as the raw ones do for long entries and most for the repeated pairs of BIGRAMS,
  /// the nearer end counts.
  ///
  /// In EXACT mode 255 or 0: the tokens must be equal one by one, where a wildcard on either side matches one
  /// token, an alternative each of its members, and the query's wildcard sequence any rest of the entry.
  int compare(const char* entry) override;
  using TeraQuery::compare;
  bool equals(const char* entry) const override;

  /// The query as it was given; null when it was null.
  const char* get_query() const { return rawQuery; }

 private:
  int measure_entry(const char* entry) const;
  int compare_exact(const char* entry) const;

  AceAttach memAt;
  const char* rawQuery;
  const TeraMap* mapConfig;
  TeraEval::Mode evalMode;
  TeraEval::Eval* evalFunc;
  int wordOptions = 0;
  std::unique_ptr<TeraWord> singleWord;
  std::unique_ptr<TeraWords> multiWords;
};
