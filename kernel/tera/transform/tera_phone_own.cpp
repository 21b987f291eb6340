// The Latin code and the shape code. docs/phonetic-codes.md explains the rules to users.
#include "tera/transform/tera_phone_internal.h"

#include <array>
#include <iterator>
#include <string>

namespace phone {

namespace {

// ---------------------------------------------------------------- Latin code

bool is_vowel(char c) {
  return c == 'E' || c == 'O';
}
bool is_liquid(char c) {
  return c == 'R' || c == 'L' || c == 'N';
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

struct Respelling {
  std::string_view from;
  std::string_view to;
};

/// Letter groups that are one sound; the longest that fits is taken. C stands for "tsch" in the code. Z is S
/// and X is K already.
constexpr Respelling SOUNDS[] = {
    {"TSSCH", "C"}, {"TSCH", "C"}, {"TCH", "C"}, {"CS", "C"}, {"SCH", "S"}, {"SH", "S"},
    {"TS", "S"},    {"CHS", "K"},  {"CKS", "K"}, {"KS", "K"}, {"CH", "K"},  {"CK", "K"},
    {"PH", "F"},    {"TH", "T"},   {"RH", "R"},  {"GH", "G"}, {"KH", "K"},
};

/// One sound per letter: groups are respelled, Y becomes a vowel or, before one at the start, G.
std::string spell_sounds(std::string_view word) {
  std::string sounds;
  while (!word.empty()) {
    std::string_view taken = word.substr(0, 1);
    std::string_view sound = taken;
    for (const Respelling& respelling : SOUNDS)
      if (word.substr(0, respelling.from.size()) == respelling.from &&
          respelling.from.size() > taken.size()) {
        taken = respelling.from;
        sound = respelling.to;
      }
    if (taken == "C") sound = "K";
    if (taken == "Y") sound = sounds.empty() && is_vowel(at(word, 1)) ? "G" : "E";
    sounds += sound;
    word.remove_prefix(taken.size());
  }
  return sounds;
}

/// Drops silent H, makes a run of vowels one vowel (O if there is one in it), and doubled consonants single.
std::string collapse(std::string_view sounds) {
  std::string skeleton;
  for (std::size_t i = 0; i < sounds.size(); ++i) {
    const char c = sounds[i];
    if (c == 'H' && i > 0) continue;
    if (!skeleton.empty() && is_vowel(c) && is_vowel(skeleton.back())) {
      if (c == 'O') skeleton.back() = c;
    } else if (skeleton.empty() || skeleton.back() != c || is_digit(c)) {
      skeleton += c;
    }
  }
  return skeleton;
}

bool ends_with(const std::string& text, std::string_view ending) {
  return text.size() > ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

/// Endings that are written with and without their E: -ne, -fe, -se lose it at the end, -sef inside.
void drop_weak_ending(std::string* skeleton) {
  if (ends_with(*skeleton, "SEF"))
    skeleton->erase(skeleton->size() - 2, 1);
  else if (ends_with(*skeleton, "NE") || ends_with(*skeleton, "FE") || ends_with(*skeleton, "SE"))
    skeleton->pop_back();
}

/// Drops the E of an open weak syllable: a consonant, E, a liquid and a vowel, behind the first vowel.
std::string drop_weak_vowels(const std::string& skeleton) {
  std::string code;
  bool hasVowel = false;
  for (std::size_t i = 0; i < skeleton.size(); ++i) {
    const char c = skeleton[i];
    const bool isWeak = c == 'E' && hasVowel && i > 0 && !is_vowel(skeleton[i - 1]) &&
                        is_liquid(at(skeleton, i + 1)) && is_vowel(at(skeleton, i + 2));
    if (!isWeak) code += c;
    hasVowel = hasVowel || is_vowel(c);
  }
  return code;
}

// ---------------------------------------------------------------- shape code

/// Classes of letters that look alike; the first letter stands for its class. A letter that is in several
/// belongs to the first.
constexpr std::string_view SHAPES[] = {"MWHNUVX", "AJLTY", "CDGQS", "BFKPRZ", "nuwm", "rivxz", "aces",
                                       "ot",      "gq",    "oy",    "fl",     "kh",   "tr"};
/// Pairs that look like one letter.
constexpr Respelling SHAPE_PAIRS[] = {{"II", "M"}, {"rr", "n"}, {"yo", "o"}, {"to", "o"}};

constexpr std::array<char, 128> make_shapes() {
  std::array<char, 128> shapes{};
  for (std::size_t c = 0; c < shapes.size(); ++c) shapes[c] = static_cast<char>(c);
  for (std::size_t group = std::size(SHAPES); group-- > 0;)
    for (const char c : SHAPES[group]) shapes[static_cast<unsigned char>(c)] = SHAPES[group][0];
  // Members of late classes whose first letter belongs to an earlier one follow it.
  for (char& shape : shapes) shape = shapes[static_cast<unsigned char>(shape)];
  return shapes;
}
constexpr std::array<char, 128> SHAPE_OF = make_shapes();

}  // namespace

char* latin_code(std::string_view word, char* out) {
  std::string skeleton = collapse(spell_sounds(word));
  drop_weak_ending(&skeleton);
  const std::string code = drop_weak_vowels(skeleton);
  return out + code.copy(out, code.size());
}

char* shape_code(std::string_view word, char* out) {
  char* const begin = out;
  while (!word.empty()) {
    std::size_t length = 1;
    char shape = SHAPE_OF[static_cast<unsigned char>(word[0]) & 0x7F];
    for (const Respelling& pair : SHAPE_PAIRS)
      if (word.substr(0, 2) == pair.from) {
        shape = pair.to[0];
        length = 2;
      }
    if (out == begin || out[-1] != shape || is_digit(shape)) *out++ = shape;  // runs look like one
    word.remove_prefix(length);
  }
  return out;
}

}  // namespace phone
