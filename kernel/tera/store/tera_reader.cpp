#include "tera/tera_reader.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <string_view>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"
#include "tera/store/tera_progress_internal.h"
#include "tera/store/tera_read_error_internal.h"
#include "tera/tera_data_file.h"
#include "tera/tera_map.h"
#include "tera/tera_token.h"
#include "tera/tera_transform.h"

namespace {

constexpr int END = 0;
constexpr int FOUND = 1;
constexpr Large NO_ATTRIBUTE = 0xFFFFFFFF;
constexpr int FILE_BASE = 16;  // of the attributes in files that the system writes
constexpr int MIN_BASE = 2;
constexpr int MAX_BASE = 36;
constexpr int STREAM_BUFFER = 1 << 16;

template <class T>
void put(T* place, T value) {
  if (place != nullptr) *place = value;
}

/// Reads a number that takes all of the text; an empty text is 0.
bool read_number(std::string_view text, int base, Large* number) {
  *number = 0;
  if (text.empty()) return true;
  if (base < MIN_BASE || base > MAX_BASE) return false;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *number, base);
  return error == std::errc() && end == text.data() + text.size();
}

const char* as_text(const Token* tokens) {
  return reinterpret_cast<const char*>(tokens);
}

}  // namespace

// ---------------------------------------------------------------- all readers
// What works on any reader, with the reader's own errors handed on.

int TeraReader::read_strings(const std::function<int(const char*, Large)>& use, AceReporter* rep) {
  static const AceTraceFlag traced("TERA_READING", __FILE__, __LINE__);
  TeraProgress progress(&traced);
  rep->print("Reading strings\n");
  const char* string = nullptr;
  Large info = 0;
  int scanned = 0;
  int rc = 0;
  while (scanned < INT_MAX && (rc = get_line(&string, &info, nullptr)) > 0) {
    if ((rc = use(string, info)) < 0) break;
    ++scanned;
    if (progress.is_due()) rep->pset(scanned, "Reading strings\n");
  }
  return rc < 0 ? ace_error(__FILE__, __LINE__, "get_line(&string, &info, nullptr)", rc, 0, -1) : scanned;
}

int TeraReader::fill_tree(ListTree* tree, AceBulk* bulk, int* count, int reverse, int no_info,
                          AceReporter* rep) {
  int scanned = 0;
  const int rc = read_strings(
      [&](const char* string, Large info) {
        AceAttach at;
        if (reverse != 0) string = as_text(TeraToken::turn(reinterpret_cast<const Token*>(string), &at));
        AceBulk::List*& list = tree->insert(string);
        const bool isRepeated = list != nullptr && list->count() > 0 && (*list)[list->count() - 1] == info;
        if (no_info == 0 && !isRepeated && bulk->inc(list, info) < 0) return -1;
        ++scanned;
        return 0;
      },
      rep);
  put(count, scanned);
  if (rc < 0) return -1;
  rep->printf("READ %d different strings\n", tree->num_strings());
  rep->printf("After %d scanned strings\n", scanned);
  return tree->num_strings();
}

int TeraReader::dump_file(const char* filename) {
  rewind();  // where that is impossible, what is left
  const auto close = [](std::FILE* file) { std::fclose(file); };
  const std::unique_ptr<std::FILE, decltype(close)> file(AceFile::open(filename, "wb"), close);
  if (file == nullptr) return ace_error(__FILE__, __LINE__, "AceFile::open(filename, \"wb\")", -1, 0, -1);
  const char* string = nullptr;
  Large info = 0;
  int written = 0;
  int rc = 0;
  while ((rc = get_line(&string, &info, nullptr)) > 0) {
    const int length = tera_simple_print(file.get(), info, string);
    if (length < 0) return -1;
    if (length > 0) ++written;
  }
  if (rc < 0) return ace_error(__FILE__, __LINE__, "get_line(&string, &info, nullptr)", rc, 0, -1);
  tera_flush(file.get());
  return written;
}

// ---------------------------------------------------------------- entry lines
// The number in front of a tab is the attribute; without one it is the line's number.

