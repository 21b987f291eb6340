#include "ebos/ebos_vip_lock.h"

void EbosVipLock::lock() {
  normalLock.acquire();
}

void EbosVipLock::unlock() {
  const std::scoped_lock lock(requestLock);
  if (vipRequest >= 1)
    vipLock.release();
  else
    normalLock.release();
}

bool EbosVipLock::vip_lock() {
  if (!vipLock.try_acquire()) return false;
  const bool isTaken = ebos_attempt([this] {
    const std::scoped_lock lock(requestLock);
    if (!normalLock.try_once()) return false;
    ++vipRequest;
    return true;
  });
  if (!isTaken) return false;
  vipLock.acquire();
  --vipRequest;
  return true;
}

void EbosVipLock::vip_unlock() {
  vipLock.release();
}
