#include <algorithm>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"

#include "dast/dast_info_map.h"
#include "dast/info/dast_id_lists_internal.h"
#include "dast/info/dast_info_cursor_internal.h"

// Runs: entry i is the run between bounds i and i + 1.

DastSingleInfoMap::DastSingleInfoMap(const DastInterval* interval, Speedup speedup, FieldLevel level)
    : DastInfoMap(level), speedUp(speedup) {
  const AceTimeSection section("ABSTRACTION_MAP_SINGLE");
  singleReverse.make(1, &interval);
  if (speedup == SPEEDUP_ALWAYS || (speedup == SPEEDUP_AUTOMATIC && level == FINER))
    singleForward = get_entries();
}

std::unique_ptr<AceIdMap> DastSingleInfoMap::get_entries() const {
  dast::IdLists lists(singleReverse.get_num_records());
  for (Large entry = 0; entry < get_num_entries(); ++entry) {
    const Large* run = singleReverse.get_range(entry);
    for (Large record = run[0]; record < run[1]; ++record) lists.add(record, entry);
  }
  return lists.make();
}

// ---------------------------------------------------------------- one id

Large DastSingleInfoMap::up(Large record) const {
  if (singleForward != nullptr) return singleForward->get_first(record);
  // Not `get_entry`, for which record 0 is in entry 0 even when that has no records.
  const std::span<const Large> bounds = singleReverse.get_bounds();
  const auto above = std::upper_bound(bounds.begin(), bounds.end(), record);
  return above != bounds.begin() && above != bounds.end() ? static_cast<Large>(above - bounds.begin()) - 1
                                                          : NONE;
}

Large DastSingleInfoMap::down(Large entry) const {
  return singleReverse.get_record(entry);
}

int DastSingleInfoMap::range(Large record, Large* entry, Large* from, Large* to) const {
  const Large found = up(record);
  const Large* run = found != NONE ? singleReverse.get_range(found) : nullptr;
  if (entry != nullptr) *entry = found;
  if (from != nullptr) *from = run != nullptr ? run[0] : NONE;
  if (to != nullptr) *to = run != nullptr ? run[1] : NONE;
  return run != nullptr ? 0 : -1;
}

Large DastSingleInfoMap::get_entries(Large record, const Large** entries, Large* from, Large* to,
                                     AceAttach* at) const {
  Large* entry = nullptr;
  at->malloc(entry, 1);
  *entries = entry;
  return range(record, entry, from, to) == 0 ? 1 : 0;
}

DastInfoList* DastSingleInfoMap::up(Large record, AceAttach* at) const {
  Large* entry = nullptr;
  *at->malloc(entry, 1) = up(record);
  return make_list({*entry != NONE ? 1U : 0U, entry, false}, at);
}

DastInfoList* DastSingleInfoMap::down(Large entry, AceAttach* at) const {
  Large* entries = nullptr;
  *at->malloc(entries, 1) = entry;
  if (singleReverse.get_range(entry) == nullptr) return make_list({0, nullptr, false}, at);
  return make_list({1, entries, singleReverse.get_array()}, at);
}

// ---------------------------------------------------------------- sets

/// Calls `found(from, to)`, pairs of entries, for each range of the list that has entries. Ranges may share
/// their first entry with the range before.
template <class Found>
void DastSingleInfoMap::for_each_entry_range(const DastInfoList* list, Found found) const {
  const Large* bounds = singleReverse.get_array();
  const Large numBounds = singleReverse.get_num_bounds();
  if (numBounds < 2) return;
  dast::with_cursor(*list, [&](auto cursor) {
    Large next = 0;  // the first bound behind what is known to be passed
    for (cursor.seek(bounds[0]); !cursor.at_end(); cursor.next()) {
      const Large from = cursor.get().from;
      const Large to = cursor.get().to;
      next = dast::gallop(next, numBounds, [=](Large i) { return bounds[i] <= from; });
      if (next == numBounds) return;
      const Large first = next > 0 ? next - 1 : 0;
      const Large last = dast::gallop(next, numBounds - 1, [=](Large i) { return bounds[i] < to; });
      found(first, last);
    }
  });
}

DastInfoList* DastSingleInfoMap::up(const DastInfoList* list, AceAttach* at) const {
  if (is_all(list)) return all_again(list, at);
  // The entries that `down` was given are the answer.
  if (list->get_type() == DastInfoList::REFERENCE && list->get_refs() == singleReverse.get_array()) {
    const DastInfoList entries(list->get_length(), list->get_list(), false);
    return new (at) DastInfoList(entries, at);
  }
  const bool isSingle = list->get_type() == DastInfoList::SINGLE;
  Large* entries = nullptr;
  dast::SetWriter out(at->malloc(entries, 2 * VInt{list->get_length()}));
  Large lowest = 0;  // entries below have been seen
  for_each_entry_range(list, [&](Large from, Large to) {
    if (isSingle && from >= lowest) out.add_id({from, to});
    if (!isSingle) out.add_pair({from, to});
    lowest = to;
  });
  return make_list({out.get_length(), entries, !isSingle && out.get_length() > 0}, at);
}

