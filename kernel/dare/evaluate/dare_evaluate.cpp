// Preparation, the driver and the end; see dare_collect.cpp and dare_refine.cpp.
#include "dare/dare_evaluate.h"

#include <algorithm>
#include <future>
#include <limits>
#include <string>
#include <system_error>
#include <unordered_set>

#include "ace/ace_reporter.h"
#include "ace/ace_thread.h"
#include "ace/ace_time_analysis.h"
#include "ace/ace_tracer.h"
#include "dare/dare_session_field.h"
#include "dast/dast_base_field_recall.h"
#include "dast/dast_base_recall.h"
#include "dast/dast_parallel_resource.h"
#include "tera/tera_result.h"

#include "dare/evaluate/dare_evaluate_internal.h"

namespace {

constexpr int PERFECT = 255;
/// Hits from which on a deeper look-up costs less than the refinement that it saves, and the least quality of
/// it.
constexpr VInt LEAST_HITS = 1000;
constexpr int LEAST_LISTED = 110;
/// As many answers are looked for among the records that several fields have found.
constexpr int MOST_BEST = 20;

/// Calls `work(i)` for `i` from 0 to `count` - 1, each by a thread of its own; this one does the first, and
/// those for which the system gives no thread.
void in_threads(int count, const auto& work) {
  std::vector<std::future<void>> others;
  const auto start = [&](int i) {
    others.push_back(std::async(std::launch::async, [&work, i] {
      const AceThreadSafe registered;
      work(i);
    }));
  };
  int next = 1;
  try {
    for (; next < count; ++next) start(next);
  } catch (const std::system_error&) {
  }
  if (count > 0) work(0);
  for (; next < count; ++next) work(next);
  for (auto& other : others) other.get();
}

}  // namespace

DareEvaluate::DareEvaluate(TeraResult* result, int num_fields, DareField** fields,
                           const DareLogicConfig* logic, int has_abstraction, const DastInfoList* context,
                           GrandMask filters, bool represent_hits)
    : finalResult(result),
      numFields(num_fields),
      dareFields(fields),
      logicConfig(logic),
      hasAbstraction(has_abstraction != 0),
      contextList(context),
      filterFields(filters),
      representHits(represent_hits) {}

DareEvaluate::~DareEvaluate() = default;

void DareEvaluate::init_parallel_parts(const DastBaseRecall* base) {
  // Each part collects for itself, so there are no more of them than both steps may have.
  const int parts = std::max(1, std::min(DastParallelResource::get_multifield_eval_parts(),
                                         DastParallelResource::get_multifield_collect_parts()));
  partOffsets.resize(static_cast<std::size_t>(parts) + 1);
  base->get_record_ranges(parts, partOffsets.data());
}

bool DareEvaluate::is_broken() const {
  return shared != nullptr && shared->isBroken;
}

bool DareEvaluate::Shared::check_time() {
  if (isEndless || evalTimer.get_sec() < runLimit) return isBroken;
  if (!isBroken.exchange(true))
    AceReporter::use_default()->ev_wprintf("Breaking evaluation of query. Time limit has been reached.");
  return true;
}

// ---------------------------------------------------------------- preparation
// Each queried field gets a column of the hit table, and a leaf of the logic that says what it adds.

/// Whether more than what the index lists at first may count.
bool DareEvaluate::can_deepen(const EvalField& eval) {
  return !eval.isPrimaryOnly && !eval.isCacheReevalOnly && !eval.isSecondary;
}

void DareEvaluate::prepare_field(int index) {
  DareField* const field = dareFields[index];
  if (field == nullptr || field->inhibitEval || field->logicId < 0 ||
      field->logicId >= DareLogicConfig::MAX_NODES || field->get_weight() <= 0)
    return;
  const bool hasGraph = field->get_graph() != nullptr;
  if (!hasGraph && !field->has_compare()) return;
  EvalField eval;
  eval.field = field;
  eval.logicId = field->logicId;
  eval.weight = field->get_weight();
  const ReevalMode mode = field->get_reeval_mode();
  eval.isPrimaryOnly = mode == ReevalMode::PRIMARY_ONLY || !field->has_compare();
  eval.isCacheReevalOnly = mode == ReevalMode::CACHED;
  eval.isSecondary = !hasGraph;
  eval.isDeepened = usesDeeper && field->is_deepened() && can_deepen(eval);
  eval.isFilter = index < 128 && (filterFields >> index & 1) != 0;
  evalFields.push_back(eval);
}

