/// Records of comma-separated text, byte by byte.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace oracle {

using Record = std::vector<std::string>;

struct CsvText {
  std::vector<Record> records;
  bool isOpen = false;  // ends inside a quoted field, whose record is left out
};

/// `escape` 0 for none. A NUL byte ends the string of its field; line ends in fields become newlines.
inline CsvText csv_records(std::string_view text, char separator, char quote, char escape, bool asIs) {
  CsvText result;
  Record record;
  std::string field;
  bool isQuoted = false;
  bool isFieldStart = true;
  bool isEmpty = true;  // nothing read since the last record
  const auto end_field = [&] {
    record.emplace_back(field.c_str());
    field.clear();
    isFieldStart = true;
  };
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    const char next = i + 1 < text.size() ? text[i + 1] : '\n';
    isEmpty = false;
    if (c == '\r' && next == '\n' && i + 1 < text.size()) ++i;
    if (c == '\r') c = '\n';
    if (isQuoted) {
      const bool isPair =
          (c == quote && next == quote) || (escape != 0 && c == escape && (next == quote || next == escape));
      if (isPair) {
        if (asIs) field += c;
        field += next;
        ++i;
      } else if (c == quote) {
        if (asIs) field += c;
        isQuoted = false;
      } else {
        field += c;
      }
    } else if (c == separator) {
      end_field();
    } else if (c == '\n') {
      end_field();
      result.records.push_back(record);
      record.clear();
      isEmpty = true;
    } else if (isFieldStart && c == quote && quote != 0) {
      isQuoted = true;
      isFieldStart = false;
      if (asIs) field += c;
    } else {
      field += c;
      isFieldStart = false;
    }
  }
  result.isOpen = isQuoted;
  if (!isEmpty && !isQuoted) {
    end_field();
    result.records.push_back(record);
  }
  return result;
}

}  // namespace oracle
