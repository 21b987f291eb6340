/// JMESPath expressions, the plain ones among them without an engine.
#pragma once

#include <jsoncons/json.hpp>
#include <jsoncons_ext/jmespath/jmespath.hpp>
#include <optional>
#include <string>
#include <vector>

using DamoJsonValue = jsoncons::json;

/// The members that lead to a value, as in `person.name` or `"first name"`.
struct DamoJsonMembers {
  std::vector<std::string> names;
  bool isList = false;  // "[*]" behind them

  /// What the text says if it is no more than that; "@" has no members.
  static std::optional<DamoJsonMembers> parse(const std::string& path);
  /// Null when there is no such value.
  const DamoJsonValue* find(const DamoJsonValue& from) const;
};

/// Throws `jmespath_error` for a text that is none.
jsoncons::jmespath::jmespath_expression<DamoJsonValue> damo_json_expression(const std::string& path);

class DamoJsonPath {
 public:
  /// Throws `jmespath_error`, which tells line and column.
  explicit DamoJsonPath(const std::string& path);

  const std::string& get_text() const { return pathText; }
  /// The members, where the path is no more than that; else null.
  const DamoJsonMembers* get_plain() const { return plain ? &*plain : nullptr; }
  /// `visit(value)` for what the path gives; null for nothing.
  template <class Visit>
  auto apply(const DamoJsonValue& record, Visit visit) const {
    if (plain) {
      const DamoJsonValue* const found = plain->find(record);
      return found != nullptr ? visit(*found) : visit(DamoJsonValue::null());
    }
    return visit(expression.evaluate(record));
  }

 private:
  std::string pathText;
  std::optional<DamoJsonMembers> plain;
  jsoncons::jmespath::jmespath_expression<DamoJsonValue> expression;
};
