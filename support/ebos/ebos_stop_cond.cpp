#include "ebos/ebos_stop_cond.h"

namespace {

/// Longest wait that is handed to the clock; adding it to the present time cannot overflow.
constexpr std::chrono::hours FAR_AHEAD(24 * 365 * 100);

}  // namespace

bool EbosStopCond::get() {
  const std::scoped_lock lock(condMutex);
  return stopRequest;
}

void EbosStopCond::set() {
  // Notified under the lock: a waiter that is woken cannot destroy the object before.
  const std::scoped_lock lock(condMutex);
  stopRequest = true;
  condVar.notify_all();
}

void EbosStopCond::wait() {
  std::unique_lock lock(condMutex);
  condVar.wait(lock, [this] { return predInt(); });
}

bool EbosStopCond::wait_for(const std::chrono::milliseconds& time) {
  if (time > FAR_AHEAD) {
    wait();
    return true;
  }
  if (time <= std::chrono::milliseconds::zero()) return get();
  std::unique_lock lock(condMutex);
  return condVar.wait_for(lock, time, [this] { return predInt(); });
}

bool EbosStopCond::wait_until(const std::chrono::system_clock::time_point& time) {
  const auto now = std::chrono::system_clock::now();
  if (time <= now) return get();
  if (time > now + FAR_AHEAD) {
    wait();
    return true;
  }
  std::unique_lock lock(condMutex);
  return condVar.wait_until(lock, time, [this] { return predInt(); });
}
