// From the hits of the fields to bounds of records.
#include <algorithm>

#include "ace/ace_time_analysis.h"
#include "dast/dast_base_field_recall.h"
#include "dast/dast_info_list.h"
#include "tera/tera_cand.h"

#include "dare/evaluate/dare_evaluate_internal.h"

namespace {

struct RatedCand {
  int quality;
  const TeraCand* cand;
};

// Most candidates have a few records, each of them a line of memory that is in no cache: they are fetched
// while the candidates before are pushed, and the lists of records before them.
constexpr std::size_t LISTS_AHEAD = 8;
constexpr std::size_t RECORDS_AHEAD = 4;
constexpr Large MAX_FETCHED = 8;  // of one candidate
constexpr std::size_t HITS_AHEAD = 16;

}  // namespace

/// Notes the hits of all fields in a table, and puts the records into the heap by their bounds.
class DareEvaluate::Collector {
 public:
  Collector(DareEvaluate* evaluate, EvalData* part, int start_threshold)
      : itsEvaluate(evaluate), itsPart(part), startThreshold(start_threshold) {
    int columns = 0;
    for (const EvalField& field : evaluate->evalFields) columns += field.column >= 0 ? 1 : 0;
    table->init(part->fromRecord, part->toRecord, columns);
    if (evaluate->contextList != nullptr) allow_context();
  }

  void push_hitlist(const EvalField& field, const DareField* graph, bool is_essential);
  void collect();

 private:
  using Word = DareHitTable::Word;

  void allow_context();
  void prefetch(const TeraCand* cand) const;
  void push_candidate(const DastBaseFieldRecall* field, const RatedCand& rated, bool is_essential);
  template <bool adds, bool limited>
  void push_list(const DastInfoList& list, Word quality);
  template <bool adds, bool limited>
  void push_range(Large from, Large to, Word quality);
  std::size_t find_place(const Word* words) const;
  void grow_places();
  int state_of(const Word* words);
  int value_signature(const DareLogicEval& logic, const Word* words);
  int add_state(const Word* words);

  DareEvaluate* itsEvaluate;
  EvalData* itsPart;
  int startThreshold;
  HitTableRef table;
  AceAttach listAt;
  int word = 0;
  int shift = 0;

  // States of the heap, which has no others yet, by signature: open addressing, -1 for free places.
  std::vector<Word> signatures;
  std::vector<int> stateBuckets;  // by state; -1: below the threshold
  std::vector<int> statePlaces = std::vector<int>(256, -1);
};

void DareEvaluate::Collector::allow_context() {
  table->restrict_records();
  DastInfoList list(*itsEvaluate->contextList);
  list.ensure_no_reference(&listAt);
  const auto infos = list.get_infos();
  if (list.get_type() == DastInfoList::FROM_TO) {
    for (std::size_t i = 0; i + 1 < infos.size(); i += 2) table->allow(infos[i], infos[i + 1]);
  } else {
    for (const Large record : infos)
      if (record >= table->get_first() && record < table->get_end()) table->allow(record, record + 1);
  }
}

template <bool adds, bool limited>
void DareEvaluate::Collector::push_range(Large from, Large to, Word quality) {
  for (Large record = std::max(from, table->get_first()); record < std::min(to, table->get_end()); ++record)
    table->hit<adds, limited>(record, word, shift, quality);
}

template <bool adds, bool limited>
void DareEvaluate::Collector::push_list(const DastInfoList& list, Word quality) {
  const auto infos = list.get_infos();
  const Large* const refs = list.get_refs();
  switch (list.get_type()) {
    case DastInfoList::SINGLE: {
      const auto begin = std::lower_bound(infos.begin(), infos.end(), table->get_first());
      const auto end = std::lower_bound(begin, infos.end(), table->get_end());
      for (auto info = begin; info != end; ++info) table->hit<adds, limited>(*info, word, shift, quality);
      break;
    }
    case DastInfoList::FROM_TO:
      for (std::size_t i = 0; i + 1 < infos.size(); i += 2)
        push_range<adds, limited>(infos[i], infos[i + 1], quality);
      break;
    case DastInfoList::REFERENCE:
      for (const Large entry : infos) push_range<adds, limited>(refs[entry], refs[entry + 1], quality);
      break;
    case DastInfoList::NOT_USED:
      break;
  }
}

