#include "ebos/ebos_log.h"

#include <algorithm>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <utility>

#include "ace/ace_reporter.h"

#include "ebos/ebos_log_event.h"
#include "ebos/ebos_log_writer.h"
#include "ebos/ebos_net_writer.h"

namespace {

constexpr const char* INFO = "INFO ";
constexpr const char* DEBUG_TEXT = "DEBUG";  // the plain word is a macro of many builds
constexpr const char* WARNING = "WARNG";
constexpr const char* ERROR = "ERROR";

/// The calling thread is handing something to a reporter.
constinit thread_local bool isReporting = false;

/// Calls `report()` unless the calling thread is within such a call.
template <class Report>
void report_once(Report report) {
  if (isReporting) return;
  struct Scope {
    Scope() { isReporting = true; }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope() { isReporting = false; }
  } const scope;
  report();
}

/// A closed connection shall be an error of its writer and not the end of the process.
void ignore_broken_pipes() {
  static const bool isDone = [] {
    struct sigaction action {};
    if (sigaction(SIGPIPE, nullptr, &action) == 0 && action.sa_handler == SIG_DFL)
      std::signal(SIGPIPE, SIG_IGN);
    return true;
  }();
  static_cast<void>(isDone);
}

}  // namespace

/// A line in the making, cut where the buffer ends.
class EbosLog::Line {
 public:
  Line() = default;
  explicit Line(const char* level) {
    add("%s", level);
    length +=
        EbosStreamWriter::create_time_string(text + length, sizeof text - static_cast<std::size_t>(length));
  }

  __attribute__((format(printf, 2, 3))) void add(const char* format, ...) {
    va_list args;
    va_start(args, format);
    add(format, args);
    va_end(args);
  }
  __attribute__((format(printf, 2, 0))) void add(const char* format, va_list args) {
    const int room = MAX_LINE - length;
    const int wanted = std::vsnprintf(text + length, static_cast<std::size_t>(room), format, args);
    length += std::clamp(wanted, 0, room - 1);
    if (wanted >= room) text[length - 1] = '\n';
  }
  const char* get_text() const { return text; }
  int get_length() const { return length; }

 private:
  char text[MAX_LINE] = "";
  int length = 0;
};

EbosLog* EbosLog::instance() {
  static EbosLog* const theLog = new EbosLog;
  return theLog;
}

// There is one writer at a time. Failures are reported outside of the lock, as a reporter may log.

int EbosLog::init(const char* file, bool console) {
  return init(nullptr, 0, file, nullptr, 0, console);
}

int EbosLog::init(const char* host, Small port, const char* file, const char* directory, int buffer_size,
                  bool console) {
  const std::string name = file != nullptr ? file : "";
  const bool hasDirectory = directory != nullptr && *directory != '\0';
  auto local = std::make_unique<EbosFileWriter>((hasDirectory ? directory + ("/" + name) : name).c_str());
  {
    const std::scoped_lock lock(logLock);
    if (logWriter != nullptr) return ALREADY_INITIALIZED;
    ignore_broken_pipes();
    if (host != nullptr && *host != '\0') {
      if (!hasDirectory) local.reset();
      auto writer = std::make_unique<EbosNetWriter>(host, port, name.c_str(), std::move(local), buffer_size);
      return writer->is_started() ? install(std::move(writer), nullptr, console) : INIT_FAILED;
    }
    if (local->open() == 0) {
      EbosFileWriter* const opened = local.get();
      return install(std::move(local), opened, console);
    }
  }
  report_once([&] { local->report_failure(); });
  return INIT_FAILED;
}

int EbosLog::install(std::unique_ptr<EbosStreamWriter> writer, EbosFileWriter* file, bool console) {
  logWriter = std::move(writer);
  fileWriter = file;
  logConsole = console;
  isDestroyed = false;
  fileYear = fileMonth = -1;
  if (file != nullptr) find_period();  // before a line is written
  return 0;
}

