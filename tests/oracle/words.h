/// Textbook forms of the word measures, on positions that accept sets of tokens.
#pragma once

#include <algorithm>
#include <bitset>
#include <set>
#include <vector>

namespace oracle {

/// A token string as its positions.
struct Positions {
  std::vector<std::bitset<256>> tokens;
  std::vector<int> runs;        // positions in front of which a wildcard sequence stands
  std::vector<int> wordStarts;  // behind a separator

  explicit Positions(const unsigned char* s, bool alternatives = true) {
    while (*s != 0) {
      if (*s == 255) runs.push_back(size());
      if (*s == 253) wordStarts.push_back(size());
      if (*s == 255 || *s == 253) {
        ++s;
        continue;
      }
      std::bitset<256> set;
      if (*s == 251 && alternatives) {
        for (++s; *s != 0 && *s != 252; ++s)
          if (*s != 253 && *s != 255) set.set(*s);
        if (*s != 0) ++s;
      } else {
        set.set(*s++);
      }
      tokens.push_back(set);
    }
  }
  int size() const { return static_cast<int>(tokens.size()); }
  /// What the compiled word keeps.
  void truncate(int length) {
    if (size() > length) tokens.resize(static_cast<size_t>(length));
  }
};

/// Which query position accepts which entry position.
struct Matrix {
  int m, n;
  std::vector<char> cells;

  Matrix(const Positions& query, const Positions& entry)
      : m(query.size()), n(entry.size()), cells(static_cast<size_t>(m) * static_cast<size_t>(n)) {
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j) cells[index(i, j)] = accepts(query.tokens[i], entry.tokens[j]);
  }
  bool operator()(int i, int j) const {
    return i >= 0 && j >= 0 && i < m && j < n && cells[index(i, j)] != 0;
  }
  /// Whether query positions i - 1 and i accept entry tokens j and j - 1.
  bool swapped(int i, int j) const { return (*this)(i - 1, j) && (*this)(i, j - 1); }

 private:
  size_t index(int i, int j) const { return static_cast<size_t>(i) * n + static_cast<size_t>(j); }
  static bool accepts(const std::bitset<256>& query, const std::bitset<256>& entry) {
    if (entry.test(250) || (query & entry).any()) return true;
    if (!query.test(250)) return false;
    for (int tok = 0; tok < 250; ++tok)
      if (entry.test(tok)) return true;
    return false;
  }
};

struct Edit {
  int distance, match;
};

/// The table of edit distances with free starts.
struct EditTable {
  int m, n;
  std::vector<int> d;

  EditTable(const Matrix& accepts, int options, int from = 0, int to = -1)
      : m(accepts.m), n((to < 0 ? accepts.n : to) - from), d(static_cast<size_t>(m + 1) * (n + 1)) {
    for (int i = 0; i <= m; ++i)
      for (int j = 0; j <= n; ++j) {
        int& cell = at(i, j);
        if (i == 0 || j == 0) {
          cell = i == 0 ? ((options & 0x4000) != 0 ? 0 : j) : ((options & 0x1000) != 0 ? 0 : i);
          continue;
        }
        cell = std::min(
            {at(i - 1, j) + 1, at(i, j - 1) + 1, at(i - 1, j - 1) + (accepts(i - 1, from + j - 1) ? 0 : 1)});
        if ((options & 2) != 0 && i >= 2 && j >= 2 && accepts.swapped(i - 1, from + j - 1))
          cell = std::min(cell, at(i - 2, j - 2) + 1);
      }
  }
  int& at(int i, int j) { return d[static_cast<size_t>(i) * (n + 1) + static_cast<size_t>(j)]; }

  /// With at most one free end.
  Edit result(int options) {
    int distance = at(m, n);
    if ((options & 0x8000) != 0)
      for (int j = 0; j <= n; ++j) distance = std::min(distance, at(m, j));
    if ((options & 0x2000) != 0)
      for (int i = 0; i <= m; ++i) distance = std::min(distance, at(i, n));
    const bool query = (options & 0x3000) != 0;
    const bool entry = (options & 0xC000) != 0;
    const int length = query && entry ? std::min(m, n) : query ? n : entry ? m : std::max(m, n);
    return {distance, length - distance};
  }
};

inline Edit leven(const Matrix& accepts, int options) {
  if ((options & 0xA000) != 0xA000) return EditTable(accepts, options).result(options);
  const Edit ofEntry = leven(accepts, options & ~0x3000);
  const Edit ofQuery = leven(accepts, options & ~0xC000);
  return ofEntry.match >= ofQuery.match ? ofEntry : ofQuery;
}

inline int count(const Matrix& accepts, bool transpose) {
  int hits = 0;
  for (int i = 0; i < std::min(accepts.n, 64); ++i)
    hits += accepts(i, i) || (transpose && i > 0 && accepts.swapped(i, i)) ? 1 : 0;
  return hits;
}

inline int app_count(const Matrix& accepts) {
  int hits = 0;
  for (int p = 0; p < accepts.m; ++p) {
    bool found = false;
    for (int i = std::max(0, p - 1); i <= std::min({p + 1, accepts.n - 1, 63}); ++i) found |= accepts(p, i);
    hits += found ? 1 : 0;
  }
  return hits;
}

