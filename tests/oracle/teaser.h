/// Teasers from their definition, for single-byte characters: marks as a set of positions.
#pragma once

#include <cctype>
#include <string>
#include <vector>

namespace oracle {

/// Every byte of the text that belongs to an occurrence of one of the strings (lower case, letters only),
/// where a word starts and ends unless starts or ends are free; occurrences that touch become one.
inline std::string marked_text(const std::string& text, const std::vector<std::string>& strings,
                               bool free_start, bool free_end) {
  const auto is_sep = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; };
  std::vector<bool> marks(text.size() + 1, false);
  for (const std::string& string : strings)
    for (std::size_t i = 0; i + string.size() <= text.size(); ++i) {
      bool same = !string.empty() && (free_start || i == 0 || is_sep(text[i - 1]));
      for (std::size_t k = 0; same && k < string.size(); ++k)
        same = std::tolower(static_cast<unsigned char>(text[i + k])) == string[k];
      const std::size_t end = i + string.size();
      if (same && (free_end || end == text.size() || is_sep(text[end])))
        std::fill(marks.begin() + static_cast<long>(i), marks.begin() + static_cast<long>(end), true);
    }
  std::string marked;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    const bool before = i > 0 && marks[i - 1];
    if (marks[i] && !before) marked += "<b>";
    if (!marks[i] && before) marked += "</b>";
    if (i < text.size()) marked += text[i];
  }
  return marked;
}

}  // namespace oracle
