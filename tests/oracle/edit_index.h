/// What the edit index measures, by the textbook forms of oracle/words.h.
#pragma once

#include "oracle/words.h"
#include "tera/tera_eval.h"

namespace oracle {

/// The measure of a mode, -1 for those that the index does not have. FRONT, BACK and MID are two modes each,
/// by the lengths, and CLOSE sees the end of long entries only.
inline int index_measure(TeraEval::Mode mode, const Positions& query, const Positions& entry,
                         bool transpose) {
  const int m = query.size();
  const int n = entry.size();
  const int swaps = transpose ? 2 : 0;
  const Matrix accepts(query, entry);
  switch (mode) {
    case TeraEval::LEVENSHTEIN:
      return leven(accepts, swaps).match;
    case TeraEval::PREFIX:
      return leven(accepts, swaps | 0x8000).match;
    case TeraEval::SUFFIX:
      return leven(accepts, swaps | 0x4000).match;
    case TeraEval::FACTOR:
      return leven(accepts, swaps | 0xC000).match;
    case TeraEval::COVER:
      return leven(accepts, swaps | 0x3000).match;
    case TeraEval::EXTEND:
      return leven(accepts, swaps | 0x2000).match;
    case TeraEval::CLOSE: {
      Positions end = entry;
      const int skipped = std::max(0, n - (3 * m + 1) / 2);
      end.tokens.erase(end.tokens.begin(), end.tokens.begin() + skipped);
      return leven(Matrix(query, end), swaps | 0x1000).match;
    }
    case TeraEval::FRONT:
      return index_measure(m > n ? TeraEval::PREFIX : TeraEval::EXTEND, query, entry, transpose);
    case TeraEval::BACK:
      return index_measure(m > n ? TeraEval::SUFFIX : TeraEval::CLOSE, query, entry, transpose);
    case TeraEval::MID:
      return index_measure(m > n ? TeraEval::FACTOR : TeraEval::COVER, query, entry, transpose);
    case TeraEval::POSITION:
      return count(accepts, transpose);
    case TeraEval::BIPOS:
      return app_count(accepts);
    case TeraEval::SEQ:
      return lcs(accepts);
    case TeraEval::BISEQ:
      return biseq(accepts);
    case TeraEval::BIGRAMS:
      return bigrams(accepts, transpose, true);
    case TeraEval::SUBSET:
      return superset(accepts, transpose);
    case TeraEval::SUPERSET:
      return subset(accepts, transpose);
    case TeraEval::BLOCKEDIT:
      return n <= m ? subset(accepts, transpose) : superset(accepts, transpose);
    default:
      return -1;
  }
}

}  // namespace oracle
