/// The values and lines of `AceFile`: everything that moves its offset.

#include <sys/stat.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_map.h"

namespace {

constexpr const char* READ_ERROR = "Cannot read expected number of bytes from file.";

constexpr Huge MAX_PIECE = 4294967295;            // bytes handed to the stream at once
constexpr std::size_t LINE_PIECE = 65536;         // of a text line, one of them for a terminator
constexpr std::size_t MAX_SILENT_LINE = 1048576;  // longer text lines are announced
constexpr Huge FIRST_GUESS = 1 << 20;             // read at first from a stream of unknown length

Huge end_of(Huge start, Huge size) {
  Huge end = 0;
  if (__builtin_add_overflow(start, size, &end))
    throw AceException("File offset out of range!", "%ld bytes at offset %ld", size, start);
  return end;
}

/// The next at most `LINE_PIECE` - 1 bytes, up to and with a line feed, appended to `bytes`. Unlike `fgets`
/// it counts zero bytes. Returns the number of bytes.
std::size_t append_piece(std::FILE* stream, std::string& bytes) {
  std::size_t count = 0;
  while (count < LINE_PIECE - 1) {
    const int byte = AceFile::get_byte(stream);
    if (byte == EOF) break;
    bytes.push_back(static_cast<char>(byte));
    ++count;
    if (byte == '\n') break;
  }
  return count;
}

/// Copy of a line in `at`, without line ends and zero bytes. Returns its length.
VInt clean_line(const char* bytes, VInt size, char** line, AceAttach* at) {
  char* start = static_cast<char*>(at->alloc(size + 1));
  char* end = std::copy_if(bytes, bytes + size, start,
                           [](char byte) { return byte != '\r' && byte != '\n' && byte != '\0'; });
  *end = '\0';
  *line = start;
  return end - start;
}

}  // namespace

// Offsets.

/// Tells a caller that mixes up the modes, before a file is broken or a mapping written to.
void AceFile::require(Flag flag) const {
  if (fileFlags == 0 || (fileFlags & flag) != 0) return;
  throw AceException(flag == READ ? "File is not open for reading!" : "File is not open for writing!",
                     "'%s' has mode %u", fileName != nullptr ? fileName : "", fileFlags);
}

Huge AceFile::aligned(Huge alignment) const {
  if (alignment <= 0 || !std::has_single_bit(static_cast<VUint>(alignment)))
    throw AceException("Alignment is not a power of two!", "%ld", alignment);
  return end_of(currentOffset, alignment - 1) & ~(alignment - 1);
}

Huge AceFile::align(Huge alignment) {
  const Huge start = aligned(alignment);
  if ((fileFlags & WRITE) != 0) {
    check_room(start, 0);
    pad_to(start);
  } else {
    skip_to(start);
  }
  return start;
}

// Writing.

/// Only a buffer of known size has limits.
void AceFile::check_room(Huge start, Huge size) const {
  if (mappedSize <= 0 || (start <= mappedSize && size <= mappedSize - start)) return;
  throw AceException("Cannot write expected number of bytes into buffer.",
                     "%ld bytes at offset %ld, the buffer has %ld", size, start, mappedSize);
}

/// Fills the gap before `start` with zero bytes and goes there.
void AceFile::pad_to(Huge start) {
  const Huge gap = start - currentOffset;
  if (gap > 0 && streamObj != nullptr) write_padding(gap);
  if (gap > 0 && mapAddress != nullptr)
    std::memset(mapAddress + currentOffset, 0, static_cast<std::size_t>(gap));
  currentOffset = start;
}

