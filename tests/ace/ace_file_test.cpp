#include "ace/ace_file.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ace/ace_crc32.h"
#include "ace/ace_exception.h"
#include "ace/ace_magic.h"
#include "ace/ace_mem_point.h"
#include "ace/ace_tracer.h"
#include "support/damage.h"
#include "support/failing_io.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"

using support::RecordingReporter;
using support::TempFolder;
using namespace std::string_literals;

namespace {

constexpr const char* READ_ERROR = "Cannot read expected number of bytes from file.";

/// The condition of the exception that `f` throws; empty if it throws none.
std::string condition_of(const std::function<void()>& f) {
  try {
    f();
  } catch (const AceException& error) {
    return error.get_cond();
  }
  return {};
}

/// The layout rules in their plainest form.
struct Layout {
  std::string bytes;

  void put(const void* data, std::size_t size, std::size_t alignment) {
    while (bytes.size() % alignment != 0) bytes += '\0';
    bytes.append(static_cast<const char*>(data), size);
  }
};

/// A primitive with a number: how it is written, and read and compared (as bits: a random float may be none).
struct Number {
  std::size_t size;
  std::function<void(AceFile&, unsigned long)> put;
  std::function<void(AceFile&, unsigned long)> expect;
};

template <class T>
Number number(VInt (AceFile::*put)(T), T (AceFile::*get)()) {
  return {sizeof(T),
          [=](AceFile& file, unsigned long bits) {
            T value;
            std::memcpy(&value, &bits, sizeof value);
            (file.*put)(value);
          },
          [=](AceFile& file, unsigned long bits) {
            const T value = (file.*get)();
            unsigned long found = bits;
            std::memcpy(&found, &value, sizeof value);
            EXPECT_EQ(found, bits) << sizeof value;
          }};
}

const std::vector<Number>& numbers() {
  static const std::vector<Number> table = {
      number<char>(&AceFile::put_char, &AceFile::get_char),
      number<Small>(&AceFile::put_small, &AceFile::get_small),
      number<int>(&AceFile::put_int, &AceFile::get_int),
      number<int>(&AceFile::put_int, &AceFile::preview_int),  // made whole by a get_int, see below
      number<Large>(&AceFile::put_int, &AceFile::get_large),
      number<float>(&AceFile::put_float, &AceFile::get_float),
      number<Huge>(&AceFile::put_huge, &AceFile::get_huge),
      number<Huge>(&AceFile::put_int, &AceFile::get_vint),
      number<BiBit>(&AceFile::put_int, &AceFile::get_mask),
      number<Mask>(&AceFile::put_mask, &AceFile::get_mask),
      number<VInt>(&AceFile::put_vint, &AceFile::get_vint),
      number<double>(&AceFile::put_double, &AceFile::get_double),
  };
  return table;
}

constexpr std::size_t PREVIEW = 3;

/// A number, or behind the table a string, a null string, a magic or a block of bytes.
struct Item {
  std::size_t kind;
  unsigned long bits;
  std::string text;
};
enum Special : std::size_t { STRING = 100, NULL_STRING, MAGIC, BLOCK };

int alignment_of(const Item& item) {
  return 1 << item.bits % 7;
}

std::string code_of(const Item& item) {
  return std::to_string(10000 + item.bits % 90000);
}

std::vector<Item> random_items(unsigned seed) {
  std::mt19937_64 random(seed);
  std::vector<Item> items(random() % 40);
  for (Item& item : items) {
    item = {random() % (numbers().size() + 4), random(), {}};
    if (item.kind >= numbers().size()) item.kind += STRING - numbers().size();
    for (auto length = random() % 20; length > 0; --length)
      item.text += static_cast<char>(item.kind == STRING ? 1 + random() % 255 : random() % 256);
  }
  return items;
}

std::string expected_bytes(const std::vector<Item>& items) {
  Layout out;
  for (const Item& item : items) {
    const Large count = item.kind == STRING ? static_cast<Large>(item.text.size()) + 1 : 0;
    const int magic = magic_number(code_of(item).c_str());
    if (item.kind < STRING) out.put(&item.bits, numbers()[item.kind].size, numbers()[item.kind].size);
    if (item.kind == MAGIC) out.put(&magic, 4, 4);
    if (item.kind == STRING || item.kind == NULL_STRING) out.put(&count, 4, 4);
    if (item.kind == STRING) out.put(item.text.c_str(), count, 8);
    if (item.kind == BLOCK)
      out.put(item.text.data(), item.text.size(), static_cast<std::size_t>(alignment_of(item)));
  }
  return out.bytes;
}

void write_items(AceFile& file, const std::vector<Item>& items) {
  for (const Item& item : items) {
    if (item.kind < STRING) numbers()[item.kind].put(file, item.bits);
    if (item.kind == MAGIC) file.put_magic(code_of(item).c_str());
    if (item.kind == STRING) file.put_string(item.text.c_str());
    if (item.kind == NULL_STRING) file.put_string(nullptr);
    if (item.kind == BLOCK)
      file.write(static_cast<VInt>(item.text.size()), item.text.data(), alignment_of(item));
  }
}

void read_and_compare(AceFile& file, const std::vector<Item>& items) {
  AceAttach at;
  for (const Item& item : items) {
    const bool even = item.bits % 2 == 0;
    const auto size = static_cast<VInt>(item.text.size());
    if (item.kind < STRING) numbers()[item.kind].expect(file, item.bits);
    if (item.kind == PREVIEW) file.get_int();
    if (item.kind == MAGIC) {
      EXPECT_EQ(file.get_magic("NONE", code_of(item).c_str()), 1);
    }
    if (item.kind == NULL_STRING) {
      EXPECT_EQ(even ? file.get_string(&at) : file.get_string(), nullptr);
    }
    if (item.kind == STRING) {
      char* text = even ? file.get_string(&at) : file.get_string();
      EXPECT_EQ(text, item.text);
      if (!even && !file.is_mapped()) delete[] text;
    }
    if (item.kind == BLOCK && even) {
      std::string copied(item.text.size(), '?');
      EXPECT_EQ(file.copy(size, copied.data(), alignment_of(item)), size);
      EXPECT_EQ(copied, item.text);
    } else if (item.kind == BLOCK) {
      const char* bytes = static_cast<char*>(file.read(size, &at, alignment_of(item)));
      EXPECT_EQ(std::string_view(bytes, item.text.size()), item.text);
      if (file.is_mapped()) {
        EXPECT_EQ(bytes, file.get_address() + file.get_pos() - size);
      }
    }
  }
}

/// Every way of opening `bytes` for reading. `use` gets the name of the way.
void in_all_read_modes(const std::string& name, const std::string& bytes,
                       const std::function<void(AceFile&, const char*)>& use) {
  support::write_file(name, bytes);
  AceFile file;
  ASSERT_EQ(file.prep(name.c_str(), nullptr), 0);
  use(file, "stream");
  for (const int mode : {0, -1, 4096}) {
    ASSERT_EQ(file.map(name.c_str(), nullptr, nullptr, mode, nullptr, nullptr), 0);
    use(file, "mapped");
  }
  const std::vector<Huge> aligned(bytes.size() / sizeof(Huge) + 1);
  if (bytes.empty()) return;  // a size of 0 stands for strlen
  std::memcpy(const_cast<Huge*>(aligned.data()), bytes.data(), bytes.size());
  ASSERT_EQ(file.init_read(reinterpret_cast<const char*>(aligned.data()), static_cast<VInt>(bytes.size())),
            0);
  use(file, "buffer");
}

}  // namespace

