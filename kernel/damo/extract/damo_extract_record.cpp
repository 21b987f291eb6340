// From the fields of a source record to the lines of the record file.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "ace/ace_exception.h"
#include "ace/ace_str_count.h"
#include "damo/damo_field.h"
#include "damo/extract/damo_extract_internal.h"
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
  int numSources = 0;
  isPlain = decodeCfg == nullptr && fieldTimer.empty();
  for (const DamoField* field : fieldArray) {
    isPlain = isPlain && field->get_plain_source() >= 0;
    numSources = std::max(numSources, field->get_plain_source() + 1);
  }
  std::vector<bool> divided(DamoInput::MAX_FIELDS);
  for (std::size_t i = 0; i < divided.size(); ++i)
    divided[i] = std::any_of(fieldArray.begin(), fieldArray.end(), [i](const DamoField* field) {
      return field->is_cut_at_tabs(static_cast<int>(i));
    });
  lineBreaks.set_divided(std::move(divided));
}

/// The usual case, one value a field and nothing to be done with it. Returns false, with `out` as it was, for
/// others.
bool _DamoExtract::append_plain(const char** fields, int n, std::string* out) const {
  const std::size_t start = out->size();
  for (const DamoField* field : fieldArray) {
    const int source = field->get_plain_source();
    if (source >= n) break;
    if (fields[source] != nullptr) *out += fields[source];
    *out += '\t';
  }
  out->pop_back();
  const char* const line = out->data() + start;
  const auto length = static_cast<int>(out->size() - start);
  if (strncount(line, '\t', length) + 1 == static_cast<int>(fieldArray.size()) &&
      strncount(line, '\n', length) == 0 && strncount(line, '\r', length) == 0)
    return true;
  out->resize(start);
  return false;
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
  std::vector<char**> lists(fieldArray.size());
  std::vector<int> counts(fieldArray.size());
  for (std::size_t i = 0; i < lists.size(); ++i) {
    counts[i] = transform(i, texts, n, &lists[i], at);
    if (counts[i] == 0) return false;
    std::for_each(lists[i], lists[i] + counts[i], [this](char* value) { lineBreaks.clean_value(value); });
  }
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
