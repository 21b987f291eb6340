/// Extraction: turns a source into the record file that a base is built from.
///
///     DamoField name("name"), town("town");
///     name.set_source(0);
///     town.set_source(2);
///     DamoExtract people(3, 2, "people.txt", 0, 1);
///     people.csv_file("people.csv", ';', 1, 3, '"', '\\');
///     people.add_field(&name);
///     people.add_field(&town);
///     people.set_rejects("people.rejected");
///     people.extract(0, nullptr, 0, rep, nullptr, nullptr, 0, 1);
///
///     source record      fields, decoded, control characters that break lines blanked
///       -> DamoField     the values of each output field (damo_field.h)
///       -> rows          value i of every field, the last one again where a field has fewer; TAB in between
///       -> record file   a line a row; "<del>" and TAB in front of each row of a deletion
///
/// What is not lost, and not invented. Each record of the source is written, or left out because a field has
/// no value (counted), or bad (counted, reported, and shown in the file of rejects). Line feeds and carriage
/// returns in values would break the record's line and become blanks; so do TABs, but in a source field that
/// an output field cuts at TABs by its own `set_field_sep` they divide values. Both are counted and reported
/// once.
///
/// Bad records have the wrong number of fields, or cannot be computed. First the error correction that is
/// asked for has its way (damo_input.h). What it rejects ends the run with an exception, unless the run goes
/// on past bad records.
///
/// The file of rejects has the bad records as the source has them, behind the header if there is one, so that
/// it is read with the same settings when it has been mended; "<file>.reasons" says of each its number there,
/// its number in the source, and what is wrong, TABs in between.
///
/// Deletions make the record file a difference file, which no base is built from. After
/// `set_for_build` they are bad records.
///
/// Parts of a source are extracted into files of their own, by extractions of their own, which may run at
/// once.
///
/// Ownership: fields, transforms, reporters and statistics are the caller's and outlive the run; texts are
/// copied. Errors: `AceException`; record files, rejects and reasons appear whole, when the run has ended
/// well, or not at all. Thread safety: an extraction, and its fields, belong to one thread at a time.
#pragma once

#include <memory>

#include "ace/ace_types.h"
#include "damo/damo_xml_input.h"

class AceAttach;
class AceReporter;
class DamoField;
class DamoStatistic;
class TeraTransform;
class _DamoExtract;

class SORV_API DamoExtract {
 public:
  /// `num_source_fields`: of a source record, 0 for the first one to tell. `num_fields` output fields are
  /// announced. `svdata_header`: the record file (of part 0) begins with the names of the fields, for other
  /// tools; builds would take them for a record. `go_on`: past bad records.
  DamoExtract(int num_source_fields, int num_fields, const char* svdata_file, int svdata_header, int go_on);
  DamoExtract(const DamoExtract&) = delete;
  DamoExtract& operator=(const DamoExtract&) = delete;
  ~DamoExtract();

  /// The next output field. Returns their number; -1 (reported) for null and beyond those announced.
  int add_field(DamoField* field);
  /// What turns the bytes of source fields into the texts that fields work on; null for nothing. A field that
  /// it gives no text for is missing.
  void set_encoding(TeraTransform* decode);
  /// Where the bad records go; null for nowhere.
  void set_rejects(const char* file);
  /// The record file is one that a base is built from.
  void set_for_build();

  // The source: exactly one of these, a second one throws. With `source_header` the first record of the
  // source is none.

  void simple_file(char source_sep, int source_header, const char* source_file);
  void fixed_width(const char* source_file, int num_stops, const int* tab_stops, int source_header);
  /// `sfields_num`: fields of a record, 0 for as many as the constructor was told.
  void csv_file(const char* source_file, char source_sep, int source_header, int sfields_num, char text_quote,
                char escape_char);

  /// See damo_odbc_input.h. The columns are the source fields. Passwords are wiped with the extraction. Bad
  /// records are shown as lines with TABs.
  void odbc_conn(const char* data_source, const char* user, const char* pass, const char* secure_pass,
                 const char* key_file, const char* sql);

  /// See damo_json_input.h. `num_fields` source fields, one for each path; `skip` lines in front are none.
  void json_file(const char* source_file, const char* record_path, const char** field_paths, int num_fields);
  void json_lines(const char* source_file, int skip, const char** field_paths, int num_fields);

  /// See damo_xml_input.h. `namespaces`: `num_namespaces` texts, prefix and URI in turn.
  void xml_file(const char* record_path, const char** field_paths, int num_fields, const char** namespaces,
                int num_namespaces, const char* source_file, const DamoXmlLimits& limits = {});

  /// The lines of the record file for one source record, without a last newline, in `at`; null when a field
  /// has no value.
  char* extract_line(const char** fields, int n, AceAttach* at);

  /// Extracts part `part` (from 0) of `num_parts`. `error_correction` and `fill_string` as in damo_input.h;
  /// with `timing` the time of each output field is measured and reported. `input_stat` receives the fields
  /// of each source record, `output_stat` the lines written, deletions apart; both may be null. Returns the
  /// number of lines written.
  VInt extract(int error_correction, const char* fill_string, int timing, AceReporter* rep,
               DamoStatistic* input_stat, DamoStatistic* output_stat, int part, int num_parts);

 private:
  std::unique_ptr<_DamoExtract> extractData;
};
