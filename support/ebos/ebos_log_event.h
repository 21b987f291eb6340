/// Events of the process log: what their codes mean.
///
/// Thread safety: the table is installed before threads log; look-ups are then free of locks.
#pragma once

#include "ace/ace_types.h"

/// One registered event. All texts belong to the host and may be null.
struct EbosLogEvent {
  const char* eventCode = nullptr;  ///< its first letter is the level: 'i', 'w' or 'e'
  int eventType = 0;
  const char* fixedString = nullptr;  ///< the description
  const char* eventString = nullptr;
  const char* knownCause = nullptr;
  const char* knownSolution = nullptr;
  const char* knownRelatedCases = nullptr;
  const char* internalCause = nullptr;
  const char* internalSolution = nullptr;
  const char* internalCases = nullptr;
};

/// The table of the process.
class SORV_API EbosLogEventHandler {
 public:
  static EbosLogEventHandler* instance();

  /// Installs `count` events, which stay the caller's and must last; null or 0 for none. Returns 0.
  int init(EbosLogEvent* events, int count);

  /// The description of a registered code; null for other codes and for none.
  const char* get_event_description(const char* code) const;
  /// What is said of a code that has no description.
  static const char* get_default_description(const char* code);
  static const char* get_default_info_code() { return "iMISC_5000"; }
  static const char* get_default_warning_code() { return "wMISC_5000"; }
  static const char* get_default_error_code() { return "eMISC_5000"; }
  /// The code for a level of `EbosLog::Level`; the error code for all but information and warning.
  static const char* get_default_code(int level);
  /// The code for a level text ("INFO ", "WARNG"); the error code for all others.
  static const char* get_default_code_str(const char* level);

 private:
  EbosLogEventHandler() = default;

  EbosLogEvent* logEvents = nullptr;
  int numEvents = 0;
};
