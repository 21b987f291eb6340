/// XPath 1.0 expressions, as far as must be known to read a file in a stream: how far an expression reaches,
/// and the steps of plain paths. They are not checked here: what cannot be told is taken for the worst.
///
///     @x, ../@x, position(), name()       ATTRIBUTES    of the element and of those around it
///     b/c, .//c[last()], string()         CONTENT       of the element
///     ../b, /a, following::b, id("x")     OUTSIDE
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What must be in memory for an expression to be evaluated at an element.
enum class DamoXmlReach { ATTRIBUTES, CONTENT, OUTSIDE };

/// How far an expression reaches from the element that it is evaluated at.
DamoXmlReach damo_xml_reach(std::string_view expression);

/// A predicate of a step.
struct DamoXmlPredicate {
  std::string text;  // without brackets
  DamoXmlReach reach;
};

/// "/" or "//", a name, predicates.
struct DamoXmlStep {
  bool isDeep = false;  // "//"
  std::string prefix;   // "" for none
  std::string name;     // "*" for any
  std::vector<DamoXmlPredicate> predicates;
};

/// The steps of a path that selects elements in a stream: predicates on content behind the last step only,
/// none beyond. Nothing for all other expressions.
std::optional<std::vector<DamoXmlStep>> damo_xml_steps(std::string_view path);
