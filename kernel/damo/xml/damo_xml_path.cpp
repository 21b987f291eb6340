#include "damo/xml/damo_xml_path_internal.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

using Reach = DamoXmlReach;

/// Nesting of an expression that is followed.
constexpr int MAX_NESTING = 100;
/// Steps of a path that is matched in a stream, and predicates of all of them.
constexpr std::size_t MAX_STEPS = 32;

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
bool is_name_start(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}
bool is_name(char c) {
  return is_name_start(c) || is_digit(c) || c == '-' || c == '.';
}

/// What is wrong or too deep.
struct Unknown {};

/// Where the nodes of a path are: levels below the element that the expression is evaluated at; OUT for those
/// around it and their like.
///
///     child, descendant   one level down; of OUT there is nothing in a stream
///     parent              one level up, from 0 to OUT
///     ancestor            OUT
///     siblings            the same level, but not of the element itself
///     attribute           can be asked for everywhere on the way up
constexpr int OUT = -1;

enum class Axis { DOWN, SELF, DOWN_OR_SELF, UP, ANCESTOR, SIBLING, ATTRIBUTE, FAR };

struct AxisName {
  std::string_view name;
  Axis axis;
};
constexpr std::array AXES = {
    AxisName{"child", Axis::DOWN},
    AxisName{"descendant", Axis::DOWN},
    AxisName{"descendant-or-self", Axis::DOWN_OR_SELF},
    AxisName{"self", Axis::SELF},
    AxisName{"parent", Axis::UP},
    AxisName{"ancestor", Axis::ANCESTOR},
    AxisName{"ancestor-or-self", Axis::ANCESTOR},
    AxisName{"following-sibling", Axis::SIBLING},
    AxisName{"preceding-sibling", Axis::SIBLING},
    AxisName{"attribute", Axis::ATTRIBUTE},
    AxisName{"namespace", Axis::FAR},
    AxisName{"following", Axis::FAR},
    AxisName{"preceding", Axis::FAR},
};

struct FunctionName {
  std::string_view name;
  Reach withoutArguments;
};
/// Those that reach further than their arguments.
constexpr std::array FUNCTIONS = {
    FunctionName{"string", Reach::CONTENT},
    FunctionName{"string-length", Reach::CONTENT},
    FunctionName{"normalize-space", Reach::CONTENT},
    FunctionName{"number", Reach::CONTENT},
};

/// Walks over an expression and notes how far it reaches. Operators are not told apart: that needs no order.
class Walker {
 public:
  explicit Walker(std::string_view text) : rest(text) {}

  /// All of the text as an expression.
  Reach walk() {
    try {
      expression(0);
      return rest.empty() ? reach : Reach::OUTSIDE;
    } catch (const Unknown&) {
      return Reach::OUTSIDE;
    }
  }

  /// All of the text as a path of steps; throws `Unknown` for all others.
  std::vector<DamoXmlStep> steps() {
    std::vector<DamoXmlStep> found;
    do {
      if (!found.empty() && found.back().predicates.size() > 0 &&
          std::ranges::any_of(found.back().predicates,
                              [](const auto& p) { return p.reach != Reach::ATTRIBUTES; }))
        throw Unknown();
      DamoXmlStep step;
      step.isDeep = take("//");
      if (!step.isDeep && !take("/") && !found.empty()) throw Unknown();
      step_to(&step);
      found.push_back(std::move(step));
    } while (!rest.empty());
    std::size_t numPredicates = 0;
    for (const DamoXmlStep& step : found) numPredicates += step.predicates.size();
    if (found.size() > MAX_STEPS || numPredicates > MAX_STEPS) throw Unknown();
    return found;
  }

 private:
  std::string_view rest;
  Reach reach = Reach::ATTRIBUTES;
  int nesting = 0;
  bool isStepPredicate = false;  // `last()` is about the elements that a step selects

  void note(Reach further) { reach = std::max(reach, further); }
  void blanks() {
    while (!rest.empty() && is_blank(rest.front())) rest.remove_prefix(1);
  }
  bool take(std::string_view token) {
    blanks();
    if (!rest.starts_with(token)) return false;
    rest.remove_prefix(token.size());
    blanks();
    return true;
  }
  void require(std::string_view token) {
    if (!take(token)) throw Unknown();
  }
  std::string_view name() {
    blanks();
    std::size_t end = 0;
    if (!rest.empty() && is_name_start(rest.front()))
      while (end < rest.size() && is_name(rest[end])) ++end;
    const std::string_view found = rest.substr(0, end);
    rest.remove_prefix(end);
    blanks();
    return found;
  }

  void expression(int level) {
    if (++nesting > MAX_NESTING) throw Unknown();
    do {
      while (take("-")) continue;
      operand(level);
    } while (operation());
    --nesting;
  }

  bool operation() {
    for (const char* token : {"!=", "<=", ">=", "=", "<", ">", "+", "-", "*", "|"})
      if (take(token)) return true;
    for (const char* token : {"or", "and", "div", "mod"})
      if (rest.starts_with(token)) return take(token);
    return false;
  }

  void operand(int level) {
    blanks();
    if (rest.empty()) throw Unknown();
    const char first = rest.front();
    if (first == '"' || first == '\'') {
      const std::size_t end = rest.find(first, 1);
      if (end == std::string_view::npos) throw Unknown();
      rest.remove_prefix(end + 1);
    } else if (is_digit(first) || (first == '.' && rest.size() > 1 && is_digit(rest[1]))) {
      while (!rest.empty() && (is_digit(rest.front()) || rest.front() == '.')) rest.remove_prefix(1);
    } else if (first == '(') {
      require("(");
      expression(level);
      require(")");
      behind_primary();
    } else if (!function(level)) {
      path(level);
    }
    blanks();
  }

