#include "jie/jie_wrap.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"
#include "seam/seam_thread.h"

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

constexpr const char* IN_CHANGE = "Another call changes the object";
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

/// With the lock, as are `group` and `collect_parts`.
void* JieWrap::detach() {
  const auto [first, last] = living().wrappers.equal_range(kernelObject);
  const auto own = std::find_if(first, last, [this](const auto& known) { return known.second == this; });
  if (own != last) living().wrappers.erase(own);
  return std::exchange(kernelObject, nullptr);
}

void JieWrap::end() {
  void* object = nullptr;
  {
    const std::scoped_lock lock(living().lock);
    object = detach();
  }
  if (object != nullptr && delRef && objectClass->destroy != nullptr) objectClass->destroy(object);
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
  } else if (JieCall::Thread* const thread = JieCall::current(); thread->depth > 0) {
    thread->givenUp.push_back(this);
  } else {
    finish_unpinned();
  }
}

void JieWrap::forget(int now) {
  {
    const std::scoped_lock lock(living().lock);
    if (!std::exchange(isKnownToJava, false)) return;
  }
  unref(now);
}

void JieWrap::finish_unpinned() {
  bool isPinned = false;
  {
    const std::scoped_lock lock(living().lock);
    JieCall::pass_barrier();
    isPinned = JieCall::is_pinned(this, nullptr);
  }
  if (isPinned)
    JieGarbageCollector::instance().add_pinned(this);
  else
    finish();
}

/// The object goes before those that it needs.
void JieWrap::finish() {
  end();
  {
    const std::scoped_lock lock(living().lock);
    for (JieWrap* parent : parentObjs) parent->childObjs.erase(this);
    living().serials.erase(this);
  }
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

// Calls.

/// Gives the notes of a thread to the next one that comes.
struct JieCall::Registration {
  explicit Registration(Thread** known) : place(known) {
    const std::scoped_lock lock(living().lock);
    std::vector<Thread*>& all = all_threads();
    const auto left = std::find_if(all.begin(), all.end(), [](const Thread* one) { return one->depth < 0; });
    *place = left != all.end() ? *left : all.emplace_back(new Thread);
    (*place)->depth = 0;
  }
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;
  ~Registration() {
    const std::scoped_lock lock(living().lock);
    std::exchange(*place, nullptr)->isLeft = true;
  }
  Thread** place;
};

/// With the lock. They last as long as the process.
std::vector<JieCall::Thread*>& JieCall::all_threads() {
  static auto* const threads = new std::vector<Thread*>;
  return *threads;
}

JieCall::Thread* JieCall::current() {
  thread_local Thread* known = nullptr;
  if (known == nullptr) {
    seam_register_thread();
    thread_local const Registration registration(&known);
  }
  return known;
}

namespace {

long membarrier(int command) {
  return syscall(SYS_membarrier, command, 0, 0);
}

}  // namespace

bool JieCall::passesBarriers = false;

void JieCall::set_up() {
  passesBarriers = membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED) == 0;
}

/// With the lock: what was given up before is so for all threads, and what they noted before is visible.
void JieCall::pass_barrier() {
  static std::atomic<unsigned> passed;
  ++passed;  // a barrier that the thread sanitizer knows, unlike a fence
  if (passesBarriers && all_threads().size() > 1) membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED);
}

/// Whether any call uses it but that one. With the lock. Notes are a stack: there is none behind a null.
bool JieCall::is_pinned(const JieWrap* wrap, const JieCall* but) {
  return std::any_of(all_threads().begin(), all_threads().end(), [&](const Thread* user) {
    const std::size_t end = but != nullptr && user == but->thread ? but->firstPin : MAX_PINS;
    for (std::size_t i = 0; i < end; ++i)
      if (const JieWrap* const pinned = user->pins[i].load(); pinned == nullptr || pinned == wrap)
        return pinned == wrap;
    return false;
  });
}

JieCall::JieCall() : thread(current()), firstPin(thread->numPins) {
  ++thread->depth;
}

JieCall::~JieCall() {
  if (changedWrap != nullptr) changedWrap->end_change();
  while (thread->numPins > firstPin) unpin();
  if (thread->depth == 1 && (!thread->givenUp.empty() || JieGarbageCollector::instance().has_pinned()))
    finish_given_up();
  --thread->depth;
}

void JieCall::refuse() {
  throw AceException("Too many calls of Java within each other");
}

JieWrap* JieCall::find_pinned(const void* object, const JieClass* type) const {
  for (std::size_t i = firstPin; i < thread->numPins; ++i)
    if (JieWrap* const wrap = thread->pins[i].load(); wrap->unwrap_as(type) == object) return wrap;
  return nullptr;
}

