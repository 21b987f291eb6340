#include "tera/tera_unicode.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <span>
#include <vector>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "tera/store/tera_read_error_internal.h"
#include "tera/tera_charset.h"
#include "tera/tera_transform.h"

namespace {

using Unsigned = unsigned char;

constexpr Large MAX_WEIGHT = 0xFFFF;
constexpr Large MAX_CODE_POINT = 0x10FFFF;
constexpr Large NO_ENTRY = MAX_WEIGHT + 1;  // primary weight of U+0000, if the table does not have it
constexpr Large BAD_BYTE = 0x200000;        // code points of bytes that are no character, above all others
constexpr Large COMMON_SECONDARY = 0x20;
constexpr Large COMMON_TERTIARY = 0x02;
constexpr Large SEVERAL = 0xFFFFFFFF;  // in place of a primary weight: to be looked at more closely

/// Which names mean UTF-8 is the transforms' to say.
struct Encoding : TeraTransform {
  using TeraTransform::is_utf8;
};

bool is_continue(Unsigned byte) {
  return (byte & 0xC0) == 0x80;
}

}  // namespace

/// A sequence of characters.
struct TeraUnicode::Contraction {
  const CollElem* elements;
  const Large* codes;  // the first character, too
  int numElements;
  int numCodes;
};

/// A character of the table.
struct TeraUnicode::Entry {
  const CollElem* elements;         // null: none of its own
  const Contraction* contractions;  // those that start with this character
  int numElements;
  int numContractions;
  Large uni;
  Large primary;  // `own_primary`, or SEVERAL where there are contractions

  /// The character's only primary weight that is not 0, or 0 if there is none, or SEVERAL.
  Large own_primary() const;
};

/// A place in a text: the elements not yet taken of what was read, then the text from `pos`.
struct TeraUnicode::Cursor {
  explicit Cursor(const char* text) : pos(text) {}

  const char* pos;
  const CollElem* next = nullptr;
  const CollElem* end = nullptr;
  CollElem own = {};
};

Large TeraUnicode::Entry::own_primary() const {
  if (elements == nullptr) return NO_ENTRY + uni;
  Large sole = 0;
  for (int i = 0; i < numElements; ++i) {
    const Large weight = elements[i].weights[0];
    if (weight != 0) sole = sole == 0 ? weight : SEVERAL;
  }
  return sole;
}

// ---------------------------------------------------------------- reading tables
// A line gives one or more characters their elements; contractions hang on their first character, in order.

/// Reads lines into flat arrays, and makes of them what comparing needs.
class TeraUnicode::Loader {
 public:
  Loader(TeraUnicode* collation, const char* filename) : target(collation), fileName(filename) {}

  /// 0, or -1 with a message.
  int read(AceInput* input);
  void build();

 private:
  struct Line {
    std::size_t firstCode;
    std::size_t firstElement;
    Small numCodes;
    Small numElements;
  };

  int read_line();
  int read_codes();
  int read_element();
  bool take(char sign);
  void skip_blanks();
  int take_hex(Large most, const char* expected, Large* value);
  int fail(const char* expected) const;

  std::span<const Large> codes_of(const Line& of) const { return {codes.data() + of.firstCode, of.numCodes}; }
  void keep_arrays();
  void build_contractions();
  Entry* make_entry(Large uni);
  void build_bytes();
  void join(Large uni);
  bool goes_on_in_ascii(const Entry& entry) const;

  TeraUnicode* target;
  const char* fileName;
  const char* lineText = nullptr;
  const char* place = nullptr;
  Line line = {};
  std::vector<Line> lines;
  std::vector<Large> codes;
  std::vector<CollElem> elements;
  const Large* keptCodes = nullptr;
  const CollElem* keptElements = nullptr;
  Entry* pages[UNICODEPOINTS / TABLE_SIZE] = {};
};

int TeraUnicode::Loader::read(AceInput* input) {
  const char* text = nullptr;
  try {
    while (input->read_line(&text) >= 0) {
      lineText = place = text;
      if (read_line() < 0) return -1;
    }
  } catch (const AceException& problem) {
    problem.print(AceReporter::use_default());
    return -1;
  }
  if (check_read(*input, fileName, static_cast<VInt>(lines.size()) + 1) < 0) return -1;
  if (!lines.empty()) return 0;
  AceReporter::use_default()->ev_wprintf("%s: expected a table of collation weights, found no entry\n",
                                         fileName);
  return -1;
}

