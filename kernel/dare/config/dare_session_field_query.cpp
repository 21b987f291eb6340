// What the user has put into a field, and what the index finds for it.
#include <algorithm>
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "dare/dare_candidate.h"
#include "dare/dare_history.h"
#include "dare/dare_session_field.h"
#include "dast/dast_base_field_recall.h"
#include "dast/dast_field_flags.h"
#include "dast/dast_info_list.h"
#include "tera/tera_result.h"
#include "tera/tera_transform.h"

namespace {

struct Unref {
  void operator()(TeraScanGraph* graph) const { graph->decr_ref(); }
};
using GraphRef = std::unique_ptr<TeraScanGraph, Unref>;

/// The first `max` bytes, without part of a character of UTF-8.
std::string cut_text(const char* text, std::size_t max) {
  std::string copy(text, ::strnlen(text, max + 1));
  if (copy.size() <= max) return copy;
  std::size_t end = max;
  while (end > 0 && (static_cast<unsigned char>(copy[end]) & 0xC0) == 0x80) --end;
  copy.resize(end);
  return copy;
}

/// The parts between bars that no backslash escapes.
std::vector<std::string> alternatives_of(const char* query) {
  std::vector<std::string> parts(1);
  for (; *query != '\0'; ++query) {
    if (*query == '\\' && query[1] != '\0')
      parts.back().append(query++, 2);
    else if (*query == '|')
      parts.emplace_back();
    else
      parts.back() += *query;
  }
  return parts;
}

bool is_reserved(const char* query) {
  return std::strcmp(query, DareSessionField::SAME_QUERY) == 0 || std::strcmp(query, TeraCand::BLANK) == 0;
}

}  // namespace

// ---------------------------------------------------------------- queries
// What is typed is kept as it is; what is asked is made of it when it is looked up. An empty text is no
// query.

const char* DareSessionField::query_transform(const char* query, AceAttach* at) const {
  const TeraTransform* const transform = fieldConf.queryTransform.get();
  if (transform == nullptr || is_reserved(query)) return at->attach(query);
  const std::vector<std::string> parts = alternatives_of(query);
  if (static_cast<int>(parts.size()) > MAX_ALTERNATIVES) {
    AceReporter::use_default()->ev_wprintf(
        "Session field '%s': a query of at most %d alternatives expected, %zu found\n", get_name(),
        MAX_ALTERNATIVES, parts.size());
    return TeraCand::UNDEFINED;
  }
  std::string joined;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const char* const coded = transform->code(parts[i].c_str(), at);
    joined += (i > 0 ? "|" : "") + std::string(coded != nullptr ? coded : "");
  }
  return at->attach(joined.c_str());
}

const char* DareSessionField::build_query() {
  if (!queryString.has_value()) return nullptr;
  if (!recallString.has_value()) {
    AceAttach at;
    recallString = query_transform(queryString->c_str(), &at);
  }
  return recallString->c_str();
}

const char* DareSessionField::build_fs_query() {
  if (build_query() == nullptr) return nullptr;
  std::replace(recallString->begin(), recallString->end(), '|', ' ');
  return recallString->c_str();
}

char DareSessionField::get_mode_code() const {
  const char code = DastOptions::get_mode_code(recallMode);
  return code != '\0' ? code : ' ';
}

void DareSessionField::set_query(const char* query) {
  recallString.reset();
  queryString.reset();
  if (query != nullptr && *query != '\0') queryString = query;
}

void DareSessionField::set_mode(DastOptions::Call mode) {
  recallMode = mode;
}

