// Whole records: the active combination over all fields.
#include <algorithm>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "dare/dare_evaluate.h"
#include "dare/dare_session.h"
#include "dast/dast_base_field_recall.h"
#include "dast/dast_base_recall.h"
#include "tera/tera_result.h"

/// The fields of one evaluation.
struct DastSession::EvalFields {
  explicit EvalFields(int num_fields) : units(static_cast<std::size_t>(num_fields)) {}
  std::vector<DareField*> units;  // by array id; null for those that take no part
  GrandMask filters = 0;
  std::vector<std::unique_ptr<DareField>> defaults;  // fields that are asked for this evaluation only
  AceAttach queries;                                 // their texts
};

int DastSession::weight_of(int field, const DareFixedConfig* config) const {
  const auto place = static_cast<std::size_t>(field);
  return place < sesGlobals.fieldWeights.size()
             ? std::clamp(sesGlobals.fieldWeights[place], 0, DareFixedConfig::MAX_WEIGHT)
             : config->get_weight(field);
}

/// The text of the first control field that has one: it stands for the logic.
const char* DastSession::control_text() const {
  for (int i = 0; i < sesConfig->get_num_fields(); ++i) {
    const DareSessionField* const field = sesConfig->get_session_field(i);
    if (field->is_control() && !field->has_state(DareSessionField::FREE_SEARCH) &&
        field->get_query() != nullptr && field->get_mode() > DastOptions::EMPTY &&
        !field->is_option(DareSessionFieldConfig::CONTROL_VALUES))
      return field->get_query();
  }
  return nullptr;
}

/// A combination's logic gives way to a control text that is not empty.
int DastSession::effective_logic(const char* control, DareLogicConfig* logic) const {
  return control != nullptr && *control != '\0' ? logic->parse(control, true, rep()) : 0;
}

/// The records that a combination's context query leaves of the context. Returns 0 when neither restricts.
int DastSession::get_preselect(const DareFixedConfig* config, DastInfoList* list, AceAttach* at) const {
  const DastInfoList* const current = tContext.get_current();
  if (current != nullptr) *list = *current;
  const DareContextConfig& context = config->context;
  const DareSessionField* const field = sesConfig->get_session_field(context.contextField);
  if (field == nullptr || field->is_control() || context.contextMode <= DastOptions::EMPTY ||
      context.contextString.empty())
    return current != nullptr ? 1 : 0;
  DareField unit(field->get_base_id(), field->get_base_field(), &field->fieldConf);
  if (unit.recall(field->query_transform(context.contextString.c_str(), at), context.contextMode,
                  field->is_option(DareSessionFieldConfig::FORCE_EXACT), true, rep()) < 0)
    return -1;
  DastInfoList found = records_of(&unit, at);
  found = DastInfoList(found, at);  // the candidates go
  if (current != nullptr)
    list->intersect_with(&found, at);
  else
    *list = found;
  return 1;
}

int DastSession::prepare_eval_fields(const DareLogicConfig* logic, const DareFixedConfig* config,
                                     EvalFields* fields) {
  const AceTimeSection section("PREPARE_SINGLE_FIELDS");
  std::vector<const char*> names(static_cast<std::size_t>(logic->get_logic_fields(nullptr)));
  logic->get_logic_fields(names.data());
  std::vector<DareSessionField*> pending;
  for (const char* name : names) {
    DareSessionField* const field = sesConfig->get_session_field(name);
    if (field == nullptr) {
      rep()->printf("The logic names '%s', which is no session field\n", name);
      return ace_error(__FILE__, __LINE__, "field = sesConfig.get_session_field(fieldnames[i])", -1, 0, -1);
    }
    if (field->has_state(DareSessionField::PENDING)) pending.push_back(field);
  }
  if (query_fields(pending) < 0) return -1;
  for (const char* name : names) {
    DareSessionField* const field = sesConfig->get_session_field(name);
    const int id = field->get_array_id();
    DareField* unit = field->get_eval_unit();
    if (id >= config->get_num_fields()) return -1;  // a field that came after the combination
    const DareFixedConfig::InputField& input = config->get_input_field(id);
    const bool is_unasked = field->get_mode() == DastOptions::NOOP ||
                            (field->get_mode() == DastOptions::EMPTY && field->get_query() == nullptr);
    if (is_unasked && !field->is_control() && input.defaultMode > DastOptions::EMPTY &&
        input.defaultString.has_value()) {
      fields->defaults.push_back(field->get_unit()->copy_config(&field->fieldConf));
      unit = fields->defaults.back().get();
      if (unit->recall(field->query_transform(input.defaultString->c_str(), &fields->queries),
                       input.defaultMode, field->is_option(DareSessionFieldConfig::FORCE_EXACT),
                       field->fieldConf.reevalMode != ReevalMode::SECONDARY_ONLY, rep()) < 0)
        return -1;
    }
    unit->logicId = logic->get_logic_id(name);
    unit->set_weight(weight_of(id, config));
    fields->units[static_cast<std::size_t>(id)] = unit;
    if (unit->is_filter()) fields->filters |= GrandMask{1} << id;
  }
  return static_cast<int>(names.size());
}