int TeraUnicode::Loader::read_line() {
  skip_blanks();
  if (*place == 0 || *place == '#' || *place == '@') return 0;
  line = {codes.size(), elements.size(), 0, 0};
  if (read_codes() < 0) return -1;
  do {
    if (read_element() < 0) return -1;
    skip_blanks();
  } while (*place == '[');
  if (*place != 0 && *place != '#') return fail("another element, a comment or the end");
  if (std::ranges::all_of(codes_of(line), [](Large uni) { return uni < UNICODEPOINTS; })) {
    lines.push_back(line);
  } else {
    codes.resize(line.firstCode);
    elements.resize(line.firstElement);
  }
  return 0;
}

int TeraUnicode::Loader::read_codes() {
  do {
    if (line.numCodes == MAX_CHARACTERS) return fail("at most 16 characters");
    Large uni = 0;
    if (take_hex(MAX_CODE_POINT, "a code point in hexadecimal, up to 10FFFF,", &uni) < 0) return -1;
    codes.push_back(uni);
    ++line.numCodes;
    skip_blanks();
  } while (!take(';'));
  skip_blanks();
  return 0;
}

/// "[", a mark if there is one, and the weights with points or blanks in between.
int TeraUnicode::Loader::read_element() {
  if (!take('[')) return fail("\"[\"");
  if (line.numElements == MAX_ELEMENTS) return fail("at most 32 elements");
  if (*place == '.' || *place == '*') ++place;
  CollElem element = {};
  for (Large& weight : element.weights) {
    if (&weight != element.weights && *place == '.') ++place;
    skip_blanks();
    if (take_hex(MAX_WEIGHT, "three weights in hexadecimal, up to FFFF,", &weight) < 0) return -1;
  }
  skip_blanks();
  if (!take(']')) return fail("\"]\" behind three weights");
  elements.push_back(element);
  ++line.numElements;
  return 0;
}

bool TeraUnicode::Loader::take(char sign) {
  if (*place != sign) return false;
  ++place;
  return true;
}

void TeraUnicode::Loader::skip_blanks() {
  while (*place == ' ' || *place == '\t') ++place;
}

int TeraUnicode::Loader::take_hex(Large most, const char* expected, Large* value) {
  const char* start = place;
  *value = 0;
  for (;; ++place) {
    const char c = *place;
    const bool isDigit = c >= '0' && c <= '9';
    const int letter = c | ('a' - 'A');
    if (!isDigit && (letter < 'a' || letter > 'f')) break;
    *value = *value * 16 + static_cast<Large>(isDigit ? c - '0' : letter - 'a' + 10);
    if (*value > most) break;
  }
  if (place > start && *value <= most) return 0;
  place = start;
  return fail(expected);
}

int TeraUnicode::Loader::fail(const char* expected) const {
  AceReporter::use_default()->ev_wprintf("%s: expected %s at column %ld of the line \"%.100s\"\n", fileName,
                                         expected, place - lineText + 1, lineText);
  return -1;
}

void TeraUnicode::Loader::build() {
  keep_arrays();
  build_contractions();
  for (const Line& single : lines) {
    if (single.numCodes != 1) continue;
    Entry* entry = make_entry(codes[single.firstCode]);
    entry->elements = keptElements + single.firstElement;
    entry->numElements = single.numElements;
  }
  for (Entry* page : pages)
    for (int i = 0; page != nullptr && i < TABLE_SIZE; ++i)
      page[i].primary = page[i].numContractions > 0 ? SEVERAL : page[i].own_primary();
  std::ranges::copy(pages, target->unicodeElements);
  build_bytes();
}

void TeraUnicode::Loader::keep_arrays() {
  Large* allCodes = nullptr;
  target->memAt.malloc(allCodes, static_cast<long>(codes.size()));
  std::ranges::copy(codes, allCodes);
  keptCodes = allCodes;
  CollElem* allElements = nullptr;
  target->memAt.malloc(allElements, static_cast<long>(elements.size()));
  std::ranges::copy(elements, allElements);
  keptElements = allElements;
}

