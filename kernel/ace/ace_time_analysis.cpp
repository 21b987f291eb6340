#include "ace/ace_time_analysis.h"

#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "ace/ace_mem_point.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"

namespace {

constexpr int NUM_SCOPES = 2;
constexpr short OPEN_POINT = 1;
constexpr short CLOSE_POINT = -1;
constexpr short NOTE_POINT = 2;
constexpr std::size_t NOTE_SIZE = 100;
constexpr std::size_t MAX_CHAINS = AceMemPoint::MAX_NEXT;

/// What becomes an `AceMemPoint` when it is fetched.
struct Point {
  Huge pos;
  int level;
  int value;
  short type;
  bool isCopy;
  const char* name;  // static, or null; unused when the text is copied
  std::string copy;

  const char* text() const { return isCopy ? copy.c_str() : name; }
};
using Points = std::vector<Point>;

/// The points of one thread in thread mode. Its lock is contended only while points are joined or fetched.
struct ThreadChain {
  std::mutex mutex;
  Points points[NUM_SCOPES];
  bool isListed = false;  // it holds points, and has its place in `Analysis::listed`
  bool isOwned = false;   // by a running thread; guarded by the analysis
};

/// Lock order: the analysis, then one chain.
struct Analysis {
  std::mutex mutex;
  Points joined[NUM_SCOPES];
  AceMemPoint* fetched[NUM_SCOPES] = {};
  std::vector<std::unique_ptr<ThreadChain>> chains;  // at most MAX_CHAINS; reused, never freed
  std::vector<ThreadChain*> listed;                  // in the order of their first points
};

constinit std::atomic<int> scopeSwitch[NUM_SCOPES] = {};
constinit std::atomic<int> numThreads = 0;  // entries into thread mode that have not been left
constinit std::atomic<int> restrictedSwitch = 0;

/// Lives until the process ends, and takes no memory, for it is used where nothing may be thrown.
Analysis& analysis() {
  alignas(Analysis) static std::byte place[sizeof(Analysis)];
  static Analysis* const theAnalysis = new (place) Analysis;
  return *theAnalysis;
}

/// The chain that the calling thread records into, given back when the thread ends. Plain variables, because
/// points may still be recorded after the guard is gone (by static destructors); they are then joined.
thread_local ThreadChain* ownChain = nullptr;
thread_local bool isEnding = false;

struct ChainGuard {
  ~ChainGuard() {
    isEnding = true;
    if (ownChain == nullptr) return;
    const std::scoped_lock lock(analysis().mutex);
    ownChain->isOwned = false;
    ownChain = nullptr;
  }
};

/// The calling thread's chain; null when there are too many, or the thread is ending.
ThreadChain* own_chain() {
  if (ownChain != nullptr || isEnding) return ownChain;
  thread_local const ChainGuard guard;
  Analysis& all = analysis();
  const std::scoped_lock lock(all.mutex);
  const auto idle = std::find_if(all.chains.begin(), all.chains.end(), [](const auto& chain) {
    const std::scoped_lock chainLock(chain->mutex);
    return !chain->isOwned && !chain->isListed;
  });
  if (idle != all.chains.end()) {
    ownChain = idle->get();
  } else if (all.chains.size() < MAX_CHAINS) {
    all.listed.reserve(all.chains.size() + 1);  // so that listing never fails
    ownChain = all.chains.emplace_back(std::make_unique<ThreadChain>()).get();
  }
  if (ownChain != nullptr) ownChain->isOwned = true;
  return ownChain;
}

/// Leaves out the points for which there is no memory: threads must be able to leave thread mode.
void append(Points* points, Points* more) {
  try {
    points->insert(points->end(), std::make_move_iterator(more->begin()),
                   std::make_move_iterator(more->end()));
  } catch (const std::bad_alloc&) {
  }
  more->clear();
}

/// Moves the points of all chains behind the joined ones. The caller holds the analysis's lock.
void join_chains(Analysis* all) {
  for (ThreadChain* chain : all->listed) {
    const std::scoped_lock lock(chain->mutex);
    for (int scope = 0; scope < NUM_SCOPES; ++scope) append(&all->joined[scope], &chain->points[scope]);
    chain->isListed = false;
  }
  all->listed.clear();
}

void add_joined(int index, Point point) {
  Analysis& all = analysis();
  const std::scoped_lock lock(all.mutex);
  all.joined[index].push_back(std::move(point));
}

void add_to_chain(ThreadChain* chain, int index, Point point) {
  {
    const std::scoped_lock lock(chain->mutex);
    if (chain->isListed) {
      chain->points[index].push_back(std::move(point));
      return;
    }
  }
  Analysis& all = analysis();
  const std::scoped_lock lock(all.mutex, chain->mutex);
  chain->points[index].push_back(std::move(point));
  all.listed.push_back(chain);
  chain->isListed = true;
}

int index_of(int scope) {
  return scope != 0 ? 1 : 0;
}

bool is_on(int index) {
  return scopeSwitch[index].load(std::memory_order_relaxed) != 0;
}

Huge present_time(int index) {
  if (index != 0) return static_cast<Huge>(std::clock());  // CLOCKS_PER_SEC is a million
  timeval now = {};
  gettimeofday(&now, nullptr);
  return now.tv_sec * 1000000L + now.tv_usec;
}

void print_point(const char* text, short type) {
  const char* word = type == OPEN_POINT ? "open" : type == CLOSE_POINT ? "close" : "message";
  AceReporter* rep = AceReporter::use_default();
  if (text != nullptr)
    rep->printf_no_time("<time_analysis_message message=\"%s\" type=%s />\n", text, word);
  else
    rep->printf_no_time("<time_analysis_message message=nullptr type=%s />\n", word);
}

/// Whether points are printed. Announced by whoever switches a scope on: recording happens in threads that
/// are about to enter or leave their allocator, and must not allocate kernel memory.
bool is_printed() {
  static const AceTraceFlag printed("PRINT_TIME_ANALYSIS", __FILE__, __LINE__);
  return printed.get() != 0;
}

int add_point(Huge pos, const char* text, bool is_copy, int index, short type, int level, int value) {
  if (is_printed()) print_point(text, type);
  is_copy = is_copy && text != nullptr;
  Point point{pos, level, value, type, is_copy, is_copy ? nullptr : text, is_copy ? text : ""};
  ThreadChain* chain = numThreads.load(std::memory_order_acquire) > 0 ? own_chain() : nullptr;
  if (chain != nullptr)
    add_to_chain(chain, index, std::move(point));
  else
    add_joined(index, std::move(point));
  return 0;
}

int add_note(int scope, short level, const char* format, va_list args) __attribute__((format(printf, 3, 0)));
int add_note(int scope, short level, const char* format, va_list args) {
  char note[NOTE_SIZE];
  if (std::vsnprintf(note, sizeof note, format, args) < 0) return 0;
  return time_analysis_message(note, 1, scope, NOTE_POINT, level, 0);
}

void note_all_scopes(const char* text) {
  for (int index = 0; index < NUM_SCOPES; ++index) time_analysis_message(text, 0, index, NOTE_POINT, 0, 0);
}

bool is_any_on() {
  return is_on(0) || is_on(1);
}

int enter_thread_mode() {
  numThreads.fetch_add(1, std::memory_order_acq_rel);
  if (!is_any_on()) return 0;
  bool hasChain = false;
  try {
    hasChain = own_chain() != nullptr;
  } catch (const std::bad_alloc&) {  // the same as too many
  }
  note_all_scopes(hasChain ? "Thread Start" : "Cannot switch time analysis mode: Too many threads.");
  return hasChain ? 0 : -1;
}

int leave_thread_mode() {
  int count = numThreads.load(std::memory_order_relaxed);
  if (count > 0) note_all_scopes("Thread End");
  do {
    if (count == 0) return -1;
  } while (!numThreads.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel));
  if (count > 1) return 0;
  Analysis& all = analysis();
  {
    const std::scoped_lock lock(all.mutex);
    if (all.listed.empty()) return 0;
    join_chains(&all);
  }
  note_all_scopes("Join Threads");
  return 0;
}

