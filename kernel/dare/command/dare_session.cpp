// Construction and settings.
#include "dare/dare_session.h"

#include <algorithm>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "dast/dast_base_field_recall.h"
#include "dast/dast_base_recall.h"
#include "dast/dast_field_flags.h"

DastSession::DastSession(DastBaseRecall* base, bool is_auto)
    : sesConfig(std::make_unique<DareSessionConfig>(base)),
      commandTimer("DARE_SESSION", DareSessionConfig::DEFAULT_RUN_TIME) {
  sesConfig->set_auto(is_auto);
}

DastSession::DastSession(const DastSession* from, AceReporter* rep)
    : sesConfig(std::make_unique<DareSessionConfig>(from->sesConfig.get(), rep)),
      commandTimer("DARE_SESSION", sesConfig->get_run_time()) {
  init_context();
}

DastSession::~DastSession() = default;

DastSession* DastSession::clone(bool is_auto, AceReporter* rep) const {
  auto copy = std::make_unique<DastSession>(this, rep);
  copy->sesConfig->set_auto(is_auto);
  copy->reporter = rep;
  copy->scriptHook = scriptHook;
  return copy.release();
}

int DastSession::config_session(const char* config_string, AceReporter* rep) {
  const int status = sesConfig->config_session(config_string, rep);
  if (status == 0) init_context();
  return status;
}

void DastSession::init_context() {
  commandTimer.set_full_run_time(sesConfig->get_run_time());
  tContext.set_max_record(get_base()->get_num_records());
  if (is_usable()) tContext.add_logic(sesConfig->get_default_combination()->fixedConfig.get_boolean_logic());
  tContext.clear_default_context();
  apply_default_context();
}

AceReporter* DastSession::rep() const {
  return reporter != nullptr ? reporter : AceReporter::use_default();
}

DareSessionField* DastSession::find_field(const char* name) const {
  DareSessionField* const field = sesConfig->get_session_field(name);
  if (field == nullptr) rep()->printf("Unrecognized session field: %s", name != nullptr ? name : "");
  return field;
}

bool DastSession::check_usable() const {
  if (is_usable()) return true;
  rep()->printf("Session template '%s' has no combination: its configuration has failed\n",
                sesConfig->get_template_name());
  return false;
}

void DastSession::begin_evaluation() {
  if (!isTimerFresh) commandTimer.reset_timer(DareTimer::HIGHEST_LEVEL);
  isTimerFresh = false;
}

void DastSession::reset_timer(int precision_level) {
  commandTimer.reset_timer(precision_level);
  isTimerFresh = true;
}

// ---------------------------------------------------------------- settings

int DastSession::get_min_conf() const {
  const DastCombination* const active = sesConfig->get_active_combination();
  return effective(sesGlobals.minValue, active != nullptr ? active->get_min_conf() : -1);
}

int DastSession::get_max_dist() const {
  const DastCombination* const active = sesConfig->get_active_combination();
  return effective(sesGlobals.maxDistance, active != nullptr ? active->get_max_dist() : -1);
}

int DastSession::get_num_suggs() const {
  const DastCombination* const active = sesConfig->get_active_combination();
  return effective(sesGlobals.numSuggs, active != nullptr ? active->get_num_suggs() : -1);
}

int DastSession::set_globals(const char* combination, const int* weights, int min_value, int max_dist,
                             int num_suggs) {
  if (combination != nullptr && switch_active_combination(combination) < 0)
    return ace_error(__FILE__, __LINE__, "switch_active_combination(combination)", -1, 0, -1);
  sesGlobals.fieldWeights.clear();
  if (weights != nullptr) sesGlobals.fieldWeights.assign(weights, weights + sesConfig->get_num_fields());
  sesGlobals.minValue = min_value;
  sesGlobals.maxDistance = max_dist;
  sesGlobals.numSuggs = num_suggs;
  return 0;
}

int DastSession::set_field_weight(int field_index, int value) {
  if (sesConfig->get_session_field(field_index) == nullptr || value < 0 ||
      value > DareFixedConfig::MAX_WEIGHT)
    return -1;
  if (sesGlobals.fieldWeights.empty()) {
    std::vector<int> weights;
    for (int i = 0; i < sesConfig->get_num_fields(); ++i) weights.push_back(get_field_weight(i));
    sesGlobals.fieldWeights = std::move(weights);
  }
  sesGlobals.fieldWeights[static_cast<std::size_t>(field_index)] = value;
  return 0;
}

int DastSession::get_field_weight(int field_index) const {
  const DareSessionField* const field = sesConfig->get_session_field(field_index);
  const DastCombination* const active = sesConfig->get_active_combination();
  if (field == nullptr || active == nullptr) return -1;
  if (active->get_type() == DastCombination::FLEX_FORM) return field->get_unit()->get_weight();
  return weight_of(field_index, &active->fixedConfig);  // units have that of the last evaluation
}

int DastSession::get_field_rescale(int field_index) const {
  const DareSessionField* const field = sesConfig->get_session_field(field_index);
  return field != nullptr ? field->get_unit()->get_rescale_config()->get_threshold() : -1;
}

int DastSession::switch_combination(int id) {
  const Command command(this);
  const int status = sesConfig->switch_combination(id, &tHistory);
  if (status != 0) forget_suggestions();
  return status;
}

int DastSession::switch_active_combination(const char* name) {
  const int id = sesConfig->get_combi_id(name);
  if (id >= 0) return switch_combination(id) < 0 ? -1 : 0;
  rep()->printf("Unrecognized combination: %s", name != nullptr ? name : "");
  return -1;
}

int DastSession::set_input_focus(int focus) {
  if (focus < -1 || focus >= sesConfig->get_num_fields()) return -1;
  const Command command(this);
  tHistory.append({-1, DareHistory::FOCUS, inputFocus, focus});
  inputFocus = focus;
  return 0;
}

void DastSession::set_result_type(int type) {
  const Command command(this);
  tHistory.append({-1, DareHistory::RESULT_TYPE, sesConfig->get_result_type(), type});
  sesConfig->set_result_type(type);
}

// ---------------------------------------------------------------- abstraction

int DastSession::set_abstraction(Mask fields) {
  const int num_fields = get_base()->get_num_fields();
  if (num_fields < 64 && (fields >> num_fields) != 0) return -1;
  const Command command(this);
  tHistory.append({-1, DareHistory::ABSTR_LEVEL, abstractionMask, fields});
  abstractionMask = fields;
  forget_suggestions();
  return 0;
}

int DastSession::set_abstraction(int num_fields, const char* const* field_names) {
  Mask fields = 0;
  for (int i = 0; i < num_fields; ++i) {
    const DareSessionField* const field = find_field(field_names[i]);
    if (field == nullptr || field->is_control()) return -1;
    fields |= Mask{1} << field->get_base_id();
  }
  return set_abstraction(fields);
}

int DastSession::set_abstraction_level(const char* field_name) {
  const DareSessionField* const field = find_field(field_name);
  if (field == nullptr || field->is_control()) return -1;
  for (int level = 0; level < get_base()->get_num_abstractions(); ++level)
    if ((get_base()->get_abstraction(level) >> field->get_base_id() & 1) != 0)
      return set_abstraction(get_base()->get_abstraction(level));
  return -1;
}
