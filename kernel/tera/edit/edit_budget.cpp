#include "tera/edit/edit_budget_internal.h"

#include <algorithm>
#include <limits>

#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"

namespace {

constexpr VInt NO_BOUND = std::numeric_limits<VInt>::max();
constexpr VInt MEGABYTE = 1 << 20;

VInt bound_of(const AceTraceFlag& flag, VInt standard, VInt unit) {
  const VInt value = flag.get();
  if (value < 0) return NO_BOUND;
  return (value == 0 ? standard : value) * unit;
}

}  // namespace

EditBudget::EditBudget(VInt num_entries) {
  static const AceTraceFlag steps("EDIT_STEPS_PER_ENTRY", __FILE__, __LINE__);
  static const AceTraceFlag megabytes("EDIT_RECALL_MEGABYTES", __FILE__, __LINE__);
  stepsGranted = stepsLeft = bound_of(steps, STEPS_PER_ENTRY, std::max(num_entries, LEAST_ENTRIES));
  bytesGranted = bound_of(megabytes, MEGABYTES, MEGABYTE);
}

int EditBudget::spend(VInt steps) {
  if (steps <= stepsLeft) {
    stepsLeft -= steps;
    return 0;
  }
  AceReporter::use_default()->printf(
      "Query refused: it takes more than %ld steps; ask for less or for better entries, or raise "
      "EDIT_STEPS_PER_ENTRY\n",
      stepsGranted);
  return -1;
}

int EditBudget::check_memory(VInt bytes) const {
  if (bytes <= bytesGranted) return 0;
  AceReporter::use_default()->printf(
      "Query refused: its alternatives take %ld bytes, more than %ld; ask for fewer, or raise "
      "EDIT_RECALL_MEGABYTES\n",
      bytes, bytesGranted);
  return -1;
}
