#include "damo/damo_extract.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <new>
#include <utility>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"
#include "damo/damo_csv_input.h"
#include "damo/damo_field.h"
#include "damo/damo_fixed_input.h"
#include "damo/damo_json_input.h"
#include "damo/damo_odbc_input.h"
#include "damo/damo_standard_input.h"
#include "damo/damo_statistic.h"
#include "damo/extract/damo_extract_internal.h"

namespace {

constexpr VInt RECORDS_PER_REPORT = 10000;
constexpr VInt KIB = 1024;

/// What a progress display was told to begin is ended.
class Progress {
 public:
  Progress(AceReporter* reporter, VInt size) : rep(reporter) { rep->pstart(size, TEXT); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { rep->pstop(TEXT); }

  void add(int bytes) {
    done += bytes;
    if (rep->ppset(done / KIB, TEXT) < 0) throw AceException("Extraction was stopped");
  }

 private:
  static constexpr const char* TEXT = "Extracting Data";
  AceReporter* rep;
  VInt done = 0;
};

std::string time_stamp() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  char text[64];
  const std::size_t length =
      std::strftime(text, sizeof text, "%d/%m/%Y %H:%M:%S.000", localtime_r(&now, &parts));
  return {text, length};
}

}  // namespace

// ---------------------------------------------------------------- rejects
// A record is written in its source's own notation, so that it is read again with the same settings; the
// reasons stand beside it.

void DamoRejectFile::write_record(DamoInput* input) {
  AceAttach at;
  records.write(input->get_source_text(&at));
  records.put('\n');
}

void DamoRejectFile::reject(DamoInput* input, VInt line_num, const char* reason) {
  write_record(input);
  std::string text(reason);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\n' || c == '\t'; }, ' ');
  reasons.printf("%ld\t%ld\t%s\n", ++numRecords, line_num, text.c_str());
}

void DamoRejectFile::commit() {
  records.commit();
  reasons.commit();
}

// ---------------------------------------------------------------- the run
// A record becomes rows, or is counted as bad, and nothing else; outputs take their places when the run
// has ended well.

/// One run, its settings and its figures.
struct _DamoExtract::Run {
  int errorCorrection;
  const char* fillString;
  AceReporter* rep;
  DamoStatistic* inputStat;
  DamoStatistic* outputStat;
  int part;
  int numParts;

  std::unique_ptr<DamoInput> input = nullptr;
  std::optional<DamoRejectFile> rejects = std::nullopt;
  VInt lineNum = 0;
  VInt numLines = 0;
  VInt numDropped = 0;
  VInt numDeletions = 0;
  VInt numBad = 0;

  /// The present record is bad for another reason than its number of fields.
  void reject(const char* reason) {
    ++numBad;
    if (inputStat != nullptr) inputStat->incr_badline();
    if (rejects) rejects->reject(input.get(), lineNum, reason);
  }
};

std::unique_ptr<DamoInput> _DamoExtract::open(Run* run) {
  if (!openSource)
    throw AceException(
        "Source type not defined (Simple Separator, Fixed Width, CSV File, ODBC Connection, XML File, JSON "
        "File, JSON lines "
        "File), unable to perform extract");
  std::unique_ptr<DamoInput> input(openSource(run->rep));
  if (input == nullptr)
    throw AceException("Cannot open source", "The source cannot be opened, unable to perform extract");
  if (numSourceFields > 0 && input->set_num_fields(numSourceFields) < 0)
    throw AceException("Cannot open source", "A record cannot have %d fields", numSourceFields);
  input->set_error_correction(run->errorCorrection, run->fillString, run->inputStat);
  return input;
}

