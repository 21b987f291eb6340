#include "tera/tera_token.h"

#include <algorithm>
#include <bitset>
#include <cctype>
#include <charconv>
#include <cstring>
#include <string_view>

#include "ace/ace_reporter.h"

namespace {

const Token EMPTY[] = {0};

const Token* checked(const Token* tokens) {
  return tokens != nullptr ? tokens : EMPTY;
}

bool is_skipped(Token tok) {
  return tok == TOKEN_WORD_SEP || tok == TOKEN_WILDSEQ;
}

/// The 252 of the alternative that begins at `open`; null when it is not closed.
const Token* find_stop(const Token* open) {
  while (*open != 0 && *open != TOKEN_ALT_STOP) ++open;
  return *open != 0 ? open : nullptr;
}

using TokenSet = std::bitset<256>;

/// Reads the next position and the tokens it accepts; false at the end.
bool read_position(const Token*& tokens, bool no_glob, TokenSet& accepted) {
  accepted.reset();
  if (!no_glob)
    while (is_skipped(*tokens)) ++tokens;
  if (*tokens == 0) return false;
  const bool isAlternative = !no_glob && *tokens == TOKEN_ALT_START;
  if (!isAlternative) {
    accepted.set(*tokens++);
  } else {
    for (++tokens; *tokens != 0 && *tokens != TOKEN_ALT_STOP; ++tokens)
      if (!is_skipped(*tokens)) accepted.set(*tokens);
    tokens += *tokens != 0 ? 1 : 0;
  }
  if (!no_glob && accepted.test(TOKEN_WILDCARD)) accepted.set();
  return true;
}

}  // namespace

int TeraToken::alt_len(const Token* tokens) {
  int length = 0;
  for (tokens = checked(tokens); *tokens != 0; ++tokens) {
    if (is_skipped(*tokens)) continue;
    if (*tokens == TOKEN_ALT_START) {
      const Token* stop = find_stop(tokens);
      if (stop == nullptr || stop == tokens + 1) return -1;
      tokens = stop;
    }
    ++length;
  }
  return length;
}

int TeraToken::has_glob(const Token* tokens) {
  for (tokens = checked(tokens); *tokens != 0; ++tokens)
    if (*tokens >= TOKEN_WILDCARD) return 1;
  return 0;
}

Token* TeraToken::turn(const Token* tokens, AceAttach* at) {
  if (tokens == nullptr) return nullptr;
  const std::size_t length = std::strlen(reinterpret_cast<const char*>(tokens));
  Token* turned = nullptr;
  at->malloc(turned, static_cast<long>(length) + 1);
  Token* out = turned + length;
  *out = 0;
  bool isClosed = true;  // behind an alternative that is not closed none is
  while (*tokens != 0) {
    const bool isAlternative = *tokens == TOKEN_ALT_START && isClosed;
    const Token* stop = isAlternative ? find_stop(tokens) : nullptr;
    isClosed = isClosed && (stop != nullptr || !isAlternative);
    const Token* end = stop != nullptr ? stop + 1 : tokens + 1;
    out = std::copy_backward(tokens, end, out);
    tokens = end;
  }
  return turned;
}

int TeraToken::sort_alt(Token* tokens) {
  int numAlternatives = 0;
  if (tokens == nullptr) return 0;
  for (; *tokens != 0; ++tokens) {
    if (*tokens != TOKEN_ALT_START) continue;
    const Token* stop = find_stop(tokens);
    if (stop == nullptr) break;
    Token* end = tokens + (stop - tokens);
    std::sort(tokens + 1, end);
    tokens = end;
    ++numAlternatives;
  }
  return numAlternatives;
}

const Token* TeraToken::next_pos(const Token* tokens) {
  tokens = checked(tokens);
  while (is_skipped(*tokens)) ++tokens;
  if (*tokens == 0) return tokens;
  if (*tokens != TOKEN_ALT_START) return tokens + 1;
  const Token* stop = find_stop(tokens);
  return stop != nullptr ? stop + 1 : nullptr;
}

const Token* TeraToken::token_pos(const Token* tokens, int pos) {
  tokens = checked(tokens);
  if (pos < 0) return nullptr;
  for (; pos > 0; --pos) {
    while (is_skipped(*tokens)) ++tokens;
    if (*tokens == 0) return nullptr;
    tokens = next_pos(tokens);
    if (tokens == nullptr) return nullptr;
  }
  return tokens;
}

const Token* TeraToken::token_pos_reverse(const Token* tokens, int pos) {
  int length = 0;
  for (const Token* left = checked(tokens);; ++length) {
    while (is_skipped(*left)) ++left;
    if (*left == 0) break;
    left = next_pos(left);
    if (left == nullptr) return nullptr;
  }
  return pos < 0 ? nullptr : token_pos(tokens, length - pos);
}

int TeraToken::ndiffer(const Token* s1, const Token* s2, int n, bool no_glob) {
  s1 = checked(s1);
  s2 = checked(s2);
  int numDiffering = 0;
  TokenSet first;
  TokenSet second;
  for (int pos = 0; pos < n; ++pos) {
    const bool hasFirst = read_position(s1, no_glob, first);
    const bool hasSecond = read_position(s2, no_glob, second);
    if (!hasFirst && !hasSecond) break;
    numDiffering += (first & second).none() ? 1 : 0;
  }
  return numDiffering;
}

char* TeraToken::print(const Token* tokens, AceAttach* at) {
  if (tokens == nullptr) return nullptr;
  static constexpr long MAX_DIGITS_AND_BLANK = 4;
  const std::size_t length = std::strlen(reinterpret_cast<const char*>(tokens));
  char* text = nullptr;
  at->malloc(text, static_cast<long>(length) * MAX_DIGITS_AND_BLANK + 1);
  char* out = text;
  for (; *tokens != 0; ++tokens) {
    if (out != text) *out++ = ' ';
    out = std::to_chars(out, out + MAX_DIGITS_AND_BLANK, *tokens).ptr;
  }
  *out = 0;
  return text;
}

Token* TeraToken::read(const char* text, AceAttach* at) {
  if (text == nullptr) return nullptr;
  const std::string_view all(text);
  Token* tokens = nullptr;
  at->malloc(tokens, static_cast<long>(all.size()) / 2 + 2);  // each number has a digit and a blank
  Token* out = tokens;
  const char* const end = text + all.size();
  for (const char* in = text;;) {
    while (std::isspace(static_cast<unsigned char>(*in)) != 0) ++in;
    if (in == end) break;
    Token tok = 0;
    const auto [stop, error] = std::from_chars(in, end, tok);
    if (error != std::errc() || tok == 0 ||
        (stop != end && std::isspace(static_cast<unsigned char>(*stop)) == 0)) {
      AceReporter::use_default()->printf(
          "Token string expected as numbers from 1 to 255, found '%.40s' at offset %d\n", in,
          static_cast<int>(in - text));
      return nullptr;
    }
    *out++ = tok;
    in = stop;
  }
  *out = 0;
  return tokens;
}
