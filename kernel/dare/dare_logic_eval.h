/// Evaluation of a combination: what a record is worth, updated field by field.
///
/// The tree of a `DareLogicConfig`, as far as the fields in use need it, in slots: children are consecutive,
/// and behind their parent. One evaluator serves any number of records: the values of a record lie with the
/// caller, one int a slot, and one more as marker.
///
///     slot            0 AND      1 OR     2 c      3 a      4 b        marker
///     weight            30        20       10       10       20
///     values of       6,100     5,100    1,000     2,550    3,000        0
///     a record
///
/// The value of a field is its quality, 0 to 255, times its weight. So is that of every node: a tree of
/// perfect fields is worth 255 times its weight. With W the weight of a node:
///
///     AND        sum of the values of its children
///     OR         largest of W x value / weight of the children that count; 0 when none does
///     NOT        255 x W - value; 255 x W for a negative value
///     PLUS_OR    the same as OR, for the W of its PLUS_AND
///     PLUS_AND   ((100 - p) x (W x sum of values / sum of weights) + p x value of its PLUS_OR) / 100, over
///     the
///                children of its PLUS_OR that count, p the plus weight
///
/// Divisions truncate. A leaf counts when it has a query (in an OR also when it is set), an inner node when
/// it has a weight. Products are exact; sums fit an int, since weights are at most 32,767.
///
/// A field is set while its value differs from its base value, which stands for a field that is not evaluated
/// yet. A value that equals the base value is stored as one more, so that it is told apart; the quality of an
/// answer is capped at 255 by who makes it.
///
/// Order of calls: `build`, `init_slot` for each field, `calc_node_weights`, `compute_reeval_order`; then,
/// for each record, `init_slots` and updates.
///
/// Errors: -1 for ids without slot.
/// Thread safety: once made ready, one evaluator may work on different records in any number of threads.
/// Cost: an update walks from the leaf to the top; an OR or plus group looks at all its children, without
/// branches or divisions.
#pragma once

#include <cstdio>
#include <memory>
#include <vector>

#include "ace/ace_types.h"
#include "dare/dare_logic.h"

class SORV_API DareLogicEval {
 public:
  static constexpr int MAX_QUALITY = 255;
  static constexpr int MAX_WEIGHT = 32767;

  enum SlotOptions : int {
    HAS_QUERY = 1,
    HAS_INTERVALS = 2,
    CAN_ARRAY_REEVAL = 4,
    CAN_METHOD_REEVAL = 8,
    IS_SECONDARY = 16,
    IS_PRIMARY = 32,
    HAS_RESULT = 64,
    IS_REEVAL_ALWAYS = 128,
    IS_CACHE_REEVAL = 256,
  };

  struct Slot {
    int nodeType = DareLogicConfig::INVALID;
    int logicId = -1;
    int numChildren = 0;
    int firstChild = -1;
    int parentSlot = -1;  ///< -1 for the top, and for slots that compression has emptied
    int baseValue = 0;
    int slotOpts = 0;
    int nodeWeight = 0;
  };

  /// What is known of a field before any record is.
  struct FieldFlags {
    bool isSecondary = false;
    bool hasQuery = false;
    bool hasIntervals = false;
    bool canCacheReeval = false;
    bool canArrayReeval = false;
    bool canMethodReeval = false;
    bool hasResult = false;
    bool isReevalAlways = false;
  };

  /// Lays out slots for the leaves in the mask and the nodes above them. Returns the number of slots.
  int build(const DareLogicConfig* config, GrandMask fields);
  std::unique_ptr<DareLogicEval> clone() const { return std::make_unique<DareLogicEval>(*this); }
  /// Takes AND nodes of one child out of the walk to the top; their slots stay, empty, with type INVALID.
  /// Before `init_slot`. Returns the number of slots in use.
  int do_path_compression();

  /// Base value: 0 below a NOT. Returns 0; -1 for an id without the slot of a field, and for weights outside
  /// of 0 .. MAX_WEIGHT.
  int init_slot(int logic_id, int base_value, int weight, const FieldFlags& flags);
  /// Computes the weights of all nodes, adds that of the top to `total`, and readies `init_slots`. Returns
  /// it.
  int calc_node_weights(int* total);
  /// Fixes the order of `choose_reeval_field` and `get_next_sec_only`.
  void compute_reeval_order();

