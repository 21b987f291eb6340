/// The data of the look-up benchmark: real words, made entries, and queries, the same in every run.
#pragma once

#include <fstream>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include "tera/tera_map.h"
#include "tera/tera_map_config.h"
#include "tera/tera_reader.h"

namespace lookup {

inline std::vector<std::string> real_words() {
  std::vector<std::string> words;
  std::unordered_set<std::string> seen;
  for (const char* name : {"/usr/share/dict/american-english-huge", "/usr/share/dict/ngerman"}) {
    std::ifstream list(name);
    for (std::string word; std::getline(list, word);)
      if (seen.insert(word).second) words.push_back(word);
  }
  return words;
}

/// One or two letters put in, taken out or replaced.
inline std::string edited(std::string word, std::mt19937& random) {
  for (unsigned edits = 1 + random() % 2; edits > 0; --edits) {
    std::size_t at = random() % (word.size() + 1);
    while (at < word.size() && (static_cast<unsigned char>(word[at]) & 0x80) != 0)
      ++at;  // between characters
    const char letter = static_cast<char>('a' + random() % 26);
    const bool isPlain = at < word.size() && (static_cast<unsigned char>(word[at]) & 0x80) == 0;
    switch (random() % 3) {
      case 0:
        word.insert(at, 1, letter);
        break;
      case 1:
        if (isPlain) word[at] = letter;
        break;
      default:
        if (isPlain && word.size() > 2) word.erase(at, 1);
    }
  }
  return word;
}

/// Distinct entries: the real words, then words made from them; or the first of the words.
inline std::vector<std::string> entries(const std::vector<std::string>& words, std::size_t num) {
  std::mt19937 random(1);
  std::vector<std::string> all(words);
  std::shuffle(all.begin(), all.end(), std::mt19937(2));
  if (num < all.size()) all.resize(num);
  all.reserve(num);
  std::unordered_set<std::string> seen(all.begin(), all.end());
  while (all.size() < num)
    if (std::string made = edited(words[random() % words.size()], random); seen.insert(made).second)
      all.push_back(std::move(made));
  return all;
}

inline std::vector<std::string> queries(const std::vector<std::string>& entries, std::size_t num) {
  std::mt19937 random(3);
  std::vector<std::string> made;
  while (made.size() < num) made.push_back(edited(entries[random() % entries.size()], random));
  return made;
}

/// Letters and digits, whatever their case and accents.
inline void make_map(TeraMap* map) {
  TeraMapConfig config("utf-8");
  config.set_tokens("A-Z0-9ÄÖÜß");
  config.map_upper();
  config.deaccentuate();
  config.compile_map(map);
}

/// Attribute numbers are 1 and 2 in turns, as a language might be.
class EntryReader : public TeraReader {
 public:
  explicit EntryReader(const std::vector<std::string>& all) : list(all) {}
  int get_line(const char** string, Large* info, VInt* line) override {
    if (next == list.size()) return 0;
    if (string != nullptr) *string = list[next].c_str();
    ++next;
    if (info != nullptr) *info = static_cast<Large>(1 + next % 2);
    if (line != nullptr) *line = static_cast<VInt>(next);
    return 1;
  }
  int rewind() override {
    next = 0;
    return 0;
  }
  VInt get_estimate() override { return static_cast<VInt>(list.size()); }

 private:
  const std::vector<std::string>& list;
  std::size_t next = 0;
};

}  // namespace lookup
