#include "svcpp/sorvanta_session.h"

#include <strings.h>

#include "ace/ace_reporter.h"
#include "dare/dare_session.h"
#include "svcpp/sorvanta_result.h"

namespace {

const DastCombination* combination_of(const DastSession* session, int index) {
  return session != nullptr ? session->get_config()->get_combination(index) : nullptr;
}

/// Reports a text that is no mode.
bool read_mode(const char* text, DastOptions::Call* mode) {
  *mode = DastOptions::NOOP;
  const char* const texts[] = {text};
  const char* const queries[] = {nullptr};
  const DareMultiQuery query(1, texts, queries);
  *mode = query.get_mode(0);
  if (query.get_bad_mode() < 0) return true;
  AceReporter::use_default()->printf("'%s' is no recall mode\n", text);
  return false;
}

bool has_modes(const DareMultiQuery& query, const char* const* modes) {
  if (query.get_bad_mode() < 0) return true;
  AceReporter::use_default()->printf("'%s' is no recall mode\n", modes[query.get_bad_mode()]);
  return false;
}

}  // namespace

SorvantaSession::SorvantaSession(SorvantaSession* other) {
  if (const DastSession* const session = other != nullptr ? other->get_internal_session() : nullptr;
      session != nullptr)
    dastSession.reset(session->clone(false, AceReporter::use_default()));
}

SorvantaSession::~SorvantaSession() = default;

int SorvantaSession::clean() {
  dastSession.reset();
  isReference = 0;
  return 0;
}

DastSession* SorvantaSession::get_internal_session() const {
  return dastSession != nullptr && !dastSession->is_destroyed() ? dastSession.get() : nullptr;
}

int SorvantaSession::get_mode_code(int mode) {
  if (mode == DastOptions::NOOP) return ' ';
  if (mode == DastOptions::FS_COMPLETE + 1) return 0;
  return DastOptions::is_call(mode) ? DastOptions::get_mode_code(static_cast<DastOptions::Call>(mode)) : -1;
}

// ---------------------------------------------------------------- what it is
// An empty handle answers with null and -1.

const char* SorvantaSession::get_name() const {
  const DastSession* const session = get_internal_session();
  return session != nullptr ? session->get_config()->get_template_name() : nullptr;
}

const char* SorvantaSession::get_script_function() const {
  const DastSession* const session = get_internal_session();
  return session != nullptr ? session->get_config()->get_script_function() : nullptr;
}

int SorvantaSession::get_num_fields() const {
  const DastSession* const session = get_internal_session();
  return session != nullptr ? session->get_config()->get_num_fields() : 0;
}

int SorvantaSession::get_num_combi() const {
  const DastSession* const session = get_internal_session();
  return session != nullptr ? session->get_config()->get_num_combi() : 0;
}

int SorvantaSession::get_field_index(const char* name) const {
  const DastSession* const session = get_internal_session();
  return session != nullptr ? session->get_config()->get_field_index(name) : -1;
}

const char* SorvantaSession::get_field_name(int field) const {
  const DastSession* const session = get_internal_session();
  return session != nullptr ? session->get_config()->get_field_name(field) : nullptr;
}

const char* SorvantaSession::get_field_method(int field) const {
  const DastSession* const session = get_internal_session();
  return session != nullptr ? session->get_config()->get_field_method(field) : "";
}

int SorvantaSession::get_field_properties(int field) const {
  const DastSession* const session = get_internal_session();
  return session != nullptr ? session->get_config()->get_field_properties(field) : -1;
}

int SorvantaSession::get_field_rescale(int field) const {
  const DastSession* const session = get_internal_session();
  return session != nullptr ? session->get_field_rescale(field) : -1;
}

int SorvantaSession::get_field_weight(int field) const {
  const DastSession* const session = get_internal_session();
  return session != nullptr ? session->get_field_weight(field) : -1;
}

int SorvantaSession::get_min_value() const {
  const DastSession* const session = get_internal_session();
  return session != nullptr ? session->get_min_conf() : -1;
}

int SorvantaSession::get_max_dist() const {
  const DastSession* const session = get_internal_session();
  return session != nullptr ? session->get_max_dist() : -1;
}

int SorvantaSession::get_num_suggs() const {
  const DastSession* const session = get_internal_session();
  return session != nullptr ? session->get_num_suggs() : -1;
}

const char* SorvantaSession::get_combination_name(int combination) const {
  const DastCombination* const found = combination_of(get_internal_session(), combination);
  return found != nullptr ? found->get_name() : nullptr;
}

