#include "tera/tera_words_reader.h"

#include "ace/ace_input.h"
#include "tera/store/tera_read_error_internal.h"
#include "tera/tera_reader.h"

namespace {

constexpr int BUFFER = 100000;

}  // namespace

WordsReader::WordsReader(TeraReader* reader, const char* chunk_file)
    : itsReader(reader), chunkFile(chunk_file != nullptr ? chunk_file : "") {}

WordsReader::WordsReader(const char* file, const char* chunk_file)
    : ownInput(std::make_unique<AceInput>(file, BUFFER, false)),
      chunkFile(chunk_file != nullptr ? chunk_file : "") {}

WordsReader::~WordsReader() = default;

int WordsReader::get_line(const char** line, Large* info) {
  if (itsReader != nullptr) return itsReader->get_line(line, info, nullptr);
  VInt number = 0;
  if (ownInput->read_line(line, &number) < 0) return check_read(*ownInput, "lines", number + 1);
  *info = static_cast<Large>(number);
  return 1;
}
