#include "dast/dast_info_map.h"

#include <algorithm>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"

#include "dast/info/dast_id_lists_internal.h"

namespace {

constexpr Large NONE = DastInfoMap::NONE;

/// The attribute numbers of a candidate as a set.
DastInfoList list_of(Large count, const Large* infos, Large shift, AceAttach* at) {
  const bool isPairs = count > 2 && infos[0] == 0;
  DastInfoList list = isPairs ? DastInfoList(count - 1, infos + 1, true) : DastInfoList(count, infos, false);
  if (shift != 0) list.apply_offset(shift, at);
  return list;
}

/// A map of lists from the records that `records_of(entry, at)` gives for each entry.
template <class RecordsOf>
DastInfoMap* make_lists(Large num_entries, RecordsOf records_of) {
  dast::IdLists down(num_entries);
  Large numRecords = 0;
  for (Large entry = 0; entry < num_entries; ++entry) {
    AceAttach at;
    const DastInfoList* list = records_of(entry, &at);
    const Large* records = nullptr;
    const Large count = list->get_single(&records, &at, NONE);
    for (Large i = 0; i < count; ++i) down.add(entry, records[i]);
    if (count > 0) numRecords = std::max(numRecords, records[count - 1] + 1);
  }
  return DastInfoMap::make_map(DastInfoMap::IdMap(down.make()), nullptr, numRecords);
}

DastInfoMap* make_runs(const DastInterval* bounds, bool speed_up) {
  const auto speedup = speed_up ? DastInfoMap::SPEEDUP_ALWAYS : DastInfoMap::SPEEDUP_NEVER;
  return DastInfoMap::make_map(bounds, nullptr, speedup, DastInfoMap::SIMILAR);
}

}  // namespace

// ---------------------------------------------------------------- for all kinds

bool DastInfoMap::is_all(const DastInfoList* list) {
  return list == nullptr || list->get_type() == DastInfoList::NOT_USED || list->is_frequent();
}

DastInfoList* DastInfoMap::all_again(const DastInfoList* list, AceAttach* at) {
  return list != nullptr ? new (at) DastInfoList(*list, at) : nullptr;
}

Large DastInfoMap::up(Large count, const Large* infos, const Large** result, Large shift,
                      AceAttach* at) const {
  const DastInfoList list = list_of(count, infos, shift, at);
  return up(&list, at)->to_infos(result, at);
}

Large DastInfoMap::down(Large count, const Large* infos, const Large** result, Large shift,
                        AceAttach* at) const {
  const DastInfoList list = list_of(count, infos, shift, at);
  return down(&list, at)->to_infos(result, at);
}

void DastInfoMap::destroy(DastInfoMap*& map) {
  if (map != nullptr) map->unref();
  map = nullptr;
}

int DastInfoMap::get_range(Large entry, Large* from, Large* to) const {
  const DastInterval* intervals = get_intervals();
  const Large* bounds = intervals != nullptr ? intervals->get_range(entry) : nullptr;
  if (bounds == nullptr) return -1;
  *from = bounds[0];
  *to = bounds[1];
  return 0;
}

DastInfoList* DastInfoMap::entry2abstraction(const DastInfoList* list, AceAttach* at) const {
  if (fieldLevel == SIMILAR) return all_again(list, at);
  return fieldLevel == COARSER ? down(list, at) : up(list, at);
}

Large DastInfoMap::entry2abstraction(Large entry) const {
  if (fieldLevel == SIMILAR) return entry;
  return fieldLevel == COARSER ? down(entry) : up(entry);
}

DastInfoList* DastInfoMap::reverse(const DastInfoList* list, AceAttach* at) const {
  if (fieldLevel == SIMILAR) return all_again(list, at);
  return fieldLevel == COARSER ? up(list, at) : down(list, at);
}

Large DastInfoMap::reverse(Large abstraction) const {
  if (fieldLevel == SIMILAR) return abstraction;
  return fieldLevel == COARSER ? up(abstraction) : down(abstraction);
}

// ---------------------------------------------------------------- making

DastInfoMap* DastInfoMap::make_map(const DastInterval* interval, const DastInfoMap* other, Speedup speedup,
                                   FieldLevel level) {
  if (other != nullptr) return make_interval_map(interval, other, level);
  return new DastSingleInfoMap(interval, speedup, level);
}

DastInfoMap* DastInfoMap::make_map(IdMap entry_to_record, IdMap record_to_entry, Large num_records) {
  if (record_to_entry == nullptr && entry_to_record != nullptr)
    record_to_entry = IdMap(dast::inverse_of(*entry_to_record, num_records));
  auto map = std::make_unique<DastIntervalInfoMap>(record_to_entry, entry_to_record, SIMILAR);
  if (const char* fault = map->check(); fault != nullptr) {
    AceReporter::use_default()->printf("These lists make no info map: %s\n", fault);
    return nullptr;
  }
  return map.release();
}

