#include "dast/count/dast_count_cands_internal.h"

#include <algorithm>
#include <memory>

#include "ace/ace_id_map.h"
#include "ace/ace_time_analysis.h"
#include "dast/dast_info_map.h"
#include "dast/dast_quality_cache.h"
#include "tera/tera_result.h"

using dast::CountedValues;
using dast::FreqStruct;

int CountCandCreator::generate_cands() {
  bool isGrouped = false;
  if (itsTask.has(DastCount::GROUP)) {
    const AceTimeSection section("GROUPING");
    isGrouped = group_cands();
  }
  if (!isGrouped) single_cands();
  return numAdded;
}

// ---------------------------------------------------------------- one candidate for each value

/// The counted values are the most frequent ones, unless groups were wanted and not made.
void CountCandCreator::single_cands() {
  const AceTimeSection section("CREATE_SINGLE_CANDS");
  const auto wanted = static_cast<std::size_t>(targetResult->get_num_cands());
  if (itsCounted.values.size() <= wanted) {
    for (const FreqStruct& value : itsCounted.values) create_single_cand(value);
    if (itsTask.has(DastCount::COMBINE_CANDS) && itsCounted.numCombined > 0) add_combined();
    return;
  }
  CountedValues most = itsCounted.get_most_frequent(wanted, itsTask.config);
  CountCandCreator creator(itsTask, most, itsLimits, candInfo, targetResult);
  creator.single_cands();
  numAdded += creator.numAdded;
}

void CountCandCreator::create_single_cand(const FreqStruct& value) {
  const int quality = itsTask.quals != nullptr ? itsTask.quals->lookup(value.id) : TeraResult::MAX_VALUE;
  if (!targetResult->accept(quality)) return;
  const auto index = static_cast<std::size_t>(&value - itsCounted.values.data());
  const std::string string = get_string(index);
  if (string.empty() && itsTask.has(DastCount::DISABLE_BLANK)) return;
  add(quality, targetResult->attach(string.c_str()), {index, index + 1}, value.value, 0);
}

void CountCandCreator::add_combined() {
  auto cand = std::make_unique<TeraCand>("COMBINED", 0, nullptr);
  cand->add_state(TeraCand::COLLECTION);
  if (candInfo == DastCountOptions::INFO_COUNT) set_info(cand.get(), {0, 0}, itsCounted.sizeCombined);
  numAdded += targetResult->add(TeraResult::MAX_VALUE, cand.release());
}

// ---------------------------------------------------------------- candidates

std::string CountCandCreator::get_string(std::size_t index) const {
  AceAttach at;
  const char* string = itsTask.field.get_string_by_baseid(itsCounted.values[index].id, &at);
  return string != nullptr ? string : "";
}

void CountCandCreator::add(int quality, const char* label, const Stretch& values, VInt figure, int state) {
  auto cand = std::make_unique<TeraCand>(label, 0, nullptr);
  if (state != 0) cand->add_state(static_cast<TeraCand::State>(state));
  set_info(cand.get(), values, figure);
  numAdded += targetResult->add(quality, cand.release());
}

void CountCandCreator::set_info(TeraCand* cand, const Stretch& values, VInt figure) {
  Large* own = nullptr;
  const Large* infos = nullptr;
  Large count = 0;
  switch (candInfo) {
    case DastCountOptions::INFO_BASE_ID:
      count = static_cast<Large>(values.end - values.first);
      targetResult->malloc(own, count);
      for (Large i = 0; i < count; ++i) own[i] = itsCounted.values[values.first + i].id;
      infos = own;
      break;
    case DastCountOptions::INFO_RECORDS:
      count = get_hits(values, &infos);
      break;
    case DastCountOptions::INFO_FIRST:
      count = get_hits(values, &infos);
      if (count > 2 && infos[0] == 0) ++infos;  // the start of the first pair
      count = std::min(count, Large{1});
      break;
    default:
      targetResult->malloc(own, 2);
      own[0] = static_cast<Large>(figure);
      own[1] = static_cast<Large>(figure >> 32);
      count = own[1] != 0 ? 2 : 1;
      infos = own;
  }
  cand->set_infos(count, infos);
}

/// The records of the context that have one of the values, as a candidate holds them.
Large CountCandCreator::get_hits(const Stretch& values, const Large** records) {
  AceAttach at;
  const std::span<const FreqStruct> counted(itsCounted.values);
  const DastInfoList hits =
      dast::collect_records(itsTask, counted.subspan(values.first, values.end - values.first), &at);
  const Large* infos = nullptr;
  const Large count = hits.to_infos(&infos, &at);
  Large* own = nullptr;
  targetResult->malloc(own, count);
  std::copy_n(infos, count, own);
  *records = own;
  return count;
}
