/// A stretch of records, cut into fields: what the threads of a build share.
///
/// Thread safety: filled by one thread; then read by any number.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "ace/ace_types.h"

class AceReporter;
class RecordIterator;

class RecordChunk {
 public:
  /// Records of a chunk.
  static constexpr int INPUT_SIZE = 100000;

  /// Fetches up to `INPUT_SIZE` records, numbered from `start` on, and cuts them. Returns their number.
  /// Throws an `AceException` for a record that has another number of fields.
  int fill(RecordIterator* source, int num_fields, Large start);

  int get_num_lines() const { return numLines; }
  /// The number of the first record.
  Large get_start() const { return startRec; }
  std::string_view get_field(int line, int field) const {
    const auto i = static_cast<std::size_t>(line) * static_cast<std::size_t>(numFields) +
                   static_cast<std::size_t>(field);
    return {text.data() + fieldStarts[i], fieldStarts[i + 1] - fieldStarts[i] - 1};
  }

 private:
  void cut(std::string_view line);

  int numLines = 0;
  int numFields = 0;
  Large startRec = 0;
  std::string text;                      // fields, each with one byte behind it
  std::vector<std::size_t> fieldStarts;  // and the end
};

/// Calls `f(field)` for the fields of a mask from several threads, the calling one included; each field once,
/// by the thread that is free next, the highest first. The first exception of any call is thrown when all
/// have ended.
void dast_for_each_field(Mask fields, int num_threads, const std::function<void(int)>& f);
