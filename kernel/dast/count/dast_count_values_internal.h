/// The figures of a count, before they become candidates.
#pragma once

#include <algorithm>
#include <vector>

#include "dast/count/dast_count_context_internal.h"
#include "dast/dast_count.h"
#include "dast/dast_quality_cache.h"

namespace dast {

/// What is to be counted. `quals` (null for all values) has the qualities of those that count.
struct CountTask {
  const DastBaseField& field;
  const DastInfoList* context;
  Large numRecords;
  const DastCount::Config& config;
  const DastQualityCache* quals;
  int minQual;

  bool has(int option) const { return (config.optionFlags & option) == option; }
};

/// Which values count.
class Acceptance {
 public:
  explicit Acceptance(const CountTask& task)
      : firstId(!task.has(DastCount::DISABLE_BLANK) && task.field.has_type(DastFieldFlags::HAS_EMPTY_INDEXED)
                    ? 0
                    : 1),
        quals(task.quals),
        minQual(task.minQual) {}
  bool operator()(Large id) const {
    return id >= firstId && (quals == nullptr || quals->lookup(id) >= minQual);
  }

 private:
  Large firstId;
  const DastQualityCache* quals;
  int minQual;
};

/// A value and its figures.
struct FreqStruct {
  Large id;
  Large freq;  ///< records
  VInt value;  ///< what is shown: the same, or what was read of the related field

  static bool is_before(const FreqStruct& a, const FreqStruct& b) { return a.id < b.id; }
};

/// A related value of a counted one.
struct RelatedPair {
  Large id;
  VInt related;
  bool operator==(const RelatedPair&) const = default;
  bool operator<(const RelatedPair& other) const {
    return id != other.id ? id < other.id : related < other.related;
  }
};

struct CountedValues {
  std::vector<FreqStruct> values;  ///< in the order of ids
  Large numValues = 0;             ///< with those that are left out of `values`
  VInt total = 0;                  ///< their records; one that has several of them counts for each
  Large numCombined = 0;           ///< how many are left out, if they are to be combined,
  VInt sizeCombined = 0;           ///< and their figures taken together
  std::vector<RelatedPair> pairs;  ///< of DEDUP, each once, in order

  /// Joins figures of two values or groups, of all actions but DEDUP. Sums stop at the largest number.
  static VInt update(DastCountOptions::RelatedAction action, VInt a, VInt b);
  /// The figure of a stretch of `values`.
  VInt fold(DastCountOptions::RelatedAction action, std::size_t first, std::size_t end) const;
  /// The most frequent of `values`, as if the others had been left out at once.
  CountedValues get_most_frequent(std::size_t num_wanted, const DastCount::Config& config) const;
};

/// The records of the context that were counted for a stretch of values, in `at`.
DastInfoList collect_records(const CountTask& task, std::span<const FreqStruct> values, AceAttach* at);

/// Counts; keeps the `num_wanted` most frequent values. `expected` is the number of records to be counted.
CountedValues count_values(const CountTask& task, VInt expected, std::size_t num_wanted);

}  // namespace dast
