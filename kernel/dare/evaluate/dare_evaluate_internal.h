/// The parts of an evaluation (dare_evaluate.h).
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <vector>

#include "ace/ace_timer.h"
#include "dare/dare_evaluate.h"

#include "dare/evaluate/dare_hit_table_internal.h"
#include "dare/evaluate/dare_qual_collector_internal.h"

/// A field that takes part. Values are doubled.
struct DareEvaluate::EvalField {
  DareField* field = nullptr;
  int logicId = -1;
  int weight = 0;
  int column = -1;  // in the signature; -1 without graph
  bool isPrimaryOnly = false;
  bool isCacheReevalOnly = false;
  bool isSecondary = false;
  bool isFilter = false;
  bool isDeepened = false;   // what a deeper look-up lists counts as listed
  bool isExclusive = false;  // a miss excludes the record: neither OR nor NOT is above
  int primaryOnlyValue = 0;
  int baseValue = 0;              // at most, until it is known
  int collectValue = 0;           // the same in a collection
  std::array<int, 256> values{};  // by quality
  struct RatedCand {
    int quality;
    const TeraCand* cand;
  };
  // What counts as listed, best quality first, so that the best of a record stays.
  std::vector<RatedCand> cands;
  VInt numHits = 0;  // of them
  void list_cands();
  /// Whether a value means that the record is no answer.
  bool excludes(int value) const { return isExclusive && value <= excludedValue; }
  int excludedValue = 0;
};

/// What all parts share.
struct DareEvaluate::Shared {
  Shared(int distance, int wanted, bool counts, double limit)
      : answers(distance, wanted, counts), evalTimer("EVALUATE_LIMIT"), runLimit(limit) {
    evalTimer.start();
  }
  /// Whether the time is over; looks at the clock every `CHECK_STEPS` calls.
  bool is_over(VInt* steps) {
    if (isBroken.load(std::memory_order_relaxed)) return true;
    if (++*steps % CHECK_STEPS != 0) return false;
    return check_time();
  }
  bool check_time();

  static constexpr VInt CHECK_STEPS = 1000;
  QualCandCollector answers;
  AceTimer evalTimer;
  double runLimit;
  bool isEndless = false;
  std::atomic<bool> isBroken = false;
};

/// Records that wait for refinement, by the quality of their bound, and the states that they are in.
class DareEvaluate::HitSlotsHeap {
 public:
  struct Element {
    Large record;
    int state;
  };

  explicit HitSlotsHeap(int num_values) : numValues(static_cast<std::size_t>(num_values)) {}
  /// A copy of the values of the slots. Returns the state.
  int add_state(const int* slot_values) {
    slots.insert(slots.end(), slot_values, slot_values + numValues);
    return static_cast<int>(slots.size() / numValues) - 1;
  }
  const int* get_slots(int state) const { return &slots[static_cast<std::size_t>(state) * numValues]; }
  void add(int bucket, Element element) { buckets[static_cast<std::size_t>(bucket)].push_back(element); }
  std::vector<Element>& get_bucket(int bucket) { return buckets[static_cast<std::size_t>(bucket)]; }

 private:
  std::size_t numValues;
  std::vector<int> slots;
  std::array<std::vector<Element>, QualCandCollector::NUM_QUALITIES> buckets;
};

/// One part of the records, with its own fields, so that caches and counters belong to one thread.
struct DareEvaluate::EvalData {
  EvalData(int num_values, int num_exact) : heap(num_values), working(num_values), exact(num_exact) {}

  int minimum = 0;  // quality from which on records are collected
  Large fromRecord = 0;
  Large toRecord = 0;
  std::vector<DareField*> fields;  // by position in evalFields
  std::vector<std::unique_ptr<DareField>> clones;
  HitSlotsHeap heap;
  std::vector<int> working;  // slot values of the record at hand
  std::vector<int> exact;
  VInt steps = 0;
  VInt numIterations = 0;
};
