/// The process log of the platform services: one stamped line per message.
///
///     INFO [21/11/26 09:30:00.125][pid:4711] Notifying all threads to shutdown gracefully
///     ERROR[21/11/26 09:30:05.126][pid:4711] Some threads exit too slowly, forcing exit
///
/// Lines go to the default reporter (AceReporter::use_default), from any thread, one at a time.
#pragma once

#include "ace/ace_types.h"
#include "ebos/ebos_mutex.h"

class SORV_API EbosLog {
 public:
  /// Size of the line buffer, terminator included; longer lines are cut.
  static constexpr int MAX_LINE = 4096;

  EbosLog(const EbosLog&) = delete;
  EbosLog& operator=(const EbosLog&) = delete;

  /// The log of the process; it lasts until the process ends, whatever still runs then.
  static EbosLog* instance();

  /// An information and an error line. `format` is printf's and brings its own line break. Both return the
  /// length of the line.
  int iprintf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  int eprintf(const char* format, ...) __attribute__((format(printf, 2, 3)));

 private:
  EbosLog() = default;
  int write(const char* level, const char* format, __builtin_va_list args)
      __attribute__((format(printf, 3, 0)));

  EbosMutex logLock;  // one line at a time
};