TEST(AceFile, a_stream_that_cannot_be_read_throws_and_an_interrupted_one_goes_on) {
  const TempFolder folder;
  const std::string name = folder.file("f");
  support::write_file(name, "line\n12345678rest");
  const auto read = [&] {
    AceFile file;
    AceAttach at;
    char* line = nullptr;
    char bytes[4];
    EXPECT_EQ(file.prep(name.c_str(), nullptr), 0);
    EXPECT_EQ(file.get_line(&line, &at), 4);
    file.get_huge();  // at offset 8
    EXPECT_EQ(file.copy(1, bytes, 1), 1);
    EXPECT_EQ(file.copy(1, bytes, 1), -1);
  };
  for (long offset = 0; offset < 17; ++offset) {
    const support::FailingReads fault(offset, EIO);
    try {
      read();
      ADD_FAILURE() << offset;
    } catch (const AceException& failure) {
      EXPECT_EQ(failure.get_info(),
                "'" + name + "' at offset " + std::to_string(offset) + ": Input/output error");
    }
  }
  for (long offset = 0; offset < 17; ++offset) {
    const support::FailingReads interrupts(offset, EINTR, 3);
    read();
  }
}

TEST(AceFile, every_mode_writes_the_same_layout_and_reads_it_back) {
  const TempFolder folder;
  const std::string name = folder.file("values");
  for (unsigned seed = 1; seed <= 150; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const auto items = random_items(seed);
    const std::string expected = expected_bytes(items);
    const auto size = static_cast<Huge>(expected.size());

    AceFile file;
    for (const bool atomic : {false, true}) {
      if (atomic && seed > 10) break;  // waits for the disk
      ASSERT_EQ(atomic ? file.build_atomic(name.c_str(), nullptr) : file.build(name.c_str(), nullptr), 0);
      write_items(file, items);
      EXPECT_EQ(file.get_pos(), size);
      file.close();
      EXPECT_EQ(support::read_file(name), expected);
    }
    std::string buffer(expected.size() + 1, '?');
    ASSERT_EQ(file.init_write(buffer.data(), size), 0);
    write_items(file, items);
    EXPECT_EQ(buffer, expected + '?');
    file.scan(nullptr);
    write_items(file, items);
    EXPECT_EQ(file.get_pos(), size);

    in_all_read_modes(name, expected, [&](AceFile& in, const char* mode) {
      SCOPED_TRACE(mode);
      EXPECT_EQ(in.get_size(), size);
      for (int pass = 0; pass < 2; ++pass, in.rewind()) {
        read_and_compare(in, items);
        EXPECT_EQ(in.get_pos(), size);
        EXPECT_TRUE(in.is_fully_read());
        EXPECT_FALSE(in.is_short());
      }
    });
  }
}

