// Any bytes as XML: a record path, a field path, and a document, each behind a line end. What is read in a
// stream is what is read from the whole document; structures take anything.
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_xml.h"
#include "damo/damo_xml_input.h"
#include "support/fuzz_input.h"

namespace {

using fuzz::require;

/// The records' fields; none where something is wrong, which the two ways meet at different places.
std::optional<std::string> read(const std::string& file, const std::string& record_path,
                                const char* field_path) {
  const char* paths[] = {field_path};
  const char* namespaces[] = {"p", "urn:p"};
  DamoXmlLimits limits;
  limits.fieldBytes = 100'000;
  limits.xpathSteps = 100'000;
  std::string records;
  try {
    _DamoXmlInput input(file.c_str(), record_path.c_str(), paths, 1, namespaces, 2, AceReporter::null(),
                        limits);
    while (input.read_line(nullptr, 0) != DamoInput::AT_END) {
      records += "\n" + std::string(input.get_field(0));
      AceAttach at;
      require(input.get_source_text(&at) != nullptr);
    }
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
  const auto whole = read(name, "(" + record_path + ")", field_path.c_str());
  if (streamed && whole) require(*streamed == *whole);
  try {
    DamoXml structure(name.c_str());
    require(!structure.get_structure(nullptr, 0).empty());
    structure.get_namespaces();
    structure.get_dtd();
  } catch (const AceException&) {
  }
  return 0;
}
