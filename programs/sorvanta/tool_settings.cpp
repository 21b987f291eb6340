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

auto text_into(const SettingsText& text, std::string* target) {
  return [&text, target](const SettingsLine& line) { *target = text.value(line); };
}

void read_field(const SettingsText& text, const SettingsLine& block, Settings* settings) {
  FieldSettings field;
  field.name = block.keyword;
  field.line = block.number;
  text.take(
      text.block(block), "a field",
      {{"column", [&](const SettingsLine& line) { field.columns.push_back(text.value(line)); }},
       {"between", text_into(text, &field.between)},
       {"transform", text_into(text, &field.transform)},
       {"method", text_into(text, &field.method)},
       {"build_options", text_into(text, &field.buildOptions)},
       {"recall_options", text_into(text, &field.recallOptions)},
       {"storage", text_into(text, &field.storage)},
       {"weight", [&](const SettingsLine& line) { field.weight = text.number(line, 0, MOST_QUALITY); }}});
  for (const FieldSettings& other : settings->fields)
    if (other.name == field.name)
      text.fail(block.number,
                "field " + field.name + " is there already, in line " + std::to_string(other.line));
  settings->fields.push_back(std::move(field));
}

SettingsText::Keywords source_keywords(const SettingsText& text, const std::string& file,
                                       SourceSettings* source) {
  const auto file_into = [&text, &file](std::string* target) {
    return [&text, &file, target](const SettingsLine& line) { *target = beside(file, text.value(line)); };
  };
  return {
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
      {"encoding", text_into(text, &source->encoding)},
      {"elements", text_into(text, &source->records)},
      {"namespace",
       [&text, source](const SettingsLine& line) {
         const std::size_t gap = line.value.find_first_of(" \t");
         if (gap == std::string::npos) text.fail(line.number, "namespace: expected a prefix and a URI");
         source->namespaces.push_back(line.value.substr(0, gap));
         source->namespaces.push_back(line.value.substr(line.value.find_first_not_of(" \t", gap)));
       }},
      {"stop",
       [&text, source](const SettingsLine& line) { source->stops.push_back(text.number(line, 1, 1 << 20)); }},
      {"sql", text_into(text, &source->sql)},
      {"user", text_into(text, &source->user)},
      {"password", text_into(text, &source->password)},
      {"encrypted_password", text_into(text, &source->encryptedPassword)},
      {"key_file", file_into(&source->keyFile)}};
}

/// "given who.first", in the block of a source.
void add_column(const SettingsText& text, const SettingsLine& line, SourceSettings* source) {
  const auto same = std::find_if(source->columns.begin(), source->columns.end(),
                                 [&](const ColumnSettings& other) { return other.field == line.keyword; });
  if (same != source->columns.end())
    same->columns.push_back(text.value(line));
  else
    source->columns.push_back({line.keyword, {text.value(line)}, line.number});
}

/// The block of one of several sources.
void read_source(const SettingsText& text, const std::string& file, const SettingsLine& block,
                 Settings* settings) {
  SourceSettings source;
  source.line = block.number;
  SettingsText::Keywords keywords = source_keywords(text, file, &source);
  keywords.emplace_back("file", text_into(text, &source.file));
  keywords.emplace_back("columns", [&](const SettingsLine& line) {
    for (const SettingsLine& column : text.block(line)) add_column(text, column, &source);
  });
  text.take(block.inside, "a source", keywords);
  if (source.file.empty()) text.fail(block.number, "expected a line 'file FILE' of this source, found none");
  settings->sources.push_back(std::move(source));
}

/// Each field has a column somewhere, and each column a field.
void check_columns(const SettingsText& text, const Settings& settings) {
  std::vector<std::string> names;
  for (const FieldSettings& field : settings.fields) names.push_back(field.name);
  for (const SourceSettings& source : settings.sources)
    for (const ColumnSettings& column : source.columns)
      if (std::find(names.begin(), names.end(), column.field) == names.end())
        text.fail(column.line, refusal("field", column.field, names));
  for (const SourceSettings& source : settings.sources)
    if (std::none_of(settings.fields.begin(), settings.fields.end(),
                     [&](const FieldSettings& field) { return find_columns(source, field) != nullptr; }))
      text.fail(source.line, "expected 'columns {' with the columns of this source, found none");
  for (const FieldSettings& field : settings.fields) {
    const auto has_field = [&](const SourceSettings& source) {
      return find_columns(source, field) != nullptr;
    };
    if (std::none_of(settings.sources.begin(), settings.sources.end(), has_field))
      text.fail(field.line, field.name + ": expected a line 'column', found none");
  }
}

void check_whole(const SettingsText& text, const Settings& settings) {
  const auto expect = [&](bool isThere, const char* what) {
    if (!isThere) text.fail(1, std::string("expected a line ") + what + ", found none in the file");
  };
  for (const SourceSettings& source : settings.sources)
    if (source.kind.empty())
      text.fail(std::max(source.line, 1), "expected a line 'kind' with " + listed(source_kinds()) +
                                              ", found none for " + printable(source.file));
  expect(!settings.base.empty() || !settings.index.empty(), "'base FILE' or 'index FILE'");
  expect(!settings.fields.empty(), "'fields {'");
  check_columns(text, settings);
  if (!settings.base.empty() && !settings.index.empty())
    text.fail(1, "expected 'base' or 'index', found both");
  if (!settings.index.empty() && settings.fields.size() != 1)
    text.fail(settings.fields[1].line,
              "expected one field, of words, for an index, found " + std::to_string(settings.fields.size()));
}

