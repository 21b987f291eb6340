// Teasers straight from query words: the words of a text that resemble one of them are marked.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "tera/teaser/teaser_text_internal.h"
#include "tera/tera_word.h"

namespace {

constexpr int LEAST_QUALITY = 150;
/// A run without separators that is longer is no word that somebody types.
constexpr std::size_t LONGEST_WORD = 1024;
constexpr int CONTEXT_PART = 4;
constexpr int PLAIN = TeraWordOptions::NO_GLOB | TeraWordOptions::TRANSPOSE;
constexpr int BEGINNING = PLAIN | TeraWordOptions::FREE_ENTRY_SUFFIX;

/// ASCII letters and digits, and everything that is not ASCII.
bool is_word_byte(char c) {
  return (c & 0x80) != 0 || (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z');
}

/// The best of the words for a word of the text, as a whole or as the beginning of it.
TeaserSpan best_span(const char* word, int num, const TeraWord* const* words) {
  static TeraEval::Eval* const whole = TeraEval::get_model_func(TeraEval::MAXIMUM, 0);
  static TeraEval::Eval* const part = TeraEval::get_model_func(TeraEval::QUERY, 0);
  TeaserSpan best{0, 0, 0, -1};
  for (int i = 0; i < num; ++i) {
    if (words[i] == nullptr || words[i]->length() <= 0) continue;
    const int quality = std::max(words[i]->leven(word, whole, PLAIN), words[i]->leven(word, part, BEGINNING));
    if (quality <= best.quality) continue;
    best.quality = std::min(quality, TeraEval::PERFECT);
    best.word = i;
  }
  return best;
}

}  // namespace

char* TeraWord::generate_teaser(const char* text, int num, const TeraWord* const* words, const TeraMap* map,
                                const char* prefix, const char* suffix, int max_length, int min_context,
                                AceAttach* at) {
  if (text == nullptr || prefix == nullptr || suffix == nullptr || max_length < 0) return nullptr;
  const TeaserStyle style{prefix, suffix, max_length, std::clamp(min_context, 0, max_length / CONTEXT_PART),
                          map != nullptr && map->has_uni() != 0};
  const std::string_view all(text);
  TeaserText marked(all, style);
  std::string word;
  for (std::size_t from = 0, to = 0; from < all.size(); from = to + 1) {
    to = from;
    while (to < all.size() && is_word_byte(all[to])) ++to;
    if (to == from || to - from > LONGEST_WORD) continue;
    word.assign(all.substr(from, to - from));
    const TeaserSpan best = best_span(word.c_str(), num, words);
    if (best.quality >= LEAST_QUALITY)
      marked.add({static_cast<int>(from), static_cast<int>(to), best.quality, best.word});
  }
  return marked.build(at);
}

char* TeraWord::make_teaser(const char* text, const char* prefix, const char* suffix, int max_length,
                            int min_context, AceAttach* at) const {
  const TeraWord* const self = this;
  return generate_teaser(text, 1, &self, mapConfig, prefix, suffix, max_length, min_context, at);
}
