#include "damo/damo_input.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <numeric>
#include <string_view>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"

#include "damo/damo_statistic.h"

namespace {

constexpr const char* DELETION_MARKER = "<del>";
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

}  // namespace

DamoInput::DamoInput(AceReporter* rep, int max_fields)
    : reporter(rep != nullptr ? rep : AceReporter::use_default()), maxFields(max_fields) {
  memAt.malloc(fieldPtr, VInt{max_fields} + 1);
}

DamoInput::~DamoInput() = default;

int DamoInput::set_field(int index, const char* value) {
  if (index < 0 || index >= recordSize) return -1;
  fieldPtr[index] = valueAt.attach(value);
  return 0;
}

int DamoInput::read_header(VInt* line_num) {
  return read_line(line_num, 0);
}

int DamoInput::put_line(char* /*line*/) {
  reporter->printf("Lines cannot be pushed into '%s', which reads a source of its own\n", get_source_name());
  return -1;
}

int DamoInput::get_fields(const char*** out, AceAttach* at) const {
  const int count = std::clamp(numFields, 0, recordSize);
  std::copy_n(fieldPtr, count, at->malloc(*out, count));
  return count;
}

int DamoInput::set_num_fields(int n) {
  if (n < 0 || n > maxFields) {
    reporter->printf("A record cannot have %d fields: expected 0 to %d\n", n, maxFields);
    return -1;
  }
  numFields = n;
  return 0;
}

char* DamoInput::get_string(char sep, AceAttach* at, int n) const {
  const int all = std::clamp(numFields, 0, recordSize);
  const int count = n < 0 || n > all ? all : n;
  const auto text_of = [](const char* field) { return std::string_view(field != nullptr ? field : ""); };
  const std::size_t size =
      std::accumulate(fieldPtr, fieldPtr + count, std::size_t{1},
                      [&](std::size_t sum, const char* field) { return sum + text_of(field).size() + 1; });
  char* const text = static_cast<char*>(at->alloc(static_cast<VInt>(size)));
  char* to = text;
  for (int i = 0; i < count; ++i) {
    if (i > 0) *to++ = sep;
    to = std::ranges::copy(text_of(fieldPtr[i]), to).out;
  }
  *to = '\0';
  return text;
}

void DamoInput::set_error_correction(int error_correction, const char* fill_string, DamoStatistic* stat) {
  errorCorr = error_correction;
  fillStr = fill_string != nullptr ? memAt.attach(fill_string) : "";
  statistic = stat;
}

void DamoInput::begin_record() {
  valueAt.release();
  recordSize = 0;
  isExplicitDelete = false;
}

bool DamoInput::has_deletion_marker(int pieces) const {
  return pieces > 0 && std::strcmp(fieldPtr[0], DELETION_MARKER) == 0;
}

int DamoInput::check_explicit_del(int nf, int shift_arr) {
  isExplicitDelete = has_deletion_marker(nf);
  if (!isExplicitDelete || shift_arr == 0) return nf;
  std::copy(fieldPtr + 1, fieldPtr + std::min(nf, field_room()), fieldPtr);
  return nf - 1;
}

int DamoInput::finish_record(int pieces) {
  const int nf = std::min(check_explicit_del(pieces, 1), maxFields + 1);
  if (numFields == 0) numFields = std::min(nf, maxFields);
  recordSize = nf;
  return nf == numFields ? ACCEPT : handle_error(nf, nullptr);
}

int DamoInput::handle_error(int nf, const char* fault) {
  const int given = nf >= 0 ? std::min(nf, field_room()) : numFields;
  recordSize = std::max(given, numFields);
  const char** const recordEnd = fieldPtr + recordSize;
  std::fill(fieldPtr + given, recordEnd, nullptr);
  const auto numPresent = recordSize - std::count(fieldPtr, recordEnd, nullptr);
  errorNumFields = nf >= 0 ? nf : static_cast<int>(numPresent);
  if (statistic != nullptr) statistic->incr_badline();

  const auto show = [&] {
    if (badRecords == nullptr) return;
    const std::string reason = fault != nullptr ? fault
                                                : "it has " + std::to_string(errorNumFields) +
                                                      " fields instead of " + std::to_string(numFields);
    badRecords->reject(this, lineIdx, reason.c_str());
  };
  if ((errorCorr & IGNORE_RECORD) != 0) {
    show();
    if (count_correction()) reporter->printf("Error correction: Ignoring record %ld\n", lineIdx);
    return SKIP;
  }
  if (nf > numFields && (errorCorr & IGNORE_SUPERFLUOUS) != 0) {
    if (count_correction())
      reporter->printf("Error correction: Ignoring superfluous field(s) in record %ld\n", lineIdx);
    std::fill(fieldPtr + numFields, recordEnd, "");
    return ACCEPT;
  }
  if (nf < numFields && (errorCorr & FILL_MISSING) != 0 && fault == nullptr) {
    if (count_correction())
      reporter->printf("Error correction: Filling missing field(s) in record %ld\n", lineIdx);
    std::replace(fieldPtr, recordEnd, static_cast<const char*>(nullptr), fillStr);
    return ACCEPT;
  }
  show();
  return REJECTED;
}

