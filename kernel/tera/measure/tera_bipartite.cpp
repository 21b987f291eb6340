#include "tera/tera_bipartite.h"

#include <algorithm>
#include <climits>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"

namespace {

constexpr VInt INFINITE = LONG_MAX / 4;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

int in_int(VInt value) {
  return static_cast<int>(std::clamp<VInt>(value, INT_MIN, INT_MAX));
}

}  // namespace

TeraBipartite::TeraBipartite(int rows, int columns, const int* const* matrix)
    : numRows(rows),
      numColumns(columns),
      costMatrix(matrix),
      columnOf(at(rows), -1),
      rowOf(at(columns), -1),
      rowPrice(at(rows)),
      columnPrice(at(columns)),
      slack(at(columns)),
      parent(at(columns)),
      inTree(at(columns)) {}

VInt TeraBipartite::reduced(int row, int column) const {
  return cost(row, column) - rowPrice[at(row)] - columnPrice[at(column)];
}

VInt TeraBipartite::solve() {
  for (int row = 0; row < numRows; ++row)
    rowPrice[at(row)] = *std::min_element(costMatrix[row], costMatrix[row] + numColumns);
  for (int row = 0; row < numRows; ++row) assign(row);
  VInt total = 0;
  for (int row = 0; row < numRows; ++row) total += cost(row, get_column(row));
  return total;
}

/// Grows a tree of cheapest ways from `row` over assigned rows until it reaches a column without a row, and
/// moves the assignments along that way by one.
void TeraBipartite::assign(int row) {
  std::fill(slack.begin(), slack.end(), INFINITE);
  std::fill(inTree.begin(), inTree.end(), char{0});
  VInt way = 0;  // length of the way to the newest row
  std::vector<VInt> lengthTo(at(numColumns));
  int newest = row;
  int end = -1;
  while (end < 0) {
    int nearest = -1;
    for (int column = 0; column < numColumns; ++column) {
      if (inTree[at(column)] != 0) continue;
      const VInt length = way + reduced(newest, column);
      if (length < slack[at(column)]) {
        slack[at(column)] = length;
        parent[at(column)] = newest;
      }
      if (nearest < 0 || slack[at(column)] < slack[at(nearest)]) nearest = column;
    }
    inTree[at(nearest)] = 1;
    way = lengthTo[at(nearest)] = slack[at(nearest)];
    newest = rowOf[at(nearest)];
    if (newest < 0) end = nearest;
  }
  // New prices keep every reduced cost from becoming negative and make the way's 0.
  rowPrice[at(row)] += way;
  for (int column = 0; column < numColumns; ++column) {
    if (inTree[at(column)] == 0 || column == end) continue;
    rowPrice[at(rowOf[at(column)])] += way - lengthTo[at(column)];
    columnPrice[at(column)] -= way - lengthTo[at(column)];
  }
  for (int column = end; column >= 0;) {
    const int from = parent[at(column)];
    rowOf[at(column)] = from;
    std::swap(columnOf[at(from)], column);
  }
}

bool TeraBipartite::prove() const {
  for (int row = 0; row < numRows; ++row) {
    if (rowOf[at(get_column(row))] != row || reduced(row, get_column(row)) != 0) return false;
    for (int column = 0; column < numColumns; ++column)
      if (reduced(row, column) < 0) return false;
  }
  for (int column = 0; column < numColumns; ++column)
    if (columnPrice[at(column)] > 0 || (rowOf[at(column)] < 0 && columnPrice[at(column)] != 0)) return false;
  return true;
}

void TeraBipartite::print() const {
  AceReporter* rep = AceReporter::use_default();
  for (int row = 0; row < numRows; ++row)
    rep->printf("row %d in column %d costs %d\n", row, get_column(row), costMatrix[row][get_column(row)]);
}

int tera_bipartite_match(int rows, int columns, const int* const* matrix, int* match) {
  static const AceTraceFlag isPrinted("BIPARTITE_PRINT", __FILE__, __LINE__);
  static const AceTraceFlag isProved("BIPARTITE_PROVE", __FILE__, __LINE__);
  if (rows < 0 || columns < 0) return -1;
  if (rows == 0 || columns == 0) {
    std::fill_n(match, rows, -1);
    return 0;
  }
  if (rows > columns) return -1;
  TeraBipartite problem(rows, columns, matrix);
  const VInt total = problem.solve();
  for (int row = 0; row < rows; ++row) match[row] = problem.get_column(row);
  if (isPrinted.get() != 0) problem.print();
  if (isProved.get() != 0 && !problem.prove())
    ace_report(__FILE__, __LINE__, "problem.prove()", in_int(total));
  return in_int(total);
}
