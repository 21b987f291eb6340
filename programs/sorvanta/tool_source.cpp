#include "sorvanta/tool_source.h"

#include <algorithm>
#include <charconv>

#include "ace/ace_attach.h"
#include "damo/damo_csv_input.h"
#include "damo/damo_fixed_input.h"
#include "damo/damo_json_input.h"
#include "damo/damo_odbc_input.h"
#include "damo/damo_standard_input.h"
#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_reporter.h"
#include "tera/tera_charset.h"
#include "tera/tera_utf.h"

namespace {

bool is_path_kind(const std::string& kind) {
  return kind == "json" || kind == "jsonl" || kind == "xml";
}

/// The bytes of a code page as UTF-8.
class PageDecoder : public TeraTransform {
 public:
  explicit PageDecoder(const int* page) : pageMap(page) {}
  using TeraTransform::code;
  char* code(const char* text, AceAttach* at) const override {
    std::string decoded;
    for (; text != nullptr && *text != '\0'; ++text) {
      char utf[TeraUtf::MAX_SIZE];
      const int uni = pageMap[static_cast<unsigned char>(*text)];
      decoded.append(utf, static_cast<std::size_t>(TeraUtf::from_uni(uni != 0 ? uni : '?', utf)));
    }
    return text != nullptr ? at->attach(decoded.c_str()) : nullptr;
  }
  VInt read(AceFile*) override { return -1; }
  VInt save(AceFile*) const override { return -1; }
  int magic() const override { return 0; }
  TeraTransform* make(const char*, const char*) const override { return nullptr; }
  TeraTransform* copy() const override { return new PageDecoder(pageMap); }

 private:
  const int* pageMap;
};

std::vector<const char*> pointers(const std::vector<std::string>& texts) {
  std::vector<const char*> result;
  for (const std::string& text : texts) result.push_back(text.c_str());
  return result;
}

}  // namespace

std::unique_ptr<TeraTransform> make_decoder(const std::string& encoding) {
  if (encoding == "utf-8" || encoding == "UTF-8" || encoding.empty()) return nullptr;
  const int* const page = tera_get_charset_map(encoding.c_str());
  if (page != nullptr) return std::make_unique<PageDecoder>(page);
  std::vector<std::string> known{"utf-8"};
  known.insert(known.end(), tera_charsets, tera_charsets + TERA_NUM_CHARSETS);
  throw Failure(refusal("encoding", encoding, known));
}

int corrections_of(const SourceSettings& source) {
  return is_path_kind(source.kind) ? DamoInput::FILL_MISSING : 0;
}

std::unique_ptr<DamoInput> open_source(const SourceSettings& source, std::vector<const char*> paths) {
  AceReporter* const rep = AceReporter::use_default();
  const char* const file = source.file.c_str();
  const auto numPaths = static_cast<int>(paths.size());
  auto spaces = pointers(source.namespaces);
  std::vector<int> stops = source.stops;
  DamoInput* input = nullptr;
  if (source.kind == "tsv") input = DamoStandardInput(file, source.separator, rep, 0);
  if (source.kind == "csv") input = DamoCsvInput(file, source.separator, source.quote, '\0', rep);
  if (source.kind == "fixed") input = DamoFixedInput(file, static_cast<int>(stops.size()), stops.data(), rep);
  if (source.kind == "json") input = DamoJsonInput(file, source.records.c_str(), paths.data(), numPaths, rep);
  if (source.kind == "jsonl") input = DamoJsonLinesInput(file, paths.data(), numPaths, rep);
  if (source.kind == "xml")
    input = DamoXmlInput(file, source.records.c_str(), paths.data(), numPaths, spaces.data(),
                         static_cast<int>(spaces.size()), rep);
  if (source.kind == "odbc")
    input = DamoOdbcInput(file, source.user.c_str(), source.password.c_str(),
                          source.encryptedPassword.c_str(), source.keyFile.c_str(), source.sql.c_str(), rep);
  if (input == nullptr) throw Failure(printable(source.file) + ": cannot be read as " + source.kind);
  input->set_error_correction(corrections_of(source), "", nullptr);
  return std::unique_ptr<DamoInput>(input);
}

