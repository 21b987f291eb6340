#include "tera/tera_map_config.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_escape.h"
#include "ace/ace_string.h"
#include "tera/tera_charset.h"
#include "tera/tera_map.h"
#include "tera/tera_utf.h"

namespace {

constexpr int NUM_ASCII = 128;
constexpr int NUM_BYTES = 256;
constexpr int TOKEN_BITS = 8;
constexpr Sequence TOKEN_MASK = 0xFF;
constexpr int ENTRY_OPERATOR = 8;
constexpr long RANGE_BYTES = 126;  // that `strset` makes of one hyphen, at most
constexpr const char* SET_ERROR = "Error in token set\n";

[[noreturn]] void throw_broken_set(const char* set) {
  throw AceException(SET_ERROR, "Token Set: %s", set);
}

int decode_member(const char*& pos, const char* set) {
  int uni = 0;
  pos += TeraUtf::to_uni(&uni, pos);
  if (uni == 0) throw_broken_set(set);
  return uni;
}

/// Calls `use` with each character of a UTF-8 set, in its order. What starts an item stands for itself, a
/// hyphen too; one that follows it is a range if there is a character behind.
template <class Use>
void for_each_in_set(const char* set, Use use) {
  for (const char* pos = set; *pos != 0;) {
    const int first = decode_member(pos, set);
    int last = first;
    if (pos[0] == '-' && pos[1] != 0) last = decode_member(++pos, set);
    if (last < first) throw_broken_set(set);
    for (int uni = first; uni <= last; ++uni) use(uni);
  }
}

/// The bytes of a set for a code page.
std::vector<unsigned char> bytes_of_set(const char* set) {
  const long hyphens = std::count(set, set + std::strlen(set), '-');
  std::string bytes(std::strlen(set) + static_cast<std::size_t>(RANGE_BYTES * hyphens) + 1, '\0');
  const int num = strset(set, bytes.data());
  if (num < 0) throw_broken_set(set);
  return {bytes.begin(), bytes.begin() + num};
}

int length_of(Sequence seq) {
  int num = 0;
  for (; seq != 0; seq >>= TOKEN_BITS) ++num;
  return num;
}

/// Appends the tokens of `more` as far as there is room; false when there was not enough.
bool append(Sequence& seq, Sequence more) {
  const int num = length_of(seq);
  if (num < MAX_SEQUENCE) seq |= more << (TOKEN_BITS * num);
  return num + length_of(more) <= MAX_SEQUENCE;
}

/// Operators and the characters that they usually have.
constexpr std::pair<Token, char> OPERATORS[] = {{TOKEN_WILDCARD, '?'}, {TOKEN_ALT_START, '['},
                                                {TOKEN_ALT_STOP, ']'}, {TOKEN_WORD_SEP, '|'},
                                                {TOKEN_ALT_SEG, '!'},  {TOKEN_WILDSEQ, '*'}};

bool is_ordinary(Sequence entry) {
  return (entry & TOKEN_MASK) != 0;
}

}  // namespace

TeraMapConfig::TeraMapConfig(const char* charset) : uniMap(tera_get_charset_map(charset)) {
  for (const auto& [tok, c] : OPERATORS) indexMap[tok] = std::max(code_of(c), 0);
}

TeraMapConfig::~TeraMapConfig() = default;

// ---------------------------------------------------------------- tokens
// New tokens make all mappings void, for these name tokens by their numbers.

int TeraMapConfig::set_tokens(const char* set) {
  if (set == nullptr || *set == 0) {
    set_ascii_tokens();
    return numToken;
  }
  return uniMap != nullptr ? set_page_tokens(set) : set_utf_tokens(set);
}

int TeraMapConfig::add_token(const char* tok) {
  if (tok == nullptr || *tok == 0) return -1;
  int c = static_cast<unsigned char>(*tok);
  if (uniMap == nullptr) TeraUtf::to_uni(&c, tok);
  if (c == 0) return -1;
  set_uni_token(c);
  return numToken;
}

/// Starts anew but for operators: what was mapped before referred to other tokens.
void TeraMapConfig::set_ascii_tokens() {
  std::ranges::replace_if(
      tokenMap, [](Sequence entry) { return is_ordinary(entry) || entry == TeraMap::LEAD_BYTE; }, 0U);
  std::fill_n(indexMap, MAX_TOKEN_NUMBERS, 0);
  tempMap.reset();
  for (int c = 0; c < NUM_ASCII; ++c) {
    tokenMap[c] = static_cast<Sequence>(c);
    indexMap[c] = c;
  }
  numToken = NUM_ASCII;
}

