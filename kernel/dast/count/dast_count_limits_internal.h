/// Limit strings: the groups that a count shall have (dast_count.h).
#pragma once

#include <string>
#include <vector>

#include "dast/dast_base_field.h"

class AceReporter;

namespace dast {

/// A group of a limit string, as values of a field.
struct LimitStruct {
  std::string label;  ///< as it stands in the string
  Large first;        ///< base ids `first` to `end` - 1
  Large end;
};
using LimitsContainer = std::vector<LimitStruct>;

/// Reads a limit string for a field with sorted strings. Returns 0; -1, explained, for too many parts, words
/// or groups, and for a field that has no strings to compare.
int parse_limit_string(const DastBaseField& field, const char* text, LimitsContainer* limits,
                       AceReporter* rep);

/// The first base id whose string does not sort below `word` or, with `behind`, sorts above it; with `prefix`
/// also above all strings that start with it. Between 0 and the number of base ids.
Large find_border(const DastBaseField& field, const char* word, bool behind, bool prefix);

}  // namespace dast
