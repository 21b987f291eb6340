#include "ace/ace_reporter.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <ctime>
#include <mutex>

#include "ace/ace_file.h"
#include "ace/ace_thread.h"
#include "ace/ace_time_analysis.h"
#include "ace/ace_timer.h"
#include "ace/ace_tracer.h"

// This file is compiled with -fno-delete-null-pointer-checks, as the whole tree is: a null reporter may be
// called, and `is_null(this)` must not be optimised away.

namespace {

constexpr unsigned PPSET_STRIDE = 16;
constexpr int PPSET_DEFAULT_INTERVAL = 200;  // milliseconds
constexpr double MILLISECONDS = 1000.0;

constinit AceReporter standard_reporter;
constinit NullReporter null_reporter;
constinit AceReporter* default_reporter = &standard_reporter;

// Relaxed atomics: set up before worker threads start, counted by all of them.
constinit std::atomic<int> do_progress = 1;
constinit std::atomic<int> num_conf_opt_limit = -1;
constinit std::atomic<int> num_conf_opts = 0;
constinit thread_local unsigned num_ppset_calls = 0;  // a shared one would pass from core to core

/// A message under construction; what does not fit is cut.
class Message {
 public:
  void add(const char* text) {
    const std::size_t length = std::min(std::strlen(text), room());
    std::memcpy(text_ + length_, text, length);
    grow(length);
  }

  __attribute__((format(printf, 2, 0))) void addf(const char* format, va_list args) {
    const int length = std::vsnprintf(text_ + length_, room() + 1, format, args);
    grow(length < 0 ? 0 : std::min(static_cast<std::size_t>(length), room()));
  }

  void add_time_stamp() {
    int sec = 0;
    int usec = 0;
    AceTimer::get_absolute_time(&sec, &usec);
    const long seconds = sec;
    std::tm local{};
    ace_localtime(&seconds, &local);
    grow(std::strftime(text_ + length_, room() + 1, "INFO [%d/%m/%y %H:%M:%S", &local));
    grow(static_cast<std::size_t>(std::snprintf(text_ + length_, room() + 1, ".%03d] ", usec / 1000)));
  }

  const char* text() const { return text_; }

 private:
  std::size_t room() const { return AceReporter::MAX_MESSAGE - 1 - length_; }
  void grow(std::size_t length) {
    length_ += length;
    text_[length_] = '\0';
  }

  std::size_t length_ = 0;
  char text_[AceReporter::MAX_MESSAGE] = "";
};

/// Whether a progress line is due, for `ppset`. A thread that finds another one deciding goes on.
bool is_progress_due() {
  static constinit std::mutex mutex;
  const std::unique_lock lock(mutex, std::try_to_lock);
  if (!lock.owns_lock()) return false;

  static AceTimer* timer = AceTimer::get_started("PROGRESS", 0);
  static int interval = 0;
  static const int announced = AceTracer::announce("TIMER_PROGRESS", &interval, __FILE__, __LINE__);
  static_cast<void>(announced);

  if (__atomic_load_n(&interval, __ATOMIC_RELAXED) < 1) return false;
  if (__atomic_load_n(&interval, __ATOMIC_RELAXED) == 1)
    __atomic_store_n(&interval, PPSET_DEFAULT_INTERVAL, __ATOMIC_RELAXED);
  if (timer->get_sec() * MILLISECONDS <= __atomic_load_n(&interval, __ATOMIC_RELAXED)) return false;
  timer->reset();
  timer->start();
  return true;
}

}  // namespace

// ---------------------------------------------------------------- delivery
// A reporter is what it does with a finished text: these write it, or drop it.

int AceReporter::report_func(const char* text) {
  const AceUncancellable uncancellable;
  const int rc = std::printf("%s", text);
  std::fflush(stdout);
  return rc;
}

int AceReporter::event_func(const char* text, const char*) {
  return report_func(text);
}

int NullReporter::report_func(const char*) {
  return 0;
}
int NullReporter::event_func(const char*, const char*) {
  return 0;
}

FileReporter::FileReporter(const char* name) : fileStream(AceFile::open(name, "w")) {}

FileReporter::~FileReporter() {
  if (fileStream != nullptr) std::fclose(fileStream);
}

int FileReporter::report_func(const char* text) {
  if (fileStream != nullptr) std::fputs(text, fileStream);
  return 0;
}

int FileReporter::event_func(const char* text, const char*) {
  return report_func(text);
}

// ---------------------------------------------------------------- formatting
// Every message is formatted here, in memory of a fixed size, before its reporter gets it.

