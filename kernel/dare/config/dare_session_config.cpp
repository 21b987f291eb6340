// Fields, combinations and settings; the text is read in dare_session_config_read.cpp.
#include "dare/dare_session_config.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <sstream>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"
#include "dare/dare_exre.h"
#include "dare/dare_external.h"
#include "dare/dare_history.h"
#include "dare/dare_result.h"
#include "dast/dast_base.h"
#include "dast/dast_base_field_recall.h"
#include "dast/dast_base_recall.h"
#include "dast/dast_field_flags.h"
#include "tera/tera_rand.h"

DareSessionConfig::DareSessionConfig(DastBaseRecall* base)
    : origBase(base), numRecords(static_cast<int>(std::min<Large>(base->get_num_records(), INT_MAX))) {
  base->incr_ref_count();
}

DareSessionConfig::DareSessionConfig(const DareSessionConfig* config, AceReporter*)
    : origBase(config->origBase),
      numRecords(config->numRecords),
      ruleFile(config->ruleFile),
      assessIdField(config->assessIdField),
      resultType(config->resultType),
      randomMode(config->randomMode),
      sampleSize(config->sampleSize),
      scriptSearchFunction(config->scriptSearchFunction),
      templateName(config->templateName),
      sortFields(config->sortFields),
      sortModes(config->sortModes),
      isAuto(config->isAuto),
      isComplete(config->isComplete),
      defAbstraction(config->defAbstraction),
      runTime(config->runTime) {
  origBase->incr_ref_count();
  for (const auto& field : config->fieldArr)
    fieldArr.push_back(std::make_unique<DareSessionField>(field.get()));
  for (const auto& combination : config->combinationList) {
    combinationList.push_back(std::make_unique<DastCombination>(*combination));
    combinationList.back()->set_group_id(get_num_combi() - 1);
  }
  set_external_objects(config->extObjects);
  ruleEngineConfig = config->ruleEngineConfig;
  if (ruleEngineConfig != nullptr) ruleEngineConfig->ref();
  set_deletion(config->delSet);
  activeCombination = get_default_combination();
}

DareSessionConfig::~DareSessionConfig() {
  set_external_objects(nullptr);
  if (ruleEngineConfig != nullptr) ruleEngineConfig->destroy();
  origBase->destroy();
}

int DareSessionConfig::add_session_field(const char* name, const char* index_field) {
  const int base_id = index_field != nullptr ? origBase->get_field_index(index_field) : -1;
  if (name == nullptr || get_field_index(name) >= 0 || (index_field != nullptr && base_id < 0)) return -1;
  fieldArr.push_back(std::make_unique<DareSessionField>(name, get_num_fields(), numRecords));
  if (base_id >= 0)
    fieldArr.back()->set_base_field(base_id, origBase->get_field(base_id));
  else
    fieldArr.back()->set_reeval_mode(ReevalMode::PRIMARY_ONLY);
  return get_num_fields() - 1;
}

DastCombination* DareSessionConfig::create_default_combination(AceReporter* rep) {
  DastCombination* const combination = add_combination("default");
  if (combination->init_fields(get_field_names()) < 0) {
    rep->printf("A default combination needs at least one session field\n");
    return nullptr;
  }
  combination->fixedConfig.ensure_logic();
  activeCombination = get_default_combination();
  for (const auto& field : fieldArr)
    field->fieldConf.logicID = combination->fixedConfig.get_boolean_logic()->get_logic_id(field->get_name());
  apply_weights();
  isComplete = true;
  return combination;
}

// ---------------------------------------------------------------- combinations
// One combination is active at a time; its weights and logic are those of the session until another one
// is.

DastCombination* DareSessionConfig::add_combination(const char* name) {
  combinationList.push_back(std::make_unique<DastCombination>(name));
  combinationList.back()->set_group_id(get_num_combi() - 1);
  return combinationList.back().get();
}

int DareSessionConfig::get_combi_id(const char* name) const {
  for (int id = 0; name != nullptr && id < get_num_combi(); ++id)
    if (std::strcmp(get_combination(id)->get_name(), name) == 0) return id;
  return -1;
}

DastCombination* DareSessionConfig::get_combination(int index) const {
  return index >= 0 && index < get_num_combi() ? combinationList[static_cast<std::size_t>(index)].get()
                                               : nullptr;
}

