// Configuration; for queries see dare_session_field_query.cpp.
#include "dare/dare_session_field.h"

#include <algorithm>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_map.h"
#include "dast/dast_base_field_recall.h"
#include "dast/dast_base_recall.h"
#include "dast/dast_field_flags.h"
#include "tera/tera_transform.h"

#include "dare/config/dare_config_text_internal.h"

using Step = DareConfigText::Step;

DareSessionField::DareSessionField(const char* name, int array_id, int num_records) {
  if (array_id < 0 || array_id >= MAX_FIELDS)
    throw AceException("Field index out of range", "Array-ID: %i", array_id);
  fieldConf.fieldName = name;
  fieldConf.arrayId = array_id;
  fieldConf.numDareFields = num_records;
  dynFields.push_back(std::make_unique<DareField>(-1, nullptr, &fieldConf));
}

DareSessionField::DareSessionField(const DareSessionField* other) : fieldConf(other->fieldConf) {
  for (const auto& unit : other->dynFields) dynFields.push_back(unit->copy_config(&fieldConf));
}

DareSessionField::~DareSessionField() {
  set_global_graph(nullptr);
}

void DareSessionField::set_base_field(int index, const DastBaseFieldRecall* field) {
  fieldConf.baseId = index;
  get_unit()->set_base_field(index, field);
}

namespace {

int make_transform(std::shared_ptr<const TeraTransform>* place, const char* description,
                   const char* encoding) {
  place->reset();
  if (description == nullptr || *description == '\0') return 0;
  place->reset(TeraTransform::factory(description, encoding));
  return *place != nullptr ? 0 : -1;
}

}  // namespace

int DareSessionField::set_query_transform(const char* description, const char* encoding) {
  return make_transform(&fieldConf.queryTransform, description, encoding);
}

int DareSessionField::set_result_transform(const char* description, const char* encoding) {
  return make_transform(&fieldConf.resultTransform, description, encoding);
}

int DareSessionField::set_reeval_mode(const char* name) {
  static constexpr std::pair<const char*, ReevalMode> MODES[] = {
      {"PRIMARY_ONLY", ReevalMode::PRIMARY_ONLY},
      {"NEVER", ReevalMode::PRIMARY_ONLY},
      {"ON_DEMAND", ReevalMode::ON_DEMAND},
      {"ALWAYS", ReevalMode::ON_DEMAND},
      {"CACHED", ReevalMode::CACHED},
      {"SECONDARY_ONLY", ReevalMode::SECONDARY_ONLY},
  };
  for (const auto& [known, mode] : MODES) {
    if (std::string(known) != name) continue;
    fieldConf.reevalMode = mode;
    return 0;
  }
  return -1;
}

int DareSessionField::get_properties() const {
  enum : int {
    NOT_SELECTED = 0x1,
    ALIAS_NONE = 0x2,
    ALIASES = 0x4,
    ALIAS_BEST = 0x8,
    NUMERIC = 0x40,
    RUNS = 0x80,
    PRIMARY = 0x100,
    PARTIAL = 0x200,
    COUNTS = 0x800,
    LATE = 0x1000,
    SORTS = 0x4000
  };
  int bits = is_option(DareSessionFieldConfig::NO_SELECT) ? NOT_SELECTED : 0;
  if (fieldConf.aliasDisplay == DastOptions::NONE) bits |= ALIAS_NONE;
  if (fieldConf.aliasDisplay == DastOptions::BEST) bits |= ALIAS_BEST;
  const DastBaseFieldRecall* const field = get_base_field();
  if (field == nullptr) return bits;
  static constexpr std::pair<int, int> OF_TYPE[] = {
      {DastFieldFlags::HAS_ALIASES, ALIASES}, {DastFieldFlags::NUMERIC_STORAGE, NUMERIC},
      {DastFieldFlags::IS_INTERVAL, RUNS},    {DastFieldFlags::IS_PRIMARY, PRIMARY},
      {DastFieldFlags::IS_PARTIAL, PARTIAL},  {DastFieldFlags::LATELINK, LATE},
  };
  for (const auto& [flag, bit] : OF_TYPE)
    if ((field->get_type() & flag) != 0) bits |= bit;
  return bits | (field->can_count() ? COUNTS : 0) | (field->can_sort() ? SORTS : 0);
}

