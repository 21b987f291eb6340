#include "dare/logic/dare_logic_parser_internal.h"

#include <cstring>

#include "ace/ace_error.h"

namespace {

constexpr const char* BLANKS = " \t\r\n";
constexpr const char* NAME_ENDS = "(),&|:";

bool is_one_of(char c, const char* chars) {
  return c != 0 && std::strchr(chars, c) != nullptr;
}

}  // namespace

void DareLogicParser::skip_blanks() {
  next += std::strspn(next, BLANKS);
}

int DareLogicParser::fail(const char* expected) const {
  const auto pos = static_cast<long>(next - logicText) - (isPermissive ? 1 : 0);  // of the caller's text
  if (*next == 0)
    aceRep->printf("Logic string '%s': expected %s, found the end at position %ld\n", logicText, expected,
                   pos);
  else
    aceRep->printf("Logic string '%s': expected %s, found '%c' at position %ld\n", logicText, expected, *next,
                   pos);
  return -1;
}

int DareLogicParser::parse(Node* root) {
  Node* operand = root;
  while (operand != nullptr) {
    // Down to a name: each '(' and '!' opens a node whose first child comes next.
    for (Node* child = operand; child != nullptr; child = open_operand(child)) operand = child;
    const bool isLeaf = operand->nodeType == DareLogicConfig::FIELD;
    if ((isLeaf ? close_operands(&operand) : fail("a field name, '!' or '('")) < 0) {
      if (!openNodes.empty())
        ace_error_msg(__FILE__, __LINE__, "consumed = parse_recursive(child, next, permissive, rep)", -1);
      return -1;
    }
  }
  skip_blanks();
  return *next == 0 ? 0 : fail("the end");
}

/// Up through the negations and groups that end with an operand. Stores the node for the next operand of the
/// group that goes on; null when none is open any more. Returns 0 or -1.
int DareLogicParser::close_operands(Node** operand) {
  for (*operand = nullptr; !openNodes.empty(); openNodes.pop_back()) {
    Open* open = &openNodes.back();
    if (!open->isGroup) continue;
    skip_blanks();
    if (*next != ')') {
      *operand = continue_group(open);
      return *operand != nullptr ? 0 : -1;
    }
    ++next;
    collapse(open->node);
  }
  return 0;
}

/// Reads the start of an operand into `node`. Returns the child that comes next; null at a name, or where
/// there is no operand.
DareLogicConfig::Node* DareLogicParser::open_operand(Node* node) {
  skip_blanks();
  if (*next == '(' || *next == '!') {
    const bool isGroup = *next++ == '(';
    if (!isGroup) node->nodeType = DareLogicConfig::NOT;
    openNodes.push_back({node, isGroup, false, node});
    return logicConfig->new_child(node);
  }
  if (*next != 0 && !is_one_of(*next, NAME_ENDS)) read_name(node);
  return nullptr;
}

void DareLogicParser::read_name(Node* node) {
  const char* start = next;
  next += std::strcspn(next, NAME_ENDS);
  const char* end = next;
  while (is_one_of(end[-1], BLANKS)) --end;
  node->nodeType = DareLogicConfig::FIELD;
  node->fieldName = logicConfig->memAt.attach(start, end - start);
}

/// Reads an operator. Returns the child for the operand behind it; null on errors.
DareLogicConfig::Node* DareLogicParser::continue_group(Open* group) {
  if (!is_one_of(*next, "&|:")) {
    fail("'&', '|', ':' or ')'");
    return nullptr;
  }
  if (set_type(group, *next) < 0) return nullptr;
  ++next;
  return logicConfig->new_child(group->parent);
}

int DareLogicParser::set_type(Open* group, char op) {
  const int type = op == '&'   ? DareLogicConfig::AND
                   : op == '|' ? DareLogicConfig::OR
                               : DareLogicConfig::PLUS_OR;
  const bool isPlus = group->parent != group->node;
  if (!group->isTyped && op == ':') {
    make_plus(group);
  } else if (group->isTyped && group->parent->nodeType != type) {
    if (!isPermissive || isPlus || op == ':') {
      aceRep->printf(
          "Type of node changed while parsing logic string '%s'. Please check your logic string.\n",
          logicText);
      return -1;
    }
    group->node->nodeType = type;
  } else {
    group->parent->nodeType = type;
  }
  group->isTyped = true;
  return 0;
}

/// The node becomes a PLUS_AND; a PLUS_OR between takes over its children.
void DareLogicParser::make_plus(Open* group) {
  Node* outer = group->node;
  const Node children = *outer;
  outer->firstChild = outer->lastChild = nullptr;
  outer->numChildren = 0;
  outer->nodeType = DareLogicConfig::PLUS_AND;
  outer->fieldName = "<PLUS_AND>";
  Node* inner = logicConfig->new_child(outer);
  inner->nodeType = DareLogicConfig::PLUS_OR;
  inner->fieldName = "<PLUS_OR>";
  inner->firstChild = children.firstChild;
  inner->lastChild = children.lastChild;
  inner->numChildren = children.numChildren;
  group->parent = inner;
}

/// A node of one child becomes that child, unless the two mean something together.
void DareLogicParser::collapse(Node* node) {
  if (node->numChildren != 1 || node->nodeType == DareLogicConfig::PLUS_AND ||
      node->nodeType == DareLogicConfig::NOT)
    return;
  Node* sibling = node->nextNode;
  *node = *node->firstChild;
  node->nextNode = sibling;
}