namespace {

using Run = _DamoExtract::Run;

void skip_header(Run* run) {
  run->rep->printf("Skipping header line in data source\n");
  if (run->input->read_header(&run->lineNum) == DamoInput::AT_END) return;
  AceAttach at;
  run->rep->printf("Header: '%s'\n", run->input->get_string('\t', &at, -1));
  if (run->rejects) run->rejects->write_header(run->input.get());
}

/// A record with the wrong number of fields, which no correction was for.
void handle_rejected(Run* run, bool goes_on) {
  const int expected = run->input->get_num_fields();
  const int found = run->input->get_error_num_fields();
  const std::string now = time_stamp();
  run->rep->printf(
      "ERROR[%s][pid:%d] Record %ld has incorrect format for extraction (incorrect number of fields)\n",
      now.c_str(), static_cast<int>(getpid()), run->lineNum);
  run->rep->printf("ERROR[%s][pid:%d] Expected %d fields but read %d\n", now.c_str(),
                   static_cast<int>(getpid()), expected, found);
  ++run->numBad;
  if (!goes_on)
    throw AceException("Record has incorrect format for extraction (incorrect number of fields)",
                       ". Error record: %ld. Expected %d fields but read %d", run->lineNum, expected, found);
}

/// `rows` end with a newline each.
void write_rows(Run* run, std::string* rows, bool is_deletion, DamoOutput* out) {
  if (!is_deletion && run->outputStat != nullptr) run->outputStat->add_line(rows->c_str());
  *rows += '\n';
  run->numLines += std::count(rows->begin(), rows->end(), '\n');
  if (!is_deletion) {
    out->write(*rows);
    return;
  }
  ++run->numDeletions;
  for (std::size_t start = 0, end; (end = rows->find('\n', start)) != std::string::npos; start = end + 1) {
    out->write("<del>\t");
    out->write(std::string_view(*rows).substr(start, end + 1 - start));
  }
}

void report_end(const Run& run, VInt num_cleaned) {
  AceReporter* const rep = run.rep;
  if (num_cleaned > 0)
    rep->ev_wprintf("%ld values had line ends or TABs, which became blanks\n", num_cleaned);
  if (run.numDropped > 0) rep->printf("Left out records with a field without value: %ld\n", run.numDropped);
  if (run.numBad > 0) rep->printf("Left out bad records: %ld\n", run.numBad);
  if (run.numDeletions > 0)
    rep->ev_wprintf("%ld deletions: a difference file, which no base is built from\n", run.numDeletions);
}

/// The rows of the present record. Returns whether there are any; false, counted, for a bad one.
bool make_rows(_DamoExtract* extract, Run* run, std::string* rows, AceAttach* at) {
  rows->clear();
  const char** fields = nullptr;
  const int n = run->input->get_fields(&fields, at);
  if (run->inputStat != nullptr) run->inputStat->add_fields(fields, n);
  try {
    if (run->input->is_delete() && extract->isForBuild)
      throw AceException("Deletions cannot be extracted for a build", "Record %ld", run->lineNum);
    if (extract->append_record(fields, n, rows, at)) return true;
    ++run->numDropped;
    return false;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const AceException& exception) {
    run->rep->printf("Internal exception occurred processing line %ld\n", run->lineNum);
    exception.print(run->rep);
    if (!extract->goesOn) throw;
    run->reject(exception.what(at));
  } catch (...) {
    run->rep->printf("Unknown exception occurred processing line %ld\n", run->lineNum);
    if (!extract->goesOn) throw;
    run->reject("unknown exception");
  }
  return false;
}

void write_names(const _DamoExtract& extract, DamoOutput* out) {
  for (std::size_t i = 0; i < extract.fieldArray.size(); ++i) {
    if (i > 0) out->put('\t');
    out->write(extract.fieldArray[i]->get_name());
  }
  out->put('\n');
}

}  // namespace

VInt _DamoExtract::extract(Run* run) {
  static const AceTraceFlag flush("DAMO_FLUSH", __FILE__, __LINE__);
  static const AceTraceFlag progress("PROGRESS", __FILE__, __LINE__);
  if (static_cast<int>(fieldArray.size()) < numAnnounced)
    throw AceException("Output fields are missing, unable to perform extract",
                       "%d fields announced, %zu added", numAnnounced, fieldArray.size());
  run->input = open(run);
  DamoOutput out(svdataFile.c_str());
  run->rep->printf("Source file: %s\n", run->input->get_source_name());
  run->rep->printf("Svdata file: %s\n", svdataFile.c_str());
  if (!rejectFile.empty()) run->rejects.emplace(rejectFile);
  if (sourceHeader != 0) skip_header(run);
  run->input->set_rejects(run->rejects ? &*run->rejects : nullptr);
  if (run->numParts > 1) {
    run->rep->printf("Partitioning into %d parts and jumping to part %d\n", run->numParts, run->part);
    if (run->input->partition(run->part, run->numParts) < 0)
      throw AceException("Cannot divide source", "Part %d of %d", run->part, run->numParts);
  }
  if (hasHeader && run->part == 0) write_names(*this, &out);
  Progress display(run->rep, run->input->get_size());
  std::string rows;
  AceAttach at;
  for (VInt numRecords = 1;; ++numRecords) {
    const int size = run->input->read_line(&run->lineNum, 0);
    if (size == DamoInput::AT_END) break;
    if (size == DamoInput::UNREADABLE)
      throw AceException("Cannot read source", "'%s', behind record %ld", run->input->get_source_name(),
                         run->lineNum);
    if (size == DamoInput::REJECTED)
      handle_rejected(run, goesOn);
    else if (make_rows(this, run, &rows, &at))
      write_rows(run, &rows, run->input->is_delete(), &out);
    at.release();
    display.add(std::max(size, 0));
    if (numRecords % RECORDS_PER_REPORT != 0) continue;
    if (progress.get() != 0) run->rep->printf("NUM_RECORDS\t%d", static_cast<int>(numRecords));
    if (flush.get() != 0) out.flush();
  }
  if (run->rejects) run->rejects->commit();
  out.commit();
  report_end(*run, lineBreaks.get_count());
  return run->numLines;
}