int TeraStandardReader::get_line(const char** string, Large* info, VInt* line) {
  if (lastResult != FOUND) return lastResult;
  const char* text = nullptr;
  VInt number = 0;
  if (itsInput->read_line(&text, &number) < 0 || text == nullptr)
    return lastResult = check_read(*itsInput, "tera file", highestLine + 1);
  highestLine = std::max(highestLine, number);
  Large attribute = 0;
  if (const char* tab = std::strchr(text, '\t'); tab != nullptr) {
    if (!read_number({text, static_cast<std::size_t>(tab - text)}, numericBase, &attribute)) {
      AceReporter::use_default()->printf("Error reading tera file, line %ld: %s\n", number, text);
      return lastResult = -1;
    }
    text = tab + 1;
  }
  *string = text;
  put(info, attribute == 0 || attribute == NO_ATTRIBUTE ? static_cast<Large>(number) : attribute);
  put(line, number);
  return FOUND;
}

int TeraStandardReader::rewind() {
  if (const int rc = itsInput->rewind(); rc < 0) return -1;
  lastResult = FOUND;
  return 0;
}

// ---------------------------------------------------------------- adapters
// What an adapter gives lies in its own memory until its next line.

int TeraMappedReader::get_line(const char** string, Large* info, VInt* line) {
  const char* text = nullptr;
  const int rc = unMapped->get_line(&text, info, line);
  if (rc <= 0) return rc;
  memAt.release();
  *string = as_text(teraMap->convert(text, noGlob, &memAt));
  return FOUND;
}

int TeraTransformReader::get_line(const char** string, Large* info, VInt* line) {
  if (lastResult != FOUND) return lastResult;
  if (nextVariant == nullptr) {
    const char* text = nullptr;
    lastResult = internalReader->get_line(&text, &curInfo, &curLine);
    if (lastResult != FOUND) return lastResult;
    memAt.release();
    nextVariant = itsTransform->code(text, &memAt);
    if (nextVariant == nullptr) {
      AceReporter::use_default()->printf("Line %ld cannot be transformed: %s\n", curLine, text);
      return lastResult = -1;
    }
  }
  *string = nextVariant;
  nextVariant = std::strchr(nextVariant, TeraTransform::VARIANT_SIGN);
  if (nextVariant != nullptr) *nextVariant++ = '\0';
  if (skipAliases) nextVariant = nullptr;
  put(info, curInfo);
  put(line, curLine);
  return FOUND;
}

int TeraTransformReader::rewind() {
  if (const int rc = internalReader->rewind(); rc < 0) return rc;
  nextVariant = nullptr;
  lastResult = FOUND;
  return 0;
}

// ---------------------------------------------------------------- words
// A line is kept until its last word is given; words are numbered on, whatever their lines.

SingleWordReader::SingleWordReader(AceReader* input, const char* separators)
    : itsInput(input), separatorSet(separators != nullptr ? separators : "") {
  separatorSet += ' ';
}

int SingleWordReader::get_line(const char** string, Large* info, VInt* line) {
  std::size_t start = 0;
  while ((start = lineText.find_first_not_of(separatorSet, linePos)) == lineText.npos) {
    const char* text = nullptr;
    if (lastResult != FOUND) return lastResult;
    if (itsInput->read_line(&text, &curLine) < 0 || text == nullptr)
      return lastResult = check_read(*itsInput, "words", curLine + 1);
    lineText = text;
    linePos = 0;
  }
  const std::size_t end = std::min(lineText.find_first_of(separatorSet, start), lineText.size());
  linePos = std::min(end + 1, lineText.size());
  if (end < lineText.size()) lineText[end] = '\0';
  *string = lineText.c_str() + start;
  put(info, ++numWords);
  put(line, curLine);
  return FOUND;
}

int SingleWordReader::rewind() {
  if (itsInput->rewind() < 0) return -1;
  lineText.clear();
  linePos = 0;
  numWords = 0;
  lastResult = FOUND;
  return 0;
}

// ---------------------------------------------------------------- several streams
// A heap has the stream with the last string on top, so that what falls in each stream falls in all.

