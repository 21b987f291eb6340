// The configuration text.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "dare/dare_session_config.h"
#include "dast/dast_base_recall.h"

#include "dare/config/dare_config_text_internal.h"

using Step = DareConfigText::Step;

int DareSessionConfig::config_session(const char* config_string, AceReporter* rep) {
  if (config_string == nullptr || *config_string == '\0') return -1;
  DareConfigText text(config_string);
  DareConfigLine line;
  while (text.next(&line) == Step::LINE)
    if (config_global_keyword(&text, line, rep) < 0)
      return ace_error(__FILE__, __LINE__, "config_global_keyword(keyword, value, &input, rep)", -1, 0, -1);
  text.warn_of_rest(rep);
  return finish_config(rep);
}

/// What needs all fields and combinations.
int DareSessionConfig::finish_config(AceReporter* rep) {
  activeCombination = get_default_combination();
  if (activeCombination == nullptr)
    return ace_error(__FILE__, __LINE__, "activeCombination = get_default_combination()", -1, 0, -1);
  if (activeCombination->get_type() == DastCombination::FLEX_FORM) {
    rep->printf("No logic string in session configuration given");
    return -1;
  }
  for (const auto& combination : combinationList) combination->fixedConfig.ensure_logic();
  for (const auto& field : fieldArr) {
    field->fieldConf.logicID =
        activeCombination->fixedConfig.get_boolean_logic()->get_logic_id(field->get_name());
    if (field->is_control()) field->set_reeval_mode(ReevalMode::PRIMARY_ONLY);
    if (field->fieldConf.flexConfig.finalize(get_field_names(), rep) < 0) return -1;
  }
  apply_weights();
  isComplete = true;
  return 0;
}

void DareSessionConfig::config_run_time(const DareConfigLine& line) {
  const auto fail = [&line](const char* what) {
    throw AceException(what, " for global value %s\n", line.keyword.c_str());
  };
  const char* const start = line.value.c_str();
  if (line.value.find_first_not_of(" \t\r") == std::string::npos) fail("missing value");
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(start, &end, 10);
  if (end == start || errno != 0 || value < 0 || value > INT_MAX || end[std::strspn(end, " \t\r")] != '\0')
    fail("wrong value type");
  runTime = static_cast<int>(value);
}

int DareSessionConfig::config_global_keyword(DareConfigText* text, const DareConfigLine& line,
                                             AceReporter* rep) {
  const std::string value = line.plain();
  if (line.upper == "RUNTIME") return config_run_time(line), 0;
  if (line.upper == "RULE_FILE") return set_rule_file(value.c_str()), 0;
  if (line.upper == "RANDOM") return set_random_mode(value.c_str()), 0;
  if (line.upper == "SCRIPT") return set_script_function(value.c_str()), 0;
  if (line.upper == "ASSESS_ID_FIELD") return set_assess_id_field(value.c_str()), 0;
  if (line.upper == "SORT_ORDER") {
    if (config_sort_order(text, line, rep) == 0) return 0;
    return ace_error(__FILE__, __LINE__, "config_sort_order(input, rep)", -1, 0, -1);
  }
  if (line.upper == "FIELDS") {
    if (config_session_fields(text, line, rep) == 0) return 0;
    return ace_error(__FILE__, __LINE__, "config_session_fields(input, rep)", -1, 0, -1);
  }
  if (line.upper == "COMBINATIONS") {
    if (config_combinations(text, line, rep) == 0) return 0;
    return ace_error(__FILE__, __LINE__, "config_combinations(input, rep)", -1, 0, -1);
  }
  rep->printf("Invalid keyword '%s' in session config string", line.keyword.c_str());
  return -1;
}

