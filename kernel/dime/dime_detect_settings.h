/// What the call modes DETECT0 to DETECT9 mean to methods that measure edits: ten rows for the whole process.
///
///     row   mode        model         row   mode       model        in each row: no limits of its own,
///     0     SEQ         MAXIMUM       5     FACTOR     SHORT        transpositions and phonetics on
///     1     BLOCKEDIT   PARTIAL       6     SUFFIX     SHORT
///     2     MID         PARTIAL       7     POSITION   MAXIMUM
///     3     EXTEND      LONG          8     SUBSET     QUERY
///     4     CLOSE       LONG          9     SUPERSET   ENTRY
///
/// Thread safety: set before queries run.
#pragma once

#include "ace/ace_types.h"
#include "dast/dast_options.h"
#include "tera/tera_eval.h"

/// Names as `TeraEval` knows them; either may be null, not both. Without a model the mode's own one is taken.
/// Return 0; -1 for no row, for no names, and for an unknown one.
SORV_API int set_edit_detect_algorithm(int row, const char* mode, const char* model);
SORV_API int set_edit_detect_algorithm_enum(int row, TeraEval::Mode mode, TeraEval::Model model);
/// Limits of the row; a negative value leaves the method's own. Return 0; -1 for no row and values above 255.
SORV_API int set_edit_detect_min(int row, int value);
SORV_API int set_edit_detect_dist(int row, int value);
SORV_API int set_edit_detect_cands(int row, int value);
SORV_API int set_edit_detect_option_transpose(int row, int flag);
SORV_API int set_edit_detect_option_phonetics(int row, int flag);
/// Stores the row's settings in the outputs that are not null; those that the row leaves open stay. Returns
/// the row; -1 for other modes.
SORV_API int adjust_edit_detect_options(DastOptions::Call call, TeraEval::Mode* mode, TeraEval::Model* model,
                                        int* min, int* dist, int* cands, int* transpose, int* phonetics);
