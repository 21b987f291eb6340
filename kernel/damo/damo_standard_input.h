/// Delimited records: a line is a record, a separator byte stands between its fields, nothing is quoted.
///
/// Cost: one pass for the line end and one for the separators, both in wide registers; no copies. See
/// bench/storage/csv_bench.cpp.
#pragma once

#include "damo/damo_input.h"

class SORV_API _DamoStandardInput : public DamoFileInput {
 public:
  _DamoStandardInput(char separator, AceReporter* rep);

  char* get_source_text(AceAttach* at) override;

 private:
  int split(char* line, int length, int as_is) override;

  int fieldSep;
};

/// Reads the records of `file`. `num_fields`: 0 for the first record to fix it. See damo_input.h for the
/// reporter, the result and its ownership.
SORV_API DamoInput* DamoStandardInput(const char* file, char separator, AceReporter* rep, int num_fields);
