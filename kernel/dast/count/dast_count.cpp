#include "dast/dast_count.h"

#include <limits>

#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "ace/ace_tracer.h"
#include "dast/count/dast_count_cands_internal.h"
#include "dast/dast_quality_cache.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

namespace {

bool has_text(const char* text) {
  return text != nullptr && text[0] != '\0';
}

int flags_of(const DastCountOptions& options, bool is_utf) {
  int flags = 0;
  const auto set = [&flags](bool on, int bits) { flags |= on ? bits : 0; };
  set(is_utf, DastCount::IS_UTF);
  set(options.info == DastCountOptions::INFO_RECORDS, DastCount::WITH_INFO);
  set(options.info == DastCountOptions::INFO_FIRST, DastCount::FIRST_INFO);
  set(options.info == DastCountOptions::INFO_BASE_ID, DastCount::INFO_BASE_ID);
  set(options.collapse, DastCount::COLLAPSE_ARRAY | DastCount::GROUP);
  set(options.groupEquidistant, DastCount::GROUP_EQUIDISTANT | DastCount::GROUP);
  set(options.enforceGroups, DastCount::ENFORCE_GROUP_NO | DastCount::GROUP);
  set(options.group || has_text(options.limit), DastCount::GROUP);
  set(options.dedupAliases, DastCount::INNER_REC_DEDUP);
  set(options.disableBlank, DastCount::DISABLE_BLANK);
  set(options.combine, DastCount::COMBINE_CANDS);
  set(options.removeEmpty, DastCount::REMOVE_EMPTY);
  return flags;
}

DastCountOptions::Info info_of(int flags) {
  if ((flags & DastCount::WITH_INFO) != 0) return DastCountOptions::INFO_RECORDS;
  if ((flags & DastCount::FIRST_INFO) != 0) return DastCountOptions::INFO_FIRST;
  return (flags & DastCount::INFO_BASE_ID) != 0 ? DastCountOptions::INFO_BASE_ID
                                                : DastCountOptions::INFO_COUNT;
}

struct Unref {
  void operator()(TeraScanGraph* graph) const { graph->decr_ref(); }
};

}  // namespace

DastCount::DastCount(const DastBaseField* count_field, const DastInfoList* context, Large num_records,
                     bool is_utf, const DastCountOptions& options, const DastBaseField* rel_field)
    : numRecords(num_records),
      countField(count_field),
      contextList(context),
      countOptions{options.callMode, flags_of(options, is_utf), options.relOp, rel_field, options.limit} {}

/// What keeps the options from being carried out; null for nothing.
const char* DastCount::find_fault(const TeraResult* result) const {
  if (result == nullptr) return "a result expected";
  if (countField == nullptr || !countField->can_count()) return "a field with ADVANCED features expected";
  const DastBaseField* related = countOptions.relField;
  switch (countOptions.relOp) {
    case DastCountOptions::NO_ACTION:
      return nullptr;
    case DastCountOptions::SUM:
      return related != nullptr && related->is_numeric() ? nullptr : "a numeric related field expected";
    default:
      return related != nullptr && (related->is_numeric() || related->can_sort())
                 ? nullptr
                 : "a related field that is numeric or has ADVANCED features expected";
  }
}

/// Stores the qualities of the values that the result's query finds.
int DastCount::look_up(TeraResult* result, DastQualityCache* quals, AceReporter* rep) const {
  const AceTimeSection section("CACHE_PRIMARY_RESULT");
  const std::unique_ptr<TeraScanGraph, Unref> graph(
      countField->full_scan_resolve(countOptions.callMode, result->get_string(), quals, 0, 0, rep));
  if (graph != nullptr) return 0;
  rep->printf("Cannot count field '%s' by query '%s': a field with an index and a query for it expected\n",
              countField->get_name(), result->get_string());
  return -1;
}

int DastCount::count_context(TeraResult* result, AceReporter* rep) const {
  const AceTimeSection section("COUNT_CONTEXT");
  static const AceTraceFlag maxActions("MAX_COUNT_ACTIONS", __FILE__, __LINE__);
  if (const char* fault = find_fault(result); fault != nullptr) {
    rep->printf("Cannot count field '%s': %s\n", countField != nullptr ? countField->get_name() : "", fault);
    return -1;
  }
  const VInt numActions = dast::count_records(contextList, numRecords);
  if (const int limit = maxActions.get(); limit > 0 && numActions > limit) {
    rep->ev_wprintf("Estimated number of %i count actions crosses limit of %i. Breaking counting.\n",
                    static_cast<int>(std::min<VInt>(numActions, std::numeric_limits<int>::max())), limit);
    result->set_unreliable();
    return 0;
  }
  LimitsContainer limits;
  if (countField->get_limits(&limits, countOptions.limitString, rep) < 0) return -1;
  DastQualityCache found;
  const bool hasQuery = has_text(result->get_string()) && countOptions.callMode > DastOptions::EMPTY;
  if (hasQuery && look_up(result, &found, rep) < 0) return -1;
  const dast::CountTask task{*countField,
                             contextList,
                             numRecords,
                             countOptions,
                             hasQuery ? &found : nullptr,
                             result->get_min_value()};
  const bool isGrouped = task.has(GROUP);
  const auto wanted = static_cast<std::size_t>(result->get_num_cands());
  const dast::CountedValues counted =
      dast::count_values(task, numActions, isGrouped ? std::numeric_limits<std::size_t>::max() : wanted);
  return CountCandCreator(task, counted, limits, info_of(countOptions.optionFlags), result).generate_cands();
}

DastInfoList DastCount::get_records(Large first, Large end, AceAttach* at) const {
  const dast::CountTask task{*countField, contextList, numRecords, countOptions, nullptr, 0};
  const dast::Acceptance accepts(task);
  std::vector<dast::FreqStruct> values;
  for (Large id = first; id < std::min(end, dast::num_ids_of(*countField)); ++id)
    if (accepts(id)) values.push_back({id, 0, 0});
  return dast::collect_records(task, values, at);
}

VInt DastCount::get_value(const TeraCand* cand) {
  const Large* infos = cand->get_infos();
  const Large count = cand->get_num_infos();
  if (count == 0) return 0;
  return count == 1 ? VInt{infos[0]} : static_cast<VInt>(VUint{infos[1]} << 32 | infos[0]);
}
