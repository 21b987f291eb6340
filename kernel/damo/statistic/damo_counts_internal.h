/// Counters, as distributions need them: a sparse array, and one of bytes.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "ace/ace_types.h"
#include "damo/damo_statistic.h"

class DamoCounts {
 public:
  void add(VInt number, Huge times = 1) {
    if (static_cast<std::size_t>(number) < BLOCK)
      first[static_cast<std::size_t>(number)] += times;
    else
      add_large(number, times);
  }
  void merge(const DamoCounts& other) {
    other.for_each([this](int number, Huge times) { add(number, times); });
  }
  /// `visit(number, times)` for each number that was counted, ascending.
  template <class Visit>
  void for_each(Visit visit) const {
    visit_block(first, 0, visit);
    for (std::size_t block = 1; block < blocks.size(); ++block)
      if (blocks[block] != nullptr) visit_block(*blocks[block], block, visit);
  }
  Huge total() const {
    Huge sum = 0;
    for_each([&sum](int, Huge times) { sum += times; });
    return sum;
  }
  /// The number that as many of those counted as `rank` lie below; -1 without any.
  int at_rank(Huge rank) const {
    int found = -1;
    for_each([&](int number, Huge times) {
      if (rank >= 0) found = number;
      rank -= times;
    });
    return found;
  }

 private:
  static constexpr std::size_t BLOCK = 256;
  using Block = std::array<Huge, BLOCK>;

  template <class Visit>
  static void visit_block(const Block& counts, std::size_t block, Visit& visit) {
    for (std::size_t i = 0; i < BLOCK; ++i)
      if (counts[i] != 0) visit(static_cast<int>(block * BLOCK + i), counts[i]);
  }
  void add_large(VInt number, Huge times) {
    const auto place = static_cast<std::size_t>(std::min<VInt>(number, DamoStatistic::MOST));
    const std::size_t block = place / BLOCK;
    if (block >= blocks.size()) blocks.resize(block + 1);
    if (blocks[block] == nullptr) blocks[block] = std::make_unique<Block>();
    (*blocks[block])[place % BLOCK] += times;
  }

  Block first{};                               // nearly all that is counted
  std::vector<std::unique_ptr<Block>> blocks;  // of larger numbers, made when they are met
};

/// Eight bytes of a text, the first one lowest; those behind its end are zero.
inline std::uint64_t damo_word_at(std::string_view text, std::size_t at) {
  constexpr std::size_t WIDTH = sizeof(std::uint64_t);
  std::uint64_t word = 0;
  if (text.size() >= WIDTH) {
    const std::size_t from = std::min(at, text.size() - WIDTH);
    std::memcpy(&word, text.data() + from, WIDTH);
    return word >> 8 * (at - from);
  }
  for (std::size_t i = text.size(); i > at; --i) word = word << 8 | static_cast<unsigned char>(text[i - 1]);
  return word;
}

/// How often each byte was met. Neighbours count in tables of their own, as an addition to a counter waits
/// for the one before it. A last word that is not full is counted like the others, for the branches of a loop
/// over its bytes cost more.
class DamoByteCounts {
 public:
  void add(std::string_view text) {
    constexpr std::size_t WIDTH = sizeof(std::uint64_t);
    std::size_t i = 0;
    for (; i < text.size(); i += WIDTH) {
      std::uint64_t word = damo_word_at(text, i);
      for (std::size_t k = 0; k < WIDTH; ++k, word >>= 8) ++tables[k % TABLES][word & 0xFF];
    }
    take_back(0, static_cast<Huge>(i - text.size()));
  }
  void take_back(unsigned char byte, Huge times) { tables[0][byte] -= times; }
  Huge of(unsigned char byte) const {
    Huge sum = 0;
    for (const Table& table : tables) sum += table[byte];
    return sum;
  }
  void merge(const DamoByteCounts& other) {
    for (std::size_t i = 0; i < SIZE; ++i) tables[0][i] += other.of(static_cast<unsigned char>(i));
  }

 private:
  static constexpr std::size_t SIZE = 256;
  static constexpr std::size_t TABLES = 2;
  using Table = std::array<Huge, SIZE>;

  std::array<Table, TABLES> tables{};
};
