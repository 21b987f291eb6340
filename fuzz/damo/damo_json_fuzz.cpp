// Any bytes as JSON: a record path, a field path, and a document, each behind a line end. What is read in a
// stream is what the engine selects; lines and structures take anything.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_json.h"
#include "damo/damo_json_input.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

/// The records' fields, and whether the document was read to its end; none where it cannot be opened.
struct Outcome {
  std::string records;
  bool isWhole = false;
};

std::optional<Outcome> read(const std::string& file, const std::string& record_path, const char* field_path) {
  Outcome outcome;
  const char* paths[] = {field_path};
  std::unique_ptr<DamoInput> input;
  try {
    input.reset(DamoJsonInput(file.c_str(), record_path.c_str(), paths, 1, AceReporter::null()));
  } catch (const AceException&) {
    return std::nullopt;
  }
  try {
    for (int size; (size = input->read_line(nullptr, 0)) != DamoInput::AT_END;)
      outcome.records +=
          size == DamoInput::REJECTED ? std::string("\n?") : "\n" + std::string(input->get_field(0));
    outcome.isWhole = true;
  } catch (const AceException&) {
  }
  return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  AceReporter::clear_default();
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::size_t first = text.find('\n');
  const std::size_t second = first == std::string::npos ? first : text.find('\n', first + 1);
  if (second == std::string::npos) return 0;
  const std::string record_path = text.substr(0, first),
                    field_path = text.substr(first + 1, second - first - 1);
  const std::string document = text.substr(second + 1);
  static const int file = memfd_create("fuzz", MFD_CLOEXEC);
  static const std::string name = "/proc/self/fd/" + std::to_string(file);
  require(ftruncate(file, 0) == 0 &&
          pwrite(file, document.data(), document.size(), 0) == static_cast<ssize_t>(document.size()));

  const auto streamed = read(name, record_path, field_path.c_str());
  const auto whole = read(name, record_path + " | @", field_path.c_str());
  if (whole && whole->isWhole && streamed && streamed->isWhole) require(streamed->records == whole->records);

  const char* paths[] = {field_path.c_str()};
  try {
    const std::unique_ptr<DamoInput> lines(DamoJsonLinesInput(name.c_str(), paths, 1, AceReporter::null()));
    while (lines->read_line(nullptr, 0) != DamoInput::AT_END) continue;
    DamoJsonLines structure;
    structure.init(name.c_str(), 0);
    structure.get_structure();
    DamoJson json;
    json.init(name.c_str());
    require(!json.get_structure().empty());
  } catch (const AceException&) {
  }
  return 0;
}
