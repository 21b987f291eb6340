/// The key of a record line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "damo/damo_diff.h"

/// Field `column` of a line that has it.
inline std::string_view damo_field_of(std::string_view line, int column) {
  for (; column > 0; --column) line.remove_prefix(line.find('\t') + 1);
  return line.substr(0, line.find('\t'));
}

/// The fields of the columns with TABs in between: a piece of the line, or made in `room`.
inline std::string_view damo_key_of(std::string_view line, const std::vector<int>& columns,
                                    std::string* room) {
  if (columns.size() == 1) return damo_field_of(line, columns[0]);
  room->clear();
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (i > 0) *room += '\t';
    *room += damo_field_of(line, columns[i]);
  }
  return *room;
}

/// The values of a key with TABs in between.
inline std::string damo_joined(const DifKey& key) {
  std::string text;
  for (int i = 0; i < key.numKeys; ++i) text.append(i > 0 ? "\t" : "").append(key.keyStrings[i]);
  return text;
}

/// A line without the byte order mark that the first one may have.
inline std::string_view damo_without_mark(std::string_view line, VInt line_num) {
  constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
  if (line_num == 1 && line.starts_with(BYTE_ORDER_MARK)) line.remove_prefix(BYTE_ORDER_MARK.size());
  return line;
}
