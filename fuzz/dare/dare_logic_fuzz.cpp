// Hostile combinations: the first byte chooses permissive parsing and the plus weight, the second how many of
// the bytes behind are updates (field, value); the rest is the text. What is accepted is copied, flattened
// and evaluated; the order of updates must not matter. Paths: every operator, deep nesting, more than 128
// nodes, compression, every kind of node.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"
#include "dare/dare_logic_eval.h"
#include "support/fuzz_input.h"

namespace {

using fuzz::require;

using Update = std::pair<int, int>;

std::vector<int> values_after(const DareLogicEval& eval, const std::vector<Update>& updates) {
  std::vector<int> values(static_cast<size_t>(eval.get_num_values()));
  eval.init_slots(values.data());
  for (const auto& [id, value] : updates) eval.update_leaf(values.data(), id, value);
  return values;
}

void evaluate(const DareLogicConfig& config, std::vector<Update> updates, bool compress) {
  DareLogicEval eval;
  eval.build(&config, ~GrandMask{0});
  if (compress) eval.do_path_compression();
  for (int id = 0; id < DareLogicConfig::MAX_NODES; ++id)
    eval.init_slot(id, id % 3 == 0 ? id * 2 : 0, id % 7, {.hasQuery = id % 5 != 0});
  int total = 0;
  eval.calc_node_weights(&total);
  eval.compute_reeval_order();
  // One update a field, in two orders, and behind others that they replace.
  std::stable_sort(updates.begin(), updates.end(), [](auto& a, auto& b) { return a.first < b.first; });
  updates.erase(
      std::unique(updates.begin(), updates.end(), [](auto& a, auto& b) { return a.first == b.first; }),
      updates.end());
  const std::vector<int> values = values_after(eval, updates);
  std::vector<Update> turned;
  for (const auto& [id, value] : updates) turned.emplace_back(id, 255 - value);
  turned.insert(turned.end(), updates.rbegin(), updates.rend());
  require(values_after(eval, turned) == values);
  require(eval.choose_reeval_field(values.data()) < DareLogicConfig::MAX_NODES);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  AceReporter::null()->set_as_default();
  if (size < 3 || size > 5000) return 0;
  const size_t numUpdates = std::min<size_t>(data[1], (size - 2) / 2);
  std::vector<Update> updates;
  for (size_t i = 0; i < numUpdates; ++i) updates.emplace_back(data[2 + 2 * i], data[3 + 2 * i] - 1);
  const std::string text(reinterpret_cast<const char*>(data) + 2 + 2 * numUpdates, size - 2 - 2 * numUpdates);
  DareLogicConfig config;
  config.set_plus_weight(data[0] % 101);
  if (config.parse(text.c_str(), data[0] >= 128, AceReporter::null()) < 0) {
    require(config.get_num_slots() == 0);
    return 0;
  }
  const DareLogicConfig copy(&config);
  std::vector<const char*> names(static_cast<size_t>(copy.get_num_slots()));
  const int numFields = copy.get_logic_fields(names.data());
  require(numFields > 0);
  for (int i = 0; i < numFields; ++i) require(copy.get_logic_id(names[static_cast<size_t>(i)]) >= 0);
  evaluate(copy, updates, data[0] % 2 == 0);
  return 0;
}
