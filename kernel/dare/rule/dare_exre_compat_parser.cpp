// The older format of rule files: rules one after the other, each a search, thresholds and conditions of
// fields.
#include "ace/ace_reporter.h"
#include "dare/rule/dare_exre_parser_internal.h"

namespace {

constexpr const char* CONDITION = "field-condition";
constexpr const char* DEFAULT_COMBINATION = "default";
constexpr const char* OPTIONAL = "optional";
constexpr const char* MANDATORY = "mandatory";

}  // namespace

void DareExreParser::parse_compat_rules(const Nodes& nodes) {
  for (std::size_t i = 0; i < nodes.size(); ++i)
    config->ruleArray.push_back(std::make_unique<DareExreRule>());
  place = {};
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    DareExreRule* rule = config->ruleArray[i].get();
    ++place.number;
    rule->ruleID = place.name = "R" + std::to_string(place.number);
    if (i + 1 < nodes.size()) rule->noInstruction.jumpTo = config->ruleArray[i + 1].get();
    parse_compat_rule(nodes[i], rule);
  }
}

void DareExreParser::parse_compat_rule(xmlNode* node, DareExreRule* rule) {
  static const std::set<std::string> KNOWN = {"combination", "decision", "relation", "abs-threshold",
                                              "diff-threshold"};
  const Elements elements = elements_of(node, KNOWN, CONDITION);
  std::string combination = text_of(elements, "combination");
  if (!combination.empty() && itsNames.getCombiId(combination.c_str()) < 0) {
    aceRep->printf("Rule #%d refers to an unknown combination '%s', falling back to default combination\n",
                   place.number, combination.c_str());
    combination.clear();
  }
  const bool hasDefault = itsNames.getCombiId(DEFAULT_COMBINATION) >= 0;
  if (combination.empty() && hasDefault) combination = DEFAULT_COMBINATION;
  parse_input(combination.empty() ? "" : combination + "()", rule);
  rule->outputResult.resultName = "result_" + std::to_string(place.number);
  rule->outputResult.resultSlot = slot_of(rule->outputResult.resultName);
  rule->relationID = text_of(elements, "relation");
  parse_instruction(elements, "decision", &rule->yesInstruction);

  DareExreAcceptorKind::Settings settings;
  add_threshold(elements, "abs-threshold", "record_min_qual", &settings.acceptors);
  add_threshold(elements, "diff-threshold", "record_min_diff", &settings.acceptors);
  for (xmlNode* child = node->children; child != nullptr; child = child->next)
    if (child->type == XML_ELEMENT_NODE && name_of(child) == CONDITION)
      add_field_condition(child, &settings.acceptors);
  rule->acceptCriteria = DareExreAcceptorKind::find("and")->make(std::move(settings));
}

void DareExreParser::add_threshold(const Elements& elements, const char* element, const char* acceptor,
                                   DareExreAcceptors* acceptors) {
  if (!elements.contains(element)) return;
  DareExreAcceptorKind::Settings settings;
  settings.number = number_of(text_of(elements, element), element);
  settings.dedupField = itsNames.dedupField;
  acceptors->push_back(DareExreAcceptorKind::find(acceptor)->make(std::move(settings)));
}

/// What a condition says stands in attributes or in elements.
std::string DareExreParser::compat_value(xmlNode* node, const Elements& elements, const char* name) {
  return elements.contains(name) ? text_of(elements, name) : attribute(node, name);
}

void DareExreParser::add_field_condition(xmlNode* node, DareExreAcceptors* acceptors) {
  static const std::set<std::string> KNOWN = {"name", "default", "abs-threshold", "pot-threshold"};
  const Elements elements = elements_of(node, KNOWN, nullptr);
  const std::string name = compat_value(node, elements, "name");
  DareExreFieldCondition condition{itsNames.getFieldIndex(name.c_str()), 0, 0, true};
  if (condition.field < 0) {
    aceRep->printf("Unknown session field '%s', condition on this field will be ignored\n", name.c_str());
    return;
  }
  const std::string presence = compat_value(node, elements, "default");
  if (!presence.empty() && presence != OPTIONAL && presence != MANDATORY)
    fault("'optional' or 'mandatory'", "default", presence);
  condition.isMandatory = presence != OPTIONAL;
  const auto threshold = [&](const char* element) {
    const std::string text = compat_value(node, elements, element);
    return text.empty() ? 0 : number_of(text, element);
  };
  condition.minimum = threshold("abs-threshold");
  condition.difference = threshold("pot-threshold");
  acceptors->push_back(make_field_acceptor(condition));
}
