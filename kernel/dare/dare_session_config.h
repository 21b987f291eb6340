/// Configuration of a session: fields, combinations, order of suggestions, limits.
///
///     RUNTIME      2000
///     FIELDS       {
///       name       {
///         BUILD_FIELD  name
///       }
///     }
///     COMBINATIONS {
///       default    {
///         FIXED_CONFIG {
///           LOGIC  (name)
///         }
///       }
///     }
///                                         (tabs between keyword and value; docs/session.md has every
///                                         keyword)
///
/// A template is configured once from such a text. Each session has a copy, so that what it changes (shapes,
/// weights, the active combination) never reaches the template.
///
/// Ownership: a configuration owns its fields and combinations, and counts references to the base, the rules
/// and the external objects. Texts are copied.
/// Errors: -1 or null, explained on the reporter. After a failed `config_session` a configuration can only be
/// destroyed, or be asked what it has. A wrong RUNTIME, and field 129, throw an `AceException`.
/// Thread safety: belongs to one session, or to a template that nobody changes.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "dare/dare_combination.h"
#include "dare/dare_session_field.h"
#include "dare/dare_session_sort.h"
#include "dast/dast_info_list.h"

class AceReporter;
class DareExreConfig;
class DareHistory;
class DareSessionExternal;
class DastBaseRecall;
class DastResult;

class SORV_API DareSessionConfig {
 public:
  static constexpr int MAX_FIELDS = DareSessionField::MAX_FIELDS;
  static constexpr int MAX_SORT_FIELDS = 256;
  static constexpr int DEFAULT_RUN_TIME = 10000;
  static constexpr int DEFAULT_SAMPLE_SIZE = 100;
  /// Property bits of a field beside those of `DareSessionField::get_properties`: it belongs to a hierarchy
  /// of the base; and to the default abstraction.
  enum Property : int { IN_HIERARCHY = 0x8000, IN_ABSTRACTION = 0x10000 };

  /// Empty.
  explicit DareSessionConfig(DastBaseRecall* base);
  /// A copy for a session.
  DareSessionConfig(const DareSessionConfig* config, AceReporter* rep);
  DareSessionConfig(const DareSessionConfig&) = delete;
  DareSessionConfig& operator=(const DareSessionConfig&) = delete;
  ~DareSessionConfig();

  /// Reads a configuration text. Returns 0 or -1.
  int config_session(const char* config_string, AceReporter* rep);
  // Without a text: fields, then the combination "default", the AND of all.
  /// The field over a base field (null: a control field). Its array id; -1.
  int add_session_field(const char* name, const char* index_field);
  DastCombination* create_default_combination(AceReporter* rep);

  // Combinations.

  DastCombination* add_combination(const char* name);
  DastCombination* get_combination(const char* name) const;
  DastCombination* get_combination(int index) const;
  int get_combi_id(const char* name) const;
  DastCombination* get_default_combination() const { return get_combination(0); }
  DastCombination* get_active_combination() const { return activeCombination; }
  int get_num_combi() const { return static_cast<int>(combinationList.size()); }
  /// Makes a combination active, with its weights. 1; 0 when it is already. An unknown one falls back to
  /// the first: -1. `history` may be null.
  int switch_combination(int id, DareHistory* history);

  // Fields.

  int get_num_fields() const { return static_cast<int>(fieldArr.size()); }
  /// Null for none.
  DareSessionField* get_session_field(const char* name) const;
  DareSessionField* get_session_field(int index) const;
  int get_field_index(const char* name) const;
  const char* get_field_name(int index) const;
  /// Of the base field; "CONTEXT" for a control field; null for no field.
  const char* get_field_method(int index) const;
  const char* get_field_method(const char* name) const { return get_field_method(get_field_index(name)); }
  const char* get_field_query(int index) const;
  DastOptions::Call get_field_mode(int index) const;
  /// -1 for no field.
  int get_field_properties(int index) const;
  int get_field_properties(const char* name) const { return get_field_properties(get_field_index(name)); }
  /// The index of the base field; -1 without one.
  int get_related_index(const char* name) const;
  /// The base fields of a field's flex form, as a new array in `at`. Their number; -1 for no field.
  int get_flexform_fields(int index, int** out, AceAttach* at) const;
  int get_flexform_fields(const char* name, int** out, AceAttach* at) const;
  DareFieldNames get_field_names() const;

  // Tuning of fields by name: 0; -1, reported, for an unknown field or value.

  int set_field_shape(const char* field, const char* shape);
  int set_field_custom_shape(const char* field, const char* text);
  int set_field_rescale(const char* field, int threshold);
  /// One for each field.
  int set_field_rescales(const int* thresholds);
  int set_field_penalty(const char* field, int penalty);
  const char* get_field_shape(const char* field) const;
  int get_field_rescale(const char* field) const;
  int get_field_penalty(const char* field) const;
  int set_fs_shape(const char* field, const char* fs_field, const char* shape);
  int set_fs_rescale(const char* field, const char* fs_field, int threshold);
  const char* get_free_search_shape(const char* field, const char* fs_field) const;
  int get_free_search_rescale(const char* field, const char* fs_field) const;
  int set_field_force_exact(const char* field) {
    return set_bit(field, DareSessionFieldConfig::FORCE_EXACT, true);
  }
  int clear_field_force_exact(const char* field) {
    return set_bit(field, DareSessionFieldConfig::FORCE_EXACT, false);
  }
  int get_field_force_exact(const char* field) const;
  int inhibit_select(const char* field, bool on) {
    return set_bit(field, DareSessionFieldConfig::NO_SELECT, on);
  }
  int use_display(const char* field, bool on) {
    return set_bit(field, DareSessionFieldConfig::USE_DISPLAY, on);
  }

