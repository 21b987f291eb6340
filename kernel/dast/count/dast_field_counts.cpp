// What a field counts: records of candidates, values of contexts.
#include <algorithm>
#include <bit>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_time_analysis.h"
#include "dast/count/dast_count_context_internal.h"
#include "dast/count/dast_count_values_internal.h"
#include "dast/dast_count.h"
#include "dast/dast_info_list_cache.h"
#include "tera/tera_result.h"

namespace {

const DastInfoList* records_of(const DastInfoListCache* context) {
  return context != nullptr ? context->get_full_list() : nullptr;
}

/// One more than the highest record of a field.
Large num_records_of(const DastBaseField& field) {
  if (!field.has_intervals()) return field.get_num_entry_ids();
  const std::span<const Large> runs = dast::runs_of(field);
  return runs.empty() ? 0 : runs.back();
}

/// A set of records as bits.
class RecordBits {
 public:
  explicit RecordBits(Large num_records) : bits(num_records / 64 + std::size_t{2}, 0) {}
  /// Returns how many were not in it.
  Large add(Large from, Large to) {
    Large fresh = 0;
    for (; from < to && from % 64 != 0; ++from) fresh += add(from);
    for (; from < to && to - from >= 64; from += 64) {
      fresh += static_cast<Large>(std::popcount(~bits[from / 64]));
      bits[from / 64] = ~Mask{0};
    }
    for (; from < to; ++from) fresh += add(from);
    return fresh;
  }
  Large count(Large from, Large to) const {
    Large found = 0;
    for (; from < to && from % 64 != 0; ++from)
      found += static_cast<Large>(bits[from / 64] >> (from % 64)) & 1;
    for (; from < to && to - from >= 64; from += 64)
      found += static_cast<Large>(std::popcount(bits[from / 64]));
    for (; from < to; ++from) found += static_cast<Large>(bits[from / 64] >> (from % 64)) & 1;
    return found;
  }

 private:
  Large add(Large record) {
    Mask& word = bits[record / 64];
    const Mask before = word >> (record % 64) & 1;
    word |= Mask{1} << (record % 64);
    return static_cast<Large>(before ^ 1);
  }

  std::vector<Mask> bits;
};

}  // namespace

Large DastBaseField::count_cand(const TeraCand* cand, const DastInfoListCache* context) const {
  AceAttach at;
  const Large numRecords = num_records_of(*this);
  const DastInfoList* own = get_info_list(cand, &at);
  const DastInfoList* records = records_of(context);
  if (own->get_type() == DastInfoList::NOT_USED) return 0;
  if (dast::is_whole(records)) return static_cast<Large>(dast::count_records(own, numRecords));
  if (own->is_frequent()) return static_cast<Large>(dast::count_records(records, numRecords));
  Large count = 0;
  dast::with_cursor(*own, [&](auto first) {
    dast::with_cursor(*records, [&](auto second) {
      dast::for_each_common(first, second, [&](dast::Range common) {
        count += common.to - common.from;
        return true;
      });
    });
  });
  return count;
}

Large DastBaseField::count_result(const TeraResult* result, const DastInfoListCache* context) const {
  const Large numRecords = num_records_of(*this);
  RecordBits found(numRecords);
  Large whole = 0;
  result->find_any([&](int, const TeraCand* cand) {
    AceAttach at;
    const DastInfoList* own = get_info_list(cand, &at);
    if (own->get_type() != DastInfoList::NOT_USED)
      dast::for_each_range(own, numRecords, [&](Large from, Large to) { whole += found.add(from, to); });
    return false;
  });
  if (dast::is_whole(records_of(context))) return whole;
  Large count = 0;
  dast::for_each_range(records_of(context), numRecords,
                       [&](Large from, Large to) { count += found.count(from, to); });
  return count;
}

Large DastBaseField::get_total_count(const char* text, AceReporter* rep) const {
  AceAttach at;
  const Large* records = nullptr;
  return get_records_by_string(text, &records, &at, rep);
}

int DastBaseField::get_cands(const DastInfoListCache* context, int limit, TeraResult* result,
                             AceReporter* rep) const {
  const AceTimeSection section("GET_CANDS");
  const Large numRecords = num_records_of(*this);
  const DastInfoList* records = records_of(context);
  if (limit < 1) return 0;
  if (can_count()) {
    TeraResult counted(nullptr, 0, limit, TeraResult::MAX_VALUE);
    DastCountOptions options;
    options.disableBlank = true;
    const int rc = DastCount(this, records, numRecords, false, options, nullptr).count_context(&counted, rep);
    return rc < 0 ? rc : result->add_cands_from(&counted);
  }
  const auto isBefore = [this](const std::string& a, const std::string& b) {
    const int order = compare_collation(a.c_str(), b.c_str(), 0);
    return order != 0 ? order < 0 : a < b;
  };
  // What is left out once stays out, so that the counts of those that stay are whole.
  std::map<std::string, Large, decltype(isBefore)> values(isBefore);
  dast::for_each_entry(*this, records, numRecords, [&](Large entry, Large from, Large to) {
    AceAttach at;
    const char* text = get_string_by_baseid(entry, &at);
    if (text == nullptr || text[0] == '\0') return;
    const bool isFull = values.size() >= static_cast<std::size_t>(limit);
    if (isFull && isBefore(values.rbegin()->first, text)) return;
    values[text] += to - from;
    if (values.size() > static_cast<std::size_t>(limit)) values.erase(std::prev(values.end()));
  });
  int added = 0;
  for (const auto& [text, count] : values)
    added += result->add(TeraResult::MAX_VALUE, new TeraCand(result->attach(text.c_str()), count));
  return added;
}

TeraCand* DastBaseField::limit_cand(const DastInfoListCache* context, const LimitStruct& limit,
                                    AceAttach* at) const {
  const DastCount count(this, records_of(context), num_records_of(*this), false, {}, nullptr);
  const DastInfoList records = count.get_records(limit.first, limit.end, at);
  const Large* infos = nullptr;
  const Large num = records.to_infos(&infos, at);
  return new TeraCand(at->attach(limit.label.c_str()), num, infos);
}
