#include "ace/ace_input.h"

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "ace/ace_string.h"
#include "ace/ace_thread.h"

namespace {

constexpr int MIN_BUF_SIZE = 2;  // one byte and the terminator behind it
constexpr int DEFAULT_BUF_SIZE = 4096;
constexpr VInt LONG_LINE = 1048576;       // longer ones are warned about
constexpr Large MAX_NULL_WARNINGS = 100;  // per file
constexpr VInt CONTEXT_SIZE = 200;        // bytes of text that a position is printed with
constexpr VInt CONTEXT_LIMIT = 80;        // up to this column the text starts with the line, ...
constexpr VInt CONTEXT_BEFORE = 40;       // ... else so many bytes before the position
constexpr const char* UNDEFINED_NAME = "%%%UNDEF%%%";
constexpr const char* BLANK_NAME = "-BLANK-";

constexpr bool is_line_end(int c) {
  return c == '\n' || c == '\r';
}

/// One bit for each LF, CR and NUL among the 16 bytes at `text`.
std::uint64_t line_end_bits(const char* text) {
  const __m128i bytes = _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(text)));
  const __m128i feeds = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\n'));
  const __m128i returns = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\r'));
  const __m128i nulls = _mm_cmpeq_epi8(bytes, _mm_setzero_si128());
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(_mm_or_si128(feeds, returns), nulls)));
}

/// The first LF, CR or NUL from `from` on, or `end`. In steps of 64 bytes: most lines end within the first
/// one, and a step costs less than a wrong guess of how many shorter ones a line takes.
char* find_line_end(char* from, char* end) {
  constexpr VInt width = 64;
  for (; end - from >= width; from += width) {
    const std::uint64_t bits = line_end_bits(from) | line_end_bits(from + 16) << 16 |
                               line_end_bits(from + 32) << 32 | line_end_bits(from + 48) << 48;
    if (bits != 0) return from + std::countr_zero(bits);
  }
  while (from != end && !is_line_end(*from) && *from != '\0') ++from;
  return from;
}

}  // namespace

AceInput::AceInput(const char* name, int bufferSize, bool noEmptyLines, std::FILE* stream) {
  try {
    init(name, bufferSize, noEmptyLines, stream);
  } catch (...) {
    close_stream();
    release();
    throw;
  }
}

AceInput::AceInput(char* text, bool noEmptyLines) : skipEmptyLines(noEmptyLines) {
  readBuf = curPos = lineStart = text != nullptr ? text : attach("");
  textEnd = readBuf + std::strlen(readBuf);
}

AceInput::~AceInput() {
  close_stream();
}

void AceInput::close_stream() {
  const AceUncancellable uncancellable;  // the stream may be the caller's
  if (inputStream != nullptr) std::fclose(inputStream);
  inputStream = nullptr;
}

int AceInput::init(const char* name, int bufferSize, bool noEmptyLines, std::FILE* stream) {
  skipEmptyLines = noEmptyLines;
  if (stream == nullptr && name != nullptr) stream = AceFile::open(name, "rb");
  if (stream == nullptr && (name != nullptr || inputStream == nullptr))
    throw AceException("File not found", "%s", name != nullptr ? name : "");
  if (stream != nullptr && stream != inputStream && AceFile::is_folder(stream)) {
    std::fclose(stream);
    throw AceException("Cannot read a folder", "%s", name != nullptr ? name : "");
  }

  if (stream != nullptr && stream != inputStream) {
    close_stream();
    inputStream = stream;
    fileName = nullptr;
    bufStart = std::max<Huge>(ftello64(stream), 0);
  } else {
    jump_to_pos(get_pos());  // what is buffered is read again
  }
  begin_stream(name, bufferSize);
  return update();
}

void AceInput::begin_stream(const char* name, int size) {
  const int capacity = size < MIN_BUF_SIZE ? DEFAULT_BUF_SIZE : size;
  malloc(readBuf, capacity);
  bufSize = capacity;
  textEnd = nullptr;
  empty_buffer(bufStart);
  if (name != nullptr) fileName = attach(name);
  lineNum = 0;
  nullCount = 0;
}

/// Nothing is buffered; the stream is at `pos`.
void AceInput::empty_buffer(Huge pos) {
  bufStart = pos;
  curPos = lineStart = bufEnd = readBuf;
  *readBuf = '\0';
  readError = 0;
}

/// Reading failed, for the reason in `errno`, at byte `pos`.
void AceInput::fail_reading(Huge pos) {
  readError = errno != 0 ? errno : EIO;
  char reason[128];
  AceReporter::use_default()->ev_wprintf("Reading file '%s' failed at byte %ld: %s", display_name(), pos,
                                         ace_strerror(readError, reason, sizeof reason));
}

