#include "ace/ace_tracer.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ace/ace_avl.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_avl.h"
#include "ace/ace_time_analysis.h"

namespace {

constexpr std::string_view NAME_SEPARATORS = "| \t\r\n;";
constexpr std::string_view SETTING_SEPARATORS = " \t\r\n,;";

int load(const int* value) {
  return __atomic_load_n(value, __ATOMIC_RELAXED);
}
void store(int* place, int value) {
  __atomic_store_n(place, value, __ATOMIC_RELAXED);
}

/// Wraps around, so that no choice of flag values is undefined.
int sum(int first, int second) {
  return static_cast<int>(static_cast<unsigned>(first) + static_cast<unsigned>(second));
}

/// Cuts the next piece that holds none of the separators off the front of `text`; empty at the end.
std::string_view next_piece(std::string_view* text, std::string_view separators) {
  text->remove_prefix(std::min(text->find_first_not_of(separators), text->size()));
  const std::string_view piece = text->substr(0, text->find_first_of(separators));
  text->remove_prefix(piece.size());
  return piece;
}

using Listing = std::vector<std::pair<std::string, int>>;

/// Without the trace mutex, so that the function may use the tracer itself.
int call_for(const Listing& listing, AceTracer::TraceFunction* function) {
  for (const auto& [name, value] : listing)
    if (const int stop = function(name.c_str(), value); stop != 0) return stop;
  return 0;
}

}  // namespace

/// The place of a flag's value. It stays for good, because tracers point to it; a forgotten flag is one that
/// is not known.
struct AceTracer::FlagSlot {
  int value = 0;
  bool isKnown = false;
};

/// A variable that follows an expression.
struct AceTracer::Announce {
  AceTracer tracer;
  std::string expression;
  const char* fileName = nullptr;
  int lineNumber = 0;
};

struct AceTracer::State {
  static int order(int* first, int* second) {
    if (first == second) return 0;
    return std::less<>()(first, second) ? -1 : 1;
  }
  void forget_announces() {
    announces.remove([](int*, Announce* announce) {
      delete announce;
      return 0;
    });
  }
  Listing flag_listing() {
    Listing listing;
    flags.for_each([&](const char* name, const FlagSlot& slot) {
      if (slot.isKnown) listing.emplace_back(name, slot.value);
      return 0;
    });
    return listing;
  }

  std::mutex mutex;
  StrAvlTree<FlagSlot> flags = StrAvlTree<FlagSlot>(FlagSlot());
  AVLTree<int*, Announce*> announces = AVLTree<int*, Announce*>(order, nullptr);
};

AceTracer::State& AceTracer::state() {
  static State* const theState = new State;  // lives until the process ends, whatever still traces then
  return *theState;
}

AceTracer::AceTracer(const char* expression) {
  const std::scoped_lock lock(state().mutex);
  parse(expression);
}

/// The caller holds the mutex.
void AceTracer::parse(const char* expression) {
  std::string_view rest = expression != nullptr ? expression : "";
  for (std::string_view name = next_piece(&rest, NAME_SEPARATORS); !name.empty();
       name = next_piece(&rest, NAME_SEPARATORS)) {
    if (numFlags == MAX_FLAGS) {
      std::printf("ignoring remainder: %s\n", name.data());  // up to the end of the expression
      return;
    }
    FlagSlot& slot = state().flags.insert(std::string(name).c_str());
    slot.isKnown = true;
    flagArray[numFlags++] = &slot.value;
  }
}

int AceTracer::eval() {
  int value = 0;
  for (int i = 0; i < numFlags; ++i) value = sum(value, load(flagArray[i]));
  curValue = value;
  return value;
}

/// The caller holds the mutex.
void AceTracer::assign(int value) {
  for (int i = 0; i < numFlags; ++i) store(flagArray[i], value);
}

/// The caller holds the mutex.
void AceTracer::update_announces() {
  state().announces.for_each([](int* variable, Announce* announce) {
    store(variable, announce->tracer.eval());
    return 0;
  });
}

