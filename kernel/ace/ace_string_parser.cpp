#include "ace/ace_string_parser.h"

#include <climits>
#include <cstring>

#include "ace/ace_str_escape.h"
#include "ace/ace_str_map.h"

namespace {

constexpr char BLANK = ' ';
constexpr char HYPHEN = '-';
constexpr char OPEN = '{';
constexpr char CLOSE = '}';
constexpr char ESCAPE = '\\';

}  // namespace

AceStringParser::AceStringParser(const char* text) : configString(text != nullptr ? text : "") {}

void AceStringParser::skip_blanks() {
  while (configString[curPos] == BLANK && curPos < INT_MAX) ++curPos;
}

/// A copy of the bytes up to the next blank or the end.
char* AceStringParser::token_to_blank(int* length) {
  const int start = curPos;
  while (configString[curPos] != '\0' && configString[curPos] != BLANK && curPos < INT_MAX) ++curPos;
  *length = curPos - start;
  return memAt.attach(configString + start, *length);
}

int AceStringParser::get_option(char** name) {
  skip_blanks();
  if (configString[curPos] == '\0') return 0;
  if (configString[curPos] != HYPHEN || curPos == INT_MAX) return -1;
  ++curPos;
  int length = 0;
  *name = strtolower(token_to_blank(&length));
  skip_blanks();
  return length > 0 ? length : -1;
}

int AceStringParser::get_value(char** value) {
  if (configString[curPos] == '\0') return -1;
  if (configString[curPos] == OPEN) return get_protected_value(value);
  int length = 0;
  *value = token_to_blank(&length);
  return length;
}

bool AceStringParser::skip_text(const char* text) {
  const std::size_t length = std::strlen(text);
  if (length > static_cast<std::size_t>(INT_MAX - curPos)) return false;
  if (std::strncmp(configString + curPos, text, length) != 0) return false;
  const char next = configString[curPos + static_cast<int>(length)];
  if (next != '\0' && next != BLANK) return false;
  curPos += static_cast<int>(length);
  return true;
}

int AceStringParser::get_protected_value(char** value) {
  if (configString[curPos] != OPEN) return -1;
  int pos = curPos + 1;
  const int start = pos;
  bool escaped = false;
  for (int level = 1; configString[pos] != '\0' && pos < INT_MAX; ++pos) {
    const char c = configString[pos];
    if (!escaped && c == OPEN) ++level;
    if (!escaped && c == CLOSE && --level == 0) {
      *value = memAt.attach(configString + start, pos - start);
      remove_escaping(*value, ESCAPE, OPEN);
      curPos = pos + 1;
      return remove_escaping(*value, ESCAPE, CLOSE);
    }
    escaped = c == ESCAPE && !escaped;
  }
  return -1;
}
