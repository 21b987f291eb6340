#include "ace/ace_str_map.h"

#include "ace/ace_str_internal.h"

namespace {

constexpr ByteMap LINE_SEPARATORS = map_of("\n\r");
constexpr ByteMap WORD_SEPARATORS = map_of(" \t-.;,");

/// Maps the letters from `first` to `first` + 25 to the same letters of the other case; other entries are 0.
constexpr ByteMap case_map(char first, char other) {
  ByteMap map{};
  for (int letter = 0; letter < 26; ++letter)
    map[byte_of(first) + static_cast<unsigned>(letter)] = static_cast<unsigned char>(other + letter);
  return map;
}
constexpr ByteMap TO_LOWER = case_map('A', 'a');
constexpr ByteMap TO_UPPER = case_map('a', 'A');

constexpr char mapped(const ByteMap& map, char c) {
  const unsigned char other = map[byte_of(c)];
  return other != 0 ? static_cast<char>(other) : c;
}

char* map_case(const ByteMap& map, char* s) {
  if (s != nullptr)
    for (char* c = s; *c != '\0'; ++c) *c = mapped(map, *c);
  return s;
}

}  // namespace

const unsigned char* ace_linesepmap() {
  return LINE_SEPARATORS.data();
}

const unsigned char* ace_wordsepmap() {
  return WORD_SEPARATORS.data();
}

unsigned char* strgenmap(const char* chars, unsigned char* map, int) {
  for (const char c : view_of(chars)) map[byte_of(c)] = 1;
  return map;
}

int strrmsep(char* s, const unsigned char* map) {
  if (s == nullptr) return 0;
  char* end = s;
  for (const char* from = s; *from != '\0'; ++from)
    if (map[byte_of(*from)] == 0) *end++ = *from;
  *end = '\0';
  return static_cast<int>(end - s);
}

int ace_string_init() {
  return 0;
}

char toupper_C(char c) {
  return mapped(TO_UPPER, c);
}

char tolower_C(char c) {
  return mapped(TO_LOWER, c);
}

char to_upper_char(char c) {
  return static_cast<char>(TO_UPPER[byte_of(c)]);
}

char* strtoupper(char* s) {
  return map_case(TO_UPPER, s);
}

char* strtolower(char* s) {
  return map_case(TO_LOWER, s);
}

int strcapital(char* s) {
  if (s == nullptr) return 0;
  bool inWord = false;
  char* c = s;
  for (; *c != '\0'; ++c) {
    *c = mapped(inWord ? TO_LOWER : TO_UPPER, *c);
    inWord = !is_white_space(*c);
  }
  return static_cast<int>(c - s);
}