TEST(AceFile, a_known_sequence_has_its_known_bytes) {
  alignas(8) char image[64];
  AceFile file;
  file.init_write(image, sizeof image);
  file.put_char('a');
  file.put_int(7);
  file.put_string("ab");
  file.put_string(nullptr);
  file.write(0, nullptr, 8);
  file.put_bool(true);
  EXPECT_EQ(file.write(-1, nullptr, 8), 0);
  EXPECT_EQ(std::string(image, static_cast<std::size_t>(file.get_pos())),
            "a\0\0\0\7\0\0\0"s + "\3\0\0\0\0\0\0\0"s + "ab\0\0\0\0\0\0"s + "\1"s);
}

TEST(AceFile, sizes_beyond_the_end_are_refused_in_every_mode_without_allocating_them) {
  const TempFolder folder;
  const std::string bytes(20, 'x');
  in_all_read_modes(folder.file("short"), bytes, [&](AceFile& file, const char* mode) {
    SCOPED_TRACE(mode);
    AceAttach at;
    for (const VInt size :
         {21L, 1L << 40, std::numeric_limits<long>::max(), -1L, std::numeric_limits<long>::min()}) {
      file.rewind();
      if (file.is_mapped()) {
        EXPECT_EQ(condition_of([&] { file.read(size, 1); }), READ_ERROR);
        EXPECT_EQ(condition_of([&] { file.read(size, &at, 8); }), READ_ERROR);
        EXPECT_EQ(condition_of([&] { file.read_array<Huge>(size, 8); }), READ_ERROR);
      } else {
        EXPECT_EQ(file.read(size, 1), nullptr);
        EXPECT_EQ(file.read(size, &at, 8), nullptr);
        EXPECT_EQ(file.read_array<Huge>(size, 8), nullptr);
      }
    }
    ASSERT_EQ(file.seek(16), 0);
    EXPECT_EQ(file.get_left(), 4);
    Huge value = 0;
    if (file.is_mapped()) {
      EXPECT_EQ(condition_of([&] { file.get_huge(); }), READ_ERROR);
      EXPECT_EQ(condition_of([&] { file.copy(8, &value, 4); }), READ_ERROR);
    } else {
      EXPECT_EQ(file.get_huge(), 0);
      EXPECT_TRUE(file.is_short());
    }
    if (file.seek(std::numeric_limits<long>::max()) == 0) {
      EXPECT_EQ(condition_of([&] { file.get_huge(); }), "File offset out of range!");
    }
    EXPECT_EQ(condition_of([&] { file.align(3); }), "Alignment is not a power of two!");
  });
}

