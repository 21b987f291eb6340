/// What an automaton is, by the definitions: how many states the minimal one has, and distances to entries
/// with wildcards.
#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "oracle/words.h"

namespace oracle {

/// Two beginnings lead to the same state when the same endings may follow. The start also accepts.
inline std::size_t minimal_states(const std::vector<std::string>& entries) {
  std::map<std::string, std::set<std::string>> endings;
  for (const std::string& entry : entries)
    for (std::size_t i = 0; i <= entry.size(); ++i) endings[entry.substr(0, i)].insert(entry.substr(i));
  endings[""].insert("");
  std::set<std::set<std::string>> states;
  for (const auto& [beginning, rest] : endings) states.insert(rest);
  return states.size();
}

/// An entry in which 250 accepts any token and 255 any run.
struct WildEntry {
  explicit WildEntry(const unsigned char* s) {
    for (; *s != 0; ++s) tokens.push_back(*s);
  }
  bool is_run(int j) const { return tokens[static_cast<std::size_t>(j)] == 255; }
  /// As long as the query when there is a run, unless its other positions are more.
  int length(int m) const {
    const int runs = static_cast<int>(std::count(tokens.begin(), tokens.end(), 255));
    const int positions = static_cast<int>(tokens.size()) - runs;
    return runs > 0 ? std::max(positions, m) : positions;
  }
  std::vector<unsigned char> tokens;
};

/// The distance with free ends, by the table; columns of runs take the least of what is above them.
inline int wild_distance(const Positions& query, const WildEntry& entry, int options) {
  const int m = query.size();
  const int n = static_cast<int>(entry.tokens.size());
  const auto accepts = [&](int i, int j) {
    const unsigned char token = entry.tokens[static_cast<std::size_t>(j)];
    const auto& position = query.tokens[static_cast<std::size_t>(i)];
    return token != 255 && (token == 250 || position.test(token) || position.test(250));
  };
  std::vector<std::vector<int>> d(static_cast<std::size_t>(m + 1),
                                  std::vector<int>(static_cast<std::size_t>(n + 1)));
  for (int j = 0; j <= n; ++j)
    for (int i = 0; i <= m; ++i) {
      int& cell = d[i][j];
      if (j == 0) {
        cell = (options & 0x1000) != 0 ? 0 : i;
      } else if (entry.is_run(j - 1)) {
        cell = i == 0 ? d[0][j - 1] : std::min(d[i - 1][j], d[i][j - 1]);
      } else if (i == 0) {
        cell = (options & 0x4000) != 0 ? 0 : d[0][j - 1] + 1;
      } else {
        cell =
            std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (accepts(i - 1, j - 1) ? 0 : 1)});
        if ((options & 2) != 0 && i >= 2 && j >= 2 && accepts(i - 1, j - 2) && accepts(i - 2, j - 1))
          cell = std::min(cell, d[i - 2][j - 2] + 1);
      }
    }
  int distance = d[m][n];
  for (int j = 0; (options & 0x8000) != 0 && j <= n; ++j) distance = std::min(distance, d[m][j]);
  for (int i = 0; (options & 0x2000) != 0 && i <= m; ++i) distance = std::min(distance, d[i][n]);
  return distance;
}

inline Edit wild_leven(const Positions& query, const WildEntry& entry, int options) {
  const int distance = wild_distance(query, entry, options);
  const int m = query.size();
  const int n = entry.length(m);
  const int length = (options & 0x3000) != 0 ? n : (options & 0xC000) != 0 ? m : std::max(m, n);
  return {distance, length - distance};
}

}  // namespace oracle
