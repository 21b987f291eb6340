// Counting proper: records of a context to figures of values.
#include "dast/count/dast_count_values_internal.h"

#include <limits>
#include <type_traits>

#include "ace/ace_time_analysis.h"
#include "ace/ace_tracer.h"
#include "dast/count/dast_count_worker_internal.h"
#include "dast/dast_info_map.h"
#include "dast/dast_string_storage.h"

namespace dast {

namespace {

using Related = DastCountOptions;

/// Fields of so many base ids have an array of counters whatever the context.
constexpr VInt ALWAYS_DENSE = 65536;
/// Others while they have at most so many base ids for each record of the context.
constexpr VInt DENSE_IDS_PER_RECORD = 8;

/// The first value of a related field in a record, as a number, or as its base id.
class RelatedValue {
 public:
  explicit RelatedValue(const DastBaseField& field) : itsField(field) {}

  /// -1 for a record without value, or without number.
  VInt rel_val(Large record) {
    if (record >= runTo || record < runFrom) read(record);
    return curValue;
  }

 private:
  void read(Large record) {
    runFrom = record;
    runTo = record + 1;
    Large entry = record;
    if (itsField.has_intervals()) {
      entry = itsField.get_entry_id_by_rec_id(record);
      const std::span<const Large> runs = runs_of(itsField);
      if (entry + std::size_t{1} < runs.size()) {
        runFrom = runs[entry];
        runTo = runs[entry + 1];
      }
    }
    curValue = value_of(entry);
  }
  VInt value_of(Large entry) const {
    Large id = entry < itsField.get_num_entry_ids() ? entry : 0;
    if (!itsField.is_basic()) {
      const AceIdMap* map = itsField.get_entry_to_base();
      const IdList ids = map != nullptr ? map->get(entry) : IdList{};
      id = ids.empty() ? 0 : ids[0];
    }
    if (id == 0) return -1;
    const DastStringStorage* storage = itsField.get_string_storage();
    const bool isNumber = storage != nullptr && storage->get_type() == DastStringStorage::NUMERIC;
    return isNumber ? storage->get_count_weight(id) : VInt{id};
  }

