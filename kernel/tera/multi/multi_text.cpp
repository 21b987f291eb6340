#include "tera/multi/multi_text_internal.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr char DOT = '.';

bool is_letter(char c) {
  return (c & 0x80) != 0 || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z');
}

}  // namespace

void MultiRules::add_separators(const char* bytes) {
  for (; bytes != nullptr && *bytes != '\0'; ++bytes) splits[static_cast<unsigned char>(*bytes)] = true;
}

void MultiRules::add_unmapped() {
  for (int c = 1; c < 128; ++c)
    if (map->map_any_char(c) == 0) splits[static_cast<std::size_t>(c)] = true;
}

int MultiRules::count_tokens(const char* text) const {
  const int positions = operators ? map->alt_len(text, false) : -1;
  return positions >= 0 ? positions : map->tok_len(text, true);
}

Large MultiText::store(std::string_view first, std::string_view second) {
  const auto start = static_cast<Large>(buffer.size());
  buffer.append(first).append(second).push_back('\0');
  return start;
}

void MultiText::split(const char* text, const MultiRules& rules) {
  buffer.clear();
  atoms.clear();
  units.clear();
  numTokens = 0;
  lastWord = {};
  const std::string_view all(text);
  for (std::size_t from = 0; from < all.size();) {
    const std::size_t to = std::min(all.find(rules.sepChar, from), all.size());
    if (to > from) add_word(all.substr(from, to - from), static_cast<int>(from), rules);
    from = to + 1;
  }
}

void MultiText::make_words(std::size_t count) {
  buffer.assign(1, '\0');
  atoms.resize(count);
  units.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    const int place = static_cast<int>(i);
    atoms[i] = {0, 0};
    units[i] = {0, 0, place, place + 1, 0, 0, 0};
  }
  numTokens = 0;
  lastWord = {};
}

/// The atoms of a word become units if there are several, and long enough; and so does the word.
void MultiText::add_word(std::string_view word, int from, const MultiRules& rules) {
  Word added{word, from, num_atoms(), num_atoms(), 0};
  const std::size_t numUnits = units.size();
  for (std::size_t start = 0, end = 0; start < word.size(); start = end + 1) {
    end = start;
    while (end < word.size() && !rules.splits[static_cast<unsigned char>(word[end])]) ++end;
    if (end == start) continue;
    const Large stored = store(word.substr(start, end - start));
    const int tokens = rules.count_tokens(buffer.data() + stored);
    if (tokens <= 0) continue;
    const int atom = num_atoms();
    atoms.push_back({stored, tokens});
    added.tokens += tokens;
    const int at = from + static_cast<int>(start);
    if (tokens >= rules.minPart)
      units.push_back(
          {stored, static_cast<int>(end - start), atom, atom + 1, tokens, at, from + static_cast<int>(end)});
  }
  added.last = num_atoms();
  if (added.last == added.first) return;
  if (added.last == added.first + 1) units.resize(numUnits);  // as the whole word
  units.push_back({store(word), static_cast<int>(word.size()), added.first, added.last, added.tokens, from,
                   from + static_cast<int>(word.size())});
  numTokens += added.tokens;
  if (rules.joins && lastWord.last > lastWord.first) add_joined(lastWord, added);
  lastWord = added;
}

bool MultiText::is_innermost(std::size_t unit) const {
  const Unit& outer = units[unit];
  return outer.is_single() || std::none_of(units.begin(), units.end(), [&outer](const Unit& inner) {
           return inner.first >= outer.first && inner.last <= outer.last &&
                  inner.last - inner.first < outer.last - outer.first;
         });
}

void MultiText::add_joined(const Word& first, const Word& second) {
  const int length = static_cast<int>(first.text.size() + second.text.size());
  units.push_back({store(first.text, second.text), length, first.first, second.last,
                   first.tokens + second.tokens, first.from,
                   second.from + static_cast<int>(second.text.size())});
}

bool multi_is_abbreviation(std::string_view word, int tokens, const char* markers) {
  if (word.empty()) return false;
  const char last = word.back();
  if (last == DOT || (markers != nullptr && last != '\0' && std::strchr(markers, last) != nullptr))
    return true;
  return tokens == 1 && is_letter(word.front());
}
