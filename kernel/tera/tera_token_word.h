/// A query word compiled for measuring token strings.
#pragma once

#include "ace/ace_attach.h"
#include "tera/tera_long_word.h"
#include "tera/tera_measures.h"
#include "tera/tera_quad_word.h"
#include "tera/tera_word_pattern.h"

/// Up to 63 positions are kept in masks of 64 bits; a longer word is built as `longVersion` or, from 129
/// positions on, as `longestVersion`, to which every measure then goes. More than `MAX_POSITIONS` are no
/// word.
class SORV_API TeraTokenWord : public TeraPattern<VUint>, public TeraMeasures<TeraTokenWord, Token> {
 public:
  static constexpr int MAX_POSITIONS = TeraLongWord::MAX_LENGTH;

  /// As the pattern's `build` and `add_halfs`, for up to `MAX_POSITIONS`; -1 for more.
  int build(const Token* tokens, bool operators = true);
  int add_halfs(const Token* pairs);

  /// The edit sequence of a best alignment for `leven` with these options, in `at`, through `edit_seq`
  /// (which may be null), in the signs of tera_word_result.h. Returns the model's value; with a null model
  /// the match value x. -1 for a null entry and when there is no word. Takes some 64 bytes per entry token.
  int sequence(const Token* entry, TeraEval::Eval* eval, int options, const char** edit_seq,
               AceAttach* at) const;

  /// Calls `use` with the pattern that holds the word.
  template <class Use>
  decltype(auto) visit(Use use) const {
    if (longestVersion != nullptr) return use(*longestVersion);
    return longVersion != nullptr ? use(*longVersion) : use(*this);
  }

  std::unique_ptr<TeraQuadWord> longVersion;
  std::unique_ptr<TeraLongWord> longestVersion;

 private:
  friend class TeraMeasures<TeraTokenWord, Token>;
  template <class Word>
  void take_from(const Word& longer);
  template <class Loop>
  int run(const Token* entry, int options, Loop loop, bool half = false) const;
};

extern template class TeraMeasures<TeraTokenWord, Token>;
