/// Sources of records, opened by settings, and settings proposed for files that nobody has described.
///
/// What a file is tells its content first: XML, JSON, lines of JSON, lines with separators; then its name.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "damo/damo_extract.h"
#include "damo/damo_input.h"
#include "sorvanta/tool_settings.h"
#include "tera/tera_transform.h"

/// The columns that fields need, as their source counts them.
class SourceColumns {
 public:
  /// Finds the columns of fields. Opens the source for the names of its header. Throws a `Failure`, for a
  /// column that is not there with `settings.name` and the field's line.
  SourceColumns(const Settings& settings, const SourceSettings& source);

  /// Of a record of the source; 0: the first record tells.
  int get_num_columns() const { return numColumns; }
  /// The columns of a field, from 0; none for one that is empty.
  const std::vector<int>& of_field(std::size_t field) const { return fieldColumns[field]; }
  /// Of JSON and XML: the path of each column.
  std::vector<const char*> get_paths() const;
  /// Names of columns that no field has; of paths none.
  std::vector<std::string> get_unused() const;

 private:
  int find(const Settings& settings, const SourceSettings& source, const FieldSettings& field,
           const std::string& column);

  std::vector<std::string> columnNames;
  bool arePaths = false;
  int numColumns = 0;
  std::vector<std::vector<int>> fieldColumns;
};

/// Corrections of bad records (damo_input.h) that a source needs: in JSON and XML what is missing is empty.
int corrections_of(const SourceSettings& source);
/// Opens a source as an input of records; throws a `Failure` where there is none.
std::unique_ptr<DamoInput> open_source(const SourceSettings& source, std::vector<const char*> paths);
/// Tells an extraction what it reads.
void select_source(DamoExtract* run, const SourceSettings& source, std::vector<const char*> paths);
/// What makes UTF-8 of the source's bytes; null for UTF-8. Throws a `Failure` for an unknown encoding.
std::unique_ptr<TeraTransform> make_decoder(const std::string& encoding);

/// The names of the header's columns, decoded; without header "column1", ...
std::vector<std::string> header_names(const SourceSettings& source, DamoInput* input);

/// A file as it was looked at: columns, and the values of the first records.
struct SourceSample {
  static constexpr std::size_t MOST_RECORDS = 1000;

  SourceSettings source;
  std::vector<std::string> columns;  // names; of JSON and XML, paths
  std::vector<std::string> names;    // what fields of these columns are called
  std::vector<std::vector<std::string>> records;
};

/// Of JSON and XML the paths of the columns, as inputs take them; none for others.
std::vector<const char*> path_pointers(const SourceSample& sample);
/// Fills the sample with the next records of an input.
void read_records(DamoInput* input, SourceSample* sample);
/// Throws a `Failure` for what cannot be read, is empty, or is no text.
SourceSample look_at(const std::string& file);
/// Settings that `build` takes: a field for each column, by its values.
Settings propose_settings(const SourceSample& sample);
/// "Given name" to "given_name", which needs no quotes anywhere.
std::string plain_name(const std::string& name);