int EbosLog::destroy() {
  std::shared_ptr<EbosStreamWriter> old;  // ends outside of the lock: its thread may log
  const std::scoped_lock lock(logLock);
  old.swap(logWriter);
  fileWriter = nullptr;
  isDestroyed = true;
  return 0;
}

int EbosLog::set_flags(unsigned char flags) {
  const std::scoped_lock lock(logLock);
  outputFlags = flags;
  return 0;
}

unsigned char EbosLog::get_flags() {
  const std::scoped_lock lock(logLock);
  return outputFlags;
}

int EbosLog::put(const Line& line) {
  std::shared_ptr<EbosStreamWriter> failed;
  bool isUnwritten = false;
  {
    const std::scoped_lock lock(logLock);
    isUnwritten = logWriter == nullptr && !isDestroyed;
    if (logWriter != nullptr && logWriter->print(line.get_text()) != 0) failed = logWriter;
    if (logWriter != nullptr && logConsole) AceReporter::print_static(line.get_text());
  }
  if (isUnwritten) report_once([&] { AceReporter::use_default()->print(line.get_text()); });
  if (failed != nullptr) report_once([&] { failed->report_failure(); });
  return line.get_length();
}

// A line is complete before it is handed on: its level, its event and its text.

int EbosLog::put_level(const char* level, const char* format, va_list args) {
  Line line(level);
  line.add(format, args);
  return put(line);
}

int EbosLog::put_event(const char* level, const char* code, const char* format, va_list args) {
  Line line(level);
  if (const char* known = EbosLogEventHandler::instance()->get_event_description(code); known != nullptr)
    line.add("%s::%s", code, known);
  else if (code != nullptr)
    line.add("%s::%s", EbosLogEventHandler::get_default_description(code), code);
  else
    line.add("%s", EbosLogEventHandler::get_default_description(code));
  if (format != nullptr && *format != '\0') {
    line.add("%s", ": ");
    line.add(format, args);
  } else {
    line.add("%s", "\n");
  }
  return put(line);
}

int EbosLog::printf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Line line;
  line.add(format, args);
  va_end(args);
  return put(line);
}

int EbosLog::iprintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = put_level(INFO, format, args);
  va_end(args);
  return length;
}

int EbosLog::dprintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = put_level(DEBUG_TEXT, format, args);
  va_end(args);
  return length;
}

int EbosLog::wprintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = put_level(WARNING, format, args);
  va_end(args);
  return length;
}

int EbosLog::eprintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = put_level(ERROR, format, args);
  va_end(args);
  return length;
}

int EbosLog::iprintf(unsigned char level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = (get_flags() & level) != 0 ? put_level(INFO, format, args) : 0;
  va_end(args);
  return length;
}

int EbosLog::dprintf(unsigned char level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = (get_flags() & level) != 0 ? put_level(DEBUG_TEXT, format, args) : 0;
  va_end(args);
  return length;
}

int EbosLog::wprintf(unsigned char level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = (get_flags() & level) != 0 ? put_level(WARNING, format, args) : 0;
  va_end(args);
  return length;
}

int EbosLog::eprintf(unsigned char level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = (get_flags() & level) != 0 ? put_level(ERROR, format, args) : 0;
  va_end(args);
  return length;
}

int EbosLog::ev_printf(const char* code, const char* format, ...) {
  const char letter = code != nullptr ? *code : '\0';
  const char* const level = letter == 'i' ? INFO : letter == 'w' ? WARNING : letter == 'e' ? ERROR : nullptr;
  if (level == nullptr) return -1;
  va_list args;
  va_start(args, format);
  const int length = put_event(level, code, format, args);
  va_end(args);
  return length;
}

int EbosLog::ev_iprintf(const char* code, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = put_event(INFO, code, format, args);
  va_end(args);
  return length;
}

int EbosLog::ev_wprintf(const char* code, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = put_event(WARNING, code, format, args);
  va_end(args);
  return length;
}

int EbosLog::ev_eprintf(const char* code, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = put_event(ERROR, code, format, args);
  va_end(args);
  return length;
}
