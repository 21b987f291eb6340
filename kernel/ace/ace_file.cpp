#include "ace/ace_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <string>
#include <utility>

#include "ace/ace_crc32.h"
#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_file_swap.h"
#include "ace/ace_mem_point.h"
#include "ace/ace_reporter.h"
#include "ace/ace_thread.h"

namespace {

constexpr const char* CLOSE_ERROR = "Error closing the file descriptor. The file may be corrupt!";
constexpr std::size_t ERROR_TEXT_SIZE = 256;

// Types of the breakdown's points, see ace_mem_point.h.
constexpr short POINT_CLOSE = -1;
constexpr short POINT_MARK = 0;
constexpr short POINT_OPEN = 1;
constexpr short POINT_NOTE = 2;

/// Where an empty file is "mapped". Its size of 0 keeps everybody from reading it.
alignas(8) char emptyMapping[8];

/// Says on `rep` what `errno` says about the file.
void explain(const char* action, const char* name, AceReporter* rep) {
  const int error = errno;
  char buffer[ERROR_TEXT_SIZE];
  if (rep != nullptr)
    rep->printf("Cannot %s file '%s': %s\n", action, name != nullptr ? name : "",
                ace_strerror(error, buffer, sizeof buffer));
  errno = error;
}

/// Opens for mapping. Does not wait for the writer of a pipe, and never gives descriptor 0, which stands for
/// "none".
int open_for_mapping(const char* name) {
  if (name == nullptr) {
    errno = EINVAL;
    return -1;
  }
  const int file = ::open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file != 0) return file;
  const int other = fcntl(file, F_DUPFD_CLOEXEC, 1);
  ::close(file);
  return other;
}

/// Faults pages in by reading every `step`-th byte; returns their CRC-32.
unsigned touch(const char* bytes, Huge size, Huge step) {
  const volatile char* place = bytes;  // read even if nobody asks for the checksum
  unsigned crc = 0;
  for (Huge at = 0; at < size; at += step) crc = crc32_update(place[at], crc);
  return crc;
}

}  // namespace

AceFile::AceFile() = default;

AceFile::~AceFile() {
  if (fileSwap != nullptr) {
    fileSwap->discard();
    streamObj = nullptr;
    md5Enabled = false;
  }
  try {
    close();
  } catch (const AceException& error) {
    error.print(AceReporter::use_default());
  }
  AceMemPoint::remove(memPoint);
}

// A file is a stream, a mapping or a buffer: each way of opening closes what was open before.