int DareSessionField::sync_query(const char* query, DastOptions::Call mode, bool free_search,
                                 DareHistory* history) {
  using Text = DareHistory::Text;
  Text fresh;
  if (mode != DastOptions::EMPTY && query != nullptr) fresh = cut_text(query, MAX_QUERY);
  if (fresh == SAME_QUERY) fresh = queryString;
  const DastBaseFieldRecall* const field = get_base_field();
  const bool takesBlank = field != nullptr && (field->get_type() & DastFieldFlags::HAS_EMPTY_INDEXED) != 0;
  if (fresh == TeraCand::BLANK && !takesBlank) fresh.reset();
  if (fresh == "") fresh.reset();
  int changes = 0;
  if (fresh != queryString) {
    if (history != nullptr) history->append({get_array_id(), DareHistory::QUERY, queryString, fresh});
    set_query(fresh.has_value() ? fresh->c_str() : nullptr);
    changes |= QUERY_CHANGED | MODE_CHANGED;
  }
  if (mode != recallMode) {
    if (history != nullptr)
      history->append(
          {get_array_id(), DareHistory::MODE, static_cast<int>(recallMode), static_cast<int>(mode)});
    set_mode(mode);
    changes |= MODE_CHANGED;
  }
  if (free_search != has_state(FREE_SEARCH)) {
    if (history != nullptr)
      history->append(
          {get_array_id(), DareHistory::FREE_SEARCH, has_state(FREE_SEARCH) ? 1 : 0, free_search ? 1 : 0});
    set_state(FREE_SEARCH, free_search);
    changes |= FREE_SEARCH_CHANGED;
  }
  update_inhibit();
  if (changes != 0) clear_result(true, history);
  return changes;
}

void DareSessionField::update_inhibit() {
  get_unit()->inhibitEval =
      recallMode <= DastOptions::EMPTY || is_free_search(recallMode) || has_state(FREE_SEARCH);
}

/// Notes whether the query has been looked up.
void DareSessionField::set_result(bool has_result, DareHistory* history) {
  const bool had_result = get_unit()->get_graph() != nullptr || foundUnit != nullptr;
  if (history != nullptr)
    history->append({get_array_id(), DareHistory::HAS_RESULT, had_result ? 1 : 0, has_result ? 1 : 0});
}

void DareSessionField::clear_result(bool pending, DareHistory* history) {
  set_result(false, history);
  for (const auto& unit : dynFields) unit->clear_query();
  foundUnit.reset();
  recallString.reset();
  numRecords = 0;
  set_state(PENDING, pending && queryString.has_value());
}

void DareSessionField::set_context_event(int event, DareHistory* history) {
  if (history != nullptr) history->append({get_array_id(), DareHistory::EVENT, contextEvent, event});
  contextEvent = event;
}

void DareSessionField::clear(DareHistory* history) {
  sync_query(nullptr, DastOptions::EMPTY, false, history);
  clear_result(false, history);
  contextStatus = DastStatus::EMPTY;
}

int DareSessionField::clear_temp() {
  if (has_state(FREE_SEARCH)) {
    foundUnit.reset();
    set_state(PENDING, queryString.has_value());
  }
  for (int unit = 1; unit < get_num_units(); ++unit) get_unit(unit)->clear_query();
  return get_num_units() - 1;
}

// ---------------------------------------------------------------- looking up
// A look-up replaces the graph of the unit that is asked; one that fails leaves no result.

int DareSessionField::process_fixed_query(DareHistory* history, AceReporter* rep) {
  const char* const query = recallMode > DastOptions::EMPTY ? build_query() : nullptr;
  if (query == nullptr || get_base_field() == nullptr) {
    clear_result(false, history);
    return 0;
  }
  const bool isExact = is_option(DareSessionFieldConfig::FORCE_EXACT);
  const bool isPrimary = fieldConf.reevalMode != ReevalMode::SECONDARY_ONLY;
  foundUnit.reset();
  if (get_unit()->recall(query, recallMode, isExact, isPrimary, rep) < 0) return -1;
  set_state(PENDING, false);
  if (history != nullptr) history->append({get_array_id(), DareHistory::HAS_RESULT, 0, 1});
  return 0;
}

