/// Records that the caller pushes, line by line.
///
///     std::unique_ptr<DamoInput> input(DamoLineInput(2, ';', nullptr));
///     if (input->put_line(line) >= 0) use(input->get_field(0), input->get_field(1));
///
/// `put_line` reads the record. `read_line` hands it out to code that takes records from any input: once,
/// then it is at the end until the next line is pushed.
#pragma once

#include "damo/damo_input.h"

class SORV_API _DamoLineInput : public DamoInput {
 public:
  /// Lines whose copies are released together.
  static constexpr int RESET_LINES = 1024;

  _DamoLineInput(int separator, AceReporter* rep);

  /// Copies the line and reads it as a record, whose fields are valid until the next call. Returns the line's
  /// length; -1 for a record that is ignored, and for null; `REJECTED`.
  int put_line(char* line) override;
  /// The result of the last `put_line`, unless it was handed out before.
  int read_line(VInt* line_num, int as_is) override;
  /// There is one part only.
  int partition(int part, int num_parts) override;
  VInt get_size() override { return 0; }
  const char* get_source_name() override { return ""; }
  /// True while there is no pushed record to hand out.
  bool eof() override { return pushedResult == AT_END; }

 private:
  AceAttach lineAt;
  int fieldSep;
  int resetCounter = 0;
  int pushedResult = AT_END;
};

/// An input of records of `num_fields` fields; 0 for the first record to fix it. See damo_input.h for the
/// reporter, the result and its ownership.
SORV_API DamoInput* DamoLineInput(int num_fields, int separator, AceReporter* rep);