void DareEvaluate::Collector::push_candidate(const DastBaseFieldRecall* field, const RatedCand& rated,
                                             bool is_essential) {
  if (rated.cand->get_num_infos() == 0) return;
  DastInfoList list;
  if (field != nullptr && field->has_intervals()) {
    list = *field->get_info_list(rated.cand, &listAt);
  } else {
    list = DastInfoList(rated.cand);
    if (rated.cand->get_shift() != 0) list.apply_offset(rated.cand->get_shift(), &listAt);
  }
  const auto quality = static_cast<Word>(std::clamp(rated.quality, 1, 255));
  if (is_essential)
    table->is_limited() ? push_list<true, true>(list, quality) : push_list<true, false>(list, quality);
  else
    push_list<false, false>(list, quality);
}

void DareEvaluate::Collector::prefetch(const TeraCand* cand) const {
  const Large* const infos = cand->get_infos();
  for (Large i = 0; i < std::min(cand->get_num_infos(), MAX_FETCHED); ++i)
    table->prefetch(infos[i] + static_cast<Large>(cand->get_shift()));
}

/// The hits of a field, best quality first, so that the best of a record stays.
void DareEvaluate::Collector::push_hitlist(const EvalField& field, const DareField* graph,
                                           bool is_essential) {
  if (field.column < 0) return;
  word = field.column / DareHitTable::COLUMNS_PER_WORD;
  shift = field.column % DareHitTable::COLUMNS_PER_WORD * 8;
  std::vector<RatedCand> cands;
  field.for_each_cand(graph, [&](int quality, const TeraCand* cand) { cands.push_back({quality, cand}); });
  std::stable_sort(cands.begin(), cands.end(),
                   [](const auto& a, const auto& b) { return a.quality > b.quality; });
  for (std::size_t i = 0; i < cands.size(); ++i) {
    if (itsEvaluate->shared->is_over(&itsPart->steps)) return;
    if (i + LISTS_AHEAD < cands.size()) __builtin_prefetch(cands[i + LISTS_AHEAD].cand->get_infos());
    if (i + RECORDS_AHEAD < cands.size()) prefetch(cands[i + RECORDS_AHEAD].cand);
    push_candidate(graph->get_base_field(), cands[i], is_essential);
  }
}

/// The total of a signature; `working` has the values of the slots.
int DareEvaluate::Collector::value_signature(const DareLogicEval& logic, const Word* words) {
  int* const values = itsPart->working.data();
  logic.init_slots(values);
  for (const EvalField& field : itsEvaluate->evalFields) {
    if (field.column < 0) {
      if (field.excludes(field.collectValue)) return field.excludedValue;
      continue;
    }
    const Word quality = words[field.column / DareHitTable::COLUMNS_PER_WORD] >>
                             (field.column % DareHitTable::COLUMNS_PER_WORD * 8) &
                         0xFF;
    if (field.excludes(quality > 0 ? field.values[quality] : field.baseValue)) return field.excludedValue;
    if (quality > 0) logic.update_leaf(values, field.logicId, field.values[quality]);
  }
  return logic.get_total_value(values);
}

/// What records of a signature are worth at most.
int DareEvaluate::Collector::add_state(const Word* words) {
  const bool is_collected = value_signature(itsEvaluate->collectLogic, words) >= startThreshold;
  const int total = value_signature(itsEvaluate->boundLogic, words);
  stateBuckets.push_back(is_collected ? std::min(total / (2 * itsEvaluate->totalWeight), 255) : -1);
  return itsPart->heap.add_state(itsPart->working.data());
}

/// Where a signature is, or the free place for it.
std::size_t DareEvaluate::Collector::find_place(const Word* words) const {
  const auto num_words = static_cast<std::size_t>(table->get_num_words());
  Word hash = 0;
  for (std::size_t i = 0; i < num_words; ++i) hash = (hash ^ words[i]) * 0x9E3779B97F4A7C15U;
  hash ^= hash >> 32;
  for (;; ++hash) {
    const std::size_t place = hash & (statePlaces.size() - 1);
    const int state = statePlaces[place];
    if (state < 0) return place;
    const Word* const known = &signatures[static_cast<std::size_t>(state) * num_words];
    std::size_t same = 0;  // one or two words: no call to compare them
    while (same < num_words && known[same] == words[same]) ++same;
    if (same == num_words) return place;
  }
}

