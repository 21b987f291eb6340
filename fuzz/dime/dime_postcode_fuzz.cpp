// Weights, queries and codes: one a line. Qualities stay in range, and a code finds itself.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include "ace/ace_reporter.h"
#include "dime/dime_postcode.h"
#include "tera/tera_map_config.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::unique_ptr<TeraMap> map = [] {
    AceReporter::clear_default();
    TeraMapConfig config("utf-8");
    config.set_tokens("0-9A-Z");
    config.map_upper();
    config.map_glob_chars(1);
    return std::unique_ptr<TeraMap>(config.compile());
  }();
  if (size > 1000) return 0;
  std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
  std::string weights;
  std::string query;
  std::getline(lines, weights);
  std::getline(lines, query);
  for (const char* comparison : {"", "-leven_comp -length_pen 3"}) {
    DimePostCodeRecallOptions options;
    if (options.apply(comparison) < 0) std::abort();
    options.set_weights(weights.c_str());
    PostCodeQuery object(query.c_str(), map.get(), options);
    for (std::string code = query; std::getline(lines, code);)
      if (const int quality = object.compare(code.c_str()); quality < 0 || quality > 255) std::abort();
    lines.clear();
    lines.seekg(0);
  }
  return 0;
}