  // Settings.

  /// The mode of a name; KEEP_ORDER for all else.
  void set_random_mode(const char* name);
  int get_random_mode() const { return randomMode; }
  /// "field|field:QUALITY|field:REVERSE"; replaces the order. Unknown fields and empty parts are left out.
  void set_sort_order(const char* text);
  int get_num_sort_fields() const { return static_cast<int>(sortFields.size()); }
  int get_sort_field(int i) const { return sortFields[static_cast<std::size_t>(i)]; }
  int get_sort_mode(int i) const { return sortModes[static_cast<std::size_t>(i)]; }
  /// Of fields whose base field consists of runs; other names are left out.
  void set_def_abstraction(const char* text);
  Mask get_abstraction_pattern(const char* text) const;
  Mask get_def_abstraction() const { return defAbstraction; }
  /// Reads the rules of `assess` (dare_exre.h). Returns 0, or -1; then there are none.
  int load_assess_logic(const char* rule_file, AceReporter* rep);
  /// Null for none.
  const DareExreConfig* get_rules() const { return ruleEngineConfig; }
  /// Strict; of the default combination.
  int set_logic(const char* logic, AceReporter* rep);
  const char* get_logic() const;
  /// Fields in a new order; new names become control fields. 0, or -1.
  int reorder(Tiny n, const char* const* names);
  void set_run_time(int ms) { runTime = ms; }
  int get_run_time() const { return runTime; }
  void set_sample_size(int size) { sampleSize = size; }
  int get_sample_size() const { return sampleSize; }
  void set_result_type(int type) { resultType = type; }
  int get_result_type() const { return resultType; }
  void set_script_function(const char* name) { scriptSearchFunction = name != nullptr ? name : ""; }
  const char* get_script_function() const { return scriptSearchFunction.c_str(); }
  void set_assess_id_field(const char* name) { assessIdField = name != nullptr ? name : ""; }
  const char* get_assess_id_field() const { return assessIdField.c_str(); }
  void set_rule_file(const char* name) { ruleFile = name != nullptr ? name : ""; }
  const char* get_rule_file() const { return ruleFile.c_str(); }
  void set_template_name(const char* name) { templateName = name != nullptr ? name : ""; }
  const char* get_template_name() const { return templateName.c_str(); }
  void set_auto(bool on) { isAuto = on; }
  bool is_auto() const { return isAuto; }
  /// Adds a reference; null for none.
  void set_external_objects(DareSessionExternal* objects);
  DareSessionExternal* get_external_objects() const { return extObjects; }
  /// Copies the set; null for none.
  void set_deletion(const DastInfoList* deleted);
  const DastInfoList* get_deletion() const { return delSet; }
  bool has_deletion(Large record) const { return delSet != nullptr && delSet->has(record); }

  /// Whether it was read to its end, or has got a default combination: sessions can be used then.
  bool is_complete() const { return isComplete; }
  DastBaseRecall* get_base() const { return origBase; }
  int get_num_records() const { return numRecords; }
  /// The number of units that had temporary data.
  int clear_temp_fields();
  /// For the fields, with the limits of the default combination; the caller owns it.
  DastResult* create_empty_result() const;
  /// The code of the mode and the query of each field: "?Jon.-.!Bern".
  char* get_summary(AceAttach* at) const;
  void prepare_sorting(DareSessionSort* sort) const;

 private:
  int config_global_keyword(DareConfigText* text, const DareConfigLine& line, AceReporter* rep);
  int config_session_fields(DareConfigText* text, const DareConfigLine& opener, AceReporter* rep);
  int config_combinations(DareConfigText* text, const DareConfigLine& opener, AceReporter* rep);
  int config_sort_order(DareConfigText* text, const DareConfigLine& opener, AceReporter* rep);
  int config_criterion(DareConfigText* text, const DareConfigLine& opener, AceReporter* rep);
  void config_run_time(const DareConfigLine& line);
  int finish_config(AceReporter* rep);
  void apply_weights();
  DareSessionField* find_field(const char* name) const;
  DareField* find_unit(const char* field, const char* fs_field) const;
  int set_bit(const char* field, int bit, bool on);
  std::unique_ptr<SortFunction> make_sort_function(int field, int mode, DareSessionSort* sort) const;

  AceAttach memAt;
  DastBaseRecall* origBase;
  DastInfoList* delSet = nullptr;
  int numRecords;
  std::vector<std::unique_ptr<DareSessionField>> fieldArr;
  DastCombination* activeCombination = nullptr;
  std::vector<std::unique_ptr<DastCombination>> combinationList;
  std::string ruleFile;
  std::string assessIdField;
  int resultType = 1;
  int randomMode = DareSessionSort::KEEP_ORDER;
  int sampleSize = DEFAULT_SAMPLE_SIZE;
  std::string scriptSearchFunction;
  std::string templateName;
  DareSessionExternal* extObjects = nullptr;
  DareExreConfig* ruleEngineConfig = nullptr;
  std::vector<int> sortFields;
  std::vector<int> sortModes;
  bool isAuto = false;
  bool isComplete = false;
  Mask defAbstraction = 0;
  int runTime = DEFAULT_RUN_TIME;
};
