#include "damo/damo_csv_input.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <utility>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"

#include "damo/input/damo_csv_border_internal.h"
#include "damo/text/damo_scan_internal.h"

namespace {

constexpr int FULL_BEFORE_END = 2;  // a buffer is full so many bytes before its end

constexpr bool is_line_end(char c) {
  return c == '\n' || c == '\r';
}

/// Moves the bytes from..end to the front, to `to`. Returns the end of their new place.
char* move_to(char* to, const char* from, const char* end) {
  const auto size = static_cast<std::size_t>(end - from);
  std::memmove(to, from, size);
  return to + size;
}

}  // namespace

_DamoCsvInput::_DamoCsvInput(char separator, char quote, char escape, AceReporter* rep)
    : DamoFileInput(rep),
      fieldSep(separator),
      textQuote(quote),
      escapeChar(escape),
      fieldSize(static_cast<std::size_t>(field_room()), FIELD_SIZE),
      fieldBuffer(static_cast<std::size_t>(field_room())) {}

_DamoCsvInput::~_DamoCsvInput() = default;

int _DamoCsvInput::check_characters() const {
  const auto clashes = [this](char c) { return c != '\0' && (c == fieldSep || is_line_end(c)); };
  if (!is_line_end(fieldSep) && !clashes(textQuote) && !clashes(escapeChar)) return 0;
  reporter->printf(
      "Separator 0x%02x, quote 0x%02x and escape 0x%02x cannot be told apart: expected a separator that is "
      "neither of the others, and no line ends\n",
      static_cast<unsigned char>(fieldSep), static_cast<unsigned char>(textQuote),
      static_cast<unsigned char>(escapeChar));
  return -1;
}

int _DamoCsvInput::split(char* line, int length, int as_is) {
  Line rest{line, line + length};
  DamoByteScan scan(fieldSep, rest.start, rest.end);
  const int room = field_room();
  int count = 0;
  for (char* start = rest.start;;) {
    char* stop = nullptr;
    if (start != rest.end && *start == textQuote && textQuote != '\0') {
      stop = read_quoted(count, start, &rest, &scan, as_is != 0);
      if (stop == nullptr) return -1;
    } else {
      stop = scan.next(start);
      keep(count, start, stop);
    }
    if (count <= room) ++count;
    if (stop == rest.end) break;
    start = stop + 1;
  }
  if (has_deletion_marker(count)) {  // each field keeps to its own buffer when the fields move down
    const int kept = std::min(count, room);
    std::rotate(fieldBuffer.begin(), fieldBuffer.begin() + 1, fieldBuffer.begin() + kept);
    std::rotate(fieldSize.begin(), fieldSize.begin() + 1, fieldSize.begin() + kept);
  }
  return count;
}

/// Reads the quoted field that starts at `start`, in further lines where it goes on there. `line` and `scan`
/// then are those of the last line. Returns the separator or line end behind the field; null when the source
/// cannot be read so far.
///
///     start     to               from
///     |         |                |
///     "b""c     text so far: b"c | , " d " , ...
char* _DamoCsvInput::read_quoted(int field, char* start, Line* line, DamoByteScan* scan, bool as_is) {
  const VInt firstLine = lineIdx;
  const char escapeByte = escape();
  char* from = start + 1;
  char* to = as_is ? from : start;
  for (bool isOpen = true; isOpen;) {
    char* special = damo_find_either(from, line->end, textQuote, escapeByte);
    to = move_to(to, from, special);
    from = special;
    if (from == line->end) {
      if (lineIdx == firstLine) keep_before(field);
      append(field, start, to - start);
      if (!read_on(field, line, firstLine)) return nullptr;
      *scan = DamoByteScan(fieldSep, line->start, line->end);
      start = to = from = line->start;
    } else if (from + 1 != line->end &&
               (from[1] == textQuote || (*from == escapeByte && from[1] == escapeByte))) {
      if (as_is) *to++ = *from;
      *to++ = from[1];
      from += 2;
    } else {
      isOpen = *from != textQuote;
      if (isOpen || as_is) *to++ = *from;
      ++from;
    }
  }
  char* const stop = scan->next(from);
  to = move_to(to, from, stop);
  if (lineIdx == firstLine)
    keep(field, start, to);
  else
    append(field, start, to - start);
  return stop;
}

/// Goes on to the next line within a quoted field. False when the source cannot be read.
bool _DamoCsvInput::read_on(int field, Line* line, VInt first_line) {
  const int length = next_line(&line->start);
  if (length < 0 && srcFile->read_error() != 0) return false;
  if (length < 0)
    throw AceException("Unterminated string found (delimiter missing) when processing line in extraction",
                       "'%s': field %d, opened in line %ld, is not closed at the end of the file",
                       get_source_name(), field, first_line);
  line->end = line->start + length;
  append(field, "\n", 1);
  return true;
}

/// Ends a field in place, or copies it when it is as long as its buffer.
void _DamoCsvInput::keep(int field, char* start, char* end) {
  *end = '\0';
  if (field >= field_room()) return;
  fieldPtr[field] = start;
  if (end - start < limit(field)) return;
  bufferUsed = 0;
  append(field, start, end - start);
}

/// Copies the fields before `field` into their buffers, because their line goes away, and starts that of
/// `field`.
void _DamoCsvInput::keep_before(int field) {
  for (int i = 0; i < std::min(field, field_room()); ++i) {
    if (fieldPtr[i] == fieldBuffer[static_cast<std::size_t>(i)].get()) continue;
    bufferUsed = 0;
    append(i, fieldPtr[i], static_cast<VInt>(std::strlen(fieldPtr[i])));
  }
  bufferUsed = 0;
}

