#include "sorvanta/tool_structure.h"

#include <algorithm>
#include <map>
#include <string>

#include "damo/damo_xml.h"

namespace {

/// A node of a structure that has values.
struct Leaf {
  std::vector<std::string> keys;  // from the root's children on
};

std::vector<Leaf> leaves_of(const std::vector<JsonOutput>& nodes) {
  std::vector<Leaf> leaves;
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    keys.resize(static_cast<std::size_t>(std::max(nodes[i].nodeDepth - 1, 0)));
    if (nodes[i].nodeDepth > 0) keys.emplace_back(nodes[i].nodeKey);
    if (i + 1 == nodes.size() || nodes[i + 1].nodeDepth <= nodes[i].nodeDepth) leaves.push_back({keys});
  }
  return leaves;
}

template <class Join>
std::string joined(const std::vector<std::string>& keys, std::size_t from, std::size_t to, Join join) {
  std::string path;
  for (std::size_t i = from; i < to; ++i) path = join(path, keys[i]);
  return path;
}

std::string json_step(const std::string& path, const std::string& key) {
  constexpr const char* EMPTY_KEY = "\"\"";
  const std::string step = key.empty() ? EMPTY_KEY : key;
  return path.empty() ? step : path + "." + step;
}

}  // namespace

void look_at_json(const std::vector<JsonOutput>& nodes, SourceSample* sample) {
  const std::vector<Leaf> leaves = leaves_of(nodes);
  std::map<std::string, std::vector<std::string>> lists;
  for (const Leaf& leaf : leaves) {
    std::size_t list = 0;  // keys up to the first list
    while (list < leaf.keys.size() && !leaf.keys[list].ends_with(DamoJsonBase::ELEMENTS)) ++list;
    const bool isList = list + 1 < leaf.keys.size();
    const std::size_t from = isList ? list + 1 : 0;
    std::string path = isList ? joined(leaf.keys, 0, from, json_step) : "@";
    if (path == DamoJsonBase::ELEMENTS) path = "@";
    lists[path].push_back(joined(leaf.keys, from, leaf.keys.size(), json_step));
  }
  for (auto& [path, columns] : lists)
    if (columns.size() > sample->columns.size()) {
      sample->source.records = path;
      sample->columns = columns;
    }
}

void look_at_xml(SourceSample* sample) {
  constexpr VInt MOST_ELEMENTS = 100000;
  DamoXml xml(sample->source.file.c_str(), MOST_ELEMENTS);
  xml.init();
  const std::string spaces = xml.get_namespaces();
  for (std::size_t pos = 0; pos < spaces.size();) {
    const std::size_t end = std::min(spaces.find('\n', pos), spaces.size());
    const std::size_t gap = spaces.find('\t', pos);
    if (gap < end) {
      sample->source.namespaces.push_back(spaces.substr(pos, gap - pos));
      sample->source.namespaces.push_back(spaces.substr(gap + 1, end - gap - 1));
    }
    pos = end + 1;
  }
  std::map<std::string, std::vector<std::string>> elements;
  for (const Leaf& leaf : leaves_of(xml.get_structure(nullptr, 0))) {
    std::vector<std::string> keys = leaf.keys;
    const bool isText = !keys.empty() && keys.back() == DamoXml::CONTENT;
    if (isText) keys.pop_back();
    const std::size_t depth = std::min<std::size_t>(2, keys.size());
    std::string column = joined(keys, depth, keys.size(), json_step);
    std::replace(column.begin(), column.end(), '.', '/');
    elements["/" + joined(keys, 0, depth,
                          [](const std::string& path, const std::string& key) {
                            return path.empty() ? key : path + "/" + key;
                          })]
        .push_back(column.empty() ? "." : column);
  }
  for (auto& [path, columns] : elements)
    if (columns.size() > sample->columns.size()) {
      sample->source.records = path;
      sample->columns = columns;
    }
}