int AceInput::update() {
  if (inputStream == nullptr || curPos != bufEnd || readError != 0) return 0;
  const VInt keep = curPos - lineStart;
  bufStart += lineStart - readBuf;
  std::memmove(readBuf, lineStart, static_cast<std::size_t>(keep));
  lineStart = readBuf;
  curPos = bufEnd = readBuf + keep;
  *bufEnd = '\0';
  if (bufSize - keep <= 1) grow();

  const auto room = static_cast<std::size_t>(bufSize - keep - 1);
  const std::size_t count = AceFile::read_from(inputStream, curPos, room);
  if (count < room && std::ferror(inputStream) != 0) fail_reading(get_pos() + static_cast<Huge>(count));
  bufEnd = curPos + count;
  *bufEnd = '\0';
  return count > 0 ? 1 : 0;
}

/// Doubles the buffer.
void AceInput::grow() {
  if (bufSize == INT_MAX)
    throw AceException("Line too long", "'%s', line %d: no line end within %d bytes", display_name(), lineNum,
                       INT_MAX);
  const int size = bufSize > INT_MAX / 2 ? INT_MAX : 2 * bufSize;
  const VInt used = bufEnd - readBuf;
  char* larger = nullptr;
  malloc(larger, size);
  std::memcpy(larger, readBuf, static_cast<std::size_t>(used + 1));
  readBuf = lineStart = larger;
  curPos = bufEnd = larger + used;
  bufSize = size;
}

/// Whether there is a byte at `curPos`, after a refill where necessary.
bool AceInput::more() {
  return curPos != data_end() || update() != 0;
}

const char* AceInput::display_name() const {
  return fileName != nullptr ? fileName : UNDEFINED_NAME;
}

/// Counts a NUL byte in the data, and warns about the first ones.
void AceInput::note_null() {
  AceReporter* rep = AceReporter::use_default();
  if (nullCount < MAX_NULL_WARNINGS)
    rep->ev_wprintf("Null character in file '%s', line %i!", display_name(), lineNum);
  else if (nullCount == MAX_NULL_WARNINGS)
    rep->ev_wprintf("Null character in file! Skipping further warnings.");
  if (nullCount < UINT_MAX) ++nullCount;
}

int AceInput::get_char(char* c) {
  if (!more()) return -1;
  if (*curPos == '\0') {
    if (bufEnd == nullptr) return -1;
    note_null();
  }
  *c = *curPos++;
  return 0;
}

int AceInput::unget() {
  if (curPos <= lineStart || curPos <= readBuf) return -1;
  --curPos;
  return 0;
}

int AceInput::read_line(char** line, VInt* lineNo) {
  if (lineNo != nullptr) *lineNo = lineNum;
  *line = nullptr;
  lineStart = curPos;
  while (more()) {
    curPos = find_line_end(curPos, data_end());
    if (curPos == data_end()) continue;
    if (*curPos != '\0') {
      ++curPos;
      return terminate_line(line);
    }
    if (bufEnd == nullptr) break;
    note_null();
    ++curPos;
  }
  return curPos > lineStart && readError == 0 ? cut_line(line, curPos - lineStart) : -1;
}

int AceInput::read_line(const char** line, VInt* lineNo) {
  char* cut = nullptr;
  const int length = read_line(&cut, lineNo);
  *line = cut;
  return length;
}

int AceInput::terminate_line(char** line) {
  const VInt length = std::max<VInt>(curPos - lineStart - 1, 0);
  if (skipEmptyLines)
    skip_all_eol();
  else
    skip_one_eol();
  return cut_line(line, length);
}

/// Ends the line that starts at `lineStart`; the next one starts at `curPos`.
int AceInput::cut_line(char** line, VInt length) {
  while (length > 0 && is_line_end(lineStart[length - 1])) --length;
  if (length > INT_MAX)
    throw AceException("Line too long", "'%s', line %d: %ld bytes, the limit is %d", display_name(), lineNum,
                       length, INT_MAX);
  if (length > LONG_LINE)
    AceReporter::use_default()->ev_wprintf("Line of length %ld bytes read from file!\n", length);
  lineStart[length] = '\0';
  *line = lineStart;
  lineStart = curPos;
  if (lineNum < INT_MAX) ++lineNum;
  return static_cast<int>(length);
}

int AceInput::skip_one_eol() {
  if (curPos == lineStart || curPos[-1] != '\r' || !more()) return 0;
  if (*curPos == '\n')
    ++curPos;
  else
    AceReporter::use_default()->ev_wprintf("Incorrect EOL in line %i: Read \r but not \n", lineNum);
  return 0;
}

int AceInput::skip_all_eol() {
  const VInt keep = curPos - lineStart;
  while (more()) {
    while (curPos != data_end() && is_line_end(*curPos)) ++curPos;
    if (curPos != data_end() || bufEnd == nullptr) break;
    // The run goes on to the end of the buffer: drop it, or an endless one would make the buffer grow.
    bufStart += curPos - lineStart - keep;
    curPos = bufEnd = lineStart + keep;
    *bufEnd = '\0';
  }
  return 0;
}