const DareLogicConfig::Node* DareEvaluate::leaf_of(int logic_id) const {
  auto iter = logicConfig->get_node_iter();
  const DareLogicConfig::Node* node = iter.next();
  while (node != nullptr && node->logicId != logic_id) node = iter.next();
  return node;
}

/// Whether hits speak against a record: one that only this field has found is no answer.
bool DareEvaluate::takes_away(const EvalField& eval) const {
  bool is_against = eval.values.back() < eval.values.front();
  for (const auto* node = leaf_of(eval.logicId); node != nullptr; node = node->parentNode)
    if (node->nodeType == DareLogicConfig::NOT) is_against = !is_against;
  return is_against;
}

/// Whether all of a leaf's ancestors need it.
bool DareEvaluate::is_exclusive(int logic_id) const {
  for (const auto* node = leaf_of(logic_id); node != nullptr; node = node->parentNode)
    if (node->nodeType == DareLogicConfig::OR || node->nodeType == DareLogicConfig::NOT) return false;
  return true;
}

int DareEvaluate::prepare() {
  const AceTimeSection section("PREPARE_EVALUATION");
  for (int i = 0; i < numFields; ++i) prepare_field(i);
  int columns = 0;
  for (EvalField& eval : evalFields) {
    totalWeight += eval.weight;  // for what a miss is worth; the logic says what counts
    if (!eval.isSecondary) eval.column = columns++;
  }
  const int excluded = -2 * PERFECT * totalWeight - 1;
  for (EvalField& eval : evalFields) {
    const auto value_of = [&](int reshaped) {
      return reshaped < 0 || (eval.isFilter && reshaped < 1) ? excluded : 2 * reshaped * eval.weight;
    };
    for (int quality = 0; quality <= PERFECT; ++quality)
      eval.values[static_cast<std::size_t>(quality)] = value_of(eval.field->reshape(quality));
    eval.primaryOnlyValue = eval.values[0];
    eval.excludedValue = excluded;
    eval.isExclusive = is_exclusive(eval.logicId);
    const auto odd = [excluded](int bound) {
      return bound == excluded ? excluded - 2 : bound + 1;
    };  // no exact value
    const int most = *std::max_element(eval.values.begin(), eval.values.end());
    const int bound = eval.isSecondary     ? most
                      : eval.isPrimaryOnly ? eval.primaryOnlyValue
                                           : value_of(eval.isDeepened ? eval.field->get_deep_base()
                                                                      : eval.field->get_base_value());
    eval.baseValue = odd(bound);
    eval.collectValue = eval.isSecondary ? odd(value_of(finalResult->get_min_value())) : eval.baseValue;
  }
  return static_cast<int>(evalFields.size());
}

void DareEvaluate::optimize_logic() {
  GrandMask used = 0;
  for (const EvalField& eval : evalFields) used |= GrandMask{1} << eval.logicId;
  boundLogic.build(logicConfig, used);
  collectLogic.build(logicConfig, used);
  evalLogic.build(logicConfig, used);
  logicToField.assign(DareLogicConfig::MAX_NODES, -1);
  for (std::size_t i = 0; i < evalFields.size(); ++i) {
    EvalField& eval = evalFields[i];
    DareLogicEval::FieldFlags flags;
    flags.hasQuery = true;
    flags.isSecondary = eval.isSecondary;
    flags.canCacheReeval = !eval.isSecondary && (eval.isCacheReevalOnly || eval.isPrimaryOnly);
    flags.canArrayReeval = true;
    flags.hasResult = !eval.isSecondary;
    boundLogic.init_slot(eval.logicId, eval.baseValue, 2 * eval.weight, flags);
    collectLogic.init_slot(eval.logicId, eval.collectValue, 2 * eval.weight, flags);
    evalLogic.init_slot(eval.logicId, 0, eval.weight, flags);
    logicToField[static_cast<std::size_t>(eval.logicId)] = static_cast<int>(i);
    if (boundLogic.get_slot(boundLogic.get_slot_of(eval.logicId)).baseValue != 0) continue;
    // Below a NOT 0 stands for what is not known; a known 0 is -1, which counts as much.
    std::replace(eval.values.begin(), eval.values.end(), 0, -1);
    if (eval.primaryOnlyValue == 0) eval.primaryOnlyValue = -1;
  }
  int doubled = 0;
  totalWeight = 0;
  boundLogic.calc_node_weights(&doubled);
  collectLogic.calc_node_weights(&doubled);
  evalLogic.calc_node_weights(&totalWeight);
  boundLogic.compute_reeval_order();
}

