#include "ebos/ebos_log_reporter.h"

#include <cstring>

#include "ebos/ebos_log.h"

namespace {

/// What a text lacks to be a line.
const char* line_end(const char* text) {
  const std::size_t length = std::strlen(text);
  return length > 0 && text[length - 1] == '\n' ? "" : "\n";
}

}  // namespace

int EbosLogReporter::report_func(const char* text) {
  return EbosLog::instance()->iprintf("%s%s", text, line_end(text));
}

int EbosLogReporter::event_func(const char* text, const char* code) {
  const int rc = EbosLog::instance()->ev_printf(code, "%s%s", text, line_end(text));
  return rc >= 0 ? rc : EbosLog::instance()->ev_eprintf(code, "%s%s", text, line_end(text));
}
