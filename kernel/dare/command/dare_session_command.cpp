// Commands that change fields and selections, undo and redo.
#include <algorithm>
#include <vector>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "dare/dare_session.h"
#include "dast/dast_base_field_recall.h"
#include "tera/tera_scan_graph.h"

// ---------------------------------------------------------------- queries
// Each command sets queries, looks them up and notes for the history what it has replaced.

int DastSession::update(const char* field_name, const char* query, DastOptions::Call mode, int force) {
  if (!check_usable()) return -1;
  DareSessionField* const field = find_field(field_name);
  if (field == nullptr) return -1;
  const Command command(this);
  begin_evaluation();
  const int changes = field->sync_query(query, mode, DareSessionField::is_free_search(mode), &tHistory);
  int status = 0;
  if (mode == DastOptions::EMPTY) {
    status = clear(field_name, 0);
  } else if (force != 0 || changes != 0 || field->has_state(DareSessionField::PENDING)) {
    const bool was_selected = field->get_context_event() > 0;
    context_release(field);
    forget_suggestions();
    if (process_query(field) < 0)
      return ace_error(__FILE__, __LINE__, "process_query(field, rep)", -1, 0, -1);
    update_status(was_selected ? CHANGED : NO_CHANGE);
  } else {
    update_status(NO_CHANGE);
  }
  set_input_focus(field->get_array_id());
  return status;
}

DastResult* DastSession::update_result(const char* field_name, const char* query, DastOptions::Call mode) {
  const Command command(this);
  if (update(field_name, query, mode, 0) < 0) {
    ace_error_msg(__FILE__, __LINE__, "update(field_name, query, recall_mode)", -1);
    return nullptr;
  }
  if (mode == DastOptions::EMPTY) return generate_sample(field_name);
  ResultPtr result = new_result();
  const DareSessionField* const field = find_field(field_name);
  build_alts(result.get(), field);
  fill_status(result.get());
  result->set_cur_field(field->get_array_id());
  result->set_field_sort(field->get_array_id(), DastResult::BY_QUALITY);
  return result.release();
}

int DastSession::clear(const char* field_name, int reselect_volatile) {
  forget_suggestions();
  DareSessionField* const field = find_field(field_name);
  return field != nullptr ? clear(field, reselect_volatile) : -1;
}

int DastSession::clear(DareSessionField* field, int reselect_volatile) {
  const Command command(this);
  const std::vector<DareSessionField*> order = selected_fields();
  const GrandMask released = context_release(field);
  field->clear(&tHistory);
  field->set_global_graph(nullptr);
  const int status = reselect_volatile != 0 ? reselect(order, released) : 0;
  update_status(CHANGED);
  return status;
}

int DastSession::clear_all() {
  const Command command(this);
  for (int i = 0; i < sesConfig->get_num_fields(); ++i) {
    DareSessionField* const field = sesConfig->get_session_field(i);
    if (field->get_context_event() > 0) field->set_context_event(0, &tHistory);
    field->set_volatile_pattern(0);
    field->clear(&tHistory);
    field->set_global_graph(nullptr);
  }
  forget_suggestions();
  tContext.clear();
  update_status(CHANGED);
  return 0;
}

int DastSession::copy_result(const char* from_field, const char* to_field) {
  const DareSessionField* const from = find_field(from_field);
  if (from == nullptr || find_field(to_field) == nullptr) return -1;
  const std::string query = from->get_query() != nullptr ? from->get_query() : "";
  return update(to_field, query.c_str(), from->get_mode(), 0);
}

int DastSession::persist_result(const char* field_name) {
  DareSessionField* const field = find_field(field_name);
  if (field == nullptr) return -1;
  if (field->has_state(DareSessionField::FREE_SEARCH)) {
    rep()->printf("What field '%s' has found cannot be kept: its query is searched for in all fields\n",
                  field->get_name());
    return -1;
  }
  const Command command(this);
  tHistory.append({field->get_array_id(), DareHistory::HAS_RESULT, 1, 0});
  field->set_global_graph(field->get_unit()->get_graph());
  if (TeraScanGraph* const graph = field->get_unit()->detach_graph(); graph != nullptr) graph->decr_ref();
  return 0;
}

int DastSession::synchronize_fields(const DareMultiQuery* query) {
  if (query == nullptr || query->get_num_fields() != sesConfig->get_num_fields()) return -1;
  const Command command(this);
  bool is_released = false;
  for (int i = 0; i < query->get_num_fields(); ++i) {
    DareSessionField* const field = sesConfig->get_session_field(i);
    const DastOptions::Call mode = query->get_mode(i);
    if (mode == DastOptions::NOOP) continue;
    if (field->sync_query(query->get_query(i), mode, DareSessionField::is_free_search(mode), &tHistory) == 0)
      continue;
    is_released |= field->get_context_event() > 0;
    context_release(field);
    field->set_state(DareSessionField::REFRESH_STATUS, true);
    forget_suggestions();
  }
  update_status(is_released ? CHANGED : NO_CHANGE);
  return 0;
}

// ---------------------------------------------------------------- selection
// A selected field narrows the context by all of its candidates; what was selected under it is released
// with it.

namespace {

/// Why a field cannot be selected; null for one that can be.
const char* no_selection(const DareSessionField* field) {
  const TeraScanGraph* const graph = field->get_eval_unit()->get_graph();
  if (field->is_option(DareSessionFieldConfig::NO_SELECT)) return "its configuration says so";
  if (field->get_query() == nullptr) return "it has no query";
  if (graph == nullptr || graph->get_num_candidates() == 0) return "its query has found no values";
  return field->fieldConf.logicID < 0 ? "the combination does not have it" : nullptr;
}

bool check_selection(const DareSessionField* field, AceReporter* rep) {
  const char* const reason = no_selection(field);
  if (reason != nullptr) rep->printf("Field '%s' cannot be selected: %s\n", field->get_name(), reason);
  return reason == nullptr;
}

}  // namespace

