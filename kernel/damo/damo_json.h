/// The structure of a JSON file: every path that its values have, once, with a sample.
///
///     {"items": [{"a1": 5}, {"b": "x"}]}         docRoot
///                                                  items[*]
///     DamoJson json;                                 "a1"      5
///     json.init("unknown.json");                     b         x
///     for (const JsonOutput& node : json.get_structure()) ...
///
/// Keys are written as JMESPath takes them, so that those on the way to a node, joined with ".", are its
/// path. The elements of a list share one node, "[*]", which is folded into the list's own. The sample is the
/// first text, number or truth value at the path. Children are in the order of their keys' bytes.
///
/// Memory is that of the structure: files are read in a stream.
/// Errors: `AceException` for a file that cannot be read or is no JSON.
/// Thread safety: belongs to one thread at a time.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_types.h"

/// A node as hosts show it. Texts belong to the structure.
struct JsonOutput {
  int nodeDepth;  ///< 0 for the root
  const char* nodeKey;
  const char* nodeVal;  ///< "" without a sample
};

class SORV_API DamoJsonNode {
 public:
  explicit DamoJsonNode(std::string key) : nodeKey(std::move(key)) {}

  const char* get_key() const { return nodeKey.c_str(); }
  const char* get_value() const { return nodeValue.c_str(); }
  /// The child of that key, new or not, which `*is_new` tells (if given).
  DamoJsonNode* add_child(const std::string& key, bool* is_new = nullptr);
  /// The first value stays.
  void set_value(std::string value);

  /// Folds "[*]" into the nodes below, and into this one unless it is the root.
  void flatten();
  /// Takes over the value and children of its only child, "[*]".
  void flatten_array_nodes();
  bool needs_flattened() const;
  /// The key of a node and its "[*]" together; a node with a value of its own keeps its key.
  std::string merge_array_keys() const;

  /// Nodes of the tree.
  int get_num_nodes() const;
  /// Fills an array of as many: the node, then the subtrees of its children. Returns their number.
  int write_output(JsonOutput* out, int depth) const;

 private:
  std::string nodeKey;
  std::string nodeValue;
  std::map<std::string, std::unique_ptr<DamoJsonNode>> children;
};

class SORV_API DamoJsonBase {
 public:
  static constexpr const char* ROOT = "docRoot";
  static constexpr const char* ELEMENTS = "[*]";

  /// A key as JMESPath takes it: what is not made of letters and "_" only is quoted.
  static std::string protect_key(const std::string& key);
  /// The nodes, the root first. Valid until the next call.
  const std::vector<JsonOutput>& get_structure();
  const std::vector<JsonOutput>& get_output() const { return nodes; }

 protected:
  DamoJsonBase() : rootNode(std::make_unique<DamoJsonNode>(ROOT)) {}

  std::unique_ptr<DamoJsonNode> rootNode;

 private:
  std::vector<JsonOutput> nodes;
  bool isFlat = false;
};

class SORV_API DamoJson : public DamoJsonBase {
 public:
  /// Looks at the first `num_values` texts, numbers and truth values; 0 for all, then the end is checked.
  void init(const char* file, VInt num_values = 0);
};

class SORV_API DamoJsonLines : public DamoJsonBase {
 public:
  /// Looks at the first `num_lines` lines, 0 for all. Lines that are no JSON are left out. Returns the number
  /// of the others.
  int init(const char* file, int num_lines);
  /// Adds what a line has. Returns 0, or -1 for what is no JSON: nothing is added.
  int parse_line(const char* line);
};
