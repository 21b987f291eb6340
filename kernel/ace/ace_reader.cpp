#include "ace/ace_reader.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace {

/// strncpy of a line of at most `length` bytes. Returns the bytes of the line that were copied.
int copy_padded(char* buf, int n, const char* line, int length) {
  if (n < 1) return 0;
  const std::size_t count = strnlen(line, static_cast<std::size_t>(std::min(n, length)));
  std::memcpy(buf, line, count);
  std::memset(buf + count, 0, static_cast<std::size_t>(n) - count);
  return static_cast<int>(count);
}

}  // namespace

int AceArrayReader::read_line(const char** line, VInt* lineNo) {
  if (lineArray == nullptr) return -1;
  while (lineNum < numStrings && lineArray[lineNum] == nullptr) ++lineNum;
  if (lineNum >= numStrings) return -1;
  if (lineNo != nullptr) *lineNo = lineNum;
  *line = lineArray[lineNum++];
  return static_cast<int>(std::strlen(*line));
}

int AceArrayReader::copy_line(char* buf, int n) {
  const char* line = nullptr;
  const int length = read_line(&line, nullptr);
  return length < 0 ? -1 : copy_padded(buf, n, line, length);
}

int AceArrayReader::rewind() {
  lineNum = 0;
  return 0;
}

int AceCustomReader::read_line(const char** line, VInt* lineNo) {
  if (lineNo != nullptr) *lineNo = lineNum;
  if (customRead == nullptr) return -1;
  if (lineNum < INT_MAX) ++lineNum;
  return customRead(line, customArg);
}

int AceCustomReader::copy_line(char* buf, int n) {
  if (customRead == nullptr) return -1;
  const char* line = "";
  const int length = read_line(&line, nullptr);
  if (length < 0) return -1;
  copy_padded(buf, n, line != nullptr ? line : "", length);
  return length;
}

int AceCustomReader::rewind() {
  lineNum = 0;
  return -1;
}
