/// Textbook forms of the string helpers.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace oracle {

/// Substitutions, insertions and deletions between two texts, by the full table.
inline int edit_distance(std::string_view a, std::string_view b) {
  std::vector<std::vector<int>> table(a.size() + 1, std::vector<int>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i)
    for (size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0)
        table[i][j] = static_cast<int>(i + j);
      else
        table[i][j] = std::min(
            {table[i - 1][j] + 1, table[i][j - 1] + 1, table[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
    }
  return table[a.size()][b.size()];
}

/// Runs of `c` (with `anySpace`: of white space and `c`) dropped at the ends, single inside.
inline std::string trimmed(std::string_view text, bool front, bool squeeze, bool back, bool anySpace,
                           char c) {
  std::string result;
  for (size_t i = 0; i < text.size();) {
    size_t end = i;
    while (end < text.size() &&
           (text[end] == c ||
            (anySpace && std::string_view(" \t\n\v\f\r").find(text[end]) != std::string_view::npos)))
      ++end;
    const bool dropped = (front && i == 0) || (back && end == text.size());
    if (end == i)
      result += text[end++];
    else if (!dropped)
      result += squeeze ? std::string(1, c) : std::string(text.substr(i, end - i));
    i = end;
  }
  return result;
}

/// Fields between separators, at most `max`, the rest dropped. With `merge`, leading separators and runs of
/// them make no fields.
inline std::vector<std::string> fields_of(std::string_view text, std::string_view separators, bool merge,
                                          size_t max) {
  std::vector<std::string> fields = {""};
  bool atStart = true;  // of the text, or behind a separator
  for (const char c : text) {
    const bool separates = separators.find(c) != std::string_view::npos;
    if (!separates)
      fields.back() += c;
    else if (!merge || !atStart)
      fields.emplace_back();
    atStart = separates;
  }
  if (fields.size() > max) fields.resize(max);
  return fields;
}

}  // namespace oracle
