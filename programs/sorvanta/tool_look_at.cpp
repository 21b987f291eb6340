// What an unknown file is: its kind by its first bytes, its columns and values.
#include <algorithm>
#include <cstring>
#include <map>
#include <string_view>

#include "ace/ace_attach.h"
#include "damo/damo_json.h"
#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_files.h"
#include "sorvanta/tool_reporter.h"
#include "sorvanta/tool_source.h"
#include "sorvanta/tool_structure.h"
#include "tera/tera_utf.h"

namespace {

constexpr std::size_t START = 256 << 10;
constexpr std::size_t MOST_LINES = 200;  // of which separators are counted
constexpr std::string_view SEPARATORS = "\t;,|";
constexpr double ENOUGH = 0.8;  // of the lines have the same number of separators
constexpr int JSON_SAMPLE = 1000;
constexpr VInt MOST_VALUES = 100000;

/// Whether the text is UTF-8, up to a character that its end may have cut.
bool is_utf8(const std::string& text) {
  for (std::size_t pos = 0; pos < text.size();) {
    int uni = 0;
    const int size = TeraUtf::decode(&uni, text.c_str() + pos);
    if (size < 1) return text.size() - pos < static_cast<std::size_t>(TeraUtf::MAX_SIZE);
    pos += static_cast<std::size_t>(size);
  }
  return true;
}

std::vector<std::string> first_lines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t pos = 0; pos < text.size() && lines.size() < MOST_LINES;) {
    const std::size_t end = text.find('\n', pos);
    if (end == std::string::npos && text.size() >= START && !lines.empty()) break;  // cut
    const std::string line = text.substr(pos, end - pos);
    if (line.find_first_not_of(" \r\t") != std::string::npos) lines.push_back(line);
    pos = end == std::string::npos ? text.size() : end + 1;
  }
  return lines;
}

/// How often the separator stands outside of quotes; -1 where a quoted field goes on behind the line.
int count_separators(const std::string& line, char separator) {
  int count = 0;
  bool isQuoted = false;
  for (const char c : line) {
    if (c == '"') isQuoted = !isQuoted;
    if (c == separator && !isQuoted) ++count;
  }
  return isQuoted ? -1 : count;
}

/// The separator that most lines have equally often; 0 for none.
char find_separator(const std::vector<std::string>& lines) {
  char best = '\0';
  double bestPart = ENOUGH;
  for (const char separator : SEPARATORS) {
    std::map<int, int> counts;
    for (const std::string& line : lines) ++counts[count_separators(line, separator)];
    int whole = static_cast<int>(lines.size()) - counts[-1];
    for (const auto& [count, number] : counts) {
      const double part = static_cast<double>(number) / std::max(whole, 1);
      if (count < 1 || part < bestPart || (part == bestPart && best != '\0')) continue;
      best = separator;
      bestPart = part;
    }
  }
  return best;
}

bool looks_like_a_value(const std::string& text) {
  return text.empty() || text.find('@') != std::string::npos ||
         std::count_if(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }) * 2 >=
             static_cast<long>(text.size());
}

/// The first record has names: none is empty, a number or an address, each is there once, and none comes
/// again in its column.
bool has_header(const std::vector<std::vector<std::string>>& records) {
  if (records.size() < 2) return false;
  const std::vector<std::string>& first = records[0];
  for (std::size_t i = 0; i < first.size(); ++i) {
    if (looks_like_a_value(first[i])) return false;
    if (std::count(first.begin(), first.end(), first[i]) > 1) return false;
    for (std::size_t k = 1; k < records.size(); ++k)
      if (i < records[k].size() && records[k][i] == first[i]) return false;
  }
  return first.size() > 1;
}

void read_first(SourceSample* sample) {
  const auto input = open_source(sample->source, path_pointers(*sample));
  read_records(input.get(), sample);
}

/// Columns without any text in JSON have numbers, perhaps, which become texts where they are.
void read_json(SourceSample* sample) {
  ToolReporter::get().keep_warnings(true);
  read_first(sample);
  ToolReporter::get().keep_warnings(false);
  ToolReporter::get().take_messages();
  sample->names = sample->columns;
  for (std::size_t i = 0; i < sample->columns.size(); ++i) {
    const std::string path = sample->columns[i];
    if (std::all_of(sample->records.begin(), sample->records.end(),
                    [i](const auto& record) { return i >= record.size() || record[i].empty(); }))
      sample->columns[i] = path + " && to_string(" + path + ")";
  }
  sample->records.clear();
  read_first(sample);
}