DastCombination* DareSessionConfig::get_combination(const char* name) const {
  return get_combination(get_combi_id(name));
}

/// The weights of the active combination: of a flex form all are -1.
void DareSessionConfig::apply_weights() {
  if (activeCombination == nullptr) return;
  const bool isFixed = activeCombination->get_type() == DastCombination::FIXED_FORM;
  for (const auto& field : fieldArr)
    field->get_unit()->set_weight(isFixed ? activeCombination->fixedConfig.get_weight(field->get_array_id())
                                          : -1);
}

int DareSessionConfig::switch_combination(int id, DareHistory* history) {
  int status = 1;
  if (get_combination(id) == nullptr) {
    status = -1;
    id = 0;
  }
  DastCombination* const wanted = get_combination(id);
  if (wanted == nullptr) return -1;
  if (wanted == activeCombination) return status > 0 ? 0 : status;
  if (history != nullptr)
    history->append(
        {-1, DareHistory::COMBI, activeCombination != nullptr ? activeCombination->get_group_id() : 0, id});
  activeCombination = wanted;
  apply_weights();
  for (const auto& field : fieldArr)
    if (field->is_control()) field->clear_result(true, history);
  return status;
}

int DareSessionConfig::set_logic(const char* logic, AceReporter* rep) {
  DastCombination* const combination = get_default_combination();
  if (combination == nullptr || combination->fixedConfig.set_logic(logic, rep) < 0) return -1;
  for (const auto& field : fieldArr)
    field->fieldConf.logicID = combination->fixedConfig.get_boolean_logic()->get_logic_id(field->get_name());
  return 0;
}

const char* DareSessionConfig::get_logic() const {
  return get_default_combination() != nullptr ? get_default_combination()->fixedConfig.get_logic() : nullptr;
}

// ---------------------------------------------------------------- fields
// Fields are told by their place in the session, which a new order changes, or by name, which nothing
// changes.

int DareSessionConfig::get_field_index(const char* name) const {
  for (int i = 0; name != nullptr && i < get_num_fields(); ++i)
    if (std::strcmp(fieldArr[static_cast<std::size_t>(i)]->get_name(), name) == 0) return i;
  return -1;
}

DareSessionField* DareSessionConfig::get_session_field(int index) const {
  return index >= 0 && index < get_num_fields() ? fieldArr[static_cast<std::size_t>(index)].get() : nullptr;
}

DareSessionField* DareSessionConfig::get_session_field(const char* name) const {
  return get_session_field(get_field_index(name));
}

const char* DareSessionConfig::get_field_name(int index) const {
  const DareSessionField* const field = get_session_field(index);
  return field != nullptr ? field->get_name() : nullptr;
}

const char* DareSessionConfig::get_field_method(int index) const {
  const DareSessionField* const field = get_session_field(index);
  if (field == nullptr) return nullptr;
  return field->is_control() ? "CONTEXT" : field->get_base_field()->get_method_name();
}

const char* DareSessionConfig::get_field_query(int index) const {
  const DareSessionField* const field = get_session_field(index);
  return field != nullptr ? field->get_query() : nullptr;
}

DastOptions::Call DareSessionConfig::get_field_mode(int index) const {
  const DareSessionField* const field = get_session_field(index);
  return field != nullptr ? field->get_mode() : DastOptions::NOOP;
}

int DareSessionConfig::get_field_properties(int index) const {
  const DareSessionField* const field = get_session_field(index);
  if (field == nullptr) return -1;
  int bits = field->get_properties();
  if (field->is_control()) return bits;
  const int base_id = field->get_base_id();
  const auto* const base = dynamic_cast<const DastBase*>(origBase);
  if (base != nullptr && base->get_field_hierarchy(base_id) > 0) bits |= IN_HIERARCHY;
  return (defAbstraction >> base_id & 1) != 0 ? bits | IN_ABSTRACTION : bits;
}

int DareSessionConfig::get_related_index(const char* name) const {
  const DareSessionField* const field = get_session_field(name);
  return field != nullptr ? field->get_base_id() : -1;
}

int DareSessionConfig::get_flexform_fields(int index, int** out, AceAttach* at) const {
  const DareSessionField* const field = get_session_field(index);
  if (field == nullptr) return -1;
  const auto& outputs = field->fieldConf.flexConfig.outputArray;
  at->malloc(*out, static_cast<long>(outputs.size()));
  for (std::size_t i = 0; i < outputs.size(); ++i) (*out)[i] = outputs[i].baseId;
  return static_cast<int>(outputs.size());
}