void DareEvaluate::Collector::grow_places() {
  statePlaces.assign(statePlaces.size() * 4, -1);
  const auto num_words = static_cast<std::size_t>(table->get_num_words());
  for (std::size_t state = 0; state < stateBuckets.size(); ++state)
    statePlaces[find_place(&signatures[state * num_words])] = static_cast<int>(state);
}

int DareEvaluate::Collector::state_of(const Word* words) {
  const std::size_t place = find_place(words);
  if (statePlaces[place] >= 0) return statePlaces[place];
  signatures.insert(signatures.end(), words, words + table->get_num_words());
  const int state = add_state(words);
  statePlaces[place] = state;
  if (stateBuckets.size() * 2 > statePlaces.size()) grow_places();
  return state;
}

void DareEvaluate::Collector::collect() {
  const std::vector<Large>& hits = table->get_hits();
  for (std::size_t i = 0; i < hits.size(); ++i) {
    if (i + HITS_AHEAD < hits.size()) table->prefetch(hits[i + HITS_AHEAD]);
    const Large record = hits[i];
    const int state = state_of(table->get_words(record));
    const int bucket = stateBuckets[static_cast<std::size_t>(state)];
    if (bucket >= 0) itsPart->heap.add(bucket, {record, state});
  }
}

/// Fields that may bring a record to the threshold on their own: of those with the most hits as many as
/// possible may not.
std::vector<int> DareEvaluate::essential_fields(int threshold) const {
  std::vector<std::pair<VInt, int>> by_cost;
  for (std::size_t i = 0; i < evalFields.size(); ++i) {
    if (evalFields[i].column < 0) continue;
    VInt hits = 0;
    evalFields[i].for_each_cand(evalFields[i].field,
                                [&hits](int, const TeraCand* cand) { hits += cand->get_num_infos(); });
    by_cost.emplace_back(-hits, static_cast<int>(i));
  }
  std::sort(by_cost.begin(), by_cost.end());
  std::vector<int> values(static_cast<std::size_t>(collectLogic.get_num_values()));
  collectLogic.init_slots(values.data());
  std::vector<int> essential;
  for (const auto& [cost, index] : by_cost) {
    const EvalField& eval = evalFields[static_cast<std::size_t>(index)];
    const std::vector<int> before = values;
    collectLogic.update_leaf(values.data(), eval.logicId,
                             *std::max_element(eval.values.begin(), eval.values.end()));
    if (collectLogic.get_total_value(values.data()) < collectLogic.get_total_value(before.data()))
      values = before;  // below a NOT hits only take away
    if (collectLogic.get_total_value(values.data()) < threshold) continue;
    values = before;
    essential.push_back(index);
  }
  return essential;
}

void DareEvaluate::push_and_collect(EvalData* part) {
  const AceTimeSection section("PUSH_COLLECT");
  // Doubled; a record of which nothing is known is no answer, however good it may be.
  const int cur_threshold = finalResult->get_min_value() * totalWeight * 2;
  collectLogic.init_slots(part->working.data());
  const int nothing = collectLogic.get_total_value(part->working.data());
  const int threshold = nothing >= cur_threshold ? nothing + 1 : cur_threshold;
  Collector collector(this, part, threshold);
  const std::vector<int> essential = essential_fields(threshold);
  const auto push = [&](int index, bool is_essential) {
    const EvalField& eval = evalFields[static_cast<std::size_t>(index)];
    collector.push_hitlist(eval, part->fields[static_cast<std::size_t>(index)], is_essential);
  };
  for (const int index : essential) push(index, true);
  for (int i = 0; i < static_cast<int>(evalFields.size()); ++i)
    if (std::find(essential.begin(), essential.end(), i) == essential.end()) push(i, false);
  collector.collect();
}
