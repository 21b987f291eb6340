/// Files and system calls that fail on demand, for test programs that are linked with failing_io.cpp.
#pragma once

namespace support {

/// While it lives, the streams that `fopen` gives for reading cannot read the byte at `offset`, nor behind
/// it: reading there fails with `error`, the first `times` times (negative for always). They have no
/// descriptor.
class FailingReads {
 public:
  FailingReads(long offset, int error, int times = -1);
  FailingReads(const FailingReads&) = delete;
  FailingReads& operator=(const FailingReads&) = delete;
  ~FailingReads();
};

enum class Call { SEEK, FSYNC, RENAME };  ///< SEEK is that of the streams of `FailingReads`

/// While it lives, a system call fails with `error`, after it has succeeded `numGood` times.
class FailingCall {
 public:
  FailingCall(Call call, int error, int numGood = 0);
  FailingCall(const FailingCall&) = delete;
  FailingCall& operator=(const FailingCall&) = delete;
  ~FailingCall();

 private:
  Call failing;
};

}  // namespace support
