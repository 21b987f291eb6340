/// Many queries at once: columns of numbers that languages with arrays take as they are.
#pragma once

#include "seam/seam_texts.h"
#include "tera/tera_eval.h"

class AceReporter;
class DastSession;
class TeraEdit;

// Answers are ordered by query, then best first, then by entry. Their image is four columns of 32-bit
// numbers, one behind the other: all queries (places in the list), all entries (attributes, or numbers of
// records), all qualities (0 to 255), all distances (of the quality from the best one of that query).

/// The `k` best attributes for each query with at least that quality, looked up by several threads
/// (`ace_get_trace_num_threads`). Throws what a recall throws, and an `AceException` for a query that is
/// refused, and for a negative `k`.
SORV_API SeamBytes seam_match(const TeraEdit* index, const char* const* queries, int num_queries, int k,
                              int min_quality, TeraEval::Mode mode, TeraEval::Model model, int threads,
                              AceReporter* rep);
/// The `k` best records for each query of a session, whose fields follow each other: a text for each field,
/// empty for one that is not asked. Each thread asks a session of its own with these settings, in which
/// nothing is selected. The first record of the base is number `first`. Throws an `AceException` for a number
/// of texts that is no multiple of the fields.
SORV_API SeamBytes seam_match(const DastSession* session, const char* const* texts, int num_texts, int k,
                              int first, int threads, AceReporter* rep);
