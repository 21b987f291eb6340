// UUIDs: each line of the input is read, and must have the digits that it has; an index of all lines is asked
// for each of them, sorted and unsorted, and must agree with the query object.
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"
#include "dime/dime_uuid.h"
#include "support/fuzz_input.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"

namespace {

using fuzz::require;

class Lines : public TeraReader {
 public:
  explicit Lines(const std::vector<std::string>& lines) : allLines(lines) {}
  int get_line(const char** string, Large* info, VInt*) override {
    if (next == allLines.size()) return 0;
    *string = allLines[next].c_str();
    *info = static_cast<Large>(2 * ++next);
    return 1;
  }
  int rewind() override { return -1; }
  VInt get_estimate() override { return 0; }

 private:
  const std::vector<std::string>& allLines;
  std::size_t next = 0;
};

void read(const std::string& text) {
  const std::size_t prefix = strncasecmp(text.c_str(), "urn:uuid:", 9) == 0 ? 9 : 0;
  std::string digits;
  for (const char c : text.substr(prefix))
    if (std::isxdigit(static_cast<unsigned char>(c)) != 0) digits += static_cast<char>(std::tolower(c));
  Uuid value;
  require((value.init(text.c_str()) == 0) == (digits.size() == 32));
  AceAttach at;
  const char* shown = digits.size() == 32 ? value.show(false, true, &at) : nullptr;
  require(shown == nullptr || digits == shown);
}

void ask(const char* options, const std::vector<std::string>& lines) {
  DimeUuidMethod method;
  method.configure_build_options(options, nullptr);
  Lines reader(lines);
  require(method.make(&reader, 0, AceReporter::null(), nullptr) == 0);
  for (const std::string& line : lines) {
    const TeraQueryRef object(method.eval(DastOptions::COMPLETE, line.c_str(), nullptr));
    int expected = 0;
    for (const std::string& other : lines)
      expected += object != nullptr && object->compare(other.c_str()) == 255 ? 1 : 0;
    TeraResult* result = method.scan(line.c_str(), DastOptions::COMPLETE);
    require((result != nullptr ? result->num_cands() : 0) == expected);
    delete result;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  AceReporter::clear_default();
  std::vector<std::string> lines(1);
  for (std::size_t i = 0; i < size && lines.size() < 100; ++i)
    if (data[i] == '\n' || data[i] == '\0')
      lines.emplace_back();
    else
      lines.back() += static_cast<char>(data[i]);
  for (const std::string& line : lines) read(line);
  ask("-skip_invalid", lines);
  ask("-skip_invalid -sorted", lines);
  return 0;
}
