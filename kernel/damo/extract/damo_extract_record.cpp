// From the fields of a source record to the lines of the record file.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "ace/ace_exception.h"
#include "damo/damo_field.h"
#include "damo/extract/damo_extract_internal.h"
#include "damo/text/damo_scan_internal.h"
#include "tera/tera_transform.h"

namespace {

constexpr std::string_view LINE_BREAKS = "\t\n\r";

}  // namespace

void DamoLineBreaks::clean_source(const char** fields, int num_fields, AceAttach* at) {
  for (int i = 0; i < num_fields; ++i) {
    const auto place = static_cast<std::size_t>(i);
    if (fields[i] == nullptr || std::strchr(fields[i], '\t') == nullptr) continue;
    if (place < isDivided.size() && isDivided[place]) continue;
    char* const copy = at->attach(fields[i]);
    std::replace(copy, copy + std::strlen(copy), '\t', ' ');
    fields[i] = copy;
    ++numCleaned;
  }
}

void DamoLineBreaks::clean_value(char* value) {
  if (std::strpbrk(value, LINE_BREAKS.data()) == nullptr) return;
  std::replace_if(
      value, value + std::strlen(value), [](char c) { return LINE_BREAKS.find(c) != std::string_view::npos; },
      ' ');
  ++numCleaned;
}

/// What all records have in common; asked again when a field has been added.
void _DamoExtract::prepare() {
  isPlain = decodeCfg == nullptr && fieldTimer.empty();
  plainSources.clear();
  for (const DamoField* field : fieldArray) plainSources.push_back(field->get_plain_source());
  isPlain = isPlain && *std::min_element(plainSources.begin(), plainSources.end()) >= 0;
  lastPlainSource = *std::max_element(plainSources.begin(), plainSources.end());
  std::vector<bool> divided(DamoInput::MAX_FIELDS);
  for (std::size_t i = 0; i < divided.size(); ++i)
    divided[i] = std::any_of(fieldArray.begin(), fieldArray.end(), [i](const DamoField* field) {
      return field->is_cut_at_tabs(static_cast<int>(i));
    });
  lineBreaks.set_divided(std::move(divided));
  valueLists.resize(fieldArray.size());
  valueCounts.resize(fieldArray.size());
}

/// A line of one value for each field, which `value_of` tells by the field's number. Returns false, with
/// `out` as it was, where values have what would break the line.
template <class ValueOf>
bool _DamoExtract::append_line(const ValueOf& value_of, std::string* out) const {
  const std::size_t start = out->size();
  for (std::size_t i = 0; i < fieldArray.size(); ++i) {
    if (const char* const value = value_of(i); value != nullptr) *out += value;
    *out += '\t';
  }
  out->pop_back();
  const auto length = static_cast<VInt>(out->size() - start);
  if (damo_count_tabs(out->data() + start, length) + 1 == std::ssize(fieldArray)) return true;
  out->resize(start);
  return false;
}

/// The usual case, one value a field and nothing to be done with it. Returns false, with `out` as it was, for
/// others.
bool _DamoExtract::append_plain(const char** fields, int n, std::string* out) const {
  return lastPlainSource < n && append_line([&](std::size_t i) { return fields[plainSources[i]]; }, out);
}

void _DamoExtract::decode(const char** fields, int n, AceAttach* at) const {
  for (int i = 0; i < n && decodeCfg != nullptr; ++i)
    if (fields[i] != nullptr) fields[i] = decodeCfg->code(fields[i], at);
}

int _DamoExtract::transform(std::size_t field, const char** fields, int n, char*** values, AceAttach* at) {
  AceTimer* const timer = fieldTimer.empty() ? nullptr : fieldTimer[field].get();
  if (timer != nullptr) timer->start();
  const int count = fieldArray[field]->transform(fields, n, values, at);
  if (timer != nullptr) timer->stop();
  return count;
}

bool _DamoExtract::append_rows(const char** fields, int n, std::string* out, AceAttach* at) {
  const char** texts = nullptr;
  std::copy_n(fields, n, at->malloc(texts, n));
  decode(texts, n, at);
  lineBreaks.clean_source(texts, n, at);
  std::vector<char**>& lists = valueLists;
  std::vector<int>& counts = valueCounts;
  for (std::size_t i = 0; i < lists.size(); ++i) {
    counts[i] = transform(i, texts, n, &lists[i], at);
    if (counts[i] == 0) return false;
  }
  const bool isLine = std::all_of(counts.begin(), counts.end(), [](int count) { return count == 1; });
  if (isLine && append_line([&](std::size_t i) { return *lists[i]; }, out)) return true;
  for (std::size_t i = 0; i < lists.size(); ++i)
    std::for_each(lists[i], lists[i] + counts[i], [this](char* value) { lineBreaks.clean_value(value); });
  char** rows = nullptr;
  const int numRows = DamoField::combine_repeats(lists.data(), counts.data(), static_cast<int>(lists.size()),
                                                 '\t', &rows, at);
  for (int i = 0; i < numRows; ++i) {
    if (i > 0) *out += '\n';
    *out += rows[i];
  }
  return numRows > 0;
}

bool _DamoExtract::append_record(const char** fields, int n, std::string* out, AceAttach* at) {
  if (fieldArray.empty())
    throw AceException("There are no source fields configured, unable to perform extract");
  if (!isPrepared) prepare();
  isPrepared = true;
  return (isPlain && append_plain(fields, n, out)) || append_rows(fields, n, out, at);
}
