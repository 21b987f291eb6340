#include "jie/jie_wrap.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"

namespace {

/// Lasts as long as the process: Java may forget objects until its very end.
struct Living {
  std::mutex lock;
  std::unordered_map<const JieWrap*, VInt> serials;
  VInt lastSerial = 0;
};

Living& living() {
  static Living* const theLiving = new Living;
  return *theLiving;
}

constexpr int AVERAGE_OF = 16;  // checks
constexpr int MAX_WARNINGS = 10;

}  // namespace

JieWrap::JieWrap(bool is_made) : delRef(is_made) {
  const std::scoped_lock lock(living().lock);
  serialNumber = ++living().lastSerial;
  living().serials.emplace(this, serialNumber);
}

JieWrap::~JieWrap() {
  const std::scoped_lock lock(living().lock);
  for (JieWrap* parent : parentObjs) std::erase(parent->childObjs, this);
  living().serials.erase(this);
}

void JieWrap::ref() {
  const std::scoped_lock lock(living().lock);
  if (refCount <= 0) throw AceException("Cannot reference a deleted Jie object!");
  ++refCount;
}

void JieWrap::unref(int now) {
  {
    const std::scoped_lock lock(living().lock);
    if (refCount <= 0) throw AceException("Cannot unreference a deleted Jie object!");
    if (--refCount > 0) return;
  }
  if (now != 0) {
    finish();
  } else {
    JieGarbageCollector::instance().add(this);
  }
}

/// The object goes before those that it needs.
void JieWrap::finish() {
  clean(0);
  const std::vector<JieWrap*> parents = parentObjs;
  delete this;
  for (JieWrap* parent : parents) parent->unref(1);
}

void JieWrap::set_parent(JieWrap* parent) {
  if (parent == nullptr || parent == this) return;
  parent->ref();
  const std::scoped_lock lock(living().lock);
  parentObjs.push_back(parent);
  parent->childObjs.push_back(this);
}

void JieWrap::end_owned() {
  std::vector<JieWrap*> parts;
  {
    const std::scoped_lock lock(living().lock);
    for (JieWrap* child : childObjs)
      if (!child->delRef) parts.push_back(child);
  }
  for (JieWrap* part : parts) {
    part->end_owned();
    part->clean(1);
  }
}

void JieWrap::share_parents(const JieWrap* other) {
  for (JieWrap* parent : std::vector(other->parentObjs)) set_parent(parent);
}

JieWrap* JieWrap::find(VInt address, VInt serial) {
  auto* const wrap = reinterpret_cast<JieWrap*>(static_cast<std::intptr_t>(address));
  const std::scoped_lock lock(living().lock);
  const auto found = living().serials.find(wrap);
  return found != living().serials.end() && found->second == serial ? wrap : nullptr;
}

int JieWrap::count() {
  const std::scoped_lock lock(living().lock);
  return static_cast<int>(living().serials.size());
}

void JieObjectWrap::clean(int keep) {
  void* const object = std::exchange(kernelObject, nullptr);
  if (object != nullptr && keep == 0 && is_delete_ref() && destroyFunc != nullptr) destroyFunc(object);
}

// Garbage.

JieGarbageCollector& JieGarbageCollector::instance() {
  static JieGarbageCollector* const theCollector = new JieGarbageCollector;
  return *theCollector;
}

void JieGarbageCollector::add(JieWrap* wrap) {
  const std::scoped_lock lock(living().lock);
  waiting.push_back(wrap);
}

int JieGarbageCollector::clean() {
  std::vector<JieWrap*> condemned;
  {
    const std::scoped_lock lock(living().lock);
    condemned.swap(waiting);
  }
  for (JieWrap* wrap : condemned) wrap->finish();
  JieSnapShot::instance().check_leaks(JieWrap::count());
  return static_cast<int>(condemned.size());
}

int JieGarbageCollector::count() const {
  const std::scoped_lock lock(living().lock);
  return static_cast<int>(waiting.size());
}

// Leaks.

JieSnapShot& JieSnapShot::instance() {
  static JieSnapShot* const theShot = new JieSnapShot;
  return *theShot;
}

bool JieSnapShot::warn(const char* format, int first, int second) {
  const int limit = AceTracer::get_flag("MAX_JIE_LEAK_WARNINGS");
  if (AceTracer::get_flag("JIE_NO_LEAK_WARNING") > 0) return false;
  if (numWarnings >= (limit > 0 ? limit : MAX_WARNINGS)) return false;
  ++numWarnings;
  char text[AceReporter::MAX_MESSAGE];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::snprintf(text, sizeof text, format, first, second);
#pragma GCC diagnostic pop
  AceReporter::use_default()->ev_wprintf("%s\n", text);
  return true;
}

int JieSnapShot::check_leaks(int now) {
  static std::mutex checkLock;
  const std::scoped_lock lock(checkLock);
  if (AceTracer::get_flag("CHECK_SCRIPT_MEMLEAK") <= 0) return 0;
  int warned = 0;
  if (firstVal < 0) firstVal = lastVal = preLastVal = maxVal = prevVal = curAvg = maxAvg = now;
  if (now < prevVal) {  // Java has collected: what is left is what counts
    ++numGc;
    preLastVal = lastVal;
    lastVal = now;
    if (lastVal > preLastVal && lastVal > firstVal)
      warned += warn(
          "Potential Leak: Gained %d scripting objects since beginning and %d since last (assumed) garbage "
          "collection.",
          lastVal - firstVal, lastVal - preLastVal);
  }
  if (now > maxVal) {
    maxVal = now;
    warned += warn("Potential Leak: New maximum of %d scripting objects reached", maxVal, 0);
  }
  curAvg = (curAvg * (AVERAGE_OF - 1) + now) / AVERAGE_OF;
  if (curAvg > maxAvg) {
    maxAvg = curAvg;
    warned += warn("Average value of scripting objects increased to %d scripting objects", maxAvg, 0);
  }
  prevVal = now;
  return warned;
}
