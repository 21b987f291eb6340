#include "damo/damo_json_input.h"

#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <fstream>
#include <jsoncons/json_cursor.hpp>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/json/damo_json_decoder_internal.h"
#include "damo/json/damo_json_fields_internal.h"

namespace {

using jsoncons::json_stream_cursor;
using jsoncons::staj_event_type;

constexpr const char* CONDITION = "Failed to initialize DamoInput for json source.";

[[noreturn]] void fail(const std::exception& error) {
  throw AceException(CONDITION, "Internal Exception: %s", error.what());
}

const char* kind_of(const DamoJsonValue& value) {
  return value.is_string() ? "a text" : value.is_bool() ? "a truth value" : "a number";
}

bool is_begin(staj_event_type type) {
  return type == staj_event_type::begin_object || type == staj_event_type::begin_array;
}

bool is_end(staj_event_type type) {
  return type == staj_event_type::end_object || type == staj_event_type::end_array;
}

}  // namespace

/// Where the records come from: a cursor in the file, or a list in memory.
struct _DamoJsonInput::Document {
  Document(const char* const* paths, int num_paths) : fields(paths, num_paths, CONDITION) {}

  DamoJsonFields fields;
  std::string filePath;
  std::ifstream stream;
  DamoJsonDecoder decoder;
  AceReporter* reporter = nullptr;
  std::unique_ptr<json_stream_cursor> cursor;  // in the list; null where it is in memory
  DamoJsonValue list;
  std::size_t next = 0;    // record
  bool dropsNull = false;  // as the engine's "[*]" does
  DamoJsonValue record;

  void open(const char* record_path, AceReporter* rep);
  bool read();

 private:
  void stream_to(const DamoJsonMembers& members, AceReporter* rep);
  bool find_member(const std::string& name);
  void skip_value();
  void check_rest();
  void take(DamoJsonValue selected, bool is_projection, AceReporter* rep);
  void read_whole(const std::string& path, AceReporter* rep);
  DamoJsonValue decode(VInt number);
};

DamoJsonValue _DamoJsonInput::Document::decode(VInt number) {
  decoder.reset();
  cursor->read_to(decoder);
  DamoJsonValue value = decoder.take();
  decoder.check_members(value, filePath.c_str(), number, reporter);
  return value;
}

/// To behind the value that the cursor is at.
void _DamoJsonInput::Document::skip_value() {
  int depth = 0;
  do {
    const auto type = cursor->current().event_type();
    depth += is_begin(type) ? 1 : is_end(type) ? -1 : 0;
    cursor->next();
  } while (depth > 0 && !cursor->done());
}

/// What lies behind the records must be JSON, too, up to one end.
void _DamoJsonInput::Document::check_rest() {
  while (!cursor->done()) cursor->next();
  cursor->check_done();
}

/// To the value of a member of the object that the cursor is at.
bool _DamoJsonInput::Document::find_member(const std::string& name) {
  if (cursor->done() || cursor->current().event_type() != staj_event_type::begin_object) return false;
  cursor->next();
  while (!cursor->done() && cursor->current().event_type() == staj_event_type::key) {
    const bool isFound = cursor->current().get<jsoncons::string_view>() == name;
    cursor->next();
    if (isFound) return true;
    skip_value();
  }
  return false;
}

void _DamoJsonInput::Document::stream_to(const DamoJsonMembers& members, AceReporter* rep) {
  dropsNull = members.isList;
  cursor = std::make_unique<json_stream_cursor>(stream);
  if (cursor->done()) throw std::runtime_error("the document is empty");
  for (const std::string& name : members.names)
    if (!find_member(name)) {
      check_rest();
      take(DamoJsonValue::null(), members.isList, rep);
      return;
    }
  if (cursor->current().event_type() == staj_event_type::begin_array) {
    cursor->next();
    return;
  }
  DamoJsonValue selected = decode(1);
  check_rest();
  take(std::move(selected), members.isList, rep);
}

/// The records of a value that is no list which is read from the file.
void _DamoJsonInput::Document::take(DamoJsonValue selected, bool is_projection, AceReporter* rep) {
  cursor.reset();
  list = DamoJsonValue(jsoncons::json_array_arg);
  if (selected.is_array()) {
    list = std::move(selected);
  } else if (selected.is_null() || is_projection) {
    rep->ev_wprintf("The record JMESPath selects nothing in '%s': no records\n", filePath.c_str());
  } else if (selected.is_object()) {
    list.push_back(std::move(selected));
  } else {
    throw AceException(CONDITION,
                       "Internal Exception: the record JMESPath selects %s, a list or an object is expected",
                       kind_of(selected));
  }
}

