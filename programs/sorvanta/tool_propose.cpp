// Settings proposed for a sample of a file: names of fields, and methods by what the values are.
#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <utility>

#include "dast/dast_base.h"
#include "dime/dime_date_text.h"
#include "sorvanta/tool_files.h"
#include "sorvanta/tool_source.h"
#include "tera/tera_map_config.h"
#include "tera/tera_utf.h"

namespace {

constexpr double NEARLY_ALL = 0.9;
constexpr double WORDS_OF_A_TEXT = 2.2;  // from there on, on average, words may come in any order
constexpr std::size_t LONG_TEXT = 200;   // bytes on average: shown and not asked
constexpr int UUID_DIGITS = 32;
// What is worse is looked up where a record needs it: a file of forms got the same answers three times as
// fast as from 160, and a word of four letters with one error is still a value that a form shows.
constexpr const char* EDIT_RECALL = "-min_value 190";

using Values = std::vector<std::string>;

/// Whether nearly all of the values are such, and there are some.
template <class Is>
bool nearly_all(const Values& values, Is is) {
  const auto count = std::count_if(values.begin(), values.end(), is);
  return !values.empty() && static_cast<double>(count) >= NEARLY_ALL * static_cast<double>(values.size());
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool has_digits_only(const std::string& value) {
  return std::all_of(value.begin(), value.end(), is_digit);
}

bool is_decimal(const std::string& value) {
  const std::size_t point = value.find('.');
  return point != std::string::npos && point > 0 &&
         has_digits_only(value.substr(value[0] == '-', point - (value[0] == '-'))) &&
         has_digits_only(value.substr(point + 1));
}

bool is_uuid(const std::string& value) {
  return std::count_if(value.begin(), value.end(), [](unsigned char c) { return std::isxdigit(c) != 0; }) ==
             UUID_DIGITS &&
         value.size() >= UUID_DIGITS && value.size() <= UUID_DIGITS + 6;
}

bool names_any(const std::string& name, std::initializer_list<const char*> parts) {
  return std::any_of(parts.begin(), parts.end(),
                     [&](const char* part) { return name.find(part) != std::string::npos; });
}

/// The format in whose order nearly all of the values are dates; null for none.
const char* date_format(const Values& values) {
  const auto has_separators = [](const std::string& value) {
    return value.size() >= 6 && value.find_first_of("./-") != std::string::npos && is_digit(value[0]);
  };
  if (!nearly_all(values, has_separators)) return nullptr;
  for (const char* name : {"SIMPLE_0", "SHORT_DE", "SHORT_US"}) {
    const auto format = static_cast<DimeDateText::DateFormat>(DimeDateText::get_date_format(name));
    if (nearly_all(values, [&](const std::string& value) {
          return DimeDateText::is_in_order(value.c_str(), format);
        }))
      return name;
  }
  return nullptr;
}

double words_of(const Values& values) {
  double words = 0;
  for (const std::string& value : values)
    words += 1 + static_cast<double>(std::count(value.begin(), value.end(), ' '));
  return words / static_cast<double>(std::max<std::size_t>(values.size(), 1));
}

std::size_t longest_of(const Values& values) {
  std::size_t bytes = 0;
  for (const std::string& value : values) bytes = std::max(bytes, value.size());
  return bytes;
}

std::size_t length_of(const Values& values) {
  std::size_t bytes = 0;
  for (const std::string& value : values) bytes += value.size();
  return bytes / std::max<std::size_t>(values.size(), 1);
}

void choose_method(const Values& values, FieldSettings* field) {
  const auto choose = [&](const char* method, const char* build, const char* recall, int weight) {
    field->method = method;
    field->buildOptions = build;
    field->recallOptions = recall;
    field->weight = weight;
  };
  const std::string& name = field->name;
  const bool isNumber = nearly_all(values, has_digits_only);
  if (values.empty() || length_of(values) > LONG_TEXT) return;
  if (nearly_all(values, is_uuid)) return choose("UUID", "-sorted", "", 100);
  if (const char* const format = date_format(values); format != nullptr)
    return choose("DATE", (std::string("-format ") + format).c_str(), "-switched -min_value 150", 80);
  if (names_any(name, {"post", "zip", "plz"})) return choose("POSTCODE", "", "-min_value 100", 60);
  if (isNumber && names_any(name, {"year", "jahr"})) return choose("DIRECT", "", "", 60);
  if (names_any(name, {"house", "hausn", "number", "premise"}) && length_of(values) < 5)
    return choose("PREMISE", "", "", 40);
  if (nearly_all(values, is_decimal)) return choose("DOUBLE", "", "-factor 1000", 60);
  if (isNumber)
    return choose("NUMBER", ("-num_digits " + std::to_string(longest_of(values))).c_str(), "-min_value 180",
                  80);
  const bool haveWords =
      nearly_all(values, [](const std::string& value) { return value.find(' ') != std::string::npos; });
  if (haveWords || words_of(values) >= WORDS_OF_A_TEXT)
    return choose("WORDS", "-merge_entries -add - -add_len 3", "-no_teaser -min_value 150", 100);
  choose("EDIT", "", EDIT_RECALL, 100);
}

}  // namespace

std::string plain_name(const std::string& name) {
  std::string plain;
  for (std::size_t pos = 0; pos < name.size();) {
    int uni = 0;
    const int size = std::max(TeraUtf::decode(&uni, name.c_str() + pos), 1);
    const auto byte = static_cast<unsigned char>(name[pos]);
    if (std::isalnum(byte) != 0)
      plain += static_cast<char>(std::tolower(byte));
    else if (byte >= 128)
      plain += name.substr(pos, static_cast<std::size_t>(size));
    else if (!plain.empty() && plain.back() != '_')
      plain += '_';
    pos += static_cast<std::size_t>(size);
  }
  while (!plain.empty() && plain.back() == '_') plain.pop_back();
  return plain;
}

Settings propose_settings(const SourceSample& sample) {
  Settings settings;
  settings.sources = {sample.source};
  settings.sources[0].file = std::filesystem::path(sample.source.file).filename().string();
  const std::string stem = std::filesystem::path(sample.source.file).stem().string();
  settings.name = without_ending(sample.source.file) + ".settings";
  settings.base = stem + ".base";
  std::string letters;
  for (std::size_t i = 0; i < std::min<std::size_t>(sample.columns.size(), DastBase::MAX_FIELDS); ++i) {
    FieldSettings field;
    const bool isNumbered = !sample.source.hasHeader && sample.columns[i] == std::to_string(i + 1);
    field.name = isNumbered ? "column" + sample.columns[i]
                            : plain_name(sample.names[i].substr(sample.names[i].rfind(':') + 1));
    if (field.name.empty()) field.name = "column" + std::to_string(i + 1);
    const auto is_taken = [&](const FieldSettings& other) { return other.name == field.name; };
    while (std::any_of(settings.fields.begin(), settings.fields.end(), is_taken)) field.name += "_";
    field.columns = {sample.columns[i]};
    Values values;
    for (const auto& record : sample.records)
      if (i < record.size() && !record[i].empty()) values.push_back(record[i]);
    choose_method(values, &field);
    for (const std::string& value : values) letters += value;
    settings.fields.push_back(std::move(field));
  }
  if (const std::string flags = TeraMapConfig::script_flags(letters.c_str()); !flags.empty())
    settings.folding += " " + flags;
  if (sample.columns.size() > 1) return settings;
  settings.index = stem + ".edit";
  settings.base.clear();
  settings.fields[0].name = "word";
  settings.fields[0].method = "EDIT";
  settings.fields[0].buildOptions.clear();
  return settings;
}
