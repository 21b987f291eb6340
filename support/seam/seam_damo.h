/// Small steps between what other languages have, lists and numbers, and what sources of records take and
/// give.
#pragma once

#include <memory>
#include <vector>

#include "damo/damo_diff.h"
#include "damo/damo_diff_maker.h"
#include "damo/damo_input.h"
#include "seam/seam_texts.h"

/// What quotes fields unless said otherwise.
inline constexpr const char* SEAM_QUOTE = "\"";

/// Numbers as int; one that is none becomes -1, which no column has.
SORV_API std::vector<int> seam_ints(const SeamNumbers& numbers);
/// The fields of the next record; a count of 0 at the end.
SORV_API SeamTexts seam_next_record(DamoInput* input, bool as_is, AceAttach* at);