// ---------------------------------------------------------------- bounds
// What a field does not list is at most its bound; as long as that could lift a record over the minimum,
// more has to be looked up.

/// Whether one field alone can bring a record to the minimum, when the others are worth at most `quality`.
bool DareEvaluate::is_reached_alone(int quality) const {
  std::vector<int> values(static_cast<std::size_t>(evalLogic.get_num_values()));
  for (const EvalField& alone : evalFields) {
    for (const EvalField& eval : evalFields) {
      const bool isBound = &eval != &alone && !eval.isPrimaryOnly && !eval.isSecondary;
      const int value = isBound ? eval.values[static_cast<std::size_t>(quality)]
                                : *std::max_element(eval.values.begin(), eval.values.end());
      values[static_cast<std::size_t>(evalLogic.get_slot_of(eval.logicId))] = value / 2;
    }
    if (evalLogic.evaluate(values.data()) >= finalResult->get_min_value() * totalWeight) return true;
  }
  return false;
}

/// Records that one field has found are most of those to be refined, where what the others do not list may
/// still bring them to the minimum. Then the fields list more: that is looked up in a fraction of the time
/// that the refinement takes. The answers are the same, so it is not done where records that no field has
/// found at first could reach the minimum.
bool DareEvaluate::deepen_fields() {
  VInt hits = 0;
  for (const EvalField& eval : evalFields) hits += eval.numHits;
  static const AceTraceFlag always("DEEPEN_ALWAYS", __FILE__, __LINE__);
  if (evalFields.size() < 2 || (hits < LEAST_HITS && always.get() == 0)) return false;
  std::vector<int> values(static_cast<std::size_t>(collectLogic.get_num_values()));
  collectLogic.init_slots(values.data());
  if (collectLogic.get_total_value(values.data()) >= finalResult->get_min_value() * totalWeight * 2)
    return false;
  int quality = LEAST_LISTED;
  for (int step = 64; step > 0; step /= 2)
    if (quality + step < finalResult->get_min_value() && !is_reached_alone(quality + step)) quality += step;
  if (is_reached_alone(quality)) return false;
  std::vector<DareField*> fields;
  for (const EvalField& eval : evalFields)
    if (can_deepen(eval)) fields.push_back(eval.field);
  return deepen_fields_down_to(quality + 1, fields);
}

/// By as many threads as there are parts, where methods allow it; each takes the next field when it is done
/// with one.
bool DareEvaluate::deepen_fields_down_to(int quality, const std::vector<DareField*>& fields) {
  std::atomic<std::size_t> next = 0;
  std::atomic<bool> isDeepened = false;
  const bool isParallel = std::all_of(fields.begin(), fields.end(), [](const DareField* field) {
    return field->get_base_field()->is_parallelizable();
  });
  in_threads(isParallel ? std::min(get_num_parts(), static_cast<int>(fields.size())) : 1, [&](int) {
    for (std::size_t i = next++; i < fields.size(); i = next++)
      if (fields[i]->deepen(quality, AceReporter::null())) isDeepened = true;
  });
  return isDeepened;
}

/// What a record that one field has found is worth at most, doubled. `values` has room for those of the
/// slots.
int DareEvaluate::value_alone(const EvalField& field, int* values) const {
  const auto [least, most] = std::minmax_element(field.values.begin() + 1, field.values.end());
  int total = std::numeric_limits<int>::min();
  for (const int value : {*least, *most}) {  // below a NOT the least is the best
    collectLogic.init_slots(values);
    collectLogic.update_leaf(values, field.logicId, value);
    total = std::max(total, collectLogic.get_total_value(values));
  }
  return total;
}

// ---------------------------------------------------------------- the driver
// A part is a range of records with a state of its own; parts share the threshold, which only rises.

int DareEvaluate::do_evaluation(double run_limit) {
  const AceTimeSection section("MULTI_FIELD_EVALUATION");
  if (partOffsets.size() < 2) return -1;
  shared = std::make_unique<Shared>(finalResult->get_max_dist(), finalResult->get_num_cands(),
                                    !hasAbstraction, run_limit);
  static const AceTraceFlag infinite("INFINITE_REFINEMENT", __FILE__, __LINE__);
  shared->isEndless = infinite.get() != 0;
  shared->check_time();
  if (!prepare_listed()) return 0;
  if (!evaluate_best()) {
    usesDeeper = deepen_fields();
    if (usesDeeper) {
      evalFields.clear();
      totalWeight = 0;
      prepare_listed();
    }
    if (evalLogic.get_num_slots() == 0 || totalWeight <= 0) return 0;
    evaluate_parts(finalResult->get_min_value());
  }
  finish_evaluation();
  return 0;
}

