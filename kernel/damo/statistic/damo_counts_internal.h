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
    const auto place = static_cast<std::size_t>(std::min<VInt>(number, DamoStatistic::MOST));
    const std::size_t block = place / BLOCK;
    if (block >= blocks.size() || blocks[block] == nullptr) make(block);
    (*blocks[block])[place % BLOCK] += times;
  }
  void merge(const DamoCounts& other) {
    other.for_each([this](int number, Huge times) { add(number, times); });
  }
  /// `visit(number, times)` for each number that was counted, ascending.
  template <class Visit>
  void for_each(Visit visit) const {
    for (std::size_t block = 0; block < blocks.size(); ++block)
      for (std::size_t i = 0; blocks[block] != nullptr && i < BLOCK; ++i)
        if (const Huge times = (*blocks[block])[i]; times != 0)
          visit(static_cast<int>(block * BLOCK + i), times);
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

  void make(std::size_t block) {
    if (block >= blocks.size()) blocks.resize(block + 1);
    blocks[block] = std::make_unique<Block>();
  }

  std::vector<std::unique_ptr<Block>> blocks;
};
