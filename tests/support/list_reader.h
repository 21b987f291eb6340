/// Entries from memory.
#pragma once

#include <string>
#include <vector>

#include "tera/tera_reader.h"

namespace support {

/// Attribute numbers are the entries' places, from 1.
class ListReader : public TeraReader {
 public:
  explicit ListReader(const std::vector<std::string>& entries) : list(entries) {}
  int get_line(const char** string, Large* info, VInt* line) override {
    if (next == list.size()) return 0;
    if (string != nullptr) *string = list[next].c_str();
    ++next;
    if (info != nullptr) *info = static_cast<Large>(next);
    if (line != nullptr) *line = static_cast<VInt>(next);
    return 1;
  }
  int rewind() override { return static_cast<int>(next = 0); }
  VInt get_estimate() override { return static_cast<VInt>(list.size()); }

 private:
  const std::vector<std::string>& list;
  std::size_t next = 0;
};

}  // namespace support
