/// Record files: sources extracted by settings.
#pragma once

#include <string>
#include <vector>

#include "ace/ace_types.h"
#include "sorvanta/tool_settings.h"

/// The bad records of a source.
struct SourceRejects {
  std::string source;
  std::string file;  // where they are, with their reasons in "<file>.reasons"
  VInt count = 0;
};

struct RecordsMade {
  VInt numRecords = 0;
  std::vector<SourceRejects> rejects;  // of the sources that have bad ones
};

/// Writes the record file, source by source. Bad records do not end it: they are left out, and kept with the
/// reasons. Throws a `Failure` or an `AceException`; then the old file stays.
RecordsMade make_records(const Settings& settings);