TEST(AceFile, a_string_that_lies_about_its_length_or_end_is_refused) {
  const TempFolder folder;
  const std::string good = "\3\0\0\0\0\0\0\0ab\0"s;
  const std::string unterminated = "\3\0\0\0\0\0\0\0abcd"s;
  for (const std::string& bytes : {unterminated, support::overwrite(good, 0, Large{4}),
                                   support::overwrite(good, 0, Large{0xFFFFFFFF}), support::cut(good, 2)})
    in_all_read_modes(folder.file("string"), bytes, [&](AceFile& file, const char* mode) {
      for (const bool inAttach : {true, false}) {
        AceAttach at;
        file.rewind();
        char* text = nullptr;
        const auto condition =
            condition_of([&] { text = inAttach ? file.get_string(&at) : file.get_string(); });
        EXPECT_EQ(text, nullptr) << mode;
        const bool refused = bytes == unterminated ? condition == "String in file is not terminated!"
                             : file.is_mapped()    ? condition == READ_ERROR
                                                   : file.is_short();
        EXPECT_TRUE(refused) << mode << " " << condition;
      }
    });
}

TEST(AceFile, a_pipe_is_read_in_bounded_steps) {
  const TempFolder folder;
  const std::string name = folder.file("pipe");
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  std::string content(3 << 20, 'p');
  content.replace(0, 8, "\0\1\2\3\4\5\6\7"s);
  std::thread writer([&] { support::write_file(name, content); });
  AceFile file;
  ASSERT_EQ(file.prep(name.c_str(), nullptr), 0);
  EXPECT_EQ(file.get_left(), -1);
  file.get_char();
  const int next = file.preview_int();
  EXPECT_EQ(next, 0x07060504);
  EXPECT_EQ(file.get_int(), next);
  const VInt size = static_cast<VInt>(content.size()) - 12;
  const std::unique_ptr<char[]> bytes(static_cast<char*>(file.read(size, 4)));
  EXPECT_EQ(std::string_view(bytes.get(), static_cast<std::size_t>(size)),
            std::string_view(content).substr(8, size));
  EXPECT_EQ(file.read(1L << 45, 1), nullptr);
  writer.join();
}

TEST(AceFile, only_readable_regular_files_are_mapped_and_folders_are_not_read) {
  const TempFolder folder;
  const std::string fifo = folder.file("fifo");
  const std::string empty = folder.file("empty");
  const std::string text = folder.file("text");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  support::write_file(empty, "");
  support::write_file(text, "text");
  RecordingReporter errors;
  errors.set_as_default();
  AceFile file;
  const auto map = [&](const char* name) { return file.map(name, nullptr, nullptr, 0, nullptr, nullptr); };
  EXPECT_EQ(map(folder.file("none").c_str()), -2);
  EXPECT_EQ(map(nullptr), -2);
  EXPECT_EQ(map(folder.file("").c_str()), -3);
  EXPECT_EQ(map(fifo.c_str()), -3);
  EXPECT_EQ(map("/dev/zero"), -3);
  EXPECT_EQ(file.prep(folder.file("").c_str(), nullptr), -2);
  EXPECT_EQ(file.prep(nullptr, nullptr), -2);
  EXPECT_EQ(file.build(folder.file("").c_str(), nullptr), -1);
  EXPECT_EQ(file.build_atomic(folder.file("").c_str(), nullptr), -1);
  EXPECT_EQ(file.build_atomic((text + "/below").c_str(), nullptr), -1);
  EXPECT_EQ(file.build(nullptr, nullptr), -1);
  for (const char* call :
       {"fileObj = open_file(filename, O_RDONLY)", "streamObj = AceFile::open(filename,\"rb\")",
        "streamObj = AceFile::open(filename,\"wb\")"})
    EXPECT_NE(errors.all().find(call), std::string::npos) << call;
  AceReporter::clear_default();

  ASSERT_EQ(map(empty.c_str()), 0);
  EXPECT_TRUE(file.is_mapped() && file.is_fully_read());
  EXPECT_EQ(condition_of([&] { file.get_char(); }), READ_ERROR);
  EXPECT_EQ(file.relocate(&file), nullptr);

  // Descriptor 0 stands for "no descriptor" and is avoided.
  const int input = dup(0);
  ::close(0);
  EXPECT_EQ(map(text.c_str()), 0);
  EXPECT_EQ(file.get_char(), 't');
  file.close();
  dup2(input, 0);
}

