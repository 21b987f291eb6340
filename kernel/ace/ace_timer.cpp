#include "ace/ace_timer.h"

#include <sys/time.h>
#include <x86intrin.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <mutex>
#include <string>

#include "ace/ace_attach.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_avl.h"
#include "ace/ace_time_analysis.h"
#include "ace/ace_tracer.h"

namespace {

constexpr Huge TICKS_PER_SECOND = 1000000;
constexpr Huge NANOS_PER_SECOND = 1000000000;
constexpr double MAX_SLEEP = 1e9;  // seconds; keeps timespec in range
constexpr double SPEED_INTERVAL = 0.05;

// Events of all timers. They wrap around; only differences are used.
constinit std::atomic<unsigned> allStarts = 0;
constinit std::atomic<unsigned> allStops = 0;
constinit std::atomic<int> numRunning = 0;
constinit std::atomic<int> lastOrder = 0;

// Overhead in ticks, from `AceTimer::calibrate`.
constinit std::atomic<double> ownOverhead = 0;    // per own start and stop
constinit std::atomic<double> startOverhead = 0;  // per start of another timer
constinit std::atomic<double> stopOverhead = 0;   // per stop of another timer

void add_wrapping(int* count, unsigned change) {
  *count = static_cast<int>(static_cast<unsigned>(*count) + change);
}

Huge wall_clock() {
  timeval now = {};
  gettimeofday(&now, nullptr);
  return now.tv_sec * TICKS_PER_SECOND + now.tv_usec;
}

Huge present_ticks(int scope) {
  return scope == 0 ? wall_clock() : static_cast<Huge>(std::clock());
}

}  // namespace

/// The named timers. Entries are never deleted, because callers keep pointers to their timers.
struct AceTimer::Table {
  struct Entry {
    AceTimer* timer = nullptr;
    bool isListed = false;
  };

  /// Calls `visit(name, timer)` for the listed timers in the order of their names.
  template <class Visit>
  void for_each(Visit visit) {
    const std::scoped_lock lock(mutex);
    entries.modify([&](const char* name, Entry& entry) {
      if (entry.isListed) visit(name, &entry);
      return 0;
    });
  }

  std::mutex mutex;
  StrAvlTree<Entry> entries = StrAvlTree<Entry>(Entry());
};

AceTimer::Table& AceTimer::table() {
  static Table* const theTable = new Table;  // lives until the process ends, whatever still measures then
  return *theTable;
}

AceTimer* AceTimer::get(const char* name, int scope) {
  if (name == nullptr || strnlen(name, MAX_NAME + 1) > MAX_NAME) return nullptr;
  Table& names = table();
  const std::scoped_lock lock(names.mutex);
  const char* ownName = nullptr;
  Table::Entry& entry = names.entries.insert(name, &ownName);
  if (entry.isListed) return entry.timer;
  if (entry.timer == nullptr) entry.timer = new AceTimer(ownName);
  entry.timer->timerScope = scope;
  AceTracer::announce((std::string("ALL_TIMERS|TIMER_") + name).c_str(), &entry.timer->traceValue, __FILE__,
                      __LINE__);
  entry.isListed = true;
  return entry.timer;
}

AceTimer* AceTimer::get_started(const char* name, int scope) {
  AceTimer* timer = get(name, scope);
  if (timer != nullptr) timer->start();
  return timer;
}

AceTimer* AceTimer::get_line(const char* file, int line, int scope) {
  if (file == nullptr) return nullptr;
  char name[MAX_NAME + 2];  // one more than is allowed, so that a cut name is refused
  std::snprintf(name, sizeof name, "%s:%d", file, line);
  return get(name, scope);
}

double AceTimer::time(const char* name) {
  const AceTimer* timer = get(name, 0);
  return timer != nullptr ? timer->get_sec() : 0;
}

int AceTimer::timers() {
  std::printf(
      "+--------------------------------+------------+------------+\n"
      "| on/off        Timer Name       |  Seconds   |   Starts   |\n");
  int count = 0;
  table().for_each([&](const char* name, const Table::Entry* entry) { count += entry->timer->report(name); });
  std::printf(
      "|   Number of timers reported            %5d             |\n"
      "+----------------------------------------------------------+\n",
      count);
  return count;
}

int AceTimer::clear() {
  table().for_each([](const char*, const Table::Entry* entry) { entry->timer->reset(); });
  return 0;
}

int AceTimer::remove_all() {
  table().for_each([](const char*, Table::Entry* entry) {
    entry->timer->reset();
    entry->timer->internalState = RAW;
    entry->timer->createOrder = 0;
    entry->isListed = false;
  });
  return 0;
}

void AceTimer::start() {
  if (internalState == START) {
    static const AceTraceFlag verbose("VERBOSE_TIMER|VERBOSE_ERRORS", __FILE__, __LINE__);
    if (verbose.get() != 0) AceReporter::use_default()->print("Timer running\n");
    return;
  }
  if (createOrder == 0) createOrder = lastOrder.fetch_add(1, std::memory_order_relaxed) + 1;
  callLevel = numRunning.fetch_add(1, std::memory_order_relaxed);
  internalState = START;
  if (numStarts < std::numeric_limits<int>::max()) ++numStarts;
  startTime = present_ticks(timerScope);
  add_wrapping(&incStarts, 0U - allStarts.fetch_add(1, std::memory_order_relaxed));
  add_wrapping(&incStops, 0U - allStops.load(std::memory_order_relaxed));
}

