/// Records of JSON files.
///
///     { "people": [ { "name": "Ann", "tags": ["a", "b"], "vip": true }, ... ] }
///
///     const char* const fields[] = {"name", "tags", "vip"};
///     std::unique_ptr<DamoInput> input(DamoJsonInput("people.json", "people", fields, 3, rep));
///     input->read_line(nullptr, 0);                      Ann, a|b, 1
///
/// Records are the elements of what a JMESPath expression selects in the document; a single object is one
/// record. In JSON lines (one document a line) each line is a record; blank lines are passed by. Fields are
/// what further JMESPath expressions give for the record:
///
///     a text                 its characters
///     true, false            "1", "0"
///     a list                 the texts of its elements with "|" in between, "" for none
///     null, or nothing       missing
///     anything else          missing, and told about once: `to_string(x)` makes a number a text
///
/// A record with a missing field is a bad one, whose missing fields can be filled (damo_input.h). A line that
/// is no JSON can only be ignored or rejected. Records are numbered from 1, lines by their number.
///
/// Memory: a record path of members, as `people`, `data.items` or `people[*]`, is read record by record; any
/// other holds the document. Lines are read one by one, and divide into parts; where all field paths are
/// members, as `name` or `home.town`, without a document.
///
/// Errors: `AceException` where the file or a path is not usable, where a document breaks off (behind the
/// records in front), and for a record path that gives a single value. Texts with zero bytes are no texts. Of
/// members that have the same name the first one counts (reported once). Nesting ends at 1024 levels.
#pragma once

#include <memory>

#include "damo/damo_input.h"

class SORV_API _DamoJsonInput : public DamoInput {
 public:
  _DamoJsonInput(const char* file, const char* record_path, const char* const* field_paths, int num_paths,
                 AceReporter* rep);
  ~_DamoJsonInput() override;

  int read_line(VInt* line_num, int as_is) override;
  /// Refused.
  int partition(int part, int num_parts) override;
  VInt get_size() override;
  const char* get_source_name() override;
  bool eof() override { return isEof; }
  /// The record as JSON.
  char* get_source_text(AceAttach* at) override;

 private:
  struct Document;

  std::unique_ptr<Document> document;
  bool isEof = false;
};

class SORV_API _DamoJsonLinesInput : public DamoFileInput {
 public:
  _DamoJsonLinesInput(const char* file, const char* const* field_paths, int num_paths, AceReporter* rep);
  ~_DamoJsonLinesInput() override;

  /// Passes by the next `n` lines, whatever they are.
  void skip_lines(int n);
  /// The line.
  char* get_source_text(AceAttach* at) override;
  /// Blank lines passed by so far.
  VInt get_num_blank() const { return numBlank; }

 private:
  struct Line;

  int split(char* line, int length, int as_is) override;
  int finish_record(int pieces) override;

  std::unique_ptr<Line> present;
  VInt numBlank = 0;
};

/// See damo_input.h for the reporter and the result's ownership.
SORV_API DamoInput* DamoJsonInput(const char* file, const char* record_path, const char** field_paths,
                                  int num_paths, AceReporter* rep);
SORV_API DamoInput* DamoJsonLinesInput(const char* file, const char** field_paths, int num_paths,
                                       AceReporter* rep);
