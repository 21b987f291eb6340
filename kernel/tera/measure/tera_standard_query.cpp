#include "tera/tera_standard_query.h"

#include <algorithm>
#include <bitset>
#include <cstring>

#include "tera/measure/mode_table_internal.h"
#include "tera/tera_scan.h"

namespace {

using Options = TeraWordOptions;

constexpr char SEPARATOR = '|';
constexpr int WORD_OPTIONS = 0x1F;

}  // namespace

TeraStandardQuery::TeraStandardQuery(const char* query, TeraEval::Mode mode, TeraEval::Model model,
                                     const TeraMap* map, int options)
    : rawQuery(memAt.attach(query)),
      mapConfig(map),
      evalMode(mode),
      evalFunc(TeraEval::get_model_func(model, 0)) {
  const TeraModeRow* const row = tera_mode_row(mode);
  if (query == nullptr || map == nullptr || evalFunc == nullptr || row == nullptr) return;
  const int asked = options & WORD_OPTIONS;
  const bool noGlob = (asked & Options::NO_GLOB) != 0;
  wordOptions = asked | ((asked & Options::TRANSPOSE) != 0 ? row->transposedOptions : row->options);
  auto word = std::make_unique<TeraWord>(query, map, noGlob);
  // EXACT reads the tokens, however many there are.
  const bool isWord = mode == TeraEval::EXACT ? map->alt_len(query, noGlob) >= 0 : word->length() >= 0;
  if (!isWord) return;
  if (!row->hasWords || std::strchr(query, SEPARATOR) == nullptr) {
    singleWord = std::move(word);
    return;
  }
  auto words = std::make_unique<TeraWords>(query, SEPARATOR, map, noGlob);
  // No words in spite of an alternative: the bar is inside it, and none of the words closes it.
  const auto* tokens = reinterpret_cast<const char*>(word->get_token_string());
  if (words->num_words() > 0 || std::strchr(tokens, TOKEN_ALT_START) == nullptr)
    multiWords = std::move(words);
}

int TeraStandardQuery::is_empty() const {
  if (multiWords != nullptr) return multiWords->num_words() == 0 ? 1 : 0;
  return singleWord != nullptr && *singleWord->get_token_string() == 0 ? 1 : 0;
}

int TeraStandardQuery::compare(const char* entry) {
  if (multiWords == nullptr && singleWord == nullptr) return -1;
  if (entry == nullptr || is_empty() != 0) return 0;
  return std::clamp(measure_entry(entry), 0, TeraEval::PERFECT);
}

bool TeraStandardQuery::equals(const char* entry) const {
  return mapConfig != nullptr && rawQuery != nullptr && entry != nullptr &&
         mapConfig->strings_are_equal(rawQuery, entry) != 0;
}

int TeraStandardQuery::measure_entry(const char* entry) const {
  if (multiWords != nullptr) return multiWords->leven(entry, evalFunc, wordOptions, nullptr, 1);
  TeraModeRow::Measure* const measure = tera_mode_row(evalMode)->measure;
  return measure != nullptr ? measure(*singleWord, entry, evalFunc, wordOptions) : compare_exact(entry);
}

namespace {

using TokenSet = std::bitset<256>;

/// Reads the next position of a token string or a scan: a token, or the members of an alternative. False at
/// the end; at a wildcard sequence of the query `isRun` is set.
class PositionReader {
 public:
  explicit PositionReader(bool operators) : hasOperators(operators) {}

  template <class Next>
  bool read(Next next, TokenSet& accepted, bool* isRun) const {
    accepted.reset();
    for (;;) {
      const Token tok = next();
      if (tok == 0) return false;
      if (hasOperators && tok == TOKEN_WILDSEQ && isRun != nullptr) {
        *isRun = true;
        return true;
      }
      if (hasOperators && is_skipped(tok)) continue;
      accepted.set(tok);
      if (!hasOperators) return true;
      if (tok == TOKEN_ALT_START) read_members(next, accepted);
      if (accepted.test(TOKEN_WILDCARD)) accepted.set();
      return true;
    }
  }

 private:
  static bool is_skipped(Token tok) { return tok == TOKEN_WORD_SEP || tok == TOKEN_WILDSEQ; }

  template <class Next>
  static void read_members(Next next, TokenSet& accepted) {
    accepted.reset();
    for (Token tok; (tok = next()) != 0 && tok != TOKEN_ALT_STOP;)
      if (!is_skipped(tok)) accepted.set(tok);
  }

  bool hasOperators;
};

}  // namespace

int TeraStandardQuery::compare_exact(const char* entry) const {
  const PositionReader reader(mapConfig->is_operator(TOKEN_WILDCARD));
  const Token* query = singleWord->get_token_string();
  TeraScan scan(mapConfig, entry, (wordOptions & Options::NO_GLOB) != 0);
  const auto nextOfQuery = [&query] { return *query != 0 ? *query++ : Token{0}; };
  const auto nextOfEntry = [&scan] { return scan.get_next_token(0); };
  TokenSet wanted;
  TokenSet found;
  for (;;) {
    bool isRun = false;
    const bool hasQuery = reader.read(nextOfQuery, wanted, &isRun);
    if (isRun) return TeraEval::PERFECT;
    const bool hasEntry = reader.read(nextOfEntry, found, nullptr);
    if (hasQuery != hasEntry) return 0;
    if (!hasQuery) return TeraEval::PERFECT;
    if ((wanted & found).none()) return 0;
  }
}
