/// Character transitions: how likely each token follows the one (or the two) before it, learned from words.
///
///     TeraTransition model(&map, 1);
///     model.make("names.txt");
///     model.eval("miller") < model.eval("mlielr")      improbable sequences get high scores
///
/// Counts are exact; their logarithms are kept as levels, about four times the binary logarithm: a level is
/// the number of thresholds 4 5 6 7 8 10 12 14 17 20 24 28 34 40 48 ... that the count has reached. Scoring
/// adds and subtracts levels only. With n the number of tokens of the map, token n is the border of a word.
///
///     text              border  m  i  l  border        before, previous and token of a triple:
///     pair counted          b m  m i  i l  l b          b b m   b m i   m i l   i l b   l b b
///
/// The score is the sum over all tokens of level(previous) - level(pair), the end of the word among them.
/// With triples level(previous) - level(triple) is added for each and, at the end, level(border) - level of
/// the triple (last token, border, border), and the sum is divided by 3. A character without token, as
/// operators count here, leaves the sequence as it is and adds the level of the number of words.
///
/// Payload of `save` ("TRANS"), in order; arrays and rows are aligned to 8:
///
///     magic        TRANS
///     hasTriple    int             0 or 1
///     map          TeraMap         numToken is n
///     totalCnt     int             words, twice that with triples
///     totalLog     char            its level
///     tokenCnt     (n + 1) x 4     how often a token is the previous one
///     tokenLog     n + 1           their levels, 0..110, as below
///     transCnt, transLog           for each previous token a row of counts (x 4) and a row of levels
///     gap          n + 1           zeros
///     tripleCnt, tripleLog         with triples: the same for each token two back and each previous one
///
/// Errors: -1, explained on the default reporter, and the model is empty. Reading throws as `AceFile` does
/// where a mapping ends early.
/// Thread safety: a model that nobody changes may be asked by any number of threads.
/// Memory: 5 bytes a pair, (n + 1)^2 of them, and 5 bytes a triple, (n + 1)^3.
#pragma once

#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "ace/ace_wrap.h"
#include "tera/tera_map.h"

class SORV_API TeraTransition : public AceWrap, public AceAttach {
 public:
  /// Without tokens, to be read.
  TeraTransition() = default;
  /// An empty model over a copy of the map; with `has_triple` it counts triples, too.
  TeraTransition(const TeraMap* map, int has_triple) : tokenMap(map), hasTriple(has_triple != 0 ? 1 : 0) {}

  /// Forgets what was counted.
  void clean();
  /// Enters the strings of a file of entry lines (tera_reader.h). Returns 0; -1 for a line that is none.
  /// Throws an `AceException` when there is no such file.
  int make(const char* file);
  /// Enters one string; null is an empty one. Returns 0; -1 for a mapped model.
  int stat(const char* text);
  /// How improbable the string is. 0 as long as the model has seen fewer than 4 strings, 2 with triples.
  int eval(const char* text) const;

  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;

  const TeraMap* get_map() const { return &tokenMap; }
  /// Counts of sequence ends, and of one token behind another; the number of tokens is the border.
  int get_total() const { return totalCnt; }
  int get_count(int previous, int token) const;

 private:
  using Level = signed char;
  /// The rows of a table, in memAt or in the mapping.
  struct Rows {
    std::vector<int*> counts;
    std::vector<Level*> levels;
  };

  std::size_t border() const { return static_cast<std::size_t>(tokenMap.num_token()); }
  std::size_t triple_row(std::size_t before, std::size_t previous) const {
    return before * (border() + 1) + previous;
  }
  bool is_empty() const { return tokenCnt.counts.empty(); }

  template <class OnToken>
  void for_each_token(const char* text, OnToken on_token) const;
  void allocate();
  void allocate(Rows* rows, std::size_t num_rows);
  void count_pair(std::size_t before, std::size_t previous, std::size_t token);
  bool read_rows(Rows* rows, std::size_t num_rows, AceFile* file);
  const char* read_tables(AceFile* file);
  void save_rows(const Rows& rows, AceFile* file) const;

  AceAttach memAt;  // holds the tables, unless they lie in a mapping
  TeraMap tokenMap;
  int hasTriple = 0;
  int totalCnt = 0;
  Level totalLog = 0;
  Rows tokenCnt;   // one row
  Rows transCnt;   // by previous token
  Rows tripleCnt;  // by `triple_row`
  int isMapped = 0;
};
