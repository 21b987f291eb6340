// Conversions and comparisons of texts.

#include <cstring>

#include "tera/tera_map.h"
#include "tera/tera_scan.h"
#include "tera/tera_utf.h"

namespace {

const char* or_empty(const char* text) {
  return text != nullptr ? text : "";
}

/// `TeraMap::compare` of what the functions `next1` and `next2` give.
template <class Next1, class Next2>
int compare_tokens(const TeraMap& map, Next1 next1, Next2 next2) {
  for (;;) {
    const Token tok1 = next1();
    const Token tok2 = next2();
    if (tok1 == 0 || tok2 == 0) return (tok1 != 0 ? 1 : 0) - (tok2 != 0 ? 1 : 0);
    const bool isWild = (tok1 == TOKEN_WILDCARD || tok2 == TOKEN_WILDCARD) && map.is_operator(TOKEN_WILDCARD);
    if (tok1 != tok2 && !isWild) return tok1 - tok2;
  }
}

/// Reads one position of a pattern and tells whether it accepts `tok`.
bool accepts(TeraScan& pattern, const TeraMap& map, Token tok) {
  const auto is_accepted = [&](Token member) {
    return member == tok || (member == TOKEN_WILDCARD && map.is_operator(member));
  };
  Token member = pattern.get_next_token();
  if (member != TOKEN_ALT_START || !map.is_operator(member)) return tok != 0 && is_accepted(member);
  bool isAccepted = false;
  while ((member = pattern.get_next_token()) != 0 && member != TOKEN_ALT_STOP)
    isAccepted |= is_accepted(member);
  return tok != 0 && isAccepted;
}

}  // namespace

// ---------------------------------------------------------------- conversions

int TeraMap::convert(const char* in, Token* out, int max_tokens, bool no_glob) const {
  return TeraScan(this, in, no_glob).convert(out, max_tokens);
}

Token* TeraMap::convert(const char* in, bool no_glob, AceAttach* at) const {
  return in != nullptr ? TeraScan(this, in, no_glob).convert(at) : nullptr;
}

int TeraMap::convert_sep(const char* in, Token* out, int max_tokens, char sep, Token* sep_list,
                         bool no_glob) const {
  if (sep_list == nullptr) return -1;
  if (max_tokens < 1) return 0;
  const auto sepToken = static_cast<Token>(map_any_char(static_cast<unsigned char>(sep)));
  TeraScan scan(this, in, no_glob);
  int num = 0;
  bool isBehindSep = true;
  const char* behind = scan.get_current_pos();
  while (num < max_tokens - 1) {
    const Token tok = scan.get_next_token();
    if (tok == 0) break;
    const bool isSep = sepToken != 0 ? tok == sepToken : scan.check_skipped(sep, behind) != 0;
    sep_list[num] = isSep || isBehindSep ? 1 : 0;
    out[num++] = tok;
    isBehindSep = isSep && sepToken != 0;
    behind = scan.get_current_pos();
  }
  out[num] = 0;
  sep_list[num] = 1;
  return num;
}

char* TeraMap::convert_reverse(const Token* tokenstr, AceAttach* at) const {
  if (tokenstr == nullptr) return nullptr;
  char utf[TeraUtf::MAX_SIZE];
  long size = 0;
  for (const Token* tok = tokenstr; *tok != 0; ++tok) size += token2utf(*tok, utf);
  char* text = nullptr;
  char* out = at->malloc(text, size + 1);
  for (const Token* tok = tokenstr; *tok != 0; ++tok) out += token2utf(*tok, out);
  *out = 0;
  return text;
}

char* TeraMap::normalize(const char* in, bool no_glob, AceAttach* at) const {
  constexpr int SHORT = 256;  // which most texts are: no memory but that of the answer
  Token tokens[SHORT];
  if (in == nullptr) return nullptr;
  if (convert(in, tokens, SHORT, no_glob) < SHORT - 1) return convert_reverse(tokens, at);
  AceAttach local;
  return convert_reverse(convert(in, no_glob, &local), at);
}

int TeraMap::is_normalized(const char* str) const {
  str = or_empty(str);
  TeraScan scan(this, str, true);
  char utf[TeraUtf::MAX_SIZE];
  while (const Token tok = scan.get_next_token()) {
    const int size = token2utf(tok, utf);
    if (std::strncmp(str, utf, static_cast<std::size_t>(size)) != 0) return 0;
    str += size;
  }
  return *str == 0 ? 1 : 0;
}

// ---------------------------------------------------------------- comparisons

int TeraMap::compare(const char* in1, const char* in2, bool no_glob) const {
  TeraScan scan1(this, in1, no_glob);
  TeraScan scan2(this, in2, no_glob);
  return compare_tokens(
      *this, [&] { return scan1.get_next_token(); }, [&] { return scan2.get_next_token(); });
}

int TeraMap::compare(const Token* in1, const char* in2, bool no_glob) const {
  constexpr Token nothing = 0;
  if (in1 == nullptr) in1 = &nothing;
  TeraScan scan2(this, in2, no_glob);
  return compare_tokens(
      *this, [&] { return *in1 != 0 ? *in1++ : Token{0}; }, [&] { return scan2.get_next_token(); });
}

int TeraMap::compare_static(const TeraMap* map_or_null, const char* in1, const char* in2, bool no_glob) {
  if (map_or_null != nullptr) return map_or_null->compare(in1, in2, no_glob);
  return std::strcmp(or_empty(in1), or_empty(in2));
}

int TeraMap::is_equal(const char* s1, const char* s2) const {
  TeraScan text(this, s1, true);
  TeraScan pattern(this, s2, false);
  bool isEqual = true;
  Token tok = 0;
  while (isEqual && (tok = text.get_next_token()) != 0) isEqual = accepts(pattern, *this, tok);
  // What is left of the pattern must be nothing, and must not end in an open alternative.
  while (pattern.get_next_token() != 0) isEqual = false;
  if (pattern.is_in_alt()) return -1;
  return isEqual ? 1 : 0;
}

int TeraMap::strings_are_equal(const char* string, const char* ref) const {
  TeraScan scan1(this, string, true);
  TeraScan scan2(this, ref, true);
  for (;;) {
    const Token tok = scan1.get_next_token();
    if (tok != scan2.get_next_token()) return 0;
    if (tok == 0) return 1;
  }
}

int TeraMap::contains(const char* part, const char* whole, bool no_glob) const {
  AceAttach local;
  const Token* partTokens = TeraScan(this, part, no_glob).convert(&local);
  const Token* wholeTokens = TeraScan(this, whole, no_glob).convert(&local);
  return find_tokens(wholeTokens, partTokens) >= 0 ? 1 : 0;
}

int TeraMap::tok_len(const char* in, bool no_glob) const {
  return TeraScan(this, in, no_glob).tok_len();
}

int TeraMap::alt_len(const char* in, bool no_glob) const {
  return TeraScan(this, in, no_glob).alt_len();
}

/// Where the token string `part` occurs in `whole`; -1 if it does not.
long TeraMap::find_tokens(const Token* whole, const Token* part) {
  const char* text = reinterpret_cast<const char*>(whole);
  const char* found = std::strstr(text, reinterpret_cast<const char*>(part));
  return found != nullptr ? found - text : -1;
}
