#include "damo/output/damo_output_internal.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "ace/ace_exception.h"

namespace {

constexpr std::size_t BUFFER_SIZE = std::size_t{1} << 18;

}  // namespace

DamoOutput::DamoOutput(const char* name) : fileName(name != nullptr ? name : ""), stream(nullptr) {
  if (name == nullptr || *name == '\0') throw AceException("Cannot write output file", "No file name given");
  stream = swap.open(name);
  if (stream == nullptr) fail("open");
  buffer = std::make_unique_for_overwrite<char[]>(BUFFER_SIZE);  // without one, the size does not count
  std::setvbuf(stream, buffer.get(), _IOFBF, BUFFER_SIZE);
}

void DamoOutput::vprintf(const char* format, std::va_list values) {
  if (std::vfprintf(stream, format, values) < 0) fail("write to");
}

void DamoOutput::printf(const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  try {
    vprintf(format, values);
  } catch (...) {
    va_end(values);
    throw;
  }
  va_end(values);
}

void DamoOutput::flush() {
  if (std::fflush(stream) != 0) fail("write to");
}

void DamoOutput::commit() {
  if (swap.commit() < 0) fail("finish");
}

void DamoOutput::fail(const char* action) const {
  throw AceException("Cannot write output file", "Cannot %s '%s': %s", action, fileName.c_str(),
                     std::strerror(errno));
}
