/// Combinations: how the fields of a session together decide which records are suggested.
///
/// A combination is of fixed form (fields with weights in a boolean logic, dare_logic.h) or of flex form
/// (input fields spread over base fields). It holds both configurations, and uses the one of its type; flex
/// forms are read and kept, but not evaluated.
///
///     COMBINATIONS {                                  combination "default"
///       default {                                       fixed: minValue 190, maxDistance 50
///         MIN_CONF 190                                         (name&city), name 100, city 50
///         FIXED_CONFIG {
///           LOGIC (name&city)
///           FIELDS {
///             city {
///               WEIGHT 50
///
/// Ownership: plain values; texts are copied.
/// Errors: -1, explained on the reporter.
/// Thread safety: belongs to one session, or to a template that nobody changes.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ace/ace_types.h"
#include "dare/dare_logic.h"
#include "dast/dast_options.h"
#include "tera/tera_eval.h"

class AceReporter;
class DareConfigText;
class DastBaseRecall;
struct DareConfigLine;

/// Names of session fields, by position.
using DareFieldNames = std::vector<std::string>;

/// A field whose query narrows the records before a combination is evaluated.
struct DareContextConfig {
  std::string contextName;
  int contextField = -1;  ///< position of the session field; -1 for none
  DastOptions::Call contextMode = DastOptions::EMPTY;
  std::string contextString;

  /// Reads a block; `names` null leaves the field to be resolved later.
  int configure(DareConfigText* text, const DareConfigLine& opener, const DareFieldNames* names,
                AceReporter* rep);
};

class SORV_API DareFixedConfig {
 public:
  static constexpr int MAX_FIELDS = 128;
  static constexpr int MAX_WEIGHT = 255;

  struct InputField {
    std::string fieldName;
    DastOptions::Call defaultMode = DastOptions::NOOP;  ///< what a field without mode is asked with
    std::optional<std::string> defaultString;
    int fieldWeight = 0;
  };

  /// One input field for each name, with weight 100. -1 without names, and when the context's field is none
  /// of them.
  int init_fields(const DareFieldNames& names);
  /// Adds one. Returns its position, or -1.
  int add_field(const std::string& name, int weight);
  int configure(DareConfigText* text, const DareConfigLine& opener, const DareFieldNames& names,
                AceReporter* rep);
  /// Gives a combination without logic the AND of all fields.
  void ensure_logic();

  int get_num_fields() const { return static_cast<int>(inputFields.size()); }
  const InputField& get_input_field(int field) const { return inputFields[static_cast<std::size_t>(field)]; }
  /// Input fields in a new order: each, with all that is its own, from its old position (-1: a new one).
  void reorder(const DareFieldNames& names, const std::vector<int>& old_position);
  /// -1 for none.
  int get_field_index(const std::string& name) const;
  /// 0 to 255; -1 for no field.
  int set_weight(int field, int weight);
  int get_weight(int field) const;
  int get_sum_weights() const { return sumWeights; }
  /// Bit i: input field i has a weight.
  GrandMask get_field_mask() const { return fieldMask; }
  /// Strict (dare_logic.h). Returns 0, or -1; then there is no logic.
  int set_logic(const char* logic, AceReporter* rep);
  const char* get_logic() const { return logicString.c_str(); }
  const DareLogicConfig* get_boolean_logic() const { return &booleanLogic; }

  int defaultWeight = 20;
  int minValue = 190;
  int maxDistance = 50;
  int numSuggestions = 100;
  DareContextConfig context;

 private:
  bool find_context();
  InputField& input(int field) { return inputFields[static_cast<std::size_t>(field)]; }
  int configure_fields(DareConfigText* text, const DareConfigLine& opener, AceReporter* rep);
  int configure_field(DareConfigText* text, const DareConfigLine& opener, int field, AceReporter* rep);

  std::vector<InputField> inputFields;
  GrandMask fieldMask = 0;
  int sumWeights = 0;
  std::string logicString;
  DareLogicConfig booleanLogic;

 public:
  DareFixedConfig() = default;
  DareFixedConfig(const DareFixedConfig& other);
  DareFixedConfig& operator=(const DareFixedConfig&) = delete;
};

class SORV_API DareFlexConfig {
 public:
  static constexpr int MAX_OUTPUTS = 64;
  static constexpr int MAX_INPUTS = 128;