void JieCall::finish_given_up() {
  try {
    while (!thread->givenUp.empty()) {
      JieWrap* const wrap = thread->givenUp.back();
      thread->givenUp.pop_back();
      wrap->finish_unpinned();
    }
    if (JieGarbageCollector::instance().has_pinned()) JieGarbageCollector::instance().clean();
  } catch (const std::exception& exception) {
    AceReporter::print_static(exception.what());  // nobody called
  }
}

// Relations.

/// Whether it is or needs another one, over however many.
bool JieWrap::ends_with(const JieWrap* needed) const {
  return this == needed || std::any_of(parentObjs.begin(), parentObjs.end(),
                                       [needed](const JieWrap* parent) { return parent->ends_with(needed); });
}

/// With the lock. What is given up has no references any more, and may wait for the end of this very call.
bool JieWrap::add_parent(JieWrap* parent) {
  if (parent->refCount <= 0) return false;
  if (parent->ends_with(this)) return true;  // never in a circle
  if (std::find(parentObjs.begin(), parentObjs.end(), parent) != parentObjs.end()) return true;
  parentObjs.push_back(parent);
  ++parent->refCount;
  parent->childObjs.insert(this);
  return true;
}

bool JieWrap::set_parent(JieWrap* parent) {
  const std::scoped_lock lock(living().lock);
  return add_parent(parent);
}

void JieWrap::set_holder(const void* object, const JieClass* type) {
  const std::scoped_lock lock(living().lock);
  if (JieWrap* const parent = holder(object, type)) add_parent(parent);
}

bool JieWrap::share_parents(const JieWrap* other) {
  const std::scoped_lock lock(living().lock);
  return std::all_of(other->parentObjs.begin(), other->parentObjs.end(),
                     [this](JieWrap* parent) { return add_parent(parent); });
}

/// All wrappers of the same kernel object.
JieWrap::Group JieWrap::group() const {
  Group found;
  const auto [first, last] = living().wrappers.equal_range(kernelObject);
  for (auto known = first; known != last; ++known)
    if (known->second->objectClass == objectClass) found.push_back(known->second);
  return found;
}

/// What needs an owner in front of the owner.
void JieWrap::collect_parts(const Group& owners, Group* parts, std::unordered_set<const JieWrap*>* seen) {
  seen->insert(owners.begin(), owners.end());
  for (const JieWrap* owner : owners)
    for (const JieWrap* child : owner->childObjs) {
      if (child->kernelObject == nullptr || seen->count(child) > 0) continue;
      const Group same = child->group();
      collect_parts(same, parts, seen);
      parts->insert(parts->end(), same.begin(), same.end());
    }
}

/// Of all wrappers of the object. With the lock.
void JieWrap::mark(bool is_changing) {
  isChanging = is_changing;
  for (JieWrap* same : group()) same->isChanging = is_changing;
}

void JieWrap::end_change() {
  const std::scoped_lock lock(living().lock);
  mark(false);
}

void JieWrap::end_owned(const JieCall& call, JieCall* changer) {
  std::vector<Remains> ended;
  {
    const std::scoped_lock lock(living().lock);
    if (kernelObject == nullptr) return;
    Group parts;
    std::unordered_set<const JieWrap*> seen;
    collect_parts(group(), &parts, &seen);
    Group used = parts;
    if (changer != nullptr) {
      if (isChanging) throw AceException(IN_CHANGE);
      mark(true);
      const Group owners = group();
      used.insert(used.end(), owners.begin(), owners.end());
    }
    if (!used.empty()) JieCall::pass_barrier();
    if (std::any_of(used.begin(), used.end(),
                    [&call](const JieWrap* one) { return JieCall::is_pinned(one, &call); })) {
      if (changer != nullptr) mark(false);
      throw AceException("Another call uses what would end");
    }
    if (changer != nullptr) changer->changedWrap = this;
    for (JieWrap* part : parts) {
      void* const object = part->detach();
      if (part->delRef) ended.push_back({object, part->objectClass->destroy});
    }
  }
  for (const Remains& remains : ended)
    if (remains.destroy != nullptr) remains.destroy(remains.object);
}

/// The wrapper that a kernel object goes with; null for none. With the lock.
JieWrap* JieWrap::holder(const void* object, const JieClass* type) {
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

void JieGarbageCollector::add_pinned(JieWrap* wrap) {
  add(wrap);
  ++numPinned;
}

int JieGarbageCollector::clean() {
  std::vector<JieWrap*> condemned;
  {
    const std::scoped_lock lock(living().lock);
    condemned.swap(waiting);
    numPinned = 0;
  }
  for (JieWrap* wrap : condemned) wrap->finish_unpinned();
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
