#include "seam/seam_file.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "ace/ace_exception.h"
#include "ace/ace_file_swap.h"

WriteFileCache::WriteFileCache(const char* name)
    : fileName(name), swap(std::make_unique<AceFileSwap>()), stream(swap->open(name)) {
  if (stream == nullptr) fail(std::strerror(errno));
}

WriteFileCache::~WriteFileCache() = default;

void WriteFileCache::fail(const char* reason) const {
  throw AceException("Cannot write file", "%s: %s", fileName.c_str(), reason);
}

void WriteFileCache::put_string(const char* text) {
  if (stream == nullptr) fail("it is closed");
  if (std::fputs(text, stream) < 0) fail(std::strerror(errno));
}

void WriteFileCache::close() {
  if (std::exchange(stream, nullptr) != nullptr && swap->commit() != 0) fail(std::strerror(errno));
}