DastInfoList* DastSingleInfoMap::down(const DastInfoList* list, AceAttach* at) const {
  if (is_all(list)) return all_again(list, at);
  const Large numEntries = get_num_entries();
  const Large* bounds = singleReverse.get_array();
  if (list->get_type() == DastInfoList::SINGLE) {
    const DastInfoList entries(*list, at);
    const Large* end = entries.get_list() + entries.get_length();
    const Large count =
        static_cast<Large>(std::lower_bound(entries.get_list(), end, numEntries) - entries.get_list());
    return make_list({count, entries.get_list(), count > 0 ? bounds : nullptr}, at);
  }
  Large* pairs = nullptr;
  dast::SetWriter out(at->malloc(pairs, 2 * VInt{list->get_length()}));
  dast::with_cursor(*list, [&](auto cursor) {
    for (; !cursor.at_end() && cursor.get().from < numEntries; cursor.next()) {
      const auto [from, to] = cursor.get();
      const Large start = bounds[from];
      const Large end = to == NONE ? NONE : bounds[std::min(to, numEntries)];
      if (start < end) out.add_pair({start, end});
    }
  });
  return make_list({out.get_length(), pairs, out.get_length() > 0}, at);
}

Large DastSingleInfoMap::get_num_entries(const DastInfoList* list) const {
  const AceTimeSection section("SINGLE_MAP_GET_NUM_ENTRIES");
  const Large numEntries = get_num_entries();
  if (is_all(list)) return numEntries > 0 ? numEntries - 1 : 0;
  Large count = 0;
  Large lowest = 0;
  for_each_entry_range(list, [&](Large from, Large to) {
    from = std::max(from, lowest);
    if (from < to) count += to - from;
    lowest = to;
  });
  return count;
}

// ---------------------------------------------------------------- other maps

bool DastSingleInfoMap::is_hierarchical_to(const DastInterval* level) const {
  return singleReverse.can_abstract(level);
}

DastInfoMap* DastSingleInfoMap::make_hierarchical_copy(const DastInterval* level) const {
  if (!is_hierarchical_to(level)) return nullptr;
  DastInterval bounds;
  for (const Large bound : singleReverse.get_bounds()) bounds.add(level->get_entry(bound), true);
  return new DastSingleInfoMap(&bounds, speedUp, get_level());
}

DastInfoMap* DastSingleInfoMap::make_reverse() const {
  const IdMap entries(get_entries());
  return make_map(entries,
                  entries != nullptr ? IdMap(dast::inverse_of(*entries, get_num_entries())) : nullptr,
                  get_num_entries());
}

// ---------------------------------------------------------------- saving and reading

VInt DastSingleInfoMap::save(AceFile* file) const {
  file->put_int(RUNS);
  file->put_int(singleForward != nullptr ? 1 : 0);
  if (singleForward != nullptr) ACE_CALL(singleForward->save(file));
  if (const VInt rc = singleReverse.save(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "singleReverse->save(file)", static_cast<int>(rc), 0, -1);
  file->put_int(speedUp);
  return 0;
}

VInt DastSingleInfoMap::read(AceFile* file) {
  singleForward.reset();
  const int hasTable = file->get_int();
  if (hasTable == 1) {
    singleForward = std::make_unique<AceIdMap>();
    ACE_CALL(singleForward->read(file));
  }
  if (const VInt rc = singleReverse.read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "singleReverse->read(file)", static_cast<int>(rc), 0, -1);
  const int speedup = file->get_int();
  isMapped = file->is_mapped();
  const char* fault = nullptr;
  if (hasTable < 0 || hasTable > 1 || speedup < SPEEDUP_AUTOMATIC || speedup > SPEEDUP_NEVER)
    fault = "expected flags of 0 to 1 and 0 to 2";
  else if (file->is_short())
    fault = "the file ends early";
  else
    fault = check_table();
  if (fault != nullptr) {
    AceReporter::use_default()->printf("Info map of runs is broken: %s (table %d, speed-up %d, %u entries)\n",
                                       fault, hasTable, speedup, get_num_entries());
    return -1;
  }
  speedUp = static_cast<Speedup>(speedup);
  return 0;
}

/// Null, or what is wrong. Works by slots, whose number the size of the file bounds.
const char* DastSingleInfoMap::check_table() const {
  constexpr const char* WRONG = "the table says another entry of a record than the bounds";
  if (singleForward == nullptr) return nullptr;
  Large key = 0;
  const Large* values = nullptr;
  Large slot = 0;
  for (Large entry = 0; entry < get_num_entries(); ++entry) {
    const Large* run = singleReverse.get_range(entry);
    for (Large record = run[0]; record < run[1]; ++record) {
      VInt count = 0;
      do count = singleForward->get_by_index(slot++, key, values);
      while (count == 0);
      if (count != 1 || key != record || values[0] != entry) return WRONG;
    }
  }
  while (slot < singleForward->get_num_keys()) {
    const VInt count = singleForward->get_by_index(slot++, key, values);
    if (count > 0) return WRONG;
    if (count < 0) break;
  }
  return nullptr;
}