int TeraMapConfig::set_utf_tokens(const char* set) {
  for_each_in_set(set, [this](int uni) { set_uni_token(uni); });
  return numToken;
}

int TeraMapConfig::set_page_tokens(const char* set) {
  bool isToken[NUM_BYTES] = {};
  for (const unsigned char byte : bytes_of_set(set)) {
    if (isToken[byte] || is_token(byte)) throw AceException(SET_ERROR, "Double Token: %c", byte);
    isToken[byte] = true;
  }
  for (int byte = 1; byte < NUM_BYTES; ++byte)
    if (isToken[byte]) set_uni_token(byte);
  return numToken;
}

bool TeraMapConfig::is_token(int c) const {
  return std::find(indexMap + 1, indexMap + numToken, c) != indexMap + numToken;
}

/// Makes a character (of the code page, a byte) the next token; one that is a token stays it.
void TeraMapConfig::set_uni_token(int uni) {
  if (is_token(uni)) return;
  if (numToken >= MAX_TOKEN_NUMBERS)
    throw AceException("Cannot set any more tokens. Maximal number of tokens is 250");
  indexMap[numToken] = uni;
  enter_uni_mapping(static_cast<Sequence>(numToken), uni);
  ++numToken;
}

// ---------------------------------------------------------------- entries
// What bytes cannot tell (characters of several) waits in a map by code point until the map is compiled.

void TeraMapConfig::enter_mapping(Sequence seq, int from) {
  tokenMap[from] = seq;
  if (seq <= TOKEN_MASK && indexMap[seq] == 0) indexMap[seq] = from;
}

/// In a code page, `uni` is the byte.
void TeraMapConfig::enter_uni_mapping(Sequence seq, int uni) {
  if (uniMap != nullptr || TeraUtf::uni_size(uni) == 1) {
    enter_mapping(seq, uni);
    return;
  }
  if (tempMap == nullptr) tempMap = std::make_unique<UniMap>();
  tokenMap[TeraUtf::get_first(uni)] = TeraMap::LEAD_BYTE;
  (*tempMap)[static_cast<VUint>(uni)] = seq;
}

/// The ordinary tokens of a character (of the code page, a byte); 0 when it has none.
Sequence TeraMapConfig::mapping_of(int c) const {
  if (c <= 0) return 0;
  if (c < (uniMap != nullptr ? NUM_BYTES : NUM_ASCII)) return is_ordinary(tokenMap[c]) ? tokenMap[c] : 0;
  if (uniMap != nullptr || tempMap == nullptr) return 0;
  return std::as_const(*tempMap)(static_cast<VUint>(c));
}

/// The mapping of a code point, which in a code page is that of its byte.
Sequence TeraMapConfig::mapping_of_uni(int uni) const {
  return mapping_of(code_of(uni));
}

/// What entries are made for: the code point; in a code page its byte, or -1 when it has none.
int TeraMapConfig::code_of(int uni) const {
  return uniMap != nullptr ? byte_of(uni) : uni;
}

/// The byte of a code point in the code page; -1 when it has none.
int TeraMapConfig::byte_of(int uni) const {
  if (uni > 0)
    for (int byte = 1; byte < NUM_BYTES; ++byte)
      if (uniMap[byte] == uni) return byte;
  return -1;
}

// ---------------------------------------------------------------- mappings
// A target is read as the tokens that its characters have by now: later steps build on earlier ones.

int TeraMapConfig::set_map(const char* target, const char* chars) {
  if (target == nullptr || chars == nullptr) return 0;
  return uniMap != nullptr ? set_page_map(target, chars) : set_utf_map(target, chars);
}

int TeraMapConfig::set_utf_map(const char* target, const char* chars) {
  const Sequence seq = get_sequence(target);
  int num = 0;
  if (seq != 0)
    for_each_in_set(chars, [&](int uni) {
      enter_uni_mapping(seq, uni);
      ++num;
    });
  return num;
}

int TeraMapConfig::set_page_map(const char* target, const char* chars) {
  const Sequence seq = get_sequence(target);
  int num = 0;
  if (seq != 0)
    for (const unsigned char byte : bytes_of_set(chars)) {
      enter_mapping(seq, byte);
      ++num;
    }
  return num;
}

/// The tokens of the characters of `target`, the first four.
Sequence TeraMapConfig::get_sequence(const char* target) const {
  Sequence seq = 0;
  bool isWhole = true;
  for (const char* pos = target; *pos != 0;) {
    int c = static_cast<unsigned char>(*pos);
    pos += uniMap != nullptr ? 1 : TeraUtf::to_uni(&c, pos);
    isWhole &= append(seq, mapping_of(c));
  }
  if (isWhole) return seq;
  if (uniMap != nullptr) throw AceException("Error in token mapping\n", "Sequence too long: %s", target);
  AceString text;
  text.print("Substitution sequences is longer than 4 characters:%s\n", target);
  AceReporter::print_static(text.clean());
  return seq;
}

