#include "damo/json/damo_json_path_internal.h"

#include <cctype>

namespace {

constexpr const char* BLANKS = " \t\r\n";

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

/// Behind the text in quotes, which starts at `at`.
std::size_t behind_quotes(std::string_view path, std::size_t at) {
  const char quote = path[at++];
  while (at < path.size() && path[at] != quote) at += path[at] == '\\' ? 2 : 1;
  return at + 1;
}

bool may_start_key(char c) {
  return is_name_start(c) || c == '"' || std::string_view(BLANKS).find(c) != std::string_view::npos;
}

bool is_behind_name(std::string_view front) {
  const std::size_t last = front.find_last_not_of(BLANKS);
  return last != std::string_view::npos && is_name(front[last]);
}

/// Each argument of a function must be an expression by itself: the engine never returns from a call in which
/// something else than a comma or a parenthesis is behind an argument, as in `length(a b)`.
void check_argument(std::string_view text) {
  const std::size_t start = text.find_first_not_of(BLANKS);
  if (start == std::string_view::npos) return;
  text.remove_prefix(text[start] == '&' ? start + 1 : start);
  jsoncons::jmespath::make_expression<DamoJsonValue>(std::string(text));
}

[[noreturn]] void fail_at(std::size_t position, jsoncons::jmespath::jmespath_errc reason) {
  throw jsoncons::jmespath::jmespath_error(reason, 1, position + 1);
}

/// Throws for what the engine never returns from, and for brackets that do not close each other, on which it
/// reads memory that is not its own. Inner calls come before those around them, so that what is checked does
/// not have an unchecked one.
void check_path(std::string_view path) {
  using Reason = jsoncons::jmespath::jmespath_errc;
  struct Level {
    char end;
    bool isCall;
    std::size_t argument;  // where the one at hand starts
  };
  std::vector<Level> levels;
  const auto check = [&](std::size_t end) {
    if (!levels.empty() && levels.back().isCall)
      check_argument(path.substr(levels.back().argument, end - levels.back().argument));
  };
  for (std::size_t i = 0; i < path.size(); ++i) {
    const char c = path[i];
    if (c == '"' || c == '\'' || c == '`') {
      i = behind_quotes(path, i) - 1;
    } else if (c == '{' && i + 1 < path.size() && !may_start_key(path[i + 1])) {
      fail_at(i + 1, Reason::expected_key);
    } else if (c == '(' || c == '[' || c == '{') {
      const bool isCall = c == '(' && is_behind_name(path.substr(0, i));
      levels.push_back({c == '(' ? ')' : c == '[' ? ']' : '}', isCall, i + 1});
    } else if (c == ',') {
      check(i);
      if (!levels.empty()) levels.back().argument = i + 1;
    } else if (c == ')' || c == ']' || c == '}') {
      if (levels.empty() || levels.back().end != c) fail_at(i, Reason::syntax_error);
      check(i);
      levels.pop_back();
    }
  }
  for (; !levels.empty(); levels.pop_back()) check(path.size());
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

jsoncons::jmespath::jmespath_expression<DamoJsonValue> damo_json_expression(const std::string& path) {
  check_path(path);
  return jsoncons::jmespath::make_expression<DamoJsonValue>(path);
}

DamoJsonPath::DamoJsonPath(const std::string& path) : pathText(path), expression(damo_json_expression(path)) {
  plain = DamoJsonMembers::parse(path);
  if (plain && plain->isList) plain.reset();  // the engine makes the list
}
