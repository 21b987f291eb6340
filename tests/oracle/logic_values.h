/// Values and weights of a combination, recursively and without slots.
#pragma once

#include <algorithm>
#include <vector>

#include "dare/dare_logic.h"

namespace oracle {

using Config = DareLogicConfig;

/// What is known of a leaf.
struct LogicField {
  int weight = 0;
  int baseValue = 0;
  bool hasQuery = false;
  int value = 0;  // as stored
};

struct LogicValues {
  bool counts(const Config::Node* node, bool in_or) const {
    if (node->nodeType != Config::FIELD) return weight(node) > 0;
    const LogicField& field = fields[static_cast<std::size_t>(node->logicId)];
    return field.hasQuery || (in_or && field.value != field.baseValue);
  }
  long weight(const Config::Node* node) const {
    if (node->nodeType == Config::FIELD) return fields[static_cast<std::size_t>(node->logicId)].weight;
    const auto* parent = node->nodeType == Config::PLUS_AND ? node->firstChild : node;
    long sum = 0, count = 0, largest = 0;
    for (const auto* child = parent->firstChild; child != nullptr; child = child->nextNode) {
      if (!counts(child, false)) continue;
      sum += weight(child);
      largest = std::max(largest, weight(child));
      ++count;
    }
    if (node->nodeType == Config::AND) return sum;
    if (node->nodeType != Config::PLUS_AND) return largest;
    return count == 0 ? 0 : ((100 - plusWeight) * (sum / count) + plusWeight * largest) / 100;
  }
  long best(const Config::Node* node, long own) const {
    long best = 0;
    for (const auto* child = node->firstChild; child != nullptr; child = child->nextNode)
      if (counts(child, true) && weight(child) > 0) best = std::max(best, value(child) * own / weight(child));
    return best;
  }
  long value(const Config::Node* node) const {
    switch (node->nodeType) {
      case Config::FIELD:
        return fields[static_cast<std::size_t>(node->logicId)].value;
      case Config::NOT:
        return 255 * weight(node) - std::max(0L, value(node->firstChild));
      case Config::OR:
        return best(node, weight(node));
      case Config::PLUS_OR:
        return best(node, weight(node->parentNode));
      case Config::PLUS_AND: {
        long sum = 0, weights = 0;
        for (const auto* child = node->firstChild->firstChild; child != nullptr; child = child->nextNode) {
          if (!counts(child, false)) continue;
          sum += value(child);
          weights += weight(child);
        }
        if (weights == 0) return 0;
        return ((100 - plusWeight) * (weight(node) * sum / weights) + plusWeight * value(node->firstChild)) /
               100;
      }
      default: {
        long sum = 0;
        for (const auto* child = node->firstChild; child != nullptr; child = child->nextNode)
          sum += value(child);
        return sum;
      }
    }
  }
  std::vector<LogicField> fields;  // by logic id
  int plusWeight = 50;
};

}  // namespace oracle
