// House numbers: the input is a byte of flags and two texts with a byte FF between them, a query and a value.
// The quality must be that of the rule table; the texts also go through the detector and the display.
#include <cstdlib>
#include <string>

#include "ace/ace_reporter.h"
#include "dime/dime_premise.h"
#include "oracle/premise.h"
#include "support/fuzz_input.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_scan_graph.h"

namespace {

constexpr std::size_t LONGEST = 60;  // the table of subsequences knows 64 positions

DimePremiseMethod& method_with(bool penalizes, bool uses_lcs) {
  static DimePremiseMethod methods[4];
  static const bool areMade = [] {
    for (int i = 0; i < 4; ++i) {
      methods[i].configure_build_options("", nullptr);
      methods[i].make(nullptr, 0, AceReporter::null(), nullptr);
      methods[i].configure_recall_options(
          (std::string(i & 1 ? "-extension_penalty " : "") + (i & 2 ? "-use_lcs" : "")).c_str());
    }
    return true;
  }();
  return methods[areMade ? (penalizes ? 1 : 0) + (uses_lcs ? 2 : 0) : 0];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (size == 0) return 0;
  AceReporter::clear_default();
  const auto [text, value] = fuzz::two_texts(fuzz::text_of(data + 1, size - 1));
  oracle::PremiseRules rules;
  rules.penalizesInRange = (data[0] & 1) != 0;
  rules.usesLcs = (data[0] & 2) != 0;
  const DimePremiseMethod& method = method_with(rules.penalizesInRange, rules.usesLcs);
  const TeraQueryRef query(method.eval(DastOptions::APPROX, text.c_str(), nullptr));
  const int quality = query->compare(value.c_str());
  AceAttach at;
  query->display(value.c_str(), &at);
  if (text.size() <= LONGEST && value.size() <= LONGEST &&
      quality != oracle::premise_quality(text, value, rules))
    std::abort();
  if (TeraScanGraph* graph = method.lookup(value.c_str(), DastOptions::FS_DETECT, AceReporter::null()))
    graph->decr_ref();
  return 0;
}
