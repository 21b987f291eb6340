/// A file in memory, for programs that are linked with memory_file.cpp: no system call, however often it is
/// opened, read and written.
#pragma once

#include <string>

namespace support {

/// The name by which `fopen` reads and replaces the bytes. To everything else it is a device, which is
/// written without detours.
inline constexpr const char* MEMORY_FILE = "/dev/full";

/// The bytes. Those that are read stay while a stream is open; those written are there once it is closed.
std::string& memory_file();

}  // namespace support