std::FILE* AceFile::open(const char* name, const char* mode) {
  if (name == nullptr || mode == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  return std::fopen(name, (std::string(mode) + "ce").c_str());
}

bool AceFile::is_folder(std::FILE* stream) {
  struct stat info {};
  return fstat(fileno(stream), &info) == 0 && S_ISDIR(info.st_mode);
}

std::size_t AceFile::read_from(std::FILE* stream, void* to, std::size_t size) {
  const AceUncancellable uncancellable;
  std::size_t done = 0;
  for (;;) {
    done += std::fread(static_cast<char*>(to) + done, 1, size - done, stream);
    if (done == size || std::ferror(stream) == 0 || errno != EINTR) return done;
    std::clearerr(stream);
  }
}

/// What follows an EOF: a byte, where that was the interruption by a signal.
int AceFile::get_byte_again(std::FILE* stream) {
  char byte = '\0';
  if (std::ferror(stream) == 0 || errno != EINTR) return EOF;
  std::clearerr(stream);
  return read_from(stream, &byte, 1) == 1 ? static_cast<unsigned char>(byte) : EOF;
}

int AceFile::open_writer(const char* name, AceReporter* rep, bool atomic) {
  close();
  if (atomic && name != nullptr) {
    fileSwap = std::make_unique<AceFileSwap>();
    streamObj = fileSwap->open(name);
  } else {
    streamObj = open(name, "wb");
  }
  if (streamObj == nullptr) {
    explain("write", name, rep);
    fileSwap.reset();
    return ace_error(__FILE__, __LINE__, "streamObj = AceFile::open(filename,\"wb\")", -1, 0, -1);
  }
  fileFlags = STREAM | WRITE;
  ace_md5::MD5_Init(&md5Hash);
  md5Enabled = true;
  aceRep = rep;
  fileName = memAt.attach(name);
  return 0;
}

int AceFile::build(const char* name, AceReporter* rep) {
  return open_writer(name, rep, false);
}

int AceFile::build_atomic(const char* name, AceReporter* rep) {
  return open_writer(name, rep, true);
}

int AceFile::prep(const char* name, AceReporter* rep) {
  close();
  streamObj = open(name, "rb");
  if (streamObj != nullptr && is_folder(streamObj)) {
    std::fclose(streamObj);
    streamObj = nullptr;
    errno = EISDIR;
  }
  if (streamObj == nullptr) {
    explain("read", name, rep);
    return ace_error(__FILE__, __LINE__, "streamObj = AceFile::open(filename,\"rb\")", -2, 0, -2);
  }
  fileFlags = STREAM | READ;
  aceRep = rep;
  fileName = memAt.attach(name);
  if (rep != nullptr) rep->pscale(get_size(), "Read file");
  return 0;
}

int AceFile::fail_map(const char* name, AceReporter* rep) {
  explain("map", name, rep);
  close();
  return -3;
}

int AceFile::map(const char* name, void* hint, const char* /*unused*/, int mode, Large* checksum,
                 AceReporter* rep) {
  const AceUncancellable uncancellable;
  close();
  const int file = open_for_mapping(name);
  if (file < 0) {
    explain("read", name, rep);
    return ace_error(__FILE__, __LINE__, "fileObj = open_file(filename, O_RDONLY)", -2, 0, -2);
  }
  fileObj = file;

  struct stat info {};
  if (fstat(fileObj, &info) != 0) return fail_map(name, rep);
  if (!S_ISREG(info.st_mode)) {
    errno = ENODEV;
    return fail_map(name, rep);
  }
  const bool locked = mode == -1;
  void* address = emptyMapping;
  if (info.st_size > 0) {
    const int flags = locked ? MAP_SHARED | MAP_LOCKED | MAP_POPULATE : MAP_SHARED;
    address = mmap(hint, static_cast<std::size_t>(info.st_size), PROT_READ, flags, fileObj, 0);
    if (address == MAP_FAILED) return fail_map(name, rep);
  }
  mapAddress = static_cast<char*>(address);
  mappedSize = info.st_size;
  fileFlags = MAPPED | READ;
  if (locked) fileFlags |= LOCKED;
  if (mode >= 1) {
    const unsigned crc = touch(mapAddress, mappedSize, mode);
    if (checksum != nullptr) *checksum = crc;
  }
  aceRep = rep;
  fileName = memAt.attach(name);
  return 0;
}

int AceFile::init_write(char* buffer, Huge size) {
  close();
  if (buffer == nullptr) return -1;
  fileFlags = BUFFER | WRITE;
  mapAddress = buffer;
  mappedSize = size;
  return 0;
}

int AceFile::init_read(const char* buffer, VInt size) {
  close();
  if (buffer == nullptr) return -1;
  fileFlags = MAPPED | BUFFER | READ;
  mapAddress = const_cast<char*>(buffer);  // only written to in WRITE mode
  mappedSize = size > 0 ? size : static_cast<VInt>(std::strlen(buffer));
  return 0;
}

int AceFile::scan(const char* title) {
  close();
  AceMemPoint::remove(memPoint);
  memPoint = nullptr;
  if (title != nullptr) memPoint = new AceMemPoint(0, 0, 0, title, POINT_MARK, 1, nullptr);
  return 0;
}

void AceFile::close() {
  const AceUncancellable uncancellable;
  int error = 0;
  if (fileSwap != nullptr)
    error = fileSwap->commit() != 0 ? errno : 0;
  else if (streamObj != nullptr)
    error = std::fclose(streamObj) != 0 ? errno : 0;
  streamObj = nullptr;
  if (error == 0) {
    report_md5();
    forget();
    return;
  }

  char buffer[ERROR_TEXT_SIZE];
  const AceException failure(CLOSE_ERROR,
                             fileSwap != nullptr ? "'%s' is not safely replaced: %s" : "'%s': %s", fileName,
                             ace_strerror(error, buffer, sizeof buffer));
  forget();
  throw failure;
}

/// The hash of what was written, for whoever compares files.
void AceFile::report_md5() {
  constexpr int DIGEST_BYTES = 16;
  if (!md5Enabled || fileName == nullptr) return;
  unsigned char digest[DIGEST_BYTES];
  ace_md5::MD5_Final(digest, &md5Hash);
  if (aceRep == nullptr) return;
  char text[2 * DIGEST_BYTES + 1];
  for (int i = 0; i < DIGEST_BYTES; ++i) std::snprintf(text + 2 * i, 3, "%02x", digest[i]);
  aceRep->printf("MD5 hash of file '%s': %s", fileName, text);
}

/// True when the mapping is of this object's making: a buffer and an empty file have none.
bool AceFile::owns_mapping() const {
  return fileObj > 0 && mappedSize > 0 && mapAddress != nullptr;
}

/// Drops everything but the breakdown, after the stream was closed.
void AceFile::forget() {
  if (owns_mapping()) munmap(mapAddress, static_cast<std::size_t>(mappedSize));
  if (fileObj > 0) ::close(fileObj);
  fileSwap.reset();
  fileObj = 0;
  mapAddress = nullptr;
  mappedSize = 0;
  fileFlags = 0;
  currentOffset = 0;
  aceRep = nullptr;
  md5Enabled = false;
  shortRead = false;
  fileName = nullptr;
  memAt.release();
}

// How much is left a stream asks the system, which may not know it; mappings and buffers know their size.

bool AceFile::is_mapped() const {
  return (fileFlags & MAPPED) != 0;
}

bool AceFile::is_fully_read() const {
  return currentOffset == mappedSize || (mappedSize <= 0 && !is_mapped());
}

int AceFile::rewind() {
  return seek(0);
}

int AceFile::seek(Huge pos) {
  if (pos < 0 || (streamObj != nullptr && fseeko(streamObj, pos, SEEK_SET) != 0)) return -1;
  currentOffset = pos;
  shortRead = false;
  return 0;
}

Huge AceFile::get_size() const {
  if (streamObj == nullptr) return std::max(mappedSize, Huge{0});
  const Huge here = ftello(streamObj);
  if (here < 0 || fseeko(streamObj, 0, SEEK_END) != 0) return 0;
  const Huge size = ftello(streamObj);
  return fseeko(streamObj, here, SEEK_SET) == 0 ? std::max(size, Huge{0}) : 0;
}

Huge AceFile::get_left() const {
  if (streamObj == nullptr) {
    if (mappedSize <= 0 && !is_mapped()) return -1;
    return std::max(mappedSize - currentOffset, Huge{0});
  }
  struct stat info {};
  // Files that the system makes up while they are read have a size of 0.
  if (fstat(fileno(streamObj), &info) != 0 || !S_ISREG(info.st_mode) || info.st_size == 0) return -1;
  const Huge here = ftello(streamObj);
  return here < 0 ? -1 : std::max(info.st_size - here, Huge{0});
}

void* AceFile::relocate(void* address) {
  if (!owns_mapping() || address == nullptr) return nullptr;
  const auto size = static_cast<std::size_t>(mappedSize);
  // Only this object's own mapping may be replaced; what else lives at the address is left alone.
  const int placement = address == mapAddress ? MAP_FIXED : MAP_FIXED_NOREPLACE;
  void* moved = mmap(address, size, PROT_READ, MAP_PRIVATE | placement, fileObj, 0);
  if (moved == MAP_FAILED) return nullptr;
  if (moved != address) {  // a kernel that takes the address for a hint
    munmap(moved, size);
    return nullptr;
  }
  if (address != mapAddress) munmap(mapAddress, size);
  mapAddress = static_cast<char*>(address);
  fileFlags &= ~LOCKED;
  return address;
}

// Points of the breakdown are noted only once it was begun, the latest in front.

Huge AceFile::note(Huge pos, const char* text, short type, Token copy_text) {
  if (memPoint != nullptr) memPoint = new AceMemPoint(pos, 0, 0, text, type, copy_text, memPoint);
  if (aceRep != nullptr) aceRep->ppset(currentOffset, "");
  return currentOffset;
}

Huge AceFile::mem_open(const char* text, Token copy_text) {
  return note(currentOffset, text, POINT_OPEN, copy_text);
}

Huge AceFile::mem_point(const char* text, Token copy_text) {
  return note(currentOffset, text, POINT_MARK, copy_text);
}

Huge AceFile::mem_message(const char* text, Token copy_text) {
  return note(currentOffset, text, POINT_NOTE, copy_text);
}

Huge AceFile::mem_force(Huge pos, const char* text, Token copy_text) {
  return note(pos, text, POINT_NOTE, copy_text);
}

Huge AceFile::mem_close() {
  return note(currentOffset, "---END---", POINT_CLOSE, 0);
}

Huge AceFile::mem_info(const char* format, ...) {
  char text[AceReporter::MAX_MESSAGE] = "";
  if (memPoint != nullptr) {
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
  }
  return mem_message(text, 1);
}

AceMemPoint* AceFile::get_points() {
  AceMemPoint::reset_marker(memPoint, 0);
  return AceMemPoint::turn(std::exchange(memPoint, nullptr));
}
