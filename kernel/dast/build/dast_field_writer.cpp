#include <cstdio>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "dast/build/dast_field_writer_internal.h"

FieldWriter::FieldWriter(const char* tera_name) {
  if (tera_name == nullptr || tera_name[0] == '\0') return;
  tStream = std::make_unique<AceFile>();
  if (tStream->build_atomic(tera_name, AceReporter::null()) < 0)
    throw AceException("File of values cannot be written", "'%s'", tera_name);
}

bool FieldWriter::update_string(std::string_view value) {
  if (!isFirst && value == lastString) return false;
  isFirst = false;
  lastString = value;
  return true;
}

int FieldWriter::write(std::string_view value, Large id) {
  if (tStream == nullptr || value.empty() || id == 0 || id == ~Large{0}) return 0;
  char number[10];
  std::snprintf(number, sizeof number, "%08x\t", id);
  pending.append(number).append(value).push_back('\n');
  if (pending.size() >= BUFFER_SIZE) flush();
  ++numWords;
  return 1;
}

void FieldWriter::flush() {
  tStream->write(static_cast<VInt>(pending.size()), pending.data(), 1);
  pending.clear();
}

int FieldWriter::close() {
  if (tStream != nullptr) {
    flush();
    tStream->close();
    tStream.reset();
  }
  return numWords == 0 ? 1 : 0;
}
