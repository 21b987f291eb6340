/// The end of lines told apart from an error.
#pragma once

#include "ace/ace_error.h"
#include "ace/ace_reader.h"
#include "ace/ace_reporter.h"

/// For a line that is not there: 0 at the end; -1 when the source could not be read, which is reported with
/// what was read and the number of the line.
inline int check_read(int error, const char* what, VInt line) {
  if (error == 0) return 0;
  char reason[128];
  AceReporter::use_default()->printf("Error reading %s, line %ld: %s\n", what, line,
                                     ace_strerror(error, reason, sizeof reason));
  return -1;
}
inline int check_read(const AceReader& input, const char* what, VInt line) {
  return check_read(input.read_error(), what, line);
}