TeraResult* DastSession::fixedform(const DareFixedConfig* config, const char* control, bool represent_hits,
                                   EvalFields* fields, int num) {
  const AceTimeSection section("FIXEDFORM");
  const int minimum = effective(sesGlobals.minValue, config->minValue);
  const int distance = effective(sesGlobals.maxDistance, config->maxDistance);
  auto recall = std::make_unique<TeraResult>(nullptr, minimum, std::max(num, 1), distance);
  AceAttach at;
  DastInfoList context;
  const int is_restricted = get_preselect(config, &context, &at);
  if (is_restricted < 0) return nullptr;
  DareLogicConfig logic(config->get_boolean_logic());
  if (effective_logic(control, &logic) < 0) return nullptr;
  if (prepare_eval_fields(&logic, config, fields) < 0) {
    ace_error_msg(__FILE__, __LINE__, "num_fields = prepare_eval_fields(logic, fields, fixed_config, rep)",
                  -1);
    return nullptr;
  }
  const double limit =
      commandTimer.is_running() ? commandTimer.get_usable_time() / 1000.0 : DEFAULT_RUN_LIMIT;
  DareEvaluate evaluator(recall.get(), static_cast<int>(fields->units.size()), fields->units.data(), &logic,
                         abstractionMask != 0 ? 1 : 0, is_restricted > 0 ? &context : nullptr,
                         fields->filters, represent_hits || abstractionMask != 0);
  if (abstractionMask != 0) {
    GrandMask displayed = 0;
    for (int i = 0; i < sesConfig->get_num_fields(); ++i) {
      const int base_id = sesConfig->get_session_field(i)->get_base_id();
      if (base_id < 0 || (abstractionMask >> base_id & 1) == 0) continue;
      displayed |= GrandMask{1} << i;
      if (fields->units[static_cast<std::size_t>(i)] != nullptr) continue;
      // It only shows its value.
      const DareSessionField* const field = sesConfig->get_session_field(i);
      fields->defaults.push_back(field->get_unit()->copy_config(&field->fieldConf));
      fields->units[static_cast<std::size_t>(i)] = fields->defaults.back().get();
    }
    evaluator.set_display_fields(displayed);
  }
  evaluator.init_parallel_parts(get_base());
  if (evaluator.do_evaluation(limit) < 0) {
    ace_error_msg(__FILE__, __LINE__, "evaluator.do_evaluation(left_time)", -1);
    return nullptr;
  }
  numIterations = evaluator.get_num_iterations();
  return recall.release();
}

TeraResult* DastSession::top_level_evaluation(DastCombination* combination, EvalFields* fields, int num) {
  if (combination->get_type() == DastCombination::FLEX_FORM) {
    rep()->printf("Combination '%s' is a flex form, which is not evaluated\n", combination->get_name());
    return nullptr;
  }
  return fixedform(&combination->fixedConfig, control_text(), false, fields, num);
}

// ---------------------------------------------------------------- commands
// Each gives a result of its own, which outlives the session; null stands for what cannot be evaluated.

DastResult* DastSession::suggest(int cached, const char* focus, int sample, int num) {
  if (!check_usable()) return nullptr;
  if (cached != 0 && currentResult != nullptr)
    return new DastResult(currentResult.get(), 0, num < 0 ? currentResult->get_num_suggs() : num);
  const Command command(this);
  begin_evaluation();
  const int wanted = num >= 0 ? num : get_num_suggs();
  EvalFields fields(sesConfig->get_num_fields());
  const std::unique_ptr<TeraResult> recall(
      top_level_evaluation(sesConfig->get_active_combination(), &fields, wanted));
  update_status(NO_CHANGE);
  forget_suggestions();
  if (recall == nullptr) return nullptr;
  ResultPtr result = build_result(recall.get(), fields.units, wanted);
  if (const DareSessionField* const field = focus != nullptr ? find_field(focus) : nullptr;
      field != nullptr) {
    if (field->get_query() == nullptr && sample != 0)
      build_sample(result.get(), field);
    else
      build_alts(result.get(), field);
    result->set_cur_field(field->get_array_id());
    fill_status(result.get());
  }
  return result.release();
}

