/// Start of the library, reporters, timers and memory (see sorvanta.h).
#pragma once

#include <memory>

#include "svcpp/sv_types.h"

/// Before anything else: measures the clock and switches the allocator on. Returns 0; the same result when it
/// is called again.
SV_API int sv_init();
/// Sets a trace setting.
SV_API int sv_trace_on(const char* name, int value);
/// Ends the process in good order on SIGINT and SIGTERM.
SV_API int sv_signal_handler();
/// The folder of the rule files of text transforms; copied. Returns 0.
SV_API int sv_set_resources_path(const char* path);
/// Do nothing: threads of a host that use the library register themselves by `AceThreadSafe` (ace_thread.h).
SV_API int sv_make_threadsafe();
SV_API int sv_terminate_thread();

/// Receive a text, or a text and the code of an event. Their result goes back to who reports: in long jobs a
/// negative one is a wish to stop.
using SorvantaReport = int(const char* text);
using SorvantaEventReport = int(const char* text, const char* code);

/// Sends messages of the library to functions of the host. Owns its reporter, which stops being the default
/// one when it goes.
class SV_API SorvantaReporter {
 public:
  SorvantaReporter() = default;
  /// Without `event`, events go to `report`.
  SorvantaReporter(SorvantaReport* report, SorvantaEventReport* event);
  SorvantaReporter(const SorvantaReporter&) = delete;
  SorvantaReporter& operator=(const SorvantaReporter&) = delete;
  ~SorvantaReporter();

  int init(SorvantaReport* report, SorvantaEventReport* event);
  int set_as_default();
  int clear_default();
  AceReporter* get_internal_reporter() const { return internalStructure; }

 private:
  AceReporter* internalStructure = nullptr;
};

/// Memory that the kernel hands out; freed with the handle.
class SV_API SorvantaContain {
 public:
  SorvantaContain();
  SorvantaContain(const SorvantaContain&) = delete;
  SorvantaContain& operator=(const SorvantaContain&) = delete;
  ~SorvantaContain();
  AceAttach* at() { return internalStructure; }
  /// Contents undefined.
  void* alloc(int size);

 private:
  AceAttach* internalStructure;
};

/// A named timer, which all handles of the name share; it lasts as long as the process.
class SV_API SorvantaTimer {
 public:
  SorvantaTimer(const char* name, int scope);
  void start();
  void stop();
  void reset();
  /// Stores the elapsed seconds, unless null. Returns how often it was started.
  int get_seconds(double* seconds) const;

 private:
  AceTimer* internalTimer;
};
