#include "dast/dast_base_method.h"

#include <string>

#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "tera/tera_reader.h"

namespace {
constexpr int READ_BUFFER = 100000;
constexpr int ATTRIBUTE_BASE = 16;
}  // namespace

TeraScanGraph* DastDetectorInterface::lookup_below(const char*, DastOptions::Call, int, AceReporter*) const {
  return nullptr;
}

int DastDetectorInterface::set_instant_enabled(bool enabled) {
  if (!enabled) return 0;
  std::string name = get_name();
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  for (std::size_t i = 1; i < name.size(); ++i) name[i] = lower(name[i]);
  AceReporter::use_default()->printf("%s method has no instant extension.\n", name.c_str());
  return -1;
}

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