DastInfoMap* DastInfoMap::make_interval_map(const DastInterval* interval, const DastInfoMap* other,
                                            FieldLevel level) {
  DastInfoMap* map = make_lists(interval->get_num_entries(), [=](Large entry, AceAttach* at) {
    const DastInfoList records(2, interval->get_range(entry), true);
    return other->up(&records, at);
  });
  if (map != nullptr) map->fieldLevel = level;
  return map;
}

DastInfoMap* DastInfoMap::make_offset_map(int offset) {
  return new DastOffsetInfoMap(offset, SIMILAR);
}

DastInfoMap* DastInfoMap::make_chained_map(const DastInfoMap* coarse, const DastInfoMap* fine,
                                           bool speed_up) {
  const auto* first = dynamic_cast<const DastOffsetInfoMap*>(coarse);
  const auto* second = dynamic_cast<const DastOffsetInfoMap*>(fine);
  if (first != nullptr && second != nullptr) {
    int offset = 0;
    if (!__builtin_add_overflow(first->offsetVal, second->offsetVal, &offset)) return make_offset_map(offset);
    AceReporter::use_default()->printf("The offsets %d and %d of two info maps are too large to be added\n",
                                       first->offsetVal, second->offsetVal);
    return nullptr;
  }
  const DastInterval* runs = coarse->get_intervals();
  if (first == nullptr && runs != nullptr && (second != nullptr || fine->get_intervals() != nullptr)) {
    DastInterval bounds;
    for (const Large bound : runs->get_bounds())
      if (const Large record = fine->down(bound); record != NONE) bounds.add(record, true);
    return make_runs(&bounds, speed_up);
  }
  if (first != nullptr && fine->get_intervals() != nullptr) {
    DastInterval bounds;  // entries that the offset leads below 0 are empty runs
    const Large numBounds = first->up(fine->get_intervals()->get_num_bounds());
    for (Large i = 0; i < numBounds; ++i)
      bounds.add(fine->down(first->down(i) != NONE ? first->down(i) : 0), true);
    return make_runs(&bounds, speed_up);
  }
  const Large numEntries = first != nullptr ? first->up(fine->get_num_entries()) : coarse->get_num_entries();
  return make_lists(numEntries,
                    [=](Large entry, AceAttach* at) { return fine->down(coarse->down(entry, at), at); });
}

DastInfoMap* DastInfoMap::make_updated_map(const DastInfoMap* base, const DastInfoMap* added, bool speed_up) {
  if (base->get_intervals() != nullptr && added->get_intervals() != nullptr) {
    const std::span<const Large> old = base->get_intervals()->get_bounds();
    const std::span<const Large> all = added->get_intervals()->get_bounds();
    if (old.size() <= all.size() && std::equal(old.begin(), old.end(), all.begin()))
      return make_runs(added->get_intervals(), speed_up);
  }
  if (base->get_num_entries() == NONE || added->get_num_entries() == NONE) return nullptr;
  return make_lists(std::max(base->get_num_entries(), added->get_num_entries()),
                    [=](Large entry, AceAttach* at) {
                      DastInfoList* records = base->down(entry, at);
                      records->union_with(added->down(entry, at), at);
                      return records;
                    });
}

// ---------------------------------------------------------------- saving and reading

VInt DastInfoMap::save_map(const DastInfoMap* map, AceFile* file) {
  file->put_int(map->fieldLevel);
  if (const VInt rc = map->save(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "save(file)", static_cast<int>(rc), 0, -1);
  return 0;
}

DastInfoMap* DastInfoMap::read_map(AceFile* file) {
  const int level = file->get_int();
  const int kind = file->get_int();
  if (level < SIMILAR || level > FINER || kind < RUNS || kind > OFFSET || file->is_short()) {
    AceReporter::use_default()->printf(
        "Info map: expected a level of 0 to 2 and a kind of 1 to 3, found level %d and kind %d\n", level,
        kind);
    return nullptr;
  }
  const auto fieldLevel = static_cast<FieldLevel>(level);
  struct Unref {
    void operator()(DastInfoMap* map) const { map->unref(); }
  };
  std::unique_ptr<DastInfoMap, Unref> map;
  if (kind == RUNS)
    map.reset(new DastSingleInfoMap(fieldLevel));
  else if (kind == LISTS)
    map.reset(new DastIntervalInfoMap(fieldLevel));
  else
    map.reset(new DastOffsetInfoMap(0, fieldLevel));
  return map->read(file) < 0 ? nullptr : map.release();
}
