#include "ace/ace_snap_shot.h"

#include <cstring>

#include "ace/ace_admin.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"

namespace {

constexpr long CHECK_STRIDE = 10;     // calls from one check to the next
constexpr long QUIET_INCREASES = 10;  // a loop that warms up may grow this many times

void release_rows(AceSnapList* rows) {
  while (rows != nullptr) {
    AceSnapList* row = rows;
    rows = row->nextMem;
    delete row;
  }
}

/// One row per class of the calling thread that has blocks in use, ordered by `AceSnapList::cmp`. The rows
/// come from the system heap, so that watching does not count itself.
AceSnapList* take_rows() {
  AceSnapList* rows = nullptr;
  for (const AceHead* head = thread_admin->allHeads; head != nullptr; head = head->next) {
    if (head->numAlloc <= 0) continue;
    auto* row = new AceSnapList{nullptr, head->printName, head->payload(), head->numAlloc};
    AceSnapList** place = &rows;
    while (*place != nullptr && AceSnapList::cmp(*place, row) < 0) place = &(*place)->nextMem;
    row->nextMem = *place;
    *place = row;
  }
  return rows;
}

}  // namespace

constinit AceSnapShot AceSnapShot::singletonObj;

int AceSnapList::cmp(const AceSnapList* a, const AceSnapList* b) {
  if (a->memSize != b->memSize) return a->memSize < b->memSize ? -1 : 1;
  return std::strcmp(a->memName, b->memName);
}

AceSnapShot* AceSnapShot::instance() {
  return &singletonObj;
}

int AceSnapShot::check_leaks(AceReporter* rep) {
  static const AceTraceFlag watching("CHECK_SCRIPT_MEMLEAK", __FILE__, __LINE__);
  if (watching.get() == 0) return 0;
  if (++lastCheck % CHECK_STRIDE != 0) return 0;

  AceSnapList* rows = take_rows();
  long count = 0;
  long bytes = 0;
  for (const AceSnapList* row = rows; row != nullptr; row = row->nextMem) {
    count += row->currCount;
    bytes += row->currCount * row->memSize;
  }
  if (count <= maxCount) {
    release_rows(rows);
    return 0;
  }
  if (++numIncrease > QUIET_INCREASES) {
    report_growth(rows, count - maxCount, bytes - maxSize, rep);
    lastCheck = 0;
  }
  maxCount = count;
  maxSize = bytes;
  release_rows(snapList);
  snapList = rows;
  return 1;
}

/// Merges the two ordered lists of rows into one line per class.
void AceSnapShot::report_growth(const AceSnapList* now, long gained_blocks, long gained_bytes,
                                AceReporter* rep) const {
  rep->ev_wprintf("Potential Leak: Gained %ld ace objects since last maximum (%d calls ago)", gained_blocks,
                  static_cast<int>(lastCheck));
  rep->ev_wprintf("Total size of allocated object changed by %ld bytes", gained_bytes);
  rep->ev_wprintf("%20s\tsize\tchange", "Object Type");
  const AceSnapList* old = snapList;
  while (now != nullptr || old != nullptr) {
    const int order = old == nullptr ? -1 : now == nullptr ? 1 : AceSnapList::cmp(now, old);
    const AceSnapList* row = order <= 0 ? now : old;
    const long change = (order <= 0 ? now->currCount : 0) - (order >= 0 ? old->currCount : 0);
    rep->ev_wprintf("%20s\t%ld\t%ld", row->memName, row->memSize, change);
    if (order <= 0) now = now->nextMem;
    if (order >= 0) old = old->nextMem;
  }
}
