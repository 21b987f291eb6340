/// The coders of `PhoneTransform`. Each takes a normalised word (letters of its map only, in the case given)
/// and appends its code to `out`, which must hold 4 times the word and 8 bytes more.
#pragma once

#include <string_view>

namespace phone {

/// Lower-case letters. A letter and three digits: 4 bytes; nothing for an empty word.
char* soundex(std::string_view word, char* out);
/// Upper-case letters.
char* metaphone(std::string_view word, char* out);
/// Upper-case letters and digits.
char* cologne(std::string_view word, char* out);
/// Folded letters CGPFSKTNREOHLY and digits.
char* latin_code(std::string_view word, char* out);
/// Letters of both cases and digits.
char* shape_code(std::string_view word, char* out);

inline bool is_one_of(char c, std::string_view set) {
  return set.find(c) != std::string_view::npos;
}
/// The character at `index`, or 0 outside of the word.
inline char at(std::string_view word, std::size_t index) {
  return index < word.size() ? word[index] : '\0';
}

}  // namespace phone