void _DamoExtract::select(OpenSource open, int header, int num_fields) {
  if (openSource) throw AceException("An extraction has one source", "A second one was selected");
  openSource = std::move(open);
  sourceHeader = header;
  if (num_fields > 0) numSourceFields = num_fields;
}

// ---------------------------------------------------------------- the handle
// It keeps what hosts pass in, and has one source.

DamoExtract::DamoExtract(int num_source_fields, int num_fields, const char* svdata_file, int svdata_header,
                         int go_on)
    : extractData(std::make_unique<_DamoExtract>()) {
  extractData->numSourceFields = std::max(num_source_fields, 0);
  extractData->numAnnounced = num_fields;
  extractData->svdataFile = svdata_file != nullptr ? svdata_file : "";
  extractData->hasHeader = svdata_header != 0;
  extractData->goesOn = go_on != 0;
}

DamoExtract::~DamoExtract() = default;

int DamoExtract::add_field(DamoField* field) {
  const auto count = static_cast<int>(extractData->fieldArray.size());
  if (field == nullptr || count >= extractData->numAnnounced) {
    AceReporter::use_default()->printf("Cannot add an output field: %s\n",
                                       field == nullptr ? "there is none" : "more than were announced");
    return -1;
  }
  extractData->fieldArray.push_back(field);
  extractData->changed();
  return count + 1;
}

void DamoExtract::set_encoding(TeraTransform* decode) {
  extractData->decodeCfg = decode;
  extractData->changed();
}

void DamoExtract::set_rejects(const char* file) {
  extractData->rejectFile = file != nullptr ? file : "";
}

void DamoExtract::set_for_build() {
  extractData->isForBuild = true;
}

void DamoExtract::simple_file(char source_sep, int source_header, const char* source_file) {
  extractData->select([name = std::string(source_file != nullptr ? source_file : ""), source_sep](
                          AceReporter* rep) { return DamoStandardInput(name.c_str(), source_sep, rep, 0); },
                      source_header, 0);
}

void DamoExtract::fixed_width(const char* source_file, int num_stops, const int* tab_stops,
                              int source_header) {
  std::vector<int> stops(tab_stops, tab_stops + (tab_stops != nullptr ? std::max(num_stops, 0) : 0));
  extractData->select(
      [name = std::string(source_file != nullptr ? source_file : ""),
       stops = std::move(stops)](AceReporter* rep) mutable {
        return DamoFixedInput(name.c_str(), static_cast<int>(stops.size()), stops.data(), rep);
      },
      source_header, 0);
}

void DamoExtract::csv_file(const char* source_file, char source_sep, int source_header, int sfields_num,
                           char text_quote, char escape_char) {
  extractData->select(
      [name = std::string(source_file != nullptr ? source_file : ""), source_sep, text_quote, escape_char](
          AceReporter* rep) { return DamoCsvInput(name.c_str(), source_sep, text_quote, escape_char, rep); },
      source_header, sfields_num);
}

namespace {

/// Paths that a source keeps.
class Paths {
 public:
  Paths(const char* const* given, int count) : isNull(given == nullptr) {
    for (int i = 0; i < count && !isNull; ++i) texts.emplace_back(given[i] != nullptr ? given[i] : "");
  }
  int size() const { return static_cast<int>(texts.size()); }
  /// As readers take them; null if they were.
  std::vector<const char*> get() const {
    std::vector<const char*> pointers;
    for (const std::string& text : texts) pointers.push_back(text.c_str());
    if (pointers.empty() && !isNull) pointers.push_back("");
    return pointers;
  }

 private:
  bool isNull;
  std::vector<std::string> texts;
};

}  // namespace

