// From bounds of records to their qualities, the most promising first.
#include <algorithm>

#include "ace/ace_time_analysis.h"

#include "dare/evaluate/dare_evaluate_internal.h"

void DareEvaluate::evaluate_intervals(EvalData* part) {
  const AceTimeSection section("EVALUATE_INTERVALS");
  for (int bucket = QualCandCollector::NUM_QUALITIES - 1; bucket >= shared->answers.get_minimum(); --bucket) {
    // What is put back comes into a bucket below.
    for (const HitSlotsHeap::Element& element : part->heap.get_bucket(bucket)) {
      if (shared->is_over(&part->steps)) return;
      if (bucket < shared->answers.get_minimum()) return;
      simple_reeval(part, element.record, element.state, bucket);
    }
    part->heap.get_bucket(bucket) = {};
  }
}

/// The doubled value of a field on a record.
int DareEvaluate::reeval_value(EvalData* part, const EvalField& eval, Large record) const {
  if (eval.isPrimaryOnly) return eval.primaryOnlyValue;
  const auto index = static_cast<std::size_t>(&eval - evalFields.data());
  const int quality = part->fields[index]->record_quality(record, eval.isCacheReevalOnly);
  return quality < 0 ? eval.primaryOnlyValue : eval.values[static_cast<std::size_t>(std::min(quality, 255))];
}

/// Whether a record of which all but the secondary fields are known may be an answer.
bool DareEvaluate::passes_without_secondary(EvalData* part) const {
  const int minimum = finalResult->get_min_value();
  for (const EvalField& eval : evalFields) {
    const int value = eval.isSecondary
                          ? eval.collectValue
                          : part->working[static_cast<std::size_t>(boundLogic.get_slot_of(eval.logicId))];
    part->exact[static_cast<std::size_t>(evalLogic.get_slot_of(eval.logicId))] = value / 2;
  }
  return evalLogic.evaluate(part->exact.data()) >= minimum * totalWeight;
}

/// The quality of a record of which all fields are known.
int DareEvaluate::final_quality(EvalData* part) const {
  for (const EvalField& eval : evalFields) {
    const int slot = evalLogic.get_slot_of(eval.logicId);
    part->exact[static_cast<std::size_t>(slot)] =
        part->working[static_cast<std::size_t>(boundLogic.get_slot_of(eval.logicId))] / 2;
  }
  const int total = evalLogic.evaluate(part->exact.data());
  return total < 0 ? -1 : std::min(total / totalWeight, 255);
}

void DareEvaluate::simple_reeval(EvalData* part, Large record, int state, int bucket) {
  const int* const known = part->heap.get_slots(state);
  std::copy(known, known + boundLogic.get_num_values(), part->working.begin());
  int* const values = part->working.data();
  ++part->numIterations;
  for (int lid = boundLogic.choose_reeval_field(values); lid >= 0;
       lid = boundLogic.choose_reeval_field(values)) {
    const EvalField& eval = evalFields[static_cast<std::size_t>(logicToField[static_cast<std::size_t>(lid)])];
    if (eval.isSecondary && !passes_without_secondary(part)) return;
    const int value = reeval_value(part, eval, record);
    if (eval.excludes(value)) return;
    boundLogic.update_leaf(values, lid, value);
    const int total = boundLogic.get_total_value(values);
    if (total < shared->answers.get_minimum() * totalWeight * 2) return;
    const int next = std::min(total / (2 * totalWeight), 255);
    if (next < bucket) {
      part->heap.add(next, {record, part->heap.add_state(values)});
      return;
    }
  }
  const int quality = final_quality(part);
  if (quality >= shared->answers.get_minimum()) shared->answers.add(quality, record);
}

int DareEvaluate::init_scores() {
  shared = std::make_unique<Shared>(255, 1, false, 0);
  if (prepare() == 0) return -1;
  optimize_logic();
  if (totalWeight <= 0) return -1;
  scored = std::make_unique<EvalData>(boundLogic.get_num_values(), evalLogic.get_num_values());
  for (const EvalField& eval : evalFields) scored->fields.push_back(eval.field);
  return 0;
}

int DareEvaluate::score(Large record) {
  for (const EvalField& eval : evalFields) {
    int quality = eval.field->listed_quality(record);
    if (quality < 0 && !eval.isPrimaryOnly)
      quality = eval.field->record_quality(record, eval.isCacheReevalOnly);
    const int value =
        quality < 0 ? eval.primaryOnlyValue : eval.values[static_cast<std::size_t>(std::min(quality, 255))];
    if (eval.excludes(value)) return -1;
    scored->working[static_cast<std::size_t>(boundLogic.get_slot_of(eval.logicId))] = value;
  }
  return final_quality(scored.get());
}
