#include <algorithm>
#include <charconv>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "dast/build/dast_base_stats_internal.h"
#include "dast/build/dast_record_chunk_internal.h"
#include "dast/dast_field_flags.h"
#include "dast/dast_record_iterator.h"
#include "tera/tera_sort_head.h"

// ---------------------------------------------------------------- values

void DastBaseStats::add_field(const char* name, int type, bool is_sorted) {
  fieldStats.push_back(std::make_unique<Field>(name, type, is_sorted));
}

void DastBaseStats::Field::collect(std::string_view value, Large record) {
  if (isSorted && !value.empty()) fullStrings.count(value, record);
  VInt numParts = 0;
  dast_for_each_part(value, [&](std::string_view part) {
    ++numParts;
    collect_part(part, record);
  });
  numLocalAliases += numParts - 1;
  numWithAliases += numParts > 1 ? 1 : 0;
}

void DastBaseStats::Field::collect_part(std::string_view part, Large record) {
  if ((fieldType & DastFieldFlags::NUMERIC_STORAGE) != 0 && !part.empty()) {
    VUint number = 0;
    const auto [stop, error] = std::from_chars(part.data(), part.data() + part.size(), number);
    if (error != std::errc() || stop != part.data() + part.size() || static_cast<VInt>(number) < 0)
      throw AceException("Invalid number",
                         "record %u, field '%s': a number from 0 to 2^63 - 1 expected, '%.*s' found", record,
                         fieldName, static_cast<int>(std::min<std::size_t>(part.size(), 100)), part.data());
    maxNumeric = std::max(maxNumeric, number);
    part = dast_normal_number(part);
  }
  if ((fieldType & DastFieldFlags::ADVANCED_FEATURES) != 0) singles.count(part, record);
}

VInt DastBaseStats::collect_word_stat(RecordIterator* source, int num_threads, AceReporter* rep) {
  const int numFields = static_cast<int>(fieldStats.size());
  const Mask all = numFields == 64 ? ~Mask{0} : (Mask{1} << numFields) - 1;
  RecordChunk chunk;
  VInt count = 0;
  while (chunk.fill(source, numFields, static_cast<Large>(count + 1)) > 0) {
    dast_for_each_field(all, num_threads, [&](int i) {
      for (int line = 0; line < chunk.get_num_lines(); ++line)
        get_field(i)->collect(chunk.get_field(line, i), chunk.get_start() + static_cast<Large>(line));
    });
    count += chunk.get_num_lines();
    if (count >= VInt{DastValueTable::NONE} - 1)
      throw AceException("Invalid record file", "fewer than %u records expected", DastValueTable::NONE - 1);
    if (rep->pset(count, "Collecting Word Statistics") < 0) return -1;
  }
  numRecords = static_cast<Large>(count);
  return count;
}

// ---------------------------------------------------------------- sorting

/// The values that records are sorted by, of all fields in one row.
struct DastBaseStats::Descriptors {
  static constexpr Large NONE = ~Large{0};

  std::vector<Large> firstOf;  // per field: its first value in `rank`
  std::vector<Large> rank;     // per value: its number among the descriptors; NONE when it does not count
  std::vector<Large> sizes;    // per descriptor: the records that have it
  std::vector<const char*> texts;
  VInt numRefs = 0;
};

DastBaseStats::Descriptors DastBaseStats::find_descriptors(int sort_level) const {
  Descriptors found;
  struct Repeated {
    Large value;
    const DastValueTable::Value* entry;
  };
  std::vector<Repeated> repeated;
  VInt occurrences = 0;
  for (const auto& field : fieldStats) {
    const auto first = static_cast<Large>(found.rank.size());
    found.firstOf.push_back(first);
    if (!field->isSorted) continue;
    const DastValueTable& table = field->fullStrings;
    found.rank.resize(first + table.size(), Descriptors::NONE);
    for (Large i = 0; i < table.size(); ++i) {
      if (table[i].numRecords < 2) continue;
      repeated.push_back({first + i, &table[i]});
      occurrences += table[i].numRecords;
    }
  }
  std::stable_sort(repeated.begin(), repeated.end(), [](const Repeated& a, const Repeated& b) {
    return a.entry->numRecords > b.entry->numRecords;
  });
  for (const Repeated& value : repeated) {
    if (found.numRefs * 100 >= occurrences * sort_level) break;
    found.rank[value.value] = static_cast<Large>(found.sizes.size());
    found.sizes.push_back(value.entry->numRecords);
    found.texts.push_back(value.entry->text);
    found.numRefs += value.entry->numRecords;
  }
  return found;
}

