// The score of a postal code.
#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>

#include "dime/dime_postcode.h"
#include "tera/tera_map.h"
#include "tera/tera_standard_query.h"
#include "tera/text/tera_token_walk_internal.h"

namespace {

constexpr int MAX_POSITIONS = DimePostCodeRecallOptions::MAX_WEIGHTS;
constexpr std::size_t MOST_COUNTRY = 3;  // letters
constexpr const char* LETTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

}  // namespace

PostCodeQuery::PostCodeQuery(const char* query, const TeraMap* map, const DimePostCodeRecallOptions& options,
                             bool is_exact)
    : teraMap(map),
      opts(options),
      queryText(query != nullptr ? query : ""),
      isGiven(map != nullptr && !queryText.empty()),
      isExact(is_exact) {
  if (!isGiven) return;
  if (const std::string code = without_country(query); !code.empty())
    inCountry = TeraQueryRef(new PostCodeQuery(code.c_str(), map, options, is_exact));
  AceAttach at;
  const Token* const zero = map->convert("0", true, &at);
  zeroToken = zero[0] != 0 && zero[1] == 0 ? zero[0] : Token{0};
  const bool operators =
      !opts.get_no_glob() && map->is_operator(TOKEN_WILDCARD) && map->alt_len(query, false) >= 0;
  const auto accept = [this](int pos, Token token) {
    if (positions.size() <= static_cast<std::size_t>(pos))
      positions.resize(static_cast<std::size_t>(pos) + 1);
    Position& position = positions[static_cast<std::size_t>(pos)];
    position.set(token);
    if (token == TOKEN_WILDCARD && teraMap->is_operator(token)) position.set();
  };
  bool hasRun = false;
  walk_positions(
      map->convert(query, !operators, &at), operators, accept, [](int) {}, [&](int) { hasRun = true; });
  if (hasRun)
    pattern = TeraQueryRef(new TeraStandardQuery(query, TeraEval::WILDCARD, TeraEval::QUERY, map, 0));
}

bool PostCodeQuery::equals(const char* entry) const {
  return isGiven && entry != nullptr && teraMap->strings_are_equal(queryText.c_str(), entry) != 0;
}

/// Whether the entry is the query with a zero in front that was dropped.
bool PostCodeQuery::lacks_zero(const Token* entry, int length) const {
  const int expected = opts.get_expected_len();
  return zeroToken != 0 && length == expected && static_cast<int>(positions.size()) == expected - 1 &&
         entry[0] == zeroToken && (positions.empty() || !positions[0].test(zeroToken));
}

/// Of the query, or of the query with a zero in front.
bool PostCodeQuery::accepts(int pos, Token token, bool padded) const {
  if (padded && pos == 0) return token == zeroToken;
  return positions[static_cast<std::size_t>(padded ? pos - 1 : pos)].test(token);
}

bool PostCodeQuery::is_same(const Token* entry, int length, bool padded) const {
  if (length != static_cast<int>(positions.size()) + (padded ? 1 : 0)) return false;
  const int end = std::min(length, MAX_ENTRY);
  int pos = 0;
  while (pos < end && accepts(pos, entry[pos], padded)) ++pos;
  return pos == end;
}

/// At least as many positions as edits differ; but where the query gets a zero in front one may be that.
int PostCodeQuery::most_beyond(int edits) const {
  const int length = static_cast<int>(positions.size());
  if (!isGiven || is_pattern()) return 0;
  if (length == 0 || opts.get_leven_comp() || length + edits >= MAX_POSITIONS) return TeraEval::PERFECT;
  const int padded = length + 1 == opts.get_expected_len() ? most_of_length(length + 1, edits) : 0;
  return std::max(padded, most_of_length(length, edits + 1));
}

/// Codes that miss as many positions of a query of that length, or go on behind it for some of them.
int PostCodeQuery::most_of_length(int length, int missing) const {
  std::vector<VInt> weights;
  for (int pos = 0; pos < length; ++pos) weights.push_back(opts.get_weight(pos));
  VInt total = std::accumulate(weights.begin(), weights.end(), VInt{0});
  std::sort(weights.begin(), weights.end());
  VInt most = 0;
  for (int behind = 0; behind <= missing; ++behind) {
    const VInt first = std::min(missing - behind, length);
    const VInt matched = std::accumulate(weights.begin() + first, weights.end(), VInt{0});
    if (total > 0) most = std::max(most, TeraEval::PERFECT * matched / total);
    total += opts.get_weight(length + behind);
  }
  return static_cast<int>(most);
}

