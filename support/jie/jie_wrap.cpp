#include "jie/jie_wrap.h"

#include <algorithm>
#include <cstdio>
#include <exception>
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
  std::unordered_multimap<const void*, JieWrap*> wrappers;  // by kernel object
  VInt lastSerial = 0;
};

Living& living() {
  static Living* const theLiving = new Living;
  return *theLiving;
}

thread_local int callDepth = 0;
thread_local std::vector<JieWrap*> givenUp;  // within calls of this thread

constexpr int AVERAGE_OF = 16;  // checks
constexpr int MAX_WARNINGS = 10;

}  // namespace

struct JieWrap::Remains {
  void* object;
  void (*destroy)(void*);
};

JieWrap::JieWrap(void* object, const JieClass* type, bool is_made)
    : kernelObject(object), objectClass(type), delRef(is_made) {
  const std::scoped_lock lock(living().lock);
  serialNumber = ++living().lastSerial;
  living().serials.emplace(this, serialNumber);
  living().wrappers.emplace(object, this);
}

void* JieWrap::unwrap_as(const JieClass* type) const {
  void* part = kernelObject;
  const JieClass* known = objectClass;
  for (; part != nullptr && known != nullptr && known != type; known = known->base)
    if (known->to_base != nullptr) part = known->to_base(part);
  return known != nullptr ? part : nullptr;
}

/// With the lock, as are `group` and `end_parts`.
void* JieWrap::detach() {
  const auto [first, last] = living().wrappers.equal_range(kernelObject);
  const auto own = std::find_if(first, last, [this](const auto& known) { return known.second == this; });
  if (own != last) living().wrappers.erase(own);
  return std::exchange(kernelObject, nullptr);
}

void JieWrap::give_away() {
  const std::scoped_lock lock(living().lock);
  detach();
}

// References.

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
  if (now == 0) {
    JieGarbageCollector::instance().add(this);
  } else if (callDepth > 1) {
    givenUp.push_back(this);
  } else {
    finish();
  }
}

void JieWrap::forget(int now) {
  {
    const std::scoped_lock lock(living().lock);
    if (!std::exchange(isKnownToJava, false)) return;
  }
  unref(now);
}

/// The object goes before those that it needs.
void JieWrap::finish() {
  void* object = nullptr;
  {
    const std::scoped_lock lock(living().lock);
    object = detach();
    for (JieWrap* parent : parentObjs) parent->childObjs.erase(this);
    living().serials.erase(this);
  }
  if (object != nullptr && delRef && objectClass->destroy != nullptr) objectClass->destroy(object);
  const std::vector<JieWrap*> parents = std::move(parentObjs);
  delete this;
  for (JieWrap* parent : parents) parent->unref(1);
}

void JieWrap::release(VInt address, VInt serial) {
  auto* const wrap = reinterpret_cast<JieWrap*>(static_cast<std::intptr_t>(address));
  {
    const std::scoped_lock lock(living().lock);
    const auto found = living().serials.find(wrap);
    if (found == living().serials.end() || found->second != serial) return;
  }
  wrap->forget(0);
}

JieCall::JieCall() {
  ++callDepth;
}

JieCall::~JieCall() {
  while (callDepth == 1 && !givenUp.empty()) {
    JieWrap* const wrap = givenUp.back();
    givenUp.pop_back();
    try {
      wrap->finish();
    } catch (const std::exception& exception) {
      AceReporter::print_static(exception.what());  // nobody called
    }
  }
  --callDepth;
}

// Relations.

/// Whether it is or needs another one, over however many.
bool JieWrap::ends_with(const JieWrap* needed) const {
  return this == needed || std::any_of(parentObjs.begin(), parentObjs.end(),
                                       [needed](const JieWrap* parent) { return parent->ends_with(needed); });
}

void JieWrap::set_parent(JieWrap* parent) {
  if (parent == nullptr) return;
  {
    const std::scoped_lock lock(living().lock);
    if (parent->ends_with(this)) return;  // never in a circle
    if (std::find(parentObjs.begin(), parentObjs.end(), parent) != parentObjs.end()) return;
  }
  parent->ref();
  const std::scoped_lock lock(living().lock);
  parentObjs.push_back(parent);
  parent->childObjs.insert(this);
}

void JieWrap::share_parents(const JieWrap* other) {
  for (JieWrap* parent : std::vector(other->parentObjs)) set_parent(parent);
}

/// All wrappers of the same kernel object.
JieWrap::Group JieWrap::group() const {
  Group found;
  const auto [first, last] = living().wrappers.equal_range(kernelObject);
  for (auto known = first; known != last; ++known)
    if (known->second->objectClass == objectClass) found.push_back(known->second);
  return found;
}

void JieWrap::end_parts(const Group& owners, std::vector<Remains>* ended) {
  for (const JieWrap* owner : owners)
    for (JieWrap* child : std::vector(owner->childObjs.begin(), owner->childObjs.end())) {
      if (child->kernelObject == nullptr || std::find(owners.begin(), owners.end(), child) != owners.end())
        continue;
      std::vector<Remains> own;
      const Group parts = child->group();
      for (JieWrap* part : parts) {
        void* const object = part->detach();
        if (part->delRef) own.push_back({object, part->objectClass->destroy});
      }
      end_parts(parts, ended);
      ended->insert(ended->end(), own.begin(), own.end());
    }
}

void JieWrap::end_owned() {
  std::vector<Remains> ended;
  {
    const std::scoped_lock lock(living().lock);
    if (kernelObject != nullptr) end_parts(group(), &ended);
  }
  for (const Remains& remains : ended)
    if (remains.destroy != nullptr) remains.destroy(remains.object);
}

JieWrap* JieWrap::holder(const void* object, const JieClass* type) {
  const std::scoped_lock lock(living().lock);
  const auto [first, last] = living().wrappers.equal_range(object);
  const auto found = std::find_if(first, last, [type](const auto& known) {
    return known.second->delRef && known.second->refCount > 0 && known.second->unwrap_as(type) != nullptr;
  });
  return found != last ? found->second : nullptr;
}

int JieWrap::count() {
  const std::scoped_lock lock(living().lock);
  return static_cast<int>(living().serials.size());
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