void look_at_lines(const std::string& start, SourceSample* sample) {
  const std::vector<std::string> lines = first_lines(start);
  const char separator = find_separator(lines);
  const bool isQuoted = start.find('"') != std::string::npos;
  sample->source.kind = separator == '\t' && !isQuoted ? "tsv" : "csv";
  sample->source.separator = separator;
  const bool isNamedCsv = sample->source.file.ends_with(".csv");
  if (separator == '\0' && isNamedCsv) sample->source.separator = ',';
  if (separator == '\0' && !isNamedCsv) {  // single words: nothing is quoted
    sample->source.kind = "tsv";
    sample->source.separator = '\t';
  }
  read_first(sample);
  sample->source.hasHeader = has_header(sample->records);
  if (sample->records.empty()) return;
  const std::vector<std::string> first = sample->records[0];
  for (std::size_t i = 0; i < first.size(); ++i)
    sample->columns.push_back(sample->source.hasHeader ? first[i] : std::to_string(i + 1));
  if (sample->source.hasHeader) sample->records.erase(sample->records.begin());
}

/// No document goes on with another object: what is wrong with such a line is its own affair.
bool starts_object(const std::string& line) {
  const std::size_t start = line.find_first_not_of(" \t");
  return start != std::string::npos && line[start] == '{';
}

}  // namespace

void read_records(DamoInput* input, SourceSample* sample) {
  const auto decoder = make_decoder(sample->source.encoding);
  VInt line = 0;
  while (sample->records.size() < SourceSample::MOST_RECORDS) {
    const int bytes = input->read_line(&line, 0);
    if (bytes == DamoInput::REJECTED) continue;
    if (bytes < 0) break;
    AceAttach at;
    const char** fields = nullptr;
    const int count = input->get_fields(&fields, &at);
    std::vector<std::string> record;
    for (int i = 0; i < count; ++i) {
      const char* const text = fields[i] != nullptr ? fields[i] : "";
      record.emplace_back(decoder != nullptr ? decoder->code(text, &at) : text);
    }
    sample->records.push_back(std::move(record));
  }
}

SourceSample look_at(const std::string& file) {
  const std::string start = file_start(file, START);
  const auto fail = [&](const char* found) {
    throw Failure(printable(file) + ": expected records, found " + found);
  };
  if (start.empty()) fail("an empty file");
  if (start.starts_with("\xFF\xFE") || start.starts_with("\xFE\xFF"))
    fail("UTF-16; `iconv -f UTF-16 -t UTF-8` makes UTF-8 of it");
  if (start.find('\0') != std::string::npos) fail("a file that is no text");
  SourceSample sample;
  sample.source.file = file;
  if (!is_utf8(start)) sample.source.encoding = "cp1252";
  const std::size_t first = start.find_first_not_of(" \t\r\n\xEF\xBB\xBF");
  if (first == std::string::npos) fail("nothing but blanks");
  const std::vector<std::string> lines = first_lines(start);
  if (start[first] == '<') {
    sample.source.kind = "xml";
    look_at_xml(&sample);
    read_first(&sample);
  } else if (DamoJsonLines documents; start[first] == '{' && lines.size() > 1 &&
                                      documents.parse_line(lines[0].c_str()) == 0 &&
                                      starts_object(lines[1])) {
    sample.source.kind = "jsonl";
    documents.init(file.c_str(), JSON_SAMPLE);
    look_at_json(documents.get_structure(), &sample);
    sample.source.records.clear();
    read_json(&sample);
  } else if (start[first] == '{' || start[first] == '[') {
    sample.source.kind = "json";
    DamoJson document;
    document.init(file.c_str(), MOST_VALUES);
    look_at_json(document.get_structure(), &sample);
    read_json(&sample);
  } else {
    look_at_lines(start, &sample);
  }
  if (sample.columns.empty() || sample.records.empty()) fail("none");
  if (sample.names.empty()) sample.names = sample.columns;
  return sample;
}
