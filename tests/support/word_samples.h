/// Random query words and entries: few letters, so that ties and swaps abound, and operators among them.
#pragma once

#include <bitset>
#include <random>
#include <string>
#include <vector>

#include "oracle/words.h"

namespace samples {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool SLOW = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool SLOW = true;
#else
inline constexpr bool SLOW = false;
#endif
#else
inline constexpr bool SLOW = false;
#endif

/// A token string with its 0.
using Tokens = std::vector<unsigned char>;

class Random {
 public:
  explicit Random(unsigned seed) : engine(seed) {}
  /// From 0 to `limit` - 1.
  int below(int limit) { return static_cast<int>(engine() % static_cast<unsigned>(limit)); }
  unsigned char letter() { return static_cast<unsigned char>(1 + below(3)); }

 private:
  std::mt19937 engine;
};

/// `length` positions; with `operators` some are alternatives or wildcards, and separators and wildcard
/// sequences stand between some.
inline Tokens word(Random& random, int length, bool operators) {
  Tokens tokens;
  for (int i = 0; i < length; ++i) {
    switch (operators ? random.below(16) : 5) {
      case 0:
        tokens.push_back(250);
        break;
      case 1:
        tokens.push_back(253);
        [[fallthrough]];
      case 2:
        tokens.push_back(251);
        for (int member = random.below(3); member >= 0; --member) tokens.push_back(random.letter());
        tokens.push_back(252);
        break;
      case 3:
        tokens.push_back(255);
        [[fallthrough]];
      case 4:
        tokens.push_back(253);
        [[fallthrough]];
      default:
        tokens.push_back(random.letter());
    }
  }
  if (operators && random.below(8) == 0) tokens.push_back(random.below(2) == 0 ? 255 : 253);
  tokens.push_back(0);
  return tokens;
}

/// The word with some of its tokens changed, dropped or swapped; its alternatives may come apart.
inline Tokens edited(Random& random, Tokens tokens, int edits) {
  for (int i = 0; i < edits && tokens.size() > 3; ++i) {
    const auto at = tokens.begin() + random.below(static_cast<int>(tokens.size()) - 2);
    switch (random.below(3)) {
      case 0:
        *at = random.letter();
        break;
      case 1:
        tokens.erase(at);
        break;
      default:
        std::swap(at[0], at[1]);
    }
  }
  return tokens;
}

inline bool has_alternative(const Tokens& tokens) {
  return std::find(tokens.begin(), tokens.end(), 251) != tokens.end();
}

/// All words of up to `max_length` of the first `letters` letters.
inline std::vector<Tokens> all_words(int letters, int max_length) {
  std::vector<Tokens> words = {{0}};
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (static_cast<int>(words[i].size()) > max_length) continue;
    for (int letter = 1; letter <= letters; ++letter) {
      Tokens longer = words[i];
      longer.insert(longer.end() - 1, static_cast<unsigned char>(letter));
      words.push_back(longer);
    }
  }
  return words;
}

inline std::string letters(Random& random, int length) {
  std::string text;
  while (length-- > 0) text += static_cast<char>('a' + random.below(3));
  return text;
}

/// Letters with blanks, operators and characters of two bytes and of two tokens among them.
inline std::string text(Random& random, int length) {
  static const char* const PIECES[] = {"a",    "b", "c", "a", "b",        "c",        " ", ".",
                                       "[ab]", "?", "*", "|", "\xC3\xA4", "\xC3\x9F", "s", "[b?c]"};
  std::string all;
  while (length-- > 0) all += PIECES[random.below(std::size(PIECES))];
  return all;
}

inline std::string print(const oracle::Positions& positions) {
  std::string text;
  for (int i = 0; i <= positions.size(); ++i) {
    for (const int run : positions.runs) text += run == i ? "*" : "";
    for (const int start : positions.wordStarts) text += start == i ? "|" : "";
    if (i == positions.size()) break;
    text += "[";
    for (int tok = 1; tok < 256; ++tok)
      if (positions.tokens[i].test(tok))
        text += tok == 250 ? "?" : std::string(1, static_cast<char>('`' + tok));
    text += "]";
  }
  return text;
}

}  // namespace samples
