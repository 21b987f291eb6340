// Positions in texts and token strings.

#include <algorithm>
#include <bit>
#include <cstring>

#include "ace/ace_reporter.h"
#include "ace/ace_str.h"
#include "tera/tera_map.h"
#include "tera/tera_scan.h"

namespace {

constexpr int KEY_BITS = 64;
constexpr int ENTRY_OPERATOR = 8;
constexpr Sequence TOKEN_MASK = 0xFF;

/// Moves a scan behind `num` more tokens, or to its end.
void skip_tokens(TeraScan& scan, int num) {
  while (num > 0 && scan.get_next_token() != 0) --num;
}

}  // namespace

const char* TeraMap::find(const char* string, int pos) const {
  TeraScan scan(this, string, true);
  skip_tokens(scan, pos);
  return scan.get_current_pos();
}

const char* TeraMap::find(const char* string, const char* end) const {
  TeraScan scan(this, string, true);
  while (scan.get_current_pos() < end && scan.get_next_token() != 0) {
  }
  return scan.get_current_pos();
}

int TeraMap::cut(const char* string, int from, int to, AceAttach* at, char** prefix, char** infix,
                 char** suffix, bool incl_unmap) const {
  char* parts[3] = {};
  if (string != nullptr) {
    TeraScan scan(this, string, true);
    const auto cut_behind = [&](int num) {
      skip_tokens(scan, num);
      return incl_unmap ? scan.get_current_pos() : scan.skip_no_token();
    };
    from = std::max(from, 0);
    const char* first = cut_behind(from);
    const char* second = to > from ? cut_behind(to - from) : first;
    if (prefix != nullptr) parts[0] = at->attach(string, first - string);
    if (infix != nullptr) parts[1] = at->attach(first, second - first);
    if (suffix != nullptr) parts[2] = at->attach(second);
  }
  if (prefix != nullptr) *prefix = parts[0];
  if (infix != nullptr) *infix = parts[1];
  if (suffix != nullptr) *suffix = parts[2];
  return string != nullptr ? 0 : -1;
}

Token* TeraMap::get_pos(Token* string, int pos) const {
  if (pos >= 0 || string == nullptr) return string;
  for (; *string != 0; ++string) {
    if (*string != TOKEN_ALT_START || !is_operator(*string)) continue;
    while (*string != TOKEN_ALT_STOP)
      if (*++string == 0) return nullptr;
  }
  return string + 1;
}

Token* TeraMap::cut_token(Token* token, int from, int to) const {
  Token* start = get_pos(token, from);
  const long count = static_cast<long>(to) - from;
  Token* end = get_pos(start, count < 0 ? -1 : 0);
  if (end == nullptr) return nullptr;
  *end = 0;
  return start;
}

int TeraMap::localize(const char* string, const char* part, int* start, int* end) const {
  AceAttach local;
  long found = -1;
  long num = 0;
  if (string != nullptr && part != nullptr) {
    const Token* tokens = convert(part, true, &local);
    num = static_cast<long>(std::strlen(reinterpret_cast<const char*>(tokens)));
    found = find_tokens(convert(string, true, &local), tokens);
  }
  if (start != nullptr) *start = static_cast<int>(found);
  if (end != nullptr) *end = found >= 0 ? static_cast<int>(found + num) : -1;
  return found >= 0 ? static_cast<int>(num) : 0;
}

int TeraMap::localize_prefix(const char* string, const char* prefix) const {
  TeraScan text(this, string, true);
  TeraScan head(this, prefix, true);
  while (const Token tok = head.get_next_token())
    if (text.get_next_token() != tok) return -1;
  text.skip_no_token();
  return text.get_current_off();
}

int TeraMap::localize_suffix(const char* string, const char* suffix) const {
  TeraScan text(this, string, true);
  TeraScan tail(this, suffix, true);
  const int before = text.tok_len() - tail.tok_len();
  if (before < 0) return -1;
  skip_tokens(text, before);
  if (!text.is_char_finished()) return -1;  // the suffix would start inside a character
  const int offset = text.get_current_off();
  while (const Token tok = tail.get_next_token())
    if (text.get_next_token() != tok) return -1;
  return offset;
}

VBit TeraMap::sort_key(const char* string, bool no_glob) const {
  const int bits = static_cast<int>(std::bit_width(static_cast<unsigned>(numToken)));
  if (bits == 0) return 0;
  TeraScan scan(this, string, no_glob);
  VBit key = 0;
  bool isTaken = false;  // the present alternative has given its token
  for (int shift = KEY_BITS - bits; shift >= 0;) {
    const Token tok = scan.get_next_token();
    if (tok == 0) break;
    if (!scan.is_in_alt()) isTaken = false;
    if (is_operator(tok) || isTaken) continue;
    isTaken = scan.is_in_alt();
    key |= VBit{tok} << shift;
    shift -= bits;
  }
  return key;
}

int TeraMap::decompose(const char* str, const char** words, int max_words, char sep, int front, int back,
                       int group, AceAttach* at, AceReporter* rep) const {
  const auto sepToken = static_cast<Token>(map_any_char(static_cast<unsigned char>(sep)));
  if (sepToken == 0) {
    rep->print("ERROR: Decomposition of string failed. Separator char must be mapped!");
    return -1;
  }
  const bool hasQuotes = group != 0 && tokenMap[static_cast<unsigned char>('"')] == 0;
  const auto is_operator_char = [this](char c) {
    const Sequence entry = tokenMap[static_cast<unsigned char>(c)];
    return (entry & TOKEN_MASK) == 0 && (entry >> ENTRY_OPERATOR & TOKEN_MASK) != 0;
  };

  // Operators are part of the words: a word of nothing but an operator is one, too.
  TeraScan scan(this, str, true);
  const char* wordStart = scan.get_current_pos();
  bool hasTokens = false;
  bool isQuoted = false;
  int num = 0;
  const auto end_word = [&](const char* end) {
    if ((hasTokens || std::any_of(wordStart, end, is_operator_char)) && num < max_words)
      words[num++] = strembed(wordStart, end - wordStart, sep, front, back, at);
    hasTokens = false;
  };
  for (;;) {
    const char* skipped = scan.get_current_pos();
    const char* next = scan.skip_no_token();
    while (hasQuotes && (skipped = std::find(skipped, next, '"')) != next) {
      end_word(skipped);
      wordStart = ++skipped;
      isQuoted = !isQuoted;
    }
    Token tok = scan.get_next_token();
    if (tok == 0 || num >= max_words) break;
    bool isSep = tok == sepToken;
    while (!scan.is_char_finished()) isSep &= scan.get_next_token() == sepToken;
    if (isSep && !isQuoted) {
      end_word(next);
      wordStart = scan.get_current_pos();
    } else {
      hasTokens |= !isSep;
    }
  }
  end_word(scan.get_current_pos());
  return num;
}
