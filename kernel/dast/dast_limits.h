/// Limit strings: stretches of the values of a field, by words (the language is that of dast_count.h).
#pragma once

#include <string>
#include <vector>

#include "ace/ace_types.h"

/// A group of a limit string, as values of a field.
struct LimitStruct {
  std::string label;  ///< as it stands in the string, without escapes
  Large first = 0;    ///< the base ids `first` to `end` - 1
  Large end = 0;
};
using LimitsContainer = std::vector<LimitStruct>;
