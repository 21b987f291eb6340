#include "damo/json/damo_json_path_internal.h"

#include <cctype>

namespace {

bool is_name_start(char c) {
  return std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_';
}

bool is_name(char c) {
  return is_name_start(c) || (c >= '0' && c <= '9');
}

/// A name, or a quoted one, from the front of the text.
std::optional<std::string> take_name(std::string_view* text) {
  std::size_t end = 0;
  if (!text->empty() && text->front() == '"') {
    for (end = 1; end < text->size() && (*text)[end] != '"'; ++end)
      if ((*text)[end] == '\\') return std::nullopt;  // the engine knows these
    if (end >= text->size()) return std::nullopt;
    std::string name(text->substr(1, end - 1));
    text->remove_prefix(end + 1);
    return name;
  }
  if (text->empty() || !is_name_start(text->front())) return std::nullopt;
  while (end < text->size() && is_name((*text)[end])) ++end;
  std::string name(text->substr(0, end));
  text->remove_prefix(end);
  return name;
}

}  // namespace

std::optional<DamoJsonMembers> DamoJsonMembers::parse(const std::string& path) {
  constexpr std::string_view LIST = "[*]";
  DamoJsonMembers members;
  std::string_view rest(path);
  if (rest == "@") return members;
  if (rest != LIST) {
    for (;;) {
      std::optional<std::string> name = take_name(&rest);
      if (!name) return std::nullopt;
      members.names.push_back(std::move(*name));
      if (rest.empty() || rest.front() != '.') break;
      rest.remove_prefix(1);
    }
  }
  members.isList = rest == LIST;
  if (!members.isList && !rest.empty()) return std::nullopt;
  return members;
}

const DamoJsonValue* DamoJsonMembers::find(const DamoJsonValue& from) const {
  const DamoJsonValue* value = &from;
  for (const std::string& name : names) {
    if (!value->is_object()) return nullptr;
    const auto found = value->find(name);
    if (found == value->object_range().end()) return nullptr;
    value = &found->value();
  }
  return value;
}

DamoJsonPath::DamoJsonPath(const std::string& path)
    : pathText(path), expression(jsoncons::jmespath::make_expression<DamoJsonValue>(path)) {
  plain = DamoJsonMembers::parse(path);
  if (plain && plain->isList) plain.reset();  // the engine makes the list
}