/// Copies the points in front of `chain`, the last one first.
AceMemPoint* copy_in_front(const Points& points, AceMemPoint* chain) {
  for (auto point = points.rbegin(); point != points.rend(); ++point) {
    try {
      chain = new AceMemPoint(point->pos, point->level, point->value, point->text(), point->type,
                              point->isCopy ? 1 : 0, chain);
    } catch (...) {
      AceMemPoint::remove(chain);
      throw;
    }
  }
  return chain;
}

}  // namespace

int use_time_analysis(int scope) {
  return scopeSwitch[index_of(scope)].load(std::memory_order_relaxed);
}

int time_analysis_switch(int value, Token scope) {
  time_analysis_message("STOP", 0, scope, NOTE_POINT, 0, 0);
  is_printed();
  scopeSwitch[index_of(scope)].store(value, std::memory_order_relaxed);
  time_analysis_message("START", 0, scope, NOTE_POINT, 0, 0);
  return 0;
}

int time_analysis_open(const char* name, Token copy_name, int scope, int level) {
  return time_analysis_message(name, copy_name, scope, OPEN_POINT, level, 0);
}

int time_analysis_close(int scope, int level) {
  return time_analysis_message("---END---", 0, scope, CLOSE_POINT, level, 0);
}

int time_analysis_message(const char* text, Token copy_text, int scope, short type, int level, int value) {
  const int index = index_of(scope);
  if (!is_on(index)) return 0;
  return time_analysis_point(present_time(index), text, copy_text, scope, type, level, value);
}