void AceFile::write_padding(Huge gap) {
  static constexpr char ZEROS[64] = {};
  for (Huge done = 0; done < gap;) {
    const auto wanted = static_cast<std::size_t>(std::min<Huge>(gap - done, sizeof ZEROS));
    const std::size_t written = std::fwrite(ZEROS, 1, wanted, streamObj);
    ace_md5::MD5_Update(&md5Hash, ZEROS, written);
    done += static_cast<Huge>(written);
    if (written < wanted) {
      md5Enabled = false;
      throw AceException("Error writing padding into file!", "Only written %d of %d bytes",
                         static_cast<int>(done), static_cast<int>(gap));
    }
  }
}

void AceFile::write_stream(const char* data, Huge size) {
  for (Huge done = 0; done < size;) {
    const Huge wanted = std::min(size - done, MAX_PIECE);
    const auto written =
        static_cast<Huge>(std::fwrite(data + done, 1, static_cast<std::size_t>(wanted), streamObj));
    if (written < wanted) {
      md5Enabled = false;
      const bool last = wanted == size - done;
      throw AceException("Error writing buffer into file!",
                         last ? "Only written %ld of %ld bytes" : "Only written %ldof %ld bytes", written,
                         wanted);
    }
    ace_md5::MD5_Update(&md5Hash, data + done, static_cast<unsigned long>(wanted));
    done += wanted;
  }
}

VInt AceFile::write(VInt size, const void* data, int alignment) {
  if (size < 0) return 0;
  require(WRITE);
  const Huge start = aligned(alignment);
  const Huge end = end_of(start, size);
  if (fileFlags == 0) {
    currentOffset = end;
    return size;
  }
  check_room(start, size);
  pad_to(start);
  if (size == 0) return 0;
  if (data == nullptr) throw AceNullpointerException("data");
  if (streamObj != nullptr)
    write_stream(static_cast<const char*>(data), size);
  else
    std::memcpy(mapAddress + start, data, static_cast<std::size_t>(size));
  currentOffset = end;
  return size;
}

VInt AceFile::put_bool(bool value) {
  return put_value(static_cast<Token>(value ? 1 : 0));
}

VInt AceFile::put_magic(const char* code) {
  return put_int(magic_number(code));
}

VInt AceFile::put_string(const char* text) {
  if (text == nullptr) return put_int(0);
  const auto count = static_cast<VInt>(std::strlen(text)) + 1;
  if (count > std::numeric_limits<Large>::max())
    throw AceException("String is too long for a file!", "%ld bytes", count);
  const VInt head = put_int(static_cast<Large>(count));
  return head + write(count, text, 8);
}

VInt AceFile::put_line(const char* text) {
  if (streamObj == nullptr || text == nullptr) return -1;
  require(WRITE);
  const std::size_t length = std::strlen(text);
  const bool hashed = std::exchange(md5Enabled, false);  // nothing to report of half a line
  if (std::fwrite(text, 1, length, streamObj) < length) throw AceException("Error writing line into file!");
  if (std::fputc('\n', streamObj) == EOF) throw AceException("Error writing newline into file!");
  md5Enabled = hashed;
  ace_md5::MD5_Update(&md5Hash, text, length);
  ace_md5::MD5_Update(&md5Hash, "\n", 1);
  const auto size = static_cast<VInt>(length) + 1;
  currentOffset += size;
  return size;
}

// Reading.

/// The one place that decides what a mapping or a buffer has to offer.
void AceFile::check_mapped(Huge start, Huge size) const {
  if (size >= 0 && start <= mappedSize && size <= mappedSize - start) return;
  throw AceException(READ_ERROR, "%ld bytes at offset %ld, '%s' has %ld", size, start,
                     fileName != nullptr ? fileName : "buffer", mappedSize);
}

/// The next `size` bytes of the stream; fewer only at its end.
std::size_t AceFile::fetch(void* to, std::size_t size) {
  const std::size_t count = read_from(streamObj, to, size);
  if (count < size) check_stream();
  return count;
}

/// Where a stream gives no more bytes: throws unless that is its end.
void AceFile::check_stream() const {
  if (std::ferror(streamObj) == 0) return;
  char reason[128];
  const char* text = ace_strerror(errno, reason, sizeof reason);
  throw AceException(READ_ERROR, "'%s' at offset %ld: %s", fileName, ftello(streamObj), text);
}

