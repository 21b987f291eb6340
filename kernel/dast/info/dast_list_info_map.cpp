#include <algorithm>
#include <unordered_set>
#include <vector>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"

#include "dast/dast_info_map.h"
#include "dast/info/dast_id_lists_internal.h"
#include "dast/info/dast_info_cursor_internal.h"

// Lists: two id maps, one for each direction.

namespace {

/// The values of all keys in the list, each once, as a SINGLE list in `at`.
DastInfoList values_of(const AceIdMap& map, const DastInfoList& keys, Large num_values, AceAttach* at) {
  std::vector<Large> values;
  dast::with_cursor(keys, [&](auto cursor) {
    for (; !cursor.at_end() && cursor.get().from < map.get_num_keys(); cursor.next()) {
      const Large to = std::min(cursor.get().to, map.get_num_keys());
      for (Large key = cursor.get().from; key < to; ++key)
        values.insert(values.end(), map.get(key).begin(), map.get(key).end());
    }
  });
  if (values.size() > num_values / 64) {  // marking costs a word for 64 values, sorting some words a value
    std::vector<bool> isThere(num_values);
    for (const Large value : values) isThere[value] = true;
    values.clear();
    for (Large value = 0; value < num_values; ++value)
      if (isThere[value]) values.push_back(value);
  } else {
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
  }
  return {DastInfoList(static_cast<Large>(values.size()), values.data(), false), at};
}

/// Whether the lists ascend and stay below `num_values`. By slots, whose number the size of the file bounds;
/// lists that keys share are looked at once.
bool has_sound_lists(const AceIdMap& map, Large num_values) {
  if (map.verify(AceReporter::use_default()) < 0) return false;
  const bool isShared = (map.get_mode() & (AceIdMap::DEDUP | AceIdMap::DEDUP_TINY)) != 0;
  std::unordered_set<const Large*> seen;
  Large key = 0;
  const Large* values = nullptr;
  VInt count = 0;
  for (Large slot = 0; slot < map.get_num_keys() && (count = map.get_by_index(slot, key, values)) >= 0;
       ++slot) {
    if (isShared && !seen.insert(values).second) continue;
    if (count > 0 && values[count - 1] >= num_values) return false;
    for (VInt i = 1; i < count; ++i)
      if (values[i - 1] >= values[i]) return false;
  }
  return true;
}

bool same(IdList first, IdList second) {
  return std::equal(first.begin(), first.end(), second.begin(), second.end());
}

}  // namespace

DastIntervalInfoMap::DastIntervalInfoMap(FieldLevel level)
    : DastInfoMap(level),
      intForward(std::make_shared<AceIdMap>()),
      intReverse(std::make_shared<AceIdMap>()) {}

const char* DastIntervalInfoMap::check() const {
  if (intForward == nullptr || intReverse == nullptr) return "they are too many";
  if (!has_sound_lists(*intForward, intReverse->get_num_keys()))
    return "the entries of a record do not ascend or are none";
  if (!has_sound_lists(*intReverse, intForward->get_num_keys()))
    return "the records of an entry do not ascend or are none";
  return nullptr;
}

// ---------------------------------------------------------------- look-up

int DastIntervalInfoMap::range(Large record, Large* entry, Large* from, Large* to) const {
  const Large found = intForward->get_first(record);
  if (entry != nullptr) *entry = found;
  if (from != nullptr) *from = found != NONE ? record : NONE;
  if (to != nullptr) *to = found != NONE ? record + 1 : NONE;
  return found != NONE ? 0 : -1;
}

Large DastIntervalInfoMap::get_entries(Large record, const Large** entries, Large* from, Large* to,
                                       AceAttach*) const {
  range(record, nullptr, from, to);
  return intForward->get_array(record, entries);
}

DastInfoList* DastIntervalInfoMap::up(Large record, AceAttach* at) const {
  const IdList entries = intForward->get(record);
  return make_list({entries.count, entries.values, false}, at);
}

DastInfoList* DastIntervalInfoMap::down(Large entry, AceAttach* at) const {
  const IdList records = intReverse->get(entry);
  return make_list({records.count, records.values, false}, at);
}

DastInfoList* DastIntervalInfoMap::up(const DastInfoList* list, AceAttach* at) const {
  if (is_all(list)) return all_again(list, at);
  return make_list(values_of(*intForward, *list, intReverse->get_num_keys(), at), at);
}

DastInfoList* DastIntervalInfoMap::down(const DastInfoList* list, AceAttach* at) const {
  if (is_all(list)) return all_again(list, at);
  return make_list(values_of(*intReverse, *list, intForward->get_num_keys(), at), at);
}

Large DastIntervalInfoMap::get_num_entries(const DastInfoList* list) const {
  const Large numEntries = intReverse->get_num_keys();
  if (is_all(list)) return numEntries > 0 ? numEntries - 1 : 0;
  AceAttach work;
  return up(list, &work)->get_length();
}

// ---------------------------------------------------------------- other maps

std::unique_ptr<AceIdMap> DastIntervalInfoMap::get_entries() const {
  dast::IdLists lists(intForward->get_num_keys());
  for (Large record = 0; record < intForward->get_num_keys(); ++record)
    for (const Large entry : intForward->get(record)) lists.add(record, entry);
  return lists.make();
}

bool DastIntervalInfoMap::is_hierarchical_to(const DastInterval* level) const {
  for (Large record = 1; record < intForward->get_num_keys(); ++record) {
    const bool isBound = level->get_record(level->get_entry(record)) == record;
    if (!isBound && !same(intForward->get(record - 1), intForward->get(record))) return false;
  }
  return level->get_num_records() >= intForward->get_num_keys();
}

DastInfoMap* DastIntervalInfoMap::make_hierarchical_copy(const DastInterval* level) const {
  if (!is_hierarchical_to(level)) return nullptr;
  dast::IdLists down(intReverse->get_num_keys());
  for (Large entry = 0; entry < intReverse->get_num_keys(); ++entry)
    for (const Large record : intReverse->get(entry)) down.add(entry, level->get_entry(record));
  return make_map(IdMap(down.make()), nullptr, level->get_num_entries());
}

DastInfoMap* DastIntervalInfoMap::make_reverse() const {
  return new DastIntervalInfoMap(intReverse, intForward, get_level());
}

// ---------------------------------------------------------------- saving and reading

VInt DastIntervalInfoMap::save(AceFile* file) const {
  file->put_int(LISTS);
  ACE_CALL(intForward->save(file));
  ACE_CALL(intReverse->save(file));
  return 0;
}

VInt DastIntervalInfoMap::read(AceFile* file) {
  const auto forward = std::make_shared<AceIdMap>();
  const auto reverse = std::make_shared<AceIdMap>();
  if (const VInt rc = forward->read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "intForward->read(file)", static_cast<int>(rc), 0, -1);
  if (const VInt rc = reverse->read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "intReverse->read(file)", static_cast<int>(rc), 0, -1);
  intForward = forward;
  intReverse = reverse;
  isMapped = file->is_mapped();
  const char* fault = check();
  if (fault == nullptr) return 0;
  AceReporter::use_default()->printf("Info map of lists is broken: %s (%u records, %u entries)\n", fault,
                                     forward->get_num_keys(), reverse->get_num_keys());
  return -1;
}