int AceReporter::vprintf(const char* lead, const char* format, va_list args, const char* code, bool no_time) {
  if (is_null(this)) return 0;
  Message message;
  if (addTimeStamp != 0 && !no_time) message.add_time_stamp();
  message.add(lead);
  message.addf(format, args);
  return code != nullptr ? event_func(message.text(), code) : report_func(message.text());
}

int AceReporter::printf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int rc = vprintf("", format, args, nullptr, false);
  va_end(args);
  return rc;
}

int AceReporter::printf_no_time(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int rc = vprintf("", format, args, nullptr, true);
  va_end(args);
  return rc;
}

int AceReporter::ev_iprintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int rc = vprintf("", format, args, INFO_CODE, true);
  va_end(args);
  return rc;
}

int AceReporter::ev_wprintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int rc = vprintf("", format, args, WARNING_CODE, true);
  va_end(args);
  return rc;
}

int AceReporter::print(const char* text) {
  if (is_null(this)) return 0;
  if (addTimeStamp == 0) return report_func(text);
  Message message;
  message.add_time_stamp();
  message.add(text);
  return report_func(message.text());
}

int AceReporter::print_conf_opt(const char* format, ...) {
  const int limit = num_conf_opt_limit.load(std::memory_order_relaxed);
  if (limit >= 0 && num_conf_opts.load(std::memory_order_relaxed) >= limit) return 0;
  va_list args;
  va_start(args, format);
  const int rc = vprintf("[CONFOPT] ", format, args, nullptr, false);
  va_end(args);
  num_conf_opts.fetch_add(1, std::memory_order_relaxed);
  return rc;
}

int AceReporter::print_static(const char* text) {
  const AceUncancellable uncancellable;
  const int rc = std::printf("%s", text);
  std::fflush(stdout);
  return rc;
}

// ---------------------------------------------------------------- progress
// A line of tabs for whoever draws a bar; sections are also those of time analysis.

int AceReporter::pstart(Huge n, const char* text) {
  if (is_progress() == 0) return 0;
  time_analysis_open(text, 1, 0, 0);
  return printf_no_time("PROGRESS\t<\t%ld\t%s", n, text);
}

int AceReporter::psect(Huge n, const char* text) {
  if (is_progress() == 0) return 0;
  time_analysis_open(text, 1, 0, 0);
  return printf_no_time("PROGRESS\t-\t%ld\t%s", n, text);
}

int AceReporter::pstop(const char* text) {
  if (is_progress() == 0) return 0;
  time_analysis_close(0, 0);
  return printf_no_time("PROGRESS\t>\t-1\t%s", text);
}

int AceReporter::pscale(Huge n, const char* text) {
  return is_progress() != 0 ? printf_no_time("PROGRESS\t~\t%ld\t%s", n, text) : 0;
}

int AceReporter::pstep(Huge n, const char* text) {
  return is_progress() != 0 ? printf_no_time("PROGRESS\t+\t%ld\t%s", n, text) : 0;
}

int AceReporter::pset(Huge n, const char* text) {
  return is_progress() != 0 ? printf_no_time("PROGRESS\t=\t%ld\t%s", n, text) : 0;
}

int AceReporter::ppset(Huge n, const char* text) {
  if (++num_ppset_calls % PPSET_STRIDE != 0) return 0;
  ace_check_stop();
  if (is_progress() == 0 || !is_progress_due()) return 0;
  return pset(n, text);
}

int AceReporter::preset(Huge n, const char* text) {
  return is_progress() != 0 ? printf_no_time("PROGRESS\t*\t%ld\t%s", n, text) : 0;
}

// ---------------------------------------------------------------- process-wide settings
// Hosts set them up before threads start: the default reporter is a plain pointer.

int AceReporter::set_as_default() {
  default_reporter = this;
  return 0;
}

int AceReporter::clear_default() {
  default_reporter = nullptr;
  return 0;
}

AceReporter* AceReporter::use_default() {
  return default_reporter != nullptr ? default_reporter : null();
}

AceReporter* AceReporter::null() {
  return &null_reporter;
}

int AceReporter::set_progress(int on) {
  do_progress.store(on, std::memory_order_relaxed);
  return on;
}

int AceReporter::is_progress() {
  return do_progress.load(std::memory_order_relaxed);
}

int AceReporter::set_num_conf_opt_limit(int limit) {
  num_conf_opt_limit.store(limit, std::memory_order_relaxed);
  return limit;
}

int AceReporter::get_num_conf_opt_limit() {
  return num_conf_opt_limit.load(std::memory_order_relaxed);
}
