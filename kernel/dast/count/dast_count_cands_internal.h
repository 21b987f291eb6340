/// From the figures of a count to the candidates of its result.
#pragma once

#include <string>

#include "dast/count/dast_count_values_internal.h"
#include "dast/dast_limits.h"

class TeraCand;
class TeraResult;

/// S is the number of base ids of the field, N that of the values with records, c the number of candidates
/// that the result asks for.
class CountCandCreator {
 public:
  /// All must last. `counted` has all values when there are groups to be made.
  CountCandCreator(const dast::CountTask& task, const dast::CountedValues& counted,
                   const LimitsContainer& limits, DastCountOptions::Info info, TeraResult* result)
      : itsTask(task), itsCounted(counted), itsLimits(limits), candInfo(info), targetResult(result) {}

  /// Returns the number of candidates added.
  int generate_cands();

 private:
  /// A stretch of the counted values.
  struct Stretch {
    std::size_t first;
    std::size_t end;
  };

  void single_cands();
  void create_single_cand(const dast::FreqStruct& value);
  void add_combined();

  // Groups. All return whether there are any; nothing is added otherwise.
  bool group_cands();
  bool group_fixed();
  bool group_collapse();
  bool group_numeric(VInt step, VInt num_groups);
  bool group_strings(VInt step, VInt num_groups);
  bool group_equidistant(VInt num_groups);
  VInt choose_group_number() const;
  std::vector<Stretch> cut(VInt step, VInt num_groups) const;
  std::string short_label(const std::vector<Stretch>& groups, std::size_t index) const;
  bool is_text_order() const;
  void add_group(const Stretch& group, const std::string& label);

  std::string get_string(std::size_t index) const;
  VInt get_number(std::size_t index) const;
  void add(int quality, const char* label, const Stretch& values, VInt figure, int state);
  void set_info(TeraCand* cand, const Stretch& values, VInt figure);
  Large get_hits(const Stretch& values, const Large** records);

  const dast::CountTask& itsTask;
  const dast::CountedValues& itsCounted;
  const LimitsContainer& itsLimits;
  DastCountOptions::Info candInfo;
  TeraResult* targetResult;
  int numAdded = 0;
};
