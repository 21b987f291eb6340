#include "tera/tera_standard_query.h"

#include <algorithm>
#include <bitset>
#include <cstring>

#include "tera/tera_scan.h"

namespace {

using Options = TeraWordOptions;
using Measure = int(const TeraWord&, const char*, TeraEval::Eval*, int);

constexpr char SEPARATOR = '|';
constexpr int WORD_OPTIONS = 0x1F;
constexpr int ENTRY_PREFIX_ONLY = Options::NO_GLOB | Options::FREE_ENTRY_PREFIX;

template <auto MEASURE>
int measure(const TeraWord& word, const char* entry, TeraEval::Eval* eval, int options) {
  return (word.*MEASURE)(entry, eval, options);
}
int measure_wildcard(const TeraWord& word, const char* entry, TeraEval::Eval* eval, int options) {
  return TeraEval::PERFECT * word.wildcard(entry, eval, options);
}
int measure_scan(const TeraWord& word, const char* entry, TeraEval::Eval* eval, int options) {
  return word.scan(entry, eval, options);
}

struct ModeMeasure {
  Measure* measure;  ///< null for EXACT
  int options;
  bool hasWords;  ///< there is a form for several words
};

/// What each mode measures. SUBSET and SUPERSET are named from the query's side, their measures from the
/// entry's. SUFFIX without transpositions looks at the start of the entry; that is the system's behaviour.
ModeMeasure measure_of(TeraEval::Mode mode, bool transpose) {
  switch (mode) {
    case TeraEval::LEVENSHTEIN:
      return {measure<&TeraWord::leven>, 0x0001, true};
    case TeraEval::PREFIX:
      return {measure<&TeraWord::leven>, 0x8001, true};
    case TeraEval::SUFFIX:
      return {measure<&TeraWord::leven>, transpose ? ENTRY_PREFIX_ONLY : 0x8001, true};
    case TeraEval::FACTOR:
      return {measure<&TeraWord::leven>, 0xC001, true};
    case TeraEval::COVER:
      return {measure<&TeraWord::leven>, 0x3001, true};
    case TeraEval::CLOSE:
      return {measure<&TeraWord::leven>, 0x1001, true};
    case TeraEval::EXTEND:
      return {measure<&TeraWord::leven>, 0x2001, true};
    case TeraEval::FRONT:
      return {measure<&TeraWord::leven>, 0xA001, true};
    case TeraEval::BACK:
      return {measure<&TeraWord::leven>, 0x5001, true};
    case TeraEval::MID:
      return {measure<&TeraWord::leven>, 0xF001, true};
    case TeraEval::POSITION:
      return {measure<&TeraWord::count>, 0x0001, false};
    case TeraEval::BIPOS:
      return {measure<&TeraWord::app_count>, 0x0001, false};
    case TeraEval::SEQ:
      return {measure<&TeraWord::lcs>, 0, false};
    case TeraEval::BISEQ:
      return {measure<&TeraWord::biseq>, 0, false};
    case TeraEval::WILDCARD:
      return {measure_wildcard, 0x0001, false};
    case TeraEval::BIGRAMS:
      return {measure<&TeraWord::bigrams>, 0x1001, false};
    case TeraEval::SUBSET:
      return {measure<&TeraWord::superset>, 0x0001, false};
    case TeraEval::SUPERSET:
      return {measure<&TeraWord::subset>, 0x0001, false};
    case TeraEval::BLOCKEDIT:
      return {measure<&TeraWord::blockedit>, 0x0001, false};
    case TeraEval::SUBWORD:
      return {measure<&TeraWord::subword>, 0x0001, false};
    case TeraEval::SCAN:
      return {measure_scan, 0x0001, false};
    default:
      return {nullptr, 0, false};
  }
}

}  // namespace

TeraStandardQuery::TeraStandardQuery(const char* query, TeraEval::Mode mode, TeraEval::Model model,
                                     const TeraMap* map, int options)
    : rawQuery(memAt.attach(query)),
      mapConfig(map),
      evalMode(mode),
      evalFunc(TeraEval::get_model_func(model, 0)) {
  const bool isMode = TeraEval::get_mode_name(mode) != nullptr;
  if (query == nullptr || map == nullptr || evalFunc == nullptr || !isMode) return;
  const int asked = options & WORD_OPTIONS;
  const bool noGlob = (asked & Options::NO_GLOB) != 0;
  const ModeMeasure chosen = measure_of(mode, (asked & Options::TRANSPOSE) != 0);
  wordOptions = chosen.options | asked;
  auto word = std::make_unique<TeraWord>(query, map, noGlob);
  // EXACT reads the tokens, however many there are.
  const bool isWord = mode == TeraEval::EXACT ? map->alt_len(query, noGlob) >= 0 : word->length() >= 0;
  if (!isWord) return;
  if (!chosen.hasWords || std::strchr(query, SEPARATOR) == nullptr) {
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
  Measure* const measure = measure_of(evalMode, false).measure;
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
