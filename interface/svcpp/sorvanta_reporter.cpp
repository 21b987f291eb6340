#include "svcpp/sorvanta_reporter.h"

#include "ace/ace_alloc.h"
#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "ace/ace_timer.h"
#include "ace/ace_tracer.h"
#include "ebos/ebos_signal.h"
#include "tera/tera_transform.h"

namespace {

constexpr int CALIBRATION_ROUNDS = 10000;
constexpr int ALLOCATOR_LIMIT = 2000;

/// Calls functions of the host.
class GenReporter : public AceReporter {
 public:
  GenReporter(SorvantaReport* report, SorvantaEventReport* event, int add_time_stamp)
      : AceReporter(add_time_stamp), reportFunc(report), eventFunc(event) {}
  int report_func(const char* text) override { return reportFunc != nullptr ? reportFunc(text) : 0; }
  int event_func(const char* text, const char* code) override {
    return eventFunc != nullptr ? eventFunc(text, code) : report_func(text);
  }

 private:
  SorvantaReport* reportFunc;
  SorvantaEventReport* eventFunc;
};

}  // namespace

int sv_init() {
  static const int result = [] {
    AceTimer::calibrate(CALIBRATION_ROUNDS);
    return ace_alloc_init(ALLOCATOR_LIMIT);
  }();
  return result;
}

int sv_trace_on(const char* name, int value) {
  return AceTracer::set(name, value);
}

int sv_signal_handler() {
  return ebos_signal_handler();
}

int sv_set_resources_path(const char* path) {
  TeraTransform::set_resource_path(path);
  return 0;
}

int sv_make_threadsafe() {
  return 0;
}

int sv_terminate_thread() {
  return 0;
}

SorvantaReporter::SorvantaReporter(SorvantaReport* report, SorvantaEventReport* event) {
  init(report, event);
}

SorvantaReporter::~SorvantaReporter() {
  if (internalStructure != nullptr && AceReporter::use_default() == internalStructure)
    AceReporter::clear_default();
  delete internalStructure;
}

int SorvantaReporter::init(SorvantaReport* report, SorvantaEventReport* event) {
  auto* const fresh = new GenReporter(report, event, 0);
  if (internalStructure != nullptr && AceReporter::use_default() == internalStructure)
    fresh->set_as_default();
  delete internalStructure;
  internalStructure = fresh;
  return 0;
}

int SorvantaReporter::set_as_default() {
  return internalStructure != nullptr ? internalStructure->set_as_default() : -1;
}

int SorvantaReporter::clear_default() {
  return internalStructure != nullptr ? AceReporter::clear_default() : -1;
}

SorvantaContain::SorvantaContain() : internalStructure(new AceAttach) {}

SorvantaContain::~SorvantaContain() {
  delete internalStructure;
}

void* SorvantaContain::alloc(int size) {
  return internalStructure->alloc(size);
}

SorvantaTimer::SorvantaTimer(const char* name, int scope) : internalTimer(AceTimer::get(name, scope)) {
  if (internalTimer == nullptr)
    throw AceException("No name of a timer", "expected at most %d bytes, found %.40s...", AceTimer::MAX_NAME,
                       name != nullptr ? name : "none");
}

void SorvantaTimer::start() {
  internalTimer->start();
}

void SorvantaTimer::stop() {
  internalTimer->stop();
}

void SorvantaTimer::reset() {
  internalTimer->reset();
}

int SorvantaTimer::get_seconds(double* seconds) const {
  if (seconds != nullptr) *seconds = internalTimer->get_sec();
  return internalTimer->get_num_starts();
}