/// Skips the gap before `start`, whatever is in it, and goes there. False when a stream ends before.
bool AceFile::skip_to(Huge start) {
  Huge gap = start - currentOffset;
  currentOffset = start;
  if (streamObj == nullptr) return true;
  while (gap > 0 && get_byte(streamObj) != EOF) --gap;
  if (gap > 0) check_stream();
  return gap == 0;
}

/// Gives the last bytes read back to the stream, in front of the next one.
bool AceFile::unread(const char* bytes, std::size_t count) {
  if (count == 0 || fseeko(streamObj, -static_cast<off_t>(count), SEEK_CUR) == 0) return true;
  while (count > 0 && std::ungetc(static_cast<unsigned char>(bytes[count - 1]), streamObj) != EOF) --count;
  return count == 0;
}

VInt AceFile::copy(Huge size, void* dest, int alignment) {
  require(READ);
  const Huge start = aligned(alignment);
  if (is_mapped()) {
    check_mapped(start, size);
    if (size > 0) std::memcpy(dest, mapAddress + start, static_cast<std::size_t>(size));
  } else if (!skip_to(start) || size < 0) {
    return -1;
  } else if (streamObj != nullptr) {
    const auto wanted = static_cast<std::size_t>(size);
    if (fetch(dest, wanted) < wanted) return -1;
  }
  currentOffset = end_of(start, size);
  return size;
}

/// `size` bytes of the stream; null when it ends before. What the file claims to hold is no reason to
/// allocate it: the array is as long as the rest of the file, or grows with what arrives.
std::unique_ptr<char[]> AceFile::read_stream(Huge size) {
  const Huge left = get_left();
  if (left >= 0 && size > left) return nullptr;
  Huge room = left >= 0 ? size : std::min(size, FIRST_GUESS);
  auto bytes = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(room));
  for (Huge done = 0;;) {
    const auto wanted = static_cast<std::size_t>(room - done);
    if (fetch(bytes.get() + done, wanted) < wanted) return nullptr;
    if (room == size) return bytes;
    done = room;
    room = room > size / 2 ? size : 2 * room;
    auto longer = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(room));
    std::memcpy(longer.get(), bytes.get(), static_cast<std::size_t>(done));
    bytes = std::move(longer);
  }
}

/// The same into `at`; the detour over an array is only for streams of unknown length.
void* AceFile::read_stream(Huge size, AceAttach* at) {
  const auto wanted = static_cast<std::size_t>(size);
  if (get_left() >= size) {
    void* kept = at->alloc(size);
    return fetch(kept, wanted) == wanted ? kept : nullptr;
  }
  const std::unique_ptr<char[]> bytes = read_stream(size);
  return bytes != nullptr ? std::memcpy(at->alloc(size), bytes.get(), wanted) : nullptr;
}

void* AceFile::read_bytes(VInt size, int alignment, AceAttach* at, bool in_attach) {
  require(READ);
  const Huge start = aligned(alignment);
  if (is_mapped()) {
    check_mapped(start, size);
    currentOffset = start + size;
    return mapAddress + start;
  }
  if (!skip_to(start) || size < 0) return nullptr;
  if (streamObj == nullptr) {
    currentOffset = end_of(start, size);
    return nullptr;
  }
  void* result = in_attach ? read_stream(size, at) : read_stream(size).release();
  if (result != nullptr) currentOffset = end_of(start, size);
  return result;
}

char* AceFile::get_string_bytes(AceAttach* at, bool in_attach) {
  const Large count = get_large();
  if (count == 0) return nullptr;
  char* text = static_cast<char*>(read_bytes(count, 8, at, in_attach));
  if (text == nullptr) {
    shortRead = true;
    return nullptr;
  }
  const char last = text[count - 1];
  if (last == '\0') return text;
  if (!is_mapped() && !in_attach) delete[] text;
  throw AceException("String in file is not terminated!",
                     "%u bytes before offset %ld end with %d instead of 0", count, currentOffset, last);
}

