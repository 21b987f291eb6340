// What a command answers.
#include <algorithm>
#include <cstring>
#include <sstream>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "dare/dare_session.h"
#include "dast/dast_base_field_recall.h"
#include "dast/dast_base_recall.h"
#include "tera/tera_query.h"
#include "tera/tera_result.h"
#include "tera/tera_transform.h"

namespace {

/// The string for display, in `at`.
const char* shown(const DareSessionField* field, const char* text, AceAttach* at) {
  const TeraTransform* const transform = field->fieldConf.resultTransform.get();
  if (transform == nullptr || text == nullptr) return at->attach(text);
  return transform->code(text, at);
}

/// Values with the numbers of their records, in their order.
void set_counted(DastResult* result, const DareSessionField* field, TeraResult* values) {
  std::vector<DastCandidate> cands;
  values->high_first();
  values->find_any([&](int quality, const TeraCand* value) {
    DastCandidate& cand = cands.emplace_back();
    cand.repObj = shown(field, value->represent(), result);
    cand.compQuality = quality;
    cand.candStatus = DastStatus::IN_CONTEXT;
    cand.numHits = static_cast<int>(std::clamp<VInt>(DastCount::get_value(value), 0, 0x7FFFFFFF));
    return false;
  });
  result->set_field_alts(std::move(cands), field->get_array_id(), 1);
}

}  // namespace

DastSession::ResultPtr DastSession::new_result() const {
  return std::make_unique<DastResult>(static_cast<Tiny>(sesConfig->get_num_fields()), get_min_conf(),
                                      get_max_dist(), get_num_suggs());
}

// ---------------------------------------------------------------- values of a field
// Alternatives are what the field has found, best first; a sample is what it has in the context when
// nobody asks.

/// The parts of a control field's text.
void DastSession::build_control_alts(DastResult* result, const DareSessionField* field) const {
  if (!field->is_option(DareSessionFieldConfig::CONTROL_VALUES) || field->get_query() == nullptr) return;
  std::istringstream text(field->get_query());
  std::vector<DastCandidate> cands;
  for (std::string part; std::getline(text, part, '|');) {
    DastCandidate& cand = cands.emplace_back();
    cand.repObj = result->attach(part.c_str());
    cand.candStatus = DastStatus::IN_CONTEXT;
    cand.numHits = -1;
    cand.compQuality = 255;
  }
  result->set_field_alts(std::move(cands), field->get_array_id(), 1);
}

void DastSession::build_alts(DastResult* result, const DareSessionField* field) const {
  const DareField* const unit = field->get_eval_unit();
  if (field->is_control() && unit->get_graph() == nullptr) return build_control_alts(result, field);
  const DastBaseFieldRecall* const base_field = unit->get_base_field();
  DastInfoListCache* const context = tContext.get_context_list_cache();
  const bool is_restricted = tContext.get_current() != nullptr;
  TeraQuery* const display =
      field->is_option(DareSessionFieldConfig::USE_DISPLAY) ? unit->get_compare() : nullptr;
  std::vector<DastCandidate> cands;
  AceAttach at;
  unit->for_each_cand([&](int quality, const TeraCand* found) {
    DastCandidate& cand = cands.emplace_back();
    const char* text = found->represent();
    if (display != nullptr) text = display->display(text, &at);
    cand.repObj = shown(field, text, result);
    cand.compQuality = quality;
    cand.candStatus = DastStatus::IN_CONTEXT;
    if (base_field != nullptr && found->get_num_infos() > 0) {
      cand.numHits = static_cast<int>(base_field->count_cand(found, is_restricted ? context : nullptr));
    } else {
      DastInfoList list(found);
      if (is_restricted) list.intersect_with(tContext.get_current(), &at);
      cand.numHits = static_cast<int>(std::min<Large>(list.get_size(), 0x7FFFFFFF));
    }
    if (is_restricted && cand.numHits == 0) cand.candStatus = DastStatus::OUT_CONTEXT;
  });
  result->set_field_alts(std::move(cands), field->get_array_id(), 0);
}

