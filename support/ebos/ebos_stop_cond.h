/// A stop flag that threads can wait for. Once set it stays set.
///
/// A `set` is never missed, whether the waiter comes before or after it. The waiter that `set` wakes may
/// destroy the object.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "ace/ace_types.h"

class SORV_API EbosStopCond {
 public:
  bool get();
  void set();
  /// Blocks until the flag is set.
  void wait();
  /// Block until the flag is set or the time has passed; return whether it is set. Any time may be given:
  /// what has passed already is a look, and what lies too far ahead for the clock waits for the flag alone.
  bool wait_for(const std::chrono::milliseconds& time);
  bool wait_until(const std::chrono::system_clock::time_point& time);

 private:
  bool predInt() const { return stopRequest; }

  std::mutex condMutex;
  std::condition_variable condVar;
  bool stopRequest = false;
};
