#include "damo/json/damo_json_fields_internal.h"

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"

namespace {

constexpr char ALIAS_SEPARATOR = '|';

using Text = DamoJsonText;

/// Appends the text of a value that is no list.
Text append_scalar(const DamoJsonValue& value, std::string* out) {
  if (value.is_null()) return Text::NONE;
  if (value.is_bool()) {
    *out += value.as<bool>() ? '1' : '0';
    return Text::GOOD;
  }
  if (!value.is_string()) return Text::NO_TEXT;
  const auto text = value.as_string_view();
  if (text.find('\0') != std::string_view::npos) return Text::NO_TEXT;  // it would end the field
  out->append(text.data(), text.size());
  return Text::GOOD;
}

Text append_text(const DamoJsonValue& value, std::string* out) {
  if (!value.is_array()) return append_scalar(value, out);
  bool isFirst = true;
  for (const DamoJsonValue& element : value.array_range()) {
    if (!isFirst) *out += ALIAS_SEPARATOR;
    isFirst = false;
    if (const Text result = append_scalar(element, out); result != Text::GOOD) return result;
  }
  return Text::GOOD;
}

}  // namespace

DamoJsonFields::DamoJsonFields(const char* const* field_paths, int num_paths, const char* condition) {
  if (field_paths == nullptr) throw AceException(condition, "No field JMESPaths are defined.");
  if (num_paths <= 0) throw AceException(condition, "No source fields are defined.");
  for (int i = 0; i < num_paths; ++i) {
    try {
      paths.emplace_back(field_paths[i] != nullptr ? field_paths[i] : "");
    } catch (const std::exception& error) {
      throw AceException(condition, "Internal Exception: field path %d, '%s': %s", i,
                         field_paths[i] != nullptr ? field_paths[i] : "", error.what());
    }
  }
  texts.resize(paths.size());
}

bool DamoJsonFields::set(std::size_t i, DamoJsonText kind, const std::string& text, const char** fields,
                         AceReporter* rep) {
  if (kind == Text::NO_TEXT && !hasWarned) {
    hasWarned = true;
    rep->ev_wprintf("Field path %d, '%s', gives a value that is no text; to_string(%s) makes it one\n",
                    static_cast<int>(i), paths[i].get_text().c_str(), paths[i].get_text().c_str());
  }
  fields[i] = kind == Text::GOOD ? text.c_str() : nullptr;
  return kind == Text::GOOD;
}

bool DamoJsonFields::read(const DamoJsonValue& record, const char** fields, AceReporter* rep) {
  bool isWhole = true;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    texts[i].clear();
    const Text kind =
        paths[i].apply(record, [&](const DamoJsonValue& value) { return append_text(value, &texts[i]); });
    isWhole = set(i, kind, texts[i], fields, rep) && isWhole;
  }
  return isWhole;
}

bool DamoJsonFields::read(const DamoJsonSelection& record, const char** fields, AceReporter* rep) {
  bool isWhole = true;
  for (std::size_t i = 0; i < paths.size(); ++i)
    isWhole = set(i, record.kind(i), record.text(i), fields, rep) && isWhole;
  return isWhole;
}
