/// What a recall needs for as many entries as the index has lines; kept for the next one.
///
/// Thread safety: any number of threads may take scratches from a pool.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "ace/ace_types.h"

struct MultiScratch {
  static constexpr Large MARKS = 64;
  /// What a line has so far.
  struct Cell {
    Large weight = 0;   ///< sum of the units' best weights
    Tiny lastUnit = 0;  ///< the last unit that counted, from 1 on
    Tiny isFound = 0;   ///< it is in `touched`
    Tiny numUnits = 0;  ///< units that counted
    Tiny isShared = 0;  ///< it has a word that resembles two units
  };

  /// Makes room for that many lines, and one more that stands for all numbers beyond.
  void prepare(Large num_lines) {
    if (cells.size() != std::size_t{num_lines} + 1) {
      cells.assign(std::size_t{num_lines} + 1, Cell{});
      touched.resize(std::size_t{num_lines} + 2);
      marks.assign((std::size_t{num_lines} + 1) / MARKS + 1, 0);
    }
    numTouched = 0;
  }
  /// Marks the lines found, once: no line is found afterwards.
  void mark_found() {
    if (hasMarks) return;
    for (std::size_t i = 0; i < numTouched; ++i) marks[touched[i] / MARKS] |= VUint{1} << touched[i] % MARKS;
    hasMarks = true;
  }
  bool is_marked(Large line) const { return (marks[line / MARKS] >> line % MARKS & 1) != 0; }
  /// Empties what was touched.
  void reset() {
    for (std::size_t i = 0; i < numTouched; ++i) cells[touched[i]] = Cell{};
    for (std::size_t i = 0; hasMarks && i < numTouched; ++i) marks[touched[i] / MARKS] = 0;
    hasMarks = false;
    numTouched = 0;
  }

  std::vector<Cell> cells;     // per line; empty between recalls
  std::vector<Large> touched;  // the lines found
  std::vector<VUint> marks;    // a bit per line: what is looked for in long lists stays in the cache
  bool hasMarks = false;
  std::size_t numTouched = 0;
};

class MultiScratchPool {
 public:
  /// A scratch for as long as this lives, which empties it.
  class Loan {
   public:
    Loan(MultiScratchPool* pool, Large num_lines) : itsPool(pool), scratch(pool->take()) {
      scratch->prepare(num_lines);
    }
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;
    ~Loan() {
      scratch->reset();
      itsPool->give(std::move(scratch));
    }
    MultiScratch* get() const { return scratch.get(); }

   private:
    MultiScratchPool* itsPool;
    std::unique_ptr<MultiScratch> scratch;
  };

  void clean() {
    const std::scoped_lock lock(taking);
    for (std::size_t i = 0; i < numFree; ++i) free[i] = nullptr;
    numFree = 0;
  }

 private:
  static constexpr std::size_t MOST = 16;  // threads that recall at once without allocating

  std::unique_ptr<MultiScratch> take() {
    {
      const std::scoped_lock lock(taking);
      if (numFree > 0) return std::move(free[--numFree]);
    }
    return std::make_unique<MultiScratch>();
  }
  void give(std::unique_ptr<MultiScratch> scratch) {
    const std::scoped_lock lock(taking);
    if (numFree < MOST) free[numFree++] = std::move(scratch);
  }

  std::mutex taking;
  std::unique_ptr<MultiScratch> free[MOST];
  std::size_t numFree = 0;
};
