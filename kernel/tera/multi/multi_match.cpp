#include "tera/multi/multi_match_internal.h"

#include <algorithm>

#include "tera/tera_bipartite.h"

MultiMatch::Span MultiMatch::span_of(const Pair& pair) const {
  const MultiText::Unit& query = queryText->get_units()[static_cast<std::size_t>(pair.query)];
  const MultiText::Unit& line = lineText->get_units()[static_cast<std::size_t>(pair.line)];
  const int first = lineAtoms[static_cast<std::size_t>(line.first)];
  return {query.first, query.last, first, first + line.last - line.first};
}

void MultiMatch::solve(const MultiText& query, const MultiText& line) {
  queryText = &query;
  lineText = &line;
  numQuery = query.num_atoms();
  chosen.clear();
  bestWeight = 0;
  isInOrder = true;
  isComplete = numQuery == 0;
  if (pairs.empty() || take_all()) return;
  number_line_atoms();
  const VInt ordered = solve_in_order();
  const VInt bound = upper_bound();
  if (ordered < bound && !take_best_ones(bound)) {
    queryTaken.assign(static_cast<std::size_t>(numQuery), 0);
    lineTaken.assign(static_cast<std::size_t>(numLine), 0);
    taken.clear();
    list_joined();
    choose_joined(0, 0);
  }
  isInOrder = ordered >= bestWeight;
  if (isInOrder) {
    bestWeight = ordered;
    trace_order();
  }
  isComplete = covers_query();
}

/// Takes all pairs where no two of them have an atom in common, as in most lines.
bool MultiMatch::take_all() {
  constexpr int mostAtoms = 64;
  VUint used = 0;
  VInt weight = 0;
  bool isOrdered = true;
  int lastQuery = -1;
  int lastLine = -1;
  for (const Pair& pair : pairs) {
    const MultiText::Unit& query = queryText->get_units()[static_cast<std::size_t>(pair.query)];
    const MultiText::Unit& line = lineText->get_units()[static_cast<std::size_t>(pair.line)];
    if (!query.is_single() || !line.is_single() || query.first >= mostAtoms || line.first <= lastLine ||
        (used >> query.first & 1) != 0)
      return false;
    used |= VUint{1} << query.first;
    isOrdered = isOrdered && query.first > lastQuery;
    lastQuery = query.first;
    lastLine = line.first;
    weight += pair.weight;
  }
  chosen = pairs;
  bestWeight = weight;
  isInOrder = isOrdered;
  isComplete = static_cast<int>(pairs.size()) == numQuery;
  return true;
}

/// Numbers the line atoms that occur in pairs; a unit's atoms stay side by side.
void MultiMatch::number_line_atoms() {
  lineAtoms.assign(static_cast<std::size_t>(lineText->num_atoms()), -1);
  for (const Pair& pair : pairs) {
    const MultiText::Unit& unit = lineText->get_units()[static_cast<std::size_t>(pair.line)];
    std::fill(lineAtoms.begin() + unit.first, lineAtoms.begin() + unit.last, 0);
  }
  numLine = 0;
  for (int& atom : lineAtoms)
    if (atom == 0) atom = numLine++;
}

/// order[i][j]: the most that the first i query atoms and the first j line atoms can bring.
VInt MultiMatch::solve_in_order() {
  const std::size_t width = static_cast<std::size_t>(numLine) + 1;
  order.assign((static_cast<std::size_t>(numQuery) + 1) * width, 0);
  const auto cell = [&](int i, int j) -> VInt& {
    return order[static_cast<std::size_t>(i) * width + static_cast<std::size_t>(j)];
  };
  std::stable_sort(pairs.begin(), pairs.end(), [this](const Pair& a, const Pair& b) {
    return span_of(a).queryLast < span_of(b).queryLast;
  });
  auto next = pairs.begin();
  for (int i = 1; i <= numQuery; ++i) {
    for (int j = 0; j <= numLine; ++j) cell(i, j) = cell(i - 1, j);
    for (; next != pairs.end() && span_of(*next).queryLast == i; ++next) {
      const Span span = span_of(*next);
      VInt& best = cell(i, span.lineLast);
      best = std::max(best, cell(span.queryFirst, span.lineFirst) + next->weight);
    }
    for (int j = 1; j <= numLine; ++j) cell(i, j) = std::max(cell(i, j), cell(i, j - 1));
  }
  return cell(numQuery, numLine);
}

void MultiMatch::trace_order() {
  const std::size_t width = static_cast<std::size_t>(numLine) + 1;
  const auto cell = [&](int i, int j) {
    return order[static_cast<std::size_t>(i) * width + static_cast<std::size_t>(j)];
  };
  chosen.clear();
  int i = numQuery;
  int j = numLine;
  while (i > 0 && j > 0 && cell(i, j) > 0) {
    const VInt here = cell(i, j);
    const auto used = std::find_if(pairs.begin(), pairs.end(), [&](const Pair& pair) {
      const Span span = span_of(pair);
      return span.queryLast == i && span.lineLast == j &&
             cell(span.queryFirst, span.lineFirst) + pair.weight == here;
    });
    if (used != pairs.end()) {
      chosen.push_back(*used);
      const Span span = span_of(*used);
      i = span.queryFirst;
      j = span.lineFirst;
    } else if (cell(i - 1, j) == here) {
      --i;
    } else {
      --j;
    }
  }
  std::reverse(chosen.begin(), chosen.end());
}