  const DastBaseField& itsField;
  Large runFrom = 0;  // the records that have the value last read
  Large runTo = 0;
  VInt curValue = -1;
};

/// Calls `count(id, from, to)` for each value of each entry, with the records that it is met in.
template <class Count>
[[gnu::flatten]] void for_each_value(const CountTask& task, Count count) {
  const AceIdMap* map = task.field.get_entry_to_base();
  if (map == nullptr) return;
  const Acceptance accepts(task);
  const bool countsFirstOnly = task.has(DastCount::INNER_REC_DEDUP);
  for_each_entry(task.field, task.context, task.numRecords, [&](Large entry, Large from, Large to) {
    for (const Large id : map->get(entry)) {
      if (!accepts(id)) continue;
      count(id, from, to);
      if (countsFirstOnly) return;
    }
  });
}

/// Single records of a field without runs. Records of a context lie apart: their values are gathered a
/// stretch at a time, which waits for memory once for several of them, and counted afterwards.
template <class Worker>
[[gnu::flatten]] void count_singles(const CountTask& task, Worker* worker) {
  constexpr Large STRETCH = 512;
  const AceIdMap* map = task.field.get_entry_to_base();
  if (map == nullptr) return;
  const Large* records = task.context->get_list();
  const Large count = gallop_to(records, 0, task.context->get_length(), task.numRecords);
  const Acceptance accepts(task);
  Large ids[STRETCH];
  Large numIds = 0;
  const auto flush = [&] {
    for (Large i = 0; i < numIds; ++i) {
      if (!accepts(ids[i])) continue;
      if constexpr (requires { worker->add(0); })
        worker->add(ids[i]);
      else
        ++worker->at(ids[i]).count;
    }
    numIds = 0;
  };
  map->for_each_list({records, count}, [&](const IdList& list) {
    for (const Large id : list) {
      ids[numIds++] = id;
      if (numIds == STRETCH) flush();
    }
  });
  flush();
}

/// Whether `count_singles` can count.
bool are_singles(const CountTask& task) {
  const bool isSingle = !is_whole(task.context) && task.context->get_type() == DastInfoList::SINGLE;
  return isSingle && !task.field.has_intervals() && !task.has(DastCount::INNER_REC_DEDUP);
}

template <class Worker>
void context_normal(const CountTask& task, Worker* worker) {
  const AceTimeSection section("COUNT_NORM");
  if (are_singles(task)) return count_singles(task, worker);
  for_each_value(task, [worker](Large id, Large from, Large to) { worker->at(id).count += to - from; });
}

/// `join(cell, value)` is told each number, and -1 for a record without.
template <class Worker, class Join>
void context_joined(const CountTask& task, Worker* worker, Join join) {
  RelatedValue related(*task.config.relField);
  for_each_value(task, [&](Large id, Large from, Large to) {
    for (Large record = from; record < to; ++record) join(&worker->at(id), related.rel_val(record));
  });
}

template <class Worker>
void context_related(const CountTask& task, Worker* worker) {
  switch (task.config.relOp) {
    case Related::SUM:
      return context_joined(task, worker, [](RelatedCell* cell, VInt value) {
        ++cell->count;
        cell->value = CountedValues::update(Related::SUM, cell->value, std::max<VInt>(value, 0));
      });
    case Related::MIN:
      return context_joined(task, worker, [](RelatedCell* cell, VInt value) {
        if (value < 0) return;
        cell->value = cell->count == 0 ? value : std::min(cell->value, value);
        ++cell->count;
      });
    default:
      return context_joined(task, worker, [](RelatedCell* cell, VInt value) {
        if (value < 0) return;
        cell->value = std::max(cell->value, value);
        ++cell->count;
      });
  }
}

template <class Worker>
std::vector<RelatedPair> context_dedup(const CountTask& task, Worker* worker) {
  std::vector<RelatedPair> pairs;
  RelatedValue related(*task.config.relField);
  for_each_value(task, [&](Large id, Large from, Large to) {
    RelatedCell& cell = worker->at(id);
    for (Large record = from; record < to; ++record) {
      const VInt value = related.rel_val(record);
      ++cell.count;
      if (value >= 0) pairs.push_back({id, value});
    }
  });
  std::sort(pairs.begin(), pairs.end());
  pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
  for (const RelatedPair& pair : pairs) ++worker->at(pair.id).value;
  return pairs;
}

/// More frequent first, then in the order of ids.
struct IsBetter {
  bool operator()(const FreqStruct& a, const FreqStruct& b) const {
    return a.freq != b.freq ? a.freq > b.freq : a.id < b.id;
  }
};

/// Keeps the best values: collects up to twice as many as wanted, and then drops the worse half. A heap would
/// order each value that comes.
class FreqHeap {
 public:
  FreqHeap(CountedValues* counted, std::size_t num_wanted, const DastCount::Config& config)
      : itsCounted(counted),
        numWanted(num_wanted),
        relOp(config.relOp),
        doesCombine((config.optionFlags & DastCount::COMBINE_CANDS) != 0) {}
  /// Takes values without records, too. Most are less frequent than all that are kept.
  void add(const FreqStruct& value) {
    itsCounted->numValues += value.freq != 0 ? 1 : 0;
    itsCounted->total += value.freq;
    if (value.freq >= leastFreq) insert(value);
  }
  /// Leaves the values that were wanted, in the order of ids.
  void finish() {
    drop_worse();
    std::sort(itsCounted->values.begin(), itsCounted->values.end(), FreqStruct::is_before);
  }