int AceInput::skip() {
  bool lineBegins = false;  // `lineStart` follows the next byte
  for (char c = '\0'; get_char(&c) == 0;) {
    if (lineBegins) lineStart = curPos;
    lineBegins = is_line_end(c);
    if (lineBegins) {
      if (c == '\r' && more() && *curPos == '\n') ++curPos;
      if (lineNum < INT_MAX) ++lineNum;
      lineStart = curPos;
    } else if (c == '#') {
      char* comment = nullptr;
      read_line(&comment);
    } else if (c != ' ' && c != '\t' && c != '\0') {
      break;
    }
  }
  return 0;
}

/// Makes the cuts from `from` to the present position line feeds.
void AceInput::undo_cuts(char* from) {
  if (from < curPos) std::replace(from, curPos, '\0', '\n');
}

int AceInput::rewind() {
  if (inputStream != nullptr) {
    if (!seek(0)) return -1;
    empty_buffer(0);
  } else {
    undo_cuts(readBuf);
    curPos = lineStart = readBuf;
  }
  lineNum = 0;
  nullCount = 0;
  update();
  return 0;
}

/// Moves the stream, not the buffer; warns when that is not possible.
bool AceInput::seek(Huge pos) {
  if (fseeko64(inputStream, pos, SEEK_SET) == 0) {
    std::clearerr(inputStream);
    return true;
  }
  AceReporter::use_default()->ev_wprintf("Not able to jump to given position.");
  return false;
}

int AceInput::jump_to_pos(Huge pos) {
  if (inputStream != nullptr) {
    if (!seek(pos)) return -1;
    empty_buffer(pos);
    return 0;
  }
  if (pos < 0 || pos > textEnd - readBuf) {
    AceReporter::use_default()->ev_wprintf("Not able to jump to given position.");
    return -1;
  }
  undo_cuts(readBuf + pos);
  curPos = lineStart = readBuf + pos;
  return 0;
}

Huge AceInput::get_size() {
  if (inputStream == nullptr) return bufSize;
  const Huge here = ftello64(inputStream);
  if (here < 0 || fseeko64(inputStream, 0, SEEK_END) != 0) return -1;
  const Huge size = ftello64(inputStream);
  return fseeko64(inputStream, here, SEEK_SET) == 0 ? size : -1;
}

Huge AceInput::get_sizek() {
  if (inputStream == nullptr) return bufSize;
  return std::max<Huge>(get_size() / 1024, 1);
}

/// `pos` itself where a line starts there, else the end of the line end that follows; `size` at the end of
/// the file; -1 when the stream cannot be read or moved. Moves the stream.
Huge AceInput::line_start_from(Huge pos, Huge size) {
  if (pos == 0) return pos;
  if (!seek(pos - 1)) return -1;
  const auto next_byte = [this] { return AceFile::get_byte(inputStream); };
  const int before = next_byte();
  int c = next_byte();
  if (is_line_end(before) && c != EOF && !is_line_end(c)) return pos;
  for (; c != EOF && !is_line_end(c); ++pos) c = next_byte();
  if (c == EOF) {
    if (std::ferror(inputStream) == 0) return size;
    fail_reading(pos);
    return -1;
  }
  return c == '\r' && next_byte() == '\n' ? pos + 2 : pos + 1;
}

Huge AceInput::partition(int part, int numParts) {
  if (part < 0 || part >= numParts) {
    AceReporter::use_default()->ev_wprintf("There is no part %d of %d of file '%s'", part, numParts,
                                           display_name());
    return -1;
  }
  const Huge pos = get_pos();
  const Huge size = get_size();
  if (size < 0) {
    AceReporter::use_default()->ev_wprintf("Not able to jump to given position.");
    return -1;
  }
  const bool isLast = part == numParts - 1;
  const Huge chunk = (size - pos) / numParts;
  if (chunk <= 0) {
    jump_to_pos(pos);
    return isLast ? size : pos;
  }
  const Huge start = part == 0 ? pos : line_start_from(pos + part * chunk, size);
  const Huge end = start < 0 || isLast ? size : line_start_from(pos + (part + 1) * chunk, size);
  if (start < 0 || end < 0) return -1;
  jump_to_pos(start);
  lineNum = 0;
  nullCount = 0;
  if (skipEmptyLines && part > 0) {  // a run of line ends belongs to the line before it, in the part before
    skip_all_eol();
    lineStart = curPos;
  }
  return end;
}

int AceInput::error() {
  ++errorCount;
  const VInt column = curPos - lineStart;
  const char* name = fileName != nullptr && *fileName == '\0' ? BLANK_NAME : display_name();
  const char* start = column >= CONTEXT_LIMIT ? curPos - CONTEXT_BEFORE : lineStart;
  const char* end = std::min<const char*>(data_end(), start + std::min(CONTEXT_SIZE, data_end() - start));
  const char* cut = std::find(static_cast<const char*>(curPos), std::max<const char*>(curPos, end), '\n');
  const auto length = static_cast<int>(std::min(cut, end) - start);

  AceString text;
  text.print("%s:%d:%ld:\n", name, lineNum, column);
  text.print("%.*s\n", length, start);  // a NUL ends it as well
  AceReporter::print_static(text.clean());
  return 0;
}
