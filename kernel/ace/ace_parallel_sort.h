/// Sorting by several threads: each sorts a piece, then neighbouring pieces are merged.
///
///     4 threads     | sort    | sort    | sort    | sort    |
///     2             | merge             | merge             |
///     1             | merge                                 |
///
/// Cost: the merges move each element once for each doubling of the threads, and take memory for half of the
/// elements. Thread safety: the elements are the caller's own; the functions are called by several threads.
#pragma once

#include <algorithm>
#include <span>

#include "ace/ace_attach.h"
#include "ace/ace_parallel.h"
#include "ace/ace_thread.h"
#include "ace/ace_types.h"

/// A piece of fewer elements is not worth a thread.
inline constexpr VInt ACE_MIN_SORT_PIECE = 1 << 14;

/// Sorts by `less`. `sort_piece(span)` sorts a part by the same order; where it is stable, the whole is. The
/// thread count follows `ace_get_trace_num_threads(num_threads)`.
template <class T, class SortPiece, class Less>
void ace_parallel_sort(std::span<T> values, const SortPiece& sort_piece, const Less& less, int num_threads) {
  struct Job {
    T* at(VInt piece) const { return first + limits[std::min(piece, numPieces)]; }

    T* first;
    const VInt* limits;  // of the pieces
    VInt numPieces;
    VInt width;  // pieces that are one already
    const SortPiece& sortPiece;
    const Less& isLess;
  };
  struct Nothing {};
  using Parallel = AceParallel<Job, void, Nothing>;
  const auto run = [](Job* job, VInt tasks, typename Parallel::MapWorkFunc* work) {
    Parallel::map(job, nullptr, tasks, nullptr, nullptr, work, static_cast<int>(tasks), nullptr);
  };
  const VInt size = static_cast<VInt>(values.size());
  const VInt pieces =
      std::min<VInt>(ace_get_trace_num_threads(num_threads), std::max<VInt>(size / ACE_MIN_SORT_PIECE, 1));
  AceAttach limitsAt;
  Job job{values.data(), Parallel::compute_chunk_limits(size, static_cast<int>(pieces), &limitsAt),
          pieces,        1,
          sort_piece,    less};
  run(&job, pieces,
      [](Job* all, void*, Nothing*, VInt i) { all->sortPiece(std::span<T>(all->at(i), all->at(i + 1))); });
  for (; job.width < pieces; job.width *= 2)
    run(&job, (pieces + 2 * job.width - 1) / (2 * job.width), [](Job* all, void*, Nothing*, VInt i) {
      const VInt from = 2 * all->width * i;
      std::inplace_merge(all->at(from), all->at(from + all->width), all->at(from + 2 * all->width),
                         all->isLess);
    });
}
