/// The best quality of each string of one or more results.
#pragma once

#include "tera/tera_big_tree.h"

class TeraQualSet : public TeraBigTree<int> {
 public:
  /// What a string that is not there has.
  static constexpr int NO_QUALITY = -1;

  TeraQualSet() : TeraBigTree<int>(NO_QUALITY) {}
  /// Notes that the string has been seen with a quality. Returns whether that is the best so far.
  bool raise(const char* string, int quality) {
    int& best = insert(string);
    if (quality <= best) return false;
    best = quality;
    return true;
  }
};
