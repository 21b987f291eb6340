/// Comma-separated records: delimited records whose fields may be quoted.
///
///     a,"b""c","d
///     e",f            is one record of four fields: a | b"c | d<newline>e | f
///
/// A field that starts with the quote character is quoted. Inside, two quote characters stand for one, and
/// the escape character makes a quote or escape character behind it an ordinary one; in front of any other
/// byte it stands for itself. Separators are ordinary bytes there, and a line end is kept as a newline. What
/// follows the closing quote up to the next separator belongs to the field. In an unquoted field quote and
/// escape characters are ordinary bytes.
///
/// Fields stay in the line, where quotes and escapes are removed in place. A field is copied into its buffer
/// when it, or a later field of the record, goes on in the next line, or when it is as long as the buffer,
/// which then grows (reported) up to `MAX_FIELD_SIZE`; the bytes of a field beyond that are dropped
/// (reported).
///
/// In parts, a record belongs to the part in which it starts. A part therefore must know whether its first
/// line lies in a quoted field, and looks back for a quote that tells: usually not far, but as far as the
/// first part where nothing is quoted (damo_csv_border_internal.h).
///
/// Errors, beside those of damo_input.h: a quoted field that is not closed at the end of the file throws
/// `AceException`; the input is then at its end.
/// Cost: as damo_standard_input.h while fields are unquoted. See bench/storage/csv_bench.cpp.
#pragma once

#include <memory>
#include <vector>

#include "damo/damo_input.h"

class DamoByteScan;

class SORV_API _DamoCsvInput : public DamoFileInput {
 public:
  /// First and largest size of a field's buffer. A buffer is full two bytes before its end.
  static constexpr int FIELD_SIZE = 1024;
  static constexpr int MAX_FIELD_SIZE = 1000000;

  /// A `quote` or `escape` of 0 switches that rule off.
  _DamoCsvInput(char separator, char quote, char escape, AceReporter* rep);
  ~_DamoCsvInput() override;

  /// -1 (reported) when the separator is also the quote or escape character, or one of them a line end.
  int check_characters() const;
  /// Grows the field's buffer, beyond `MAX_FIELD_SIZE` where needed, when the value does not fit.
  int set_field(int index, const char* value) override;
  int partition(int part, int num_parts) override;
  /// Fields are quoted where they must be.
  char* get_source_text(AceAttach* at) override;

 private:
  struct Line {
    char* start;
    char* end;
  };

  int split(char* line, int length, int as_is) override;
  char* read_quoted(int field, char* start, Line* line, DamoByteScan* scan, bool as_is);
  bool read_on(int field, Line* line, VInt first_line);
  void keep(int field, char* start, char* end);
  void keep_before(int field);
  void append(int field, const char* text, VInt length);
  void grow(int field, VInt length);
  void resize(int field, int size, VInt used);
  VInt limit(int field) const;
  char escape() const { return escapeChar != '\0' ? escapeChar : textQuote; }
  Huge record_start(Huge from, Huge pos);

  char fieldSep;
  char textQuote;
  char escapeChar;
  std::vector<int> fieldSize;                        // current size of each field's buffer
  std::vector<std::unique_ptr<char[]>> fieldBuffer;  // made when needed
  VInt bufferUsed = 0;                               // bytes in the buffer of the field being read
};

/// Reads the records of `file`. The separator differs from the quote and escape characters, and none of them
/// is a line end, or there is no such input. The first record fixes the field count unless `set_num_fields`
/// does before. See damo_input.h for the reporter, the result and its ownership.
SORV_API DamoInput* DamoCsvInput(const char* file, char separator, char quote, char escape, AceReporter* rep);
