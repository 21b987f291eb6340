/// An extraction, its rows and its rejects.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_timer.h"
#include "damo/damo_extract.h"
#include "damo/damo_input.h"
#include "damo/output/damo_output_internal.h"

/// Bad records as their source has them, and beside them what is wrong.
class DamoRejectFile : public DamoRejects {
 public:
  explicit DamoRejectFile(const std::string& file)
      : records(file.c_str()), reasons((file + ".reasons").c_str()) {}

  void write_header(DamoInput* input) { write_record(input); }
  void reject(DamoInput* input, VInt line_num, const char* reason) override;
  void commit();

 private:
  void write_record(DamoInput* input);

  DamoOutput records;
  DamoOutput reasons;
  VInt numRecords = 0;
};

/// What becomes of control characters that would break the lines of a record file.
class DamoLineBreaks {
 public:
  /// Fields of the source whose TABs divide values.
  void set_divided(std::vector<bool> sources) { isDivided = std::move(sources); }
  /// The fields with blanks for TABs that divide nothing; copies are in `at`.
  void clean_source(const char** fields, int num_fields, AceAttach* at);
  void clean_value(char* value);
  VInt get_count() const { return numCleaned; }

 private:
  std::vector<bool> isDivided;
  VInt numCleaned = 0;
};

class _DamoExtract {
 public:
  using OpenSource = std::function<DamoInput*(AceReporter*)>;
  struct Run;

  void select(OpenSource open, int header, int num_fields);
  /// Appends the lines for a record, without a last newline. Returns whether there are any.
  bool append_record(const char** fields, int n, std::string* out, AceAttach* at);
  VInt extract(Run* run);
  void report_times(AceReporter* rep, double total) const;
  std::unique_ptr<DamoInput> open(Run* run);
  void changed() { isPrepared = false; }

  int numSourceFields = 0;
  int numAnnounced = 0;
  std::string svdataFile;
  std::string rejectFile;
  bool hasHeader = false;
  bool goesOn = false;
  bool isForBuild = false;
  int sourceHeader = 0;
  OpenSource openSource;
  TeraTransform* decodeCfg = nullptr;
  std::vector<DamoField*> fieldArray;
  std::vector<std::unique_ptr<AceTimer>> fieldTimer;  // while times are measured
  DamoLineBreaks lineBreaks;

 private:
  template <class ValueOf>
  bool append_line(const ValueOf& value_of, std::string* out) const;
  bool append_plain(const char** fields, int n, std::string* out) const;
  bool append_rows(const char** fields, int n, std::string* out, AceAttach* at);
  void decode(const char** fields, int n, AceAttach* at) const;
  int transform(std::size_t field, const char** fields, int n, char*** values, AceAttach* at);
  void prepare();

  bool isPrepared = false;
  bool isPlain = false;  // every field is an input field as it stands
  std::vector<int> plainSources;
  int lastPlainSource = 0;
  // Of the present record, for each field.
  std::vector<char**> valueLists;
  std::vector<int> valueCounts;
};
