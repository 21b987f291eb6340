/// A table of texts: for each, its qualities with the units of a query. All in four arrays, so that thousands
/// of texts cost no allocation each.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "ace/ace_types.h"

class MultiRows {
 public:
  /// In a row, per unit: the quality, 0 for none; and whether an abbreviation has it.
  struct Cell {
    Tiny quality = 0;
    Tiny isAbbreviated = 0;
  };

  /// Empties the table.
  void start(std::size_t num_units) {
    width = num_units;
    buffer.clear();
    rows.clear();
    cells.clear();
    slots.assign(LEAST_SLOTS, 0);
  }
  std::size_t size() const { return rows.size(); }

  /// The row of a text; null for none.
  const Cell* find(std::string_view text) const {
    if (rows.empty()) return nullptr;
    const std::size_t slot = find_slot(text);
    return slots[slot] != 0 ? row_at(slots[slot] - 1) : nullptr;
  }
  const Cell* row_at(std::size_t row) const { return cells.data() + row * width; }
  /// Keeps the better quality of a text with a unit.
  void note(std::string_view text, std::size_t unit, int quality, bool abbreviated) {
    if (2 * (rows.size() + 1) > slots.size()) grow();
    const std::size_t slot = find_slot(text);
    if (slots[slot] == 0) slots[slot] = add(text);
    Cell& cell = cells[(slots[slot] - 1) * width + unit];
    if (quality > cell.quality) cell = {static_cast<Tiny>(quality), static_cast<Tiny>(abbreviated ? 1 : 0)};
  }

 private:
  static constexpr std::size_t LEAST_SLOTS = 64;
  struct Row {
    std::size_t start;
    std::size_t length;
    std::size_t hash;
  };

  static std::size_t hash_of(std::string_view text) { return std::hash<std::string_view>()(text); }
  std::string_view text_of(const Row& row) const { return {buffer.data() + row.start, row.length}; }

  /// Where the text is, or would be.
  std::size_t find_slot(std::string_view text) const {
    const std::size_t hash = hash_of(text), mask = slots.size() - 1;
    std::size_t slot = hash & mask;
    while (slots[slot] != 0) {
      const Row& row = rows[slots[slot] - 1];
      if (row.hash == hash && text_of(row) == text) break;
      slot = (slot + 1) & mask;
    }
    return slot;
  }
  Large add(std::string_view text) {
    rows.push_back({buffer.size(), text.size(), hash_of(text)});
    buffer.append(text);
    cells.resize(cells.size() + width);
    return static_cast<Large>(rows.size());
  }
  void grow() {
    slots.assign(2 * slots.size(), 0);
    const std::size_t mask = slots.size() - 1;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      std::size_t slot = rows[i].hash & mask;
      while (slots[slot] != 0) slot = (slot + 1) & mask;
      slots[slot] = static_cast<Large>(i + 1);
    }
  }

  std::size_t width = 0;
  std::string buffer;  // the texts
  std::vector<Row> rows;
  std::vector<Cell> cells;   // `width` per row
  std::vector<Large> slots;  // a power of two: row + 1, or 0
};