void DastSession::build_sample(DastResult* result, const DareSessionField* field) const {
  result->set_cur_field(field->get_array_id());
  if (field->is_control()) return;
  const int size = std::max(sesConfig->get_sample_size(), 0);
  TeraResult values(nullptr, 0, std::max(size, 1), 255);
  if (size == 0 ||
      field->get_base_field()->get_cands(tContext.get_context_list_cache(), size, &values, rep()) < 0)
    return;
  set_counted(result, field, &values);
}

DastResult* DastSession::generate_sample(const char* field_name) {
  const DareSessionField* const field = find_field(field_name);
  if (field == nullptr) return nullptr;
  ResultPtr result = new_result();
  build_sample(result.get(), field);
  result->set_category(DastResult::SAMPLE);
  fill_status(result.get());
  return result.release();
}

DastResult* DastSession::result() {
  if (!check_usable()) return nullptr;
  ResultPtr empty = new_result();
  fill_status(empty.get());
  return empty.release();
}

int DastSession::update_focus_result(DastResult* result, const char* focus_field) {
  const DareSessionField* const field = find_field(focus_field);
  if (field == nullptr || result == nullptr) return -1;
  build_alts(result, field);
  fill_status(result);
  result->set_cur_field(field->get_array_id());
  return 0;
}

DastResult* DastSession::view(int from, int to) {
  if (currentResult == nullptr) return nullptr;
  if (from <= 0 && to == -1) return currentResult.release();
  const int count = currentResult->get_num_suggs();
  const int first = std::clamp(from, 0, count);
  const int last = to < 0 ? count : std::clamp(to, first, count);
  return new DastResult(currentResult.get(), first, last - first);
}

// ---------------------------------------------------------------- records
// Suggestions hold numbers of records; strings and qualities are filled in for those that are shown.

int DastSession::field_quality(DareField* unit, Large record) {
  if (unit->get_graph() == nullptr && !unit->has_compare()) return 0;
  const int quality =
      unit->get_base_field() != nullptr ? unit->record_quality(record, false) : unit->hit_quality(record);
  return std::clamp(quality, 0, 255);
}

/// Strings and qualities. Fields without query have quality 0.
void DastSession::fill_record(DastRecord* record, Large id, const std::vector<DareField*>& units) const {
  AceAttach at;
  for (int i = 0; i < sesConfig->get_num_fields(); ++i) {
    const DareSessionField* const field = sesConfig->get_session_field(i);
    DareField* const unit = units[static_cast<std::size_t>(i)];
    const char* text = field->get_query();
    if (!field->is_control()) {
      const DastQualityCache* const quals = unit != nullptr ? unit->get_quality_cache() : nullptr;
      text = field->get_base_field()->get_string_by_recordid(id, nullptr, nullptr, &at,
                                                             field->fieldConf.aliasDisplay, quals);
      TeraQuery* const display = field->is_option(DareSessionFieldConfig::USE_DISPLAY) && unit != nullptr
                                     ? unit->get_compare()
                                     : nullptr;
      if (display != nullptr && text != nullptr) text = display->display(text, &at);
    }
    record->set_string(i, shown(field, text, &at));
    if (unit != nullptr) record->set_quality(i, field_quality(unit, id));
  }
}

std::unique_ptr<DastRecord> DastSession::make_record(Large record, int quality,
                                                     const std::vector<DareField*>& units) const {
  auto shown_record = std::make_unique<DastRecord>(sesConfig->get_num_fields());
  shown_record->set_quality(quality);
  fill_record(shown_record.get(), record, units);
  return shown_record;
}

