/// The parser of combinations (dare_logic.h has the syntax). Groups and negations that are open wait on a
/// stack of their own, so that nesting costs memory and no stack.
#pragma once

#include <vector>

#include "ace/ace_reporter.h"

#include "dare/dare_logic.h"

class DareLogicParser {
 public:
  DareLogicParser(DareLogicConfig* config, const char* logic, bool permissive, AceReporter* rep)
      : logicConfig(config), logicText(logic), next(logic), isPermissive(permissive), aceRep(rep) {}

  /// Parses the text below the root. Returns 0 or -1.
  int parse(DareLogicConfig::Node* root);

 private:
  using Node = DareLogicConfig::Node;

  /// What waits for the end of an operand.
  struct Open {
    Node* node;
    bool isGroup;  // else a negation
    bool isTyped;  // an operator was read
    Node* parent;  // of the operands: the node, or its PLUS_OR
  };

  void skip_blanks();
  int fail(const char* expected) const;
  Node* open_operand(Node* node);
  int close_operands(Node** operand);
  Node* continue_group(Open* group);
  int set_type(Open* group, char op);
  void make_plus(Open* group);
  void read_name(Node* node);
  static void collapse(Node* node);

  DareLogicConfig* logicConfig;
  const char* logicText;
  const char* next;
  bool isPermissive;
  AceReporter* aceRep;
  std::vector<Open> openNodes;
};