/// Appends to the buffer of a field what it has or gets room for.
void _DamoCsvInput::append(int field, const char* text, VInt length) {
  if (field >= field_room()) return;
  grow(field, bufferUsed + length);
  const auto kept = static_cast<std::size_t>(std::clamp<VInt>(limit(field) - bufferUsed, 0, length));
  char* const buffer = fieldBuffer[static_cast<std::size_t>(field)].get();
  std::memcpy(buffer + bufferUsed, text, kept);
  bufferUsed += static_cast<VInt>(kept);
  buffer[bufferUsed] = '\0';
  fieldPtr[field] = buffer;
}

/// Doubles the size of a buffer as long as a field of `length` bytes fills it.
void _DamoCsvInput::grow(int field, VInt length) {
  int size = fieldSize[static_cast<std::size_t>(field)];
  while (length >= size - FULL_BEFORE_END && size < MAX_FIELD_SIZE) {
    size = std::min(2 * size, MAX_FIELD_SIZE);
    reporter->printf("Increasing line buffer for field %d to %d bytes on line %ld\n", field, size, lineIdx);
  }
  resize(field, size, bufferUsed);
  if (length >= limit(field) && bufferUsed < limit(field))
    reporter->printf("Maximum field size of %d reached for field %d on line %ld\n", MAX_FIELD_SIZE, field,
                     lineIdx);
}

/// Makes the buffer `size` bytes large; its first `used` bytes stay.
void _DamoCsvInput::resize(int field, int size, VInt used) {
  auto& buffer = fieldBuffer[static_cast<std::size_t>(field)];
  int& currentSize = fieldSize[static_cast<std::size_t>(field)];
  if (buffer != nullptr && size == currentSize) return;
  std::unique_ptr<char[]> larger(new char[static_cast<std::size_t>(size)]);
  if (used > 0) std::memcpy(larger.get(), buffer.get(), static_cast<std::size_t>(used));
  buffer = std::move(larger);
  currentSize = size;
}

/// Bytes that a field of the file can have in its buffer.
VInt _DamoCsvInput::limit(int field) const {
  return std::min(fieldSize[static_cast<std::size_t>(field)], MAX_FIELD_SIZE) - FULL_BEFORE_END;
}

int _DamoCsvInput::set_field(int index, const char* value) {
  if (index < 0 || index >= recordSize || value == nullptr) return DamoInput::set_field(index, value);
  auto& buffer = fieldBuffer[static_cast<std::size_t>(index)];
  int& currentSize = fieldSize[static_cast<std::size_t>(index)];
  const std::size_t size = std::strlen(value) + 1;
  if (size > INT_MAX) {
    reporter->printf("A value of %zu bytes is too long for field %d: expected at most %d\n", size - 1, index,
                     INT_MAX - 1);
    return -1;
  }
  if (buffer == nullptr || size > static_cast<std::size_t>(currentSize)) {
    const int larger = std::max(currentSize, static_cast<int>(size));
    std::unique_ptr<char[]> copy(new char[static_cast<std::size_t>(larger)]);
    std::memcpy(copy.get(), value, size);  // which may lie in the old buffer
    buffer = std::move(copy);
    currentSize = larger;
  } else {
    std::memmove(buffer.get(), value, size);
  }
  fieldPtr[index] = buffer.get();
  return 0;
}

int _DamoCsvInput::partition(int part, int num_parts) {
  const Huge from = srcFile != nullptr ? srcFile->get_pos() : 0;
  if (DamoFileInput::partition(part, num_parts) < 0) return -1;
  if (part == 0 || textQuote == '\0' || partStart >= partEnd) return 0;
  partStart = record_start(from, partStart);
  if (partStart < 0) return -1;
  partEnd = std::max(partEnd, partStart);
  return srcFile->jump_to_pos(partStart);
}

/// The first start of a record at or behind the line start `pos`, where one starts at `from`; -1 (reported)
/// when the file cannot be read again.
Huge _DamoCsvInput::record_start(Huge from, Huge pos) {
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  errno = 0;
  const std::unique_ptr<std::FILE, Close> file(AceFile::open(srcFile->get_filename(), "rb"));
  const DamoCsvSyntax syntax{fieldSep, textQuote, escape()};
  const Huge start = file != nullptr ? damo_csv_record_start(file.get(), syntax, from, pos) : -1;
  if (start < 0) {
    char reason[128];
    const char* text = ace_strerror(errno, reason, sizeof reason);
    reporter->printf("Cannot read source file '%s' again to divide it at byte %ld: %s\n", get_source_name(),
                     pos, text);
  }
  return start;
}

char* _DamoCsvInput::get_source_text(AceAttach* at) {
  if (char* const text = long_source_text(at); text != nullptr) return text;
  const char special[] = {fieldSep, '\n', '\r', textQuote, '\0'};  // a quote of 0 ends the list
  return joined_source(fieldSep, at, [&](const char* field, std::string* text) {
    const bool isQuoted = textQuote != '\0' && std::strpbrk(field, special) != nullptr;
    if (isQuoted) *text += textQuote;
    for (; *field != '\0'; ++field) {
      if (isQuoted && (*field == textQuote || *field == escapeChar)) *text += escape();
      *text += *field;
    }
    if (isQuoted) *text += textQuote;
  });
}

DamoInput* DamoCsvInput(const char* file, char separator, char quote, char escape, AceReporter* rep) {
  auto input = std::make_unique<_DamoCsvInput>(separator, quote, escape, rep);
  return input->check_characters() < 0 || input->init(file) < 0 ? nullptr : input.release();
}
