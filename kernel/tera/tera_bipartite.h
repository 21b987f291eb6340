/// Assignment of rows to columns at the least total cost.
///
/// Source: H. Kuhn, Naval Research Logistics 2, 1955; J. Munkres, J. SIAM 5, 1957 (the Hungarian method), in
/// the form that searches shortest augmenting paths with a slack per column: O(rows^2 x columns).
#pragma once

#include <vector>

#include "ace/ace_types.h"

class SORV_API TeraBipartite {
 public:
  /// `matrix[r][c]` is the cost of row r in column c; any values, at most as many rows as columns.
  TeraBipartite(int rows, int columns, const int* const* matrix);

  /// The least total cost.
  VInt solve();
  /// The column of a row.
  int get_column(int row) const { return columnOf[static_cast<std::size_t>(row)]; }
  /// Whether the row and column prices prove that no assignment is cheaper.
  bool prove() const;
  /// The assignment on the default reporter.
  void print() const;

 private:
  void assign(int row);
  VInt cost(int row, int column) const { return costMatrix[row][column]; }
  VInt reduced(int row, int column) const;

  int numRows;
  int numColumns;
  const int* const* costMatrix;
  std::vector<int> columnOf;      // per row, -1 while it has none
  std::vector<int> rowOf;         // per column, -1 for none
  std::vector<VInt> rowPrice;     // invariant: cost - rowPrice - columnPrice >= 0,
  std::vector<VInt> columnPrice;  // and 0 for assigned pairs; columns without a row have the price 0
  // One search:
  std::vector<VInt> slack;   // per column, the least reduced cost from the rows of the tree
  std::vector<int> parent;   // per column, the row it is reached from
  std::vector<char> inTree;  // per column
};

/// Assigns every row a column of its own: `match[row]` is the column. Returns the least total cost, moved to
/// the nearer end of int when it does not fit; 0 when a count is 0; -1, and nothing assigned, when there are
/// more rows than columns or a count is negative. The tunables "BIPARTITE_PRINT" and "BIPARTITE_PROVE" print
/// the assignment and verify it (a failure is reported as a warning).
SORV_API int tera_bipartite_match(int rows, int columns, const int* const* matrix, int* match);
