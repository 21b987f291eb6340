/// A sparse array of counters, as distributions need it.
#pragma once

#include <algorithm>
#include <array>
#include <memory>
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