int DareSessionConfig::get_flexform_fields(const char* name, int** out, AceAttach* at) const {
  return get_flexform_fields(get_field_index(name), out, at);
}

DareFieldNames DareSessionConfig::get_field_names() const {
  DareFieldNames names;
  for (const auto& field : fieldArr) names.emplace_back(field->get_name());
  return names;
}

int DareSessionConfig::reorder(Tiny n, const char* const* names) {
  if (n < get_num_fields() || n > MAX_FIELDS) return -1;
  std::vector<std::unique_ptr<DareSessionField>> order(n);
  for (int i = 0; i < n; ++i) {
    if (names[i] == nullptr) return -1;
    for (int k = 0; k < i; ++k)
      if (std::strcmp(names[i], names[k]) == 0) return -1;
  }
  int known = 0;
  for (int i = 0; i < n; ++i) known += get_field_index(names[i]) >= 0 ? 1 : 0;
  if (known < get_num_fields()) return -1;  // a field would get lost
  std::vector<int> old_position;
  for (int i = 0; i < n; ++i) old_position.push_back(get_field_index(names[i]));
  for (const auto& combination : combinationList) {
    combination->fixedConfig.reorder({names, names + n}, old_position);
    combination->flexConfig.finalize({names, names + n}, AceReporter::null());
  }
  for (int i = 0; i < n; ++i) {
    const int place = old_position[static_cast<std::size_t>(i)];
    auto& field = order[static_cast<std::size_t>(i)];
    if (place >= 0) {
      field = std::move(fieldArr[static_cast<std::size_t>(place)]);
      field->set_array_id(i);
    } else {
      field = std::make_unique<DareSessionField>(names[i], i, numRecords);
      field->set_reeval_mode(ReevalMode::PRIMARY_ONLY);
    }
  }
  fieldArr = std::move(order);
  for (const auto& field : fieldArr)
    field->fieldConf.flexConfig.finalize({names, names + n}, AceReporter::null());
  for (int& sort_field : sortFields)
    for (int i = 0; i < n; ++i)
      if (old_position[static_cast<std::size_t>(i)] == sort_field) {
        sort_field = i;
        break;
      }
  apply_weights();
  return 0;
}

// ---------------------------------------------------------------- tuning
// A session changes its own copy of the settings; what it does not have is refused with -1.

DareSessionField* DareSessionConfig::find_field(const char* name) const {
  DareSessionField* const field = get_session_field(name);
  if (field == nullptr) ace_error_msg(__FILE__, __LINE__, "field = get_session_field(field_name)", -1);
  return field;
}

DareField* DareSessionConfig::find_unit(const char* field_name, const char* fs_field) const {
  const DareSessionField* const field = find_field(field_name);
  if (field == nullptr) return nullptr;
  return fs_field == nullptr
             ? field->get_unit()
             : field->get_unit(field->get_dyn_field_index(fs_field, AceReporter::use_default()));
}

int DareSessionConfig::set_bit(const char* field_name, int bit, bool on) {
  DareSessionField* const field = find_field(field_name);
  if (field == nullptr) return -1;
  on ? field->set_option(bit) : field->del_option(bit);
  return 0;
}

int DareSessionConfig::get_field_force_exact(const char* field_name) const {
  const DareSessionField* const field = find_field(field_name);
  return field == nullptr ? -1 : field->is_option(DareSessionFieldConfig::FORCE_EXACT) ? 1 : 0;
}

namespace {

/// A setter or getter of a unit that may not be there.
template <class Change>
int on_unit(DareField* unit, Change change) {
  if (unit == nullptr) return -1;
  change(unit);
  return 0;
}

int shape_of_unit(DareField* unit, const char* shape) {
  if (unit == nullptr || TeraRescaleConfig::enum_from_str(shape) == RescaleShape::UNKNOWN) return -1;
  return unit->set_shape(shape);
}

}  // namespace

int DareSessionConfig::set_field_shape(const char* field, const char* shape) {
  return shape_of_unit(find_unit(field, nullptr), shape);
}