int DareSessionField::get_dyn_field_index(const char* name, AceReporter* rep) const {
  for (int unit = 0; unit < get_num_units(); ++unit) {
    const DastBaseFieldRecall* const field = get_unit(unit)->get_base_field();
    if (field != nullptr && field->get_name() != nullptr && std::string(field->get_name()) == name)
      return unit;
  }
  rep->printf(
      "Index field '%s' that is configured as index field or free search field on session field '%s' cannot "
      "be found",
      name, get_name());
  return -1;
}

// ---------------------------------------------------------------- the block of a field
// Each line has a keyword and a value or block; unit 0 is the field itself, further ones are those of a
// free search.

int DareSessionField::config_session_field(DareConfigText* text, const DareConfigLine& opener,
                                           const DastBaseRecall* base, AceReporter* rep) {
  if (opener.is_empty_block()) return 0;
  DareConfigLine line;
  Step step;
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE)
    if (config_field(text, line, base, rep) < 0)
      return ace_error(__FILE__, __LINE__, "config_field(keyword, value, input, base, rep)", -1, 0, -1);
  for (const auto& unit : dynFields) unit->build_rescale();
  return step;
}

int DareSessionField::config_build_field(const DareConfigLine& line, const DastBaseRecall* base,
                                         AceReporter* rep) {
  const std::string name = line.plain();
  if (name.empty()) return 0;
  const int index = base->get_field_index(name.c_str());
  if (index < 0) {
    rep->printf("Cannot set build field '%s' for session field '%s': Build field does not exist in data base",
                name.c_str(), get_name());
    return -1;
  }
  set_base_field(index, base->get_field(index));
  return 0;
}

/// What shapes the qualities of unit 0.
int DareSessionField::config_shape(const DareConfigLine& line, AceReporter* rep, bool* known) {
  TeraRescaleConfig* const shape = get_unit()->get_rescale_config();
  const std::string value = line.plain();
  *known = true;
  if (line.upper == "SHAPE") {
    shape->set_shape_name(value.c_str());  // an unknown one is warned about when the rescale is made
  } else if (line.upper == "CUSTOM") {
    if (shape->parse_custom_shape(value.c_str()) < 0) {
      rep->printf("Session field '%s': CUSTOM expects 256 numbers with \";\" between them\n", get_name());
      return -1;
    }
  } else if (line.upper == "RESCALE") {
    shape->set_threshold(line.to_int());
  } else if (line.upper == "PENALTY") {
    shape->set_penalty(line.to_int());
  } else if (line.upper == "KEEP_PERFECT") {
    shape->set_keep_perfect(line.to_int());
  } else if (line.upper == "DEF_VALUE") {
    get_unit()->set_empty_qual(line.to_int());
  } else {
    *known = false;
  }
  return 0;
}

