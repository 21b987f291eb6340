#include "dast/dast_base_method.h"

#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "tera/tera_reader.h"

namespace {
constexpr int READ_BUFFER = 100000;
constexpr int ATTRIBUTE_BASE = 16;
}  // namespace

int DastBaseMethod::make(const char* filename, int flags, AceReporter* rep) {
  AceInput input(filename, READ_BUFFER, true);
  TeraStandardReader reader(&input, ATTRIBUTE_BASE);
  return make(&reader, flags, rep, filename);
}

TeraAmortizedQuery* DastBaseMethod::create_amortized_query(DastOptions::Call, const TeraScanGraph*) const {
  return nullptr;
}

TeraScanGraph* DastBaseMethod::detect_single(const char*, DastOptions::Call, AceReporter* rep) const {
  rep->ev_wprintf("Warning! Related build field does not support detection of single words\n");
  return nullptr;
}