void _DamoJsonInput::Document::read_whole(const std::string& path, AceReporter* rep) {
  const auto expression = damo_json_expression(path);
  jsoncons::json_stream_reader reader(stream, decoder);
  reader.read();
  const DamoJsonValue whole = decoder.take();
  decoder.check_members(whole, filePath.c_str(), 1, rep);
  take(expression.evaluate(whole), false, rep);
}

void _DamoJsonInput::Document::open(const char* record_path, AceReporter* rep) {
  reporter = rep;
  try {
    stream.open(filePath, std::ios::binary);
    char mark[3] = {};
    if (!stream.read(mark, 3) || std::memcmp(mark, "\xEF\xBB\xBF", 3) != 0) {
      stream.clear();
      stream.seekg(0);
    }
    if (const auto members = DamoJsonMembers::parse(record_path))
      stream_to(*members, rep);
    else
      read_whole(record_path, rep);
  } catch (const std::exception& error) {
    fail(error);
  }
}

/// The next record.
bool _DamoJsonInput::Document::read() {
  if (cursor == nullptr) {
    if (next >= list.size()) return false;
    record = std::move(list[next++]);
    return true;
  }
  try {
    if (cursor->done()) throw std::runtime_error("the document ends within the list of records");
    if (cursor->current().event_type() == staj_event_type::end_array) {
      check_rest();
      return false;
    }
    do {
      record = decode(static_cast<VInt>(next) + 1);
      cursor->next();
    } while (dropsNull && record.is_null() && !cursor->done() &&
             cursor->current().event_type() != staj_event_type::end_array);
    if (dropsNull && record.is_null()) return read();  // at the end
    ++next;
    return true;
  } catch (const std::exception& error) {
    throw AceException("Cannot read JSON source", "'%s', behind record %zu: %s", filePath.c_str(), next,
                       error.what());
  }
}

_DamoJsonInput::_DamoJsonInput(const char* file, const char* record_path, const char* const* field_paths,
                               int num_paths, AceReporter* rep)
    : DamoInput(rep, std::max(num_paths, MAX_FIELDS)) {
  struct stat info {};
  if (file == nullptr || stat(file, &info) != 0 || !S_ISREG(info.st_mode))
    throw AceException(CONDITION, "Filename %s does not exist.", file != nullptr ? file : "");
  if (record_path == nullptr || *record_path == '\0')
    throw AceException(CONDITION, "No record JMESPath defined.");
  document = std::make_unique<Document>(field_paths, num_paths);
  document->filePath = file;
  document->open(record_path, reporter);
  numFields = num_paths;
}

_DamoJsonInput::~_DamoJsonInput() = default;

int _DamoJsonInput::read_line(VInt* line_num, int /*as_is*/) {
  for (;;) {
    begin_record();
    if (isEof || !document->read()) {
      isEof = true;
      return AT_END;
    }
    ++lineIdx;
    const bool isWhole = document->fields.read(document->record, fieldPtr, reporter);
    recordSize = document->fields.get_count();
    int outcome = ACCEPT;
    if (!isWhole)
      outcome = handle_error(-1, nullptr);
    else if (recordSize != numFields)
      outcome = handle_error(recordSize, nullptr);
    if (outcome == SKIP) continue;
    if (line_num != nullptr) *line_num = lineIdx;
    if (outcome != ACCEPT) return REJECTED;
    VInt size = 0;
    for (int i = 0; i < recordSize; ++i) size += static_cast<VInt>(std::strlen(fieldPtr[i]));
    return static_cast<int>(std::min<VInt>(size, INT_MAX));
  }
}

int _DamoJsonInput::partition(int /*part*/, int /*num_parts*/) {
  reporter->printf("JSON sources do not support multiple parts!");
  return -1;
}

VInt _DamoJsonInput::get_size() {
  struct stat info {};
  constexpr VInt KIB = 1024;
  return stat(document->filePath.c_str(), &info) == 0 ? std::max<VInt>(info.st_size / KIB, 1) : 0;
}

const char* _DamoJsonInput::get_source_name() {
  return document->filePath.c_str();
}

char* _DamoJsonInput::get_source_text(AceAttach* at) {
  std::string text;
  document->record.dump(text);
  return at->attach(text.c_str());
}

DamoInput* DamoJsonInput(const char* file, const char* record_path, const char** field_paths, int num_paths,
                         AceReporter* rep) {
  return new _DamoJsonInput(file, record_path, field_paths, num_paths, rep);
}
