/// One sequence of reads through every way of reading the same bytes: all must give the same values, and all
/// must refuse at the same place.
///
/// Input: a number of operations, one byte per operation, then the bytes of the file. The stream is a memory
/// file as well as a pipe, whose length nobody knows before.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t MAX_PIPE = 60000;  // what a pipe takes without a reader
constexpr int OPERATIONS = 20;

template <class T>
void append(std::string& out, T value) {
  out.append(reinterpret_cast<const char*>(&value), sizeof value);
}

void append_block(std::string& out, const void* bytes, VInt size) {
  if (bytes != nullptr) out.append(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
}

/// Carries out one operation and appends what it gave. False when the file is refused.
bool operate(AceFile& file, std::uint8_t operation, std::string& out) {
  AceAttach at;
  const int alignment = 1 << (operation / OPERATIONS % 8);
  switch (operation % OPERATIONS) {
    case 0:
      append(out, file.get_bool());
      break;
    case 1:
      append(out, file.get_char());
      break;
    case 2:
      append(out, file.get_small());
      break;
    case 3:
      append(out, file.get_int());
      break;
    case 4:
      append(out, file.get_large());
      break;
    case 5:
      append(out, file.get_float());
      break;
    case 6:
      append(out, file.get_double());
      break;
    case 7:
      append(out, file.get_huge());
      break;
    case 8:
      append(out, file.get_mask());
      break;
    case 9:
      append(out, file.get_vint());
      break;
    case 10:
      append(out, file.get_magic("ARRAY", "TIDX", nullptr, "1"));
      break;
    case 11: {
      const char* text = file.get_string(&at);
      if (text != nullptr) append_block(out, text, static_cast<VInt>(std::strlen(text)));
      break;
    }
    case 12: {
      char* text = file.get_string();
      if (text != nullptr) append_block(out, text, static_cast<VInt>(std::strlen(text)));
      if (!file.is_mapped()) delete[] text;
      break;
    }
    case 13: {  // the count is the file's
      const VInt size = file.get_vint();
      const void* bytes = file.read(size, &at, alignment);
      if (bytes == nullptr) return false;
      append_block(out, bytes, size);
      break;
    }
    case 14: {
      const VInt count = file.get_vint();
      Huge* numbers = file.read_array<Huge>(count, 8);
      if (numbers == nullptr) return false;
      append_block(out, numbers, count * VInt{sizeof(Huge)});
      if (!file.is_mapped()) delete[] reinterpret_cast<char*>(numbers);
      break;
    }
    case 15: {
      char block[16];
      if (file.copy(alignment % 17, block, alignment) < 0) return false;
      append_block(out, block, alignment % 17);
      break;
    }
    case 16:
      file.align(alignment);
      break;
    case 17: {  // a short preview is no error in a stream
      const Huge before = file.get_pos();
      const int preview = file.preview_int();
      if (file.get_pos() != before) std::abort();
      if (file.get_int() != preview && !file.is_short()) std::abort();
      break;
    }
    case 18:
      if (file.is_mapped()) return file.read(0, alignment) != nullptr;
      return file.read(0, &at, alignment) != nullptr;
    default:
      return file.read(-1 - alignment, &at, alignment) != nullptr;
  }
  return !file.is_short();
}

/// Everything that the operations give until the first one that is refused.
std::string run(AceFile& file, Bytes operations, std::size_t size) {
  std::string out;
  for (const std::uint8_t operation : operations) {
    const std::size_t before = out.size();
    bool good = false;
    try {
      good = operate(file, operation, out);
    } catch (const AceException&) {
    }
    if (!good || file.get_pos() > static_cast<Huge>(size)) {
      out.resize(before);  // what a refused operation gave before it noticed does not count
      return out + "refused";
    }
    // Behind a code that was not found, the stream is not where its offset says.
    if (operation % OPERATIONS == 10 && out.ends_with("\xFF\xFF\xFF\xFF")) return out;
    append(out, file.get_pos());
  }
  return out;
}

/// Text lines go by other rules in streams and mappings; they must end and stay inside.
void read_lines(AceFile& file) {
  AceAttach at;
  char* line = nullptr;
  file.seek(0);
  while (file.get_line(&line, &at) >= 0)
    if (std::strpbrk(line, "\r\n") != nullptr) std::abort();
}

struct MemoryFile {
  explicit MemoryFile(Bytes bytes) : descriptor(memfd_create("input", MFD_CLOEXEC)) {
    if (write(descriptor, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) std::abort();
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { close(descriptor); }
  std::string name() const { return "/proc/self/fd/" + std::to_string(descriptor); }

  int descriptor;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Bytes input(data, size);
  if (size < 2 || data[0] >= size - 1) return 0;
  const Bytes operations = input.subspan(1, data[0]);
  const Bytes bytes = input.subspan(1 + operations.size());

  const MemoryFile memory(bytes);
  AceFile file;
  if (file.map(memory.name().c_str(), nullptr, nullptr, 1, nullptr, nullptr) != 0) std::abort();
  const std::string expected = run(file, operations, bytes.size());
  read_lines(file);

  std::vector<Huge> aligned(bytes.size() / sizeof(Huge) + 1);
  std::memcpy(aligned.data(), bytes.data(), bytes.size());
  file.init_read(reinterpret_cast<const char*>(aligned.data()), static_cast<VInt>(bytes.size()));
  if (run(file, operations, bytes.size()) != expected) std::abort();

  if (file.prep(memory.name().c_str(), nullptr) != 0) std::abort();
  if (run(file, operations, bytes.size()) != expected) std::abort();
  read_lines(file);
  file.close();

  int ends[2];
  if (bytes.size() > MAX_PIPE || pipe(ends) != 0) return 0;
  // Opened while there is a writer, for whom the system would wait.
  const std::string end = "/proc/self/fd/" + std::to_string(ends[0]);
  if (file.prep(end.c_str(), nullptr) != 0) std::abort();
  close(ends[0]);
  if (write(ends[1], bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) std::abort();
  close(ends[1]);
  if (run(file, operations, bytes.size()) != expected) std::abort();
  return 0;
}