/// The best records, at most `num`, in the configured order.
std::vector<DastSuggestion> DastSession::build_suggs(TeraResult* recall, const std::vector<DareField*>& units,
                                                     int num) const {
  recall->high_first();
  std::vector<DastSuggestion> suggestions;
  recall->find_any([&](int quality, const TeraCand* cand) {
    for (Large i = 0; i < cand->get_num_infos() && static_cast<int>(suggestions.size()) < num; ++i) {
      DastSuggestion& suggestion = suggestions.emplace_back();
      suggestion.recordIndex = cand->get_info(i);
      suggestion.repObj = make_record(suggestion.recordIndex, quality, units);
    }
    return static_cast<int>(suggestions.size()) >= num;
  });
  DareSessionSort sort;
  sesConfig->prepare_sorting(&sort);
  if (sort.get_random_mode() == DareSessionSort::KEEP_ORDER || suggestions.size() < 2) return suggestions;
  std::vector<DareSortSuggestion> keys(suggestions.size());
  std::vector<DareSortSuggestion*> order;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    keys[i] = {suggestions[i].repObj.get(), suggestions[i].recordIndex};
    order.push_back(&keys[i]);
  }
  sort.sort_suggestions(order.data(), static_cast<int>(order.size()));
  std::vector<DastSuggestion> sorted;
  for (const DareSortSuggestion* key : order)
    sorted.push_back(std::move(suggestions[static_cast<std::size_t>(key - keys.data())]));
  return sorted;
}

DastSession::ResultPtr DastSession::build_result(TeraResult* recall, const std::vector<DareField*>& units,
                                                 int num) {
  const AceTimeSection section("BUILD_RESULT");
  ResultPtr result = new_result();
  if ((get_result_type() & SUGGESTIONS) != 0) result->set_current_suggs(build_suggs(recall, units, num));
  if ((get_result_type() & ALTERNATIVES) != 0)
    for (int i = 0; i < sesConfig->get_num_fields(); ++i) {
      const DareSessionField* const field = sesConfig->get_session_field(i);
      if (field->get_query() != nullptr && field->get_mode() > DastOptions::EMPTY &&
          field->get_mode() < DastOptions::FS_DETECT)
        build_alts(result.get(), field);
    }
  for (int i = 0; i < sesConfig->get_num_fields(); ++i) result->set_field_sort(i, DastResult::BY_QUALITY);
  fill_status(result.get());
  auto copy = std::make_unique<DastResult>(result.get(), 0, result->get_num_suggs());
  forget_suggestions();
  currentResult = std::move(copy);
  return result;
}

int DastSession::transform_res(DastResult* result) const {
  if (result == nullptr || result->get_num_fields() != sesConfig->get_num_fields()) return -1;
  if (result->is_raw_strings() == 0) return 0;
  result->set_raw_strings(0);
  AceAttach at;
  for (int i = 0; i < sesConfig->get_num_fields(); ++i) {
    const DareSessionField* const field = sesConfig->get_session_field(i);
    for (int k = 0; k < result->get_num_suggs(); ++k) {
      DastRecord* const record = result->get_sugg(k)->repObj.get();
      if (record != nullptr && record->get_string(i) != nullptr)
        record->set_string(i, shown(field, record->get_string(i), &at));
    }
    for (int k = 0; k < result->get_num_alts(i); ++k)
      result->set_rep(i, k, shown(field, result->get_alt(i, k)->repObj, &at));
  }
  return 0;
}

int DastSession::resort(DastResult* result, const char* field_name, int mode) const {
  const DareSessionField* const field = find_field(field_name);
  if (field == nullptr || result == nullptr || result->get_num_fields() != sesConfig->get_num_fields())
    return -1;
  const int index = field->get_array_id();
  const DastBaseFieldRecall* const base_field = field->get_base_field();
  result->resort_suggs([=](const DastSuggestion& a, const DastSuggestion& b) {
    if (mode == DareSessionSort::QUALITY) return b.get_field_quality(index) - a.get_field_quality(index);
    const int order = base_field != nullptr && base_field->can_sort()
                          ? base_field->compare_collation(a.get_field(index), b.get_field(index), 0)
                          : DastCandidate::cmp_string(a.get_field(index), b.get_field(index));
    return mode == DareSessionSort::REVERSE ? -order : order;
  });
  return 0;
}

