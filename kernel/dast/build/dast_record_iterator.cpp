#include "dast/dast_record_iterator.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "ace/ace_exception.h"
#include "ace/ace_input.h"

namespace {

constexpr int BUFFER_SIZE = 1 << 20;
constexpr VInt BYTES_PER_RECORD = 1000;
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

VInt file_bytes(const std::string& name) {
  std::error_code error;
  const auto size = std::filesystem::file_size(name, error);
  return error ? 0 : static_cast<VInt>(size);
}

}  // namespace

MultiFileRecordIterator::MultiFileRecordIterator(std::vector<std::string> files)
    : sortFiles(std::move(files)) {
  VInt bytes = 0;
  for (const std::string& name : sortFiles) bytes += file_bytes(name);
  estimatedRecs = std::max<VInt>(bytes / BYTES_PER_RECORD, 1);
}

MultiFileRecordIterator::~MultiFileRecordIterator() = default;

void MultiFileRecordIterator::open(std::size_t file) {
  curFile = file;
  lineNumber = 0;
  input = std::make_unique<AceInput>(sortFiles[file].c_str(), BUFFER_SIZE, false);
}

int MultiFileRecordIterator::rewind() {
  input.reset();
  curFile = 0;
  return 0;
}

bool MultiFileRecordIterator::get_next(std::string_view* line) {
  if (input == nullptr && curFile < sortFiles.size()) open(curFile);
  while (input != nullptr) {
    const char* text = nullptr;
    const int length = input->read_line(&text);
    if (length >= 0) {
      ++lineNumber;
      *line = {text, static_cast<std::size_t>(length)};
      if (lineNumber == 1 && line->starts_with(BYTE_ORDER_MARK)) line->remove_prefix(BYTE_ORDER_MARK.size());
      if (std::memchr(line->data(), '\0', line->size()) != nullptr)
        throw AceException("Zero byte in record", "'%s', line %ld", get_file().c_str(), lineNumber);
      return true;
    }
    if (input->read_error() != 0)
      throw AceException("Record file cannot be read", "'%s', behind line %ld: %s", get_file().c_str(),
                         lineNumber, std::strerror(input->read_error()));
    input.reset();
    if (curFile + 1 < sortFiles.size())
      open(curFile + 1);
    else
      curFile = sortFiles.size();
  }
  return false;
}

bool SortHeadIterator::get_next(std::string_view* line) {
  if (curRec == sortOrder.size()) return false;
  const Large number = sortOrder[curRec++];
  std::string_view text(extrFile + lineStarts[number],
                        static_cast<std::size_t>(lineStarts[number + 1] - lineStarts[number]));
  while (text.ends_with('\n') || text.ends_with('\r')) text.remove_suffix(1);
  *line = text;
  return true;
}
