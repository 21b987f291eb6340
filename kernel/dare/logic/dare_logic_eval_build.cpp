#include <algorithm>
#include <string>
#include <tuple>

#include "ace/ace_file.h"

#include "dare/dare_logic_eval.h"

// How an evaluator comes to be: slots, weights, order of re-evaluation, pictures.

namespace {

using Config = DareLogicConfig;
using Slot = DareLogicEval::Slot;
using FileHandle = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// Fields whose weights differ by no more are alike in weight.
constexpr int LIKE_WEIGHTS = 10;

const char* label_of(int type) {
  switch (type) {
    case Config::FIELD:
      return "FIELD";
    case Config::AND:
      return "AND";
    case Config::OR:
      return "OR";
    case Config::PLUS_OR:
    case Config::PLUS_AND:
      return "HALF_OR";
    case Config::NOT:
      return "NOT";
    default:
      return "INVALID";
  }
}

}  // namespace

// ---------------------------------------------------------------- slots

int DareLogicEval::build(const DareLogicConfig* config, GrandMask fields) {
  *this = DareLogicEval();
  plusWeight = config->get_plus_weight();
  GrandMask needed = 0;
  numSlots = numUnoptimized = config->get_slots_needed(fields, &needed);
  maxLogicId = std::min(config->get_num_slots(), Config::MAX_NODES) - 1;
  logicToSlot.assign(static_cast<std::size_t>(maxLogicId + 1), -1);
  childWeights.assign(static_cast<std::size_t>(numSlots), 0);
  initialValues.assign(static_cast<std::size_t>(get_num_values()), 0);
  if (numSlots == 0) return 0;
  // Level by level, so that children are consecutive.
  std::vector<const Config::Node*> nodes = {config->get_root()};
  slotArray.emplace_back();
  for (int slot = 0; slot < numSlots; ++slot) {
    const Config::Node* node = nodes[static_cast<std::size_t>(slot)];
    slot_at(slot).nodeType = node->nodeType;
    slot_at(slot).logicId = node->logicId;
    slot_at(slot).firstChild = static_cast<int>(slotArray.size());
    logicToSlot[static_cast<std::size_t>(node->logicId)] = slot;
    for (const auto* child = node->firstChild; child != nullptr; child = child->nextNode) {
      if (child->logicId >= Config::MAX_NODES || (needed >> child->logicId & 1) == 0) continue;
      nodes.push_back(child);
      slotArray.emplace_back();
      slotArray.back().parentSlot = slot;
      ++slot_at(slot).numChildren;
    }
  }
  return numSlots;
}

int DareLogicEval::do_path_compression() {
  int numUsed = numSlots;
  for (int slot = 0; slot < numSlots; ++slot) {
    while (get_slot(slot).nodeType == Config::AND && get_slot(slot).numChildren == 1) {
      // The child moves up into the slot and leaves its own empty.
      const int child = get_slot(slot).firstChild;
      logicToSlot[static_cast<std::size_t>(get_slot(slot).logicId)] = -1;
      const int parent = get_slot(slot).parentSlot;
      slot_at(slot) = get_slot(child);
      slot_at(slot).parentSlot = parent;
      slot_at(child) = Slot();
      logicToSlot[static_cast<std::size_t>(get_slot(slot).logicId)] = slot;
      for (int i = 0; i < get_slot(slot).numChildren; ++i)
        slot_at(get_slot(slot).firstChild + i).parentSlot = slot;
      --numUsed;
    }
  }
  return numUsed;
}

bool DareLogicEval::is_below_not(int slot) const {
  while (slot >= 0 && get_slot(slot).nodeType != Config::NOT) slot = get_slot(slot).parentSlot;
  return slot >= 0;
}

int DareLogicEval::init_slot(int logic_id, int base_value, int weight, const FieldFlags& flags) {
  const int slot = field_slot(logic_id);
  if (slot < 0 || weight < 0 || weight > MAX_WEIGHT) return -1;
  slot_at(slot).baseValue = is_below_not(slot) ? 0 : base_value;
  slot_at(slot).nodeWeight = weight;
  slot_at(slot).slotOpts =
      (flags.isSecondary ? IS_SECONDARY : 0) | (flags.hasQuery ? HAS_QUERY : 0) |
      (flags.hasIntervals ? HAS_INTERVALS : 0) | (flags.canCacheReeval ? IS_CACHE_REEVAL : 0) |
      (flags.canArrayReeval ? CAN_ARRAY_REEVAL : 0) | (flags.canMethodReeval ? CAN_METHOD_REEVAL : 0) |
      (flags.hasResult ? HAS_RESULT : 0) | (flags.isReevalAlways ? IS_REEVAL_ALWAYS : 0);
  return 0;
}

// ---------------------------------------------------------------- weights

/// The weight of an inner node, whose children have theirs.
int DareLogicEval::node_weight(int slot) {
  const Slot& node = get_slot(slot);
  if (node.nodeType == Config::INVALID) return -1;
  const Slot& counted = node.nodeType == Config::PLUS_AND ? get_slot(node.firstChild) : node;
  VInt sum = 0;
  int count = 0;
  int largest = 0;
  for (int child = counted.firstChild; child < counted.firstChild + counted.numChildren; ++child) {
    if (!has_weight(get_slot(child))) continue;
    sum += get_slot(child).nodeWeight;
    largest = std::max(largest, get_slot(child).nodeWeight);
    ++count;
  }
  if (node.nodeType == Config::AND) return static_cast<int>(sum);
  if (node.nodeType != Config::PLUS_AND) return largest;
  childWeights[static_cast<std::size_t>(slot)] = static_cast<int>(sum);
  if (count == 0) return 0;
  return static_cast<int>(((100 - plusWeight) * (sum / count) + VInt{plusWeight} * largest) / 100);
}

