// Flex forms: read and kept.
#include <cstring>

#include <strings.h>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "dare/dare_combination.h"
#include "dast/dast_base_recall.h"

#include "dare/config/dare_config_text_internal.h"
#include "dare/config/dare_default_query_internal.h"

using Step = DareConfigText::Step;

int DareFlexConfig::set_eval_model(const char* name) {
  const auto model = TeraEval::get_model_enum(name);
  if (model == TeraEval::UNKNOWN) return -1;
  evalModel = model;
  return 0;
}

int DareFlexConfig::configure(DareConfigText* text, const DareConfigLine& opener, const DastBaseRecall* base,
                              const DareFieldNames* names, AceReporter* rep) {
  if (opener.is_empty_block()) return 0;
  DareConfigLine line;
  Step step;
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE)
    if (configure_option(text, line, base, names, rep) < 0)
      return ace_error(__FILE__, __LINE__, "configure_option(keyword, value, input, base, fieldnames, rep)",
                       -1, 0, -1);
  return step;
}

int DareFlexConfig::configure_option(DareConfigText* text, const DareConfigLine& line,
                                     const DastBaseRecall* base, const DareFieldNames* names,
                                     AceReporter* rep) {
  if (line.upper == "COMMENT") return 0;  // of one line: a braced text behind it is read as keywords
  if (line.upper == "EVAL_MODEL") return set_eval_model(line.value.c_str());
  if (line.upper == "USE_DUPLICATES") return set_flag(USE_DUPLICATES, line.value != "0"), 0;
  if (line.upper == "REGION_DETECT") return set_flag(REGION_DETECT, line.value != "0"), 0;
  if (line.upper == "COMPLETION") return set_flag(COMPLETE, line.value != "0"), 0;
  if (line.upper == "EXTRA_WEIGHT") return extraCharWeight = line.to_int(), 0;
  if (line.upper == "PESSIMISM") return frequentPenalty = line.to_int(), 0;
  if (line.upper == "FIELDS") return configure_inputs(text, line, names, rep);
  if (line.upper == "FF_FIELDS") return configure_outputs(text, line, base, rep);
  if (line.upper == "CONTEXT") return context.configure(text, line, names, rep);
  rep->printf("Invalid keyword '%s' in config string for FlexForm Config\n", line.keyword.c_str());
  return -1;
}

int DareFlexConfig::configure_inputs(DareConfigText* text, const DareConfigLine& opener,
                                     const DareFieldNames* names, AceReporter* rep) {
  if (opener.is_empty_block()) return 0;
  DareConfigLine line;
  Step step;
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE) {
    if (static_cast<int>(inputArray.size()) >= MAX_INPUTS) {
      rep->printf("Session configuration, line %d: at most %d input fields\n", line.number, MAX_INPUTS);
      return -1;
    }
    InputConfig& input = inputArray.emplace_back();
    input.fieldName = line.keyword;
    if (names != nullptr && (input.arrayId = dare_position(*names, line.keyword)) < 0)
      return ace_error(__FILE__, __LINE__,
                       "input_fields[numInputs].arrayId = get_session_field_index(fieldname, fieldnames)", -1,
                       0, -1);
    if (!line.is_empty_block() && configure_input(text, line, &input, rep) < 0) return -1;
  }
  return step;
}

int DareFlexConfig::configure_input(DareConfigText* text, const DareConfigLine& opener, InputConfig* input,
                                    AceReporter* rep) {
  DareConfigLine line;
  Step step;
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE) {
    if (line.upper == "WEIGHT") return 0;  // ends the block: the next '}' is that of the block around it
    if (line.upper == "DEF_MODE") {
      input->defaultMode = dare_read_mode(line.value);
    } else if (line.upper == "DEF_STRING") {
      input->defaultString = line.plain();
    } else if (line.upper != "RELEVANCE") {
      rep->printf("Unknown configuration keyword '%s' in default configuration for input field %s\n",
                  line.keyword.c_str(), opener.keyword.c_str());
      return -1;
    }
  }
  return step;
}

int DareFlexConfig::configure_outputs(DareConfigText* text, const DareConfigLine& opener,
                                      const DastBaseRecall* base, AceReporter* rep) {
  if (opener.is_empty_block()) return 0;
  DareConfigLine line;
  Step step;
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE) {
    if (static_cast<int>(outputArray.size()) >= MAX_OUTPUTS) {
      rep->printf("Session configuration, line %d: at most %d output fields\n", line.number, MAX_OUTPUTS);
      return -1;
    }
    OutputConfig& output = outputArray.emplace_back();
    output.fieldName = line.keyword;
    output.baseId = base->get_field_index(line.keyword.c_str());
    if (output.baseId < 0)
      return ace_error(__FILE__, __LINE__, "bfid = base->get_field_index(fieldname)", -1, 0, -1);
    if (!line.is_empty_block() && configure_output(text, line, &output, rep) < 0) return -1;
  }
  return step;
}

int DareFlexConfig::configure_output(DareConfigText* text, const DareConfigLine& opener, OutputConfig* output,
                                     AceReporter* rep) {
  static constexpr const char* LEVELS[] = {"OPTIONAL", "MANDATORY", "ABSOLUTE"};
  static constexpr const char* EVALUATIONS[] = {"ON_DEMAND", "PRIMARY", "SECONDARY"};
  const auto find = [](const char* const(&names)[3], const char* name,
                       int (*compare)(const char*, const char*)) {
    for (int i = 0; i < 3; ++i)
      if (compare(names[i], name) == 0) return i;
    return -1;
  };
  const char* const name = opener.keyword.c_str();
  DareConfigLine line;
  Step step;
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE) {
    const char* const value = line.value.c_str();
    if (line.upper == "RELEVANCE") {
      const int level = find(LEVELS, value, &std::strcmp);
      if (level < 0) {
        rep->printf("Unkown relevance level '%s' for FlexForm output field '%s'\n", value, name);
        return -1;
      }
      output->relevanceLevel = static_cast<FlexMandatory>(level);
    } else if (line.upper == "ADDITIVE") {
      output->isAdditive = line.to_int() != 0;
    } else if (line.upper == "WEIGHT") {
      output->outputWeight = line.to_int();
    } else if (line.upper == "EVALUATION") {
      const int evaluation = find(EVALUATIONS, value, &strcasecmp);
      if (evaluation < 0) {
        rep->printf("Unknown evaluation type '%s' for FlexForm output field '%s'\n", value, name);
        return -1;
      }
      output->evaluationType = static_cast<FlexEvaluation>(evaluation);
    } else {
      rep->printf(
          "Invalid keyword '%s' in config string for FlexForm output field configuration on field %s\n",
          line.keyword.c_str(), name);
      return -1;
    }
  }
  return step;
}

int DareFlexConfig::finalize(const DareFieldNames& names, AceReporter* rep) {
  for (InputConfig& input : inputArray) {
    input.arrayId = dare_position(names, input.fieldName);
    if (input.arrayId >= 0) continue;
    rep->printf("Flex form: '%s' is no session field\n", input.fieldName.c_str());
    return ace_error(__FILE__, __LINE__,
                     "input_fields[numInputs].arrayId = get_session_field_index(fieldname, fieldnames)", -1,
                     0, -1);
  }
  if (!context.contextName.empty()) {
    context.contextField = dare_position(names, context.contextName);
    if (context.contextField < 0)
      return ace_error(__FILE__, __LINE__, "contextField = get_session_field_index(value, fieldnames)", -1, 0,
                       -1);
  }
  return 0;
}