DastResult* DastSession::search(const DareMultiQuery* query, int num) {
  if (!check_usable()) return nullptr;
  const Command command(this);
  forget_suggestions();
  sesConfig->clear_temp_fields();
  if (synchronize_fields(query) < 0) return result();
  return suggest(0, nullptr, 0, num);
}

DastResult* DastSession::search_combination(const DareMultiQuery* query, const char* combination) {
  if (!check_usable()) return nullptr;
  DastCombination* const wanted =
      combination != nullptr ? sesConfig->get_combination(combination) : sesConfig->get_default_combination();
  if (wanted == nullptr) {
    rep()->printf("Unrecognized combination: %s", combination);
    return nullptr;
  }
  const bool isOutermost = beforeCommand == nullptr;
  const Command command(this);
  if (query != nullptr && synchronize_fields(query) < 0) return nullptr;
  const HistorySleep sleep(&tHistory);
  if (isOutermost) begin_evaluation();
  EvalFields fields(sesConfig->get_num_fields());
  const int num = effective(sesGlobals.numSuggs, wanted->get_num_suggs());
  const std::unique_ptr<TeraResult> recall(top_level_evaluation(wanted, &fields, num));
  ResultPtr result;
  if (recall != nullptr) {
    result = new_result();
    result->set_limits(effective(sesGlobals.minValue, wanted->get_min_conf()),
                       effective(sesGlobals.maxDistance, wanted->get_max_dist()), num);
    fill_status(result.get());
    result->set_current_suggs(build_suggs(recall.get(), fields.units, num));
  }
  return result.release();
}

int DastSession::reevaluate(const DareMultiQuery* query, const char* combination, DastResult* result) {
  const DastCombination* const wanted =
      combination != nullptr ? sesConfig->get_combination(combination) : sesConfig->get_default_combination();
  if (!check_usable() || wanted == nullptr || result == nullptr ||
      wanted->get_type() == DastCombination::FLEX_FORM)
    return -1;
  const Command command(this);
  if (query != nullptr && synchronize_fields(query) < 0) return -1;
  const DareFixedConfig& config = wanted->fixedConfig;
  const int minimum = effective(sesGlobals.minValue, config.minValue);
  TeraResult unused(nullptr, minimum, 1, 255);
  EvalFields fields(sesConfig->get_num_fields());
  const HistorySleep sleep(&tHistory);
  DareLogicConfig logic(config.get_boolean_logic());
  if (effective_logic(control_text(), &logic) < 0 || prepare_eval_fields(&logic, &config, &fields) < 0)
    return -1;
  DareEvaluate evaluator(&unused, static_cast<int>(fields.units.size()), fields.units.data(), &logic, 0,
                         nullptr, fields.filters, false);
  const bool can_score = evaluator.init_scores() == 0;
  for (int i = 0; i < result->get_num_suggs(); ++i) {
    DastSuggestion* const suggestion = result->get_sugg(i);
    if (suggestion->repObj == nullptr) continue;
    suggestion->repObj->set_quality(can_score ? std::max(evaluator.score(suggestion->recordIndex), 0) : 0);
    for (int field = 0; field < sesConfig->get_num_fields(); ++field)
      if (DareField* const unit = fields.units[static_cast<std::size_t>(field)]; unit != nullptr)
        suggestion->repObj->set_quality(field, field_quality(unit, suggestion->recordIndex));
  }
  return minimum;
}

DastResult* DastSession::assess(const DareMultiQuery* query) {
  if (!check_usable()) return nullptr;
  const Command command(this);
  begin_evaluation();
  forget_suggestions();
  sesConfig->clear_temp_fields();
  if (synchronize_fields(query) < 0) return result();
  ResultPtr decided;
  if (sesConfig->get_rules() != nullptr) {
    DareExreEngine engine(sesConfig->get_rules(), this, rep());
    decided.reset(engine.run(query));
  } else {
    rep()->printf("Session template '%s' has no rules: nothing is decided\n", sesConfig->get_template_name());
    const char* const active = sesConfig->get_active_combination()->get_name();
    decided.reset(search_combination(nullptr, active));
    if (decided != nullptr) decided->set_category(DastResult::NO_DECISION);
  }
  update_status(NO_CHANGE);
  if (decided == nullptr) return nullptr;
  fill_status(decided.get());
  for (int i = 0; i < sesConfig->get_num_fields(); ++i) decided->set_field_sort(i, DastResult::BY_QUALITY);
  auto copy = std::make_unique<DastResult>(decided.get(), 0, decided->get_num_suggs());
  forget_suggestions();
  currentResult = std::move(copy);
  return decided.release();
}

DastResult* DastSession::script(const DareMultiQuery* query) {
  const char* const function = sesConfig->get_script_function();
  if (!scriptHook || *function == '\0') return nullptr;
  return scriptHook(this, query, function);
}