/// A field without a query counts when it is set; an inner node when it has a weight.
void DareLogicEval::init_shares(int parent, int weight) {
  for (int i = 0; i < get_slot(parent).numChildren; ++i) {
    const Slot& child = get_slot(get_slot(parent).firstChild + i);
    Share& share = shares[static_cast<std::size_t>(get_slot(parent).firstChild + i)];
    const bool maySet = has_weight(child) || child.nodeType == Config::FIELD;
    share.weight = maySet && child.nodeWeight > 0 ? weight : 0;
    share.own = std::max(child.nodeWeight, 1);
    share.inverse = 1.0 / share.own;
    share.uncounted = has_weight(child) ? -1 : child.baseValue;
  }
}

int DareLogicEval::calc_node_weights(int* total) {
  for (int slot = numSlots; slot-- > 0;)  // children come behind their parents
    if (get_slot(slot).nodeType != Config::FIELD) slot_at(slot).nodeWeight = node_weight(slot);
  shares.assign(static_cast<std::size_t>(numSlots), Share());
  for (int slot = 0; slot < numSlots; ++slot) {
    if (get_slot(slot).nodeType == Config::OR) init_shares(slot, get_slot(slot).nodeWeight);
    if (get_slot(slot).nodeType == Config::PLUS_OR)
      init_shares(slot, get_slot(get_slot(slot).parentSlot).nodeWeight);
  }
  for (int slot = numSlots; slot-- > 0;)
    initialValues[static_cast<std::size_t>(slot)] = get_slot(slot).nodeType == Config::FIELD
                                                        ? get_slot(slot).baseValue
                                                        : computed_value(initialValues.data(), slot);
  const int weight = numSlots > 0 ? get_slot(0).nodeWeight : 0;
  if (weight > 0) *total += weight;
  return weight;
}

// ---------------------------------------------------------------- order of re-evaluation

/// Classes by what costs least to evaluate. In a class the heaviest field, with all that are about as heavy,
/// by base value; then the heaviest of the rest, and so on.
std::vector<int> DareLogicEval::ordered_fields(bool always) const {
  std::vector<Slot> fields;
  for (const Slot& slot : slotArray)
    if (slot.nodeType == Config::FIELD && ((slot.slotOpts & IS_REEVAL_ALWAYS) != 0) == always)
      fields.push_back(slot);
  const auto cost_class = [](const Slot& slot) {
    return std::tuple((slot.slotOpts & HAS_INTERVALS) == 0, (slot.slotOpts & IS_CACHE_REEVAL) == 0,
                      (slot.slotOpts & IS_SECONDARY) != 0, (slot.slotOpts & CAN_ARRAY_REEVAL) == 0);
  };
  std::sort(fields.begin(), fields.end(), [&](const Slot& a, const Slot& b) {
    return std::tuple(cost_class(a), -a.nodeWeight, a.logicId) <
           std::tuple(cost_class(b), -b.nodeWeight, b.logicId);
  });
  for (auto start = fields.begin(); start != fields.end();) {
    const auto end = std::find_if(start, fields.end(), [&](const Slot& slot) {
      return cost_class(slot) != cost_class(*start) || start->nodeWeight - slot.nodeWeight > LIKE_WEIGHTS;
    });
    std::sort(start, end, [](const Slot& a, const Slot& b) {
      return std::tuple(-VInt{a.baseValue}, a.logicId) < std::tuple(-VInt{b.baseValue}, b.logicId);
    });
    start = end;
  }
  std::vector<int> order;
  for (const Slot& slot : fields) order.push_back(slot.logicId);
  order.push_back(-1);
  return order;
}

void DareLogicEval::compute_reeval_order() {
  reevalOrder = ordered_fields(false);
  reevalAlwaysOrder = ordered_fields(true);
}

// ---------------------------------------------------------------- pictures

void DareLogicEval::graphviz_write(std::FILE* file, const int* values) const {
  std::fputs("digraph Boolean_Logic {\n", file);
  for (int i = 0; i < numSlots; ++i) {
    const Slot& slot = get_slot(i);
    std::fprintf(file, "%i [shape=box, label=\"%s/slot(%i)", i, label_of(slot.nodeType), i);
    if (slot.nodeType == Config::FIELD) std::fprintf(file, "/field(%i)", slot.logicId);
    if (values != nullptr && slot.nodeType != Config::INVALID) {
      std::fprintf(file, "/value(%i)", values[i]);
      if (slot.nodeType == Config::FIELD) std::fprintf(file, "/base-value(%i)", slot.baseValue);
      std::fprintf(file, "/weight(%i)", slot.nodeWeight);
    }
    std::fputs("\"];\n", file);
  }
  for (int i = 0; i < numSlots; ++i)
    if (get_slot(i).parentSlot >= 0) std::fprintf(file, "%i -> %i;\n", get_slot(i).parentSlot, i);
  std::fputs("}\n", file);
}

int DareLogicEval::graphviz(int record, const int* values) const {
  const std::string name = "record_" + std::to_string(record);
  const FileHandle dot(AceFile::open((name + ".dot").c_str(), "w"), &std::fclose);
  const FileHandle script(AceFile::open((name + ".sh").c_str(), "w"), &std::fclose);
  if (dot == nullptr || script == nullptr) return -1;
  graphviz_write(dot.get(), values);
  std::fprintf(script.get(), "dot -Tpng -O %s\n", (name + ".dot").c_str());
  return std::fflush(dot.get()) == 0 && std::fflush(script.get()) == 0 ? 0 : -1;
}
