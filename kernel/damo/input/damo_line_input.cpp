#include "damo/damo_line_input.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <utility>

#include "ace/ace_reporter.h"

#include "damo/text/damo_scan_internal.h"

_DamoLineInput::_DamoLineInput(int separator, AceReporter* rep) : DamoInput(rep), fieldSep(separator) {}

int _DamoLineInput::put_line(char* line) {
  begin_record();
  pushedResult = AT_END;
  if (line == nullptr) return pushedResult;
  if (++resetCounter > RESET_LINES) {
    lineAt.release();
    resetCounter = 1;
  }
  const auto length = static_cast<VInt>(std::strlen(line));
  char* const copy = lineAt.attach(line, length);
  ++lineIdx;
  const int outcome =
      finish_record(damo_split(copy, length, static_cast<char>(fieldSep), fieldPtr, field_room()));
  pushedResult = outcome == ACCEPT ? static_cast<int>(std::min<VInt>(length, INT_MAX)) : outcome;
  return pushedResult;
}

int _DamoLineInput::read_line(VInt* line_num, int /*as_is*/) {
  if (line_num != nullptr && pushedResult != AT_END) *line_num = lineIdx;
  return std::exchange(pushedResult, AT_END);
}

int _DamoLineInput::partition(int part, int num_parts) {
  if (part == 0 && num_parts == 1) return 0;
  reporter->printf("Pushed lines have no part %d of %d\n", part, num_parts);
  return -1;
}

DamoInput* DamoLineInput(int num_fields, int separator, AceReporter* rep) {
  auto input = std::make_unique<_DamoLineInput>(separator, rep);
  return input->set_num_fields(num_fields) < 0 ? nullptr : input.release();
}
