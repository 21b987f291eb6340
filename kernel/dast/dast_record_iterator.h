/// Where the records of a build come from: lines, as dast_base.h has them.
///
/// Lines are valid until the next one is fetched.
/// Errors: an `AceException` for files that cannot be opened or read, naming file and line, and for lines
/// with zero bytes. Thread safety: belongs to one thread at a time.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ace/ace_types.h"

class AceInput;

class SORV_API RecordIterator {
 public:
  virtual ~RecordIterator() = default;
  /// Stores the next record. False at the end.
  virtual bool get_next(std::string_view* line) = 0;
  /// Back to the first record. Returns 0, or -1 where that is impossible.
  virtual int rewind() = 0;
  /// About how many records there are.
  virtual VInt estimate_records() = 0;
};

/// The lines of several files, one file after the other. A byte order mark at the start of a file is skipped.
class SORV_API MultiFileRecordIterator : public RecordIterator {
 public:
  explicit MultiFileRecordIterator(std::vector<std::string> files);
  ~MultiFileRecordIterator() override;

  bool get_next(std::string_view* line) override;
  int rewind() override;
  /// The size of the files divided by 1000, at least 1.
  VInt estimate_records() override { return estimatedRecs; }
  /// The file being read, and the number of the last line in it, from 1.
  const std::string& get_file() const { return sortFiles[curFile]; }
  VInt get_line() const { return lineNumber; }

 private:
  void open(std::size_t file);

  std::vector<std::string> sortFiles;
  std::size_t curFile = 0;
  VInt lineNumber = 0;
  VInt estimatedRecs = 1;
  std::unique_ptr<AceInput> input;
};

/// The lines of a file in memory, in another order.
class SORV_API SortHeadIterator : public RecordIterator {
 public:
  /// `order` has line numbers, from 0. Keeps the text by pointer; `starts` has the offset of each line in it,
  /// and that behind the last line's end.
  SortHeadIterator(std::vector<Large> order, const char* text, std::vector<Huge> starts)
      : sortOrder(std::move(order)), extrFile(text), lineStarts(std::move(starts)) {}

  bool get_next(std::string_view* line) override;
  int rewind() override {
    curRec = 0;
    return 0;
  }
  VInt estimate_records() override { return static_cast<VInt>(sortOrder.size()); }

 private:
  std::vector<Large> sortOrder;
  const char* extrFile;
  std::vector<Huge> lineStarts;
  std::size_t curRec = 0;
};
