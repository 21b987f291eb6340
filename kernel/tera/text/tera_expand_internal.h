/// Recursive expansion in tables of three columns, for whatever way of finding rows.
#pragma once

#include "tera/tera_unicode_tables.h"

/// See `tera_expand_map`. `find(uni)` gives the index of a row, or -1.
template <class Find>
class TeraExpansion {
 public:
  TeraExpansion(const int (*table)[3], int table_len, Find find)
      : tripleTable(table), tableLen(table_len), findRow(find) {}

  int expand(int index, int* out) {
    outCodes = out;
    numCodes = 0;
    return add_row(index, nullptr) ? numCodes : -1;
  }

 private:
  /// Longer chains of rows are taken for cycles.
  static constexpr int MAX_DEPTH = 32;

  /// The rows being expanded, from the innermost out.
  struct Open {
    int row;
    int depth;
    const Open* outer;
  };

  bool add_row(int index, const Open* outer) {
    if (index < 0 || index >= tableLen) return false;
    for (const Open* open = outer; open != nullptr; open = open->outer)
      if (open->row == index) return false;
    const Open inner = {index, outer != nullptr ? outer->depth + 1 : 0, outer};
    if (inner.depth > MAX_DEPTH) return false;
    const int uni = tripleTable[index][0];
    do {
      if (!add(tripleTable[index][1], uni, &inner) || !add(tripleTable[index][2], uni, &inner)) return false;
    } while (++index < tableLen && tripleTable[index][0] == -1);
    return true;
  }

  bool add(int component, int uni, const Open* open) {
    if (component == 0) return true;
    const bool isFollowing = component == -1;
    const int row = findRow(isFollowing ? uni + 1 : component);
    if (row >= 0) return add_row(row, open);
    if (isFollowing || numCodes == TERA_MAX_EXPANSION) return false;
    outCodes[numCodes++] = component;
    return true;
  }

  const int (*tripleTable)[3];
  int tableLen;
  Find findRow;
  int* outCodes = nullptr;
  int numCodes = 0;
};
