/// A lock that ordinary holders share with a priority holder, who is let in by grants.
///
/// Ordinary holders use `lock` and `unlock`. A priority request needs two grants, each given by one call of
/// `vip_unlock`: the first opens the request, the second lets it in once it has the lock:
///
///     coordinator        priority thread                       ordinary threads
///     vip_unlock()  -->  vip_lock(): request open              lock() ... unlock()
///                        lock free? no: false, at once
///                        yes: newcomers wait from here on      lock(): waits
///     vip_unlock()  -->  vip_lock(): true
///                        ... unlock()                     -->  goes on
///
/// Grants do not add up: one that finds another unused changes nothing. A request uses up its first grant
/// even if it does not get the lock.
///
/// Invariant: a request counts as pending only while it has the lock, so that no `unlock` of an ordinary
/// holder can mistake it for a waiter and leave the lock taken by nobody.
#pragma once

#include <atomic>
#include <mutex>

#include "ace/ace_types.h"
#include "ebos/ebos_semaphore.h"

class SORV_API EbosVipLock {
 public:
  /// Blocks until the lock is free.
  void lock();
  /// Frees the lock. While a priority request waits for its second grant, the call is such a grant instead,
  /// and the lock goes on to the request.
  void unlock();
  /// Whether the calling thread has the lock now; it gives it back with `unlock`. False, without waiting,
  /// when there is no grant or the lock is not free; else waits for the second grant.
  bool vip_lock();
  /// Gives a grant.
  void vip_unlock();

 private:
  EbosSemaphore normalLock{true};
  EbosSemaphore vipLock{false};
  std::mutex requestLock;  // makes "take the lock and become a request" one step for `unlock`
  std::atomic<int> vipRequest = 0;
};
