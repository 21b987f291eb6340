// From the hits of the fields to bounds of records.
#include <algorithm>

#include "ace/ace_time_analysis.h"
#include "dast/dast_base_field_recall.h"
#include "dast/dast_info_list.h"
#include "tera/tera_cand.h"

#include "dare/evaluate/dare_evaluate_internal.h"

namespace {

// Lists of records are all over the memory: they are fetched while those before them are pushed.
constexpr std::size_t LISTS_AHEAD = 8;
constexpr std::size_t HITS_AHEAD = 16;
/// Records for each hit up to which it pays to look at all bits of records.
constexpr VInt RECORDS_A_HIT = 256;

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

  /// Notes which records are hit often enough, so that the others need not be pushed.
  void choose(const std::vector<int>& essential);
  /// `adds`: also to records that no field before has hit.
  void push_hitlist(const EvalField& field, bool adds);
  void collect();

 private:
  using Word = DareHitTable::Word;

  void allow_context();
  template <DareHitTable::Role role>
  void note_hitlist(const EvalField& field);
  DastInfoList list_of(const EvalField& field, const TeraCand* cand);
  template <class Visit>
  void visit_list(const DastInfoList& list, Visit visit) const;
  template <class Push>
  void for_each_list(const EvalField& field, Push push);
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
  bool isChosen = false;

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

/// Calls `visit(record)` for those of the part.
template <class Visit>
void DareEvaluate::Collector::visit_list(const DastInfoList& list, Visit visit) const {
  const auto infos = list.get_infos();
  const Large* const refs = list.get_refs();
  const auto visit_range = [&](Large from, Large to) {
    to = std::min(to, table->get_end());
    for (Large record = std::max(from, table->get_first()); record < to; ++record) visit(record);
  };
  switch (list.get_type()) {
    case DastInfoList::SINGLE: {
      const auto begin = std::lower_bound(infos.begin(), infos.end(), table->get_first());
      const auto end = std::lower_bound(begin, infos.end(), table->get_end());
      std::for_each(begin, end, visit);
      break;
    }
    case DastInfoList::FROM_TO:
      for (std::size_t i = 0; i + 1 < infos.size(); i += 2) visit_range(infos[i], infos[i + 1]);
      break;
    case DastInfoList::REFERENCE:
      for (const Large entry : infos) visit_range(refs[entry], refs[entry + 1]);
      break;
    case DastInfoList::NOT_USED:
      break;
  }
}

DastInfoList DareEvaluate::Collector::list_of(const EvalField& field, const TeraCand* cand) {
  const DastBaseFieldRecall* const base_field = field.field->get_base_field();
  if (base_field != nullptr && base_field->has_intervals()) return *base_field->get_info_list(cand, &listAt);
  DastInfoList list(cand);
  if (cand->get_shift() != 0) list.apply_offset(cand->get_shift(), &listAt);
  return list;
}

/// Calls `push(list, quality)` for the hits of a field.
template <class Push>
void DareEvaluate::Collector::for_each_list(const EvalField& field, Push push) {
  const auto& cands = field.cands;
  for (std::size_t i = 0; i < cands.size(); ++i) {
    if (itsEvaluate->shared->is_over(&itsPart->steps)) return;
    if (i + LISTS_AHEAD < cands.size()) __builtin_prefetch(cands[i + LISTS_AHEAD].cand->get_infos());
    if (cands[i].cand->get_num_infos() == 0) continue;
    push(list_of(field, cands[i].cand), static_cast<Word>(std::clamp(cands[i].quality, 1, 255)));
  }
}

void DareEvaluate::Collector::push_hitlist(const EvalField& field, bool adds) {
  const int word = field.column / DareHitTable::COLUMNS_PER_WORD;
  const int shift = field.column % DareHitTable::COLUMNS_PER_WORD * 8;
  const auto push = [&](auto hit) {
    for_each_list(field, [&](const DastInfoList& list, Word quality) {
      visit_list(list, [&](Large record) { hit(record, quality); });
    });
  };
  if (isChosen)
    push([&](Large record, Word quality) { table->hit_chosen(record, word, shift, quality); });
  else if (!adds)
    push([&](Large record, Word quality) { table->hit<false, false>(record, word, shift, quality); });
  else if (table->is_limited())
    push([&](Large record, Word quality) { table->hit<true, true>(record, word, shift, quality); });
  else
    push([&](Large record, Word quality) { table->hit<true, false>(record, word, shift, quality); });
}

template <DareHitTable::Role role>
void DareEvaluate::Collector::note_hitlist(const EvalField& field) {
  for_each_list(field, [this](const DastInfoList& list, Word) {
    visit_list(list, [this](Large record) { table->note<role>(record); });
  });
}

void DareEvaluate::Collector::choose(const std::vector<int>& essential) {
  VInt hits = 0;
  GrandMask alone = 0;
  GrandMask used = 0;
  for (const EvalField& field : itsEvaluate->evalFields) hits += field.numHits;
  for (const int index : essential) {
    used |= GrandMask{1} << index;
    const EvalField& field = itsEvaluate->evalFields[static_cast<std::size_t>(index)];
    if (itsEvaluate->value_alone(field, itsPart->working.data()) >= startThreshold)
      alone |= GrandMask{1} << index;
  }
  const auto records = static_cast<VInt>(itsPart->toRecord - itsPart->fromRecord) *
                       (static_cast<VInt>(itsEvaluate->partOffsets.size()) - 1);
  if (alone == used || hits * RECORDS_A_HIT < records) return table->start_all();
  isChosen = true;
  table->start_choice();
  for (const int index : essential) {
    const EvalField& field = itsEvaluate->evalFields[static_cast<std::size_t>(index)];
    (alone >> index & 1) != 0 ? note_hitlist<DareHitTable::ALONE>(field)
                              : note_hitlist<DareHitTable::ESSENTIAL>(field);
  }
  for (std::size_t i = 0; i < itsEvaluate->evalFields.size(); ++i)
    if ((used >> i & 1) == 0) note_hitlist<DareHitTable::OPTIONAL>(itsEvaluate->evalFields[i]);
  table->end_choice();
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
    if (!isChosen && i + HITS_AHEAD < hits.size()) table->prefetch(hits[i + HITS_AHEAD]);
    const int state = state_of(table->get_words(i));
    const int bucket = stateBuckets[static_cast<std::size_t>(state)];
    if (bucket >= 0) itsPart->heap.add(bucket, {hits[i], state});
  }
}

