#include "support/memory_file.h"

#include <dlfcn.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

ssize_t write_bytes(void* file, const char* bytes, size_t size) {
  static_cast<std::string*>(file)->append(bytes, size);
  return static_cast<ssize_t>(size);
}

std::FILE* open_memory(std::string* file, bool isRead) {
  if (isRead) return fmemopen(file->data(), file->size(), "r");
  file->clear();
  return fopencookie(file, "w", {nullptr, write_bytes, nullptr, nullptr});
}

}  // namespace

std::string& support::memory_file() {
  static std::string bytes;
  return bytes;
}

// Visible to the library, whose calls it takes over.
extern "C" [[gnu::visibility("default")]] std::FILE* fopen(const char* name, const char* mode) {
  using Open = std::FILE*(const char*, const char*);
  static Open* const hidden = reinterpret_cast<Open*>(dlsym(RTLD_NEXT, "fopen"));
  if (std::strcmp(name, support::MEMORY_FILE) != 0) return hidden(name, mode);
  return open_memory(&support::memory_file(), mode[0] == 'r');
}
