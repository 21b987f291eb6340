#include "dare/dare_logic_eval.h"

#include <algorithm>
#include <climits>

#include "ace/ace_tracer.h"

namespace {

using Config = DareLogicConfig;

/// Whether a change below a plus group goes up in two steps, its best field and then the group, in place of
/// computing both anew. The values are the same.
bool is_two_step() {
  static const AceTraceFlag twoStep("TWO_STEP_PLUS_LOGIC", __FILE__, __LINE__);
  return twoStep.get() != 0;
}

/// value / divisor, for a value from 0 to 2^53. The product with the inverse is off by less than one.
VInt quotient(VInt value, VInt divisor, double inverse) {
  const auto guess = static_cast<VInt>(static_cast<double>(value) * inverse);
  const VInt rest = value - guess * divisor;
  return guess + static_cast<VInt>(rest >= divisor) - static_cast<VInt>(rest < 0);
}

}  // namespace

// ---------------------------------------------------------------- values of nodes

bool DareLogicEval::has_weight(const Slot& slot) const {
  return slot.nodeType == Config::FIELD ? (slot.slotOpts & HAS_QUERY) != 0 : slot.nodeWeight > 0;
}

/// The largest share of the children that count.
int DareLogicEval::best_share(const int* values, const Slot& parent) const {
  VInt best = 0;
  for (int child = parent.firstChild; child < parent.firstChild + parent.numChildren; ++child) {
    const Share& share = shares[static_cast<std::size_t>(child)];
    const VInt weight = values[child] != share.uncounted ? share.weight : 0;
    best = std::max(best, quotient(weight * std::max(values[child], 0), share.own, share.inverse));
  }
  return static_cast<int>(std::min(best, VInt{INT_MAX}));
}

/// From the value of its PLUS_OR and the values below that.
int DareLogicEval::update_plus_and(const int* values, int parent) const {
  const Slot& slot = get_slot(parent);
  const Slot& inner = get_slot(slot.firstChild);
  const int sumOfWeights = childWeights[static_cast<std::size_t>(parent)];
  if (sumOfWeights <= 0) return 0;
  VInt sum = 0;
  for (int child = inner.firstChild; child < inner.firstChild + inner.numChildren; ++child)
    if (has_weight(get_slot(child))) sum += values[child];
  const VInt mean = slot.nodeWeight * sum / sumOfWeights;
  return static_cast<int>(((100 - plusWeight) * mean + VInt{plusWeight} * values[slot.firstChild]) / 100);
}

/// Both nodes of a plus group at once; returns the value of the outer one.
int DareLogicEval::recompute_plus_node(int* values, int plus_or) const {
  const Slot& inner = get_slot(plus_or);
  values[plus_or] = best_share(values, inner);
  return update_plus_and(values, inner.parentSlot);
}

/// The value of an inner node from those of all its children.
int DareLogicEval::computed_value(const int* values, int slot) const {
  const Slot& node = get_slot(slot);
  switch (node.nodeType) {
    case Config::AND: {
      VInt sum = 0;
      for (int child = node.firstChild; child < node.firstChild + node.numChildren; ++child)
        sum += values[child];
      return static_cast<int>(sum);
    }
    case Config::OR:
    case Config::PLUS_OR:
      return best_share(values, node);
    case Config::NOT:
      return node.nodeWeight * MAX_QUALITY - std::max(values[node.firstChild], 0);
    case Config::PLUS_AND:
      return update_plus_and(values, slot);
    default:
      return 0;
  }
}

int DareLogicEval::evaluate(int* values) const {
  for (int slot = numSlots - 1; slot >= 0; --slot)  // children lie behind their parents
    if (get_slot(slot).nodeType != Config::FIELD) values[slot] = computed_value(values, slot);
  return numSlots > 0 ? values[0] : 0;
}

// ---------------------------------------------------------------- updates of one record

void DareLogicEval::init_slots(int* values) const {
  std::copy(initialValues.begin(), initialValues.end(), values);
}

void DareLogicEval::update_parents(int* values, int child, int old_value) const {
  for (int parent = get_slot(child).parentSlot; parent >= 0; parent = get_slot(child).parentSlot) {
    const Slot& node = get_slot(parent);
    int value = 0;
    switch (node.nodeType) {
      case Config::AND:
        value = static_cast<int>(VInt{values[parent]} + values[child] - old_value);
        break;
      case Config::PLUS_OR:
        if (!is_two_step()) {
          value = recompute_plus_node(values, parent);
          parent = node.parentSlot;
          break;
        }
        [[fallthrough]];
      default:
        value = computed_value(values, parent);
    }
    old_value = values[parent];
    values[parent] = value;
    child = parent;
  }
}

void DareLogicEval::set_leaf(int* values, int slot, int value) const {
  const int old = values[slot];
  if (value == old) return;
  values[slot] = value;
  update_parents(values, slot, old);
}

int DareLogicEval::field_slot(int logic_id) const {
  const int slot = get_slot_of(logic_id);
  return slot >= 0 && get_slot(slot).nodeType == Config::FIELD ? slot : -1;
}

int DareLogicEval::update_leaf(int* values, int logic_id, int value) const {
  const int slot = field_slot(logic_id);
  if (slot < 0) return -1;
  set_leaf(values, slot, value == get_slot(slot).baseValue ? value + 1 : value);
  return 0;
}

int DareLogicEval::reset_leaf(int* values, int logic_id) const {
  const int slot = field_slot(logic_id);
  if (slot < 0) return -1;
  set_leaf(values, slot, get_slot(slot).baseValue);
  return 0;
}

void DareLogicEval::reset_singles(int* values) const {
  for (int slot = 0; slot < numSlots; ++slot)
    if (get_slot(slot).nodeType == Config::FIELD && (get_slot(slot).slotOpts & HAS_INTERVALS) == 0)
      set_leaf(values, slot, get_slot(slot).baseValue);
}

void DareLogicEval::reset_secondary_only(int* values) const {
  for (std::size_t i = 0; reevalAlwaysOrder[i] >= 0; ++i) reset_leaf(values, reevalAlwaysOrder[i]);
  values[numSlots] = 1;
}

int DareLogicEval::get_slot_of(int logic_id) const {
  return logic_id >= 0 && logic_id <= maxLogicId ? logicToSlot[static_cast<std::size_t>(logic_id)] : -1;
}

int DareLogicEval::get_val_by_logic_id(const int* values, int logic_id) const {
  const int slot = get_slot_of(logic_id);
  return slot >= 0 ? values[slot] : 0;
}

// ---------------------------------------------------------------- order of re-evaluation

int DareLogicEval::choose_reeval_field(const int* values) const {
  return *std::find_if(reevalOrder.begin(), reevalOrder.end() - 1,
                       [&](int id) { return !slot_is_set(get_slot_of(id), values); });
}

int DareLogicEval::get_next_sec_only(const int* values) const {
  const int id = *std::find_if(reevalAlwaysOrder.begin(), reevalAlwaysOrder.end() - 1,
                               [&](int field) { return !slot_is_set(get_slot_of(field), values); });
  return id < 0 && values[numSlots] != 0 ? -2 : id;
}
