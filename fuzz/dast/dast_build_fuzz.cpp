// Record files and options of a base: whatever a host declares and feeds, the build ends with a base or with
// an error, and a base that was built can be asked, shows its records, and is the same when it was read.
//
// The input is a text of parts between the bytes 1E, in this order (missing ones are empty): storage types of
// the fields (a line each, up to 65), sort, recall options, alias list, anti-alias list, alias generator,
// records.
#include <algorithm>
#include <cstdlib>
#include <memory>

#include "ace/ace_exception.h"
#include "dast/dast_base.h"
#include "dast/dast_parallel_resource.h"
#include "support/record_bases.h"
#include "tera/tera_scan_graph.h"

namespace {

constexpr char SEPARATOR = '\x1e';
constexpr int MAPPED = 1;

std::vector<std::string> split(const std::string& text, char separator, std::size_t most) {
  std::vector<std::string> parts(1);
  for (const char c : text)
    if (c == separator && parts.size() < most)
      parts.emplace_back();
    else
      parts.back() += c;
  return parts;
}

struct Input {
  explicit Input(const std::string& text) : parts(split(text, SEPARATOR, 7)) {
    parts.resize(7);
    types = split(parts[0], '\n', 65);
  }
  std::vector<std::string> parts;
  std::vector<std::string> types;
};

std::unique_ptr<DastBase> declare(const Input& input, const support::TempFolder& folder) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < input.types.size(); ++i) names.push_back("f" + std::to_string(i));
  std::vector<const char*> pointers;
  for (const auto& name : names) pointers.push_back(name.c_str());
  auto base = std::make_unique<DastBase>(static_cast<int>(names.size()), pointers.data(), nullptr, nullptr,
                                         folder.file("access").c_str(), "utf-8", 0, 0, "1", 1, 1);
  std::filesystem::create_directory(folder.file("access"));
  support::write_file(folder.file("aliases"), input.parts[3]);
  support::write_file(folder.file("antis"), input.parts[4]);
  for (std::size_t i = 0; i < names.size(); ++i) {
    const bool isFirst = i == 0;  // has the lists and the generator
    base->assign(pointers[i], input.types[i].c_str(), 2, nullptr,
                 isFirst ? folder.file("aliases").c_str() : "", isFirst ? folder.file("antis").c_str() : "",
                 nullptr, isFirst ? input.parts[5].c_str() : nullptr, nullptr, nullptr, nullptr,
                 i % 2 == 0 ? 0 : -1, AceReporter::null(), i % 3 == 0);
    std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create("EDIT"));
    method->configure_build_options("-filter 0", &support::letter_map());
    method->configure_recall_options(input.parts[2].c_str());
    base->configure_field(pointers[i], method.release());
  }
  return base;
}

std::vector<std::string> lines_of(const DastBase& base) {
  std::vector<std::string> lines;
  for (Large record = 0; record < base.get_num_records(); ++record)
    for (int f = 0; f < base.get_num_fields(); ++f) {
      AceAttach at;
      const char* value = nullptr;
      base.get_single_field(f, record, &value, &at);
      lines.emplace_back(value != nullptr ? value : "(null)");
      for (const char* query : {"ab", "a|b"})
        if (TeraScanGraph* graph = base.get_field(f)->full_scan_resolve(DastOptions::APPROX, query, nullptr,
                                                                        200, 0, AceReporter::null())) {
          lines.back() += " " + std::to_string(graph->get_num_candidates());
          graph->decr_ref();
        }
    }
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  AceReporter::clear_default();
  DastParallelResource::set_build_worker_threads(1);
  const Input input(std::string(reinterpret_cast<const char*>(data), size));
  const support::TempFolder folder;
  support::write_file(folder.file("records"), input.parts[6]);
  try {
    const auto base = declare(input, folder);
    if (base->make(folder.file("records").c_str(), input.parts[1].c_str(), nullptr,
                   folder.file("copy").c_str(), nullptr, AceReporter::null()) < 0 ||
        base->make_all_access(AceReporter::null()) < 0 ||
        base->dump(folder.file("base").c_str(), AceReporter::null()) < 0)
      return 0;
    DastBase read;
    if (read.load(folder.file("base").c_str(), MAPPED, AceReporter::null()) < 0) std::abort();
    if (lines_of(read) != lines_of(*base)) std::abort();
  } catch (const AceException&) {
  }
  return 0;
}
