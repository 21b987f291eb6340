#include "damo/xml/damo_xml_match_internal.h"

#include <algorithm>
#include <cstring>

#include "ace/ace_exception.h"

DamoXmlMatcher::DamoXmlMatcher(const std::vector<DamoXmlStep>& path, DamoXmlXpath* shared) : xpath(shared) {
  for (const DamoXmlStep& given : path) {
    const char* const uri = given.prefix.empty() ? "" : xpath->find_namespace(given.prefix);
    if (uri == nullptr)
      throw AceException("Cannot evaluate XPath", "record path: prefix '%s' is not among the namespaces",
                         given.prefix.c_str());
    Step step{
        given.isDeep, given.name, uri, given.name == "*", given.name == "*" && given.prefix.empty(), {}};
    for (const DamoXmlPredicate& predicate : given.predicates) {
      std::string name = "record path, '[" + predicate.text + "]'";
      DamoXmlXpath::Compiled compiled = xpath->compile(predicate.text, name);
      step.predicates.push_back(
          {std::move(compiled), std::move(name), predicate.reach == DamoXmlReach::CONTENT, numPredicates++});
    }
    steps.push_back(std::move(step));
  }
  frames.resize(1);
  frames[0].steps = 1;
  frames[0].counts.assign(numPredicates, 0);
}

bool DamoXmlMatcher::fits(const Step& step, const xmlNode& node) {
  if (!step.anyName && step.name != plain_text(node.name)) return false;
  return step.anyUri || step.uri == (node.ns != nullptr ? plain_text(node.ns->href) : "");
}

/// A predicate that gives a number is one of the position.
bool DamoXmlMatcher::holds(const Predicate& predicate, xmlNode* node, Frame* around, const Expand& expand) {
  if (predicate.needsContent) expand();
  const int position = ++around->counts[predicate.index];
  const DamoXmlXpath::Object result =
      xpath->evaluate(predicate.compiled.get(), node, position, predicate.name);
  return result->type == XPATH_NUMBER ? result->floatval == position
                                      : xmlXPathCastToBoolean(result.get()) != 0;
}

bool DamoXmlMatcher::is_step(const Step& step, xmlNode* node, Frame* around, const Expand& expand) {
  return fits(step, *node) && std::ranges::all_of(step.predicates, [&](const Predicate& predicate) {
           return holds(predicate, node, around, expand);
         });
}

bool DamoXmlMatcher::enter(xmlNode* node, int depth, const Expand& expand) {
  current = static_cast<std::size_t>(depth) + 1;
  if (frames.size() <= current) frames.resize(current + 1);
  Frame& around = frames[current - 1];
  Frame& own = frames[current];
  own.steps = 0;
  own.counts.assign(numPredicates, 0);
  bool isSelected = false;
  for (std::size_t k = 0; k < steps.size(); ++k) {
    const std::uint64_t bit = std::uint64_t{1} << k;
    if ((around.steps & bit) == 0) continue;
    if (steps[k].isDeep) own.steps |= bit;
    if (!is_step(steps[k], node, &around, expand)) continue;
    if (k + 1 == steps.size())
      isSelected = true;
    else
      own.steps |= bit << 1;
  }
  return isSelected;
}
