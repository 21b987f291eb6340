#include "damo/damo_field.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_avl.h"
#include "ace/ace_str_count.h"

#include "tera/tera_transform.h"

struct _DamoField {
  AceAttach memAt;
  const char* strName = "";
  const char* sepStr = "";
  int fieldSource = -1;
  int subCount = 0;
  int fieldSep = '\t';
  bool hasOwnSep = false;
  int useCache = 0;
  int useControl = 0;
  TeraTransform* normObj = nullptr;
  TeraTransform* statObj = nullptr;
  DamoField* subFields[DamoField::MAX_SUBFIELDS] = {};
  StrAvlTree<const char*> cacheSet{nullptr};  // normalised text of each value seen
  AceAttach cacheAt;                          // these texts
  VInt cacheSize = 0;                         // bytes of values and texts

  const char* source_text(const char** fields, int num_fields) const;
  const char* lone_source(const char** fields, int num_fields) const;
  int read_source(const char** fields, int num_fields, char*** out, AceAttach* at) const;
  int combine_subfields(const char** fields, int num_fields, char*** out, AceAttach* at) const;
  char* normalise(const char* value, AceAttach* at);
};

namespace {

constexpr char BLANK = ' ';
constexpr char DEL = 0x7f;

VInt length_of(const char* text) {
  return static_cast<VInt>(std::strlen(text));
}

void blank_control_characters(char* text) {
  const auto isControl = [](char c) { return (c >= '\0' && c < BLANK) || c == DEL; };
  std::replace_if(text, text + length_of(text), isControl, BLANK);
}

/// Value `row` of a list, or its last one.
const char* value_at(const char* const* list, int count, int row) {
  return list[std::min(row, count - 1)];
}

/// Bytes of `num_rows` rows with everything that is kept for them; refuses what exceeds the limit. A long
/// text beside a list of many values is repeated as often.
VInt size_of_rows(const char* const* const* lists, const int* counts, int num_lists, VInt sep_length,
                  int num_rows) {
  VInt left = DamoField::MAX_COMBINED_SIZE;
  const auto take = [&](VInt times, VInt bytes) {
    if (bytes > 0 && times > left / bytes)
      throw AceException("Too many repeated values to combine", "%d rows of %d fields exceed %ld bytes",
                         num_rows, num_lists, DamoField::MAX_COMBINED_SIZE);
    left -= times * bytes;
  };
  take(num_rows, static_cast<VInt>(sizeof(char*)));
  for (int i = 0; i < num_lists; ++i) {
    take(num_rows, sep_length + 1);
    for (int row = 0; row < counts[i]; ++row) take(1, length_of(lists[i][row]));
    take(num_rows - counts[i], length_of(lists[i][counts[i] - 1]));
  }
  return DamoField::MAX_COMBINED_SIZE - left;
}

}  // namespace

const char* _DamoField::source_text(const char** fields, int num_fields) const {
  if (fieldSource >= num_fields)
    throw AceException("Field source out of range", "Count %d, Source %d", num_fields, fieldSource);
  const char* const source = fieldSource >= 0 ? fields[fieldSource] : nullptr;
  return source != nullptr ? source : "";
}

/// The input field's text, when it is one value that is normalised: it need not be copied before.
const char* _DamoField::lone_source(const char** fields, int num_fields) const {
  if (subCount > 0 || normObj == nullptr) return nullptr;
  const char* const text = source_text(fields, num_fields);
  return fieldSep > 0 && std::strchr(text, fieldSep) != nullptr ? nullptr : text;
}

/// The repeated values of the input field.
int _DamoField::read_source(const char** fields, int num_fields, char*** out, AceAttach* at) const {
  char* text = at->attach(source_text(fields, num_fields));
  const int count = fieldSep > 0 ? strcount(text, fieldSep) + 1 : 1;
  at->malloc(*out, count);
  for (int i = 0; i < count; ++i) {
    (*out)[i] = text;
    if (i + 1 == count) break;
    text = std::strchr(text, fieldSep);
    *text++ = '\0';
  }
  return count;
}

int _DamoField::combine_subfields(const char** fields, int num_fields, char*** out, AceAttach* at) const {
  std::vector<char**> lists(static_cast<std::size_t>(subCount));
  std::vector<int> counts(static_cast<std::size_t>(subCount));
  for (std::size_t i = 0; i < lists.size(); ++i) {
    counts[i] = subFields[i]->transform(fields, num_fields, &lists[i], at);
    if (counts[i] == 0) return 0;
  }
  return DamoField::combine_repeats(lists.data(), counts.data(), subCount, sepStr, out, at);
}

/// What the transform makes of a value, in `at`; null for none.
char* _DamoField::normalise(const char* value, AceAttach* at) {
  if (useCache == 0) return normObj->code(value, at);
  if (const char** known = cacheSet.find(value); known != nullptr) return at->attach(*known);

  char* text = normObj->code(value, at);
  if (cacheSize > DamoField::MAX_CACHE_SIZE) {
    cacheSet.remove();
    cacheAt.release();
    cacheSize = 0;
  }
  cacheSet.insert(value) = cacheAt.attach(text);
  constexpr VInt ENTRY_SIZE = 64;  // of the tree, about
  cacheSize += ENTRY_SIZE + length_of(value) + (text != nullptr ? length_of(text) : 0);
  return text;
}