  /// Steps behind "(...)" start where that ends, which is not followed.
  void behind_primary() {
    if (rest.starts_with("[") || rest.starts_with("/")) throw Unknown();
  }

  /// A call, if it is one; "node(" and the like are none.
  bool function(int level) {
    const std::string_view start = rest;
    std::string_view called = name();
    if (called.empty() || !rest.starts_with("(") || called == "node" || called == "text" ||
        called == "comment" || called == "processing-instruction") {
      rest = start;
      return false;
    }
    require("(");
    if (called == "id" || (called == "last" && isStepPredicate)) note(Reach::OUTSIDE);
    if (take(")")) {
      const auto* const known = std::ranges::find(FUNCTIONS, called, &FunctionName::name);
      if (known != FUNCTIONS.end()) note(level == OUT ? Reach::OUTSIDE : known->withoutArguments);
    } else {
      do expression(level);
      while (take(","));
      require(")");
    }
    behind_primary();
    return true;
  }

  void path(int level) {
    if (rest.starts_with("/")) note(Reach::OUTSIDE);
    if (take("//"))
      ;
    else if (take("/") && !starts_step())
      return;
    bool isAttribute = false;
    bool hasDown = false;
    do {
      isAttribute = false;
      level = step(level, &hasDown, &isAttribute);
      if (!rest.starts_with("/")) break;
      if (isAttribute) note(Reach::CONTENT);
      require("/");
      if (take("/")) {  // descendants, too
        if (level == OUT) note(Reach::OUTSIDE);
        hasDown = true;
      }
    } while (true);
    if (isAttribute && !hasDown) return;
    note(level == OUT && !isAttribute ? Reach::OUTSIDE : Reach::CONTENT);
  }

  bool starts_step() const {
    return !rest.empty() &&
           (is_name_start(rest.front()) || rest.front() == '*' || rest.front() == '@' || rest.front() == '.');
  }

  /// Returns the level behind the step.
  int step(int level, bool* has_down, bool* is_attribute) {
    Axis axis = Axis::DOWN;
    if (take("..")) {
      axis = Axis::UP;
    } else if (take(".")) {
      axis = Axis::SELF;
    } else {
      if (take("@")) {
        axis = Axis::ATTRIBUTE;
      } else {
        const std::string_view start = rest;
        const std::string_view word = name();
        if (!word.empty() && take("::")) {
          const auto* const known = std::ranges::find(AXES, word, &AxisName::name);
          if (known == AXES.end()) throw Unknown();
          axis = known->axis;
        } else {
          rest = start;
        }
      }
      node_test();
    }
    *is_attribute = axis == Axis::ATTRIBUTE;
    *has_down = *has_down || axis == Axis::DOWN || axis == Axis::DOWN_OR_SELF || axis == Axis::SIBLING;
    level = behind(axis, level);
    const bool wasStepPredicate = std::exchange(isStepPredicate, false);
    while (take("[")) {
      expression(level);
      require("]");
    }
    isStepPredicate = wasStepPredicate;
    return level;
  }

  int behind(Axis axis, int level) {
    switch (axis) {
      case Axis::DOWN:
      case Axis::DOWN_OR_SELF:
        if (level == OUT) note(Reach::OUTSIDE);
        return axis == Axis::DOWN ? level + 1 : level;
      case Axis::UP:
        return std::max(level - 1, OUT);
      case Axis::ANCESTOR:
        return OUT;
      case Axis::SIBLING:
        if (level <= 0) note(Reach::OUTSIDE);
        return level;
      case Axis::FAR:
        note(Reach::OUTSIDE);
        return level;
      default:
        return level;
    }
  }

  void node_test() {
    if (take("*")) return;
    if (name().empty()) throw Unknown();
    if (take(":")) {
      if (!take("*") && name().empty()) throw Unknown();
    } else if (take("(")) {
      if (!take(")")) operand(0), require(")");  // a literal
    }
  }

  void step_to(DamoXmlStep* step) {
    blanks();
    const std::string_view start = rest;
    const std::string_view word = name();
    if (word == "descendant" && take("::")) {
      step->isDeep = true;
    } else if (word != "child" || !take("::")) {
      rest = start;
    }
    const bool isDescendant = word == "descendant" && rest.data() != start.data();
    step->name = take("*") ? "*" : std::string(name());
    if (step->name != "*" && take(":")) {
      step->prefix = step->name;
      step->name = take("*") ? "*" : std::string(name());
    }
    if (step->name.empty() || rest.starts_with("(") || rest.starts_with(":")) throw Unknown();
    while (take("[")) {
      if (isDescendant) throw Unknown();  // they would count among all descendants
      step->predicates.push_back(predicate());
    }
  }

  DamoXmlPredicate predicate() {
    const std::string_view start = rest;
    reach = Reach::ATTRIBUTES;
    isStepPredicate = true;
    expression(0);
    isStepPredicate = false;
    if (reach == Reach::OUTSIDE) throw Unknown();
    DamoXmlPredicate found{std::string(start.substr(0, start.size() - rest.size())), reach};
    require("]");
    return found;
  }
};

}  // namespace

DamoXmlReach damo_xml_reach(std::string_view expression) {
  return Walker(expression).walk();
}

std::optional<std::vector<DamoXmlStep>> damo_xml_steps(std::string_view path) {
  try {
    return Walker(path).steps();
  } catch (const Unknown&) {
    return std::nullopt;
  }
}