/// Adds what a unit detects: records, with reshaped qualities.
int DareSessionField::add_detected(const DareField* unit, const char* query, TeraScanGraph* whole,
                                   AceReporter* rep) const {
  const DastBaseFieldRecall* const field = unit->get_base_field();
  const GraphRef graph(is_option(DareSessionFieldConfig::DETECT_SINGLE)
                           ? field->detect_single(query, recallMode, rep)
                           : field->detect(query, recallMode, rep));
  if (graph == nullptr) return field->has_data_loaded() ? -1 : 0;
  TeraResult* const result = whole->get_first_result();
  for (int node = 0; node < graph->get_num_nodes(); ++node)
    for (auto* edge = graph->get_node(node)->get_first_edge(); edge != nullptr; edge = edge->get_next()) {
      if (edge->get_result() == nullptr) continue;
      edge->get_result()->find_any([&](int quality, const TeraCand* cand) {
        const DastInfoList* const records = field->get_info_list(cand, result);
        DastInfoList list(*records);
        list.ensure_no_reference(result);
        const Large* infos = nullptr;
        const Large count = list.to_infos(&infos, result);
        const int value = unit->reshape(quality);
        if (count == 0 || value < 1) return false;
        const Large* copy = DastInfoList(DastInfoList(count, infos, false), result).get_list();
        result->add(value, new TeraCand(result->attach(cand->represent()), count, copy));
        return false;
      });
    }
  return 0;
}

int DareSessionField::process_fs_query(DareHistory* history, AceReporter* rep) {
  const char* const query = recallMode > DastOptions::EMPTY ? build_fs_query() : nullptr;
  foundUnit.reset();
  set_state(PENDING, false);
  if (query == nullptr) return 0;
  const DareFlexConfig& limits = fieldConf.flexConfig;
  auto result = std::make_unique<TeraResult>(query, 0, std::max(limits.numSuggestions, 1), 255);
  const GraphRef whole(new TeraScanGraph(result.get(), query, TeraScanGraph::NO_ORIGIN));
  TeraResult* const found = result.release();
  whole->incr_ref();
  int status = 0;
  for (int unit = 1; unit < get_num_units() && status == 0; ++unit)
    status = add_detected(get_unit(unit), query, whole.get(), rep);
  found->set_resolved();
  foundUnit = std::make_shared<DareField>(-1, nullptr, &fieldConf);
  foundUnit->set_weight(get_unit()->get_weight());
  foundUnit->set_graph(whole.get());
  if (status < 0) {
    foundUnit.reset();
    set_state(PENDING, true);
  } else if (history != nullptr) {
    history->append({get_array_id(), DareHistory::HAS_RESULT, 0, 1});
  }
  return status;
}

DareField* DareSessionField::get_eval_unit() const {
  if (foundUnit != nullptr) return foundUnit.get();
  return keptUnit != nullptr && get_unit()->get_graph() == nullptr ? keptUnit.get() : get_unit();
}

int DareSessionField::get_best_quality() const {
  return get_eval_unit()->get_best_quality();
}

void DareSessionField::set_global_graph(TeraScanGraph* graph) {
  std::shared_ptr<DareField> unit;
  if (graph != nullptr) {
    unit = get_unit()->copy_config(&fieldConf);
    unit->set_graph(graph);
  }
  keptUnit = std::move(unit);
}

// ---------------------------------------------------------------- failed commands
// What a command may change is kept before it, so that one that throws changes nothing.

DareSessionField::Kept DareSessionField::keep() const {
  Kept kept{{},           foundUnit,       keptUnit,   queryString,   recallString, recallMode,
            contextEvent, volatilePattern, stateFlags, contextStatus, numRecords};
  kept.units.reserve(dynFields.size());
  for (const auto& unit : dynFields) kept.units.push_back(unit->get_asked());
  return kept;
}

void DareSessionField::put_back(Kept kept) {
  for (std::size_t i = 0; i < kept.units.size(); ++i) dynFields[i]->set_asked(std::move(kept.units[i]));
  foundUnit = std::move(kept.foundUnit);
  keptUnit = std::move(kept.keptUnit);
  queryString = std::move(kept.queryString);
  recallString = std::move(kept.recallString);
  recallMode = kept.recallMode;
  contextEvent = kept.contextEvent;
  volatilePattern = kept.volatilePattern;
  stateFlags = kept.stateFlags;
  contextStatus = kept.contextStatus;
  numRecords = kept.numRecords;
  update_inhibit();
}