void TeraUnicode::Loader::build_contractions() {
  std::vector<const Line*> sequences;
  for (const Line& sequence : lines)
    if (sequence.numCodes > 1) sequences.push_back(&sequence);
  // Of several lines for one sequence the last counts: backwards, it is the first, which `unique` keeps.
  std::ranges::reverse(sequences);
  std::ranges::stable_sort(sequences, [this](const Line* a, const Line* b) {
    return std::ranges::lexicographical_compare(codes_of(*a), codes_of(*b));
  });
  const auto same = [this](const Line* a, const Line* b) {
    return std::ranges::equal(codes_of(*a), codes_of(*b));
  };
  sequences.erase(std::unique(sequences.begin(), sequences.end(), same), sequences.end());

  Contraction* all = nullptr;
  target->memAt.malloc(all, static_cast<long>(sequences.size()));
  for (const Line* sequence : sequences) {
    Entry* first = make_entry(codes[sequence->firstCode]);
    if (first->numContractions++ == 0) first->contractions = all;
    *all++ = {keptElements + sequence->firstElement, keptCodes + sequence->firstCode, sequence->numElements,
              sequence->numCodes};
    for (const Large uni : codes_of(*sequence).subspan(1)) join(uni);
  }
}

/// The character's entry, which has no elements if it is new.
TeraUnicode::Entry* TeraUnicode::Loader::make_entry(Large uni) {
  Entry*& page = pages[uni / TABLE_SIZE];
  if (page == nullptr) {
    target->memAt.malloc(page, TABLE_SIZE);
    const Large start = uni - uni % TABLE_SIZE;
    for (Large i = 0; i < TABLE_SIZE; ++i) page[i] = {nullptr, nullptr, 0, 0, start + i, 0};
  }
  return &page[uni % TABLE_SIZE];
}

/// What is looked up by the byte.
void TeraUnicode::Loader::build_bytes() {
  const int* bytes = target->codePage;
  for (int byte = 1; bytes != nullptr && byte < TABLE_SIZE; ++byte)
    if (bytes[byte] != 0) target->singleByteEntries[byte] = target->entry_of(static_cast<Large>(bytes[byte]));
  for (Large byte = 1; byte < ASCII_SIZE; ++byte) {
    const Large uni = bytes != nullptr ? static_cast<Large>(bytes[byte]) : byte;
    const Entry* entry = target->entry_of(uni);
    const bool isClear = uni != 0 && (entry == nullptr || !goes_on_in_ascii(*entry));
    if (isClear) target->asciiPrimary[byte] = entry != nullptr ? entry->own_primary() : NO_ENTRY + uni;
  }
}

/// Notes that the character may be joined to the one before it. UTF-8 may be longer than it need be.
void TeraUnicode::Loader::join(Large uni) {
  bool* joined = target->isJoined;
  if (const int* bytes = target->codePage; bytes != nullptr) {
    for (int byte = 1; byte < TABLE_SIZE; ++byte)
      if (static_cast<Large>(bytes[byte]) == uni) joined[byte] = true;
    return;
  }
  if (uni < 0x80) joined[uni] = true;
  if (uni < 0x800) joined[0xC0 | uni >> 6] = true;
  joined[0xE0 | uni >> 12] = true;
  joined[0xF0] = true;
}

/// Whether a byte of ASCII can be the second character of one of the entry's contractions.
bool TeraUnicode::Loader::goes_on_in_ascii(const Entry& entry) const {
  const int* bytes = target->codePage;
  const std::span all(entry.contractions, static_cast<std::size_t>(entry.numContractions));
  return std::ranges::any_of(all, [bytes](const Contraction& one) {
    if (bytes == nullptr) return one.codes[1] < ASCII_SIZE;
    return std::find(bytes + 1, bytes + ASCII_SIZE, static_cast<int>(one.codes[1])) != bytes + ASCII_SIZE;
  });
}

TeraUnicode::TeraUnicode(const char* name) : TeraCollation(name) {
  clear();
}

/// As with a table without entries, for UTF-8.
void TeraUnicode::clear() {
  std::ranges::fill(unicodeElements, nullptr);
  std::ranges::fill(singleByteEntries, nullptr);
  codePage = nullptr;
  std::ranges::fill(asciiPrimary, SEVERAL);
  for (int byte = 0; byte < TABLE_SIZE; ++byte) isJoined[byte] = is_continue(static_cast<Unsigned>(byte));
  memAt.release();
}

