// Fields and the context: looking queries up, selecting, statuses.
#include <algorithm>
#include <future>
#include <vector>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_thread.h"
#include "ace/ace_tracer.h"
#include "dare/dare_session.h"
#include "dast/dast_base_field_recall.h"
#include "dast/dast_base_recall.h"
#include "dast/dast_parallel_resource.h"
#include "tera/tera_result.h"

// ---------------------------------------------------------------- queries
// Fields are looked up when they are needed: what has a result is not looked up again.

/// Looks a field up without a word in the history.
int DastSession::look_up_silently(DareSessionField* field) {
  const HistorySleep sleep(&tHistory);
  return process_query(field);
}

int DastSession::process_query(DareSessionField* field) {
  int status = 0;
  if (field->is_control() && !field->has_state(DareSessionField::FREE_SEARCH)) {
    field->set_state(DareSessionField::PENDING, false);  // its text is all there is
  } else if (field->has_state(DareSessionField::FREE_SEARCH)) {
    status = field->process_fs_query(&tHistory, rep());
    if (status < 0)
      ace_error_msg(__FILE__, __LINE__, "field->process_fs_query(&tHistory, dataBase, rep)", status);
  } else {
    status = field->process_fixed_query(&tHistory, rep());
    if (status < 0)
      ace_error_msg(__FILE__, __LINE__, "field->process_fixed_query(&tContext, &tHistory, rep)", status);
  }
  field->set_state(DareSessionField::REFRESH_STATUS, true);
  if (status >= 0) count_records(field);
  return status < 0 ? -1 : 0;
}

/// Looks fields up, at the same time where methods and settings allow it.
int DastSession::query_fields(const std::vector<DareSessionField*>& fields) {
  const bool is_parallel = DastParallelResource::get_single_field_parallel() != 0 && fields.size() > 1;
  std::vector<std::pair<DareSessionField*, std::future<int>>> tasks;
  int status = 0;
  for (DareSessionField* field : fields) {
    if (!field->has_state(DareSessionField::PENDING)) continue;
    const bool apart = is_parallel && !field->is_control() &&
                       !field->has_state(DareSessionField::FREE_SEARCH) &&
                       field->get_base_field()->is_parallelizable();
    if (!apart) continue;
    tasks.emplace_back(field, std::async(std::launch::async, [this, field] {
                         const AceThreadSafe registered;
                         return field->process_fixed_query(nullptr, rep());
                       }));
  }
  for (auto& [field, task] : tasks) {
    if (task.get() < 0) status = -1;
    tHistory.append({field->get_array_id(), DareHistory::HAS_RESULT, 0, 1});
    field->set_state(DareSessionField::REFRESH_STATUS, true);
    count_records(field);
  }
  for (DareSessionField* field : fields)
    if (field->has_state(DareSessionField::PENDING) && process_query(field) < 0) status = -1;
  return status;
}

// ---------------------------------------------------------------- context
// The context is what all selections have in common, begun with the default one; null stands for all
// records.

/// The default context: the host's, without the deleted records.
void DastSession::apply_default_context() {
  const DastInfoList* const deleted = sesConfig->get_deletion();
  if (deleted == nullptr) return tContext.set_default_context(hostContext);
  AceAttach at;
  tContext.set_default_context(DastInfoList::invert(deleted, get_base()->get_num_records(), &at));
  tContext.refine_default_context(hostContext);
}

void DastSession::set_default_context(const DastInfoList* list) {
  hostAttach.release();
  hostContext = list != nullptr ? new (&hostAttach) DastInfoList(*list, &hostAttach) : nullptr;
  apply_default_context();
  forget_suggestions();
  update_status(CHANGED);
}

int DastSession::load_delset(const char* filename) {
  AceAttach at;
  const DastInfoList* const deleted = get_base()->load_delset(filename, &at, rep());
  if (deleted == nullptr) return -1;
  sesConfig->set_deletion(deleted);
  apply_default_context();
  forget_suggestions();
  update_status(CHANGED);
  return 0;
}

/// The records of all values that a unit has found.
DastInfoList DastSession::records_of(const DareField* unit, AceAttach* at) {
  std::vector<DastInfoList*> lists;
  unit->for_each_cand([&](int, const TeraCand* cand) {
    if (cand->get_num_infos() == 0) return;
    DastInfoList* const list = unit->get_base_field() != nullptr
                                   ? unit->get_base_field()->get_info_list(cand, at)
                                   : new (at) DastInfoList(cand);
    lists.push_back(list);
  });
  if (lists.empty()) return DastInfoList(0, nullptr, false);
  DastInfoList all = *DastInfoList::union_lists(static_cast<int>(lists.size()), lists.data(), at);
  all.ensure_no_reference(at);
  return all;
}

