/// Tables of words, by their texts and by their numbers: for each, its qualities with the units of a query.
/// All in a few arrays, so that thousands of words cost no allocation each.
#pragma once

#include <algorithm>
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
  /// Whether a text resembles two units.
  bool has_shared() const {
    for (std::size_t row = 0; row < rows.size(); ++row)
      if (std::count_if(row_at(row), row_at(row) + width, [](const Cell& cell) { return cell.quality > 0; }) >
          1)
        return true;
    return false;
  }
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

/// The same by the numbers of keys, which takes a tenth of the time.
class MultiKeyRows {
 public:
  using Cell = MultiRows::Cell;

  /// Empties the table, which gets room for so many keys.
  void start(std::size_t num_units, std::size_t num_keys) {
    width = num_units;
    hasShared = false;
    cells.clear();
    cells.reserve(num_keys * width);
    std::size_t size = LEAST_SLOTS;
    while (size < 2 * num_keys) size *= 2;
    slots.assign(size, {});
  }
  /// The row of a key; null for none.
  const Cell* find(Large key) const {
    if (slots.empty()) return nullptr;
    const Slot& slot = slots[find_slot(key)];
    return slot.row != 0 ? row_at(slot.row) : nullptr;
  }
  /// Keeps the better quality of a key with a unit. Units come one after the other.
  void note(Large key, std::size_t unit, int quality, bool abbreviated) {
    Cell* const row = row_of(key);
    hasShared = hasShared || std::any_of(row, row + unit, [](const Cell& cell) { return cell.quality > 0; });
    if (quality > row[unit].quality)
      row[unit] = {static_cast<Tiny>(quality), static_cast<Tiny>(abbreviated ? 1 : 0)};
  }
  /// Whether a key resembles two units; and whether this one does.
  bool has_shared() const { return hasShared; }
  bool is_shared(Large key) const {
    const Cell* const row = hasShared ? find(key) : nullptr;
    return row != nullptr &&
           std::count_if(row, row + width, [](const Cell& cell) { return cell.quality > 0; }) > 1;
  }

 private:
  static constexpr std::size_t LEAST_SLOTS = 64;
  struct Slot {
    Large key = 0;
    Large row = 0;  // from 1 on
  };

  const Cell* row_at(Large row) const { return cells.data() + (row - std::size_t{1}) * width; }
  Cell* row_of(Large key) {
    const std::size_t numRows = cells.size() / width;
    if (2 * (numRows + 1) > slots.size()) grow();
    Slot& slot = slots[find_slot(key)];
    if (slot.row == 0) {
      slot = {key, static_cast<Large>(numRows + 1)};
      cells.resize(cells.size() + width);
    }
    return cells.data() + (slot.row - std::size_t{1}) * width;
  }
  /// Where the key is, or would be. Multiplicative hashing: 2^64 divided by the golden ratio.
  std::size_t find_slot(Large key) const {
    const std::size_t mask = slots.size() - 1;
    std::size_t slot = (VUint{key} * 0x9E3779B97F4A7C15ULL >> 32) & mask;
    while (slots[slot].row != 0 && slots[slot].key != key) slot = (slot + 1) & mask;
    return slot;
  }
  void grow() {
    std::vector<Slot> old(2 * slots.size());
    old.swap(slots);
    for (const Slot& slot : old)
      if (slot.row != 0) slots[find_slot(slot.key)] = slot;
  }

  std::size_t width = 1;
  bool hasShared = false;
  std::vector<Slot> slots;  // a power of two
  std::vector<Cell> cells;  // `width` per row
};
