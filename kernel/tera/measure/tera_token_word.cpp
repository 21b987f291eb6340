#include "tera/tera_token_word.h"

#include "tera/measure/tera_word_alignment_internal.h"
#include "tera/measure/tera_word_loops_internal.h"
#include "tera/tera_token.h"

int TeraTokenWord::build(const Token* tokens, bool operators) {
  longVersion = nullptr;
  longestVersion = nullptr;
  TeraPattern::build(tokens, operators);
  if (!isCut) return wordLength;
  TeraPattern::build(reinterpret_cast<const Token*>(""), operators);
  longVersion = std::make_unique<TeraQuadWord>();
  longVersion->build(tokens, operators);
  if (!longVersion->isCut) {
    take_from(*longVersion);
    return wordLength;
  }
  longVersion = nullptr;
  longestVersion = std::make_unique<TeraLongWord>();
  longestVersion->build(tokens, operators);
  if (longestVersion->isCut) {
    longestVersion = nullptr;
    return TeraPattern::build(nullptr, operators);
  }
  take_from(*longestVersion);
  return wordLength;
}

template <class Word>
void TeraTokenWord::take_from(const Word& longer) {
  wordLength = longer.wordLength;
  numWords = longer.numWords;
}

int TeraTokenWord::add_halfs(const Token* pairs) {
  if (longestVersion != nullptr) return longestVersion->add_halfs(pairs);
  return longVersion != nullptr ? longVersion->add_halfs(pairs) : TeraPattern::add_halfs(pairs);
}

int TeraTokenWord::sequence(const Token* entry, TeraEval::Eval* eval, int options, const char** edit_seq,
                            AceAttach* at) const {
  if (edit_seq != nullptr) *edit_seq = nullptr;
  if (entry == nullptr || wordLength < 0) return -1;
  const TeraAlignment alignment(*this, entry, options);
  if (edit_seq != nullptr) *edit_seq = alignment.copy_signs(at);
  return alignment.value(eval);
}

template <class Loop>
int TeraTokenWord::run(const Token* entry, int options, Loop loop, bool half) const {
  if (entry == nullptr || wordLength < 0) return -1;
  return visit(
      [&](const auto& pattern) { return run_on(pattern, TeraTokenSource(entry), options, half, loop); });
}

template class TeraMeasures<TeraTokenWord, Token>;
