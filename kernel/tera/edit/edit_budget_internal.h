/// What a recall may cost. A query that would cost more is refused before it does: hosts pass on what users
/// type.
///
/// A step is a cell of the table of edit distances for a vector of entries, 2 to 5 ns. An index of n
/// entries grants `EDIT_STEPS_PER_ENTRY` * max(n, LEAST_ENTRIES) of them, so that all recalls of an index of
/// 700,000 words stay under 50 ms with the default, and those of larger ones in proportion; memory for united
/// columns is at most `EDIT_RECALL_MEGABYTES`. Both are tunables (ace_tracer.h), where 0 stands for the
/// default and a negative value for no bound.
#pragma once

#include "ace/ace_types.h"

class AceReporter;

class EditBudget {
 public:
  static constexpr VInt STEPS_PER_ENTRY = 16;
  static constexpr VInt LEAST_ENTRIES = 700'000;
  static constexpr VInt MEGABYTES = 64;
  /// What a recall takes before it looks at an entry.
  static constexpr VInt STEPS_PER_RECALL = 8'000;

  explicit EditBudget(VInt num_entries);
  /// -1, reported, when there are not as many left.
  int spend(VInt steps);
  /// -1, reported, for more memory than a recall gets.
  int check_memory(VInt bytes) const;

 private:
  VInt stepsGranted;
  VInt stepsLeft;
  VInt bytesGranted;
};
