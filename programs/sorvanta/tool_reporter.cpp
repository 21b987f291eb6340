#include "sorvanta/tool_reporter.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "sorvanta/tool_failure.h"
#include "svcpp/sorvanta_reporter.h"

namespace {

constexpr std::size_t MOST_MESSAGES = 4;
constexpr auto REDRAW = std::chrono::milliseconds(100);
constexpr auto SILENCE = std::chrono::seconds(1);  // a job that ends before shows nothing
constexpr int PROGRESS_MS = 100;
constexpr const char* PROGRESS = "PROGRESS\t";

/// Lines of the kernel's own call chain, and what went well.
constexpr const char* NO_EXPLANATIONS[] = {
    ": ERROR in ",          "uccessfully", "Loading ",    "Created ",
    "Skipping header line", "Header: ",    "Total time ", "Total number of errors corrected"};

bool explains_nothing(const std::string& message) {
  return std::any_of(std::begin(NO_EXPLANATIONS), std::end(NO_EXPLANATIONS),
                     [&](const char* part) { return message.find(part) != std::string::npos; });
}

std::string on_lines(const std::deque<std::string>& messages) {
  std::string text;
  for (const std::string& message : messages) text += (text.empty() ? "" : "\n") + message;
  return text;
}

}  // namespace

ToolReporter& ToolReporter::get() {
  static ToolReporter reporter;
  static const int isDefault = reporter.set_as_default();
  static_cast<void>(isDefault);
  return reporter;
}

void ToolReporter::show_progress() {
  isTerminal = isatty(STDERR_FILENO) != 0;
  if (!isTerminal) return;
  AceReporter::set_progress(1);
  sv_trace_on("TIMER_PROGRESS", PROGRESS_MS);
}

int ToolReporter::report_func(const char* text) {
  const std::scoped_lock lock(reportMutex);
  if (!take_progress(text)) keep(text);
  return 0;
}

int ToolReporter::event_func(const char* text, const char* code) {
  const std::scoped_lock lock(reportMutex);
  const bool isWarning = code != nullptr && code[0] == 'w';
  if (!isWarning || keepsWarnings) {
    keep(text);
    return 0;
  }
  const std::string warning = printable(std::string(text, std::strcspn(text, "\n")));
  if (warning == lastWarning) return 0;
  lastWarning = warning;
  clear_line();
  std::fprintf(stderr, "%s\n", warning.c_str());
  return 0;
}

void ToolReporter::keep(const char* text) {
  std::string message(text);
  while (!message.empty() && std::strchr("\n\r ", message.back()) != nullptr) message.pop_back();
  if (message.empty() || explains_nothing(message)) return;
  std::deque<std::string>& own = messages[std::this_thread::get_id()];
  own.push_back(printable(message));
  if (own.size() > MOST_MESSAGES) own.pop_front();
}

std::string ToolReporter::take_messages() {
  const std::scoped_lock lock(reportMutex);
  std::string all;
  for (const auto& [thread, own] : messages) all += (all.empty() ? "" : "\n") + on_lines(own);
  messages.clear();
  return all;
}

std::string ToolReporter::take_own_messages() {
  const std::scoped_lock lock(reportMutex);
  const auto own = messages.extract(std::this_thread::get_id());
  return own.empty() ? "" : on_lines(own.mapped());
}

// ---------------------------------------------------------------- progress

bool ToolReporter::take_progress(const char* text) {
  if (std::strncmp(text, PROGRESS, std::strlen(PROGRESS)) != 0) return false;
  char marker = 0;
  long number = 0;
  if (std::sscanf(text, "PROGRESS\t%c\t%ld", &marker, &number) != 2) return true;
  if (marker == '<' || marker == '-') {
    const char* const title = std::strrchr(text, '\t') + 1;
    jobTitle.assign(title, std::strcspn(title, "\n"));
    jobTotal = static_cast<double>(number);
    jobDone = 0;
    if (marker == '<') lastDrawn = Clock::now() + SILENCE;
    jobStart = Clock::now();
  }
  if (marker == '~') jobTotal = static_cast<double>(number);
  if (marker == '+') jobDone += static_cast<double>(number);
  if (marker == '=' || marker == '*') jobDone = static_cast<double>(number);
  draw("");
  return true;
}

void ToolReporter::begin(const std::string& title, double total) {
  const std::scoped_lock lock(reportMutex);
  jobTitle = title;
  jobTotal = total;
  jobDone = 0;
  jobStart = Clock::now();
  lastDrawn = jobStart + SILENCE;
}

void ToolReporter::step(double done, const std::string& rate) {
  const std::scoped_lock lock(reportMutex);
  jobDone = done;
  draw(rate);
}

void ToolReporter::end() {
  const std::scoped_lock lock(reportMutex);
  clear_line();
}

void ToolReporter::draw(const std::string& rate) {
  const auto now = Clock::now();
  if (!isTerminal || now < lastDrawn + REDRAW) return;
  lastDrawn = now;
  const std::chrono::duration<double> spent = now - jobStart;
  std::string line = printable(jobTitle, 40);
  if (jobTotal > 0 && jobDone > 0 && jobDone <= jobTotal) {
    const double part = jobDone / jobTotal;
    const int left = static_cast<int>(spent.count() / part * (1 - part));
    char figures[64];
    std::snprintf(figures, sizeof figures, "  %3.0f %%  %d:%02d left", part * 100, left / 60, left % 60);
    line += figures;
  }
  if (!rate.empty()) line += "  " + rate;
  std::fprintf(stderr, "\r\033[K%s", line.c_str());
  std::fflush(stderr);
  isDrawn = true;
}

void ToolReporter::clear_line() {
  if (isDrawn) std::fprintf(stderr, "\r\033[K");
  isDrawn = false;
}
