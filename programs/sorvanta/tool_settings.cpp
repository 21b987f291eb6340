#include "sorvanta/tool_settings.h"

#include <algorithm>

#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_files.h"
#include "sorvanta/tool_settings_text.h"

namespace {

constexpr int MOST_QUALITY = 255;
constexpr int MOST_SUGGESTIONS = 100000;
constexpr std::pair<const char*, char> NAMED_CHARACTERS[] = {{"tab", '\t'}, {"blank", ' '}, {"none", '\0'}};

char character(const SettingsText& text, const SettingsLine& line) {
  for (const auto& [name, value] : NAMED_CHARACTERS)
    if (line.value == name) return value;
  if (line.value.size() != 1)
    text.fail(line.number, line.keyword + ": expected one character, or tab, blank or none, found '" +
                               printable(line.value) + "'");
  return line.value[0];
}

std::string character_text(char value) {
  for (const auto& [name, known] : NAMED_CHARACTERS)
    if (value == known) return name;
  return SettingsText::quoted(std::string(1, value));
}

auto text_into(std::string* target) {
  return [target](const SettingsLine& line) { *target = line.value; };
}

void read_field(const SettingsText& text, const SettingsLine& block, Settings* settings) {
  FieldSettings field;
  field.name = block.keyword;
  field.line = block.number;
  text.take(
      text.block(block), "a field",
      {{"column", [&](const SettingsLine& line) { field.columns.push_back(line.value); }},
       {"between", text_into(&field.between)},
       {"transform", text_into(&field.transform)},
       {"method", text_into(&field.method)},
       {"build_options", text_into(&field.buildOptions)},
       {"recall_options", text_into(&field.recallOptions)},
       {"storage", text_into(&field.storage)},
       {"weight", [&](const SettingsLine& line) { field.weight = text.number(line, 0, MOST_QUALITY); }}});
  if (field.columns.empty()) text.fail(block.number, field.name + ": expected a line 'column', found none");
  for (const FieldSettings& other : settings->fields)
    if (other.name == field.name)
      text.fail(block.number,
                "field " + field.name + " is there already, in line " + std::to_string(other.line));
  settings->fields.push_back(std::move(field));
}

SettingsText::Keywords source_keywords(const SettingsText& text, const std::string& file,
                                       SourceSettings* source) {
  const auto file_into = [&file](std::string* target) {
    return [&file, target](const SettingsLine& line) { *target = beside(file, line.value); };
  };
  return {
      {"source", text_into(&source->file)},
      {"kind",
       [&text, source](const SettingsLine& line) {
         const auto& kinds = source_kinds();
         if (std::find(kinds.begin(), kinds.end(), line.value) == kinds.end())
           text.fail(line.number, refusal("kind of source", line.value, kinds));
         source->kind = line.value;
       }},
      {"separator", [&text, source](const SettingsLine& line) { source->separator = character(text, line); }},
      {"quote", [&text, source](const SettingsLine& line) { source->quote = character(text, line); }},
      {"header",
       [&text, source](const SettingsLine& line) { source->hasHeader = text.number(line, 0, 1) != 0; }},
      {"encoding", text_into(&source->encoding)},
      {"elements", text_into(&source->records)},
      {"namespace",
       [&text, source](const SettingsLine& line) {
         const std::size_t gap = line.value.find_first_of(" \t");
         if (gap == std::string::npos) text.fail(line.number, "namespace: expected a prefix and a URI");
         source->namespaces.push_back(line.value.substr(0, gap));
         source->namespaces.push_back(line.value.substr(line.value.find_first_not_of(" \t", gap)));
       }},
      {"stop",
       [&text, source](const SettingsLine& line) { source->stops.push_back(text.number(line, 1, 1 << 20)); }},
      {"sql", text_into(&source->sql)},
      {"user", text_into(&source->user)},
      {"password", text_into(&source->password)},
      {"encrypted_password", text_into(&source->encryptedPassword)},
      {"key_file", file_into(&source->keyFile)}};
}

void check_whole(const SettingsText& text, const Settings& settings) {
  const auto expect = [&](bool isThere, const char* what) {
    if (!isThere) text.fail(1, std::string("expected a line ") + what + ", found none in the file");
  };
  expect(!settings.source.file.empty(), "'source FILE'");
  expect(!settings.source.kind.empty(), ("'kind' with " + listed(source_kinds())).c_str());
  expect(!settings.base.empty() || !settings.index.empty(), "'base FILE' or 'index FILE'");
  expect(!settings.fields.empty(), "'fields {'");
  if (!settings.base.empty() && !settings.index.empty())
    text.fail(1, "expected 'base' or 'index', found both");
  if (!settings.index.empty() && settings.fields.size() != 1)
    text.fail(settings.fields[1].line,
              "expected one field, of words, for an index, found " + std::to_string(settings.fields.size()));
}

}  // namespace