std::string settings_line(const std::string& indent, const std::string& keyword, const std::string& value) {
  return indent + keyword + " " + SettingsText::quoted(value) + "\n";
}

/// The lines of a source, the first of which names its file.
std::string source_text(const SourceSettings& source, const char* file_keyword, const std::string& indent) {
  std::string text;
  const auto put = [&](const char* keyword, const std::string& value) {
    text += settings_line(indent, keyword, value);
  };
  put(file_keyword, source.file);
  put("kind", source.kind);
  if (source.kind == "tsv" || source.kind == "csv")
    text += indent + "separator " + character_text(source.separator) + "\n";
  if (source.kind == "csv") text += indent + "quote " + character_text(source.quote) + "\n";
  for (const int stop : source.stops) put("stop", std::to_string(stop));
  if (!source.records.empty()) put("elements", source.records);
  for (std::size_t i = 0; i + 1 < source.namespaces.size(); i += 2)
    put("namespace", source.namespaces[i] + " " + source.namespaces[i + 1]);
  if (!source.sql.empty()) put("sql", source.sql);
  if (!source.user.empty()) put("user", source.user);
  if (source.kind == "tsv" || source.kind == "csv" || source.kind == "fixed")
    put("header", source.hasHeader ? "1" : "0");
  put("encoding", source.encoding);
  if (source.columns.empty()) return text;
  text += indent + "columns {\n";
  for (const ColumnSettings& column : source.columns)
    for (const std::string& name : column.columns) text += settings_line(indent + "  ", column.field, name);
  return text + indent + "}\n";
}

}  // namespace

const std::vector<std::string>& source_kinds() {
  static const std::vector<std::string> kinds{"csv", "fixed", "json", "jsonl", "odbc", "tsv", "xml"};
  return kinds;
}

const std::vector<std::string>* find_columns(const SourceSettings& source, const FieldSettings& field) {
  for (const ColumnSettings& column : source.columns)
    if (column.field == field.name) return &column.columns;
  return field.columns.empty() ? nullptr : &field.columns;
}

Settings read_settings(const std::string& file) {
  const SettingsText text(file);
  Settings settings;
  settings.name = file;
  SourceSettings single;
  SettingsText::Keywords keywords = source_keywords(text, file, &single);
  const SettingsText::Keywords more = {
      {"source",
       [&](const SettingsLine& line) {
         line.isBlock ? read_source(text, file, line, &settings) : text_into(text, &single.file)(line);
       }},
      {"records", text_into(text, &settings.records)},
      {"base", text_into(text, &settings.base)},
      {"index", text_into(text, &settings.index)},
      {"tokens", text_into(text, &settings.tokens)},
      {"folding", text_into(text, &settings.folding)},
      {"session", text_into(text, &settings.session)},
      {"quality", [&](const SettingsLine& line) { settings.quality = text.number(line, 0, MOST_QUALITY); }},
      {"suggestions",
       [&](const SettingsLine& line) { settings.suggestions = text.number(line, 1, MOST_SUGGESTIONS); }},
      {"fields", [&](const SettingsLine& line) {
         for (const SettingsLine& field : text.block(line)) read_field(text, field, &settings);
       }}};
  keywords.insert(keywords.end(), more.begin(), more.end());
  text.take(text.get_lines(), "the settings", keywords);
  if (single.file.empty() && settings.sources.empty())
    text.fail(1, "expected a line 'source FILE', or blocks 'source {', found none in the file");
  if (!single.file.empty() && !settings.sources.empty())
    text.fail(settings.sources[0].line, "expected one source, or blocks of several, found both");
  if (!single.file.empty()) settings.sources.push_back(std::move(single));
  check_whole(text, settings);
  if (settings.records.empty())
    settings.records = without_ending(settings.base + settings.index) + ".records";
  for (SourceSettings& source : settings.sources)
    if (source.kind != "odbc") source.file = beside(file, source.file);
  for (std::string* name : {&settings.records, &settings.base, &settings.index, &settings.session})
    if (!name->empty()) *name = beside(file, *name);
  return settings;
}

std::string write_settings(const Settings& settings) {
  std::string text;
  const auto put = [&](const std::string& indent, const std::string& keyword, const std::string& value) {
    text += settings_line(indent, keyword, value);
  };
  text += "# Where the records come from.\n";
  for (const SourceSettings& source : settings.sources)
    text += settings.sources.size() == 1 ? source_text(source, "source", "")
                                         : "source {\n" + source_text(source, "file", "  ") + "}\n";
  text += "\n# What is made of them.\n";
  if (!settings.base.empty()) put("", "base", settings.base);
  if (!settings.index.empty()) put("", "index", settings.index);
  text += "\n# Least quality of what is found, 0 to 255.\n";
  put("", "quality", std::to_string(settings.quality));
  if (settings.folding != Settings().folding) {
    text += "\n# Which characters are the same.\n";
    put("", "folding", settings.folding);
  }
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