int AceTracer::announce(const char* expression, int* variable, const char* file, int line) {
  State& trace = state();
  const std::scoped_lock lock(trace.mutex);
  store(variable, -1);
  auto announce = std::make_unique<Announce>();
  announce->tracer.parse(expression);
  announce->expression = expression != nullptr ? expression : "";
  announce->fileName = file;
  announce->lineNumber = line;
  Announce*& entry = trace.announces[variable];
  delete entry;
  entry = announce.release();
  const int value = entry->tracer.eval();
  store(variable, value);
  return value;
}

int AceTracer::set(const char* expression, int value) {
  {
    const std::scoped_lock lock(state().mutex);
    AceTracer tracer;
    tracer.parse(expression);
    tracer.assign(value);
    update_announces();
  }
  time_analysis_print(0, 0, "Trace '%s' set to %d", expression != nullptr ? expression : "", value);
  return 0;
}

int AceTracer::set_all(int value) {
  State& trace = state();
  const std::scoped_lock lock(trace.mutex);
  trace.flags.modify([&](const char*, FlagSlot& slot) {
    if (slot.isKnown) store(&slot.value, value);
    return 0;
  });
  update_announces();
  return 0;
}

int AceTracer::get_flag(const char* name) {
  const std::scoped_lock lock(state().mutex);
  return load(&state().flags.search(name).value);
}

int AceTracer::report() {
  Listing listing;
  {
    const std::scoped_lock lock(state().mutex);
    listing = state().flag_listing();
  }
  for (const auto& [name, value] : listing)
    AceReporter::use_default()->printf_no_time("%s\t%d\n", name.c_str(), value);
  return static_cast<int>(listing.size());
}

int AceTracer::for_all_flags(TraceFunction* function) {
  Listing listing;
  {
    const std::scoped_lock lock(state().mutex);
    listing = state().flag_listing();
  }
  return call_for(listing, function);
}

int AceTracer::for_all_announces(TraceFunction* function) {
  Listing listing;
  {
    const std::scoped_lock lock(state().mutex);
    state().announces.for_each([&](int* variable, const Announce* announce) {
      listing.emplace_back(announce->expression, load(variable));
      return 0;
    });
  }
  return call_for(listing, function);
}

int AceTracer::read(const char* text) {
  int result = 0;
  std::string_view rest = text != nullptr ? text : "";
  for (std::string_view piece = next_piece(&rest, SETTING_SEPARATORS); !piece.empty();
       piece = next_piece(&rest, SETTING_SEPARATORS)) {
    if (piece.front() == '#') {
      const char* end = std::strchr(piece.data(), '\n');
      rest = end != nullptr ? std::string_view(end) : std::string_view();
      continue;
    }
    const std::size_t equals = piece.find('=');
    const std::string names(piece.substr(0, equals));
    const std::string number(equals == std::string_view::npos ? "1" : piece.substr(equals + 1));
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(number.c_str(), &end, 10);
    if (names.find_first_not_of('|') == std::string::npos || number.empty() || *end != '\0' || errno != 0 ||
        value < INT_MIN || value > INT_MAX) {
      AceReporter::use_default()->printf_no_time(
          "trace setting '%.*s' left out: expected NAME or NAME=INTEGER\n",
          static_cast<int>(std::min<std::size_t>(piece.size(), AceReporter::MAX_MESSAGE)), piece.data());
      result = -1;
      continue;
    }
    set(names.c_str(), static_cast<int>(value));
  }
  return result;
}

int AceTracer::remove_all() {
  State& trace = state();
  const std::scoped_lock lock(trace.mutex);
  trace.forget_announces();
  trace.flags.modify([](const char*, FlagSlot& slot) {
    store(&slot.value, 0);
    slot.isKnown = false;
    return 0;
  });
  return 0;
}

int AceTracer::make_trace_threadsafe() {
  return 0;
}

int AceTracer::compare(AceTracer* first, AceTracer* second) {
  if (first->numFlags != second->numFlags) return first->numFlags < second->numFlags ? -1 : 1;
  for (int i = 0; i < first->numFlags; ++i)
    if (const int order = State::order(first->flagArray[i], second->flagArray[i]); order != 0) return order;
  return 0;
}

int ace_trace_head(const char* file, int line, const char* text) {
  AceReporter::use_default()->printf_no_time("%s:%d:%s\n", file, line, text);
  return 1;
}
