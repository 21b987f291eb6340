#include "damo/json/damo_json_selection_internal.h"

#include <algorithm>
#include <functional>

namespace {

constexpr char ALIAS_SEPARATOR = '|';

}  // namespace

std::unique_ptr<DamoJsonSelection> DamoJsonSelection::of(const std::vector<DamoJsonPath>& paths) {
  auto selection = std::make_unique<DamoJsonSelection>();
  selection->nodes.emplace_back();
  for (const DamoJsonPath& path : paths) {
    if (path.get_plain() == nullptr) return nullptr;
    selection->add(*path.get_plain());
  }
  return selection;
}

void DamoJsonSelection::add(const DamoJsonMembers& members) {
  std::size_t node = ROOT;
  for (const std::string& name : members.names) {
    std::size_t next = member(&nodes[node], name);
    if (next == PASSED) {
      next = nodes.size();
      nodes[node].members.emplace_back(name, next);
      nodes.emplace_back();
    }
    node = next;
  }
  nodes[node].isEnd = true;
  ends.push_back(node);
}

void DamoJsonSelection::reset() {
  for (const std::size_t end : ends) nodes[end].kind = DamoJsonText::NONE;
  levels.clear();
  keys.clear();
  now = ROOT;
  isValid = mayHaveTwins = false;
}

/// The child of that name. Records mostly have their members in one order.
std::size_t DamoJsonSelection::member(Node* node, std::string_view name) {
  const std::size_t count = node->members.size();
  for (std::size_t i = 0, place = node->expected; i < count; ++i, ++place) {
    if (place >= count) place = 0;
    if (node->members[place].first != name) continue;
    node->expected = place + 1;
    return node->members[place].second;
  }
  return PASSED;
}

void DamoJsonSelection::scalar(DamoJsonText kind, std::string_view text) {
  put(kind, text);
  isValid = isValid || levels.empty();
}

/// The value at hand as the text of its node, or as one of the texts of a list.
void DamoJsonSelection::put(DamoJsonText kind, std::string_view text) {
  const std::size_t place = is_in_list() ? levels.back().node : now;
  if (place == PASSED || !nodes[place].isEnd) return;
  Node& node = nodes[place];
  if (text.find('\0') != std::string_view::npos) kind = DamoJsonText::NO_TEXT;  // it would end the field
  if (!is_in_list()) {
    node.kind = kind;
    node.text = text;
  } else if (node.kind == DamoJsonText::GOOD) {
    node.kind = kind;
    if (node.hasElement) node.text += ALIAS_SEPARATOR;
    node.hasElement = true;
    node.text += text;
  }
}

void DamoJsonSelection::begin(bool is_list) {
  const bool isElement = is_in_list();
  if (isElement || !is_list) put(DamoJsonText::NO_TEXT, {});
  const std::size_t place = isElement ? PASSED : now;
  if (is_list && place != PASSED) {
    nodes[place].kind = DamoJsonText::GOOD;
    nodes[place].hasElement = false;
    nodes[place].text.clear();
  }
  levels.push_back({place, is_list, keys.size()});
}

void DamoJsonSelection::end() {
  if (levels.empty()) return;  // behind an error
  const std::size_t first = levels.back().firstKey;
  if (!levels.back().isList) check_keys(first);
  keys.resize(first);
  levels.pop_back();
  isValid = levels.empty();
}

/// Those of the object that ends.
void DamoJsonSelection::check_keys(std::size_t first) {
  constexpr std::size_t FEW = 16;
  const auto from = keys.begin() + static_cast<std::ptrdiff_t>(first);
  if (keys.size() - first > FEW) {
    std::sort(from, keys.end());
    mayHaveTwins = mayHaveTwins || std::adjacent_find(from, keys.end()) != keys.end();
    return;
  }
  for (auto key = from; key != keys.end(); ++key)
    mayHaveTwins = mayHaveTwins || std::find(from, key, *key) != key;
}

void DamoJsonSelection::key(std::string_view name) {
  keys.push_back(std::hash<std::string_view>()(name));
  now = !levels.empty() && levels.back().node != PASSED ? member(&nodes[levels.back().node], name) : PASSED;
}
