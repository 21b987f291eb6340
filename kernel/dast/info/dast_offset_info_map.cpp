#include <algorithm>
#include <cstdlib>

#include "ace/ace_file.h"
#include "ace/ace_reporter.h"

#include "dast/dast_info_map.h"

namespace {

constexpr VInt LARGEST = 2147483647;  // offsets can be turned round

}  // namespace

// Offset: entry e is record e + offset. Entries below 0 and records beyond the ids are none.

Large DastOffsetInfoMap::up(Large record) const {
  if (record == NONE) return NONE;
  const VInt entry = VInt{record} - offsetVal;
  return entry > 0 && entry < NONE ? static_cast<Large>(entry) : 0;
}

Large DastOffsetInfoMap::down(Large entry) const {
  const VInt record = VInt{entry} + offsetVal;
  return entry != NONE && record >= 0 && record < NONE ? static_cast<Large>(record) : NONE;
}

int DastOffsetInfoMap::range(Large record, Large* entry, Large* from, Large* to) const {
  const bool isThere = record != NONE;
  if (entry != nullptr) *entry = up(record);
  if (from != nullptr) *from = record;
  if (to != nullptr) *to = isThere ? record + 1 : NONE;
  return isThere ? 0 : -1;
}

Large DastOffsetInfoMap::get_entries(Large record, const Large** entries, Large* from, Large* to,
                                     AceAttach* at) const {
  Large* entry = nullptr;
  at->malloc(entry, 1);
  *entries = entry;
  return range(record, entry, from, to) == 0 ? 1 : 0;
}

DastInfoList* DastOffsetInfoMap::up(Large record, AceAttach* at) const {
  const DastInfoList records(1, &record, false);
  return up(&records, at);
}

DastInfoList* DastOffsetInfoMap::down(Large entry, AceAttach* at) const {
  const DastInfoList entries(1, &entry, false);
  return down(&entries, at);
}

/// The elements of the list that are at least `lowest`, moved by `d`.
static DastInfoList moved(const DastInfoList& list, VInt lowest, VInt d, AceAttach* at) {
  constexpr VInt OPEN = DastInfoList::NONE;  // an end that is cut by d is open again when d is added
  const Large window[] = {static_cast<Large>(std::max(lowest, VInt{0})),
                          static_cast<Large>(d > 0 ? OPEN - d : OPEN)};
  const DastInfoList rest(2, window, true);
  DastInfoList result = list;
  result.intersect_with(&rest, at);
  result.apply_offset(d, at);
  return result;
}

DastInfoList* DastOffsetInfoMap::up(const DastInfoList* list, AceAttach* at) const {
  if (is_all(list)) return all_again(list, at);
  auto* result = make_list(moved(*list, VInt{offsetVal} + 1, -VInt{offsetVal}, at), at);
  const Large upTo[] = {0, static_cast<Large>(std::max(VInt{offsetVal} + 1, VInt{0}))};
  const DastInfoList low(upTo[1] > 0 ? 2 : 0, upTo, true);
  if (!list->has_intersection(&low)) return result;
  const Large zero = 0;  // what records not above the offset go up to
  const DastInfoList none(1, &zero, false);
  result->union_with(&none, at);
  return result;
}

DastInfoList* DastOffsetInfoMap::down(const DastInfoList* list, AceAttach* at) const {
  if (is_all(list)) return all_again(list, at);
  return make_list(moved(*list, -VInt{offsetVal}, offsetVal, at), at);
}

Large DastOffsetInfoMap::get_num_entries(const DastInfoList* list) const {
  if (is_all(list)) return NONE;
  AceAttach work;
  return up(list, &work)->get_size();
}

bool DastOffsetInfoMap::is_hierarchical_to(const DastInterval* level) const {
  for (Large i = 1; i < level->get_num_bounds(); ++i)
    if (level->get_record(i) != level->get_record(i - 1) + 1) return false;
  return level->get_num_bounds() > 0;
}

DastInfoMap* DastOffsetInfoMap::make_hierarchical_copy(const DastInterval* level) const {
  if (!is_hierarchical_to(level)) return nullptr;
  const VInt offset = VInt{offsetVal} - level->get_record(0);
  return std::abs(offset) <= LARGEST ? new DastOffsetInfoMap(static_cast<int>(offset), get_level()) : nullptr;
}

DastInfoMap* DastOffsetInfoMap::make_reverse() const {
  return new DastOffsetInfoMap(-offsetVal, get_level());
}

VInt DastOffsetInfoMap::save(AceFile* file) const {
  file->put_int(OFFSET);
  file->put_int(offsetVal);
  return 0;
}

VInt DastOffsetInfoMap::read(AceFile* file) {
  offsetVal = file->get_int();
  isMapped = file->is_mapped();
  if (!file->is_short() && std::abs(VInt{offsetVal}) <= LARGEST) return 0;
  AceReporter::use_default()->printf("Info map: expected an offset of at most %ld, found %d\n", LARGEST,
                                     offsetVal);
  return -1;
}
