#include "ace/ace_mem_info.h"

#include <unistd.h>

#include <cstdio>
#include <memory>

#include "ace/ace_file.h"

int ace_mem_info(long* size, long* resident, long* shared) {
  char name[32];
  std::snprintf(name, sizeof(name), "/proc/%d/statm", static_cast<int>(getpid()));
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(AceFile::open(name, "r"), std::fclose);
  if (stream == nullptr) return -1;
  long pages[6];
  if (std::fscanf(stream.get(), "%ld %ld %ld %ld %ld %ld ", &pages[0], &pages[1], &pages[2], &pages[3],
                  &pages[4], &pages[5]) != 6)
    return -1;
  const long pageSize = sysconf(_SC_PAGESIZE);
  if (size != nullptr) *size = pages[0] * pageSize;
  if (resident != nullptr) *resident = pages[1] * pageSize;
  if (shared != nullptr) *shared = pages[2] * pageSize;
  return 0;
}

int ace_max_working_set() {
  return -1;
}
