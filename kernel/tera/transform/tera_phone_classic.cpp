// Soundex, Metaphone and Cologne phonetics by their published definitions.
#include "tera/transform/tera_phone_internal.h"

namespace phone {

namespace {

constexpr std::size_t SOUNDEX_LENGTH = 4;

/// Digits of a to z: 0 a vowel, which separates equal digits; - h and w, which do not.
constexpr char SOUNDEX_DIGITS[] = "01230120022455012623010202";
static_assert(sizeof(SOUNDEX_DIGITS) == 27);

bool is_silent_in_soundex(char c) {
  return c == 'h' || c == 'w';
}

constexpr std::string_view VOWELS = "AEIOU";
constexpr std::string_view FRONT_VOWELS = "IEY";

bool is_vowel(char c) {
  return c != '\0' && is_one_of(c, VOWELS);
}
bool is_front_vowel(char c) {
  return c != '\0' && is_one_of(c, FRONT_VOWELS);
}

/// The word being coded in Metaphone.
class Metaphone {
 public:
  Metaphone(std::string_view text, char* out) : word(text), end(out) {}

  char* code() {
    skip_silent_start();
    for (; pos < word.size(); ++pos)
      if (look(0) != look(-1) || look(0) == 'C' || pos == start) code_letter();
    return end;
  }

 private:
  char look(int offset) const {
    const auto index = static_cast<long>(pos) + offset;
    return index < static_cast<long>(start) ? '\0' : at(word, static_cast<std::size_t>(index));
  }
  bool follows(std::string_view text) const { return word.substr(pos + 1, text.size()) == text; }
  bool is_last() const { return pos + 1 >= word.size(); }
  void put(char c) { *end++ = c; }

  /// KN, GN, PN, AE, WR lose their first letter, WH its second, X is said as S.
  void skip_silent_start() {
    const std::string_view two = word.substr(0, 2);
    if (two == "KN" || two == "GN" || two == "PN" || two == "AE" || two == "WR") {
      pos = start = 1;
    } else if (two == "WH") {
      put('W');
      pos = start = 2;
    } else if (at(word, 0) == 'X') {
      put('S');
      pos = start = 1;
    }
  }

  void code_letter() {
    switch (look(0)) {
      case 'A':
      case 'E':
      case 'I':
      case 'O':
      case 'U':
        if (pos == start && end == begin) put(look(0));
        break;
      case 'B':
        if (!(look(-1) == 'M' && is_last())) put('B');
        break;
      case 'C':
        code_c();
        break;
      case 'D':
        put(look(1) == 'G' && is_front_vowel(look(2)) ? 'J' : 'T');
        break;
      case 'G':
        code_g();
        break;
      case 'H':
        code_h();
        break;
      case 'K':
        if (look(-1) != 'C') put('K');
        break;
      case 'P':
        put(look(1) == 'H' ? 'F' : 'P');
        break;
      case 'Q':
        put('K');
        break;
      case 'S':
        put(look(1) == 'H' || follows("IO") || follows("IA") ? 'X' : 'S');
        break;
      case 'T':
        code_t();
        break;
      case 'V':
        put('F');
        break;
      case 'W':
      case 'Y':
        if (is_vowel(look(1))) put(look(0));
        break;
      case 'X':
        put('K');
        put('S');
        break;
      case 'Z':
        put('S');
        break;
      default:  // F, J, L, M, N, R
        put(look(0));
    }
  }

  void code_c() {
    if (look(1) == 'H')
      put(look(-1) == 'S' ? 'K' : 'X');
    else if (follows("IA"))
      put('X');
    else if (is_front_vowel(look(1)) && look(-1) == 'S')
      return;  // part of SCI, SCE, SCY
    else if (is_front_vowel(look(1)))
      put('S');
    else
      put('K');
  }

  void code_g() {
    const bool isSilentGh = look(1) == 'H' && pos + 2 < word.size() && !is_vowel(look(2));
    const bool isSilentGn = word.substr(pos) == "GN" || word.substr(pos) == "GNED";
    const bool isPartOfDge = look(-1) == 'D' && is_front_vowel(look(1));
    if (isSilentGh || isSilentGn || isPartOfDge) return;
    put(is_front_vowel(look(1)) && look(-1) != 'G' ? 'J' : 'K');
  }

