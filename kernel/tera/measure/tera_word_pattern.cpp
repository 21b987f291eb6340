#include "tera/tera_word_pattern.h"

#include <algorithm>
#include <cstring>

#include "tera/measure/tera_word_loops_internal.h"
#include "tera/tera_token.h"
#include "tera/text/tera_token_walk_internal.h"

template <class Bits>
int TeraPattern<Bits>::build(const Token* tokens, bool operators) {
  std::fill_n(tokenPattern, NUM_TOKEN_VALUES, Bits{0});
  halfPattern = nullptr;
  wordLength = -1;
  numWords = 0;
  isCut = false;
  isOpenEnded = false;
  hasOperators = operators;
  if (tokens == nullptr || (operators && TeraToken::alt_len(tokens) < 0)) return -1;

  const auto mark = [this](Token tok, int pos) {
    if (pos < MASK_SIZE<Bits>) tokenPattern[tok] |= bit_at<Bits>(pos);
  };
  Bits wildcards{0};
  int lastRun = -1;
  numWords = 1;
  const int numPositions = walk_positions(
      tokens, operators,
      [&](int pos, Token tok) {
        if (pos >= MAX_LENGTH) return;
        if (operators && tok == TOKEN_WILDCARD)
          wildcards |= bit_at<Bits>(pos);
        else
          mark(tok, pos);
      },
      [&](int pos) {
        ++numWords;
        if (pos < MAX_LENGTH) mark(TOKEN_WORD_SEP, pos);
      },
      [&](int pos) {
        if (pos <= MAX_LENGTH) mark(TOKEN_WILDSEQ, pos);
        if (pos <= MAX_LENGTH) lastRun = pos;
      });
  wordLength = std::min(numPositions, MAX_LENGTH);
  isCut = numPositions > MAX_LENGTH;
  isOpenEnded = lastRun == wordLength;
  if (!operators) return wordLength;

  if (*tokens != 0) {
    mark(TOKEN_WORD_SEP, 0);
    mark(TOKEN_WORD_SEP, wordLength);
  }
  if (has_any(wildcards))
    for (int tok = 0; tok < TOKEN_WILDCARD; ++tok) tokenPattern[tok] |= wildcards;
  tokenPattern[TOKEN_WILDCARD] = ~Bits{0};
  return wordLength;
}

template <class Bits>
int TeraPattern<Bits>::add_halfs(const Token* pairs) {
  if (wordLength < 0 || pairs == nullptr) return -1;
  const std::size_t length = std::strlen(reinterpret_cast<const char*>(pairs));
  if (length % 2 != 0) return -1;
  if (halfPattern == nullptr) {
    halfPattern = std::make_unique<Bits[]>(NUM_TOKEN_VALUES);
    std::copy_n(tokenPattern, NUM_TOKEN_VALUES, halfPattern.get());
  }
  for (; *pairs != 0; pairs += 2) halfPattern[pairs[1]] |= tokenPattern[pairs[0]];
  return static_cast<int>(length / 2);
}

template class TeraPattern<VUint>;
template class TeraPattern<QuadBit>;
template class TeraPattern<TeraLongMask>;