// ---------------------------------------------------------------- counting
// How often values occur: among the records of a query, or all; rows are those of the context.

DastResult* DastSession::count(const char* field_name, const char* query, DastOptions::Call mode,
                               const DastCountOptions& options, int num) {
  const DareSessionField* const field = find_field(field_name);
  if (field == nullptr || field->is_control()) return nullptr;
  DastCountOptions wanted = options;
  wanted.callMode = mode;
  wanted.info = DastCountOptions::INFO_COUNT;
  TeraResult values(query, 0, std::max(num, 1), 255);
  if (get_base()->count_context(field->get_base_id(), wanted, &values, tContext.get_context_list_cache(),
                                rep()) < 0)
    return nullptr;
  ResultPtr result = new_result();
  fill_status(result.get());
  result->set_cur_field(field->get_array_id());
  set_counted(result.get(), field, &values);
  return result.release();
}

DastResult* DastSession::cross_count(const DareMultiQuery* query, const DastCountOptions& options, int num) {
  if (query == nullptr || query->get_num_fields() != sesConfig->get_num_fields()) return nullptr;
  ResultPtr result = new_result();
  fill_status(result.get());
  for (int i = 0; i < query->get_num_fields(); ++i) {
    if (query->get_mode(i) <= DastOptions::EMPTY || sesConfig->get_session_field(i)->is_control()) continue;
    const ResultPtr one(
        count(sesConfig->get_field_name(i), query->get_query(i), query->get_mode(i), options, num));
    if (one == nullptr) return nullptr;
    std::vector<DastCandidate> cands;
    for (int k = 0; k < one->get_num_alts(i); ++k) {
      cands.push_back(*one->get_alt(i, k));
      cands.back().repObj = result->attach(cands.back().repObj);
    }
    result->set_field_alts(std::move(cands), i, 1);
  }
  return result.release();
}

int DastSession::get_total_count(const char* field_name, const char* text) const {
  const DareSessionField* const field = find_field(field_name);
  if (field == nullptr || field->is_control() || text == nullptr) return -1;
  return static_cast<int>(field->get_base_field()->get_total_count(text, rep()));
}

DastResult* DastSession::get_row(const char* field_name, const char* value, Large from, Large to) {
  const DareSessionField* const field = find_field(field_name);
  if (field == nullptr || field->is_control() || value == nullptr) return nullptr;
  AceAttach at;
  const Large* records = nullptr;
  const Large count = field->get_base_field()->get_records_by_string(value, &records, &at, rep());
  std::vector<Large> rows;
  if (count == 3 && records[0] == 0) {  // a value that stands for all
    for (Large record = 1; record < get_base()->get_num_records(); ++record)
      if (tContext.has(record)) rows.push_back(record);
  } else {
    std::copy_if(records, records + count, std::back_inserter(rows),
                 [this](Large record) { return tContext.has(record); });
  }
  std::vector<int> fields, descending;
  for (const SortKey& key : contextSortKeys) {
    fields.push_back(key.baseField);
    descending.push_back(key.isReverse);
  }
  if (!fields.empty() &&
      get_base()->sort_records(static_cast<int>(fields.size()), fields.data(), descending.data(), rows.data(),
                               static_cast<Large>(rows.size()), rep()) < 0)
    return nullptr;
  ResultPtr result = new_result();
  fill_status(result.get());
  result->set_cur_field(field->get_array_id());
  const std::vector<DareField*> no_units(static_cast<std::size_t>(sesConfig->get_num_fields()));
  std::vector<DastSuggestion> suggestions;
  for (std::size_t i = from; i < std::min<std::size_t>(to, rows.size()); ++i) {
    DastSuggestion& suggestion = suggestions.emplace_back();
    suggestion.recordIndex = rows[i];
    suggestion.repObj = make_record(rows[i], 255, no_units);
  }
  result->set_current_suggs(std::move(suggestions));
  return result.release();
}
