/// Settings of `read` and `build`: where records come from, and what is made of them.
///
///     source people.csv
///     kind csv                     tsv, csv, fixed, json, jsonl, xml, odbc
///     separator ;
///     header 1
///     base people.base             or: index words.edit
///     fields {
///       given {
///         column "Given name"      name of a column, its number, or a path; several are joined
///         method EDIT
///       }
///     }
///
/// Several sources, whose records follow each other, are blocks; a field that a block does not name takes its
/// own columns, if it has any, and is empty otherwise:
///
///     source {
///       file customers.json
///       kind json
///       columns {
///         given who.first        several lines are joined
///       }
///     }
///
/// `write_settings` writes every keyword with what it means.
#pragma once

#include <string>
#include <vector>

/// The columns that a source has for a field.
struct ColumnSettings {
  std::string field;
  std::vector<std::string> columns;
  int line = 0;
};

/// A source of records.
struct SourceSettings {
  std::string file;  // as it can be opened; of a database, the data source
  std::string kind;
  char separator = '\t';
  char quote = '"';
  bool hasHeader = false;
  std::string encoding = "utf-8";
  std::string records;                  // of JSON and XML: which elements are records
  std::vector<std::string> namespaces;  // of XML: prefix and URI in turn
  std::vector<int> stops;               // of fixed width
  std::string sql, user, password, encryptedPassword, keyFile;
  std::vector<ColumnSettings> columns;  // of the fields that it has other columns for
  int line = 0;                         // of its block
};

struct FieldSettings {
  std::string name;
  std::vector<std::string> columns;
  std::string between = " ";  // several columns
  std::string transform = "TRIM_ALL";
  std::string method;  // empty: shown only
  std::string buildOptions, recallOptions;
  std::string storage;  // as DastBase::assign takes it; empty: what suits the method
  int weight = 100;
  int line = 0;
};

struct Settings {
  std::string name;                     // of the settings file
  std::vector<SourceSettings> sources;  // one at least
  std::string records;                  // the record file
  std::string base;                     // or
  std::string index;                    // of words
  std::string tokens = "A-Z0-9";
  std::string folding = "-map_upper -expand_compatibility -map_accents -any_to_latin";
  int quality = 180;  // least quality of a record
  int suggestions = 100;
  std::string session;  // a template of one's own
  std::vector<FieldSettings> fields;
};

/// The columns that a source has for a field; null for none, and the field is empty.
const std::vector<std::string>* find_columns(const SourceSettings& source, const FieldSettings& field);
/// Kinds of sources.
const std::vector<std::string>& source_kinds();

/// Throws a `Failure`: "file:line: ", what was expected and what was found.
Settings read_settings(const std::string& file);
/// The text that `read_settings` takes. Names of files are written as they are.
std::string write_settings(const Settings& settings);
