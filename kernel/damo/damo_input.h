/// Record inputs: the common reader of source records.
///
/// An input turns one source (a file of delimited, comma-separated or fixed-width lines, or lines pushed by
/// the caller) into records, each an array of field strings:
///
///     DamoInput                      one record per call, its fields, error correction, deletions
///      |- DamoFileInput              a text file, whole or in parts
///      |   |- _DamoStandardInput     damo_standard_input.h: fields between separators
///      |   |- _DamoCsvInput          damo_csv_input.h: the same with quotes and escapes
///      |   '- _DamoFixedInput        damo_fixed_input.h: fields that end at tab stops
///      '- _DamoLineInput             damo_line_input.h: lines that the caller pushes
///
/// Inputs are made by the function of the class's name without the underscore, which returns null (reported)
/// when there is no such input to read, and belong to the caller (`delete`).
///
/// Fields. A record has at most `MAX_FIELDS` fields. Field strings are terminated, valid until the next
/// record is read, and not copied unless they must be: most point into the line. They are bytes of any
/// encoding; a NUL byte in a line ends the string of its field (the line reader warns about it). A blank line
/// is a record of one empty field. The field count is given or fixed by the first record read.
///
/// Deletions. A record whose first field is "<del>" is a deletion of the record that the other fields
/// describe; the marker is not one of its fields and does not count for fixing the field count.
///
/// Bad records have more or fewer fields than expected. `set_error_correction` says what becomes of them;
/// without it `read_line` returns `REJECTED` for each and goes on behind it when it is called again.
///
/// Errors: negative results, explained on the reporter. A line of 2 GiB or more throws `AceException`.
/// Thread safety: an input belongs to one thread at a time. To read one file in parallel, each thread makes
/// an input of its own and calls `partition`.
#pragma once

#include <string>

#include "ace/ace_attach.h"
#include "ace/ace_check_type.h"
#include "ace/ace_types.h"

class AceReporter;
class DamoInput;
class DamoStatistic;

/// Is shown the records that an input does not give out.
class SORV_API DamoRejects {
 public:
  virtual ~DamoRejects() = default;
  /// The input's current record, numbered `line_num`, is bad: it is ignored or rejected. Missing fields are
  /// null.
  virtual void reject(DamoInput* input, VInt line_num, const char* reason) = 0;
};

class SORV_API DamoInput : public AceCheckType<DamoInput> {
 public:
  /// Fields of a record; what is behind them is not read and makes the record a bad one.
  static constexpr int MAX_FIELDS = 256;
  /// Corrections that are reported one by one.
  static constexpr int MAX_REPORTED_ERRORS = 10;

  /// Results of `read_line` and `put_line` that are not a number of bytes.
  static constexpr int AT_END = -1;
  static constexpr int REJECTED = -2;
  static constexpr int UNREADABLE = -3;

  /// What becomes of bad records: a sum of these. `IGNORE_RECORD` goes before the others.
  enum ErrorCorrection {
    IGNORE_RECORD = 1,       ///< the record is skipped
    IGNORE_SUPERFLUOUS = 2,  ///< the fields behind the expected ones are dropped
    FILL_MISSING = 4,        ///< missing fields get the fill string
  };

  DamoInput(const DamoInput&) = delete;
  DamoInput& operator=(const DamoInput&) = delete;

  /// Replaces field `index` (from 0) of the current record by a copy of `value`, which lasts as long as the
  /// record. A null `value` marks the field as missing. Returns 0, or -1 for a field the record does not
  /// have.
  virtual int set_field(int index, const char* value);
  virtual ~DamoInput();
  /// Reads the first record, as `read_line` does.
  virtual int read_header(VInt* line_num);
  /// Reads the next record and stores its number, from 1, in `*line_num` (if given; untouched at the end).
  /// Records are numbered by the line they end with, from the start of the source, or of the part. With
  /// `as_is` not 0, quote and escape characters stay in the fields.
  /// Returns the bytes consumed, line ends and skipped records included (at most INT_MAX); `AT_END`;
  /// `REJECTED` for a bad record, of which `get_error_num_fields` tells the field count; or `UNREADABLE`
  /// (reported, and so from now on) where the source cannot be read.
  virtual int read_line(VInt* line_num, int as_is) = 0;
  /// Restricts an input that has not been read beyond its header to part `part` (from 0) of `num_parts`. All
  /// parts together give each record once, in order. A field count that is not yet known is fixed by the
  /// first record of the part. Returns 0, or -1 (reported) for a part that does not exist or a source that
  /// cannot be divided.
  virtual int partition(int part, int num_parts) = 0;
  /// Size of the source, or of the part, in KiB, at least 1; 0 when the source has none.
  virtual VInt get_size() = 0;
  /// Name of the file; "" for a source without a name.
  virtual const char* get_source_name() = 0;
  /// True once `read_line` has met the end.
  virtual bool eof() = 0;
  /// The current record, a bad one too, as the source has it, in `at`: what a user mends to have it read
  /// again. Here: the fields with TABs in between.
  virtual char* get_source_text(AceAttach* at);
  /// Hands a record to an input that takes pushed lines; -1 (reported) for the others.
  virtual int put_line(char* line);

