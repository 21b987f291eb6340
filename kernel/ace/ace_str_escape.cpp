#include "ace/ace_str_escape.h"

#include <cstring>
#include <string_view>

#include "ace/ace_attach.h"
#include "ace/ace_str_internal.h"

namespace {

constexpr char ESCAPE = '\\';
constexpr std::string_view ESCAPE_LETTERS = "abfnrtv";
constexpr std::string_view ESCAPE_VALUES = "\a\b\f\n\r\t\v";

constexpr bool is_octal(char c) {
  return c >= '0' && c <= '7';
}

/// Value of a hexadecimal digit, -1 for any other byte.
constexpr int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// The low 8 bits of a number whose first digit is at `*p`; `digit_value` is negative behind it.
template <class DigitValue>
char read_digits(const char** p, unsigned base, DigitValue digit_value) {
  unsigned value = 0;
  for (int digit; (digit = digit_value(**p)) >= 0; ++*p) value = value * base + static_cast<unsigned>(digit);
  return static_cast<char>(value & 0xFF);
}

}  // namespace

char strtochar(const char** p) {
  const char first = **p;
  if (first == '\0') return '\0';
  ++*p;
  if (first != ESCAPE) return first;

  const char kind = **p;
  if (is_octal(kind)) return read_digits(p, 8, [](char c) { return is_octal(c) ? c - '0' : -1; });
  if (kind == '\0') return '\0';
  ++*p;
  if (kind == 'x' && hex_value(**p) >= 0) {
    const char value = read_digits(p, 16, hex_value);
    if (**p != '\0') ++*p;
    return value;
  }
  const std::size_t letter = ESCAPE_LETTERS.find(kind);
  return letter != std::string_view::npos ? ESCAPE_VALUES[letter] : kind;
}

char* strunescape(const char* s, AceAttach* at) {
  if (s == nullptr) return nullptr;
  char* copy = nullptr;
  char* to = at->malloc(copy, static_cast<long>(std::strlen(s) + 1));
  while (*s != '\0') *to++ = strtochar(&s);
  *to = '\0';
  return copy;
}

int strset(const char* spec, char* out) {
  if (spec == nullptr) spec = "";
  char* end = out;
  char start = '\0';  // what a following hyphen makes a range of; 0 for nothing
  for (char c; static_cast<signed char>(c = strtochar(&spec)) > 0;) {
    if (c == '-' && start != '\0') {
      const char last = strtochar(&spec);
      if (last == '\0') {
        *end++ = '-';
        break;
      }
      if (static_cast<signed char>(last) < static_cast<signed char>(start)) return -1;
      while (start < last) *end++ = ++start;
      start = '\0';
    } else {
      *end++ = start = c;
    }
  }
  *end = '\0';
  return static_cast<int>(end - out);
}

int strcount_escaped(const char* s, char c, char esc) {
  int count = 0;
  bool escaped = false;
  for (const char byte : view_of(s)) {
    if (byte == c && !escaped) ++count;
    escaped = byte == esc && !escaped;
  }
  return count;
}

int remove_escape_char(char* s, char esc) {
  if (s == nullptr) return 0;
  char* end = s;
  for (const char* from = s; *from != '\0'; ++from) {
    if (*from == esc && *++from == '\0') break;
    *end++ = *from;
  }
  *end = '\0';
  return static_cast<int>(end - s);
}

int remove_escaping(char* s, char esc, char sep) {
  if (s == nullptr) return 0;
  char* end = s;
  for (const char* from = s; *from != '\0'; ++from) {
    if (*from == esc && from[1] == sep && sep != '\0') ++from;
    *end++ = *from;
  }
  *end = '\0';
  return static_cast<int>(end - s);
}