int DareSessionField::config_field(DareConfigText* text, const DareConfigLine& line,
                                   const DastBaseRecall* base, AceReporter* rep) {
  using Config = DareSessionFieldConfig;
  const std::string& keyword = line.upper;
  const std::string value = line.plain();
  const auto set_bit = [this](int bit, bool on) { return on ? set_option(bit) : del_option(bit), 0; };
  bool known = false;
  if (const int status = config_shape(line, rep, &known); known) return status;
  if (keyword == "BUILD_FIELD") return config_build_field(line, base, rep);
  if (keyword == "COMMENT") return text->skip_comment(line, rep);
  if (keyword == "QUERY_NORM") {
    if (set_query_transform(value.c_str(), base->get_encoding()) == 0) return 0;
    return ace_error(__FILE__, __LINE__,
                     "queryTransform = TeraTransform::factory(value, base->get_encoding())", -1, 0, -1);
  }
  if (keyword == "SUGG_NORM") {
    if (set_result_transform(value.c_str(), base->get_encoding()) == 0) return 0;
    return ace_error(__FILE__, __LINE__,
                     "resultTransform = TeraTransform::factory(value, base->get_encoding())", -1, 0, -1);
  }
  if (keyword == "REEVAL") {
    if (set_reeval_mode(value.c_str()) < 0)
      rep->printf("Cannot set evaluation type '%s' for field '%s': eval type is unknown", value.c_str(),
                  get_name());
    return 0;
  }
  if (keyword == "NO_SELECT") return set_bit(Config::NO_SELECT, line.to_int() != 0);
  if (keyword == "SHOW_ALIAS") return set_alias_display(DastOptions::get_alias_display(value.c_str())), 0;
  if (keyword == "CONTROL_CANDS") return set_bit(Config::CONTROL_VALUES, value == "VALUES");
  if (keyword == "USE_DISPLAY") return set_bit(Config::USE_DISPLAY, line.to_int() != 0);
  if (keyword == "FORCE_EXACT") return set_bit(Config::FORCE_EXACT, line.to_int() != 0);
  if (keyword == "DETECT_SINGLE") return set_bit(Config::DETECT_SINGLE, line.to_int() != 0);
  if (keyword == "FS_FIELDS") return config_free_search(text, line, base, rep);
  if (keyword == "FLEX_CONFIG") {
    if (fieldConf.flexConfig.configure(text, line, base, nullptr, rep) == 0) return 0;
    return ace_error(__FILE__, __LINE__, "fieldConf.flexConfig.configure(input, base, nullptr, rep)", -1, 0,
                     -1);
  }
  if (keyword == "MIN_CONF") return fieldConf.flexConfig.minValue = line.to_int(), 0;
  if (keyword == "MAX_DIST") return fieldConf.flexConfig.maxDistance = line.to_int(), 0;
  if (keyword == "NUM_CANDS") return fieldConf.flexConfig.numSuggestions = line.to_int(), 0;
  rep->printf("Illegal keyword '%s' in session field (%s) configuration string\n", line.keyword.c_str(),
              get_name());
  return -1;
}

// ---------------------------------------------------------------- free search
// Each unit looks for values of its base field in the text, with a shape of its own.

int DareSessionField::config_free_search(DareConfigText* text, const DareConfigLine& opener,
                                         const DastBaseRecall* base, AceReporter* rep) {
  // A second block is left unread: its lines are taken as keywords of the field.
  if (get_num_units() != 1 || opener.is_empty_block()) return 0;
  DareConfigLine line;
  Step step;
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE) {
    const int index = base->get_field_index(line.keyword.c_str());
    const bool isTaken = std::any_of(dynFields.begin() + 1, dynFields.end(),
                                     [index](const auto& unit) { return unit->get_base_id() == index; });
    if (index < 0)
      rep->printf("Cannot configure free search field: Index Field '%s' not found in the base.",
                  line.keyword.c_str());
    else if (isTaken)
      rep->printf("Session field '%s', line %d: free search field '%s' is named twice\n", get_name(),
                  line.number, line.keyword.c_str());
    else
      dynFields.push_back(std::make_unique<DareField>(index, base->get_field(index), &fieldConf));
    if (index < 0 || isTaken || config_free_field(text, line, dynFields.back().get(), rep) < 0) {
      step = Step::BROKEN;
      break;
    }
  }
  if (step == Step::BROKEN) dynFields.resize(1);
  return step;
}

int DareSessionField::config_free_field(DareConfigText* text, const DareConfigLine& opener, DareField* unit,
                                        AceReporter* rep) {
  if (opener.is_empty_block()) return 0;
  DareConfigLine line;
  Step step;
  while ((step = text->next_in(opener, &line, rep)) == Step::LINE) {
    if (line.upper == "PENALTY") {
      unit->get_rescale_config()->set_penalty(line.to_int());
    } else if (line.upper == "THRESHOLD") {
      unit->get_rescale_config()->set_threshold(line.to_int());
    } else if (line.upper == "SHAPE") {
      unit->get_rescale_config()->set_shape_name(line.plain().c_str());
    } else {
      rep->printf(
          "Unknown free search keyword '%s' in session template for free search field '%s' on session field "
          "%s\n",
          line.keyword.c_str(), opener.keyword.c_str(), get_name());
      return -1;
    }
  }
  return step;
}
