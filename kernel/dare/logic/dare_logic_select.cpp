#include <vector>

#include "dast/dast_info_list.h"

#include "dare/dare_logic.h"

// What selected fields leave: masks of nodes, and sets of records.

namespace {

using Node = DareLogicConfig::Node;

/// The nodes that take part, by id.
std::vector<const Node*> nodes_of(const DareLogicConfig* config) {
  std::vector<const Node*> nodes;
  DareLogicConfig::NodeIter iter = config->get_node_iter();
  for (const Node* node = iter.next(); node != nullptr; node = iter.next())
    if (node->logicId < DareLogicConfig::MAX_NODES) nodes.push_back(node);
  return nodes;
}

}  // namespace

int DareLogicConfig::get_slots_needed(GrandMask fields, GrandMask* slots) const {
  *slots = 0;
  int count = 0;
  for (const Node* leaf : nodes_of(this)) {
    if (leaf->nodeType != FIELD || (fields & bit(leaf->logicId)) == 0) continue;
    for (const Node* node = leaf; node != nullptr && (*slots & bit(node->logicId)) == 0;
         node = node->parentNode) {
      *slots |= bit(node->logicId);
      ++count;
    }
  }
  return count;
}

int DareLogicConfig::get_select_fields(GrandMask fields, int* out) const {
  const std::vector<const Node*> nodes = nodes_of(this);
  // For each node, the given fields below it.
  std::vector<GrandMask> below(nodes.size());
  for (std::size_t id = nodes.size(); id-- > 0;) {
    if (nodes[id]->nodeType == FIELD) below[id] = fields & bit(static_cast<int>(id));
    if (id > 0) below[static_cast<std::size_t>(nodes[id]->parentNode->logicId)] |= below[id];
  }
  int count = 0;
  for (const Node* leaf : nodes) {
    if (leaf->nodeType != FIELD) continue;
    bool isFree = true;
    for (const Node* node = leaf; node->parentNode != nullptr; node = node->parentNode) {
      const Node* parent = node->parentNode;
      const GrandMask others =
          below[static_cast<std::size_t>(parent->logicId)] & ~below[static_cast<std::size_t>(node->logicId)];
      if (parent->nodeType == OR && others != 0) isFree = false;
    }
    if (!isFree) continue;
    if (out != nullptr) out[count] = leaf->logicId;
    ++count;
  }
  return count;
}

/// The set of an inner node from those of its children.
GrandMask DareLogicConfig::combine(const Node* node, DastInfoList* lists, GrandMask restricted,
                                   Large num_records, AceAttach* at) const {
  std::vector<DastInfoList*> parts;
  for (const Node* child = node->firstChild; child != nullptr; child = child->nextNode)
    if (child->logicId < MAX_NODES && (restricted & bit(child->logicId)) != 0)
      parts.push_back(&lists[child->logicId]);
  DastInfoList& list = lists[node->logicId];
  if (parts.empty()) {
    list.reset();
    return restricted & ~bit(node->logicId);
  }
  const int count = static_cast<int>(parts.size());
  if (node->nodeType == NOT)
    list = *DastInfoList::invert(parts[0], num_records, at);
  else if (node->nodeType == AND)
    list = *DastInfoList::intersect_lists(count, parts.data(), at);
  else
    list = *DastInfoList::union_lists(count, parts.data(), at);
  return restricted | bit(node->logicId);
}

GrandMask DareLogicConfig::combine_above(int slot, DastInfoList* lists, GrandMask restricted,
                                         Large num_records, AceAttach* at) const {
  for (const Node* node = find_node(slot)->parentNode; node != nullptr; node = node->parentNode)
    restricted = combine(node, lists, restricted, num_records, at);
  return restricted;
}

GrandMask DareLogicConfig::select(DastInfoList* lists, GrandMask restricted, Large num_records,
                                  AceAttach* at) const {
  const std::vector<const Node*> nodes = nodes_of(this);
  for (std::size_t id = nodes.size(); id-- > 0;)  // children come behind their parents
    if (nodes[id]->nodeType != FIELD) restricted = combine(nodes[id], lists, restricted, num_records, at);
  return restricted;
}

GrandMask DareLogicConfig::narrow(int slot, const DastInfoList* hits, DastInfoList* lists,
                                  GrandMask restricted, Large num_records, AceAttach* at) const {
  const Node* leaf = slot >= 0 && slot < MAX_NODES ? find_node(slot) : nullptr;
  if (leaf == nullptr || leaf->nodeType != FIELD) return restricted;
  if ((restricted & bit(slot)) != 0)
    lists[slot].intersect_with(hits, at);
  else
    lists[slot] = DastInfoList(*hits, at);
  return combine_above(slot, lists, restricted | bit(slot), num_records, at);
}

GrandMask DareLogicConfig::release(int slot, DastInfoList* lists, GrandMask restricted, Large num_records,
                                   AceAttach* at) const {
  const Node* leaf = slot >= 0 && slot < MAX_NODES ? find_node(slot) : nullptr;
  if (leaf == nullptr || leaf->nodeType != FIELD) return restricted;
  lists[slot].reset();
  return combine_above(slot, lists, restricted & ~bit(slot), num_records, at);
}
