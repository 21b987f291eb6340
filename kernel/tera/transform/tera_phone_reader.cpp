#include "tera/tera_phone_reader.h"

#include <cstring>

#include "ace/ace_str.h"

int PhoneReader::read_line(const char** line, VInt* lineNo) {
  lineAt.release();
  const char* read = nullptr;
  if (innerReader->read_line(&read, lineNo) < 0) {
    *line = nullptr;
    return -1;
  }
  const char* tab = std::strchr(read, '\t');
  const char* text = tab != nullptr ? tab + 1 : read;
  const char* coded = phoneTrafo->code(text, &lineAt);
  if (tab != nullptr) coded = strjoin_no_sep(lineAt.attach(read, text - read), coded, &lineAt);
  *line = coded;
  return static_cast<int>(std::strlen(coded));
}

int PhoneReader::rewind() {
  return innerReader->rewind();
}
