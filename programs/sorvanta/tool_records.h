/// Record files: sources extracted by settings.
#pragma once

#include <string>

#include "ace/ace_types.h"
#include "sorvanta/tool_settings.h"

struct RecordsMade {
  VInt numRecords = 0;
  VInt numBad = 0;
  std::string rejects;  // where the bad ones are, with their reasons beside; "" without any
};

/// Writes the record file. Bad records do not end it: they are left out, and kept with the reasons. Throws a
/// `Failure` or an `AceException`; then the old file stays.
RecordsMade make_records(const Settings& settings);
