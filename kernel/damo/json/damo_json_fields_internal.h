/// The fields of a record that is a JSON value.
#pragma once

#include <string>
#include <vector>

#include "damo/json/damo_json_path_internal.h"

class AceReporter;

class DamoJsonFields {
 public:
  /// Throws `AceException` with the condition given for null or empty paths, and for one that is none, with
  /// its number.
  DamoJsonFields(const char* const* paths, int num_paths, const char* condition);

  int get_count() const { return static_cast<int>(paths.size()); }
  /// Stores the texts of a record's fields, null for those without one, which last until the next call.
  /// Returns whether all have one. The first number that is met where a text is expected is told about, with
  /// its path.
  bool read(const DamoJsonValue& record, const char** fields, AceReporter* rep);

 private:
  std::vector<DamoJsonPath> paths;
  std::vector<std::string> texts;
  bool hasWarned = false;
};
