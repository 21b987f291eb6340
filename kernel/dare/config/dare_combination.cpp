#include "dare/dare_combination.h"

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"

#include "dare/config/dare_config_text_internal.h"
#include "dare/config/dare_default_query_internal.h"

using Step = DareConfigText::Step;

// ---------------------------------------------------------------- what blocks share

int dare_position(const DareFieldNames& names, const std::string& name) {
  for (std::size_t i = 0; i < names.size(); ++i)
    if (names[i] == name) return static_cast<int>(i);
  return -1;
}

DastOptions::Call dare_read_mode(const std::string& value) {
  const std::size_t place = value.size() > 1 && value[0] == '{' ? 1 : 0;
  return value.empty() ? DastOptions::NOOP : DastOptions::get_call_from_token(value[place]);
}

int DareContextConfig::configure(DareConfigText* text, const DareConfigLine& opener,
                                 const DareFieldNames* names, AceReporter* rep) {
  if (opener.is_empty_block()) return 0;
  DareConfigLine line;
  Step step;
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE) {
    if (line.upper == "FIELD") {
      contextName = line.plain();
      contextField = -1;
      if (contextName.empty() || names == nullptr) continue;
      contextField = dare_position(*names, contextName);
      if (contextField < 0 || contextField >= DareFixedConfig::MAX_FIELDS)
        return ace_error(__FILE__, __LINE__, "contextField = get_session_field_index(value, fieldnames)", -1,
                         0, -1);
    } else if (line.upper == "DEF_MODE") {
      contextMode = dare_read_mode(line.value);
    } else if (line.upper == "DEF_STRING") {
      contextString = line.plain();
    } else {
      rep->printf("Unknown configuration keyword '%s' in default configuration with value %s\n",
                  line.keyword.c_str(), line.value.c_str());
      return -1;
    }
  }
  return step;
}

// ---------------------------------------------------------------- combinations

int DastCombination::configure(DareConfigText* text, const DareConfigLine& opener, const DastBaseRecall* base,
                               const DareFieldNames& names, AceReporter* rep) {
  DareConfigLine line;
  Step step;
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE) {
    if (line.upper == "COMMENT") {
      if (text->skip_comment(line, rep) < 0) return -1;
    } else if (line.upper == "MIN_CONF") {
      set_min_conf(line.to_int());
    } else if (line.upper == "MAX_DIST") {
      set_max_dist(line.to_int());
    } else if (line.upper == "NUM_ALTS") {
      set_num_suggs(line.to_int());
    } else if (line.upper == "FIXED_CONFIG") {
      combinationType = FIXED_FORM;
      if (fixedConfig.configure(text, line, names, rep) < 0)
        return ace_error(__FILE__, __LINE__, "fixedConfig.configure(input, fieldnames, rep)", -1, 0, -1);
    } else if (line.upper == "FLEX_CONFIG") {
      combinationType = FLEX_FORM;
      if (flexConfig.configure(text, line, base, &names, rep) < 0)
        return ace_error(__FILE__, __LINE__, "flexConfig.configure(input, base, fieldnames, rep)", -1, 0, -1);
    } else {
      rep->printf("Invalid keyword '%s' in config string for multi field combination (%s)\n",
                  line.keyword.c_str(), get_name());
      return -1;
    }
  }
  return step;
}

// ---------------------------------------------------------------- fixed form

DareFixedConfig::DareFixedConfig(const DareFixedConfig& other)
    : defaultWeight(other.defaultWeight),
      minValue(other.minValue),
      maxDistance(other.maxDistance),
      numSuggestions(other.numSuggestions),
      context(other.context),
      inputFields(other.inputFields),
      fieldMask(other.fieldMask),
      sumWeights(other.sumWeights),
      logicString(other.logicString) {
  booleanLogic.copy(&other.booleanLogic);
}

int DareFixedConfig::init_fields(const DareFieldNames& names) {
  inputFields.clear();
  fieldMask = 0;
  sumWeights = 0;
  for (const std::string& name : names) add_field(name, 100);
  return names.empty() || !find_context() ? -1 : 0;
}

bool DareFixedConfig::find_context() {
  if (context.contextName.empty()) return true;
  context.contextField = get_field_index(context.contextName);
  return context.contextField >= 0;
}