int AceFile::get_magic(const char* m0, const char* m1, const char* m2, const char* m3, const char* m4,
                       const char* m5, const char* m6, const char* m7, const char* m8, const char* m9) {
  const int found = get_int();
  int index = 0;
  for (const char* code : {m0, m1, m2, m3, m4, m5, m6, m7, m8, m9}) {
    if (code != nullptr && magic_number(code) == found) return index;
    ++index;
  }
  if (!shortRead) currentOffset -= static_cast<Huge>(sizeof found);
  return -1;
}

int AceFile::preview_int() {
  const Huge before = currentOffset;
  int value = 0;
  if (streamObj == nullptr) {
    value = get_int();
    currentOffset = before;
    return value;
  }
  require(READ);
  char bytes[2 * sizeof value];
  const auto gap = static_cast<std::size_t>(aligned(sizeof value) - before);
  const std::size_t wanted = gap + sizeof value;
  const std::size_t count = fetch(bytes, wanted);
  if (count == wanted) std::memcpy(&value, bytes + gap, sizeof value);
  unread(bytes, count);
  return value;
}

// Text lines.

VInt AceFile::get_line(char** line, AceAttach* at, Huge pos) {
  *line = nullptr;
  require(READ);
  if (pos >= 0 && seek(pos) != 0) return -1;
  std::string collected;
  const char* bytes = nullptr;
  VInt size = 0;
  if (streamObj != nullptr) {
    size = get_stream_line(collected);
    bytes = collected.data();
  } else {
    size = get_mapped_line(&bytes);
  }
  if (size == 0) return -1;
  currentOffset += size;
  return clean_line(bytes, size, line, at);
}

/// Reads the bytes of the next line with its end; returns their number, 0 at the end of the file.
///
/// A piece that is full without a line feed is searched for a carriage return, so that a file with those as
/// its line ends does not become one line. A line feed behind the piece's last byte belongs to that.
VInt AceFile::get_stream_line(std::string& bytes) {
  for (;;) {
    const std::size_t start = bytes.size();
    const std::size_t count = append_piece(streamObj, bytes);
    if (count == 0 || bytes.back() != '\n') check_stream();
    if (count < LINE_PIECE - 1 || bytes.back() == '\n') break;
    const std::size_t end = bytes.find('\r', start);
    if (end == std::string::npos) continue;
    if (end + 1 == bytes.size()) {
      const int next = get_byte(streamObj);
      if (next == '\n')
        bytes.push_back('\n');
      else if (next != EOF)
        std::ungetc(next, streamObj);
    } else {
      unread(bytes.data() + end + 1, bytes.size() - end - 1);
      bytes.resize(end + 1);
    }
    break;
  }
  if (bytes.size() > MAX_SILENT_LINE)
    AceReporter::use_default()->ev_wprintf("Line of length %ld bytes read from file!\n",
                                           static_cast<long>(bytes.size()));
  return static_cast<VInt>(bytes.size());
}

/// Stores where the next line starts; returns the number of its bytes with its end, 0 at the end of the file.
VInt AceFile::get_mapped_line(const char** bytes) {
  if (!is_mapped() || currentOffset >= mappedSize) return 0;
  const auto* separators = ace_linesepmap();
  const char* start = mapAddress + currentOffset;
  const char* end = mapAddress + mappedSize;
  const char* line_end =
      std::find_if(start, end, [=](char c) { return separators[static_cast<unsigned char>(c)] != 0; });
  if (line_end + 1 < end && line_end[0] == '\r' && line_end[1] == '\n') ++line_end;
  if (line_end < end) ++line_end;
  *bytes = start;
  return line_end - start;
}
