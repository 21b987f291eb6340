/// What lines of several words are worth for a query, from the definition: every way to give query words line
/// words is tried.
#pragma once

#include <algorithm>
#include <cctype>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace oracle {

/// Letters and digits are tokens.
inline int multi_tokens(const std::string& text) {
  return static_cast<int>(
      std::count_if(text.begin(), text.end(), [](unsigned char c) { return std::isalnum(c) != 0; }));
}

/// How texts are cut.
struct MultiRules {
  std::string partSeparators;
  int minPart = 1;
  bool joins = false;
};

/// A run of atoms [first, last) that counts as one word.
struct MultiSpan {
  int first;
  int last;
  std::string text;
};

struct MultiWords {
  std::vector<std::string> atoms;
  std::vector<MultiSpan> spans;

  MultiWords(const std::string& text, const MultiRules& rules, bool short_parts) {
    std::vector<MultiSpan> words;
    for (const std::string& word : cut(text, " ")) {
      const std::vector<std::string> parts = cut(word, rules.partSeparators);
      const int first = static_cast<int>(atoms.size());
      for (const std::string& part : parts) {
        const int atom = static_cast<int>(atoms.size());
        if (parts.size() > 1 && (short_parts || multi_tokens(part) >= rules.minPart))
          spans.push_back({atom, atom + 1, part});
        atoms.push_back(part);
      }
      if (parts.empty()) continue;
      words.push_back({first, static_cast<int>(atoms.size()), word});
      spans.push_back(words.back());
    }
    for (std::size_t i = 1; i < words.size() && rules.joins; ++i)
      spans.push_back({words[i - 1].first, words[i].last, words[i - 1].text + words[i].text});
  }
  int tokens(const MultiSpan& span) const {
    int sum = 0;
    for (int i = span.first; i < span.last; ++i) sum += multi_tokens(atoms[static_cast<std::size_t>(i)]);
    return sum;
  }
  /// The tokens of the atoms, whatever their case.
  bool operator==(const MultiWords& other) const {
    return std::equal(
        atoms.begin(), atoms.end(), other.atoms.begin(), other.atoms.end(), [](std::string a, std::string b) {
          const auto is_no_token = [](unsigned char c) { return std::isalnum(c) == 0; };
          std::erase_if(a, is_no_token);
          std::erase_if(b, is_no_token);
          return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
            return std::tolower(x) == std::tolower(y);
          });
        });
  }
  int tokens() const { return tokens({0, static_cast<int>(atoms.size()), ""}); }

 private:
  static std::vector<std::string> cut(const std::string& text, const std::string& separators) {
    std::vector<std::string> pieces(1);
    for (const char c : text) {
      if (separators.find(c) == std::string::npos)
        pieces.back() += c;
      else
        pieces.emplace_back();
    }
    std::erase(pieces, "");
    return pieces;
  }
};

/// The quality of a query span with a line span, 0 for none.
using MultiPair = std::function<int(const MultiWords& query, const MultiSpan& from, const MultiSpan& to)>;

struct MultiBest {
  long weight = 0;
  int covered = 0;
};

/// The most that disjoint pairs add up to; of those that do, the most query atoms that they cover.
inline MultiBest best_pairs(const MultiWords& query, const MultiWords& line, const MultiPair& pair,
                            int atom = 0, unsigned long taken = 0) {
  if (atom == static_cast<int>(query.atoms.size())) return {};
  MultiBest best = best_pairs(query, line, pair, atom + 1, taken);
  for (const MultiSpan& from : query.spans) {
    if (from.first != atom) continue;
    for (const MultiSpan& to : line.spans) {
      const unsigned long bits = (1UL << to.last) - (1UL << to.first);
      const int quality = (bits & taken) == 0 ? pair(query, from, to) : 0;
      if (quality == 0) continue;
      MultiBest rest = best_pairs(query, line, pair, from.last, taken | bits);
      rest.weight += static_cast<long>(quality) * query.tokens(from);
      rest.covered += from.last - from.first;
      if (rest.weight > best.weight || (rest.weight == best.weight && rest.covered > best.covered))
        best = rest;
    }
  }
  return best;
}

}  // namespace oracle
