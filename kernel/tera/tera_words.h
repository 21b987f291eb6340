/// Queries of several words, all of which are measured in one pass over an entry.
///
/// The words lie one after the other in blocks of 64 positions:
///
///     query       meier|ann             positions 0 to 7
///     sepMask     1 0 0 0 0 1 0 0       the first position of every word
///     wordLength  0 0 0 0 1 0 0 1       the last one
///
/// A word is never split between blocks; one of more than 64 positions has a block and a pattern of its own,
/// in which positions from 129 on are dropped.
///
/// The measures are those of tera_measures.h, word by word. With a model the value of a word is the model's,
/// and the call returns the largest; without one it is the raw measure, and the call returns the smallest.
/// `values[i * stride]` receives the value of word i; `values` may be null. Nothing is allocated.
///
/// A word that is too long for a `TeraTokenWord` has the value -1, and counts only where there is no other
/// one. -1, and no value written: for a null entry, a query without words, and options that
/// `validate_options` refuses.
#pragma once

#include <memory>

#include "ace/ace_attach.h"
#include "ace/ace_check_type.h"
#include "tera/tera_eval.h"
#include "tera/tera_token_word.h"

class TeraMap;

class SORV_API TeraTokenWords {
 public:
  using Eval = TeraEval::Eval;

  TeraTokenWords() = default;
  TeraTokenWords(const TeraTokenWords&) = delete;
  TeraTokenWords& operator=(const TeraTokenWords&) = delete;
  ~TeraTokenWords();

  /// Compiles `num` token strings; null ones count as empty. Separators in them have no effect. Returns the
  /// number of words; -1, and no words, for a negative number, a null array, and an alternative that is empty
  /// or not closed.
  int build(int num, const Token* const* words, bool operators = true);
  /// -1 for free ends that anything matches: those that `TeraWord::validate_options` refuses, unless both
  /// suffixes are free, because then `leven` measures two halves that leave out each other's ends; else 0.
  static int validate_options(int options);
  /// Number of words in all blocks.
  int num_words() const;

  int leven(const Token* entry, Eval* eval, int options, int* values, int stride) const;
  int lcs(const Token* entry, Eval* eval, int options, int* values, int stride) const;
  int count(const Token* entry, Eval* eval, int options, int* values, int stride) const;
  /// `leven` with both ends of the entry free.
  int factor(const Token* entry, Eval* eval, int options, int* values, int stride) const;

  std::unique_ptr<TeraTokenWords> nextWords;
  Mask tokenPattern[NUM_TOKEN_VALUES] = {};
  Mask sepMask = 0;     ///< first position of every word
  Mask wordLength = 0;  ///< last position of every word
  int numWords = 0;     ///< in this block

 private:
  friend class TeraWords;
  static constexpr int MAX_WORDS = 64;

  bool add(const Token* word, int length, bool operators);
  void clear();
  /// Calls `loop` with each block and the entry's positions there; the source is copied for each.
  template <class Source, class Loop>
  int run(const Source& source, Eval* eval, int options, int* values, int stride, Loop loop) const;

  Tiny sizes[MAX_WORDS] = {};               // positions of each word, 0 included
  int numPositions = 0;                     // used in this block
  bool hasOperators = true;                 // tokens from 250 on are operators
  std::unique_ptr<TeraTokenWord> longWord;  // the only word of this block, of more than 64 positions
};

class SORV_API TeraWords : public AceCheckType<TeraWords> {
 public:
  using Eval = TeraEval::Eval;

  /// With `no_glob`, operators are ordinary characters. There are no words when `words` or `map` is null, or
  /// when an alternative is empty or not closed.
  TeraWords(int num, const char* const* words, const TeraMap* map, bool no_glob);
  /// Splits the text at the character `sep`; words without tokens are left out.
  TeraWords(const char* text, int sep, const TeraMap* map, bool no_glob);

  int num_words() const { return tokenWords.num_words(); }

  int lcs(const char* entry, Eval* eval, int options, int* values, int stride) const;
  int leven(const char* entry, Eval* eval, int options, int* values, int stride) const;
  int count(const char* entry, Eval* eval, int options, int* values, int stride) const;

  /// Assigns the words to those of a phrase, the `num` texts `entries`, so that the sum of the pairs' errors
  /// (the errors form of `model` for `lcs` with `use_lcs`, else for `leven`) is least. When not null,
  /// `assign[j]` receives the query word of entry word j (-1 for none) and `quals[j]` 255 less the pair's
  /// error (0 for none). Returns 0 when the sum is 0, else the errors form of (255 per entry word, the sum,
  /// 255 per query word). -1 for a null text, a negative number, what is no model, no words, and refused
  /// options.
  int phrase(int num, const char* const* entries, TeraEval::Model model, bool use_lcs, int options,
             int* assign, int* quals) const;

 private:
  template <class Loop>
  int run(const char* entry, Eval* eval, int options, int* values, int stride, Loop loop) const;
  void build(int num, const char* const* words, bool no_glob);

  AceAttach memAt;
  TeraTokenWords tokenWords;
  const TeraMap* mapConfig = nullptr;
};