const char* SorvantaSession::get_combination_type(int combination) const {
  const DastCombination* const found = combination_of(get_internal_session(), combination);
  return found != nullptr ? found->get_type_name() : nullptr;
}

int SorvantaSession::get_combi_min_conf(int combination) const {
  const DastCombination* const found = combination_of(get_internal_session(), combination);
  return found != nullptr ? found->get_min_conf() : -1;
}

int SorvantaSession::get_combi_max_dist(int combination) const {
  const DastCombination* const found = combination_of(get_internal_session(), combination);
  return found != nullptr ? found->get_max_dist() : -1;
}

int SorvantaSession::get_combi_num_suggs(int combination) const {
  const DastCombination* const found = combination_of(get_internal_session(), combination);
  return found != nullptr ? found->get_num_suggs() : -1;
}

int SorvantaSession::get_combi_field_weight(int field, int combination) const {
  const DastCombination* const found = combination_of(get_internal_session(), combination);
  if (found == nullptr || found->get_type() == DastCombination::FLEX_FORM) return -1;
  return found->fixedConfig.get_weight(field);
}

// ---------------------------------------------------------------- settings
// They last as long as the session, or until the next ones.

int SorvantaSession::set_result_type(int type) {
  DastSession* const session = get_internal_session();
  if (session == nullptr) return -1;
  session->set_result_type(type);
  return 0;
}

int SorvantaSession::set_auto(int value) {
  DastSession* const session = get_internal_session();
  if (session == nullptr) return 0;
  session->get_config()->set_auto(value != 0);
  return value;
}

int SorvantaSession::set_globals(const char* combination, const int* weights, int min_value, int max_dist,
                                 int num_suggs) {
  DastSession* const session = get_internal_session();
  return session != nullptr ? session->set_globals(combination, weights, min_value, max_dist, num_suggs) : -1;
}

int SorvantaSession::set_field_rescales(const int* thresholds) {
  DastSession* const session = get_internal_session();
  return session != nullptr && thresholds != nullptr ? session->get_config()->set_field_rescales(thresholds)
                                                     : -1;
}

int SorvantaSession::set_abstraction_level(const char* field) {
  DastSession* const session = get_internal_session();
  return session != nullptr ? session->set_abstraction_level(field) : -1;
}

int SorvantaSession::clear_abstraction() {
  DastSession* const session = get_internal_session();
  return session != nullptr ? session->clear_abstraction() : -1;
}

int SorvantaSession::reset_timer(int level) {
  DastSession* const session = get_internal_session();
  if (session == nullptr) return -1;
  session->reset_timer(level);
  return 0;
}

int SorvantaSession::get_remaining_time() const {
  const DastSession* const session = get_internal_session();
  return session != nullptr ? session->get_remaining_time() : -1;
}

// ---------------------------------------------------------------- commands
// The kernel is asked first; what it gives replaces what the result held, so that a failed call leaves
// that as it was.

/// Puts the answer of a command into the handle; without one, what it holds stays.
template <class Make>
int SorvantaSession::replace(SorvantaSessionResult* result, Make make) {
  DastSession* const session = get_internal_session();
  if (session == nullptr || result == nullptr) return -1;
  DastResult* const answer = make(session);
  if (answer == nullptr) return -1;
  result->init(answer);
  return 1;
}

int SorvantaSession::update(SorvantaSessionResult* result, const char* field, const char* query,
                            const char* mode) {
  DastSession* const session = get_internal_session();
  DastOptions::Call call = DastOptions::NOOP;
  if (session == nullptr || !read_mode(mode, &call)) return -1;
  if (result == nullptr) return session->update(field, query, call, 1) < 0 ? -1 : 1;
  return replace(result, [=](DastSession* kernel) { return kernel->update_result(field, query, call); });
}

