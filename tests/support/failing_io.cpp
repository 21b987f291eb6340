#include "support/failing_io.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

struct ReadFault {
  std::atomic<bool> isArmed = false;
  std::atomic<long> offset = 0;
  std::atomic<int> error = 0;
  std::atomic<int> timesLeft = 0;
};

struct CallFault {
  std::atomic<int> error = 0;
  std::atomic<int> numGood = 0;
};

constinit ReadFault readFault;
constinit CallFault callFaults[3];

bool fails(support::Call call) {
  CallFault& fault = callFaults[static_cast<int>(call)];
  if (fault.error == 0 || fault.numGood-- > 0) return false;
  fault.numGood = 0;
  errno = fault.error;
  return true;
}

/// The function of the C library that the one of the same name here hides.
template <class Function>
Function* hidden(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int descriptor(void* cookie) {
  return static_cast<int>(reinterpret_cast<std::intptr_t>(cookie));
}

ssize_t read_until_fault(void* cookie, char* to, size_t size) {
  const int file = descriptor(cookie);
  const long room = readFault.offset - lseek(file, 0, SEEK_CUR);
  if (readFault.isArmed && room <= 0 && readFault.timesLeft != 0) {
    if (readFault.timesLeft > 0) --readFault.timesLeft;
    errno = readFault.error;
    return -1;
  }
  if (readFault.isArmed && room > 0) size = std::min(size, static_cast<size_t>(room));
  return read(file, to, size);
}

int seek_unless_fault(void* cookie, off64_t* pos, int whence) {
  if (fails(support::Call::SEEK)) return -1;
  const off64_t now = lseek64(descriptor(cookie), *pos, whence);
  if (now < 0) return -1;
  *pos = now;
  return 0;
}

int close_file(void* cookie) {
  return close(descriptor(cookie));
}

}  // namespace

support::FailingReads::FailingReads(long offset, int error, int times) {
  readFault.offset = offset;
  readFault.error = error;
  readFault.timesLeft = times;
  readFault.isArmed = true;
}

support::FailingReads::~FailingReads() {
  readFault.isArmed = false;
}

support::FailingCall::FailingCall(Call call, int error, int numGood) : failing(call) {
  CallFault& fault = callFaults[static_cast<int>(call)];
  fault.numGood = numGood;
  fault.error = error;
}

support::FailingCall::~FailingCall() {
  callFaults[static_cast<int>(failing)].error = 0;
}

// Visible to the library, whose calls they take over.
#pragma GCC visibility push(default)
extern "C" {

std::FILE* fopen(const char* name, const char* mode) {
  if (!readFault.isArmed || mode[0] != 'r') return hidden<decltype(fopen)>("fopen")(name, mode);
  const int file = open(name, O_RDONLY | O_CLOEXEC);
  if (file < 0) return nullptr;
  const cookie_io_functions_t functions = {read_until_fault, nullptr, seek_unless_fault, close_file};
  return fopencookie(reinterpret_cast<void*>(std::intptr_t{file}), "r", functions);
}

int fsync(int file) {
  return fails(support::Call::FSYNC) ? -1 : hidden<decltype(fsync)>("fsync")(file);
}

int rename(const char* from, const char* to) noexcept {
  return fails(support::Call::RENAME) ? -1 : hidden<decltype(rename)>("rename")(from, to);
}

}  // extern "C"
#pragma GCC visibility pop
