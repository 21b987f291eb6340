#include "ace/ace_dyn_heap.h"

#include <bit>
#include <cstdio>

#include "ace/ace_reporter.h"

namespace {

constexpr std::size_t ELEMENT_SIZE = 256;

}  // namespace

int vheap_write(AceReporter* rep, const void* heap, Large card, HeapElementText* element_text) {
  char text[ELEMENT_SIZE];
  for (Large pos = 0; pos < card; ++pos) {
    const int level = static_cast<int>(std::bit_width(std::size_t{pos} + 1)) - 1;
    element_text(heap, pos, text, sizeof text);
    rep->printf_no_time("%*s%u: %s\n", 2 * level, "", pos, text);
  }
  return 0;
}

void heap_text(long value, char* buffer, std::size_t size) {
  std::snprintf(buffer, size, "%ld", value);
}
void heap_text(unsigned long value, char* buffer, std::size_t size) {
  std::snprintf(buffer, size, "%lu", value);
}
void heap_text(double value, char* buffer, std::size_t size) {
  std::snprintf(buffer, size, "%g", value);
}
void heap_text(const volatile void* value, char* buffer, std::size_t size) {
  std::snprintf(buffer, size, "%p", const_cast<const void*>(value));
}