/// What all query atoms could bring if they did not get into each other's way.
VInt MultiMatch::upper_bound() {
  bestOf.assign(static_cast<std::size_t>(numQuery), 0);
  for (const Pair& pair : pairs) {
    const Span span = span_of(pair);
    for (int atom = span.queryFirst; atom < span.queryLast; ++atom) {
      VInt& best = bestOf[static_cast<std::size_t>(atom)];
      const VInt tokens = queryText->get_atoms()[static_cast<std::size_t>(atom)].tokens;
      best = std::max(best, tokens * pair.quality);
    }
  }
  VInt bound = 0;
  for (const VInt best : bestOf) bound += best;
  return bound;
}

/// Whether pairs of single atoms reach the bound without a conflict.
bool MultiMatch::take_best_ones(VInt bound) {
  queryTaken.assign(static_cast<std::size_t>(numQuery), 0);
  lineTaken.assign(static_cast<std::size_t>(numLine), 0);
  chosen.clear();
  VInt weight = 0;
  for (const Pair& pair : pairs) {
    const Span span = span_of(pair);
    if (span.queryLast - span.queryFirst > 1 || !is_free(span) ||
        pair.weight < bestOf[static_cast<std::size_t>(span.queryFirst)])
      continue;
    occupy(span, true);
    chosen.push_back(pair);
    weight += pair.weight;
  }
  if (weight < bound) return false;
  bestWeight = weight;
  return true;
}

bool MultiMatch::is_free(const Span& span) const {
  const auto free = [](char mark) { return mark == 0; };
  return std::all_of(queryTaken.begin() + span.queryFirst, queryTaken.begin() + span.queryLast, free) &&
         std::all_of(lineTaken.begin() + span.lineFirst, lineTaken.begin() + span.lineLast, free);
}

void MultiMatch::occupy(const Span& span, bool is_taken) {
  const char mark = is_taken ? 1 : 0;
  std::fill(queryTaken.begin() + span.queryFirst, queryTaken.begin() + span.queryLast, mark);
  std::fill(lineTaken.begin() + span.lineFirst, lineTaken.begin() + span.lineLast, mark);
}

void MultiMatch::list_joined() {
  joined.clear();
  for (const Pair& pair : pairs)
    if (is_joined(span_of(pair))) joined.push_back(pair);
  std::stable_sort(joined.begin(), joined.end(),
                   [](const Pair& a, const Pair& b) { return a.weight > b.weight; });
  if (joined.size() > MOST_JOINED) joined.resize(MOST_JOINED);
}

/// With and without each of the heaviest pairs of joined units; the single atoms that are left are assigned.
void MultiMatch::choose_joined(std::size_t next, VInt weight) {
  if (next == joined.size()) return assign_rest(weight);
  const Pair pair = joined[next];
  if (const Span span = span_of(pair); is_free(span)) {
    occupy(span, true);
    taken.push_back(pair);
    choose_joined(next + 1, weight + pair.weight);
    taken.pop_back();
    occupy(span, false);
  }
  choose_joined(next + 1, weight);
}

void MultiMatch::assign_rest(VInt weight) {
  const int rows = numQuery;
  const int columns = numLine + numQuery;  // a column of its own for each query atom that stays without
  std::vector<int> costs(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns), 0);
  std::vector<int> pairOf(costs.size(), -1);
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    const Span span = span_of(pairs[i]);
    if (is_joined(span) || !is_free(span)) continue;
    const std::size_t place = static_cast<std::size_t>(span.queryFirst) * static_cast<std::size_t>(columns) +
                              static_cast<std::size_t>(span.lineFirst);
    if (-pairs[i].weight >= costs[place]) continue;
    costs[place] = static_cast<int>(-pairs[i].weight);
    pairOf[place] = static_cast<int>(i);
  }
  std::vector<const int*> matrix;
  for (int row = 0; row < rows; ++row)
    matrix.push_back(costs.data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(columns));
  TeraBipartite assignment(rows, columns, matrix.data());
  const VInt total = weight - assignment.solve();
  if (total <= bestWeight) return;
  bestWeight = total;
  chosen = taken;
  for (int row = 0; row < rows; ++row) {
    const std::size_t place = static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
                              static_cast<std::size_t>(assignment.get_column(row));
    if (pairOf[place] >= 0) chosen.push_back(pairs[static_cast<std::size_t>(pairOf[place])]);
  }
}

bool MultiMatch::covers_query() const {
  int covered = 0;
  for (const Pair& pair : chosen) {
    const Span span = span_of(pair);
    covered += span.queryLast - span.queryFirst;
  }
  return covered == numQuery;
}
