// Expressions and lists of words: the input is a pattern, a byte FF and a text, which the field methods and
// the detector compare in every mode.
#include <cstring>
#include <memory>
#include <string>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "dast/dast_magic_constructor.h"
#include "dime/dime_regex_detector.h"
#include "support/fuzz_input.h"
#include "tera/tera_query.h"
#include "tera/tera_scan_graph.h"

namespace {

void compare(const DastBaseMethod& method, const std::string& pattern, const std::string& text) {
  for (int call = DastOptions::EXACT; call <= DastOptions::DETECT0 + 1; ++call) {
    TeraQuery* query =
        method.eval(static_cast<DastOptions::Call>(call), pattern.c_str(), AceReporter::null());
    if (query == nullptr) continue;
    query->compare(text.c_str());
    AceAttach at;
    try {
      query->display(text.c_str(), &at);
    } catch (const AceException&) {  // an error of the expression
    }
    query->unref();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  AceReporter::clear_default();
  const auto [pattern, text] = fuzz::two_texts(fuzz::text_of(data, size));
  for (const char* name : {"REGEXP", "CATEGORY"}) {
    const std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create(name));
    compare(*method, pattern, text);
  }
  DimeRegexDetector detector;
  detector.add_regexp(pattern.c_str(), nullptr, 0, 0);
  detector.add_regexp("a+(b)?", "TRIM_ALL", 5, 1);
  if (detector.make(nullptr, 0, AceReporter::null(), nullptr) < 0) return 0;
  if (TeraScanGraph* graph = detector.lookup(text.c_str(), DastOptions::FS_DETECT, AceReporter::null()))
    graph->decr_ref();
  return 0;
}