/// Maps a code point, if the character set has it, to the first tokens of `target`, which is ASCII. Returns
/// the number mapped.
int TeraMapConfig::map_character(int uni, const char* target) {
  const int c = code_of(uni);
  Sequence seq = 0;
  for (; *target != 0; ++target) append(seq, mapping_of_uni(*target));
  if (c <= 0 || seq == 0) return 0;
  enter_uni_mapping(seq, c);
  return 1;
}

/// The first tokens of the mappings of `num` code points.
Sequence TeraMapConfig::join(const int* unis, int num) const {
  Sequence seq = 0;
  for (int i = 0; i < num; ++i) append(seq, mapping_of_uni(unis[i]));
  return seq;
}

// ---------------------------------------------------------------- operators
// An operator has its token above the lowest byte of its entry, which is 0: that tells it from ordinary
// tokens.

void TeraMapConfig::set_operator(Token tok, int c) {
  tokenMap[c] = static_cast<Sequence>(tok) << ENTRY_OPERATOR;
  indexMap[tok] = c;
}

int TeraMapConfig::map_glob_chars(int force) {
  if (const int bar = code_of('|'); bar > 0) tokenMap[bar] = 0;
  for (const auto& [tok, usual] : OPERATORS) {
    const int c = code_of(usual);
    if (tok != TOKEN_WORD_SEP && tok != TOKEN_ALT_SEG && c > 0 && (force != 0 || tokenMap[c] == 0))
      set_operator(tok, c);
  }
  return 0;
}

int TeraMapConfig::map_globs(const char* globs) {
  if (globs == nullptr) return map_glob_chars(0);
  const bool hasAlternatives = std::strpbrk(globs, "[]") != nullptr;
  for (const auto& [tok, usual] : OPERATORS) {
    const bool isAltMark = tok == TOKEN_ALT_START || tok == TOKEN_ALT_STOP;
    const bool isChosen = isAltMark ? hasAlternatives : std::strchr(globs, usual) != nullptr;
    if (const int c = code_of(usual); isChosen && c > 0) set_operator(tok, c);
  }
  return 0;
}

int TeraMapConfig::map_specials(Token alt_start, Token alt_stop, Token wildcard, Token wildseq,
                                Token word_sep, Token alt_seg) {
  if (alt_start == 0) return 0;
  const char* const bracket = std::strchr("[{(", alt_start);
  const auto partner = static_cast<Token>(alt_start == '[' ? ']' : alt_start == '{' ? '}' : ')');
  if (bracket != nullptr && alt_stop == 0) alt_stop = partner;
  if (alt_stop == 0 || (bracket != nullptr && alt_stop != partner)) return -1;
  const std::pair<Token, Token> choices[] = {{TOKEN_ALT_START, alt_start}, {TOKEN_ALT_STOP, alt_stop},
                                             {TOKEN_WILDCARD, wildcard},   {TOKEN_WILDSEQ, wildseq},
                                             {TOKEN_WORD_SEP, word_sep},   {TOKEN_ALT_SEG, alt_seg}};
  for (const auto& [tok, c] : choices)
    if (uniMap == nullptr && c >= NUM_ASCII) return -1;
  for (const auto& [tok, c] : choices)
    if (c != 0) set_operator(tok, c);
  return 0;
}

// ---------------------------------------------------------------- results
// A compiled map keeps sequences by position in an index of code points, which come in ascending order.

int TeraMapConfig::compile_map(TeraMap* map) const {
  if (map == nullptr) return -1;
  map->clean();
  map->numToken = numToken;
  std::ranges::copy(tokenMap, map->tokenMap);
  std::ranges::copy(indexMap, map->indexMap);
  if (tempMap == nullptr) return 0;
  BlockIndex& index = map->blockIndex;
  tempMap->for_each([&](VUint uni, unsigned) { return index.in_order_count(static_cast<Large>(uni)); });
  const VInt num = index.prepare();
  auto* sequences = static_cast<Sequence*>(map->memAt.calloc(num * VInt{sizeof(Sequence)}));
  tempMap->for_each([&](VUint uni, unsigned seq) {
    sequences[index.in_order_insert(static_cast<Large>(uni))] = seq;
    return 0;
  });
  index.finish();
  map->unicodeMap = sequences;
  map->index_two_bytes();
  return 0;
}

TeraMap* TeraMapConfig::compile() {
  if (numToken < 2) set_tokens(nullptr);
  return new TeraMap(this);
}
