/// The score of a postal code by the definition, and all alignments by recursion.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace oracle {

struct PostCodeRules {
  std::vector<int> weights;
  int zeroPenalty = 20;
  int lengthPenalty = 0;
  bool aligned = false;

  int weight(size_t pos) const { return pos < 32 ? weights[std::min(pos, weights.size() - 1)] : 0; }
};

struct PostCodeAlignment {
  int edits;
  long matched;
  long total;
};

/// Of the rest of both: the fewest edits, of those the most weight, of those the least total.
inline PostCodeAlignment align_codes(const PostCodeRules& rules, const std::string& query, size_t i,
                                     const std::string& entry, size_t j) {
  if (i == query.size() && j == entry.size()) return {0, 0, 0};
  std::vector<PostCodeAlignment> ways;
  const auto add = [&](size_t di, size_t dj, int edits, bool matches) {
    PostCodeAlignment way = align_codes(rules, query, i + di, entry, j + dj);
    const int weight = rules.weight(std::min<size_t>(j, 31));
    ways.push_back({way.edits + edits, way.matched + (matches ? weight : 0), way.total + weight});
  };
  if (i < query.size() && j < entry.size()) add(1, 1, query[i] == entry[j] ? 0 : 1, query[i] == entry[j]);
  if (i < query.size()) add(1, 0, 1, false);
  if (j < entry.size()) add(0, 1, 1, false);
  return *std::min_element(ways.begin(), ways.end(), [](const auto& a, const auto& b) {
    return std::tuple(a.edits, -a.matched, a.total) < std::tuple(b.edits, -b.matched, b.total);
  });
}

inline int score_codes(const PostCodeRules& rules, std::string query, const std::string& entry) {
  if (query.empty() || entry.empty()) return 0;
  const bool lacksZero = entry.size() == rules.weights.size() && entry[0] == '0' &&
                         query.size() + 1 == entry.size() && query[0] != '0';
  if (lacksZero) query = "0" + query;
  long matched = 0;
  long total = 0;
  if (rules.aligned) {
    const PostCodeAlignment best = align_codes(rules, query, 0, entry, 0);
    matched = best.matched;
    total = best.total;
  } else {
    for (size_t pos = 0; pos < std::max(query.size(), entry.size()); ++pos) {
      total += rules.weight(pos);
      if (pos < query.size() && pos < entry.size() && query[pos] == entry[pos]) matched += rules.weight(pos);
    }
  }
  const long difference = std::abs(static_cast<long>(query.size()) - static_cast<long>(entry.size()));
  const long quality = (total > 0 ? 255 * matched / total : 0) - (lacksZero ? rules.zeroPenalty : 0) -
                       rules.lengthPenalty * difference;
  return static_cast<int>(std::max(quality, 0L));
}

}  // namespace oracle
