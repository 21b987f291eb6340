// Any bytes as XML: a record path, a field path, and a document, each behind a line end. What is read in a
// stream is what is read from the whole document; structures take anything.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_xml.h"
#include "damo/damo_xml_input.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

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