char* DamoInput::get_source_text(AceAttach* at) {
  return joined_source('\t', at, [](const char* field, std::string* text) { *text += field; });
}

bool DamoInput::count_correction() {
  if (errCount < INT_MAX) ++errCount;
  if (errCount == MAX_REPORTED_ERRORS + 1) reporter->printf("Error correction: More errors found.");
  return errCount <= MAX_REPORTED_ERRORS;
}

DamoFileInput::DamoFileInput(AceReporter* rep, int max_fields) : DamoInput(rep, max_fields) {}

DamoFileInput::~DamoFileInput() {
  delete srcFile;
}

int DamoFileInput::init(const char* file) {
  std::unique_ptr<AceInput> opened;
  try {
    opened = std::make_unique<AceInput>(file, BUFFER_SIZE, false);
  } catch (const AceException&) {
    reporter->printf("Cannot open source file '%s'\n", file != nullptr ? file : "");
    return -1;
  }
  delete srcFile;
  srcFile = opened.release();
  skip_byte_order_mark();
  return 0;
}

void DamoFileInput::skip_byte_order_mark() {
  int numRead = 0;
  for (const char expected : BYTE_ORDER_MARK) {
    char c = '\0';
    if (srcFile->get_char(&c) == 0) ++numRead;
    if (c == expected) continue;
    while (numRead-- > 0) srcFile->unget();
    return;
  }
}

int DamoFileInput::report_unreadable() {
  char reason[128];
  reporter->printf("Source file '%s' cannot be read beyond record %ld, byte %ld: %s\n", get_source_name(),
                   lineIdx, srcFile->get_pos(), ace_strerror(srcFile->read_error(), reason, sizeof reason));
  return UNREADABLE;
}

bool DamoFileInput::is_at_end() const {
  return srcFile == nullptr || numFields < 0 || (partEnd >= 0 && srcFile->get_pos() >= partEnd);
}

int DamoFileInput::next_line(char** line) {
  const int length = srcFile->read_line(line);
  if (length >= 0) ++lineIdx;
  return length;
}

int DamoFileInput::read_line(VInt* line_num, int as_is) {
  const Huge start = srcFile != nullptr ? srcFile->get_pos() : 0;
  int outcome = SKIP;
  while (outcome == SKIP) {
    begin_record();
    recordStart = srcFile != nullptr ? srcFile->get_pos() : 0;
    char* line = nullptr;
    const int length = is_at_end() ? -1 : next_line(&line);
    const int pieces = length >= 0 ? split(line, length, as_is) : 0;
    if (pieces < 0 || (length < 0 && srcFile != nullptr && srcFile->read_error() != 0))
      return report_unreadable();
    if (length < 0) {
      isEof = true;
      if (numFields == 0) numFields = -1;
      return AT_END;
    }
    outcome = finish_record(pieces);
  }
  if (line_num != nullptr) *line_num = lineIdx;
  return outcome == ACCEPT ? static_cast<int>(std::min<Huge>(srcFile->get_pos() - start, INT_MAX)) : REJECTED;
}

char* DamoFileInput::long_source_text(AceAttach* at) {
  if (srcFile == nullptr || recordSize < field_room()) return nullptr;
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::fopen(get_source_name(), "rbe"),
                                                                &std::fclose);
  std::string text(static_cast<std::size_t>(srcFile->get_pos() - recordStart), '\0');
  if (file == nullptr || fseeko(file.get(), recordStart, SEEK_SET) != 0 ||
      std::fread(text.data(), 1, text.size(), file.get()) != text.size())
    return nullptr;
  while (text.ends_with('\n') || text.ends_with('\r')) text.pop_back();
  return at->attach(text.c_str());
}

int DamoFileInput::partition(int part, int num_parts) {
  const Huge end = srcFile != nullptr ? srcFile->partition(part, num_parts) : -1;
  if (srcFile != nullptr && srcFile->read_error() != 0) return report_unreadable();
  if (end < 0) {
    reporter->printf("Source file '%s' has no part %d of %d\n", get_source_name(), part, num_parts);
    return -1;
  }
  partStart = srcFile->get_pos();
  partEnd = end;
  isEof = false;
  numFields = std::max(numFields, 0);
  if (part > 0) lineIdx = 0;
  return 0;
}

VInt DamoFileInput::get_size() {
  constexpr VInt KIB = 1024;
  if (srcFile == nullptr) return 0;
  return partEnd >= 0 ? std::max<VInt>((partEnd - partStart) / KIB, 1) : srcFile->get_sizek();
}

const char* DamoFileInput::get_source_name() {
  const char* name = srcFile != nullptr ? srcFile->get_filename() : nullptr;
  return name != nullptr ? name : "";
}
