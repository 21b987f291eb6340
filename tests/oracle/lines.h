/// Lines of a text, byte by byte: LF, CR LF and a lone CR each end a line; with `skipEmpty` a run of line
/// ends counts as one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace oracle {

inline std::vector<std::string> lines_of(std::string_view data, bool skipEmpty) {
  const auto isEnd = [&](size_t i) { return i < data.size() && (data[i] == '\n' || data[i] == '\r'); };
  std::vector<std::string> lines;
  for (size_t i = 0; i < data.size();) {
    std::string line;
    while (i < data.size() && !isEnd(i)) line += data[i++];
    lines.push_back(line);
    if (skipEmpty) {
      while (isEnd(i)) ++i;
    } else if (i < data.size()) {
      i += data[i] == '\r' && i + 1 < data.size() && data[i + 1] == '\n' ? 2 : 1;
    }
  }
  return lines;
}

}  // namespace oracle