int DastSession::narrow_by(DareSessionField* field) {
  AceAttach at;
  const DastInfoList records = records_of(field->get_eval_unit(), &at);
  if (tContext.narrow(field->fieldConf.logicID, &records) < 0) return -1;
  return tContext.get_size() == 0 ? NOTHING_LEFT : SELECTED;
}

/// Selects a field. Returns a `Selection`, or -1 for one that is not in the logic.
int DastSession::context_set(DareSessionField* field) {
  GrandMask before = 0;
  int last = 0;
  for (int i = 0; i < sesConfig->get_num_fields(); ++i) {
    const int event = sesConfig->get_session_field(i)->get_context_event();
    if (event > 0) before |= GrandMask{1} << i;
    last = std::max(last, event);
  }
  const int status = narrow_by(field);
  if (status < 0) return status;
  field->set_context_event(last + 1, &tHistory);
  field->set_volatile_pattern(before);
  return status;
}

/// Releases a field, and those that were selected after it. Returns the latter.
GrandMask DastSession::context_release(DareSessionField* field) {
  if (field->get_context_event() <= 0) return 0;
  GrandMask released = 0;
  GrandMask gone = GrandMask{1} << field->get_array_id();
  const int event = field->get_context_event();
  for (DareSessionField* other : selected_fields()) {
    const bool goes =
        other == field || (other->get_context_event() > event && (other->get_volatile_pattern() & gone) != 0);
    if (!goes) continue;
    gone |= GrandMask{1} << other->get_array_id();
    if (other != field) released |= GrandMask{1} << other->get_array_id();
    tContext.release(other->fieldConf.logicID);
    other->set_context_event(0, &tHistory);
    other->set_volatile_pattern(0);
  }
  return released;
}

/// The context from the fields that are selected, in the order of their selection.
void DastSession::context_rebuild_forward() {
  tContext.clear();
  GrandMask before = 0;
  for (DareSessionField* field : selected_fields()) {
    if (field->has_state(DareSessionField::PENDING)) process_query(field);
    narrow_by(field);
    field->set_volatile_pattern(before);
    before |= GrandMask{1} << field->get_array_id();
  }
}

/// In the order of their selection.
std::vector<DareSessionField*> DastSession::selected_fields() const {
  std::vector<DareSessionField*> selected;
  for (int i = 0; i < sesConfig->get_num_fields(); ++i)
    if (sesConfig->get_session_field(i)->get_context_event() > 0)
      selected.push_back(sesConfig->get_session_field(i));
  std::sort(selected.begin(), selected.end(),
            [](const auto* a, const auto* b) { return a->get_context_event() < b->get_context_event(); });
  return selected;
}

/// Looks up and selects those of the fields that are in the mask.
int DastSession::reselect(const std::vector<DareSessionField*>& order, GrandMask fields) {
  int status = 0;
  for (DareSessionField* field : order) {
    if ((fields >> field->get_array_id() & 1) == 0 || field->get_mode() < DastOptions::ARRAYOP) continue;
    if (process_query(field) < 0 || context_set(field) < 0) status = -1;
  }
  return status;
}

void DastSession::clear_context() {
  const Command command(this);
  for (int i = 0; i < sesConfig->get_num_fields(); ++i) {
    DareSessionField* const field = sesConfig->get_session_field(i);
    field->set_context_event(0, &tHistory);
    field->set_volatile_pattern(0);
  }
  forget_suggestions();
  tContext.clear();
  update_status(CHANGED);
}

VInt DastSession::dedup_context(const char* field_name) {
  const DareSessionField* const field = find_field(field_name);
  if (field == nullptr || field->is_control()) return -1;
  TeraResult found(nullptr, 0, 1, 255);
  const VInt count =
      get_base()->dedup_context(field->get_base_id(), &found, tContext.get_context_list_cache(), rep());
  const TeraCand* const cand = count >= 0 ? found.get_best_cand() : nullptr;
  if (cand == nullptr) return -1;
  const DastInfoList list(cand);
  tContext.refine_default_context(&list);
  forget_suggestions();
  update_status(NARROWED);
  return count;
}

VInt DastSession::widen_context(const char* field_name) {
  const DareSessionField* const field = find_field(field_name);
  if (field == nullptr || field->is_control()) return -1;
  TeraResult found(nullptr, 0, 1, 255);
  const VInt count =
      get_base()->widen_context(field->get_base_id(), &found, tContext.get_context_list_cache(), rep());
  const TeraCand* const cand = count >= 0 ? found.get_best_cand() : nullptr;
  if (cand == nullptr) return -1;
  const DastInfoList list(cand);
  clear_context();  // what was selected is in the new context
  set_default_context(&list);
  return tContext.get_size();
}