 private:
  [[gnu::noinline]] void insert(const FreqStruct& value) {
    itsCounted->values.push_back(value);
    if (itsCounted->values.size() / 2 >= numWanted) drop_worse();
  }
  void drop_worse() {
    std::vector<FreqStruct>& values = itsCounted->values;
    if (values.size() <= numWanted) return;
    const auto end = values.begin() + static_cast<VInt>(numWanted);
    std::nth_element(values.begin(), end - 1, values.end(), IsBetter{});
    if (doesCombine)
      for (auto value = end; value != values.end(); ++value) combine(*value);
    else
      leastFreq = end[-1].freq;
    values.erase(end, values.end());
  }
  void combine(const FreqStruct& value) {
    VInt& size = itsCounted->sizeCombined;
    size = itsCounted->numCombined++ == 0 ? value.value : CountedValues::update(relOp, size, value.value);
  }

  CountedValues* itsCounted;
  std::size_t numWanted;
  Related::RelatedAction relOp;
  bool doesCombine;
  Large leastFreq = 1;
};

template <class Worker>
[[gnu::flatten]] void build_freq_heap(Worker& worker, const CountTask& task, std::size_t num_wanted,
                                      CountedValues* counted) {
  FreqHeap heap(counted, num_wanted, task.config);
  worker.for_each([&](Large id, const auto& cell) { heap.add({id, cell.count, cell.get_value()}); });
  heap.finish();
}

template <class Worker>
void count_with(const CountTask& task, Worker* worker, std::size_t num_wanted, CountedValues* counted) {
  if constexpr (requires { worker->at(0).value; }) {
    if (task.config.relOp == Related::DEDUP)
      counted->pairs = context_dedup(task, worker);
    else
      context_related(task, worker);
  } else {
    context_normal(task, worker);
  }
  build_freq_heap(*worker, task, num_wanted, counted);
}

template <class Cell>
void create_count_worker(const CountTask& task, VInt expected, std::size_t num_wanted,
                         CountedValues* counted) {
  static const AceTraceFlag sparse("SPARSE_COUNT_WORKER", __FILE__, __LINE__);
  const Large numIds = num_ids_of(task.field);
  const bool isDense = numIds <= ALWAYS_DENSE || numIds <= DENSE_IDS_PER_RECORD * expected;
  if (isDense && sparse.get() == 0) {
    time_analysis_message("Using count worker for dense counting", 0, 0, 2, 0, 0);
    DenseCountWorker<Cell> worker(numIds);
    count_with(task, &worker, num_wanted, counted);
  } else {
    time_analysis_message("Using count worker for sparse counting", 0, 0, 2, 0, 0);
    if constexpr (std::is_same_v<Cell, CountCell>)
      if (are_singles(task)) {
        SortingCountWorker worker(numIds, expected);
        count_singles(task, &worker);
        return build_freq_heap(worker, task, num_wanted, counted);
      }
    SparseCountWorker<Cell> worker(numIds, expected);
    count_with(task, &worker, num_wanted, counted);
  }
}

[[gnu::flatten]] bool count_all(const CountTask& task, std::size_t num_wanted, CountedValues* counted) {
  FreqHeap heap(counted, num_wanted, task.config);
  const Acceptance accepts(task);
  const bool isDone = WholeCountWorker(task.field).for_each([&](Large id, const CountCell& cell) {
    if (accepts(id)) heap.add({id, cell.count, cell.count});
  });
  heap.finish();
  return isDone;
}

/// The entries of which a value was counted.
void add_entries(const CountTask& task, Large id, std::vector<Large>* entries) {
  const AceIdMap* toBase = task.field.get_entry_to_base();
  const AceIdMap* toEntry = task.field.get_base_to_entry();
  if (toBase == nullptr || toEntry == nullptr) return;
  const Acceptance accepts(task);
  const bool countsFirstOnly = task.has(DastCount::INNER_REC_DEDUP);
  const auto is_counted = [&](Large entry) {
    for (const Large other : toBase->get(entry)) {
      if (other == id) return true;
      if (countsFirstOnly && accepts(other)) return false;
    }
    return false;
  };
  const IdList list = toEntry->get(id);
  if (list.count == 3 && list[0] == 0) {  // stands for all records; those that really have it are wanted
    for (Large entry = 1; entry < task.field.get_num_entry_ids(); ++entry)
      if (is_counted(entry)) entries->push_back(entry);
    return;
  }
  for (const Large entry : list)
    if (is_counted(entry)) entries->push_back(entry);
}

/// What the values that are not among `values` have together, each related value once.
VInt count_other_pairs(const CountedValues& counted) {
  std::vector<VInt> related;
  for (const RelatedPair& pair : counted.pairs)
    if (!std::binary_search(counted.values.begin(), counted.values.end(), FreqStruct{pair.id, 0, 0},
                            FreqStruct::is_before))
      related.push_back(pair.related);
  std::sort(related.begin(), related.end());
  return std::unique(related.begin(), related.end()) - related.begin();
}

}  // namespace

VInt CountedValues::update(DastCountOptions::RelatedAction action, VInt a, VInt b) {
  if (action == Related::MIN) return std::min(a, b);
  if (action == Related::MAX) return std::max(a, b);
  VInt sum = 0;
  return __builtin_add_overflow(a, b, &sum) ? std::numeric_limits<VInt>::max() : sum;
}

VInt CountedValues::fold(DastCountOptions::RelatedAction action, std::size_t first, std::size_t end) const {
  if (action == Related::DEDUP) {
    std::vector<VInt> related;
    const auto from = std::lower_bound(pairs.begin(), pairs.end(), RelatedPair{values[first].id, 0});
    for (auto pair = from; pair != pairs.end() && pair->id <= values[end - 1].id; ++pair)
      related.push_back(pair->related);
    std::sort(related.begin(), related.end());
    return std::unique(related.begin(), related.end()) - related.begin();
  }
  VInt result = values[first].value;
  for (std::size_t i = first + 1; i < end; ++i) result = update(action, result, values[i].value);
  return result;
}

CountedValues CountedValues::get_most_frequent(std::size_t num_wanted,
                                               const DastCount::Config& config) const {
  CountedValues most;
  FreqHeap heap(&most, num_wanted, config);
  for (const FreqStruct& value : values) heap.add(value);
  heap.finish();
  most.pairs = pairs;
  if (config.relOp == Related::DEDUP) most.sizeCombined = count_other_pairs(most);
  return most;
}

DastInfoList collect_records(const CountTask& task, std::span<const FreqStruct> values, AceAttach* at) {
  std::vector<Large> entries;
  for (const FreqStruct& value : values) add_entries(task, value.id, &entries);
  std::sort(entries.begin(), entries.end());
  entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
  Large* own = nullptr;
  at->malloc(own, static_cast<VInt>(entries.size()));
  std::copy(entries.begin(), entries.end(), own);
  DastInfoList records(static_cast<Large>(entries.size()), own, nullptr);
  if (task.field.has_intervals() && task.field.get_info_map() != nullptr) {
    records = *task.field.get_info_map()->down(&records, at);
    records.ensure_no_reference(at);
  }
  if (!is_whole(task.context)) records.intersect_with(task.context, at);
  return records;
}

CountedValues count_values(const CountTask& task, VInt expected, std::size_t num_wanted) {
  const AceTimeSection section("Counting");
  CountedValues counted;
  const bool isPlain = task.config.relOp == Related::NO_ACTION;
  if (isPlain && is_whole(task.context) && !task.has(DastCount::INNER_REC_DEDUP) &&
      count_all(task, num_wanted, &counted))
    return counted;
  counted = {};
  if (isPlain)
    create_count_worker<CountCell>(task, expected, num_wanted, &counted);
  else
    create_count_worker<RelatedCell>(task, expected, num_wanted, &counted);
  if (task.config.relOp == Related::DEDUP) counted.sizeCombined = count_other_pairs(counted);
  return counted;
}

}  // namespace dast