int time_analysis_point(Huge pos, const char* text, Token copy_text, int scope, short type, int level,
                        int value) {
  const int index = index_of(scope);
  if (!is_on(index)) return 0;
  try {
    return add_point(pos, text, copy_text != 0, index, type, level, value);
  } catch (const std::bad_alloc&) {
    return 0;  // the point is left out
  }
}

int time_analysis_print(int scope, short level, const char* format, ...) {
  if (!is_on(index_of(scope))) return 0;
  va_list args;
  va_start(args, format);
  const int result = add_note(scope, level, format, args);
  va_end(args);
  return result;
}

int build_analysis_print(int scope, short level, const char* format, ...) {
  if (!is_on(index_of(scope))) return 0;
  va_list args;
  va_start(args, format);
  const int result = add_note(scope, level, format, args);
  va_end(args);
  return result;
}

int time_analysis_thread_mode(int on) {
  return on != 0 ? enter_thread_mode() : leave_thread_mode();
}

AceMemPoint* time_analysis_fetch(int scope) {
  const int index = index_of(scope);
  Analysis& all = analysis();
  const std::scoped_lock lock(all.mutex);
  AceMemPoint::remove(std::exchange(all.fetched[index], nullptr));
  AceMemPoint* chain = nullptr;
  for (auto thread = all.listed.rbegin(); thread != all.listed.rend(); ++thread) {
    const std::scoped_lock threadLock((*thread)->mutex);
    chain = copy_in_front((*thread)->points[index], chain);
  }
  all.fetched[index] = copy_in_front(all.joined[index], chain);
  return all.fetched[index];
}

int time_analysis_reset(int scope) {
  const int index = index_of(scope);
  Analysis& all = analysis();
  const std::scoped_lock lock(all.mutex);
  AceMemPoint::remove(std::exchange(all.fetched[index], nullptr));
  all.joined[index].clear();
  for (ThreadChain* chain : all.listed) {
    const std::scoped_lock threadLock(chain->mutex);
    chain->points[index].clear();
  }
  return 0;
}

int time_analysis_set_restricted(int value) {
  restrictedSwitch.store(value, std::memory_order_relaxed);
  return value;
}
