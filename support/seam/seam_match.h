/// Many queries at once: the rows that languages with arrays take as they are.
#pragma once

#include "seam/seam_texts.h"
#include "tera/tera_eval.h"

class AceReporter;
class TeraEdit;

/// One attribute of one entry that a query has found. Rows are ordered by query, then best first, then by
/// attribute.
struct SeamMatch {
  std::int32_t query;     ///< its place in the list
  std::uint32_t entry;    ///< attribute number
  std::int32_t quality;   ///< 0 to 255
  std::int32_t distance;  ///< of the quality from the best one of that query
};
static_assert(sizeof(SeamMatch) == 16);

/// The `k` best attributes for each query with at least that quality, in `at`, looked up by several threads
/// (`ace_get_trace_num_threads`). Throws what a recall throws, and an `AceException` for a query that is
/// refused.
SORV_API SeamBytes seam_match(const TeraEdit* index, const char* const* queries, int num_queries, int k,
                              int min_quality, TeraEval::Mode mode, TeraEval::Model model, int threads,
                              AceAttach* at, AceReporter* rep);