int DastSession::add_context_sort_key(const char* sort_field, int sort_mode) {
  const DareSessionField* const field = find_field(sort_field);
  if (field == nullptr || field->is_control()) return -1;
  contextSortKeys.push_back({field->get_base_id(), sort_mode == DareSessionSort::REVERSE ? 1 : 0});
  return 0;
}

// ---------------------------------------------------------------- statuses
// A status depends on the field's candidates and on the context, and is told anew when one of them has
// changed.

void DastSession::count_records(DareSessionField* field) const {
  static const AceTraceFlag uncounted("NO_CONTEXT_STATUS_COUNT", __FILE__, __LINE__);
  if (uncounted.get() != 0) return field->set_num_records(1);
  const DareField* const unit = field->get_eval_unit();
  if (unit->get_graph() == nullptr) return field->set_num_records(0);
  DastInfoListCache* const context = tContext.get_context_list_cache();
  if (unit->get_base_field() != nullptr && unit->get_graph()->get_num_nodes() <= 2 &&
      unit->get_graph()->get_first_result() != nullptr)
    return field->set_num_records(static_cast<int>(
        unit->get_base_field()->count_result(unit->get_graph()->get_first_result(), context)));
  AceAttach at;
  DastInfoList records = records_of(field->get_eval_unit(), &at);
  if (tContext.get_current() != nullptr) records.intersect_with(tContext.get_current(), &at);
  field->set_num_records(static_cast<int>(std::min<Large>(records.get_size(), 0x7FFFFFFF)));
}

int DastSession::field_status(const DareSessionField* field) const {
  static const AceTraceFlag display("DISPLAY_FLEX_CONTEXT_STATUS", __FILE__, __LINE__);
  if (DareSessionField::is_free_search(field->get_mode()) && display.get() == 0)
    return DastStatus::NO_CONTEXT;
  if (field->get_context_event() > 0) return DastStatus::IS_CONTEXT;
  const DareField* const unit = field->get_eval_unit();
  if (field->get_query() == nullptr || unit->get_graph() == nullptr) return DastStatus::EMPTY;
  if (unit->get_graph()->get_num_candidates() == 0) return DastStatus::NOTHING;
  if (tContext.get_current() == nullptr) return DastStatus::IN_CONTEXT;
  if (field->get_volatile_pattern() != 0 && field->get_status() == DastStatus::IN_CONTEXT)
    return DastStatus::IN_CONTEXT;
  AceAttach at;
  bool is_inside = false;
  unit->for_each_cand([&](int, const TeraCand* cand) {
    if (is_inside || cand->get_num_infos() == 0) return;
    const DastInfoList list = unit->get_base_field() != nullptr
                                  ? *unit->get_base_field()->get_info_list(cand, &at)
                                  : DastInfoList(cand);
    is_inside = tContext.has_intersection(&list);
  });
  return is_inside ? DastStatus::IN_CONTEXT : DastStatus::OUT_CONTEXT;
}

/// Brings up to date what an event of the context can have changed, and fields that were looked up.
void DastSession::update_status(int event) {
  for (int i = 0; i < sesConfig->get_num_fields(); ++i) {
    DareSessionField* const field = sesConfig->get_session_field(i);
    const bool is_fresh = field->has_state(DareSessionField::REFRESH_STATUS) || field->get_query() == nullptr;
    field->set_state(DareSessionField::REFRESH_STATUS, false);
    if (event == NO_CHANGE && !is_fresh) continue;
    if (event != NO_CHANGE) count_records(field);
    field->set_status(field_status(field));
  }
}

void DastSession::fill_status(DastResult* result) const {
  for (int i = 0; i < sesConfig->get_num_fields(); ++i) {
    const DareSessionField* const field = sesConfig->get_session_field(i);
    DastStatus* const status = result->get_field_status(i);
    status->fieldName = result->attach(field->get_name());
    status->queryString = result->attach(field->get_query());
    status->matchStatus = field->get_status();
    status->numRecords = field->get_num_records();
    status->queryMode = field->get_mode_code();
    status->combineWeight = get_field_weight(i);
    status->bestCand = static_cast<Tiny>(std::clamp(field->get_best_quality(), 0, 255));
  }
  result->set_size_context(tContext.get_size());
  result->set_undo_status(can_undo(), can_redo());
}