const std::vector<std::string>& source_kinds() {
  static const std::vector<std::string> kinds{"csv", "fixed", "json", "jsonl", "odbc", "tsv", "xml"};
  return kinds;
}

Settings read_settings(const std::string& file) {
  const SettingsText text(file);
  Settings settings;
  settings.name = file;
  SettingsText::Keywords keywords = source_keywords(text, file, &settings.source);
  const SettingsText::Keywords more = {
      {"records", text_into(&settings.records)},
      {"base", text_into(&settings.base)},
      {"index", text_into(&settings.index)},
      {"tokens", text_into(&settings.tokens)},
      {"folding", text_into(&settings.folding)},
      {"session", text_into(&settings.session)},
      {"quality", [&](const SettingsLine& line) { settings.quality = text.number(line, 0, MOST_QUALITY); }},
      {"suggestions",
       [&](const SettingsLine& line) { settings.suggestions = text.number(line, 1, MOST_SUGGESTIONS); }},
      {"fields", [&](const SettingsLine& line) {
         for (const SettingsLine& field : text.block(line)) read_field(text, field, &settings);
       }}};
  keywords.insert(keywords.end(), more.begin(), more.end());
  text.take(text.get_lines(), "the settings", keywords);
  check_whole(text, settings);
  if (settings.records.empty())
    settings.records = without_ending(settings.base + settings.index) + ".records";
  if (settings.source.kind != "odbc") settings.source.file = beside(file, settings.source.file);
  for (std::string* name : {&settings.records, &settings.base, &settings.index, &settings.session})
    if (!name->empty()) *name = beside(file, *name);
  return settings;
}

std::string write_settings(const Settings& settings) {
  std::string text;
  const auto put = [&](const std::string& indent, const char* keyword, const std::string& value) {
    text += indent + keyword + " " + SettingsText::quoted(value) + "\n";
  };
  const SourceSettings& source = settings.source;
  text += "# Where the records come from.\n";
  put("", "source", source.file);
  put("", "kind", source.kind);
  if (source.kind == "tsv" || source.kind == "csv")
    text += "separator " + character_text(source.separator) + "\n";
  if (source.kind == "csv") text += "quote " + character_text(source.quote) + "\n";
  for (const int stop : source.stops) put("", "stop", std::to_string(stop));
  if (!source.records.empty()) put("", "elements", source.records);
  for (std::size_t i = 0; i + 1 < source.namespaces.size(); i += 2)
    put("", "namespace", source.namespaces[i] + " " + source.namespaces[i + 1]);
  if (!source.sql.empty()) put("", "sql", source.sql);
  if (source.kind != "json" && source.kind != "jsonl" && source.kind != "xml")
    put("", "header", source.hasHeader ? "1" : "0");
  put("", "encoding", source.encoding);
  text += "\n# What is made of them.\n";
  if (!settings.base.empty()) put("", "base", settings.base);
  if (!settings.index.empty()) put("", "index", settings.index);
  text += "\n# Least quality of what is found, 0 to 255.\n";
  put("", "quality", std::to_string(settings.quality));
  text +=
      "\n# Methods: EDIT texts with errors, WORDS words in any order, AUTO codes, DATE, DOUBLE, DIRECT and\n"
      "# NUMBER, POSTCODE, UUID, PREMISE, GEOMETRIC. A field without method is shown and not asked.\n"
      "fields {\n";
  for (const FieldSettings& field : settings.fields) {
    text += "  " + field.name + " {\n";
    for (const std::string& column : field.columns) put("    ", "column", column);
    if (!field.method.empty()) put("    ", "method", field.method);
    if (!field.buildOptions.empty()) put("    ", "build_options", field.buildOptions);
    if (!field.recallOptions.empty()) put("    ", "recall_options", field.recallOptions);
    if (!field.method.empty()) put("    ", "weight", std::to_string(field.weight));
    text += "  }\n";
  }
  return text + "}\n";
}
