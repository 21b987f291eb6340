/// Walks the records of a context, as entries of a field.
#pragma once

#include <algorithm>
#include <span>

#include "ace/ace_id_map.h"
#include "dast/dast_base_field.h"
#include "dast/dast_info_list.h"
#include "dast/info/dast_info_cursor_internal.h"

namespace dast {

/// Whether a context stands for all records.
inline bool is_whole(const DastInfoList* context) {
  return context == nullptr || context->get_type() == DastInfoList::NOT_USED || context->is_frequent();
}

/// Calls `visit(from, to)` for the ranges of a context below `num_records`, ascending.
template <class Visit>
void for_each_range(const DastInfoList* context, Large num_records, Visit visit) {
  if (is_whole(context)) {
    if (num_records > 1) visit(Large{1}, num_records);
    return;
  }
  with_cursor(*context, [&](auto cursor) {
    for (; !cursor.at_end() && cursor.get().from < num_records; cursor.next())
      visit(std::max(cursor.get().from, Large{1}), std::min(cursor.get().to, num_records));
  });
}

/// The number of records of a context.
inline VInt count_records(const DastInfoList* context, Large num_records) {
  if (!is_whole(context) && context->get_type() == DastInfoList::SINGLE)
    return gallop_to(context->get_list(), 0, context->get_length(), num_records);
  VInt count = 0;
  for_each_range(context, num_records, [&](Large from, Large to) { count += to > from ? to - from : 0; });
  return count;
}

/// The bounds of the field's runs; none for a field without.
inline std::span<const Large> runs_of(const DastBaseField& field) {
  const DastInfoMap* map = field.has_intervals() ? field.get_info_map() : nullptr;
  return map != nullptr && map->get_intervals() != nullptr ? map->get_intervals()->get_bounds()
                                                           : std::span<const Large>{};
}

/// One more than the highest base id that entries have; in a damaged base no more than there is room for.
inline Large num_ids_of(const DastBaseField& field) {
  const AceIdMap* map = field.get_base_to_entry();
  return map != nullptr ? std::min(map->get_num_keys(), field.get_all_base_ids()) : 0;
}

/// Calls `visit(entry, from, to)` for each entry of the field with records in the context, ascending: those
/// from `from` to `to` - 1. An entry comes again for each range that it has records in.
template <class Visit>
void for_each_entry(const DastBaseField& field, const DastInfoList* context, Large num_records, Visit visit) {
  if (!field.has_intervals()) {
    for_each_range(context, num_records, [&](Large from, Large to) {
      for (Large record = from; record < to; ++record) visit(record, record, record + 1);
    });
    return;
  }
  const std::span<const Large> runs = runs_of(field);
  if (runs.empty()) return;
  const auto numRuns = static_cast<Large>(runs.size() - 1);
  Large entry = 0;  // the last one that does not start behind the range
  for_each_range(context, num_records, [&](Large from, Large to) {
    entry = gallop(entry, numRuns, [&](Large i) { return runs[i + 1] <= from; });
    for (Large i = entry; i < numRuns && runs[i] < to; ++i) {
      const Large start = std::max(from, runs[i]);
      const Large end = std::min(to, runs[i + 1]);
      if (start < end) visit(i, start, end);
    }
  });
}

}  // namespace dast
