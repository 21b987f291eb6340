// Any bytes, any buffer size, any number of parts: the lines of a stream, of a text and of the parts are
// those of the plain splitter. Paths: refills in every place, growth, skipped runs, NULs, positions, skip,
// error.
#include "ace/ace_input.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"
#include "oracle/lines.h"
#include "support/fuzz_input.h"

namespace {

using fuzz::require;

using Lines = std::vector<std::string>;

Lines read_all(AceInput* input, Huge end = -1) {
  Lines lines;
  char* line = nullptr;
  while (end < 0 || input->get_pos() < end) {
    const int length = input->read_line(&line);
    if (length < 0) break;
    lines.emplace_back(line, line + length);
    require(line[length] == '\0');
  }
  return lines;
}

std::FILE* stream_of(std::string* data) {
  std::FILE* stream =
      data->empty() ? std::fopen("/dev/null", "rb") : fmemopen(data->data(), data->size(), "rb");
  require(stream != nullptr);
  return stream;
}

/// Calls in an order given by the data, for the sanitizers.
void wander(AceInput* input, const std::string& steps) {
  char c = '\0';
  char* line = nullptr;
  for (const char step : steps) {
    switch (step & 7) {
      case 0:
        input->get_char(&c);
        break;
      case 1:
        input->unget();
        break;
      case 2:
        input->skip();
        break;
      case 3:
        input->read_line(&line);
        break;
      case 4:
        input->jump_to_pos(step >> 3);
        break;
      case 5:
        input->skip_all_eol();
        break;
      case 6:
        input->terminate_line(&line);
        break;
      default:
        input->rewind();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, size_t size) {
  AceReporter::clear_default();
  if (size < 3 || size > 2000) return 0;
  const int bufSize = bytes[0];
  const int numParts = 1 + bytes[1] % 40;
  const bool skipEmpty = (bytes[2] & 1) != 0;
  std::string data(bytes + 3, bytes + size);
  const Lines lines = oracle::lines_of(data, skipEmpty);

  AceInput whole(nullptr, bufSize, skipEmpty, stream_of(&data));
  require(read_all(&whole) == lines);
  require(whole.rewind() == 0 && read_all(&whole) == lines);

  Lines joined;
  for (int part = 0; part < numParts; ++part) {
    AceInput input(nullptr, bufSize, skipEmpty, stream_of(&data));
    const Huge end = input.partition(part, numParts);
    const Lines some = read_all(&input, end);
    joined.insert(joined.end(), some.begin(), some.end());
  }
  require(joined == lines);

  std::string text = data.c_str();
  const Lines textLines = oracle::lines_of(text, skipEmpty);
  AceInput memory(text.data(), skipEmpty);
  require(read_all(&memory) == textLines);

  AceInput stream(nullptr, bufSize, skipEmpty, stream_of(&data));
  wander(&stream, data);
  wander(&memory, data);
  return 0;
}