  int get_num_slots() const { return numSlots; }
  /// Slots in use before compression.
  int get_num_unoptimized() const { return numUnoptimized; }
  /// Ints of the values of a record, marker included.
  int get_num_values() const { return numSlots + 1; }
  const Slot& get_slot(int slot) const { return slotArray[static_cast<std::size_t>(slot)]; }
  /// -1 when there is none.
  int get_slot_of(int logic_id) const;

  // One record: `values` has `get_num_values()` elements.

  /// The values of a record of which nothing is known.
  void init_slots(int* values) const;
  /// Sets a field to `value` (quality times weight; negative for a miss), and all above it. Returns 0 or -1.
  int update_leaf(int* values, int logic_id, int value) const;
  /// Back to the base value.
  int reset_leaf(int* values, int logic_id) const;
  /// Resets the fields without intervals, whose hits are single records.
  void reset_singles(int* values) const;
  /// Resets the fields that are always re-evaluated, and sets the marker.
  void reset_secondary_only(int* values) const;
  int get_total_value(const int* values) const { return values[0]; }
  /// Sets all inner nodes from fields whose slots the caller has filled with exact values: none of them is
  /// told apart from its base value. Returns the total.
  int evaluate(int* values) const;
  /// 0 for an id without slot.
  int get_val_by_logic_id(const int* values, int logic_id) const;
  bool slot_is_set(int slot, const int* values) const { return values[slot] != get_slot(slot).baseValue; }

  /// The first field in the order that is not set; -1 when all are.
  int choose_reeval_field(const int* values) const;
  /// The same of those that are always re-evaluated. When all are set: -1 or, with the marker, -2.
  int get_next_sec_only(const int* values) const;
  /// Logic ids, best first, and -1.
  const std::vector<int>& get_reeval_order() const { return reevalOrder; }
  const std::vector<int>& get_reeval_always_order() const { return reevalAlwaysOrder; }

  // Pictures. `values` may be null.

  /// Writes "record_<record>.dot", and "record_<record>.sh" that draws it, into the working folder. Returns
  /// 0; -1 when a file cannot be written.
  int graphviz(int record, const int* values) const;
  void graphviz_write(std::FILE* file, const int* values) const;

 private:
  /// What turns the value of a child of an OR into the share of its parent: value x weight / own.
  struct Share {
    double inverse = 1;  ///< of `own`
    int weight = 0;      ///< of the parent; 0 when the child has none itself
    int own = 1;
    int uncounted = -1;  ///< a value that does not count, as nothing was asked; -1 for none
  };

  Slot& slot_at(int slot) { return slotArray[static_cast<std::size_t>(slot)]; }
  int field_slot(int logic_id) const;
  bool is_below_not(int slot) const;
  bool has_weight(const Slot& slot) const;
  int node_weight(int slot);
  void set_leaf(int* values, int slot, int value) const;
  void update_parents(int* values, int child, int old_value) const;
  void init_shares(int parent, int weight);
  int best_share(const int* values, const Slot& parent) const;
  int update_plus_and(const int* values, int parent) const;
  int recompute_plus_node(int* values, int plus_or) const;
  int computed_value(const int* values, int slot) const;
  std::vector<int> ordered_fields(bool always) const;

  int maxLogicId = -1;
  int numSlots = 0;
  std::vector<Slot> slotArray;
  std::vector<Share> shares;       // by slot
  std::vector<int> childWeights;   // by slot: sum of the weights of a plus group
  std::vector<int> logicToSlot;    // by logic id; -1 when there is none
  std::vector<int> initialValues;  // of `init_slots`
  int numUnoptimized = 0;
  int plusWeight = DareLogicConfig::DEFAULT_PLUS_WEIGHT;
  std::vector<int> reevalOrder = {-1};
  std::vector<int> reevalAlwaysOrder = {-1};
};
