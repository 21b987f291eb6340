/// A reporter whose messages go into the process log: messages as information lines, events with their codes.
///
/// Thread safety: any number of threads may report.
#pragma once

#include "ace/ace_reporter.h"

class SORV_API EbosLogReporter : public AceReporter {
 public:
  int report_func(const char* text) override;
  int event_func(const char* text, const char* code) override;
};
