#include "damo/damo_json.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <jsoncons/json.hpp>
#include <jsoncons/json_cursor.hpp>
#include <limits>

#include "ace/ace_exception.h"
#include "ace/ace_input.h"

DamoJsonNode* DamoJsonNode::add_child(const std::string& key, bool* is_new) {
  std::unique_ptr<DamoJsonNode>& child = children[key];
  if (is_new != nullptr) *is_new = child == nullptr;
  if (child == nullptr) child = std::make_unique<DamoJsonNode>(key);
  return child.get();
}

void DamoJsonNode::set_value(std::string value) {
  if (nodeValue.empty()) nodeValue = std::move(value);
}

bool DamoJsonNode::needs_flattened() const {
  return nodeKey != DamoJsonBase::ROOT && children.size() == 1 &&
         children.begin()->first == DamoJsonBase::ELEMENTS;
}

std::string DamoJsonNode::merge_array_keys() const {
  if (nodeKey.empty()) return DamoJsonBase::ELEMENTS;
  return nodeValue.empty() ? nodeKey + DamoJsonBase::ELEMENTS : nodeKey;
}

void DamoJsonNode::flatten_array_nodes() {
  while (needs_flattened()) {
    const std::unique_ptr<DamoJsonNode> elements = std::move(children.begin()->second);
    nodeKey = merge_array_keys();
    nodeValue = elements->nodeValue;
    children = std::move(elements->children);
  }
}

void DamoJsonNode::flatten() {
  flatten_array_nodes();
  for (auto& child : children) child.second->flatten();
}

int DamoJsonNode::get_num_nodes() const {
  int count = 1;
  for (const auto& child : children) count += child.second->get_num_nodes();
  return count;
}

int DamoJsonNode::write_output(JsonOutput* out, int depth) const {
  *out = {depth, get_key(), get_value()};
  int count = 1;
  for (const auto& child : children) count += child.second->write_output(out + count, depth + 1);
  return count;
}

std::string DamoJsonBase::protect_key(const std::string& key) {
  const auto isPlain = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; };
  if (std::all_of(key.begin(), key.end(), isPlain)) return key;
  std::string quoted = "\"";
  for (const char c : key) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

const std::vector<JsonOutput>& DamoJsonBase::get_structure() {
  if (!isFlat) rootNode->flatten();
  isFlat = true;
  nodes.resize(static_cast<std::size_t>(rootNode->get_num_nodes()));
  rootNode->write_output(nodes.data(), 0);
  return nodes;
}

namespace {

using jsoncons::staj_event_type;

constexpr VInt ALL_VALUES = std::numeric_limits<VInt>::max();

/// Adds the paths of the document that a cursor walks through, until so many values are passed.
template <class Cursor>
void add_document(Cursor* cursor, DamoJsonNode* root, VInt most_values = ALL_VALUES) {
  std::vector<DamoJsonNode*> open;  // the nodes of the values around, of lists those of their elements
  DamoJsonNode* now = root;         // of the value at hand
  const auto end_value = [&] { now = open.empty() ? root : open.back(); };
  VInt values = 0;
  for (; values < most_values && !cursor->done(); cursor->next()) {
    const auto& event = cursor->current();
    switch (event.event_type()) {
      case staj_event_type::begin_object:
        open.push_back(now);
        break;
      case staj_event_type::begin_array:
        now = now->add_child(DamoJsonBase::ELEMENTS);
        open.push_back(now);
        break;
      case staj_event_type::end_object:
      case staj_event_type::end_array:
        open.pop_back();
        end_value();
        break;
      case staj_event_type::key:
        now = open.back()->add_child(DamoJsonBase::protect_key(event.template get<std::string>()));
        break;
      case staj_event_type::null_value:
        end_value();
        break;
      default:
        ++values;
        now->set_value(event.template get<std::string>());
        end_value();
    }
  }
}

}  // namespace

void DamoJson::init(const char* file, VInt num_values) {
  std::ifstream stream(file != nullptr ? file : "", std::ios::binary);
  if (!stream)
    throw AceException("Cannot read JSON source", "Filename %s does not exist.", file != nullptr ? file : "");
  char mark[3] = {};
  if (!stream.read(mark, 3) || std::string_view(mark, 3) != "\xEF\xBB\xBF") {
    stream.clear();
    stream.seekg(0);
  }
  try {
    jsoncons::json_stream_cursor cursor(stream);
    add_document(&cursor, rootNode.get(), num_values > 0 ? num_values : ALL_VALUES);
    if (num_values <= 0) cursor.check_done();
  } catch (const std::exception& error) {
    throw AceException("Cannot read JSON source", "'%s': %s", file, error.what());
  }
}

int DamoJsonLines::parse_line(const char* line) {
  if (line == nullptr) return -1;
  DamoJsonNode whole(ROOT);  // a line that breaks off leaves nothing behind
  try {
    jsoncons::json_string_cursor check{std::string_view(line)};
    add_document(&check, &whole);
    check.check_done();
    if (whole.get_num_nodes() == 1 && *whole.get_value() == '\0')
      return std::string_view(line).find_first_not_of(" \t\r\n") == std::string_view::npos ? -1 : 0;
    jsoncons::json_string_cursor cursor{std::string_view(line)};
    add_document(&cursor, rootNode.get());
  } catch (const std::exception&) {
    return -1;
  }
  return 0;
}

int DamoJsonLines::init(const char* file, int num_lines) {
  constexpr int BUFFER_SIZE = 1 << 20;
  AceInput input(file, BUFFER_SIZE, false);
  int count = 0;
  char* line = nullptr;
  for (int i = 0; (num_lines <= 0 || i < num_lines) && input.read_line(&line) >= 0; ++i)
    count += parse_line(line) == 0 ? 1 : 0;
  if (input.read_error() != 0) throw AceException("Cannot read JSON source", "'%s' cannot be read", file);
  return count;
}