void select_source(DamoExtract* run, const SourceSettings& source, std::vector<const char*> paths) {
  const char* const file = source.file.c_str();
  const int header = source.hasHeader ? 1 : 0;
  const auto numPaths = static_cast<int>(paths.size());
  auto spaces = pointers(source.namespaces);
  if (source.kind == "tsv") run->simple_file(source.separator, header, file);
  if (source.kind == "csv") run->csv_file(file, source.separator, header, 0, source.quote, '\0');
  if (source.kind == "fixed")
    run->fixed_width(file, static_cast<int>(source.stops.size()), source.stops.data(), header);
  if (source.kind == "json") run->json_file(file, source.records.c_str(), paths.data(), numPaths);
  if (source.kind == "jsonl") run->json_lines(file, 0, paths.data(), numPaths);
  if (source.kind == "xml")
    run->xml_file(source.records.c_str(), paths.data(), numPaths, spaces.data(),
                  static_cast<int>(spaces.size()), file);
  if (source.kind == "odbc")
    run->odbc_conn(file, source.user.c_str(), source.password.c_str(), source.encryptedPassword.c_str(),
                   source.keyFile.c_str(), source.sql.c_str());
}

std::vector<std::string> header_names(const SourceSettings& source, DamoInput* input) {
  const auto decoder = make_decoder(source.encoding);
  VInt line = 0;
  if (input->read_header(&line) < 0 && input->get_num_fields() < 1)
    throw Failure(printable(source.file) + ": expected records, found none");
  AceAttach at;
  const char** fields = nullptr;
  const int count = input->get_fields(&fields, &at);
  std::vector<std::string> names;
  for (int i = 0; i < count; ++i) {
    const char* const text = fields[i] != nullptr ? fields[i] : "";
    const bool isNamed = source.hasHeader || source.kind == "odbc";
    names.push_back(!isNamed             ? "column" + std::to_string(i + 1)
                    : decoder != nullptr ? decoder->code(text, &at)
                                         : text);
  }
  return names;
}

// ---------------------------------------------------------------- columns

SourceColumns::SourceColumns(const Settings& settings, const SourceSettings& source)
    : arePaths(is_path_kind(source.kind)) {
  if (!arePaths) {
    const auto input = open_source(source, {});
    columnNames = header_names(source, input.get());
    numColumns = static_cast<int>(columnNames.size());
  }
  for (const FieldSettings& field : settings.fields) {
    fieldColumns.emplace_back();
    const std::vector<std::string>* const columns = find_columns(source, field);
    if (columns == nullptr) continue;
    for (const std::string& column : *columns)
      fieldColumns.back().push_back(find(settings, source, field, column));
  }
  if (arePaths) numColumns = static_cast<int>(columnNames.size());
}

int SourceColumns::find(const Settings& settings, const SourceSettings& source, const FieldSettings& field,
                        const std::string& column) {
  const auto named = std::find(columnNames.begin(), columnNames.end(), column);
  if (named != columnNames.end()) return static_cast<int>(named - columnNames.begin());
  if (arePaths) {
    columnNames.push_back(column);
    return static_cast<int>(columnNames.size()) - 1;
  }
  int number = 0;
  const char* const end = column.data() + column.size();
  const auto [rest, error] = std::from_chars(column.data(), end, number);
  if (error == std::errc() && rest == end && number >= 1 && number <= numColumns) return number - 1;
  int line = field.line;
  for (const ColumnSettings& own : source.columns)
    if (own.field == field.name) line = own.line;
  throw Failure(settings.name + ":" + std::to_string(line) + ": field " + field.name + ": " +
                refusal("column of the source", column, columnNames));
}

std::vector<std::string> SourceColumns::get_unused() const {
  std::vector<bool> areUsed(columnNames.size());
  for (const std::vector<int>& columns : fieldColumns)
    for (const int column : columns) areUsed[static_cast<std::size_t>(column)] = true;
  std::vector<std::string> unused;
  for (std::size_t i = 0; i < columnNames.size(); ++i)
    if (!areUsed[i]) unused.push_back(columnNames[i]);
  return unused;
}

std::vector<const char*> path_pointers(const SourceSample& sample) {
  return is_path_kind(sample.source.kind) ? pointers(sample.columns) : std::vector<const char*>();
}

std::vector<const char*> SourceColumns::get_paths() const {
  return arePaths ? pointers(columnNames) : std::vector<const char*>();
}
