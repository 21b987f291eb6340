/// Which entries have which flags, as a table of truth values.
#pragma once

#include <functional>
#include <set>
#include <vector>

namespace oracle {

struct FlagTable {
  FlagTable(int entries, int values) : numEntries(entries), cells(static_cast<std::size_t>(values)) {}

  bool has(int entry, int value) const { return cells[static_cast<std::size_t>(value)].count(entry) > 0; }
  bool holds(int entry, int listed) const { return listed < 0 ? !has(entry, ~listed) : has(entry, listed); }
  /// The number that a run of flags is.
  unsigned number(int entry, int first, int nbits) const {
    unsigned result = 0;
    for (int k = 0; k <= nbits && k < 32; ++k) result |= static_cast<unsigned>(has(entry, first + k)) << k;
    return result;
  }
  int num_flags(int entry) const {
    int count = 0;
    for (const auto& of : cells) count += static_cast<int>(of.count(entry));
    return count;
  }
  std::set<int> entries_with(const std::function<bool(int)>& condition) const {
    std::set<int> found;
    for (int entry = 0; entry < numEntries; ++entry)
      if (condition(entry)) found.insert(entry);
    return found;
  }

  int numEntries;
  std::vector<std::set<int>> cells;  // per flag, its entries
};

}  // namespace oracle
