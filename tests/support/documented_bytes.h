/// The hex dumps of docs/formats.md.
#pragma once

#include <cctype>
#include <fstream>
#include <sstream>
#include <string>

namespace support {

/// The bytes of the first indented block behind the heading `title` of the page: its words of two hex digits.
inline std::string documented_bytes(const std::string& page, const std::string& title) {
  std::ifstream in(page);
  std::string line;
  while (std::getline(in, line) && line != "## " + title) {
  }
  std::string bytes;
  while (std::getline(in, line) && line.rfind("## ", 0) != 0) {
    if (line.rfind("    ", 0) != 0) {
      if (bytes.empty()) continue;
      break;
    }
    std::istringstream words(line);
    for (std::string word; words >> word;)
      if (word.size() == 2 && std::isxdigit(word[0]) != 0 && std::isxdigit(word[1]) != 0)
        bytes += static_cast<char>(std::stoi(word, nullptr, 16));
  }
  return bytes;
}

}  // namespace support
