#include "tera/tera_token_word.h"

#include "tera/measure/tera_word_alignment_internal.h"
#include "tera/measure/tera_word_loops_internal.h"
#include "tera/tera_token.h"

int TeraTokenWord::build(const Token* tokens, bool operators) {
  longVersion = nullptr;
  if (TeraPattern::build(tokens, operators) < MAX_LENGTH) return wordLength;
  auto longWord = std::make_unique<TeraQuadWord>();
  if (longWord->build(tokens, operators) <= MAX_LENGTH) return wordLength;
  TeraPattern::build(reinterpret_cast<const Token*>(""), operators);
  wordLength = longWord->wordLength;
  numWords = longWord->numWords;
  longVersion = std::move(longWord);
  return wordLength;
}

int TeraTokenWord::add_halfs(const Token* pairs) {
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
