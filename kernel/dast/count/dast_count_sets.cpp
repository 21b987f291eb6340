// Contexts without repeated values, and contexts with all that have the same values.
#include <algorithm>
#include <vector>

#include "ace/ace_id_map.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "dast/count/dast_count_context_internal.h"
#include "dast/dast_count.h"
#include "tera/tera_result.h"

namespace {

/// Ranges of records that come in ascending order, as pairs.
class RangeList {
 public:
  void add(Large from, Large to) {
    if (from >= to) return;
    numRecords += to - from;
    if (!bounds.empty() && bounds.back() == from)
      bounds.back() = to;
    else
      bounds.insert(bounds.end(), {from, to});
  }
  VInt get_num_records() const { return numRecords; }
  DastInfoList get() const { return {static_cast<Large>(bounds.size()), bounds.data(), true}; }

 private:
  std::vector<Large> bounds;
  VInt numRecords = 0;
};

const char* name_of(const DastBaseField* field) {
  return field != nullptr ? field->get_name() : "";
}

/// The values of entries, without the empty one.
template <class Visit>
void for_each_id(const DastBaseField& field, Large entry, Visit visit) {
  const AceIdMap* map = field.get_entry_to_base();
  const Large numIds = dast::num_ids_of(field);
  if (map == nullptr) return;
  for (const Large id : map->get(entry))
    if (id != 0 && id < numIds) visit(id);
}

}  // namespace

/// The set as a candidate of its own.
int DastCount::add_context_cand(TeraResult* result, const DastInfoList& records) const {
  AceAttach at;
  const Large* infos = nullptr;
  const Large count = records.to_infos(&infos, &at);
  Large* own = nullptr;
  result->malloc(own, count);
  std::copy_n(infos, count, own);
  auto* cand = new TeraCand(nullptr, count, own);
  if (records.is_frequent()) cand->add_state(TeraCand::FREQUENT);
  return result->add(TeraResult::MAX_VALUE, cand);
}

VInt DastCount::dedup_context(TeraResult* result, AceReporter* rep) const {
  const AceTimeSection section("DEDUPLICATE");
  if (dast::is_whole(contextList)) {
    rep->printf("Trying to deduplicate without a context\n");
    return -1;
  }
  if (const char* fault = find_fault(result); fault != nullptr) {
    rep->printf("Cannot deduplicate by field '%s': %s\n", name_of(countField), fault);
    return -1;
  }
  rep->printf("Deduplicating context of size %i\n",
              static_cast<int>(dast::count_records(contextList, numRecords)));
  std::vector<bool> isMet(dast::num_ids_of(*countField), false);
  RangeList kept;
  dast::for_each_entry(*countField, contextList, numRecords, [&](Large entry, Large from, Large to) {
    bool hasValue = false;
    bool isNew = false;
    for_each_id(*countField, entry, [&](Large id) {
      hasValue = true;
      isNew = isNew || !isMet[id];
      isMet[id] = true;
    });
    if (!hasValue) kept.add(from, to);
    if (isNew) kept.add(from, from + 1);
  });
  rep->printf("Deduplicated context to %i records\n", static_cast<int>(kept.get_num_records()));
  add_context_cand(result, kept.get());
  return kept.get_num_records();
}

VInt DastCount::widen_context(TeraResult* result, AceReporter* rep) const {
  if (const char* fault = find_fault(result); fault != nullptr) {
    rep->printf("Cannot widen a context by field '%s': %s\n", name_of(countField), fault);
    return -1;
  }
  if (dast::is_whole(contextList)) {
    const Large all[] = {0, DastInfoList::NONE};
    add_context_cand(result, DastInfoList(2, all, true));
    return numRecords > 0 ? numRecords - 1 : 0;
  }
  std::vector<bool> isWanted(dast::num_ids_of(*countField), false);
  dast::for_each_entry(*countField, contextList, numRecords, [&](Large entry, Large, Large) {
    for_each_id(*countField, entry, [&](Large id) { isWanted[id] = true; });
  });
  RangeList sharing;
  dast::for_each_entry(*countField, nullptr, numRecords, [&](Large entry, Large from, Large to) {
    bool isShared = false;
    for_each_id(*countField, entry, [&](Large id) { isShared = isShared || isWanted[id]; });
    if (isShared) sharing.add(from, to);
  });
  AceAttach at;
  DastInfoList widened = sharing.get();
  const DastInfoList context(*contextList);
  widened.union_with(&context, &at);
  add_context_cand(result, widened);
  return widened.get_size();
}
