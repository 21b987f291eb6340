#include <cstring>
#include <string_view>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_json_input.h"
#include "damo/json/damo_json_decoder_internal.h"
#include "damo/json/damo_json_fields_internal.h"

/// The present line and what is made of it.
struct _DamoJsonLinesInput::Line {
  enum State { GOOD, BLANK, MISSING, BROKEN };

  Line(const char* const* paths, int num_paths)
      : fields(paths, num_paths, "Failed to initialize DamoInput for JSON Lines source."),
        selection(fields.make_selection()) {}

  /// Stores the fields of a line that is not blank.
  State read(const char** to, const char* source, VInt number, AceReporter* rep);
  template <class Values>
  bool parse(Values* values);

  DamoJsonFields fields;
  std::unique_ptr<DamoJsonSelection> selection;  // null where a path needs the document
  jsoncons::json_parser parser;
  DamoJsonDecoder decoder;
  std::string text;
  std::string fault;  // of a broken line
  State state = GOOD;
};

/// Whether the text is JSON; else `fault` tells what is wrong where.
template <class Values>
bool _DamoJsonLinesInput::Line::parse(Values* values) {
  values->reset();
  parser.reinitialize();
  parser.update(text.data(), text.size());
  std::error_code error;
  parser.finish_parse(*values, error);
  if (!error) parser.check_done(error);
  if (!error && values->is_valid()) return true;
  const std::string found = error ? error.message() : "there is no value";
  fault = "it is no JSON at byte " + std::to_string(parser.column()) + ": " + found;
  return false;
}

_DamoJsonLinesInput::Line::State _DamoJsonLinesInput::Line::read(const char** to, const char* source,
                                                                 VInt number, AceReporter* rep) {
  if (selection != nullptr) {
    if (!parse(selection.get())) return BROKEN;
    if (!selection->may_have_twins()) return fields.read(*selection, to, rep) ? GOOD : MISSING;
  }
  if (!parse(&decoder)) return BROKEN;
  const DamoJsonValue value = decoder.take();
  decoder.check_members(value, source, number, rep);
  return fields.read(value, to, rep) ? GOOD : MISSING;
}

_DamoJsonLinesInput::_DamoJsonLinesInput(const char* file, const char* const* field_paths, int num_paths,
                                         AceReporter* rep)
    : DamoFileInput(rep, std::max(num_paths, MAX_FIELDS)) {
  if (file == nullptr || *file == '\0')
    throw AceException("Failed to initialize DamoInput for JSON Lines source. No input file defined");
  present = std::make_unique<Line>(field_paths, num_paths);
  numFields = num_paths;
  if (init(file) < 0)
    throw AceException(
        "Failed to initialize DamoInput for JSON Lines source. Error while trying to open input file.",
        "'%s'", file);
}

_DamoJsonLinesInput::~_DamoJsonLinesInput() = default;

void _DamoJsonLinesInput::skip_lines(int n) {
  for (char* line = nullptr; n > 0 && next_line(&line) >= 0; --n) continue;
}

int _DamoJsonLinesInput::split(char* line, int length, int /*as_is*/) {
  Line& now = *present;
  now.text.assign(line, static_cast<std::size_t>(length));
  std::fill_n(fieldPtr, now.fields.get_count(), nullptr);
  if (now.text.find_first_not_of(" \t\r") == std::string::npos) {
    now.state = Line::BLANK;
    return 0;
  }
  now.state = now.read(fieldPtr, get_source_name(), lineIdx, reporter);
  return now.state == Line::BROKEN ? 0 : now.fields.get_count();
}

int _DamoJsonLinesInput::finish_record(int /*pieces*/) {
  const Line::State state = present->state;
  if (state == Line::BLANK) ++numBlank;
  if (state == Line::BLANK) return SKIP;
  if (state != Line::GOOD) return handle_error(-1, state == Line::BROKEN ? present->fault.c_str() : nullptr);
  recordSize = present->fields.get_count();
  return recordSize == numFields ? ACCEPT : handle_error(recordSize, nullptr);
}

char* _DamoJsonLinesInput::get_source_text(AceAttach* at) {
  return at->attach(present->text.c_str());
}

DamoInput* DamoJsonLinesInput(const char* file, const char** field_paths, int num_paths, AceReporter* rep) {
  return new _DamoJsonLinesInput(file, field_paths, num_paths, rep);
}
