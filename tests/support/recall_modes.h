/// The modes in which an edit index is asked.
#pragma once

#include "tera/tera_eval.h"

namespace support {

/// Those with a measure, then patterns and equal words.
inline constexpr TeraEval::Mode MODES[] = {
    TeraEval::LEVENSHTEIN, TeraEval::PREFIX,   TeraEval::SUFFIX,    TeraEval::FACTOR,   TeraEval::COVER,
    TeraEval::CLOSE,       TeraEval::EXTEND,   TeraEval::FRONT,     TeraEval::BACK,     TeraEval::MID,
    TeraEval::POSITION,    TeraEval::BIPOS,    TeraEval::SEQ,       TeraEval::BISEQ,    TeraEval::BIGRAMS,
    TeraEval::SUBSET,      TeraEval::SUPERSET, TeraEval::BLOCKEDIT, TeraEval::WILDCARD, TeraEval::EXACT,
};
inline constexpr int NUM_MEASURED_MODES = 18;

}  // namespace support
