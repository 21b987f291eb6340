// Counting the values of a field, against an array of counters over values that are numbered already.
#include <algorithm>
#include <random>

#include "dast/dast_count.h"
#include "dast/dast_info_list.h"
#include "dast/dast_info_list_cache.h"
#include "dast/people.h"
#include "ratio.h"
#include "tera/tera_result.h"

namespace {

constexpr int NUM_FACETS = 100;

/// The first value of each record as its base id.
std::vector<Large> ids_of(const DastBase& base, int field) {
  std::vector<Large> ids(base.get_num_records(), 0);
  for (Large record = 1; record < base.get_num_records(); ++record) {
    AceAttach at;
    const Large* own = nullptr;
    if (base.get_field(field)->get_base_ids(record, &own, &at) > 0) ids[record] = own[0];
  }
  return ids;
}

/// The peer counts into an array and takes the most frequent by a partial sort.
VInt count_plainly(const std::vector<Large>& ids, const std::vector<Large>& context, Large num_ids) {
  std::vector<Large> counts(num_ids, 0);
  if (context.empty())
    for (std::size_t record = 1; record < ids.size(); ++record) ++counts[ids[record]];
  for (const Large record : context) ++counts[ids[record]];
  std::vector<std::pair<Large, Large>> values;
  for (Large id = 1; id < num_ids; ++id)
    if (counts[id] > 0) values.emplace_back(counts[id], id);
  const auto end = values.begin() + std::min<std::ptrdiff_t>(NUM_FACETS, static_cast<VInt>(values.size()));
  std::partial_sort(values.begin(), end, values.end(), [](const auto& a, const auto& b) {
    return a.first != b.first ? a.first > b.first : a.second < b.second;
  });
  VInt sum = 0;
  for (auto value = values.begin(); value != end; ++value) sum += value->first;
  return sum;
}

void count(benchmark::State& state, int field, Large context_size) {
  const DastBase& base = people::base();
  const std::vector<Large> ids = ids_of(base, field);
  std::vector<Large> records;
  std::mt19937 random(1);
  while (records.size() < context_size) {
    records.push_back(1 + static_cast<Large>(random() % (base.get_num_records() - 1)));
    if (records.size() == context_size) {
      std::sort(records.begin(), records.end());
      records.erase(std::unique(records.begin(), records.end()), records.end());
    }
  }
  const DastInfoList list(static_cast<Large>(records.size()), records.data(), nullptr);
  const DastInfoListCache context(records.empty() ? nullptr : &list);
  VInt ours = 0;
  VInt theirs = 0;
  bench::compare(
      state, 1,
      [&] {
        TeraResult result(nullptr, 0, NUM_FACETS, 255);
        base.count_context(field, {}, &result, &context, AceReporter::null());
        ours = 0;
        result.find_any([&](int, const TeraCand* cand) {
          ours += DastCount::get_value(cand);
          return false;
        });
      },
      [&] { theirs = count_plainly(ids, records, base.get_field(field)->get_all_base_ids()); });
  if (ours != theirs) state.SkipWithError("different counts");
  state.counters["values"] = base.get_field(field)->get_num_base_ids();
}
BENCHMARK_CAPTURE(count, all_records, people::SURNAME, 0)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(count, a_context_of_10k, people::SURNAME, 10'000)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(count, a_context_of_10k_few_values, people::CITY, 10'000)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

}  // namespace