namespace {

/// The descriptors of each record, back to back.
struct RecordRefs {
  std::vector<Large> starts{0};
  std::vector<Large> descs;

  bool is_same(Large a, Large b) const {
    return std::equal(descs.begin() + starts[a], descs.begin() + starts[a + 1], descs.begin() + starts[b],
                      descs.begin() + starts[b + 1]);
  }
};

/// Inside runs of records with the same descriptors the input's order counts.
void keep_input_order(const RecordRefs& refs, std::vector<Large>* order) {
  for (auto first = order->begin(); first != order->end();) {
    auto last =
        std::find_if_not(first, order->end(), [&](Large record) { return refs.is_same(*first, record); });
    std::sort(first, last);
    first = last;
  }
}

}  // namespace

int DastBaseStats::sort(RecordIterator* source, int sort_level, std::vector<Large>* order,
                        AceReporter* rep) const {
  const Descriptors descriptors = find_descriptors(sort_level);
  RecordRefs refs;
  RecordChunk chunk;
  const int numFields = static_cast<int>(fieldStats.size());
  Large start = 1;
  while (chunk.fill(source, numFields, start) > 0) {
    start += static_cast<Large>(chunk.get_num_lines());
    for (int line = 0; line < chunk.get_num_lines(); ++line) {
      for (int i = 0; i < numFields; ++i) {
        if (!get_field(i)->isSorted) continue;
        const Large value = get_field(i)->fullStrings.find(chunk.get_field(line, i));
        if (value == DastValueTable::NONE) continue;
        const Large desc = descriptors.rank[descriptors.firstOf[static_cast<std::size_t>(i)] + value];
        if (desc != Descriptors::NONE) refs.descs.push_back(desc);
      }
      refs.starts.push_back(static_cast<Large>(refs.descs.size()));
    }
  }
  if (start - 1 != numRecords || static_cast<VInt>(refs.descs.size()) != descriptors.numRefs)
    throw AceException("Record file has changed", "%u records expected, %u found", numRecords, start - 1);

  SortHead head(static_cast<int>(numRecords), rep, 0);
  if (head.init(descriptors.numRefs, static_cast<VInt>(descriptors.sizes.size()),
                static_cast<int>(numRecords)) < 0)
    return ace_error(__FILE__, __LINE__, "head.init(num_refs, num_descs, num_records)", -1, 0, -1);
  std::vector<SortDesc*> descs;
  for (std::size_t i = 0; i < descriptors.sizes.size(); ++i)
    descs.push_back(head.make_desc(descriptors.sizes[i], descriptors.texts[i], 0));
  head.make_desc(0, "", 0);
  for (Large record = 0; record < numRecords; ++record) {
    head.begin_record(record);
    for (Large ref = refs.starts[record]; ref < refs.starts[record + 1]; ++ref)
      head.add_rec_ref(descs[refs.descs[ref]]);
    head.finish_record();
  }
  head.finish_build();
  ACE_CALL(head.sort(rep));
  order->clear();
  for (const SortRecord* record = SortHead::next_record(head.start_record()); record != nullptr;
       record = SortHead::next_record(record))
    order->push_back(static_cast<Large>(SortHead::get_old_index(record)));
  keep_input_order(refs, order);
  return order->size() == numRecords ? 0 : -1;
}