void AceTimer::stop() {
  if (internalState == RAW) internalState = STOP;
  if (internalState != START) return;
  totalTime += interval();
  add_wrapping(&incStarts, allStarts.load(std::memory_order_relaxed));
  add_wrapping(&incStops, allStops.fetch_add(1, std::memory_order_relaxed));
  numRunning.fetch_sub(1, std::memory_order_relaxed);
  internalState = STOP;
}

void AceTimer::reset() {
  stop();
  internalState = STOP;
  startTime = totalTime = 0;
  numStarts = incStarts = incStops = callLevel = 0;
}

Huge AceTimer::interval() const {
  const Huge elapsed = present_ticks(timerScope) - startTime;
  if (elapsed >= 0) return elapsed;
  // The processor's clock has wrapped around; the time of day has been set back.
  return timerScope != 0 ? elapsed + std::numeric_limits<Huge>::max() : 0;
}

double AceTimer::get_tics() const {
  Huge ticks = totalTime;
  int starts = incStarts;
  int stops = incStops;
  if (internalState == START) {
    ticks += interval();
    add_wrapping(&starts, allStarts.load(std::memory_order_relaxed));
    add_wrapping(&stops, allStops.load(std::memory_order_relaxed));
  }
  const double overhead = static_cast<double>(starts) * startOverhead +
                          numStarts * (ownOverhead - startOverhead) +
                          static_cast<double>(stops) * stopOverhead;
  return std::max(0.0, static_cast<double>(ticks) - overhead);
}

Huge AceTimer::get_tics_per_second(int) {
  return TICKS_PER_SECOND;
}

int AceTimer::report(const char* name) const {
  if (numStarts == 0) return 0;
  std::printf("|%c%30s | %10.6f | %10d |\n", internalState == START ? '+' : '-', name, get_sec(), numStarts);
  return 1;
}

int AceTimer::list_elem(const char* name, char* buffer, std::size_t size) const {
  if (size == 0) return 0;
  buffer[0] = '\0';
  const char state = internalState == START ? '+' : '-';
  int length = 0;
  if (numStarts != 0) {
    length = std::snprintf(buffer, size, " %c %4d %7.3f %d %d %s  ", state, numStarts, get_sec(), createOrder,
                           callLevel, name);
  } else if (AceTracer::get_flag("ALL_TIMERS") != 0) {
    length = std::snprintf(buffer, size, " %c 0 0.000 %d %d %s ", state, createOrder, callLevel, name);
  }
  return std::clamp(length, 0,
                    static_cast<int>(std::min<std::size_t>(size, std::numeric_limits<int>::max())) - 1);
}

int AceTimer::analyze(short section) const {
  if (use_time_analysis(timerScope) == 0) return 0;
  const bool isEnd = internalState == STOP;
  const short type = section == 0 ? short{0} : isEnd ? short{-1} : short{1};
  return time_analysis_point(startTime, isEnd ? "---END---" : refName, isEnd ? 0 : 1, timerScope, type, 0, 0);
}

int AceTimer::calibrate(int rounds) {
  clear();
  AceTimer first;
  AceTimer second;
  AceTimer third;
  for (int i = 0; i < rounds; ++i) {
    first.start();
    second.start();
    first.stop();
    second.stop();
    third.start();
    third.stop();
  }
  // The first interval holds the second timer's start, the second one the first timer's stop.
  const auto per_round = [&](const AceTimer& timer) {
    return rounds > 0 ? static_cast<double>(timer.totalTime) / rounds : 0;
  };
  const double own = per_round(third);
  ownOverhead = own;
  startOverhead = std::max(0.0, per_round(first) - own);
  stopOverhead = std::max(0.0, per_round(second) - own);
  return 0;
}

double AceTimer::measure_speed() {
  for (;;) {
    const Huge start = wall_clock();
    const unsigned long long firstCycle = __rdtsc();
    sleep(SPEED_INTERVAL);
    const unsigned long long lastCycle = __rdtsc();
    const Huge elapsed = wall_clock() - start;
    if (lastCycle > firstCycle && elapsed > 0)
      return static_cast<double>(lastCycle - firstCycle) / static_cast<double>(elapsed);
  }
}

void AceTimer::sleep(double seconds) {
  if (!(seconds > 0)) return;
  const double whole = std::floor(std::min(seconds, MAX_SLEEP));
  const double part = std::min(seconds, MAX_SLEEP) - whole;
  timespec left = {};
  left.tv_sec = static_cast<std::time_t>(whole);
  left.tv_nsec =
      std::min(static_cast<long>(part * static_cast<double>(NANOS_PER_SECOND)), NANOS_PER_SECOND - 1);
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

void AceTimer::get_absolute_time(int* seconds, int* microseconds) {
  timeval now = {};
  gettimeofday(&now, nullptr);
  if (seconds != nullptr) *seconds = static_cast<int>(now.tv_sec);
  if (microseconds != nullptr) *microseconds = static_cast<int>(now.tv_usec);
}

Huge AceTimer::get_elapsed_time(int seconds, int microseconds) {
  const Huge elapsed = wall_clock() - (seconds * TICKS_PER_SECOND + microseconds);
  return std::max(Huge{0}, elapsed / 1000);
}

bool AceTimer::time_limit_exceeded(int seconds, int microseconds, int limit) {
  return get_elapsed_time(seconds, microseconds) > limit;
}

std::tm* ace_localtime(const long* seconds, std::tm* out) {
  return localtime_r(seconds, out);
}

std::tm* ace_localtime(const long* seconds, AceAttach* at) {
  std::tm* out = nullptr;
  return localtime_r(seconds, at->malloc(out, 1));
}