int TeraUnicode::load(const char* filename, const char* encoding) {
  clear();
  if (!Encoding::is_utf8(encoding)) {
    codePage = tera_get_charset_map(encoding);
    if (codePage == nullptr)
      return ace_error(__FILE__, __LINE__, "codepage = tera_get_charset_map(page)", -1, 0, -1);
    std::ranges::fill(isJoined, false);
  }
  Loader loader(this, filename);
  char nothing[1] = "";
  AceInput input(nothing, true);
  try {
    std::error_code unknown;
    if (std::filesystem::is_directory(filename, unknown) || std::filesystem::is_fifo(filename, unknown))
      throw AceException("Not a regular file");
    input.init(filename, 100000, true);
  } catch (const AceException& problem) {
    problem.print(AceReporter::use_default());
    clear();
    return ace_error(__FILE__, __LINE__, "input.init(filename,100000, true)", -1, 0, -1);
  }
  if (loader.read(&input) < 0) {
    clear();
    return -1;
  }
  loader.build();
  return 0;
}

// ---------------------------------------------------------------- elements of a text
// An element has a weight for each level; a character has several, and several characters may share some.

/// The character in front: its code point, or the byte above BAD_BYTE. Returns its bytes, at least 1.
inline int TeraUnicode::decode(const Unsigned* text, Large* uni) const {
  const Large head = *text;
  if (codePage != nullptr) {
    const auto code = static_cast<Large>(codePage[head]);
    *uni = code != 0 ? code : BAD_BYTE + head;
    return 1;
  }
  *uni = head;
  if (head < 0x80) return 1;
  const int size = head < 0xC0 || head >= 0xF8 ? 0 : head < 0xE0 ? 2 : head < 0xF0 ? 3 : 4;
  Large code = head & (0x7FU >> static_cast<unsigned>(size));
  for (int i = 1; i < size; ++i) {
    if (!is_continue(text[i])) {
      *uni = BAD_BYTE + head;
      return 1;
    }
    code = code << 6 | (text[i] & 0x3FU);
  }
  *uni = size != 0 ? code : BAD_BYTE + head;
  return size != 0 ? size : 1;
}

inline const TeraUnicode::Entry* TeraUnicode::entry_of(Large uni) const {
  if (uni >= UNICODEPOINTS) return nullptr;
  const Entry* page = unicodeElements[uni / TABLE_SIZE];
  return page != nullptr ? &page[uni % TABLE_SIZE] : nullptr;
}

/// The longest contraction of the entry's character and those at `*text`, which is moved behind it; or null.
///
/// The contractions that agree so far are neighbours, and the one that has no further character is the first
/// of them.
const TeraUnicode::Contraction* TeraUnicode::longest_contraction(const Entry* entry,
                                                                 const Unsigned** text) const {
  const Contraction* first = entry->contractions;
  const Contraction* last = first + entry->numContractions;
  const Contraction* longest = nullptr;
  const Unsigned* pos = *text;
  for (int length = 1; first != last && *pos != 0; ++length) {
    Large uni = 0;
    pos += decode(pos, &uni);
    const auto isBelow = [&](const Contraction& other) { return other.codes[length] < uni; };
    const auto isSame = [&](const Contraction& other) { return other.codes[length] == uni; };
    first = std::partition_point(first, last, isBelow);
    last = std::partition_point(first, last, isSame);
    if (first == last || first->numCodes != length + 1) continue;
    longest = first++;
    *text = pos;
  }
  return longest;
}

int TeraUnicode::get_coll_elem(const char** text, const CollElem** elements, CollElem* own) const {
  const auto* pos = reinterpret_cast<const Unsigned*>(*text);
  Large uni = 0;
  const Entry* entry = nullptr;
  if (codePage != nullptr) entry = singleByteEntries[*pos];
  pos += decode(pos, &uni);
  if (codePage == nullptr) entry = entry_of(uni);
  const Contraction* longest = nullptr;
  if (entry != nullptr && entry->numContractions != 0) longest = longest_contraction(entry, &pos);
  *text = reinterpret_cast<const char*>(pos);
  if (longest != nullptr) {
    *elements = longest->elements;
    return longest->numElements;
  }
  if (entry != nullptr && entry->elements != nullptr) {
    *elements = entry->elements;
    return entry->numElements;
  }
  *own = {{NO_ENTRY + uni, COMMON_SECONDARY, COMMON_TERTIARY}};
  *elements = own;
  return 1;
}