TEST(AceFile, a_mode_is_not_used_for_what_it_is_not) {
  AceFile file;
  file.init_read("text", 4);
  EXPECT_EQ(condition_of([&] { file.put_int(1); }), "File is not open for writing!");
  char room[8];
  file.init_write(room, sizeof room);
  EXPECT_EQ(condition_of([&] { file.get_int(); }), "File is not open for reading!");
  file.put_int(1);
  EXPECT_EQ(condition_of([&] { file.put_huge(1L); }), "Cannot write expected number of bytes into buffer.");
  EXPECT_EQ(file.init_read(nullptr, 4), -1);
  EXPECT_EQ(file.init_write(nullptr, 4), -1);
  EXPECT_EQ(file.put_line("no stream"), -1);
  // Measuring reads nothing and only counts.
  EXPECT_EQ(file.get_huge(), 0);
  EXPECT_EQ(file.read(4, 4), nullptr);
  EXPECT_EQ(file.get_pos(), 12);
}

TEST(AceFile, failed_writes_say_what_failed) {
  const auto failure = [](const std::function<void(AceFile&)>& write) {
    AceFile file;
    EXPECT_EQ(file.build("/dev/full", nullptr), 0);
    std::string text;
    try {
      write(file);
      file.close();
    } catch (const AceException& error) {
      text = error.get_cond() + "|"s + (error.get_info() != nullptr ? error.get_info() : "");
    }
    return text;
  };
  const std::string block(1 << 20, 'x');
  EXPECT_EQ(failure([&](AceFile& file) { file.write(1 << 20, block.data(), 1); }),
            "Error writing buffer into file!|Only written 0 of 1048576 bytes");
  EXPECT_EQ(failure([](AceFile& file) { file.put_char('x'), file.align(1 << 20); }).substr(0, 45),
            "Error writing padding into file!|Only written");
  EXPECT_EQ(failure([&](AceFile& file) { file.put_line(block.c_str()); }), "Error writing line into file!|");
  EXPECT_EQ(failure([](AceFile& file) { file.put_int(1); }).substr(0, 66),
            "Error closing the file descriptor. The file may be corrupt!|'/dev/");

  // The first of two pieces, from memory that nobody has to fill.
  constexpr std::size_t SIZE = 4294967295UL + 16;
  void* zeros = mmap(nullptr, SIZE, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(zeros, MAP_FAILED);
  EXPECT_EQ(failure([&](AceFile& file) { file.write(SIZE, zeros, 1); }),
            "Error writing buffer into file!|Only written 0of 4294967295 bytes");
  munmap(zeros, SIZE);
}

TEST(AceFile, get_magic_finds_the_first_code_and_leaves_others_unread) {
  const TempFolder folder;
  Layout layout;
  const int stored[] = {magic_number("B"), 4711, -1};
  layout.put(stored, sizeof stored, 4);
  in_all_read_modes(folder.file("magic"), layout.bytes, [](AceFile& file, const char* mode) {
    EXPECT_EQ(file.get_magic("A", nullptr, "B", "B"), 2) << mode;
    EXPECT_EQ(file.get_magic("A", "B"), -1) << mode;
    EXPECT_EQ(file.get_pos(), 4) << mode;
    if (file.is_mapped()) {
      EXPECT_EQ(file.get_int(), 4711);
      EXPECT_EQ(file.get_magic("A", "B", "!"), 2);
    } else {
      ASSERT_EQ(file.seek(12), 0);
      EXPECT_EQ(file.get_magic("B"), -1);
      EXPECT_EQ(file.get_pos(), 12) << "there was no int to go back over";
    }
  });
}

TEST(AceMagic, numbers_and_codes_correspond) {
  char code[MAGIC_STRING_SIZE];
  EXPECT_EQ(magic_number("ARRAY"), 1 + (17 << 1) + (34 << 7) + (34 << 13) + (17 << 19) + (41 << 25));
  for (const char* text : {"ARRAY", "TIDX", "BASE6", "1", "", "ooooo"})
    EXPECT_STREQ(magic_string(magic_number(text), code), text);
  EXPECT_EQ(magic_number("AB.CD"), magic_number("AB"));
  EXPECT_EQ(magic_number(".AB"), 1);
  EXPECT_EQ(magic_number("ARRAYS!"), magic_number("ARRAY"));
  EXPECT_EQ(magic_number("0p"), magic_number("001"));
  EXPECT_EQ(magic_number("0000p"), static_cast<int>(0x80000001U));
  for (const int magic : {0, 2, -1, -4}) EXPECT_EQ(magic_string(magic, code), nullptr);
  EXPECT_EQ(magic_number(nullptr), -1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(magic_number("A!"), -1);
  AceTracer::set("VERBOSE_ERRORS", 1);
  EXPECT_EQ(magic_number("A\xE4"), -1);
  EXPECT_EQ(magic_string(-2, code), nullptr);
  AceTracer::set("VERBOSE_ERRORS", 0);
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "'A\xE4' is not magic\nfffffffe is not magic\n");
}

TEST(AceFile, lines_are_found_wherever_they_end) {
  const TempFolder folder;
  const std::string bytes = "one\n\ntwo\r\nth\0ree\n\r\nlast"s;
  const std::vector<std::string> expected = {"one", "", "two", "three", "", "last"};
  in_all_read_modes(folder.file("lines"), bytes, [&](AceFile& file, const char* mode) {
    AceAttach at;
    char* line = nullptr;
    for (int pass = 0; pass < 2; ++pass) {
      std::vector<std::string> found;
      for (VInt length = file.get_line(&line, &at, 0); length >= 0; length = file.get_line(&line, &at)) {
        EXPECT_EQ(static_cast<std::size_t>(length), std::strlen(line));
        found.emplace_back(line);
      }
      EXPECT_EQ(found, expected) << mode;
      EXPECT_EQ(file.get_pos(), static_cast<Huge>(bytes.size()));
      EXPECT_EQ(line, nullptr);
    }
    EXPECT_EQ(file.get_line(&line, &at, 6), 2);
    EXPECT_STREQ(line, "wo");
    EXPECT_EQ(file.get_line(&line, &at, 1000), -1);
  });
}

TEST(AceFile, a_stream_breaks_full_pieces_at_carriage_returns_and_announces_endless_lines) {
  const TempFolder folder;
  constexpr std::size_t PIECE = 65535;
  const std::string a(PIECE - 1, 'a');
  const std::string b(PIECE + 20, 'b');
  const std::string endless((1 << 20) + 1, 'e');
  const std::string name = folder.file("lines");
  // A return that ends a piece with its line feed in the next; two of them in the middle; short: not looked
  // for.
  support::write_file(name, a + "\r\n" + "x\ry\r" + b + "\n" + "c\rd\n" + endless);
  RecordingReporter events;
  events.set_as_default();
  AceFile file;
  ASSERT_EQ(file.prep(name.c_str(), nullptr), 0);
  for (const std::string& expected : {a, "x"s, "y"s, b, "cd"s, endless}) {
    AceAttach at;
    char* line = nullptr;
    EXPECT_EQ(file.get_line(&line, &at), static_cast<VInt>(expected.size()));
    EXPECT_TRUE(line == expected);
  }
  AceReporter::clear_default();
  EXPECT_EQ(events.all(), "wSORV_0000 Line of length 1048577 bytes read from file!\n");
  EXPECT_EQ(file.get_pos(), file.get_size());
}

TEST(AceFile, mapping_faults_in_and_checks_every_nth_byte) {
  const TempFolder folder;
  const std::string name = folder.file("bytes");
  support::write_file(name, "0123456789");
  unsigned expected = 0;
  for (const char byte : "0369"s) expected = crc32_update(byte, expected);
  AceFile file;
  Large checksum = 0;
  ASSERT_EQ(file.map(name.c_str(), nullptr, nullptr, 3, &checksum, nullptr), 0);
  EXPECT_EQ(checksum, expected);

  unsigned check = 0xFFFFFFFF;  // the published check value of CRC-32
  for (const char byte : "123456789"s) check = crc32_update(byte, check);
  EXPECT_EQ(~check, 0xCBF43926U);
}

TEST(AceFile, relocating_moves_the_mapping_and_spares_what_is_there) {
  const TempFolder folder;
  const std::string name = folder.file("bytes");
  support::write_file(name, "content");
  AceFile file;
  ASSERT_EQ(file.map(name.c_str(), nullptr, nullptr, 0, nullptr, nullptr), 0);
  void* taken = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  EXPECT_EQ(file.relocate(taken), nullptr);
  EXPECT_EQ(file.preview_int(), 0x746E6F63);
  munmap(taken, 4096);
  EXPECT_EQ(file.relocate(taken), taken);
  EXPECT_EQ(file.get_address(), taken);
  EXPECT_EQ(file.relocate(taken), taken);
  EXPECT_EQ(file.get_int(), 0x746E6F63);
  EXPECT_EQ(file.relocate(static_cast<char*>(taken) + 1), nullptr);
  file.init_read("buffer", 0);
  EXPECT_EQ(file.relocate(taken), nullptr);
}

TEST(AceFile, the_breakdown_lists_every_point_in_order) {
  AceFile file;
  file.mem_open("ignored");
  EXPECT_FALSE(file.has_mem_info());
  file.scan("title");
  file.put_int(1);
  EXPECT_EQ(file.mem_open("section"), 4);
  file.put_huge(2L);
  {
    const std::string passing = "a text that does not last, and is long enough not to be kept in place";
    file.mem_point(passing.c_str(), 1);
  }
  file.mem_force(3, "forced");
  file.mem_message("noted");
  file.mem_info("%d values", 2);
  file.mem_close();
  AceMemPoint* points = file.get_points();
  EXPECT_FALSE(file.has_mem_info());
  std::string listed;
  for (const AceMemPoint* point = points; point != nullptr; point = point->get_next(0))
    listed += std::to_string(point->get_pos()) + "/" + std::to_string(point->get_type()) + " " +
              point->get_comment() + "\n";
  EXPECT_EQ(listed,
            "0/0 title\n4/1 section\n"
            "16/0 a text that does not last, and is long enough not to be kept in place\n"
            "3/2 forced\n16/2 noted\n16/2 2 values\n16/-1 ---END---\n");
  AceMemPoint::remove(points);
}

TEST(AceFile, opening_tells_the_scale_and_closing_the_digest) {
  const TempFolder folder;
  const std::string name = folder.file("hashed");
  RecordingReporter rep;
  AceReporter::set_progress(1);
  AceFile file;
  ASSERT_EQ(file.build(name.c_str(), &rep), 0);
  file.put_char('a');
  file.put_huge(1L);
  file.put_line("text");
  file.close();
  ace_md5::MD5_CTX md5;
  ace_md5::MD5_Init(&md5);
  const std::string bytes = support::read_file(name);
  EXPECT_EQ(bytes, "a\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0text\n"s);
  ace_md5::MD5_Update(&md5, bytes.data(), bytes.size());
  unsigned char digest[16];
  ace_md5::MD5_Final(digest, &md5);
  std::string hex;
  for (const unsigned char byte : digest)
    hex += "0123456789abcdef"[byte / 16], hex += "0123456789abcdef"[byte % 16];
  EXPECT_EQ(rep.all(), "MD5 hash of file '" + name + "': " + hex);
  ASSERT_EQ(file.prep(name.c_str(), &rep), 0);
  EXPECT_NE(rep.messages.back().find("21\tRead file"), std::string::npos) << rep.messages.back();
}
