#include "tera/tera_utf.h"

#include <algorithm>
#include <cstring>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"

namespace {

constexpr int CONTINUE_BITS = 6;
constexpr int CONTINUE_MASK = 0x3F;
constexpr int SHOWN_BYTES = 32;  // of the text behind an invalid character

constexpr int HIGH_SURROGATE = 0xD800;
constexpr int LOW_SURROGATE = 0xDC00;
constexpr int SURROGATE_END = 0xE000;
constexpr int SURROGATE_BITS = 10;
constexpr int FIRST_SUPPLEMENTARY = 0x10000;
constexpr int MAX_UTF16 = 0x10FFFF;

const char* or_empty(const char* text) {
  return text != nullptr ? text : "";
}

bool is_between(int value, int first, int end) {
  return value >= first && value < end;
}

[[noreturn]] void throw_invalid(const char* utf) {
  const unsigned first = static_cast<unsigned char>(*utf);
  constexpr const char* cond = "ERROR: non UTF-8 char in stream";
  if (strnlen(utf, SHOWN_BYTES + 1) > SHOWN_BYTES) {
    char shown[SHOWN_BYTES + 1] = {};
    std::copy_n(utf, SHOWN_BYTES, shown);
    throw AceException(cond, "first byte = %X  stream ='%s...'\n", first, shown);
  }
  throw AceException(cond, "first byte = %X  stream ='%s'\n", first, utf);
}

}  // namespace

int TeraUtf::uni_size(int uni) {
  if (uni < 0 || uni > MAX_UNI) get_first(uni);  // throws
  return uni < 0x80 ? 1 : uni < 0x800 ? 2 : uni < 0x10000 ? 3 : 4;
}

Token TeraUtf::get_first(int uni) {
  if (uni < 0 || uni > MAX_UNI) {
    AceReporter::use_default()->ev_wprintf("Cannot handle more than 4 byte of UTF-8 values: unicode = 0x%x",
                                           static_cast<unsigned>(uni));
    throw AceException("Cannot handle more than 4 byte of UTF-8 values");
  }
  constexpr Token leads[] = {0, 0, 0xC0, 0xE0, 0xF0};
  const int size = uni_size(uni);
  return static_cast<Token>(leads[size] | uni >> (CONTINUE_BITS * (size - 1)));
}

int TeraUtf::decode(int* uni, const char* utf) {
  const int first = static_cast<unsigned char>(*utf);
  if (first < 0x80) {
    *uni = first;
    return 1;
  }
  const int size = char_size(*utf);
  if (size == 1) return 0;
  int code = first & (0x7F >> size);
  for (int i = 1; i < size; ++i) {  // stops at the terminator, which continues nothing
    if (is_continue(utf[i]) == 0) return 0;
    code = code << CONTINUE_BITS | (utf[i] & CONTINUE_MASK);
  }
  *uni = code;
  return size;
}

int TeraUtf::to_uni(int* uni, const char* utf) {
  const int size = decode(uni, utf);
  if (size == 0) throw_invalid(utf);
  return size;
}

int TeraUtf::from_uni(int uni, char* utf) {
  utf[0] = static_cast<char>(get_first(uni));
  const int size = uni_size(uni);
  for (int i = size - 1; i > 0; --i, uni >>= CONTINUE_BITS)
    utf[i] = static_cast<char>(0x80 | (uni & CONTINUE_MASK));
  return size;
}

int TeraUtf::length(const char* text) {
  int count = 0;
  int uni = 0;
  for (text = or_empty(text); *text != 0; ++count) text += to_uni(&uni, text);
  return count;
}

int TeraUtf::in_utf(const char* text) {
  const char* pos = or_empty(text);
  while (is_continue(*pos) != 0) ++pos;
  return static_cast<int>(pos - or_empty(text));
}

char* TeraUtf::turn(const char* text, AceAttach* at) {
  if (text == nullptr) return nullptr;
  const auto size = static_cast<long>(std::strlen(text));
  char* turned = nullptr;
  char* out = at->malloc(turned, size + 1) + size;
  *out = 0;
  int uni = 0;
  while (*text != 0) {
    const int charSize = to_uni(&uni, text);
    out -= charSize;
    std::copy_n(text, charSize, out);
    text += charSize;
  }
  return turned;
}

int TeraUtf::common(const char* s1, const char* s2) {
  s1 = or_empty(s1);
  s2 = or_empty(s2);
  int same = 0;
  while (s1[same] != 0 && s1[same] == s2[same]) ++same;
  // The byte that differs may be inside a character, which then is not common.
  while (same > 0 && (is_continue(s1[same]) != 0 || is_continue(s2[same]) != 0)) --same;
  return same;
}

// ---------------------------------------------------------------- UTF-16

int TeraUtf::utf16_len(const Small* text) {
  int size = 0;
  if (text != nullptr)
    while (text[size] != 0) ++size;
  return size;
}

int TeraUtf::utf16_to_uni(int* uni, const Small* utf16) {
  *uni = utf16[0];
  if (!is_between(utf16[0], HIGH_SURROGATE, LOW_SURROGATE)) return 1;
  if (!is_between(utf16[1], LOW_SURROGATE, SURROGATE_END)) return 1;
  *uni = FIRST_SUPPLEMENTARY + ((utf16[0] - HIGH_SURROGATE) << SURROGATE_BITS) + (utf16[1] - LOW_SURROGATE);
  return 2;
}

int TeraUtf::utf16_from_uni(int uni, Small* utf16) {
  if (uni < 0 || uni > MAX_UTF16)
    throw AceException("Code point without a UTF-16 form", "unicode = 0x%x", static_cast<unsigned>(uni));
  if (uni < FIRST_SUPPLEMENTARY) {
    utf16[0] = static_cast<Small>(uni);
    return 1;
  }
  uni -= FIRST_SUPPLEMENTARY;
  utf16[0] = static_cast<Small>(HIGH_SURROGATE + (uni >> SURROGATE_BITS));
  utf16[1] = static_cast<Small>(LOW_SURROGATE + (uni & ((1 << SURROGATE_BITS) - 1)));
  return 2;
}

Small* TeraUtf::utf8_to_utf16(const char* text, AceAttach* at) {
  if (text == nullptr) return nullptr;
  Small* result = nullptr;
  Small* out = at->malloc(result, static_cast<long>(std::strlen(text)) + 1);
  int uni = 0;
  while (*text != 0) {
    text += to_uni(&uni, text);
    out += utf16_from_uni(uni, out);
  }
  *out = 0;
  return result;
}

char* TeraUtf::utf16_to_utf8(const Small* text, AceAttach* at) {
  if (text == nullptr) return nullptr;
  constexpr long maxBytes = 3;  // of one unit; a pair becomes four
  char* result = nullptr;
  char* out = at->malloc(result, maxBytes * utf16_len(text) + 1);
  int uni = 0;
  while (*text != 0) {
    text += utf16_to_uni(&uni, text);
    out += from_uni(uni, out);
  }
  *out = 0;
  return result;
}