bool DareEvaluate::prepare_listed() {
  if (prepare() == 0) return false;
  for (EvalField& eval : evalFields) eval.list_cands();
  optimize_logic();
  return true;
}

/// Few answers are mostly records that several fields have found. So these are looked at first, from the
/// quality on that no field reaches alone: they are a hundredth of what has been found, and no deeper look-up
/// is needed. Whether they are all that was asked for.
bool DareEvaluate::evaluate_best() {
  if (finalResult->get_num_cands() > MOST_BEST || totalWeight <= 0) return false;
  std::vector<int> values(static_cast<std::size_t>(collectLogic.get_num_values()));
  int alone = 0;
  for (const EvalField& eval : evalFields) {
    if (eval.isSecondary) return false;  // a record that is not worth collecting may become perfect
    alone = std::max(alone, value_alone(eval, values.data()));
  }
  const int minimum = alone / (2 * totalWeight) + 1;
  if (minimum <= finalResult->get_min_value() || minimum > PERFECT) return false;
  evaluate_parts(minimum);
  return shared->isBroken || shared->answers.is_complete();
}

/// Collects and refines the records that may have at least this quality.
void DareEvaluate::evaluate_parts(int minimum) {
  shared->answers.start(minimum);
  const int numParts = get_num_parts();
  std::vector<std::unique_ptr<EvalData>> parts;
  for (int i = 0; i < numParts; ++i) {
    parts.push_back(std::make_unique<EvalData>(boundLogic.get_num_values(), evalLogic.get_num_values()));
    EvalData& part = *parts.back();
    part.minimum = minimum;
    part.fromRecord = std::max<Large>(partOffsets[static_cast<std::size_t>(i)], 1);  // record 0 is none
    part.toRecord = std::max(partOffsets[static_cast<std::size_t>(i) + 1], part.fromRecord);
    for (const EvalField& eval : evalFields) {
      if (i > 0) part.clones.push_back(eval.field->clone());
      part.fields.push_back(i > 0 ? part.clones.back().get() : eval.field);
    }
  }
  in_threads(numParts, [&](int part) { run_part(parts[static_cast<std::size_t>(part)].get()); });
  for (const auto& part : parts) {
    numIterations += part->numIterations;
    for (std::size_t i = 0; i < part->clones.size(); ++i)
      evalFields[i].field->merge_eval(part->clones[i].get());
  }
}

void DareEvaluate::run_part(EvalData* part) {
  push_and_collect(part);
  evaluate_intervals(part);
}

// ---------------------------------------------------------------- the end
// All parts have ended: what remains is merged, without duplicates, and becomes candidates.

void DareEvaluate::finish_evaluation() {
  const AceTimeSection section("FINISH_EVALUATION");
  if (representHits || hasAbstraction) return add_represented();
  for (int quality = PERFECT; quality >= shared->answers.get_minimum() && quality >= 0; --quality) {
    const std::vector<Large>& records = shared->answers.get_records(quality);
    if (records.empty()) continue;
    Large* copy = nullptr;
    finalResult->malloc(copy, static_cast<long>(records.size()));
    std::copy(records.begin(), records.end(), copy);
    const char* const label = finalResult->attach(std::to_string(quality).c_str());
    finalResult->add(quality, new TeraCand(label, static_cast<Large>(records.size()), copy));
  }
}

/// A candidate for each record, with what the fields show of it; with abstraction for each such string, the
/// best and then the lowest record.
void DareEvaluate::add_represented() {
  std::unordered_set<std::string> seen;
  for (int quality = PERFECT; quality >= shared->answers.get_minimum() && quality >= 0; --quality)
    for (const Large record : shared->answers.get_records(quality)) {
      std::string shown;
      for (int i = 0; representHits && i < numFields; ++i) {
        if (dareFields[i] == nullptr || (displayFields >> i & 1) == 0) continue;
        const char* const text = dareFields[i]->string_cache(record, dareFields[i]->get_display());
        if (!shown.empty()) shown += fieldSep;
        shown += text != nullptr ? text : "";
      }
      if (hasAbstraction && !seen.insert(shown).second) continue;
      if (!finalResult->accept(quality)) return;
      finalResult->add(quality, new TeraCand(finalResult->attach(shown.c_str()), record));
    }
}
