/// A character map in plain form: tables by code point, no packing, no index.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace oracle {

inline std::string utf8(int uni) {
  std::string text;
  if (uni < 0x80) return std::string(1, static_cast<char>(uni));
  if (uni < 0x800) {
    text += static_cast<char>(0xC0 | uni >> 6);
  } else {
    if (uni < 0x10000) {
      text += static_cast<char>(0xE0 | uni >> 12);
    } else {
      text += static_cast<char>(0xF0 | uni >> 18);
      text += static_cast<char>(0x80 | (uni >> 12 & 0x3F));
    }
    text += static_cast<char>(0x80 | (uni >> 6 & 0x3F));
  }
  return text + static_cast<char>(0x80 | (uni & 0x3F));
}

class CharMap {
 public:
  struct Scanned {
    std::string tokens;
    std::vector<int> behind;  // per token, the offset behind its character
    int end = 0;              // where the text ended
    bool isOpen = false;      // inside an alternative at the end
  };

  std::map<int, std::string> mappings;  // character to tokens
  std::map<int, int> characters;        // token to character
  std::map<char, int> operators;

  void add_token(int uni) {
    const int tok = static_cast<int>(characters.size()) + 1;
    characters[tok] = uni;
    mappings[uni] = std::string(1, static_cast<char>(tok));
  }
  void map(int from, const std::string& tokens) {
    if (!tokens.empty()) mappings[from] = tokens.substr(0, 4);
  }
  std::string tokens_of(int uni) const {
    const auto found = mappings.find(uni);
    return found != mappings.end() ? found->second : "";
  }

  void map_table(const int (*table)[2]) {
    for (; (*table)[0] != 0; ++table) map((*table)[0], tokens_of((*table)[1]));
  }
  /// Without rows that point to the following code point: the tables have none.
  void map_expand_table(const int (*table)[3]) {
    std::map<int, std::vector<int>> rows;
    int head = 0;
    for (; (*table)[0] != 0; ++table) {
      if ((*table)[0] > 0) head = (*table)[0];
      for (const int part : {(*table)[1], (*table)[2]})
        if (part != 0) rows[head].push_back(part);
    }
    for (const auto& [uni, parts] : rows) {
      const std::vector<int> all = expanded(rows, uni);
      std::string tokens;
      if (all.size() <= 5)
        for (const int part : all) tokens += tokens_of(part);
      map(uni, tokens);
    }
  }

  Scanned scan(std::string_view text, bool noGlob) const {
    std::set<unsigned char> leads;
    for (const auto& [uni, tokens] : mappings)
      if (uni >= 0x80) leads.insert(static_cast<unsigned char>(utf8(uni)[0]));
    Scanned result;
    size_t pos = 0;
    const auto add = [&](const std::string& tokens) {
      result.tokens += tokens;
      result.behind.insert(result.behind.end(), tokens.size(), static_cast<int>(pos));
    };
    while (pos < text.size()) {
      const auto byte = static_cast<unsigned char>(text[pos]);
      if (const auto found = operators.find(text[pos]); found != operators.end()) {
        ++pos;
        const bool isOut =
            (found->second == 251 && result.isOpen) || (found->second == 252 && !result.isOpen);
        if (noGlob || isOut) continue;
        if (found->second == 251) result.isOpen = true;
        if (found->second == 252) result.isOpen = false;
        add(std::string(1, static_cast<char>(found->second)));
      } else if (byte < 0x80) {
        ++pos;
        add(tokens_of(byte));
      } else if (leads.count(byte) == 0) {
        ++pos;
      } else {
        const int size = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
        int uni = byte & (0x7F >> size);
        for (int i = 1; i < size; ++i) {
          const size_t at = pos + static_cast<size_t>(i);
          const int next = at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
          if ((next & 0xC0) != 0x80) {
            result.end = static_cast<int>(pos);
            return result;
          }
          uni = uni << 6 | (next & 0x3F);
        }
        pos += static_cast<size_t>(size);
        add(tokens_of(uni));
      }
    }
    result.end = static_cast<int>(pos);
    return result;
  }

  std::string text_of(std::string_view tokens) const {
    std::string text;
    for (const char tok : tokens) {
      const int value = static_cast<unsigned char>(tok);
      if (value < 250) text += utf8(characters.at(value));
      for (const auto& [c, op] : operators)
        if (op == value) text += c;
    }
    return text;
  }

  /// Offset of the first byte from `pos` on that is not skipped (operators off); at most `end`.
  int skip(std::string_view text, int pos) const {
    const int end = scan(text, true).end;
    while (pos < end) {
      const size_t size = char_size(text, static_cast<size_t>(pos));
      if (!scan(text.substr(static_cast<size_t>(pos), size), true).tokens.empty()) break;
      pos += static_cast<int>(size);
    }
    return pos < end ? pos : end;
  }

 private:
  size_t char_size(std::string_view text, size_t pos) const {
    for (size_t size = 2; size <= 4 && pos + size <= text.size(); ++size)
      if (scan(text.substr(pos, 1), true).end == 0 &&
          scan(text.substr(pos, size), true).end == static_cast<int>(size))
        return size;
    return 1;
  }

  static std::vector<int> expanded(const std::map<int, std::vector<int>>& rows, int uni) {
    const auto row = rows.find(uni);
    if (row == rows.end()) return {uni};
    std::vector<int> all;
    for (const int part : row->second)
      for (const int inner : expanded(rows, part)) all.push_back(inner);
    return all;
  }
};

}  // namespace oracle