  void code_h() {
    if (look(-1) != '\0' && is_one_of(look(-1), "CGPST")) return;  // part of CH, GH, PH, SH, TH
    if (is_vowel(look(-1)) && !is_vowel(look(1))) return;
    put('H');
  }

  void code_t() {
    if (follows("IA") || follows("IO"))
      put('X');
    else if (look(1) == 'H' || follows("TH"))
      put('0');
    else if (!follows("CH"))
      put('T');
  }

  std::string_view word;
  std::size_t start = 0;  // behind a silent start
  std::size_t pos = 0;
  char* end;
  char* begin = end;
};

/// Digit of a letter in Cologne phonetics: '0' for vowels, 0 for H; X is coded by the caller.
char cologne_digit(std::string_view word, std::size_t pos) {
  const char previous = pos > 0 ? word[pos - 1] : '\0';
  const char next = at(word, pos + 1);
  const auto isNext = [next](std::string_view set) { return next != '\0' && is_one_of(next, set); };
  const auto isPrevious = [previous](std::string_view set) {
    return previous != '\0' && is_one_of(previous, set);
  };
  switch (word[pos]) {
    case 'B':
      return '1';
    case 'P':
      return next == 'H' ? '3' : '1';
    case 'D':
    case 'T':
      return isNext("CSZ") ? '8' : '2';
    case 'F':
    case 'V':
    case 'W':
      return '3';
    case 'G':
    case 'K':
    case 'Q':
      return '4';
    case 'C':
      if (pos == 0) return isNext("AHKLOQRUX") ? '4' : '8';
      return isNext("AHKOQUX") && !isPrevious("SZ") ? '4' : '8';
    case 'X':
      return isPrevious("CKQ") ? '8' : 'X';
    case 'L':
      return '5';
    case 'M':
    case 'N':
      return '6';
    case 'R':
      return '7';
    case 'S':
    case 'Z':
      return '8';
    case 'H':
      return '\0';
    default:
      return '0';  // A, E, I, J, O, U, Y
  }
}

/// Names of the digits, as they are spoken.
constexpr std::string_view DIGIT_WORDS[] = {"NULL", "EINS",  "ZWEI",   "DREI", "VIER",
                                            "FUNF", "SECHS", "SIEBEN", "ACHT", "NEUN"};

/// Codes a piece of letters; `last` is the last digit written so far, and vowels only count at the start.
char* cologne_piece(std::string_view word, bool is_start, char* last, char* out) {
  const auto put = [&](char digit) {
    if (digit != *last && (digit != '0' || is_start)) *out++ = digit;
    *last = digit;
    is_start = false;
  };
  for (std::size_t pos = 0; pos < word.size(); ++pos) {
    const char digit = cologne_digit(word, pos);
    if (digit == 'X') {
      put('4');
      put('8');
    } else if (digit != '\0') {
      put(digit);
    }
  }
  return out;
}

}  // namespace

char* soundex(std::string_view word, char* out) {
  if (word.empty()) return out;
  char* end = out;
  *end++ = static_cast<char>(word[0] - 'a' + 'A');
  char last = SOUNDEX_DIGITS[word[0] - 'a'];
  for (std::size_t pos = 1; pos < word.size() && end < out + SOUNDEX_LENGTH; ++pos) {
    if (is_silent_in_soundex(word[pos])) continue;
    const char digit = SOUNDEX_DIGITS[word[pos] - 'a'];
    if (digit != '0' && digit != last) *end++ = digit;
    last = digit;
  }
  while (end < out + SOUNDEX_LENGTH) *end++ = '0';
  return end;
}

char* metaphone(std::string_view word, char* out) {
  return Metaphone(word, out).code();
}

char* cologne(std::string_view word, char* out) {
  char* const begin = out;
  char last = '\0';
  while (!word.empty()) {
    if (word[0] >= '0' && word[0] <= '9') {
      out = cologne_piece(DIGIT_WORDS[word[0] - '0'], out == begin && last == '\0', &last, out);
      word.remove_prefix(1);
      continue;
    }
    const std::string_view letters = word.substr(0, word.find_first_of("0123456789"));
    out = cologne_piece(letters, out == begin && last == '\0', &last, out);
    word.remove_prefix(letters.size());
  }
  return out;
}

}  // namespace phone
