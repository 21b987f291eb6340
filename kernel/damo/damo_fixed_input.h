/// Fixed-width records: a line is a record, its fields end at given byte positions.
///
///     tab stops 3, 5:      abcdefg  ->  abc | de
///                          ^  ^ ^
///                          0  3 5
///
/// What follows the last tab stop is dropped. A field of which the line has only a part is that part; fields
/// behind the end of the line are missing, but there is always a first one. The number of tab stops is not
/// limited to `MAX_FIELDS`.
#pragma once

#include "damo/damo_input.h"

class SORV_API _DamoFixedInput : public DamoFileInput {
 public:
  /// `tab_stops` are copied. Throws `AceException` when there are none, or when they are not strictly
  /// increasing from 0 or more on.
  _DamoFixedInput(int tab_count, const int* tab_stops, AceReporter* rep);

  /// Without what lies behind the last tab stop.
  char* get_source_text(AceAttach* at) override;

 private:
  int split(char* line, int length, int as_is) override;
  char* line_buffer(VInt size);

  int tabCount;
  int* tabStops = nullptr;
  AceAttach lineAt;            // the fields of the current line
  char* lineBuffer = nullptr;  // in lineAt
  VInt bufferSize = 0;
};

/// Reads the records of `file`, of one field per tab stop unless `set_num_fields` says otherwise. Throws as
/// the constructor. See damo_input.h for the reporter, the result and its ownership.
SORV_API DamoInput* DamoFixedInput(const char* file, int tab_count, int* tab_stops, AceReporter* rep);