void TeraUnicode::read_elements(Cursor& cursor) const {
  const int count = get_coll_elem(&cursor.pos, &cursor.next, &cursor.own);
  cursor.end = cursor.next + count;
}

/// The next weight of the level that is not 0; 0 at the end.
Large TeraUnicode::next_weight(Cursor& cursor, int level) const {
  for (;;) {
    while (cursor.next != cursor.end)
      if (const Large weight = (cursor.next++)->weights[level]; weight != 0) return weight;
    if (*cursor.pos == 0) return 0;
    read_elements(cursor);
  }
}

// ---------------------------------------------------------------- comparing
// Levels are compared one after the other, and the first, which decides nearly always, without looking at
// elements.

/// `next_weight` of the primary level; most characters have one such weight, which the entry tells.
inline Large TeraUnicode::next_primary(Cursor& cursor) const {
  for (;;) {
    while (cursor.next != cursor.end)
      if (const Large weight = (cursor.next++)->weights[0]; weight != 0) return weight;
    const auto* pos = reinterpret_cast<const Unsigned*>(cursor.pos);
    if (*pos == 0) return 0;
    Large primary = SEVERAL;
    int size = 1;
    if (*pos < ASCII_SIZE && pos[1] < ASCII_SIZE) {
      primary = asciiPrimary[*pos];
    } else if (codePage == nullptr) {
      Large uni = 0;
      size = decode(pos, &uni);
      if (const Entry* entry = entry_of(uni); entry != nullptr) primary = entry->primary;
    } else if (const Entry* entry = singleByteEntries[*pos]; entry != nullptr) {
      primary = entry->primary;
    }
    if (primary == SEVERAL) {
      read_elements(cursor);
      continue;
    }
    cursor.pos += size;
    if (primary != 0) return primary;
  }
}

int TeraUnicode::compare_level(const char* a, const char* b, int level) const {
  Cursor first(a);
  Cursor second(b);
  for (;;) {
    const Large weight = next_weight(first, level);
    const Large other = next_weight(second, level);
    if (weight != other) return weight < other ? -1 : 1;
    if (weight == 0) return 0;
  }
}

/// Moves both behind what they have in common, as far as the elements of the rest do not depend on it.
///
///     P f a d f i n d e r         the first difference is inside a character, or at one that may be joined
///     P f e c h t                 to the one before it: back to where neither is the case
///         ^
inline void TeraUnicode::skip_common(const char** a, const char** b) const {
  const auto* first = reinterpret_cast<const Unsigned*>(*a);
  const auto* second = reinterpret_cast<const Unsigned*>(*b);
  std::size_t length = 0;
  while (first[length] == second[length] && first[length] != 0) ++length;
  while (length > 0 && (isJoined[first[length]] || isJoined[second[length]])) --length;
  *a += length;
  *b += length;
}

int TeraUnicode::compare_sort(const char* a, const char* b, int prefix) const {
  if (prefix != 0) {
    const int limit = compare_limit(a, b, 0);
    return limit != 0 ? limit : 1;
  }
  skip_common(&a, &b);
  Cursor first(a);
  Cursor second(b);
  for (;;) {
    const Large weight = next_primary(first);
    const Large other = next_primary(second);
    if (weight != other) return weight < other ? -1 : 1;
    if (weight == 0) break;
  }
  for (int level = 1; level < LEVEL; ++level)
    if (const int order = compare_level(a, b, level); order != 0) return order;
  return 0;
}

int TeraUnicode::compare_limit(const char* a, const char* b, int /*unused*/) const {
  skip_common(&a, &b);
  Cursor key(a);
  Cursor stored(b);
  for (;;) {
    const Large weight = next_primary(key);
    if (weight == 0) return 0;
    const Large other = next_primary(stored);
    if (weight != other) return weight < other ? -1 : 1;
  }
}
