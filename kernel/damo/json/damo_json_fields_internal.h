/// The fields of a record that is a JSON value.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "damo/json/damo_json_path_internal.h"
#include "damo/json/damo_json_selection_internal.h"

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
  /// The same of what a selection has met.
  bool read(const DamoJsonSelection& record, const char** fields, AceReporter* rep);
  /// Reads what these fields need; null where that may be more than members.
  std::unique_ptr<DamoJsonSelection> make_selection() const { return DamoJsonSelection::of(paths); }

 private:
  bool set(std::size_t i, DamoJsonText kind, const std::string& text, const char** fields, AceReporter* rep);

  std::vector<DamoJsonPath> paths;
  std::vector<std::string> texts;
  bool hasWarned = false;
};