int SorvantaSession::count_field(SorvantaSessionResult* result, const char* field, const char* query,
                                 const char* mode, int field_mode, int group, int disable_blank,
                                 int dedup_aliases, int equidistant, int collapse, int enforce_groups,
                                 int remove_empty, const char* limit, int relation, const char* related_field,
                                 int num) {
  DastOptions::Call call = DastOptions::NOOP;
  if (!read_mode(mode, &call)) return -1;
  if (field_mode >= 0 && DastOptions::is_call(field_mode)) call = static_cast<DastOptions::Call>(field_mode);
  return replace(result, [=](DastSession* session) -> DastResult* {
    DastCountOptions options;
    options.group = group != 0;
    options.disableBlank = disable_blank != 0;
    options.dedupAliases = dedup_aliases != 0;
    options.groupEquidistant = equidistant != 0;
    options.collapse = collapse != 0;
    options.enforceGroups = enforce_groups > 0;
    options.removeEmpty = remove_empty != 0;
    options.limit = limit;
    if (relation >= DastCountOptions::SUM && relation <= DastCountOptions::DEDUP) {
      options.relOp = static_cast<DastCountOptions::RelatedAction>(relation);
      options.relFieldID = session->get_config()->get_related_index(related_field);
    }
    return session->count(field, query, call, options, num);
  });
}

int SorvantaSession::select(const char* field) {
  DastSession* const session = get_internal_session();
  return session != nullptr && session->select(field) >= 0 ? 1 : -1;
}

int SorvantaSession::deselect(int num, const char* const* fields) {
  DastSession* const session = get_internal_session();
  return session != nullptr && fields != nullptr && session->deselect(num, fields) >= 0 ? 1 : -1;
}

int SorvantaSession::clear(SorvantaSessionResult* result, const char* field, int reselect, int sample) {
  DastSession* const session = get_internal_session();
  if (session == nullptr || session->clear(field, reselect) < 0) return -1;
  if (result == nullptr) return 1;
  return replace(result, [=](DastSession* kernel) {
    return sample == 0 ? kernel->result() : kernel->generate_sample(field);
  });
}

int SorvantaSession::clear_all() {
  DastSession* const session = get_internal_session();
  return session != nullptr && session->clear_all() >= 0 ? 1 : -1;
}

int SorvantaSession::suggest(SorvantaSessionResult* result, int cached, const char* focus) {
  return replace(result, [=](DastSession* session) {
    DastResult* const answer = session->suggest(cached, nullptr, 0, -1);
    if (answer != nullptr && focus != nullptr) session->update_focus_result(answer, focus);
    return answer;
  });
}

int SorvantaSession::search(SorvantaSessionResult* result, int n, const char* const* modes,
                            const char* const* queries, int num) {
  const DareMultiQuery query(n, modes, queries);
  if (!has_modes(query, modes)) return -1;
  return replace(result, [&](DastSession* session) { return session->search(&query, num); });
}

int SorvantaSession::assess(SorvantaSessionResult* result, int n, const char* const* modes,
                            const char* const* queries) {
  const DareMultiQuery query(n, modes, queries);
  if (!has_modes(query, modes)) return -1;
  return replace(result, [&](DastSession* session) { return session->assess(&query); });
}

int SorvantaSession::multi_select(int n, const char* const* modes, const char* const* queries) {
  DastSession* const session = get_internal_session();
  const DareMultiQuery query(n, modes, queries);
  return session != nullptr && has_modes(query, modes) ? session->multi_select(&query) : -1;
}

int SorvantaSession::sync_session(int n, const char* const* modes, const char* const* queries) {
  DastSession* const session = get_internal_session();
  const DareMultiQuery query(n, modes, queries);
  return session != nullptr && has_modes(query, modes) && session->synchronize_fields(&query) >= 0 ? 1 : -1;
}

int SorvantaSession::cache(SorvantaSessionResult* result) {
  DastSession* const session = get_internal_session();
  if (session == nullptr || result == nullptr) return -1;
  session->cache(result->detach());
  return 0;
}

int SorvantaSession::view(SorvantaSessionResult* result, int from, int to) {
  return replace(result, [=](DastSession* session) { return session->view(from, to); });
}

int SorvantaSession::undo(SorvantaSessionResult* result, int suggest) {
  return replace(result, [=](DastSession* session) { return session->undo(suggest); });
}

int SorvantaSession::redo(SorvantaSessionResult* result, int suggest) {
  return replace(result, [=](DastSession* session) { return session->redo(suggest); });
}

int SorvantaSession::get_row(SorvantaSessionResult* result, const char* field, const char* value,
                             unsigned from, unsigned to, int) {
  return replace(result, [=](DastSession* session) { return session->get_row(field, value, from, to); }) > 0
             ? 0
             : -1;
}

int SorvantaSession::transform_res(SorvantaSessionResult* result) {
  const DastSession* const session = get_internal_session();
  if (session == nullptr || result == nullptr) return -1;
  return session->transform_res(result->get_internal_result()) < 0 ? -1 : 1;
}