  /// Field `index` (from 0) of the current record; null when it is missing or there is no such field.
  const char* get_field(int index) const {
    return index >= 0 && index < recordSize ? fieldPtr[index] : nullptr;
  }
  /// Stores a copy (in `at`) of the array of the current record's fields, whose strings stay where they are.
  /// Returns their number.
  int get_fields(const char*** out, AceAttach* at) const;
  /// Fields of a record; 0 while not yet known, -1 when the input ended before.
  int get_num_fields() const { return numFields; }
  /// Fixes the field count; 0 for the next record to fix it. Returns 0, or -1 (reported) for a number that no
  /// record can have.
  int set_num_fields(int n);
  /// Field count of the last bad record; fields of more than `MAX_FIELDS` are counted as one.
  int get_error_num_fields() const { return errorNumFields; }
  /// Number of corrections made.
  int get_error_count() const { return errCount; }
  /// True when the current record is a deletion.
  bool is_delete() const { return isExplicitDelete; }
  /// The first `n` fields (all when `n` is negative or too large) with `sep` between them, in `at`.
  char* get_string(char sep, AceAttach* at, int n) const;
  /// `error_correction`: a sum of `ErrorCorrection` flags, 0 for none. `fill_string` is copied; null fills
  /// with the empty string. `stat` counts bad records; it may be null and is the caller's.
  void set_error_correction(int error_correction, const char* fill_string, DamoStatistic* stat);
  /// Who is shown the bad records that are not corrected; null for nobody. The caller's.
  void set_rejects(DamoRejects* rejects) { badRecords = rejects; }

 protected:
  /// Room for `max_fields` fields and a deletion marker. A null reporter stands for the default one.
  explicit DamoInput(AceReporter* rep, int max_fields = MAX_FIELDS);

  /// Outcomes of `handle_error` and `finish_record`.
  static constexpr int ACCEPT = 0;
  static constexpr int SKIP = -1;

  /// Corrects a record of `nf` fields as far as the flags allow; -1 stands for one whose missing fields are
  /// null. With a `fault`, why there are no fields, nothing can be filled. Returns `ACCEPT`, `SKIP` or
  /// `REJECTED`.
  int handle_error(int nf, const char* fault);
  /// The current record, a bad one too, with `separator` between its fields; `write_field(text)` gives a
  /// field's notation.
  template <class WriteField>
  char* joined_source(char separator, AceAttach* at, WriteField write_field) const {
    std::string text(isExplicitDelete ? "<del>" : "");
    for (int i = 0; i < recordSize && fieldPtr[i] != nullptr; ++i) {
      if (i > 0 || isExplicitDelete) text += separator;
      write_field(fieldPtr[i], &text);
    }
    return at->attach(text.c_str());
  }
  /// Looks for the deletion marker in front of `nf` fields and sets `isExplicitDelete`. With `shift_arr` not
  /// 0 a marker is removed. Returns the number of fields, the marker not counted if removed.
  int check_explicit_del(int nf, int shift_arr);
  /// Whether the current record, of which `pieces` strings were read, starts with the deletion marker.
  bool has_deletion_marker(int pieces) const;
  /// Drops what was set in the record before.
  void begin_record();
  /// Judges the `pieces` strings found in a record, of which `fieldPtr` has the first `field_room()`. Returns
  /// as `handle_error`.
  virtual int finish_record(int pieces);
  /// Strings of a record that are kept: the fields and a deletion marker.
  int field_room() const { return maxFields + 1; }

  AceAttach memAt;
  int numFields = 0;
  VInt lineIdx = 0;                 // lines read so far
  const char** fieldPtr = nullptr;  // the current record
  int errorCorr = 0;
  int errorNumFields = 0;
  const char* fillStr = "";
  AceReporter* reporter;
  DamoStatistic* statistic = nullptr;
  DamoRejects* badRecords = nullptr;
  int errCount = 0;
  bool isExplicitDelete = false;
  int recordSize = 0;  // entries of fieldPtr that belong to the current record

 private:
  bool count_correction();  // whether it is to be reported by itself

  int maxFields;
  AceAttach valueAt;  // values set into the current record
};

class AceInput;

/// An input that reads the lines of a text file. A UTF-8 byte order mark at the start of the file is skipped.
class SORV_API DamoFileInput : public DamoInput {
 public:
  /// Size of the file reader's first buffer, which stays in the cache.
  static constexpr int BUFFER_SIZE = 1 << 16;

  ~DamoFileInput() override;
  /// Opens the file. Returns 0, or -1 (reported) when that is not possible.
  int init(const char* file);

  int read_line(VInt* line_num, int as_is) override;
  /// The parts are ranges of whole lines of the bytes not yet read, of about equal size. Line numbers go on
  /// in the first part and start again in the others.
  int partition(int part, int num_parts) override;
  VInt get_size() override;
  const char* get_source_name() override;
  bool eof() override { return isEof; }

 protected:
  explicit DamoFileInput(AceReporter* rep, int max_fields = MAX_FIELDS);

  /// Cuts a line into the record's strings, in place where it can. Returns their number; those that
  /// `field_room()` has no place for are counted only. -1 when the source cannot be read to the record's end.
  virtual int split(char* line, int length, int as_is) = 0;
  /// The bytes of the current record in the file, line end apart, in `at`: for records of which not all
  /// fields are kept. Null when it has no more fields than that, and where the file cannot be read again.
  char* long_source_text(AceAttach* at);
  /// Reads and counts the next line, whatever the part's end. Returns its length, or -1 at the end of the
  /// file.
  int next_line(char** line);

  AceInput* srcFile = nullptr;
  bool isEof = false;
  Huge partStart = -1;
  Huge partEnd = -1;

 private:
  void skip_byte_order_mark();
  int report_unreadable();
  bool is_at_end() const;

  Huge recordStart = 0;  // where the current record begins in the file
};