int DareSessionConfig::set_field_custom_shape(const char* field, const char* text) {
  DareField* const unit = find_unit(field, nullptr);
  return unit != nullptr ? unit->set_custom_shape(text) : -1;
}

int DareSessionConfig::set_field_rescale(const char* field, int threshold) {
  return on_unit(find_unit(field, nullptr), [=](DareField* unit) { unit->set_rescale(threshold); });
}

int DareSessionConfig::set_field_rescales(const int* thresholds) {
  for (int i = 0; i < get_num_fields(); ++i) get_session_field(i)->set_field_rescale(thresholds[i]);
  return 0;
}

int DareSessionConfig::set_field_penalty(const char* field, int penalty) {
  return on_unit(find_unit(field, nullptr), [=](DareField* unit) { unit->set_penalty(penalty); });
}

const char* DareSessionConfig::get_field_shape(const char* field) const {
  const DareField* const unit = find_unit(field, nullptr);
  return unit != nullptr ? unit->get_rescale_config()->get_shape_name() : nullptr;
}

int DareSessionConfig::get_field_rescale(const char* field) const {
  const DareField* const unit = find_unit(field, nullptr);
  return unit != nullptr ? unit->get_rescale_config()->get_threshold() : -1;
}

int DareSessionConfig::get_field_penalty(const char* field) const {
  const DareField* const unit = find_unit(field, nullptr);
  return unit != nullptr ? unit->get_rescale_config()->get_penalty() : -1;
}

int DareSessionConfig::set_fs_shape(const char* field, const char* fs_field, const char* shape) {
  return shape_of_unit(find_unit(field, fs_field), shape);
}

int DareSessionConfig::set_fs_rescale(const char* field, const char* fs_field, int threshold) {
  return on_unit(find_unit(field, fs_field), [=](DareField* unit) { unit->set_rescale(threshold); });
}

const char* DareSessionConfig::get_free_search_shape(const char* field, const char* fs_field) const {
  const DareField* const unit = find_unit(field, fs_field);
  return unit != nullptr ? unit->get_rescale_config()->get_shape_name() : nullptr;
}

int DareSessionConfig::get_free_search_rescale(const char* field, const char* fs_field) const {
  const DareField* const unit = find_unit(field, fs_field);
  return unit != nullptr ? unit->get_rescale_config()->get_threshold() : -1;
}

// ---------------------------------------------------------------- settings
// What concerns the session as a whole; the template that it was made of stays as it was.

void DareSessionConfig::set_random_mode(const char* name) {
  static constexpr const char* MODES[] = {"KEEP_ORDER", "ROUND_ROBIN", "SHUFFLE", "SORT"};
  randomMode = DareSessionSort::KEEP_ORDER;
  for (int mode = 0; name != nullptr && mode < 4; ++mode)
    if (std::strcmp(MODES[mode], name) == 0) randomMode = mode;
}

void DareSessionConfig::set_sort_order(const char* text) {
  sortFields.clear();
  sortModes.clear();
  std::istringstream criteria(text != nullptr ? text : "");
  for (std::string criterion; std::getline(criteria, criterion, '|');) {
    const std::size_t colon = criterion.rfind(':');
    const std::string mode = colon != std::string::npos ? criterion.substr(colon + 1) : "";
    const int field = get_field_index(criterion.substr(0, colon).c_str());
    if (field < 0 || get_num_sort_fields() >= MAX_SORT_FIELDS) continue;
    sortFields.push_back(field);
    sortModes.push_back(mode == "QUALITY"   ? DareSessionSort::QUALITY
                        : mode == "REVERSE" ? DareSessionSort::REVERSE
                                            : DareSessionSort::LEXICAL);
  }
}

Mask DareSessionConfig::get_abstraction_pattern(const char* text) const {
  std::string names = text != nullptr ? text : "";
  if (names.size() >= 2 && names.front() == '{' && names.back() == '}')
    names = names.substr(1, names.size() - 2);
  std::istringstream words(names);
  Mask pattern = 0;
  std::string name;
  for (int count = 0; count < MAX_FIELDS && words >> name; ++count) {
    const DareSessionField* const field = get_session_field(name.c_str());
    if (field != nullptr && !field->is_control() &&
        (field->get_base_field()->get_type() & DastFieldFlags::IS_INTERVAL) != 0)
      pattern |= Mask{1} << field->get_base_id();
  }
  return pattern;
}