PostCodeQuery::Score PostCodeQuery::compare_positions(const Token* entry, int length, bool padded) const {
  const int queryLength = static_cast<int>(positions.size()) + (padded ? 1 : 0);
  const int end = std::min(std::max(length, queryLength), MAX_POSITIONS);
  Score score;
  for (int pos = 0; pos < end; ++pos) {
    const int weight = opts.get_weight(pos);
    score.total += weight;
    if (pos < length && pos < queryLength && accepts(pos, entry[pos], padded)) score.matched += weight;
  }
  return score;
}

/// Row by row of the query; a cell has the fewest edits, then the most weight, then the least total.
PostCodeQuery::Score PostCodeQuery::align(const Token* entry, int length, bool padded) {
  struct Cell {
    int edits;
    Score score;
    bool operator<(const Cell& other) const {
      if (edits != other.edits) return edits < other.edits;
      if (score.matched != other.score.matched) return score.matched > other.score.matched;
      return score.total < other.score.total;
    }
  };
  const int m = std::min(static_cast<int>(positions.size()) + (padded ? 1 : 0), MAX_POSITIONS);
  const int n = std::min(length, MAX_POSITIONS);
  const auto more = [this](Cell cell, int edits, int pos, bool isMatch) {
    const int weight = opts.get_weight(std::min(pos, MAX_POSITIONS - 1));
    return Cell{cell.edits + edits, {cell.score.matched + (isMatch ? weight : 0), cell.score.total + weight}};
  };
  Cell row[MAX_POSITIONS + 1] = {};
  for (int j = 1; j <= n; ++j) row[j] = more(row[j - 1], 1, j - 1, false);
  for (int i = 1; i <= m; ++i) {
    Cell diagonal = row[0];
    row[0] = more(row[0], 1, 0, false);
    for (int j = 1; j <= n; ++j) {
      const bool isMatch = accepts(i - 1, entry[j - 1], padded);
      const Cell paired = more(diagonal, isMatch ? 0 : 1, j - 1, isMatch);
      diagonal = row[j];
      row[j] = std::min({paired, more(row[j], 1, j, false), more(row[j - 1], 1, j - 1, false)});
    }
  }
  return row[n].score;
}

std::string PostCodeQuery::without_country(const char* query) {
  const char* const start = query + std::strspn(query, " ");
  const std::size_t letters = std::strspn(start, LETTERS);
  const std::size_t gap = std::strspn(start + letters, "- ");
  const char* const code = start + letters + gap;
  const bool hasCountry = letters > 0 && letters <= MOST_COUNTRY && gap > 0;
  return hasCountry && *code >= '0' && *code <= '9' ? code : "";
}

int PostCodeQuery::compare(const char* entry) {
  const int whole = compare_whole(entry);
  return inCountry ? std::max(whole, std::min(inCountry->compare(entry), TeraEval::PERFECT - 1)) : whole;
}

int PostCodeQuery::compare_whole(const char* entry) {
  if (!isGiven || entry == nullptr || *entry == '\0') return 0;
  if (pattern) return pattern->compare(entry) > 0 ? TeraEval::PERFECT : 0;
  Token tokens[MAX_ENTRY];
  const int length = teraMap->convert(entry, tokens, MAX_ENTRY, true);
  if (length == 0 && positions.empty()) return TeraEval::PERFECT;
  const bool padded = lacks_zero(tokens, length);
  if (isExact && !is_same(tokens, length, padded)) return 0;
  const Score score =
      opts.get_leven_comp() ? align(tokens, length, padded) : compare_positions(tokens, length, padded);
  const int difference = std::abs(length - static_cast<int>(positions.size()) - (padded ? 1 : 0));
  VInt quality = score.total > 0 ? TeraEval::PERFECT * score.matched / score.total : 0;
  quality -= padded ? opts.get_lead_zero_penalty() : 0;
  quality -= VInt{opts.get_length_penalty()} * difference;
  return static_cast<int>(std::max<VInt>(quality, 0));
}