int DareSessionConfig::config_session_fields(DareConfigText* text, const DareConfigLine& opener,
                                             AceReporter* rep) {
  fieldArr.clear();
  DareConfigLine line;
  Step step = Step::END;
  while (!opener.is_empty_block() && (step = text->next_in(opener, &line, rep)) == Step::LINE) {
    if (line.keyword.empty() || get_field_index(line.keyword.c_str()) >= 0) {
      rep->printf("Session configuration, line %d: the name of a new session field expected, '%s' found\n",
                  line.number, line.keyword.c_str());
      return -1;
    }
    fieldArr.push_back(
        std::make_unique<DareSessionField>(line.keyword.c_str(), get_num_fields(), numRecords));
    if (fieldArr.back()->config_session_field(text, line, origBase, rep) < 0)
      return ace_error(__FILE__, __LINE__,
                       "fieldArr[numSesFields]->config_session_field(input, origBase, rep)", -1, 0, -1);
  }
  if (step == Step::BROKEN) return -1;
  const DareFieldNames names = get_field_names();
  for (const auto& combination : combinationList)
    if (combination->init_fields(names) < 0)
      return ace_error(__FILE__, __LINE__, "combination->init_fields(numSesFields, fieldnames)", -1, 0, -1);
  return 0;
}

int DareSessionConfig::config_combinations(DareConfigText* text, const DareConfigLine& opener,
                                           AceReporter* rep) {
  if (opener.is_empty_block()) return 0;
  const DareFieldNames names = get_field_names();
  DareConfigLine line;
  Step step;
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE) {
    if (line.is_empty_block()) continue;
    DastCombination* combination = get_combination(line.keyword.c_str());
    if (combination == nullptr) {
      combination = add_combination(line.keyword.c_str());
      if (combination->init_fields(names) < 0) {
        rep->printf("Session configuration, line %d: combination '%s' stands before any FIELDS\n",
                    line.number, line.keyword.c_str());
        return ace_error(__FILE__, __LINE__, "combination->init_fields(numSesFields, fieldnames)", -1, 0, -1);
      }
    }
    if (combination->configure(text, line, origBase, names, rep) < 0)
      return ace_error(__FILE__, __LINE__, "combination->configure(input, origBase, fieldnames, rep)", -1, 0,
                       -1);
  }
  return step;
}

int DareSessionConfig::config_sort_order(DareConfigText* text, const DareConfigLine& opener,
                                         AceReporter* rep) {
  if (!sortFields.empty()) {
    rep->printf("Cannot configure sort order: There are already sort fields configured");
    return -1;
  }
  if (fieldArr.empty()) {
    rep->printf("Session configuration, line %d: SORT_ORDER expects FIELDS before it\n", opener.number);
    return -1;
  }
  if (opener.is_empty_block()) return 0;
  DareConfigLine line;
  Step step;
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE) {
    if (get_num_sort_fields() >= MAX_SORT_FIELDS) {
      rep->printf("Session configuration, line %d: at most %d sort criteria\n", line.number, MAX_SORT_FIELDS);
      return -1;
    }
    sortFields.push_back(-1);
    sortModes.push_back(DareSessionSort::LEXICAL);
    if (!line.is_empty_block() && config_criterion(text, line, rep) < 0) return -1;
    const int field = sortFields.back();
    if (field >= 0 && std::count(sortFields.begin(), sortFields.end(), field) > 1) {
      rep->printf("Session configuration, line %d: session field '%s' is a sort criterion twice\n",
                  line.number, get_field_name(field));
      return -1;
    }
  }
  return step;
}

int DareSessionConfig::config_criterion(DareConfigText* text, const DareConfigLine& opener,
                                        AceReporter* rep) {
  static constexpr std::pair<const char*, int> CRITERIA[] = {{"LEXICAL", DareSessionSort::LEXICAL},
                                                             {"QUALITY", DareSessionSort::QUALITY},
                                                             {"REVERSE", DareSessionSort::REVERSE}};
  DareConfigLine line;
  Step step;
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE) {
    if (line.upper == "FIELD_NAME") {
      sortFields.back() = get_field_index(line.plain().c_str());
      if (sortFields.back() < 0)
        return ace_error(__FILE__, __LINE__, "ses_field = get_session_field(value)", -1, 0, -1);
    } else if (line.upper == "CRITERION") {
      const auto* const known = std::find_if(std::begin(CRITERIA), std::end(CRITERIA),
                                             [&](const auto& entry) { return line.value == entry.first; });
      if (known == std::end(CRITERIA)) {
        rep->printf("Unknown sort criterion: '%s'", line.value.c_str());
        return -1;
      }
      sortModes.back() = known->second;
    } else {
      rep->printf("Unrecognized keyword in session configuration of sort order: %s", line.keyword.c_str());
      return -1;
    }
  }
  return step;
}