DamoField::DamoField(const char* name) : fieldData(std::make_unique<_DamoField>()) {
  if (name != nullptr) fieldData->strName = fieldData->memAt.attach(name);
}

DamoField::~DamoField() = default;

bool DamoField::contains(const DamoField* field) const {
  return field == this || std::any_of(fieldData->subFields, fieldData->subFields + fieldData->subCount,
                                      [field](const DamoField* sub) { return sub->contains(field); });
}

int DamoField::add_subfield(DamoField* field) {
  const char* problem = nullptr;
  if (field == nullptr)
    problem = "there is none";
  else if (fieldData->subCount == MAX_SUBFIELDS)
    problem = "there are 256 already";
  else if (field->contains(this))
    problem = "it contains the field";
  if (problem != nullptr) {
    AceReporter::use_default()->printf("Cannot add a subfield to field '%s': %s\n", get_name(), problem);
    return -1;
  }
  fieldData->subFields[fieldData->subCount++] = field;
  return 0;
}

void DamoField::set_source(int source) {
  fieldData->fieldSource = std::max(source, -1);
}

void DamoField::set_transform(TeraTransform* transform) {
  fieldData->normObj = transform;
  fieldData->cacheSet.remove();
  fieldData->cacheAt.release();
  fieldData->cacheSize = 0;
}

void DamoField::set_statistic(TeraTransform* transform) {
  fieldData->statObj = transform;
}

void DamoField::set_concat(const char* text) {
  fieldData->sepStr = text != nullptr ? fieldData->memAt.attach(text) : "";
}

void DamoField::set_use_cache() {
  fieldData->useCache = 1;
}

void DamoField::set_use_control() {
  fieldData->useControl = 1;
}

void DamoField::set_field_sep(int separator) {
  fieldData->fieldSep = separator;
  fieldData->hasOwnSep = true;
}

bool DamoField::is_cut_at_tabs(int source) const {
  if (fieldData->subCount == 0)
    return fieldData->hasOwnSep && fieldData->fieldSep == '\t' && fieldData->fieldSource == source;
  return std::any_of(fieldData->subFields, fieldData->subFields + fieldData->subCount,
                     [source](const DamoField* sub) { return sub->is_cut_at_tabs(source); });
}

int DamoField::get_plain_source() const {
  const bool isPlain = fieldData->subCount == 0 && fieldData->normObj == nullptr &&
                       fieldData->statObj == nullptr && fieldData->useControl == 0 &&
                       fieldData->fieldSep == '\t';
  return isPlain ? fieldData->fieldSource : -1;
}

const char* DamoField::get_name() const {
  return fieldData->strName;
}

int DamoField::transform(const char** fields, int num_fields, char*** out, AceAttach* at) {
  *out = nullptr;
  char** values = nullptr;
  const char* const lone = fieldData->lone_source(fields, num_fields);
  int count = 1;
  if (lone != nullptr)
    at->malloc(values, count);
  else
    count = fieldData->subCount > 0 ? fieldData->combine_subfields(fields, num_fields, &values, at)
                                    : fieldData->read_source(fields, num_fields, &values, at);
  int numKept = 0;
  for (int i = 0; i < count; ++i) {
    const char* const given = lone != nullptr ? lone : values[i];
    if (fieldData->statObj != nullptr) {
      AceAttach unused;
      fieldData->statObj->code(given, &unused);
    }
    char* const value = fieldData->normObj != nullptr ? fieldData->normalise(given, at) : values[i];
    if (value == nullptr) continue;
    if (fieldData->useControl != 0) blank_control_characters(value);
    values[numKept++] = value;
  }
  if (numKept > 0) *out = values;
  return numKept;
}

int DamoField::combine_repeats(const char* const* const* lists, const int* counts, int num_lists,
                               const char* sep, char*** out, AceAttach* at) {
  *out = nullptr;
  if (num_lists < 1 || *std::min_element(counts, counts + num_lists) < 1) return 0;
  const std::string_view between = sep != nullptr ? sep : "";
  const int numRows = *std::max_element(counts, counts + num_lists);
  char* to = static_cast<char*>(
      at->alloc(size_of_rows(lists, counts, num_lists, static_cast<VInt>(between.size()), numRows)));
  at->malloc(*out, numRows);
  for (int row = 0; row < numRows; ++row) {
    (*out)[row] = to;
    for (int i = 0; i < num_lists; ++i) {
      if (i > 0) to = std::copy(between.begin(), between.end(), to);
      to = stpcpy(to, value_at(lists[i], counts[i], row));
    }
    *to++ = '\0';
  }
  return numRows;
}

int DamoField::combine_repeats(const char* const* const* lists, const int* counts, int num_lists, char sep,
                               char*** out, AceAttach* at) {
  const char text[] = {sep, '\0'};
  return combine_repeats(lists, counts, num_lists, text, out, at);
}