void DareFixedConfig::reorder(const DareFieldNames& names, const std::vector<int>& old_position) {
  const std::vector<InputField> old = std::move(inputFields);
  inputFields.clear();
  fieldMask = 0;
  sumWeights = 0;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const int place = old_position[i];
    if (place < 0) {
      add_field(names[i], 100);
      continue;
    }
    const InputField& known = old[static_cast<std::size_t>(place)];
    const int field = add_field(names[i], known.fieldWeight);
    input(field).defaultMode = known.defaultMode;
    input(field).defaultString = known.defaultString;
  }
  find_context();
}

int DareFixedConfig::add_field(const std::string& name, int weight) {
  if (get_num_fields() >= MAX_FIELDS) return -1;
  inputFields.emplace_back().fieldName = name;
  return set_weight(get_num_fields() - 1, weight) < 0 ? -1 : get_num_fields() - 1;
}

int DareFixedConfig::get_field_index(const std::string& name) const {
  for (int field = 0; field < get_num_fields(); ++field)
    if (get_input_field(field).fieldName == name) return field;
  return -1;
}

int DareFixedConfig::set_weight(int field, int weight) {
  if (field < 0 || field >= get_num_fields() || weight < 0 || weight > MAX_WEIGHT) return -1;
  sumWeights += weight - input(field).fieldWeight;
  input(field).fieldWeight = weight;
  const GrandMask bit = GrandMask{1} << field;
  fieldMask = weight != 0 ? fieldMask | bit : fieldMask & ~bit;
  return 0;
}

int DareFixedConfig::get_weight(int field) const {
  return field >= 0 && field < get_num_fields() ? get_input_field(field).fieldWeight : -1;
}

int DareFixedConfig::set_logic(const char* logic, AceReporter* rep) {
  logicString = logic != nullptr ? logic : "";
  return booleanLogic.parse(logic, false, rep);
}

void DareFixedConfig::ensure_logic() {
  if (booleanLogic.get_num_slots() > 0) return;
  std::vector<const char*> names;
  for (const InputField& field : inputFields) names.push_back(field.fieldName.c_str());
  booleanLogic.make_and(get_num_fields(), names.data());
  for (const InputField& field : inputFields)
    logicString += (logicString.empty() ? "(" : "&") + field.fieldName;
  logicString += ")";
}

int DareFixedConfig::configure(DareConfigText* text, const DareConfigLine& opener,
                               const DareFieldNames& names, AceReporter* rep) {
  if (opener.is_empty_block()) return 0;
  DareConfigLine line;
  Step step;
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE) {
    int status = 0;
    if (line.upper == "COMMENT") {
      status = text->skip_comment(line, rep);
    } else if (line.upper == "LOGIC") {
      status = set_logic(line.value.c_str(), rep);
    } else if (line.upper == "FIELDS") {
      status = configure_fields(text, line, rep);
    } else if (line.upper == "CONTEXT") {
      status = context.configure(text, line, &names, rep);
    } else {
      rep->printf("Invalid keyword '%s' in config string for FixedForm\n", line.keyword.c_str());
      status = -1;
    }
    if (status < 0) return status;
  }
  return step;
}

int DareFixedConfig::configure_fields(DareConfigText* text, const DareConfigLine& opener, AceReporter* rep) {
  if (opener.is_empty_block()) return 0;
  DareConfigLine line;
  Step step;
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE) {
    const int field = get_field_index(line.keyword);
    if (field < 0) {
      rep->printf("Session configuration, line %d: '%s' is no session field\n", line.number,
                  line.keyword.c_str());
      return ace_error(__FILE__, __LINE__, "idx = get_field_index(fieldname)", -1, 0, -1);
    }
    if (!line.is_empty_block() && configure_field(text, line, field, rep) < 0) return -1;
  }
  return step;
}

int DareFixedConfig::configure_field(DareConfigText* text, const DareConfigLine& opener, int field,
                                     AceReporter* rep) {
  DareConfigLine line;
  Step step;
  const char* const name = opener.keyword.c_str();
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE) {
    if (line.upper == "WEIGHT") {
      const int weight = line.to_int();
      if (set_weight(field, weight) == 0) continue;
      rep->printf("Cannot apply weight %i for field %s. Weight is %s\n", weight, name,
                  weight < 0 ? "negative" : "too large");
      return -1;
    }
    if (line.upper == "DEF_MODE") {
      input(field).defaultMode = dare_read_mode(line.value);
    } else if (line.upper == "DEF_STRING") {
      input(field).defaultString = line.plain();
    } else {
      rep->printf("Unknown configuration keyword '%s' in default configuration for input field %s\n",
                  line.keyword.c_str(), name);
      return -1;
    }
  }
  return step;
}
