/// Random combinations of fields, as trees and as the texts that stand for them.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "dare/dare_logic.h"

namespace support {

struct LogicTree {
  int type = DareLogicConfig::FIELD;
  std::string name;
  std::vector<LogicTree> children;
};

inline std::string text_of(const LogicTree& tree) {
  if (tree.type == DareLogicConfig::FIELD) return tree.name;
  if (tree.type == DareLogicConfig::NOT) return "!" + text_of(tree.children[0]);
  if (tree.type == DareLogicConfig::PLUS_AND) return text_of(tree.children[0]);
  const char* op = tree.type == DareLogicConfig::AND ? "&" : tree.type == DareLogicConfig::OR ? " | " : ":";
  std::string text = "(";
  for (const LogicTree& child : tree.children) text += (text.size() > 1 ? op : "") + text_of(child);
  return text + ")";
}

/// Fields are named f0, f1, ... from `num_fields` on.
inline LogicTree random_logic(std::mt19937* random, int depth, bool with_not, int* num_fields) {
  using Config = DareLogicConfig;
  LogicTree tree;
  if (depth == 0 || (*random)() % 4 == 0) {
    tree.name = "f" + std::to_string((*num_fields)++);
    return tree;
  }
  const unsigned kind = (*random)() % (with_not ? 4 : 3);
  if (kind == 3) {
    tree.type = Config::NOT;
    tree.children.push_back(random_logic(random, depth - 1, with_not, num_fields));
    return tree;
  }
  tree.type = kind == 0 ? Config::AND : kind == 1 ? Config::OR : Config::PLUS_OR;
  for (unsigned n = 2 + (*random)() % 3; n > 0; --n)
    tree.children.push_back(random_logic(random, depth - 1, with_not, num_fields));
  if (kind < 2) return tree;
  LogicTree outer;
  outer.type = Config::PLUS_AND;
  outer.children.push_back(std::move(tree));
  return outer;
}

}  // namespace support
