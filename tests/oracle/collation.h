/// The Unicode Collation Algorithm, step by step, over a key file as it is published: the text is decomposed,
/// its characters are looked up (the longest contraction first), and the weights make up a sort key.
///
/// Texts must be valid UTF-8 with marks in canonical order, characters up to U+FFFF and contractions without
/// other marks in between.
#pragma once

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tera/tera_unicode_tables.h"
#include "tera/tera_utf.h"

namespace oracle {

class Collation {
 public:
  using Key = std::vector<int>;

  explicit Collation(const std::string& keyFile) {
    std::ifstream lines(keyFile);
    for (std::string line; std::getline(lines, line);) {
      const size_t semicolon = line.find(';');
      if (line.starts_with('@') || line.starts_with('#') || semicolon == std::string::npos) continue;
      std::istringstream codes(line.substr(0, semicolon));
      std::u32string characters;
      for (unsigned code = 0; codes >> std::hex >> code;) characters += static_cast<char32_t>(code);
      for (size_t at = line.find('['); at != std::string::npos; at = line.find('[', at + 1)) {
        std::array<unsigned, 3> weights{};
        std::sscanf(line.c_str() + at + 2, "%x.%x.%x", &weights[0], &weights[1], &weights[2]);
        elements[characters].push_back(weights);
      }
    }
  }

  /// Compares like the texts.
  Key key_of(const std::string& text) const {
    const std::u32string characters = decompose(text);
    std::vector<std::array<unsigned, 3>> all;
    for (size_t at = 0; at < characters.size();) {
      size_t length = std::min<size_t>(3, characters.size() - at);
      while (length > 0 && !elements.contains(characters.substr(at, length))) --length;
      if (length > 0) {
        const auto& own = elements.at(characters.substr(at, length));
        all.insert(all.end(), own.begin(), own.end());
        at += length;
      } else {
        const char32_t code = characters[at++];
        const bool isIdeograph = code >= 0x4E00 && code <= 0x9FFF;
        all.push_back({isIdeograph ? 0xFB40 + (code >> 15) : 0x10000 + code, 0x20, 2});
        if (isIdeograph) all.push_back({(code & 0x7FFF) | 0x8000, 0, 0});
      }
    }
    Key key;
    for (size_t level = 0; level < 3; ++level) {
      for (const auto& weights : all)
        if (weights[level] != 0) key.push_back(static_cast<int>(weights[level]));
      key.push_back(0);
    }
    return key;
  }

 private:
  static std::u32string decompose(const std::string& text) {
    static const int numRows = tera_table_len(tera_expand_accent_map);
    std::u32string characters;
    for (const char* place = text.c_str(); *place != 0;) {
      int code = 0;
      place += TeraUtf::to_uni(&code, place);
      int parts[TERA_MAX_EXPANSION] = {code};
      const int row = tera_expand_search(tera_expand_accent_map, code);
      const int count = row >= 0 ? tera_expand_map(tera_expand_accent_map, row, parts, numRows) : 1;
      characters.insert(characters.end(), parts, parts + count);
    }
    return characters;
  }

  std::map<std::u32string, std::vector<std::array<unsigned, 3>>> elements;
};

}  // namespace oracle
