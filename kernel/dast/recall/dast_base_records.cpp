// What a base says of its records: lines, exact values, levels of abstraction, orders.
#include <algorithm>
#include <cstring>
#include <vector>

#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "dast/dast_base.h"
#include "dast/dast_base_method.h"
#include "dast/dast_info_list.h"
#include "dast/dast_info_map.h"

namespace {

/// A file of records that count as deleted: pairs [from, to) as an interval list.
class DeletionFile : public AceWrap {
 public:
  VInt read(AceFile* file) override {
    if (pairs.read(file) < 0 || file->get_left() != 0) return -1;
    const auto bounds = pairs.get_bounds();
    const bool areDistinct = std::adjacent_find(bounds.begin(), bounds.end()) == bounds.end();
    return bounds.size() % 2 == 0 && areDistinct ? 0 : -1;
  }
  VInt save(AceFile* file) override { return pairs.save(file); }

  DastInterval pairs;
};

}  // namespace

int DastBase::get_line(Large record, Large* lengths, const char** values, AceAttach* at) const {
  if (record == 0 || record >= numRecords) return -1;
  for (int i = 0; i < get_num_fields(); ++i) {
    values[i] = get_field(i)->get_string_by_recordid(record, nullptr, nullptr, at, DastOptions::ALL);
    lengths[i] = values[i] != nullptr ? static_cast<Large>(std::strlen(values[i])) : 0;
  }
  return get_num_fields();
}

int DastBase::get_single_field(int field, Large record, const char** value, AceAttach* at) const {
  *value = nullptr;
  if (!has_field(field) || record == 0 || record >= numRecords) return -1;
  *value = get_field(field)->get_string_by_recordid(record, nullptr, nullptr, at, DastOptions::ALL);
  return *value != nullptr ? 0 : -1;
}

const char* DastBase::get_field_string(int field, Large base_id, AceAttach* at) const {
  return has_field(field) ? get_field(field)->get_string_by_baseid(base_id, at) : nullptr;
}

Large DastBase::get_exact(int field, const char* text, const Large** ids, AceAttach* at,
                          AceReporter* rep) const {
  *ids = nullptr;
  return has_field(field) ? get_field(field)->get_entries_by_string(text, ids, at, rep) : 0;
}

TeraQuery* DastBase::eval_field(int field, const char* text, DastOptions::Call call, int force_exact,
                                AceReporter* rep) const {
  return has_field(field) ? get_field(field)->eval(text, call, force_exact, rep) : nullptr;
}

const DastInterval* DastBase::get_abstr_interval(int level) const {
  if (level >= 0) return get_abstraction_level(level);
  const DastInterval* coarsest = nullptr;
  for (const auto& list : abstractionLevel)
    if (list->get_num_bounds() > 0 &&
        (coarsest == nullptr || list->get_num_bounds() < coarsest->get_num_bounds()))
      coarsest = list.get();
  return coarsest;
}

DastInfoList* DastBase::abstract_context(const DastInfoList* list, AceAttach* at) const {
  const DastInterval* runs = get_abstr_interval(-1);
  if (runs == nullptr) return new (at) DastInfoList(*list, at);
  const DastSingleInfoMap map(runs, DastInfoMap::SPEEDUP_NEVER, DastInfoMap::SIMILAR);
  return new (at) DastInfoList(*map.up(list, at), at);
}

DastInfoList* DastBase::unabstract_context(const DastInfoList* list, AceAttach* at) const {
  const DastInterval* runs = get_abstr_interval(-1);
  if (runs == nullptr) return new (at) DastInfoList(*list, at);
  const DastSingleInfoMap map(runs, DastInfoMap::SPEEDUP_NEVER, DastInfoMap::SIMILAR);
  auto* records = new (at) DastInfoList(*map.down(list, at));
  records->ensure_no_reference(at);
  return new (at) DastInfoList(*records, at);
}

int DastBase::sort_records(int num_fields, const int* fields, const int* descending, Large* records,
                           Large num_records, AceReporter* rep) const {
  struct Key {
    const DastBaseField* field;
    bool isDescending;
  };
  std::vector<Key> keys;
  for (int i = 0; i < num_fields; ++i) {
    if (!has_field(fields[i]) || get_field(fields[i])->get_string_storage() == nullptr) {
      rep->printf("Cannot sort records by field %d: a field with strings, below %d, expected\n", fields[i],
                  get_num_fields());
      return -1;
    }
    keys.push_back({get_field(fields[i]), descending != nullptr && descending[i] != 0});
  }
  AceAttach at;
  // The strings of all records in one row, so that each is fetched once.
  std::vector<const char*> strings;
  std::vector<std::size_t> order;
  for (Large i = 0; i < num_records; ++i) {
    order.push_back(i);
    for (const Key& key : keys)
      strings.push_back(
          key.field->get_string_by_recordid(records[i], nullptr, nullptr, &at, DastOptions::FIRST));
  }
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    for (std::size_t k = 0; k < keys.size(); ++k) {
      const int cmp =
          keys[k].field->compare_collation(strings[a * keys.size() + k], strings[b * keys.size() + k], 0);
      if (cmp != 0) return keys[k].isDescending ? cmp > 0 : cmp < 0;
    }
    return records[a] < records[b];
  });
  std::vector<Large> sorted;
  for (const std::size_t i : order) sorted.push_back(records[i]);
  std::copy(sorted.begin(), sorted.end(), records);
  return 0;
}

DastInfoList* DastBase::load_delset(const char* filename, AceAttach* at, AceReporter* rep) const {
  DeletionFile file;
  if (file.load(filename, 0, rep) < 0) {
    rep->printf("'%s' is no set of deleted records\n", filename != nullptr ? filename : "");
    return nullptr;
  }
  const auto bounds = file.pairs.get_bounds();
  const DastInfoList pairs(static_cast<Large>(bounds.size()), bounds.data(), true);
  return new (at) DastInfoList(pairs, at);
}

int DastBase::dump_delset(const DastInfoList* deleted, const char* filename, AceReporter* rep) {
  AceAttach at;
  DastInfoList ranges(*deleted);
  ranges.ensure_no_reference(&at);
  DeletionFile file;
  const bool isSingle = ranges.get_type() == DastInfoList::SINGLE;
  for (Large i = 0; i < ranges.get_length(); ++i) {
    const Large record = ranges.get_list()[i];
    const bool continues = isSingle && i > 0 && ranges.get_list()[i - 1] + 1 == record;
    if (isSingle && !continues && i > 0) file.pairs.add(ranges.get_list()[i - 1] + 1);
    if (!continues) file.pairs.add(record);
  }
  if (isSingle && !ranges.is_empty()) file.pairs.add(ranges.get_list()[ranges.get_length() - 1] + 1);
  return file.dump(filename, rep);
}