  enum Flag : int { COMPLETE = 1, USE_DUPLICATES = 2, REGION_DETECT = 4 };
  enum FlexMandatory : int { FF_OPTIONAL = 0, FF_MANDATORY = 1, FF_ABSOLUTE = 2 };
  enum FlexEvaluation : int { FF_ON_DEMAND = 0, FF_PRIMARY = 1, FF_SECONDARY = 2 };

  struct OutputConfig {
    std::string fieldName;
    int baseId = -1;
    FlexMandatory relevanceLevel = FF_OPTIONAL;
    FlexEvaluation evaluationType = FF_ON_DEMAND;
    bool isAdditive = false;
    int outputWeight = 100;
  };
  struct InputConfig {
    std::string fieldName;
    int arrayId = -1;
    DastOptions::Call defaultMode = DastOptions::NOOP;
    std::optional<std::string> defaultString;
  };

  /// `names` null: input fields are resolved by `finalize`.
  int configure(DareConfigText* text, const DareConfigLine& opener, const DastBaseRecall* base,
                const DareFieldNames* names, AceReporter* rep);
  /// Finds the input fields and the context field by their names.
  int finalize(const DareFieldNames& names, AceReporter* rep);
  /// Unknown names are refused: -1.
  int set_eval_model(const char* name);

  TeraEval::Model evalModel = TeraEval::MEAN;
  int minValue = 190;
  int maxDistance = 65;
  int numSuggestions = 2500;
  int flexFlags = 0;
  int numRegions = 0;
  int frequentPenalty = 5;
  int extraCharWeight = 5;
  std::vector<OutputConfig> outputArray;
  std::vector<InputConfig> inputArray;
  DareContextConfig context;

 private:
  void set_flag(Flag flag, bool on) { flexFlags = on ? flexFlags | flag : flexFlags & ~flag; }
  int configure_option(DareConfigText* text, const DareConfigLine& line, const DastBaseRecall* base,
                       const DareFieldNames* names, AceReporter* rep);
  int configure_inputs(DareConfigText* text, const DareConfigLine& opener, const DareFieldNames* names,
                       AceReporter* rep);
  int configure_input(DareConfigText* text, const DareConfigLine& opener, InputConfig* input,
                      AceReporter* rep);
  int configure_outputs(DareConfigText* text, const DareConfigLine& opener, const DastBaseRecall* base,
                        AceReporter* rep);
  static int configure_output(DareConfigText* text, const DareConfigLine& opener, OutputConfig* output,
                              AceReporter* rep);
};

class SORV_API DastCombination {
 public:
  enum Type : int { FIXED_FORM = 0, FLEX_FORM = 1 };

  explicit DastCombination(const char* name) : combinationName(name) {}
  DastCombination(const DastCombination& other) = default;
  DastCombination& operator=(const DastCombination&) = delete;

  const char* get_name() const { return combinationName.c_str(); }
  Type get_type() const { return combinationType; }
  /// "FIXED_FORM" or "FLEX_FORM".
  const char* get_type_name() const { return combinationType == FLEX_FORM ? "FLEX_FORM" : "FIXED_FORM"; }
  void set_type(Type type) { combinationType = type; }
  /// Position in the list of combinations.
  int get_group_id() const { return groupId; }
  void set_group_id(int id) { groupId = id; }
  int get_collect_threshold() const { return collectThreshold; }

  int init_fields(const DareFieldNames& names) { return fixedConfig.init_fields(names); }
  int configure(DareConfigText* text, const DareConfigLine& opener, const DastBaseRecall* base,
                const DareFieldNames& names, AceReporter* rep);

  // Those of the type are asked; both are set.

  int get_min_conf() const { return is_flex() ? flexConfig.minValue : fixedConfig.minValue; }
  int get_max_dist() const { return is_flex() ? flexConfig.maxDistance : fixedConfig.maxDistance; }
  int get_num_suggs() const { return is_flex() ? flexConfig.numSuggestions : fixedConfig.numSuggestions; }
  void set_min_conf(int value) { fixedConfig.minValue = flexConfig.minValue = value; }
  void set_max_dist(int value) { fixedConfig.maxDistance = flexConfig.maxDistance = value; }
  void set_num_suggs(int value) { fixedConfig.numSuggestions = flexConfig.numSuggestions = value; }

  DareFixedConfig fixedConfig;
  DareFlexConfig flexConfig;

 private:
  bool is_flex() const { return combinationType == FLEX_FORM; }

  Type combinationType = FIXED_FORM;
  std::string combinationName;
  int groupId = -1;
  int collectThreshold = -1;
};
