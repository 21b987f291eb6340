#include "tera/edit/edit_kernel_internal.h"

#include <algorithm>

#include "ace/ace_cpu.h"
#include "tera/edit/edit_tableau_internal.h"
#include "tera/measure/mode_table_internal.h"

int edit_measure_max(TeraEval::Mode mode, int m, int n) {
  using Row = TeraModeRow;
  const Row* const row = tera_mode_row(mode);
  const int common = std::min(m, n);
  switch (row != nullptr ? row->largest : Row::NOT_INDEXED) {
    case Row::SHORTER:
      return common;
    case Row::SHORTER_COUNTED:
      return std::min(common, edit_lanes::MAX_COUNTED);
    case Row::NEIGHBOURS:
      return std::min(m, std::min(n, edit_lanes::MAX_COUNTED) + 1);
    case Row::BOTH_SEQUENCES:
      return std::max(2 * common - 1, 0);
    case Row::ENTRY_PAIRS:
      return n + 1;
    case Row::ONE:
      return 1;
    default:
      return -1;
  }
}

VInt edit_cells(const EditTask& task) {
  const TeraModeRow* const row = tera_mode_row(task.mode);
  const int common = std::min(task.m, task.n);
  const int cost = task.transpose ? row->cost.transposed : row->cost.plain;
  if (row->form == TeraModeRow::COUNTED) return VInt{3} * cost * common;
  int width = task.n;
  if (task.mode == TeraEval::LEVENSHTEIN) {
    const edit_lanes::Band band(task.m, task.n, std::max(task.m, task.n) - task.fewest);
    width = std::clamp(band.width(), 1, task.n);
  }
  return VInt{cost} * task.m * width + task.m + task.n;
}

std::size_t edit_room_bytes(const EditTask& task) {
  constexpr int WIDEST = EDIT_BLOCK_LANES / 8;
  const auto slices = static_cast<std::size_t>(4 * std::max(task.m, task.n) + 4);
  const auto cells = static_cast<std::size_t>(task.numSets) * static_cast<std::size_t>(task.n);
  return WIDEST * (slices + (cells <= EDIT_MAX_CELLS ? cells + EDIT_PADDING : 0));
}

const EditKernel& edit_kernel() {
  switch (ace_cpu_level()) {
    case AceCpuLevel::AVX512:
      return EDIT_KERNEL_AVX512;
    case AceCpuLevel::AVX2:
      return EDIT_KERNEL_AVX2;
    default:
      return EDIT_KERNEL_BASELINE;
  }
}
