/// The query for entries of several words, in any order.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ace/ace_attach.h"
#include "tera/tera_eval.h"
#include "tera/tera_query.h"
#include "tera/tera_words.h"

/// Each word of the query is assigned to at most one word of the entry, and the other way round, so that the
/// pairs have as many edit matches as possible. The quality is the model's for the positions of all words of
/// the query, the matches, and the positions of all words of the entry; so the model says what words without
/// a partner cost.
///
/// Words are separated by what `ace_wordsepmap` marks; those without tokens do not count. Of more than
/// `MAX_WORDS` words on a side, those behind have no partners.
class SORV_API TeraScanQuery : public TeraQuery {
 public:
  static constexpr int MAX_WORDS = 64;

  /// `options` as those of TeraStandardQuery: bit 0 reads the query without operators, bit 1 allows
  /// transpositions. The map is kept by pointer.
  TeraScanQuery(const TeraMap* map, TeraEval::Model model, const char* text, int options);
  /// From single words; null ones are left out.
  TeraScanQuery(const TeraMap* map, TeraEval::Model model, int num, const char* const* words, int options);
  ~TeraScanQuery() override;

  /// 1 when the query was built and has no words.
  int is_empty() const override;
  /// Quality of an entry; 0 for a null entry and an empty query. -1 when nothing was built: a null map, what
  /// is no model, an alternative that is empty or not closed.
  int compare(const char* entry) override;
  using TeraQuery::compare;
  bool equals(const char* entry) const override;

 private:
  void build(const std::vector<const char*>& words);

  AceAttach memAt;
  const TeraMap* mapConfig;
  TeraEval::Eval* evalFunc;
  int wordOptions;
  std::string queryText;         // the words with blanks between
  std::vector<int> wordLengths;  // those of queryWords
  int queryLength = -1;          // positions of all words; negative when nothing was built
  std::unique_ptr<TeraWords> queryWords;
};
