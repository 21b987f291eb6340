/// The distance of a result while spelling and sound are looked up together.
#pragma once

#include <algorithm>

#include "tera/tera_eval.h"
#include "tera/tera_result.h"

/// While it lives, a result keeps all that a mix with phonetic qualities can bring within its distance: a mix
/// is at most that much below the better of the two.
class MixedDist {
 public:
  MixedDist(TeraResult* result, bool is_mixed) : itsResult(result), maxDist(result->get_max_dist()) {
    if (is_mixed) result->set_max_dist(std::min(maxDist, TeraEval::PERFECT) + TeraEval::max_phonetic_diff());
  }
  MixedDist(const MixedDist&) = delete;
  MixedDist& operator=(const MixedDist&) = delete;
  ~MixedDist() { itsResult->set_max_dist(maxDist); }

 private:
  TeraResult* itsResult;
  int maxDist;
};
