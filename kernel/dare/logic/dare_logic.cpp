#include "dare/dare_logic.h"

#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"

#include "dare/logic/dare_logic_parser_internal.h"

namespace {

constexpr std::size_t SHORTEST_LOGIC = 3;

using Node = DareLogicConfig::Node;

bool is_leaf(const Node* node) {
  return node->nodeType == DareLogicConfig::FIELD;
}

}  // namespace

// ---------------------------------------------------------------- the tree

Node* DareLogicConfig::NodeIter::next() {
  Node* node = nextNode;
  if (node == nullptr) return nullptr;
  Node* last = node;  // up to the first that has a sibling, inside the tree
  if (node->firstChild == nullptr)
    while (last != topNode && last->nextNode == nullptr) last = last->parentNode;
  nextNode = node->firstChild != nullptr ? node->firstChild : last != topNode ? last->nextNode : nullptr;
  return node;
}

Node* DareLogicConfig::new_child(Node* parent) {
  Node* child = new (memAt.alloc(sizeof(Node))) Node;
  if (parent == nullptr) return child;
  child->parentNode = parent;
  (parent->lastChild != nullptr ? parent->lastChild->nextNode : parent->firstChild) = child;
  parent->lastChild = child;
  ++parent->numChildren;
  return child;
}

Node* DareLogicConfig::add_child(Node* parent, const char* name) {
  if (name == nullptr) return new_child(parent);
  if (get_logic_id(name) >= 0) return nullptr;
  Node* child = new_child(parent);
  child->nodeType = FIELD;
  child->fieldName = memAt.attach(name);
  set_logic_id();
  return child;
}

void DareLogicConfig::clear() {
  memAt.release();
  rootNode = nullptr;
  numNodes = 0;
}

void DareLogicConfig::copy(const DareLogicConfig* other) {
  if (other == this) return;
  clear();
  plusWeight = other->plusWeight;
  std::unordered_map<const Node*, Node*> copies;
  NodeIter iter = other->get_node_iter();
  for (const Node* node = iter.next(); node != nullptr; node = iter.next()) {
    Node* parent = node == other->rootNode ? nullptr : copies[node->parentNode];
    Node* twin = copies[node] = new_child(parent);
    twin->nodeType = node->nodeType;
    twin->logicId = node->logicId;
    twin->fieldName = memAt.attach(node->fieldName);
    if (parent == nullptr) rootNode = twin;
  }
  numNodes = other->numNodes;
}

int DareLogicConfig::make_and(int num, const char* const* names) {
  clear();
  rootNode = new_child(nullptr);
  rootNode->nodeType = AND;
  rootNode->fieldName = "root";
  std::unordered_set<std::string_view> known;
  for (int i = 0; i < num; ++i) {
    if (!known.insert(names[i]).second) continue;
    Node* child = new_child(rootNode);
    child->nodeType = FIELD;
    child->fieldName = memAt.attach(names[i]);
  }
  set_logic_id();
  return rootNode->numChildren;
}

// ---------------------------------------------------------------- parsing

int DareLogicConfig::parse(const char* logic, bool permissive, AceReporter* rep) {
  clear();
  if (logic == nullptr || std::strlen(logic) < SHORTEST_LOGIC) {
    rep->printf("Logic string '%s': expected at least %zu characters\n", logic != nullptr ? logic : "",
                SHORTEST_LOGIC);
    return -1;
  }
  const std::string wrapped = permissive ? "(" + std::string(logic) + ")" : logic;
  rootNode = new_child(nullptr);
  rootNode->nodeType = AND;
  rootNode->fieldName = "root";
  if (DareLogicParser(this, wrapped.c_str(), permissive, rep).parse(rootNode) < 0) {
    clear();
    return ace_error(__FILE__, __LINE__, "parse_recursive(rootNode, logic, permissive, rep)", -1, 0, -1);
  }
  numNodes = set_logic_id();
  if (numNodes > MAX_NODES)
    rep->ev_wprintf("Too many logic nodes found. Some fields might not work properly\n");
  return 0;
}

/// Numbers the nodes and sets their parents, which collapsed nodes leave behind. Returns their number.
int DareLogicConfig::set_logic_id() {
  numNodes = 0;
  if (rootNode == nullptr) return 0;
  rootNode->parentNode = nullptr;
  NodeIter iter(rootNode);
  for (Node* node = iter.next(); node != nullptr; node = iter.next()) {
    node->logicId = numNodes++;
    for (Node* child = node->firstChild; child != nullptr; child = child->nextNode) child->parentNode = node;
  }
  return numNodes;
}

// ---------------------------------------------------------------- look-up

int DareLogicConfig::get_logic_id(const char* field) const {
  int label = -1;
  NodeIter iter = get_node_iter();
  for (const Node* node = iter.next(); node != nullptr; node = iter.next()) {
    if (node->logicId < 0 || node->fieldName == nullptr || std::strcmp(node->fieldName, field) != 0) continue;
    if (is_leaf(node)) return node->logicId;
    if (label < 0) label = node->logicId;
  }
  return label;
}

int DareLogicConfig::get_logic_fields(const char** out) const {
  int count = 0;
  NodeIter iter = get_node_iter();
  for (const Node* node = iter.next(); node != nullptr; node = iter.next()) {
    if (!is_leaf(node)) continue;
    if (out != nullptr) out[count] = node->fieldName;
    ++count;
  }
  return count;
}

Node* DareLogicConfig::find_node(int id) const {
  NodeIter iter = get_node_iter();
  Node* node = iter.next();
  while (node != nullptr && node->logicId != id) node = iter.next();
  return node;
}

int DareLogicConfig::set_plus_weight(int percent) {
  if (percent < 0 || percent > 100) return -1;
  plusWeight = percent;
  return 0;
}

// ---------------------------------------------------------------- graphs

const char* DareLogicConfig::get_type_name(int type) {
  static constexpr const char* NAMES[] = {"INVALID", "FIELD", "AND", "OR", "PLUS_OR", "PLUS_AND", "NOT"};
  return type >= INVALID && type <= NOT ? NAMES[type] : "???";
}

void DareLogicConfig::graphviz_write_nodes(std::FILE* file, Node* node) const {
  NodeIter iter(node);
  for (const Node* n = iter.next(); n != nullptr; n = iter.next()) {
    std::string label;  // quotes and backslashes would end it
    for (const char* c = is_leaf(n) ? n->fieldName : get_type_name(n->nodeType); *c != 0; ++c) {
      if (*c == '"' || *c == '\\') label += '\\';
      label += *c;
    }
    std::fprintf(file, "%ld [shape=%s, label=\"%s\"];\n", static_cast<long>(n->logicId),
                 is_leaf(n) ? "circle" : "box", label.c_str());
  }
}

void DareLogicConfig::graphviz_write_links(std::FILE* file, Node* node) const {
  NodeIter iter(node);
  for (const Node* n = iter.next(); n != nullptr; n = iter.next())
    if (n != node)
      std::fprintf(file, "%ld -> %ld;\n", static_cast<long>(n->parentNode->logicId),
                   static_cast<long>(n->logicId));
}
