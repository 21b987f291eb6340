// Any bytes as JSON: a record path, a field path, and a document, each behind a line end. What is read in a
// stream is what the engine selects, of lines, too; structures take anything.
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_json.h"
#include "damo/damo_json_input.h"
#include "support/fuzz_input.h"

namespace {

using fuzz::require;

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

/// The records of lines; a second field, which is always there, needs documents.
std::optional<std::string> read_lines(const std::string& file, const char* field_path, int num_paths) {
  const char* paths[] = {field_path, "'x'"};
  std::string records;
  try {
    const std::unique_ptr<DamoInput> lines(
        DamoJsonLinesInput(file.c_str(), paths, num_paths, AceReporter::null()));
    for (int size; (size = lines->read_line(nullptr, 0)) != DamoInput::AT_END;)
      records += size == DamoInput::REJECTED ? std::string("\n?") : "\n" + std::string(lines->get_field(0));
  } catch (const AceException&) {
    return std::nullopt;
  }
  return records;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  AceReporter::clear_default();
  const auto document = fuzz::Document::of(fuzz::text_of(data, size));
  if (!document) return 0;
  const auto& [record_path, field_path, name] = *document;
  const auto streamed = read(name, record_path, field_path.c_str());
  const auto whole = read(name, record_path + " | @", field_path.c_str());
  if (whole && whole->isWhole && streamed && streamed->isWhole) require(streamed->records == whole->records);

  require(read_lines(name, field_path.c_str(), 1) == read_lines(name, field_path.c_str(), 2));
  try {
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
