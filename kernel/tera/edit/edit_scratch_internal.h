/// What a recall needs beside its result, kept for the next one: from the second recall on nothing is
/// allocated but candidates.
///
/// Thread safety: a scratch belongs to one recall at a time; the pool may be used by any number of threads.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "tera/edit/edit_kernel_internal.h"
#include "tera/edit/edit_query_internal.h"

/// Memory in cache lines, which only grows.
class EditRoom {
 public:
  void* get(std::size_t bytes) {
    const std::size_t wanted = (bytes + sizeof(Line) - 1) / sizeof(Line);
    if (wanted > numLines) {
      lines = std::make_unique_for_overwrite<Line[]>(wanted);
      numLines = wanted;
    }
    return lines.get();
  }

 private:
  struct alignas(64) Line {
    unsigned char bytes[64];
  };
  std::unique_ptr<Line[]> lines;
  std::size_t numLines = 0;
};

struct EditScratch {
  static constexpr int HIT_ROOM = 4 * EDIT_BLOCK_LANES;

  std::vector<Token> tokens;  // of the query's text
  EditQuery query;
  EditTaskColumns columns;
  std::vector<EditHit> hits = std::vector<EditHit>(HIT_ROOM);
  std::vector<Large> groups;    // those that a filter left
  std::vector<Tiny> qualities;  // of the measures for one length
  std::vector<short> best;      // `segment`: per slot, -1 for none
  EditRoom room;                // of the kernel
};

/// The scratches of an index that no recall has.
class EditScratchPool {
 public:
  /// A scratch for as long as this lives.
  class Loan {
   public:
    explicit Loan(EditScratchPool* pool) : itsPool(pool), scratch(pool->take()) {}
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;
    ~Loan() { itsPool->give(std::move(scratch)); }
    EditScratch* get() const { return scratch.get(); }

   private:
    EditScratchPool* itsPool;
    std::unique_ptr<EditScratch> scratch;
  };

 private:
  static constexpr std::size_t MOST = 16;  // threads that recall at once without allocating

  std::unique_ptr<EditScratch> take() {
    {
      const std::scoped_lock lock(taking);
      if (numFree > 0) return std::move(free[--numFree]);
    }
    return std::make_unique<EditScratch>();
  }
  void give(std::unique_ptr<EditScratch> scratch) {
    const std::scoped_lock lock(taking);
    if (numFree < MOST) free[numFree++] = std::move(scratch);
  }

  std::mutex taking;
  std::unique_ptr<EditScratch> free[MOST];
  std::size_t numFree = 0;
};
