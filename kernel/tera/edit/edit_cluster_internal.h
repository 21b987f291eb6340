/// Ordering the entries of a length so that those that share a filter slot resemble each other: the fewer
/// different tokens a group has at a position, the fewer queries pass it.
///
/// A part is refined group by group. A group begins with the first entry that is left, in the order of the
/// strings, and takes of the entries nearby, again and again, the one that adds the fewest tokens to it
/// (USE_GREEDY_CLUSTER). With USE_CONT_CLUSTER a group begins with the entry nearby that adds the fewest
/// tokens to the group before, and with USE_FINE_CLUSTER neighbouring groups exchange entries in the end
/// where that leaves them fewer tokens.
///
/// Thread safety: different parts may be refined at the same time.
#pragma once

#include <vector>

#include "tera/tera_token_values.h"

class AceReporter;

struct EditCluster {
  const Token* const* tokens;  ///< by slot
  Large* order;                ///< the slots of the part, which are permuted
  int numSlots;
  int length;  ///< of their entries
  int filterLog;
  int fine;   ///< how many groups ahead entries are taken from
  int flags;  ///< of `TeraEdit::Cluster`

  /// Cuts the part into pieces of whole groups, for several threads.
  void split(std::vector<EditCluster>* pieces) const;
  /// Permutes the part.
  void refine() const;
  /// Refines all, on `num_threads` threads (as `ace_get_trace_num_threads` understands it); on more than one,
  /// nothing is reported.
  static void run_all(std::vector<EditCluster>* jobs, int num_threads, AceReporter* rep);
};
