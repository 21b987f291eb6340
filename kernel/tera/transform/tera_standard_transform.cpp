#include "tera/tera_standard_transform.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_str.h"
#include "ace/ace_str_map.h"
#include "tera/tera_pinyin.h"

namespace {

constexpr int PREFIX_LENGTH = 3;
constexpr int WORD_SEARCH_LENGTH = 256;
constexpr char BROKEN_BAR = '\xA6';
constexpr const char* ELLIPSIS = "...";
constexpr std::size_t ELLIPSIS_LENGTH = 3;

/// In the order of the enum.
constexpr const char* NAMES[] = {
    "TRIM_LEFT",   "TRIM_RIGHT",          "TRIM_ALL",     "USE_PREFIX_3",    "DEL_PREFIX_3",
    "FIRST_CHAR",  "FIRST_WORD",          "DEL_FIRST",    "TAB2SPACE",       "PIPE2BROKEN",
    "NORM_PINYIN", "REVERSE_NORM_PINYIN", "ADD_ELLIPSIS", "REMOVE_ELLIPSIS", "EMPTY_STR",
};
static_assert(std::size(NAMES) == StandardTransform::NUM_OPERATIONS);

const StandardTransform prototype(StandardTransform::TRIM_ALL);
const TeraTransform::Factory registration(&prototype, 0);

/// Whether `name` is `known`, all in upper or all in lower case.
bool is_name(const char* name, const char* known) {
  if (std::strcmp(name, known) == 0) return true;
  for (; *known != '\0'; ++known, ++name)
    if (*name != tolower_C(*known)) return false;
  return *name == '\0';
}

char* trim(const char* text, bool front, bool squeeze, bool back, AceAttach* at) {
  char* copy = at->attach(text);
  strtrim(copy, copy, front ? 1 : 0, squeeze ? 1 : 0, back ? 1 : 0, 0, ' ');
  return copy;
}

/// Takes the continuation bytes of a UTF-8 character along.
char* first_chars(const char* text, AceAttach* at) {
  char* initials = at->attach(text);
  char* end = initials;
  bool isStart = true;
  bool isTaken = false;
  for (const char* c = text; *c != '\0'; ++c) {
    const bool continues = (static_cast<unsigned char>(*c) & 0xC0) == 0x80;
    if (!continues) {
      isTaken = isStart && *c != ' ';
      isStart = *c == ' ';
    }
    if (isTaken) *end++ = *c;
  }
  *end = '\0';
  return initials;
}

char* first_word(const char* text, AceAttach* at) {
  const int blank = strpos(text, ' ', WORD_SEARCH_LENGTH);
  return at->attach(text, blank);  // -1 copies all
}

char* without_first_word(const char* text, AceAttach* at) {
  const char* blank = std::strchr(text, ' ');
  return at->attach(blank != nullptr ? blank + 1 : "");
}

char* with_replaced(const char* text, char from, char to, AceAttach* at) {
  char* copy = at->attach(text);
  strreplace(copy, from, to);
  return copy;
}

char* without_ellipsis(const char* text, AceAttach* at) {
  const std::size_t length = std::strlen(text);
  const bool hasEllipsis =
      length >= ELLIPSIS_LENGTH && std::strcmp(text + length - ELLIPSIS_LENGTH, ELLIPSIS) == 0;
  return at->attach(text, static_cast<VInt>(hasEllipsis ? length - ELLIPSIS_LENGTH : length));
}

}  // namespace

char* StandardTransform::code(const char* text, AceAttach* at) const {
  if (text == nullptr || *text == '\0') return at->attach(text);
  const auto length = static_cast<VInt>(std::strlen(text));
  switch (stringOperation) {
    case TRIM_LEFT:
      return trim(text, true, false, false, at);
    case TRIM_RIGHT:
      return trim(text, false, false, true, at);
    case TRIM_ALL:
      return trim(text, true, true, true, at);
    case USE_PREFIX_3:
      return at->attach(text, std::min<VInt>(length, PREFIX_LENGTH));
    case DEL_PREFIX_3:
      return at->attach(text + std::min<VInt>(length, PREFIX_LENGTH));
    case FIRST_CHAR:
      return first_chars(text, at);
    case FIRST_WORD:
      return first_word(text, at);
    case DEL_FIRST:
      return without_first_word(text, at);
    case TAB2SPACE:
      return with_replaced(text, '\t', ' ', at);
    case PIPE2BROKEN:
      return with_replaced(text, VARIANT_SIGN, BROKEN_BAR, at);
    case NORM_PINYIN:
      return tera_norm_pinyin(text, at);
    case REVERSE_NORM_PINYIN:
      return tera_reverse_norm_pinyin(text, at);
    case ADD_ELLIPSIS:
      return strjoin_no_sep(text, ELLIPSIS, at);
    case REMOVE_ELLIPSIS:
      return without_ellipsis(text, at);
    case EMPTY_STR:
      return at->attach("");
    default:
      return at->attach(text);
  }
}

VInt StandardTransform::read(AceFile* file) {
  const int operation = file->preview_int();
  if (operation < 0 || operation >= NUM_OPERATIONS) return -1;
  stringOperation = file->get_int();
  return 0;
}

VInt StandardTransform::save(AceFile* file) const {
  file->put_int(stringOperation);
  return 0;
}

int StandardTransform::magic() const {
  return magic_number("STDX");
}

TeraTransform* StandardTransform::make(const char* name, const char*) const {
  if (name == nullptr) return new StandardTransform(TRIM_ALL);
  for (int operation = 0; operation < NUM_OPERATIONS; ++operation)
    if (is_name(name, NAMES[operation])) return new StandardTransform(operation);
  return nullptr;
}

TeraTransform* StandardTransform::copy() const {
  return new StandardTransform(stringOperation);
}
