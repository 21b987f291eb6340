#include "ace/ace_sum.h"

#include <nmmintrin.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_file_swap.h"
#include "ace/ace_magic.h"
#include "ace/ace_reporter.h"
#include "ace/ace_thread.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* EXTENSION = ".sum";
constexpr const char* KIND = "crc32c4:";
constexpr std::size_t WORD = sizeof(VUint);
constexpr int NUM_LANES = 4;
constexpr std::size_t PIECE = std::size_t{1} << 20;
constexpr std::size_t MAX_SUM_SIZE = 256;

// ---------------------------------------------------------------- CRC-32C
// The bytes go round several lanes, each with a sum of its own, so that no instruction waits for another.

constexpr std::array<unsigned, 256> make_table() {
  constexpr unsigned REVERSED_POLYNOMIAL = 0x82F63B78;
  std::array<unsigned, 256> table{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    unsigned crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ ((crc & 1) != 0 ? REVERSED_POLYNOMIAL : 0);
    table[byte] = crc;
  }
  return table;
}

constexpr std::array<unsigned, 256> TABLE = make_table();

unsigned add_word_plain(unsigned crc, VUint word) {
  for (std::size_t i = 0; i < WORD; ++i, word >>= 8) crc = crc >> 8 ^ TABLE[(crc ^ word) & 0xFF];
  return crc;
}

/// Whole rounds of all lanes.
void add_rounds_plain(unsigned* lanes, const char* bytes, std::size_t rounds) {
  for (; rounds > 0; --rounds)
    for (int lane = 0; lane < NUM_LANES; ++lane, bytes += WORD) {
      VUint word = 0;
      std::memcpy(&word, bytes, WORD);
      lanes[lane] = add_word_plain(lanes[lane], word);
    }
}

/// The lanes hide the three cycles that an instruction waits for the one before.
__attribute__((target("sse4.2"))) void add_rounds_sse(unsigned* lanes, const char* bytes,
                                                      std::size_t rounds) {
  VUint crc[NUM_LANES] = {lanes[0], lanes[1], lanes[2], lanes[3]};
  for (; rounds > 0; --rounds, bytes += NUM_LANES * WORD) {
    VUint words[NUM_LANES];
    std::memcpy(words, bytes, sizeof words);
    for (int lane = 0; lane < NUM_LANES; ++lane) crc[lane] = _mm_crc32_u64(crc[lane], words[lane]);
  }
  for (int lane = 0; lane < NUM_LANES; ++lane) lanes[lane] = static_cast<unsigned>(crc[lane]);
}

// ---------------------------------------------------------------- sums
// The sum of a file is one line of text beside it: its size, the digest of all of it, and its format.

struct FileClose {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, FileClose>;

AceReporter* reporter_of(AceReporter* rep) {
  return rep != nullptr ? rep : AceReporter::use_default();
}

int report_error(AceReporter* rep, const char* action, const std::string& name, int error) {
  char reason[128];
  rep->printf("Cannot %s '%s': %s\n", action, name.c_str(), ace_strerror(error, reason, sizeof reason));
  return AceSum::DAMAGED;
}

OpenFile open_file(const std::string& name) {
  OpenFile file(AceFile::open(name.c_str(), "rb"));
  if (file != nullptr && AceFile::is_folder(file.get())) {
    file.reset();
    errno = EISDIR;
  }
  return file;
}

const char* text_of(const char* name) {
  return name != nullptr ? name : "";
}

/// "ff08005a EDITC" for the start of a file.
std::string format_of(const char* bytes, std::size_t size) {
  int words[2] = {0, 0};
  std::memcpy(words, bytes, std::min(size, sizeof words));
  char version[16];
  std::snprintf(version, sizeof version, "%08x ", static_cast<unsigned>(words[0]));
  char code[8] = "";
  const bool hasCode =
      words[1] > 0 && words[1] % 2 == 1 && magic_string(words[1], code) != nullptr && *code != '\0';
  return version + std::string(hasCode ? code : "-");
}

/// The line of a file. False with `errno` when it cannot be read.
bool sum_of(const std::string& name, std::string* line) {
  const OpenFile file = open_file(name);
  if (file == nullptr) return false;
  std::vector<char> piece(PIECE);
  AceSum::Digest digest;
  std::string format;
  VUint size = 0;
  for (bool isFirst = true;; isFirst = false) {
    const std::size_t count = AceFile::read_from(file.get(), piece.data(), piece.size());
    if (count < piece.size() && std::ferror(file.get()) != 0) return false;
    if (isFirst) format = format_of(piece.data(), count);
    digest.add(piece.data(), count);
    size += count;
    if (count < piece.size()) break;
  }
  *line = std::to_string(size) + " " + digest.text() + " " + format;
  return true;
}

/// What a sum file says, without its line feed. Empty for none, or one of another form.
std::string read_sum(const std::string& file) {
  const OpenFile sum = open_file(AceSum::name_of(file));
  if (sum == nullptr) return {};
  char bytes[MAX_SUM_SIZE];
  const std::string text(bytes, AceFile::read_from(sum.get(), bytes, sizeof bytes));
  const std::size_t blank = text.find_first_not_of("0123456789");
  const bool isSum = blank != std::string::npos && blank > 0 && text[blank] == ' ' &&
                     text.compare(blank + 1, std::strlen(KIND), KIND) == 0 &&
                     text.find('\n') == text.size() - 1;
  return isSum ? text.substr(0, text.size() - 1) : std::string();
}

bool is_index_file(const fs::path& path) {
  const OpenFile file = open_file(path.string());
  int word = 0;
  return file != nullptr && AceFile::read_from(file.get(), &word, sizeof word) == sizeof word &&
         word == AceFile::get_version_magic();
}

}  // namespace