void DareEvaluate::EvalField::list_cands() {
  const auto list = [this](int quality, const TeraCand* cand) {
    cands.push_back({quality, cand});
    numHits += cand->get_num_infos();
  };
  isDeepened ? field->for_each_listed(list) : field->for_each_cand(list);
  std::stable_sort(cands.begin(), cands.end(),
                   [](const auto& a, const auto& b) { return a.quality > b.quality; });
}

/// Fields that may bring a record to the threshold on their own: of those with the most hits as many as
/// possible may not.
std::vector<int> DareEvaluate::essential_fields(int threshold) const {
  std::vector<std::pair<VInt, int>> by_cost;
  for (std::size_t i = 0; i < evalFields.size(); ++i) {
    if (evalFields[i].column >= 0) by_cost.emplace_back(-evalFields[i].numHits, static_cast<int>(i));
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
    const int known = collectLogic.get_total_value(before.data());
    const int total = collectLogic.get_total_value(values.data());
    if (total < known) values = before;
    if (std::max(total, known) < threshold) continue;
    values = before;
    if (total <= known && takes_away(eval)) continue;
    essential.push_back(index);
  }
  return essential;
}

void DareEvaluate::push_and_collect(EvalData* part) {
  const AceTimeSection section("PUSH_COLLECT");
  // Doubled; a record that no field has found is no answer, however good it may be.
  const int threshold = part->minimum * totalWeight * 2;
  Collector collector(this, part, threshold);
  const std::vector<int> essential = essential_fields(threshold);
  collector.choose(essential);
  for (const int index : essential) collector.push_hitlist(evalFields[static_cast<std::size_t>(index)], true);
  for (int i = 0; i < static_cast<int>(evalFields.size()); ++i)
    if (std::find(essential.begin(), essential.end(), i) == essential.end())
      collector.push_hitlist(evalFields[static_cast<std::size_t>(i)], false);
  collector.collect();
}