int DastSession::select(const char* field_name) {
  DareSessionField* const field = find_field(field_name);
  if (field == nullptr) return -1;
  if (field->get_context_event() != 0) return 0;
  const Command command(this);
  if (field->has_state(DareSessionField::PENDING) && look_up_silently(field) < 0) return -1;
  if (!check_selection(field, rep()) || context_set(field) < 0) return -1;
  forget_suggestions();
  update_status(NARROWED);
  return 0;
}

int DastSession::deselect(int num, const char* const* field_names) {
  forget_suggestions();
  const Command command(this);
  for (int i = 0; i < num; ++i) {
    DareSessionField* const field = find_field(field_names[i]);
    if (field == nullptr) return -1;
    context_release(field);
  }
  update_status(CHANGED);
  return 0;
}

int DastSession::multi_select(const DareMultiQuery* query) {
  const Command command(this);
  if (!check_usable() || synchronize_fields(query) < 0) return -1;
  begin_evaluation();
  forget_suggestions();
  std::vector<DareSessionField*> fields;
  for (int i = 0; i < sesConfig->get_num_fields(); ++i) {
    DareSessionField* const field = sesConfig->get_session_field(i);
    if (query->get_mode(i) > DastOptions::EMPTY && field->get_query() != nullptr) fields.push_back(field);
  }
  int status = query_fields(fields);
  for (DareSessionField* field : fields) {
    if (field->is_option(DareSessionFieldConfig::NO_SELECT) || field->get_context_event() > 0) continue;
    if (!check_selection(field, rep()) || context_set(field) < 0) status = -1;
  }
  update_status(CHANGED);
  return status;
}

// ---------------------------------------------------------------- undo and redo
// A step takes events from one stack, applies them and pushes their opposites onto the other one.

void DastSession::apply_event(const DareHistory::Elem& elem, bool back, bool* has_context_event) {
  const DareHistory::Value& value = back ? elem.oldValue : elem.newValue;
  DareSessionField* const field = sesConfig->get_session_field(elem.fieldId);
  const int* const number = std::get_if<int>(&value);
  switch (elem.paramType) {
    case DareHistory::QUERY:
      field->set_query(std::get<DareHistory::Text>(value).value_or("").c_str());
      break;
    case DareHistory::MODE:
      field->set_mode(static_cast<DastOptions::Call>(*number));
      break;
    case DareHistory::FREE_SEARCH:
      field->set_state(DareSessionField::FREE_SEARCH, *number != 0);
      break;
    case DareHistory::EVENT:
      field->set_context_event(*number);
      *has_context_event = true;
      break;
    case DareHistory::HAS_RESULT:
      field->clear_result(*number != 0, nullptr);
      break;
    case DareHistory::COMBI:
      sesConfig->switch_combination(*number, nullptr);
      break;
    case DareHistory::FOCUS:
      inputFocus = *number;
      break;
    case DareHistory::RESULT_TYPE:
      sesConfig->set_result_type(*number);
      break;
    case DareHistory::ABSTR_LEVEL:
      abstractionMask = std::get<Mask>(value);
      break;
    default:
      break;
  }
}

DastResult* DastSession::history_walk(int back, int suggest_records) {
  if (!check_usable()) return nullptr;
  const Command command(this, true);
  begin_evaluation();
  forget_suggestions();
  bool has_context_event = false;
  const HistorySleep sleep(&tHistory);
  tHistory.stamp(back != 0 ? 1 : 0);  // the separator is for the opposite stack
  if (back == 0) tHistory.stamp(0);
  GrandMask touched = 0;
  if (tHistory.skip_stops(back))
    while (const DareHistory::Elem* elem = tHistory.step(back)) {
      apply_event(*elem, back != 0, &has_context_event);
      if (elem->fieldId >= 0) touched |= GrandMask{1} << elem->fieldId;
    }
  for (int i = 0; i < sesConfig->get_num_fields(); ++i) {
    DareSessionField* const field = sesConfig->get_session_field(i);
    field->update_inhibit();
    if ((touched >> i & 1) == 0) continue;
    // What a field had found went with its query.
    const bool has_query = field->get_query() != nullptr && field->get_mode() > DastOptions::EMPTY;
    if (field->get_eval_unit()->get_graph() == nullptr || !has_query)
      field->set_state(DareSessionField::PENDING, has_query);
    field->set_state(DareSessionField::REFRESH_STATUS, true);
  }
  if (has_context_event) context_rebuild_forward();
  for (const bool control : {false, true})
    for (int i = 0; i < sesConfig->get_num_fields(); ++i) {
      DareSessionField* const field = sesConfig->get_session_field(i);
      if (field->is_control() == control && field->has_state(DareSessionField::PENDING)) process_query(field);
    }
  update_status(CHANGED);
  isTimerFresh = true;  // it is one command
  ResultPtr result(suggest_records != 0 ? suggest(0, nullptr, 0, -1) : nullptr);
  isTimerFresh = false;
  if (result == nullptr) result = new_result();
  if (const DareSessionField* const focus = sesConfig->get_session_field(inputFocus); focus != nullptr) {
    if (focus->get_query() != nullptr)
      build_alts(result.get(), focus);
    else
      build_sample(result.get(), focus);
    result->set_cur_field(inputFocus);
  }
  fill_status(result.get());
  return result.release();
}
