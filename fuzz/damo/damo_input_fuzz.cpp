// Any bytes for all record readers; the first byte says which. CSV records, whole and in parts, are those of
// the plain reader; standard and fixed-width records are the same in parts as whole; pushed lines are those
// of the file. Paths: quotes over lines and parts, escapes, deletions, too many and too few fields with every
// correction, fields as long as their buffers, values set. An input is compared or corrected, not both, and
// its file is in memory: what finds faults is how many inputs there are.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

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
#include "support/memory_file.h"

namespace {

using fuzz::require;

using Input = std::unique_ptr<DamoInput>;

enum Kind { CSV, STANDARD, FIXED, PUSHED, NUM_KINDS };
constexpr std::size_t MAX_SIZE = 300;  // looked at; letters stand for what has to be longer
constexpr unsigned LONG_VALUE = 1030;  // more than a field's first buffer

/// How a run is set up, from the bytes in front.
struct Setup {
  Kind kind;
  char quote;
  char escape;
  int asIs;
  bool isCorrected;
  int flags;
  int numParts;
  int numFields;
};

Input open_input(const Setup& setup) {
  const char* const name = support::MEMORY_FILE;
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

/// Records lie one behind the other: whether one is bad and a deletion, how many fields it has, and their
/// texts, which have no NUL bytes.
void add_head(bool isBad, bool isDelete, int numFields, std::string* records) {
  *records += {isBad ? '!' : '.', isDelete ? '-' : '+', static_cast<char>(numFields % 128),
               static_cast<char>(numFields / 128)};
}

void add_text(const char* text, std::string* records) {
  records->append(text, std::strlen(text) + 1);
}

/// What `read_line` gave.
void add_record(const DamoInput& input, int code, std::string* records) {
  const int count = input.get_num_fields();
  add_head(code < 0, input.is_delete(), count, records);
  for (int i = 0; i < count; ++i) {
    const char* const field = input.get_field(i);
    add_text(field != nullptr ? field : "(null)", records);
  }
}

bool read_all(DamoInput* input, const Setup& setup, bool anyCount, std::string* records) {
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

std::string read_parts(const Setup& setup, bool anyCount, bool* isClosed) {
  std::string records;
  for (int part = 0; part < setup.numParts; ++part) {
    const Input input = open_input(setup);
    require(input->partition(part, setup.numParts) == 0);
    *isClosed = read_all(input.get(), setup, anyCount, &records) && *isClosed;
  }
  return records;
}

void compare_csv(const std::string& data, const Setup& setup) {
  const std::size_t markSize = data.starts_with("\xEF\xBB\xBF") ? 3 : 0;
  const auto expected = oracle::csv_records(std::string_view(data).substr(markSize), ',', setup.quote,
                                            setup.escape, setup.asIs != 0);
  std::string texts;
  for (const oracle::Record& record : expected.records) {
    const std::size_t first = record[0] == "<del>" ? 1 : 0;
    const std::size_t end = std::min(record.size(), first + DamoInput::MAX_FIELDS);
    add_head(end<record.size(), first> 0, static_cast<int>(end - first), &texts);
    for (std::size_t i = first; i < end; ++i) add_text(record[i].c_str(), &texts);
  }
  bool isClosed = true;
  const std::string records = read_parts(setup, true, &isClosed);
  require(isClosed == !expected.isOpen);
  if (isClosed) require(records == texts);
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
      if (count > 0 && i % 4 == 0) require(both.transform(fields, count, &values, &at) > 0);
      input->set_field(i % 3, i % 2 == 0 ? value.c_str() : input->get_field(0));
      input->get_string('|', &at, i);
    }
  } catch (const AceException&) {
  }
}

/// The parts of a file of so many fields have its records.
void compare_parts(const Setup& setup) {
  std::string whole;
  bool isClosed = true;
  read_all(open_input(setup).get(), setup, false, &whole);
  require(whole == read_parts(setup, false, &isClosed));
}

void push_lines(const std::string& data, const Setup& setup) {
  const Input input = open_input(setup);
  input->set_error_correction(setup.flags, nullptr, nullptr);
  for (std::size_t from = 0; from < data.size();
       from += std::min(data.find('\n', from), data.size()) - from + 1) {
    std::string line = data.substr(from, data.find('\n', from) - from);
    const int code = input->put_line(line.data());
    require(input->read_line(nullptr, 0) == code);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, size_t size) {
  AceReporter::clear_default();
  if (size < 3) return 0;
  const Setup setup{static_cast<Kind>(bytes[0] % NUM_KINDS),
                    bytes[0] % 32 < 28 ? '"' : '\0',
                    bytes[0] % 3 == 0 ? '\\' : (bytes[0] % 3 == 1 ? '"' : '\0'),
                    bytes[0] >= 192 ? 1 : 0,
                    bytes[1] / 32 % 2 == 1,
                    bytes[1] % 8,
                    1 + bytes[1] / 8 % 4,
                    bytes[2] % 5};
  std::string& data = support::memory_file();
  data.assign(bytes + 3, bytes + std::min(size, MAX_SIZE));
  // A long line, two long fields or one that is twice as long, of short inputs. More would take longer, and
  // no other path.
  const auto expand = [&data](char letter, std::size_t count, char by) {
    if (const std::size_t at = data.find(letter); at != std::string::npos) data.replace(at, 1, count, by);
  };
  if (bytes[1] / 64 == 3) {
    expand('L', LONG_VALUE, 'l');
    expand('L', LONG_VALUE, 'l');
    expand('S', DamoInput::MAX_FIELDS - 2, ',');
  }
  if (setup.kind == PUSHED)
    push_lines(data, setup);
  else if (setup.isCorrected || setup.numFields == 0)
    correct(open_input(setup).get(), setup);
  else if (setup.kind == CSV)
    compare_csv(data, setup);
  else
    compare_parts(setup);
  return 0;
}
