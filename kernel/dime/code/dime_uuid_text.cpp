// UUIDs as texts.
#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "ace/ace_reporter.h"
#include "dime/dime_uuid.h"

namespace {

constexpr int WORD_DIGITS = 16;
constexpr int DIGIT_BITS = 4;
constexpr char NO_DIGIT = 16;
constexpr int VERSION_SHIFT = 12;
constexpr VUint DIGIT_MASK = 15;
constexpr std::size_t TEXT_LENGTH = 36;
/// Where separators stand in a text: in front of these digits.
constexpr std::array<int, 4> GROUP_STARTS = {8, 12, 16, 20};

constexpr std::array<char, 256> make_digit_table() {
  std::array<char, 256> table{};
  table.fill(NO_DIGIT);
  for (char i = 0; i < 10; ++i) table[static_cast<std::size_t>('0' + i)] = i;
  for (char i = 0; i < 6; ++i)
    table[static_cast<std::size_t>('a' + i)] = table[static_cast<std::size_t>('A' + i)] =
        static_cast<char>(10 + i);
  return table;
}
constexpr std::array<char, 256> DIGITS = make_digit_table();

const char* skip_prefix(const char* text) {
  constexpr const char* PREFIX = "urn:uuid:";
  const std::size_t length = std::strlen(PREFIX);
  return (*text | ' ') == 'u' && strncasecmp(text, PREFIX, length) == 0 ? text + length : text;
}

template <class Word>
Word load(const char* text) {
  Word word;
  std::memcpy(&word, text, sizeof word);
  return word;
}

/// Sixteen digits side by side, eight in each half. False when one is none.
bool read_word(VUint first_half, VUint second_half, VUint* word) {
  const __m128i chars = _mm_set_epi64x(static_cast<VInt>(second_half), static_cast<VInt>(first_half));
  const __m128i fromZero = _mm_sub_epi8(chars, _mm_set1_epi8('0'));
  const __m128i fromA = _mm_sub_epi8(_mm_or_si128(chars, _mm_set1_epi8(' ')), _mm_set1_epi8('a'));
  const __m128i isNumber = _mm_cmpeq_epi8(_mm_min_epu8(fromZero, _mm_set1_epi8(9)), fromZero);
  const __m128i isLetter = _mm_cmpeq_epi8(_mm_min_epu8(fromA, _mm_set1_epi8(5)), fromA);
  if (_mm_movemask_epi8(_mm_or_si128(isNumber, isLetter)) != 0xFFFF) return false;
  const __m128i letters = _mm_and_si128(isLetter, _mm_add_epi8(fromA, _mm_set1_epi8(10)));
  const __m128i values = _mm_or_si128(_mm_and_si128(isNumber, fromZero), letters);
  // The digits of a byte are neighbours, the high one first; bytes come with the highest one first.
  const __m128i pairs =
      _mm_and_si128(_mm_or_si128(_mm_slli_epi16(values, 4), _mm_srli_epi16(values, 8)), _mm_set1_epi16(0xFF));
  *word = __builtin_bswap64(static_cast<VUint>(_mm_cvtsi128_si64(_mm_packus_epi16(pairs, pairs))));
  return true;
}

/// The usual form, 8-4-4-4-12 digits, perhaps in braces.
bool read_usual(const char* text, VUint* words) {
  const char* start = *text == '{' ? text + 1 : text;
  const std::size_t length = strnlen(start, TEXT_LENGTH + 2);
  const bool isUsual = length == TEXT_LENGTH || (length == TEXT_LENGTH + 1 && start[TEXT_LENGTH] == '}');
  if (!isUsual || start[8] != '-' || start[13] != '-' || start[18] != '-' || start[23] != '-') return false;
  const auto join = [](Large low, Large high) { return low | VUint{high} << 32; };
  return read_word(load<VUint>(start), join(load<Large>(start + 9), load<Large>(start + 14)), &words[0]) &&
         read_word(join(load<Large>(start + 19), load<Large>(start + 24)), load<VUint>(start + 28),
                   &words[1]);
}

}  // namespace

int Uuid::parse(const char* text) {
  valueArray[0] = valueArray[1] = 0;
  if (text == nullptr) return 0;
  text = skip_prefix(text);
  if (read_usual(text, valueArray)) return NUM_DIGITS;
  valueArray[0] = valueArray[1] = 0;
  int count = 0;
  for (; *text != '\0'; ++text) {
    const char digit = DIGITS[static_cast<unsigned char>(*text)];
    if (digit == NO_DIGIT) continue;
    if (count == NUM_DIGITS) return NUM_DIGITS + 1;
    const int shift = DIGIT_BITS * (WORD_DIGITS - 1 - count % WORD_DIGITS);
    valueArray[count / WORD_DIGITS] |= static_cast<VUint>(digit) << shift;
    ++count;
  }
  return count;
}

int Uuid::init(const char* text) {
  if (text == nullptr || text[0] == '\0') return -1;
  const int count = parse(text);
  if (count == NUM_DIGITS) return 0;
  AceReporter* rep = AceReporter::use_default();
  if (count > NUM_DIGITS)
    rep->ev_wprintf("Too long UUID: '%s'", text);
  else
    rep->ev_wprintf("Too short UUID: '%s'", text);
  return -1;
}

bool Uuid::equal(const char* text) const {
  Uuid other;
  return other.parse(text) == NUM_DIGITS && *this == other;
}

Uuid Uuid::last_with_prefix(int num_digits) const {
  const auto rest = [](int digits) {  // the bits behind so many digits of a word
    return digits >= WORD_DIGITS ? VUint{0} : ~VUint{0} >> (DIGIT_BITS * std::max(digits, 0));
  };
  return {valueArray[0] | rest(num_digits), valueArray[1] | rest(num_digits - WORD_DIGITS)};
}

const char* Uuid::show(bool capital_letters, bool no_separators, AceAttach* at) const {
  if ((valueArray[0] >> VERSION_SHIFT & DIGIT_MASK) == 0) return nullptr;
  const char* letters = capital_letters ? "0123456789ABCDEF" : "0123456789abcdef";
  char* text = nullptr;
  at->malloc(text, TEXT_LENGTH + 1);
  char* out = text;
  for (int i = 0; i < NUM_DIGITS; ++i) {
    const bool isStart = std::find(GROUP_STARTS.begin(), GROUP_STARTS.end(), i) != GROUP_STARTS.end();
    if (isStart && !no_separators) *out++ = '-';
    const int shift = DIGIT_BITS * (WORD_DIGITS - 1 - i % WORD_DIGITS);
    *out++ = letters[valueArray[i / WORD_DIGITS] >> shift & DIGIT_MASK];
  }
  *out = '\0';
  return text;
}
