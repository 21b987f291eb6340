/// A reporter that keeps what it is given, by any thread; read it when the threads have ended, or by `all`.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"

namespace support {

class RecordingReporter : public AceReporter {
 public:
  using AceReporter::AceReporter;
  /// Is not the default of the tests that follow.
  ~RecordingReporter() override {
    if (use_default() == this) clear_default();
  }

  int report_func(const char* text) override {
    const std::scoped_lock lock(mutex);
    messages.emplace_back(text);
    return 1;
  }
  int event_func(const char* text, const char* code) override {
    const std::scoped_lock lock(mutex);
    events.emplace_back(std::string(code) + " " + text);
    return 2;
  }

  /// Everything reported, events with their codes in front.
  std::string all() const {
    const std::scoped_lock lock(mutex);
    std::string text;
    for (const auto& message : messages) text += message;
    for (const auto& event : events) text += event;
    return text;
  }

  std::vector<std::string> messages;
  std::vector<std::string> events;

 private:
  mutable std::mutex mutex;
};

/// Without messages on the default reporter.
struct QuietReports {
  QuietReports() { AceReporter::clear_default(); }
  QuietReports(const QuietReports&) = delete;
  QuietReports& operator=(const QuietReports&) = delete;
  ~QuietReports() {
    static AceReporter standard;
    standard.set_as_default();
  }
};

}  // namespace support