void DamoExtract::json_file(const char* source_file, const char* record_path, const char** field_paths,
                            int num_fields) {
  extractData->select(
      [file = std::string(source_file != nullptr ? source_file : ""),
       record = std::string(record_path != nullptr ? record_path : ""),
       paths = Paths(field_paths, num_fields)](AceReporter* rep) {
        std::vector<const char*> fields = paths.get();
        return DamoJsonInput(file.c_str(), record.c_str(), fields.empty() ? nullptr : fields.data(),
                             paths.size(), rep);
      },
      0, num_fields);
}

void DamoExtract::json_lines(const char* source_file, int skip, const char** field_paths, int num_fields) {
  extractData->select(
      [file = std::string(source_file != nullptr ? source_file : ""), skip,
       paths = Paths(field_paths, num_fields)](AceReporter* rep) {
        std::vector<const char*> fields = paths.get();
        auto input = std::make_unique<_DamoJsonLinesInput>(
            file.c_str(), fields.empty() ? nullptr : fields.data(), paths.size(), rep);
        input->skip_lines(skip);
        return input.release();
      },
      0, num_fields);
}

void DamoExtract::xml_file(const char* record_path, const char** field_paths, int num_fields,
                           const char** namespaces, int num_namespaces, const char* source_file,
                           const DamoXmlLimits& limits) {
  extractData->select(
      [file = std::string(source_file != nullptr ? source_file : ""),
       record = std::string(record_path != nullptr ? record_path : ""),
       paths = Paths(field_paths, num_fields), spaces = Paths(namespaces, num_namespaces), num_namespaces,
       limits](AceReporter* rep) {
        std::vector<const char*> fields = paths.get(), list = spaces.get();
        return new _DamoXmlInput(file.c_str(), record.c_str(), fields.empty() ? nullptr : fields.data(),
                                 paths.size(), list.data(), num_namespaces, rep, limits);
      },
      0, num_fields);
}

void DamoExtract::odbc_conn(const char* data_source, const char* user, const char* pass,
                            const char* secure_pass, const char* key_file, const char* sql) {
  const auto text = [](const char* given) { return std::string(given != nullptr ? given : ""); };
  extractData->select(
      [source = text(data_source), user = text(user), password = std::make_shared<DamoSecret>(pass),
       secure = text(secure_pass), key = text(key_file), statements = text(sql)](AceReporter* rep) {
        return DamoOdbcInput(source.c_str(), user.c_str(), password->get(), secure.c_str(), key.c_str(),
                             statements.c_str(), rep);
      },
      0, 0);
}

char* DamoExtract::extract_line(const char** fields, int n, AceAttach* at) {
  std::string rows;
  return extractData->append_record(fields, n, &rows, at) ? at->attach(rows.c_str()) : nullptr;
}

VInt DamoExtract::extract(int error_correction, const char* fill_string, int timing, AceReporter* rep,
                          DamoStatistic* input_stat, DamoStatistic* output_stat, int part, int num_parts) {
  if (rep == nullptr) rep = AceReporter::use_default();
  extractData->fieldTimer.clear();
  for (const DamoField* field : extractData->fieldArray)
    if (timing != 0) extractData->fieldTimer.push_back(std::make_unique<AceTimer>(field->get_name()));
  extractData->changed();
  AceTimer total;
  total.start();
  _DamoExtract::Run run{error_correction, fill_string, rep, input_stat, output_stat, part, num_parts};
  const VInt numLines = extractData->extract(&run);
  total.stop();
  rep->printf("Total time used for extraction: %10.4f sec\n", total.get_sec());
  extractData->report_times(rep, total.get_sec());
  rep->printf("Total number of errors corrected: %d\n", run.input->get_error_count());
  return numLines;
}

void _DamoExtract::report_times(AceReporter* rep, double total) const {
  if (fieldTimer.empty()) return;
  std::vector<std::pair<double, const char*>> times;
  std::size_t width = 0;
  for (std::size_t i = 0; i < fieldTimer.size(); ++i) {
    times.emplace_back(fieldTimer[i]->get_sec(), fieldArray[i]->get_name());
    width = std::max(width, std::strlen(times.back().second));
  }
  std::stable_sort(times.begin(), times.end(),
                   [](const auto& a, const auto& b) { return a.first > b.first; });
  rep->printf("Timing for single fields:\n");
  for (const auto& [seconds, name] : times)
    rep->printf("%-*s %10.3f sec (%4.1f%%)\n", static_cast<int>(width), name, seconds,
                total > 0 ? 100 * seconds / total : 0);
}