void AceSum::Digest::add(const void* data, std::size_t size) {
  static const bool hasCrc = __builtin_cpu_supports("sse4.2") != 0;
  const auto addRounds = hasCrc ? add_rounds_sse : add_rounds_plain;
  constexpr std::size_t ROUND = NUM_LANES * WORD;
  const char* const bytes = static_cast<const char*>(data);
  addRounds(lanes, bytes, size / ROUND);
  const char* at = bytes + size / ROUND * ROUND;
  for (int lane = 0; at < bytes + size; ++lane, at += WORD) {
    VUint word = 0;
    std::memcpy(&word, at, std::min<std::size_t>(WORD, static_cast<std::size_t>(bytes + size - at)));
    lanes[lane] = add_word_plain(lanes[lane], word);
  }
}

std::string AceSum::Digest::text() const {
  char hex[NUM_LANES * 8 + 1];
  std::snprintf(hex, sizeof hex, "%08x%08x%08x%08x", ~lanes[0], ~lanes[1], ~lanes[2], ~lanes[3]);
  return std::string(KIND) + hex;
}

int AceSum::write(const char* name, AceReporter* rep) {
  const char* const file = text_of(name);
  std::string line;
  if (!sum_of(file, &line)) return report_error(reporter_of(rep), "read", file, errno);
  AceFileSwap swap;
  std::FILE* const out = swap.open(name_of(file).c_str());
  if (out != nullptr) std::fprintf(out, "%s\n", line.c_str());
  if (out != nullptr && swap.commit() == 0) return 0;
  return report_error(reporter_of(rep), "write", name_of(file), errno);
}

int AceSum::remove(const char* name, AceReporter* rep) {
  const char* const file = text_of(name);
  if (read_sum(file).empty() || std::remove(name_of(file).c_str()) == 0 || errno == ENOENT) return 0;
  return report_error(reporter_of(rep), "remove", name_of(file), errno);
}

int AceSum::check(const char* name, AceReporter* rep) {
  const char* const file = text_of(name);
  const std::string expected = read_sum(file);
  if (expected.empty()) {
    reporter_of(rep)->printf("File '%s' has no sum: expected a line in '%s'\n", file, name_of(file).c_str());
    return NO_SUM;
  }
  std::string found;
  if (!sum_of(file, &found)) return report_error(reporter_of(rep), "read", file, errno);
  if (found == expected) return 0;
  reporter_of(rep)->printf("File '%s' is not the one that its sum is of: expected %s, found %s\n", file,
                           expected.c_str(), found.c_str());
  return DAMAGED;
}

int AceSum::check_folder(const char* folder, AceReporter* rep) {
  int numFiles = 0;
  int numFaults = 0;
  try {
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(text_of(folder))) {
      const fs::path& path = entry.path();
      if (!entry.is_regular_file()) continue;
      if (path.extension() == EXTENSION) {
        const std::string file = path.string().substr(0, path.string().size() - std::strlen(EXTENSION));
        if (read_sum(file).empty()) continue;  // not one of these
        ++numFiles;
        if (check(file.c_str(), rep) != 0) ++numFaults;
      } else if (is_index_file(path) && read_sum(path.string()).empty()) {
        reporter_of(rep)->printf("File '%s' has no sum\n", path.c_str());
      }
    }
  } catch (const fs::filesystem_error& error) {
    return report_error(reporter_of(rep), "read folder",
                        error.path1().empty() ? text_of(folder) : error.path1().string(),
                        error.code().value());
  }
  reporter_of(rep)->printf("%d files with sums in '%s', %d faults\n", numFiles, text_of(folder), numFaults);
  return numFaults;
}

AceSum::Background::Background(const char* file, AceReporter* rep) : name(text_of(file)), reporter(rep) {
  checker = std::thread([this] {
    const AceUncancellable uncancellable;
    try {
      result = check(name.c_str(), reporter);
    } catch (const std::exception& error) {
      reporter_of(reporter)->printf("Cannot check '%s': %s\n", name.c_str(), error.what());
      result = DAMAGED;
    }
    isDone = true;
  });
}

AceSum::Background::~Background() {
  wait();
}

int AceSum::Background::wait() {
  if (checker.joinable()) checker.join();
  return result;
}
