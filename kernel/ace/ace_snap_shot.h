/// Leak watch for long-running script loops: reports which classes of blocks have grown.
#pragma once

#include "ace/ace_types.h"

class AceReporter;

/// One row of a snapshot: the blocks in use of one size class.
struct AceSnapList {
  AceSnapList* nextMem;
  const char* memName;
  long memSize;
  long currCount;

  /// Orders by payload size, then by name.
  static int cmp(const AceSnapList* a, const AceSnapList* b);
};

/// Thread safety: watches the calling thread's administrator; call it from one thread.
class SORV_API AceSnapShot {
 public:
  static AceSnapShot* instance();

  /// While the trace flag "CHECK_SCRIPT_MEMLEAK" is set, every tenth call counts the blocks in use. Returns 1
  /// when they are more than ever before, which from the eleventh time on is reported as warnings; else 0.
  int check_leaks(AceReporter* rep);

 private:
  constexpr AceSnapShot() = default;
  void report_growth(const AceSnapList* now, long gained_blocks, long gained_bytes, AceReporter* rep) const;

  static AceSnapShot singletonObj;

  long maxCount = 0;
  long maxSize = 0;
  long lastCheck = 0;  // calls since the last report
  long numIncrease = 0;
  AceSnapList* snapList = nullptr;  // rows at the last maximum, in the order of `AceSnapList::cmp`
};
