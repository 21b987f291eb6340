#include "ace/ace_magic.h"

#include <cstdio>

#include "ace/ace_tracer.h"

namespace {

constexpr int FIRST_CHAR = '0';
constexpr int LAST_CHAR = 'p';
constexpr int MAX_CHARS = MAGIC_STRING_SIZE - 1;
constexpr int FIELD_BITS = 6;
constexpr unsigned FIELD_MASK = 0x3FU;

bool is_verbose() {
  static const AceTraceFlag verbose("VERBOSE_ERRORS", __FILE__, __LINE__);
  return verbose.get() != 0;
}

constexpr int field_shift(int index) {
  return 1 + FIELD_BITS * index;
}

}  // namespace

int magic_number(const char* code) {
  if (code == nullptr) return -1;
  unsigned magic = 1;
  for (int i = 0; i < MAX_CHARS && code[i] != '\0' && code[i] != '.'; ++i) {
    const int character = static_cast<unsigned char>(code[i]);
    if (character < FIRST_CHAR || character > LAST_CHAR) {
      if (is_verbose()) std::printf("'%s' is not magic\n", code);
      return -1;
    }
    magic |= static_cast<unsigned>(character - FIRST_CHAR) << field_shift(i);
  }
  return static_cast<int>(magic);
}

char* magic_string(int magic, char* buf) {
  if (magic < 0 || magic % 2 == 0) {
    if (is_verbose()) std::printf("%x is not magic\n", static_cast<unsigned>(magic));
    return nullptr;
  }
  int length = 0;
  for (; length < MAX_CHARS; ++length) {
    const unsigned field = (static_cast<unsigned>(magic) >> field_shift(length)) & FIELD_MASK;
    if (field == 0) break;
    buf[length] = static_cast<char>(FIRST_CHAR + static_cast<int>(field));
  }
  buf[length] = '\0';
  return buf;
}
