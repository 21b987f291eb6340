// A query and an entry, read through one of a few maps, in all measures: against the definitions when both
// are short, else for the sanitizers alone.
//
// Paths to reach: words of up to 63, 64 to 128 and more positions; alternatives, wildcards, separators and
// runs on both sides; words that cannot be built; all free ends; several words, and phrases.
#include "tera/tera_word.h"

#include <cstdlib>
#include <memory>
#include <string>

#include "oracle/words.h"
#include "support/fuzz_input.h"
#include "tera/tera_map_config.h"
#include "tera/tera_standard_query.h"
#include "tera/tera_token.h"
#include "tera/tera_words.h"

namespace {

using fuzz::require;

constexpr int MAX_ORACLE = 24;

int tell(int query, int match, int entry) {
  return (query * 512 + match) * 4096 + entry;
}
int tell_any(int query, int match, int entry) {
  return match == 0 ? 0 : tell(query, match, entry);
}

std::unique_ptr<TeraMap> make_map(bool folded) {
  TeraMapConfig config("utf-8");
  config.set_tokens(folded ? "a-z0-9 " : "a-e\u00E4\u4E00");
  if (folded) {
    config.map_lower();
    config.expand_umlauts();
  }
  config.map_specials('[', ']', '?', '*', '|', '!');
  return std::unique_ptr<TeraMap>(config.compile());
}

const TeraMap* choose_map(int choice) {
  static const std::unique_ptr<TeraMap> plain = make_map(false);
  static const std::unique_ptr<TeraMap> folded = make_map(true);
  return choice == 0 ? plain.get() : choice == 1 ? folded.get() : TeraMap::get_ident_map();
}

void compare_with_oracle(const TeraWord& word, const char* entry, int options) {
  AceAttach at;
  const oracle::Positions query(word.get_token_string());
  const oracle::Positions positions(word.get_map()->convert(entry, (options & 1) != 0, &at),
                                    (options & 1) == 0);
  if (query.size() > MAX_ORACLE || positions.size() > MAX_ORACLE) return;
  const oracle::Matrix accepts(query, positions);
  const int m = accepts.m;
  const int n = accepts.n;
  const bool transpose = (options & 2) != 0;
  const oracle::Edit edit = oracle::leven(accepts, options);
  require(word.leven(entry, nullptr, options) == edit.distance);
  require(word.leven(entry, tell, options) == tell(m, edit.match, n));
  require(word.count(entry, tell, options) == tell(m, oracle::count(accepts, transpose), n));
  require(word.app_count(entry, tell, options) == tell_any(m, oracle::app_count(accepts), n));
  require(word.lcs(entry, tell, options) == tell(m, oracle::lcs(accepts), n));
  require(word.biseq(entry, tell, options) == tell_any(2 * m, oracle::biseq(accepts), 2 * n));
  const bool bounds = (options & 0x1000) != 0;
  const int ends = bounds ? 1 : -1;
  require(word.bigrams(entry, tell, options) ==
          tell_any(m + ends, oracle::bigrams(accepts, transpose, bounds), n + ends));
  require(word.match(entry, nullptr, options) == (oracle::match(accepts) ? 1 : 0));
  require(word.wildcard(entry, nullptr, options) == (oracle::wildcard(accepts, query.runs) ? 1 : 0));
  require(word.subset(entry, tell, options) == tell_any(m, oracle::subset(accepts, transpose), n));
  require(word.superset(entry, tell, options) == tell_any(m, oracle::superset(accepts, transpose), n));
  require(word.subword(entry, tell, options) == tell(m, oracle::subword(accepts, transpose), n));
}

void mark_and_localize(const TeraWord& word, const char* entry, int options) {
  AceAttach at;
  TeraWordResult result;
  int from = 0;
  int to = 0;
  word.scan(entry, tell, options, &from, &to);
  require(from >= 0 && from <= to);
  const int value = word.localize(entry, nullptr, options, &result);
  require(value < 0 || std::string(result.inputPrefix) + result.inputMatch + result.inputSuffix == entry);
  for (char* marked : {word.leven_mark(entry, options, &at), word.count_mark(entry, options, &at),
                       word.lcs_mark(entry, options, &at), word.subset_mark(entry, options, &at),
                       word.subword_mark(entry, options, &at), word.scan_mark(entry, options, &at)})
    require(value < 0 || std::string(marked).size() >= std::string(entry).size());
  const char* marked = nullptr;
  word.wordMatch(word.get_map()->convert(entry, false, &at), &from, &to, options, &marked, &at);
  Token* tokens = nullptr;
  Token* bounds = nullptr;
  word.convert_and_word_bounds(entry, options, &tokens, &bounds, &at);
}

void compare_words(const TeraWord& word, const char* query, const char* entry, int options) {
  const TeraMap* map = word.get_map();
  const TeraWords words(query, '|', map, true);
  if (words.num_words() == 1 && std::string(query).find('|') == std::string::npos) {
    const TeraWord alone(query, map, true);
    require(words.lcs(entry, tell, options, nullptr, 1) ==
            (TeraTokenWords::validate_options(options) < 0 ? -1 : alone.lcs(entry, tell, options)));
  }
  const char* phrase[] = {entry, query, entry};
  int assign[3];
  int quals[3];
  words.phrase(3, phrase, TeraEval::MAXIMUM, (options & 2) != 0, options, assign, quals);
  TeraWord::mcmp(query, entry, map, TeraEval::UNION, options);
  for (int mode = TeraEval::EXACT; mode <= TeraEval::SCAN; ++mode)
    TeraStandardQuery(query, static_cast<TeraEval::Mode>(mode), TeraEval::PARTIAL, map, options)
        .compare(entry);
}

void walk(const Token* tokens) {
  AceAttach at;
  Token* copy = TeraToken::turn(tokens, &at);
  TeraToken::sort_alt(copy);
  const std::string text = TeraToken::print(copy, &at);
  require(TeraToken::print(TeraToken::read(text.c_str(), &at), &at) == text);
  const int length = TeraToken::alt_len(tokens);
  if (length >= 0) require(TeraToken::token_pos(tokens, length) != nullptr);
  TeraToken::token_pos_reverse(tokens, 1);
  TeraToken::ndiffer(tokens, copy, 1000, false);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  if (size < 3) return 0;
  const TeraMap* map = choose_map(data[0] % 4);
  const int options = (data[1] & 3) | (data[1] >> 4) * 0x1000;
  const std::string texts(reinterpret_cast<const char*>(data + 3), size - 3);
  const std::string query = texts.substr(0, texts.find('\n')).c_str();
  const std::string entry = query.size() < texts.size() ? texts.substr(query.size() + 1).c_str() : "";
  const TeraWord word(query.c_str(), map, (data[2] & 1) != 0);
  if (word.length() >= 0 && map->is_operator(TOKEN_WILDCARD))
    compare_with_oracle(word, entry.c_str(), options);
  mark_and_localize(word, entry.c_str(), options);
  compare_words(word, query.c_str(), entry.c_str(), options);
  walk(reinterpret_cast<const Token*>(texts.c_str()));
  return 0;
}
