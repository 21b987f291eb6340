#include "tera/tera_charset.h"

#include <cstring>

namespace {

/// Index in `tera_charsets`; -1 when the name is not there.
int index_of(const char* charset) {
  if (charset == nullptr) return -1;
  for (int i = 0; i < TERA_NUM_CHARSETS; ++i)
    if (std::strcmp(charset, tera_charsets[i]) == 0) return i;
  return -1;
}

}  // namespace

const int* tera_get_charset_map(const char* charset) {
  const int index = index_of(charset);
  return index >= 0 ? tera_uni_maps[index] : nullptr;
}

const unsigned char* tera_get_type_map(const char* charset) {
  const int index = index_of(charset);
  return index >= 0 ? tera_uni_types[index] : nullptr;
}

const char* const* tera_all_charsets() {
  return tera_charsets;
}