inline int common(int m, int n, const auto& accepts) {
  std::vector<std::vector<int>> length(static_cast<size_t>(m + 1),
                                       std::vector<int>(static_cast<size_t>(n + 1)));
  for (int i = 1; i <= m; ++i)
    for (int j = 1; j <= n; ++j)
      length[i][j] =
          accepts(i - 1, j - 1) ? length[i - 1][j - 1] + 1 : std::max(length[i - 1][j], length[i][j - 1]);
  return length[m][n];
}
inline int lcs(const Matrix& accepts) {
  return common(accepts.m, accepts.n, accepts);
}
inline int biseq(const Matrix& accepts) {
  const auto pairs = [&](int i, int j) { return accepts(i, j) && accepts(i + 1, j + 1); };
  return lcs(accepts) + common(std::max(accepts.m - 1, 0), std::max(accepts.n - 1, 0), pairs);
}

inline int bigrams(const Matrix& accepts, bool transpose, bool bounds) {
  int hits = 0;
  for (int j = 1; j < accepts.n; ++j) {
    bool found = false;
    for (int i = 1; i < accepts.m; ++i)
      found |= (accepts(i - 1, j - 1) && accepts(i, j)) || (transpose && accepts.swapped(i, j));
    hits += found ? 1 : 0;
  }
  if (bounds) hits += (accepts(0, 0) ? 1 : 0) + (accepts(accepts.m - 1, accepts.n - 1) ? 1 : 0);
  return hits;
}

inline bool match(const Matrix& accepts) {
  bool all = accepts.m == accepts.n;
  for (int i = 0; i < accepts.m && all; ++i) all = accepts(i, i);
  return all;
}

inline bool wildcard(const Matrix& accepts, const std::vector<int>& runs) {
  const auto hasRun = [&](int i) { return std::find(runs.begin(), runs.end(), i) != runs.end(); };
  if (accepts.n == 0) return accepts.m == 0 && runs.empty();
  std::set<int> behind = {0};
  for (int j = 0; j < accepts.n; ++j) {
    std::set<int> next;
    for (const int i : behind) {
      if (accepts(i, j)) next.insert(i + 1);
      if (hasRun(i)) next.insert(i);
    }
    behind = next;
  }
  return behind.count(accepts.m) != 0;
}

/// In each state: the hits so far and the positions reachable with them.
inline int subset(const Matrix& accepts, bool transpose) {
  struct State {
    int hits;
    std::set<int> reachable;
  };
  std::vector<State> states(1);
  for (int i = 0; i < accepts.m; ++i) states[0].reachable.insert(i);
  for (int j = 0; j < accepts.n; ++j) {
    State best{-1, {}};
    const auto offer = [&](int hits, const std::set<int>& reached) {
      if (reached.empty() && hits > states[j].hits) return;
      if (hits > best.hits) best = {hits, {}};
      if (hits == best.hits) best.reachable.insert(reached.begin(), reached.end());
    };
    std::set<int> hit, miss, swapped;
    for (const int i : states[j].reachable) {
      if (accepts(i, j)) hit.insert(i + 1);
      miss.insert({i, std::min(i + 1, accepts.m)});
    }
    if (transpose && j > 0)
      for (const int i : states[j - 1].reachable)
        if (accepts.swapped(i + 1, j)) swapped.insert(i + 2);
    offer(states[j].hits, miss);
    if (!hit.empty()) offer(states[j].hits + 1, hit);
    if (!swapped.empty()) offer(states[j - 1].hits + 2, swapped);
    states.push_back(best);
  }
  return states.back().hits;
}

inline int superset(const Matrix& accepts, bool transpose) {
  struct State {
    int hits, place;
  };
  const int n = std::min(accepts.n, 63);
  std::vector<State> states = {{0, -1}};
  for (int i = 0; i < accepts.m; ++i) {
    State best = states[i];
    const auto offer = [&](int hits, int place) {
      if (hits > best.hits || (hits == best.hits && place < best.place)) best = {hits, place};
    };
    for (int j = states[i].place + 1; j < n; ++j)
      if (accepts(i, j)) offer(states[i].hits + 1, j);
    if (transpose && i > 0)
      for (int j = states[i - 1].place + 2; j < n; ++j)
        if (accepts.swapped(i, j)) offer(states[i - 1].hits + 2, j);
    states.push_back(best);
  }
  return states.back().hits;
}

inline int subword(const Matrix& accepts, bool transpose) {
  int best = 0;
  for (int from = 0; from <= accepts.n; ++from)
    for (int to = from; to <= accepts.n; ++to)
      best = std::max(best, accepts.m - EditTable(accepts, transpose ? 2 : 0, from, to).result(0).distance);
  return best;
}

/// `starts` are the first positions of the entry's words.
inline int scan(const Matrix& accepts, const std::set<int>& starts, bool transpose) {
  int best = 0;
  std::set<int> ends = starts;
  ends.insert(accepts.n);
  for (const int from : starts)
    for (const int to : ends)
      if (to > from) best = std::max(best, EditTable(accepts, transpose ? 2 : 0, from, to).result(0).match);
  return best;
}

/// The least cost of rows in columns of their own, by trying all; at most as many rows as columns.
inline int assignment(const std::vector<std::vector<int>>& costs) {
  if (costs.empty()) return 0;
  std::vector<int> columns(costs[0].size());
  for (size_t i = 0; i < columns.size(); ++i) columns[i] = static_cast<int>(i);
  int best = 0x7FFFFFFF;
  do {
    int total = 0;
    for (size_t row = 0; row < costs.size(); ++row) total += costs[row][columns[row]];
    best = std::min(best, total);
  } while (std::next_permutation(columns.begin(), columns.end()));
  return best;
}

}  // namespace oracle
