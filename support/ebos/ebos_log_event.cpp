#include "ebos/ebos_log_event.h"

#include <algorithm>
#include <cstring>

#include "ebos/ebos_log.h"

EbosLogEventHandler* EbosLogEventHandler::instance() {
  static EbosLogEventHandler theHandler;
  return &theHandler;
}

int EbosLogEventHandler::init(EbosLogEvent* events, int count) {
  logEvents = events;
  numEvents = events != nullptr ? std::max(count, 0) : 0;
  return 0;
}

const char* EbosLogEventHandler::get_event_description(const char* code) const {
  if (code == nullptr || *code == '\0') return nullptr;
  const EbosLogEvent* const end = logEvents + numEvents;
  const EbosLogEvent* const found =
      std::find_if(logEvents, logEvents + numEvents, [=](const EbosLogEvent& event) {
        return event.eventCode != nullptr && std::strcmp(event.eventCode, code) == 0;
      });
  return found != end ? found->fixedString : nullptr;
}

const char* EbosLogEventHandler::get_default_description(const char* code) {
  if (code == nullptr) return "eMISC_5001::Unknown event or missing code";
  if (*code == 'i') return "iMISC_5000::Unknown info code";
  if (*code == 'w') return "wMISC_5000::Unknown warning code";
  return "eMISC_5000::Unknown error code";
}

const char* EbosLogEventHandler::get_default_code(int level) {
  if (level == EbosLog::LEVEL_INFO) return get_default_info_code();
  return level == EbosLog::LEVEL_WARNING ? get_default_warning_code() : get_default_error_code();
}

const char* EbosLogEventHandler::get_default_code_str(const char* level) {
  if (level != nullptr && std::strcmp(level, "INFO ") == 0) return get_default_info_code();
  const bool isWarning = level != nullptr && std::strcmp(level, "WARNG") == 0;
  return isWarning ? get_default_warning_code() : get_default_error_code();
}