struct MultiStreamReader::Stream {
  Stream(std::FILE* file, const TeraMap* map, bool no_glob)
      : lineInput(nullptr, STREAM_BUFFER, false, file),
        standardReader(&lineInput, FILE_BASE),
        mappedReader(&standardReader, map, no_glob),
        reader(map != nullptr ? static_cast<TeraReader*>(&mappedReader) : &standardReader) {}

  AceInput lineInput;
  TeraStandardReader standardReader;
  TeraMappedReader mappedReader;
  TeraReader* reader;
  const char* curString = nullptr;
  Large curInfo = 0;
};

MultiStreamReader::MultiStreamReader(int num_streams, std::FILE** streams, const TeraMap* map, bool no_glob) {
  int taken = 0;
  try {
    for (; taken < num_streams; ++taken)
      streamArray.push_back(std::make_unique<Stream>(streams[taken], map, no_glob));
  } catch (...) {
    // The stream that failed was closed by its own reader.
    for (int i = taken + 1; i < num_streams; ++i)
      if (streams[i] != nullptr) std::fclose(streams[i]);
    throw;
  }
}

MultiStreamReader::~MultiStreamReader() = default;

/// Whether the first stream comes after the second, as the order of a heap has it.
bool MultiStreamReader::is_before(std::size_t first, std::size_t second) const {
  const int order = std::strcmp(streamArray[first]->curString, streamArray[second]->curString);
  return order != 0 ? order < 0 : first > second;
}

/// Reads a stream's next string and puts the stream into the heap; at the stream's end it stays outside.
int MultiStreamReader::advance(std::size_t stream) {
  Stream& from = *streamArray[stream];
  const int rc = from.reader->get_line(&from.curString, &from.curInfo, nullptr);
  if (rc <= 0) return rc;
  streamHeap.push_back(stream);
  std::push_heap(streamHeap.begin(), streamHeap.end(),
                 [this](std::size_t a, std::size_t b) { return is_before(a, b); });
  return FOUND;
}

int MultiStreamReader::start_all() {
  isStarted = true;
  for (std::size_t i = 0; i < streamArray.size(); ++i)
    if (const int rc = advance(i); rc < 0) return rc;
  return 0;
}

int MultiStreamReader::get_line(const char** string, Large* info, VInt* line) {
  if (lastResult != FOUND) return lastResult;
  int rc = 0;
  if (!isStarted) {
    rc = start_all();
  } else {
    // Its string was the caller's until now.
    std::pop_heap(streamHeap.begin(), streamHeap.end(),
                  [this](std::size_t a, std::size_t b) { return is_before(a, b); });
    const std::size_t given = streamHeap.back();
    streamHeap.pop_back();
    rc = advance(given);
  }
  if (rc < 0 || streamHeap.empty()) return lastResult = std::min(rc, END);
  const Stream& next = *streamArray[streamHeap.front()];
  *string = next.curString;
  put(info, next.curInfo);
  put(line, numLines++);
  return FOUND;
}

int MultiStreamReader::rewind() {
  if (!isStarted) return 0;
  for (const auto& stream : streamArray)
    if (stream->reader->rewind() < 0) return stream == streamArray.front() ? -1 : lastResult = -1;
  streamHeap.clear();
  isStarted = false;
  numLines = 0;
  lastResult = FOUND;
  return 0;
}

VInt MultiStreamReader::get_estimate() {
  VInt sum = 0;
  for (const auto& stream : streamArray) sum += stream->reader->get_estimate();
  return sum;
}

// ---------------------------------------------------------------- a function for each entry
// Every round starts at the reader's first entry.

VInt TeraReaderStream::for_each(const std::function<int(const char*, unsigned)>& f) {
  ACE_CALL(itsDelegate->rewind());
  const char* string = nullptr;
  Large info = 0;
  VInt count = 0;
  int rc = 0;
  while ((rc = itsDelegate->get_line(&string, &info, nullptr)) > 0) {
    ++count;
    if (const int stop = f(string, info); stop < 0) return stop;
  }
  return rc < 0 ? ace_error(__FILE__, __LINE__, "itsDelegate->get_line(&string, &info, nullptr)", rc, 0, -1)
                : count;
}
