#include "ebos/ebos_log.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>

#include "ace/ace_reporter.h"
#include "ace/ace_timer.h"

namespace {

constexpr int MICROS_PER_MILLI = 1000;

/// Appends to the text of `length` characters in `buffer`, which is cut to `MAX_LINE`.
__attribute__((format(printf, 3, 0))) int append(char* buffer, int length, const char* format, va_list args) {
  const int room = EbosLog::MAX_LINE - length;
  const int wanted = std::vsnprintf(buffer + length, static_cast<std::size_t>(room), format, args);
  return length + std::clamp(wanted, 0, room - 1);
}

__attribute__((format(printf, 3, 4))) int append(char* buffer, int length, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int total = append(buffer, length, format, args);
  va_end(args);
  return total;
}

int append_time(char* buffer, int length) {
  timeval now = {};
  gettimeofday(&now, nullptr);
  std::tm local = {};
  char date[64] = "";
  if (ace_localtime(&now.tv_sec, &local) != nullptr)
    std::strftime(date, sizeof date, "[%d/%m/%y %H:%M:%S", &local);
  return append(buffer, length, "%s.%03d][pid:%d] ", date, static_cast<int>(now.tv_usec / MICROS_PER_MILLI),
                static_cast<int>(getpid()));
}

}  // namespace

EbosLog* EbosLog::instance() {
  static EbosLog* const theLog = new EbosLog;
  return theLog;
}

int EbosLog::iprintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = write("INFO ", format, args);
  va_end(args);
  return length;
}

int EbosLog::eprintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = write("ERROR", format, args);
  va_end(args);
  return length;
}

int EbosLog::write(const char* level, const char* format, va_list args) {
  char line[MAX_LINE];
  int length = append(line, 0, "%s", level);
  length = append_time(line, length);
  length = append(line, length, format, args);
  const std::scoped_lock lock(logLock);
  AceReporter::use_default()->print(line);
  return length;
}