void DareSessionConfig::set_def_abstraction(const char* text) {
  defAbstraction = get_abstraction_pattern(text);
}

int DareSessionConfig::load_assess_logic(const char* rule_file, AceReporter* rep) {
  DareExreNames names;
  names.getFieldIndex = [this](const char* name) { return get_field_index(name); };
  names.getCombiId = [this](const char* name) { return get_combi_id(name); };
  names.dedupField = assessIdField.empty() ? -1 : get_field_index(assessIdField.c_str());
  if (ruleEngineConfig != nullptr) ruleEngineConfig->destroy();
  ruleEngineConfig = DareExreConfig::parse_config(rule_file, names, rep);
  if (ruleEngineConfig != nullptr) return 0;
  return ace_error(__FILE__, __LINE__, "DareExreConfig::parse_config(rule_file, names, rep)", -1, 0, -1);
}

void DareSessionConfig::set_external_objects(DareSessionExternal* objects) {
  if (objects != nullptr) objects->ref();
  if (extObjects != nullptr) extObjects->unref();
  extObjects = objects;
}

void DareSessionConfig::set_deletion(const DastInfoList* deleted) {
  delSet = deleted != nullptr ? new (&memAt) DastInfoList(*deleted, &memAt) : nullptr;
  if (delSet != nullptr) delSet->ensure_no_reference(&memAt);
}

int DareSessionConfig::clear_temp_fields() {
  int sum = 0;
  for (const auto& field : fieldArr) sum += field->clear_temp();
  return sum;
}

DastResult* DareSessionConfig::create_empty_result() const {
  const DastCombination* const combination = get_default_combination();
  if (combination == nullptr) return nullptr;
  return new DastResult(static_cast<Tiny>(get_num_fields()), combination->get_min_conf(),
                        combination->get_max_dist(), combination->get_num_suggs());
}

char* DareSessionConfig::get_summary(AceAttach* at) const {
  std::string summary;
  for (const auto& field : fieldArr) {
    if (!summary.empty()) summary += '.';
    summary += field->get_mode_code();
    summary += field->get_query() != nullptr ? field->get_query() : "";
  }
  return at->attach(summary.c_str());
}

// ---------------------------------------------------------------- order of suggestions
// Keys are compared one after the other; the first one that differs decides.

std::unique_ptr<SortFunction> DareSessionConfig::make_sort_function(int field_index, int mode,
                                                                    DareSessionSort* sort) const {
  const DareSessionField* const field = get_session_field(field_index);
  if (field == nullptr) return nullptr;
  if (mode == DareSessionSort::QUALITY) {
    sort->add_quality_field(field_index);
    return std::make_unique<QualitySortFunc>(field_index);
  }
  const DastOptions::AliasDisplay display = field->fieldConf.aliasDisplay;
  const DastBaseFieldRecall* const base_field = field->get_base_field();
  std::unique_ptr<SortFunction> function;
  if (display != DastOptions::HIT && display != DastOptions::BEST && base_field != nullptr &&
      !base_field->is_basic() && base_field->can_sort()) {
    function = std::make_unique<AdvancedLexicalSortFunc>(base_field);
  } else {
    sort->add_string_field(field_index);
    function = std::make_unique<BasicLexicalSortFunc>(field_index);
  }
  if (mode == DareSessionSort::REVERSE) function = std::make_unique<ReversedSortFunc>(std::move(function));
  return function;
}

void DareSessionConfig::prepare_sorting(DareSessionSort* sort) const {
  sort->set_random_mode(randomMode);
  if (randomMode == DareSessionSort::ROUND_ROBIN || randomMode == DareSessionSort::SHUFFLE) {
    static const bool seeded = [] {  // once per process
      const int seed = AceTracer::get_flag("SEQUENCING_RANDOM_SEED");
      if (seed > 0) tera_srand(static_cast<unsigned>(seed));
      return true;
    }();
    static_cast<void>(seeded);
  }
  if (randomMode != DareSessionSort::SORT) return;
  std::vector<std::unique_ptr<SortFunction>> functions;
  for (int i = 0; i < get_num_sort_fields(); ++i)
    if (auto function = make_sort_function(get_sort_field(i), get_sort_mode(i), sort); function != nullptr)
      functions.push_back(std::move(function));
  sort->set_sort_functions(std::move(functions));
}
