/// Texts cut into parts, and parts put together.
#pragma once

#include <string>
#include <vector>

namespace support {

inline std::vector<std::string> parts_of(const std::string& text, char separator) {
  std::vector<std::string> parts(1);
  for (const char c : text)
    if (c == separator)
      parts.emplace_back();
    else
      parts.back() += c;
  return parts;
}

/// The fields of a record, between tabs.
inline std::string line_of(const std::vector<std::string>& record) {
  std::string line;
  for (std::size_t i = 0; i < record.size(); ++i) line += (i > 0 ? "\t" : "") + record[i];
  return line + "\n";
}
inline std::string lines_of(const std::vector<std::vector<std::string>>& records) {
  std::string lines;
  for (const auto& record : records) lines += line_of(record);
  return lines;
}

}  // namespace support
