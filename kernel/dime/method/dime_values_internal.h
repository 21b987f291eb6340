/// What methods share that keep values in an order of their own: how they report values that they cannot
/// read, walk around a query, and hand over what they find.
#pragma once

#include <memory>
#include <string>

#include "ace/ace_reporter.h"
#include "ace/ace_types.h"
#include "tera/tera_eval.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

/// Values that are left out of an index: one warning for all of them.
class DimeSkippedValues {
 public:
  void add(const char* value) {
    if (numSkipped++ == 0) firstSkipped = value;
  }
  /// `expected` says what a value should have been: "a number".
  void warn(const char* filename, const char* method, const char* expected, AceReporter* rep) const {
    if (numSkipped > 0 && rep != nullptr)
      rep->ev_wprintf("%s: %s expected, %ld values are left out, the first is '%s'\n",
                      filename != nullptr ? filename : method, expected, numSkipped, firstSkipped.c_str());
  }

 private:
  VInt numSkipped = 0;
  std::string firstSkipped;
};

/// A graph of one result, with one reference for the caller.
inline TeraScanGraph* dime_graph_of(std::unique_ptr<TeraResult> result, const char* query) {
  auto* graph = new TeraScanGraph(result.get(), query, TeraScanGraph::NO_ORIGIN);
  static_cast<void>(result.release());
  return graph;
}

/// The same of a result whose candidates have their final numbers.
inline TeraScanGraph* dime_resolved_graph(std::unique_ptr<TeraResult> result, const char* query) {
  result->set_resolved();
  return dime_graph_of(std::move(result), query);
}

/// Visits the positions 0 .. num - 1 that a result may want, the best first: from the ends of [first, last)
/// and of what lies between them outwards. Qualities must not rise on the way out: `quality(pos)` is asked
/// until a side has none that is wanted. Quality 0 is no hit.
template <class Quality, class Add>
void dime_walk_outwards(VInt first, VInt last, VInt num, TeraResult* result, Quality quality, Add add) {
  for (VInt pos = first; pos < last; ++pos) add(quality(pos), pos);
  VInt low = first - 1;
  VInt high = last;
  const auto of = [&](VInt pos) { return pos >= 0 && pos < num ? quality(pos) : 0; };
  int below = of(low);
  int above = of(high);
  for (;;) {
    const int best = below > above ? below : above;
    if (best <= 0 || !result->accept(best)) return;
    if (below == best) {
      add(best, low--);
      below = of(low);
    } else {
      add(best, high++);
      above = of(high);
    }
  }
}
