// Any bytes for all record readers; the first byte says which. CSV records, whole and in parts, are those of
// the plain reader; standard and fixed-width records are the same in parts as whole; pushed lines are those
// of the file, and what statistics count of lines in two pieces is what they count at once. Paths: quotes
// over lines and parts, escapes, deletions, too many and too few fields with every correction, fields as long
// as their buffers, values set.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_csv_input.h"
#include "damo/damo_field.h"
#include "damo/damo_fixed_input.h"
#include "damo/damo_line_input.h"
#include "damo/damo_standard_input.h"
#include "damo/damo_statistic.h"
#include "oracle/csv.h"
#include "support/fuzz_input.h"
#include "support/temp_folder.h"

namespace {

using fuzz::require;

using oracle::Record;
using Input = std::unique_ptr<DamoInput>;

enum Kind { CSV, STANDARD, FIXED, PUSHED, NUM_KINDS };
constexpr std::size_t MAX_SIZE = 4000;
constexpr std::size_t MAX_EXPANDED = 5000;  // more would take longer, and no other path
constexpr unsigned LONG_VALUE = 1500;       // more than a field's first buffer

/// How a run is set up, from the bytes in front.
struct Setup {
  Kind kind;
  char quote;
  char escape;
  int asIs;
  int flags;
  int numParts;
  int numFields;
};

Input open_input(const char* name, const Setup& setup) {
  static int stops[] = {2, 3, 7, 30};
  switch (setup.kind) {
    case CSV:
      return Input(DamoCsvInput(name, ',', setup.quote, setup.escape, nullptr));
    case STANDARD:
      return Input(DamoStandardInput(name, ',', nullptr, setup.numFields));
    case FIXED:
      return Input(DamoFixedInput(name, 1 + setup.numFields % 4, stops, nullptr));
    default:
      return Input(DamoLineInput(setup.numFields, ',', nullptr));
  }
}

/// What `read_line` gave: the fields, and the code in front.
void add_record(const DamoInput& input, int code, std::vector<Record>* records) {
  AceAttach at;
  const char** fields = nullptr;
  const int count = input.get_fields(&fields, &at);
  Record record{std::to_string(std::min(code, 0)) + (input.is_delete() ? "d" : "")};
  for (int i = 0; i < count; ++i) record.emplace_back(fields[i] != nullptr ? fields[i] : "(null)");
  records->push_back(record);
}

bool read_all(DamoInput* input, const Setup& setup, bool anyCount, std::vector<Record>* records) {
  try {
    while (true) {
      if (anyCount) input->set_num_fields(0);
      const int code = input->read_line(nullptr, setup.asIs);
      if (code == DamoInput::AT_END) return true;
      add_record(*input, code, records);
    }
  } catch (const AceException&) {
    return false;
  }
}

std::vector<Record> read_parts(const char* name, const Setup& setup, bool anyCount, bool* isClosed) {
  std::vector<Record> records;
  for (int part = 0; part < setup.numParts; ++part) {
    const Input input = open_input(name, setup);
    require(input->partition(part, setup.numParts) == 0);
    *isClosed = read_all(input.get(), setup, anyCount, &records) && *isClosed;
  }
  return records;
}

void compare_csv(const char* name, const std::string& data, const Setup& setup) {
  auto expected = oracle::csv_records(data, ',', setup.quote, setup.escape, setup.asIs != 0);
  for (Record& record : expected.records) {
    const bool isDelete = record[0] == "<del>";
    if (isDelete) record.erase(record.begin());
    const bool isBad = record.size() > DamoInput::MAX_FIELDS;
    if (isBad) record.resize(DamoInput::MAX_FIELDS);
    record.insert(record.begin(), std::string(isBad ? "-2" : "0") + (isDelete ? "d" : ""));
  }
  bool isClosed = true;
  const auto records = read_parts(name, setup, true, &isClosed);
  require(isClosed == !expected.isOpen);
  if (isClosed) require(records == expected.records);
}

/// One fixed field count, corrections and values set, for the sanitizers.
void correct(DamoInput* input, const Setup& setup) {
  DamoStatistic statistic(0, ',', 0, nullptr);
  input->set_error_correction(setup.flags, "fill", &statistic);
  DamoField first("first");
  DamoField both("both");
  first.set_source(0);
  first.set_field_sep('a');
  both.add_subfield(&first);
  both.add_subfield(&first);
  const std::string value(LONG_VALUE, 'v');
  try {
    for (int i = 0; input->read_line(nullptr, setup.asIs) != DamoInput::AT_END; ++i) {
      AceAttach at;
      const char** fields = nullptr;
      char** values = nullptr;
      const int count = input->get_fields(&fields, &at);
      if (count > 0) require(both.transform(fields, count, &values, &at) > 0);
      input->set_field(i % 3, i % 2 == 0 ? value.c_str() : input->get_field(0));
      input->get_string('|', &at, i);
    }
  } catch (const AceException&) {
  }
}

/// Statistics of two pieces, merged, say what that of the whole says.
void count(const std::string& data, int is_utf) {
  static const support::TempFolder folder;
  const std::string text = data.c_str();
  const std::size_t end = std::min(text.find('\n', text.size() / 2), text.size());
  DamoStatistic whole(is_utf, ',', 3, nullptr), first(is_utf, ',', 3, nullptr),
      second(is_utf, ',', 3, nullptr);
  whole.add_line(text.c_str());
  first.add_line(text.substr(0, end + 1).c_str());
  if (end < text.size()) second.add_line(text.c_str() + end + 1);
  require(first.merge(&second) == 0);
  const std::string file = folder.file("statistic");
  const auto written = [&file](const DamoStatistic& statistic) {
    require(statistic.write_page(file.c_str()) == 0);
    require(statistic.write_file(file.c_str()) == 0);
    return support::read_file(file);
  };
  require(written(first) == written(whole));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, size_t size) {
  static const fuzz::MemoryFile file;
  AceReporter::clear_default();
  if (size < 3 || size > MAX_SIZE) return 0;
  const Setup setup{static_cast<Kind>(bytes[0] % NUM_KINDS),
                    bytes[0] % 32 < 28 ? '"' : '\0',
                    bytes[0] % 3 == 0 ? '\\' : (bytes[0] % 3 == 1 ? '"' : '\0'),
                    bytes[0] >= 192 ? 1 : 0,
                    bytes[1] % 8,
                    1 + bytes[1] / 8 % 4,
                    bytes[2] % 5};
  std::string data(bytes + 3, bytes + size);
  // letters that make long fields and lines of short inputs
  const auto expand = [&data](char letter, std::size_t count, char by) {
    for (std::size_t at = data.find(letter); at != std::string::npos && data.size() < MAX_EXPANDED;
         at = data.find(letter))
      data.replace(at, 1, count, by);
  };
  expand('L', LONG_VALUE, 'l');
  expand('S', DamoInput::MAX_FIELDS - 2, ',');
  const char* name = file.with(data).c_str();
  if (setup.kind == PUSHED) {
    const Input input = open_input(name, setup);
    input->set_error_correction(setup.flags, nullptr, nullptr);
    for (std::size_t from = 0; from < data.size();
         from += std::min(data.find('\n', from), data.size()) - from + 1) {
      std::string line = data.substr(from, data.find('\n', from) - from);
      const int code = input->put_line(line.data());
      require(input->read_line(nullptr, 0) == code);
    }
    count(data, setup.asIs);
    return 0;
  }
  if (setup.kind == CSV && data.compare(0, 3, "\xEF\xBB\xBF") != 0) compare_csv(name, data, setup);
  if (setup.kind != CSV && setup.numFields > 0) {
    std::vector<Record> whole;
    bool isClosed = true;
    read_all(open_input(name, setup).get(), setup, false, &whole);
    require(whole == read_parts(name, setup, false, &isClosed));
  }
  const Input input = open_input(name, setup);
  correct(input.get(), setup);
  return 0;
}
