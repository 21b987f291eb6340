#include "ace/ace_input.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <random>

#include "ace/ace_exception.h"
#include "oracle/lines.h"
#include "support/failing_io.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"

namespace {

using Lines = std::vector<std::string>;

/// The default reporter of a test: what readers warn about.
struct Warnings : support::RecordingReporter {
  Warnings() { set_as_default(); }
  Warnings(const Warnings&) = delete;
  Warnings& operator=(const Warnings&) = delete;
  ~Warnings() override { clear_default(); }
};

/// Reads to the end, or while the position is below `end`. Checks the line numbers.
Lines read_all(AceInput* input, Huge end = -1) {
  Lines lines;
  char* line = nullptr;
  VInt number = -1;
  while (end < 0 || input->get_pos() < end) {
    const int expected = input->lineNum;
    const int length = input->read_line(&line, &number);
    EXPECT_EQ(number, expected);
    if (length < 0) break;
    lines.emplace_back(line, length);
    EXPECT_EQ(line[length], '\0');
  }
  return lines;
}

std::string random_text(std::mt19937* random, int maxSize, std::string_view letters) {
  std::string text(std::uniform_int_distribution<size_t>(0, maxSize)(*random), ' ');
  for (char& c : text) c = letters[std::uniform_int_distribution<size_t>(0, letters.size() - 1)(*random)];
  return text;
}

constexpr std::string_view HOSTILE{"aaab\r\n\n\r\0", 9};

std::FILE* stream_of(const std::string& data) {
  std::FILE* stream = std::tmpfile();
  std::fwrite(data.data(), 1, data.size(), stream);
  std::rewind(stream);
  return stream;
}

}  // namespace

TEST(AceInput, gives_each_line_of_a_stream_and_of_a_text_exactly) {
  Warnings warnings;
  for (unsigned seed = 1; seed <= 600; ++seed) {
    std::mt19937 random(seed);
    const std::string data = random_text(&random, seed % 3 == 0 ? 200 : 20, HOSTILE);
    const bool skipEmpty = seed % 2 == 0;
    const int bufSize = std::uniform_int_distribution(-1, 40)(random);
    SCOPED_TRACE("seed " + std::to_string(seed));

    AceInput input(nullptr, bufSize, skipEmpty, stream_of(data));
    EXPECT_EQ(read_all(&input), oracle::lines_of(data, skipEmpty));
    EXPECT_EQ(input.get_pos(), static_cast<Huge>(data.size()));
    EXPECT_EQ(input.nullCount, static_cast<Large>(std::count(data.begin(), data.end(), '\0')));
    EXPECT_EQ(input.rewind(), 0);
    EXPECT_EQ(read_all(&input), oracle::lines_of(data, skipEmpty)) << "after rewind";

    std::string text = data.substr(0, data.find('\0'));
    const Lines lines = oracle::lines_of(text, skipEmpty);
    AceInput memory(text.data(), skipEmpty);
    EXPECT_EQ(read_all(&memory), lines);
  }
}

TEST(AceInput, parts_together_give_each_line_once_in_order) {
  Warnings warnings;
  const support::TempFolder folder;
  const std::string name = folder.file("lines");
  for (unsigned seed = 1; seed <= 120; ++seed) {
    std::mt19937 random(seed);
    const std::string data = random_text(&random, 60, seed % 4 == 0 ? "\r\n" : HOSTILE);
    const bool skipEmpty = seed % 2 == 0;
    support::write_file(name, data);
    const Lines lines = oracle::lines_of(data, skipEmpty);
    const size_t header = seed % 3 == 0 ? std::min<size_t>(lines.size(), 1) : 0;
    for (int numParts = 1; numParts <= static_cast<int>(data.size()) + 2; ++numParts) {
      Lines joined;
      Huge lastEnd = -1;
      for (int part = 0; part < numParts; ++part) {
        AceInput input(name.c_str(), 7, skipEmpty);
        char* line = nullptr;
        if (header > 0) input.read_line(&line);
        const Huge end = input.partition(part, numParts);
        EXPECT_LE(lastEnd, end);
        lastEnd = end;
        const Lines some = read_all(&input, end);
        joined.insert(joined.end(), some.begin(), some.end());
      }
      EXPECT_EQ(joined, Lines(lines.begin() + header, lines.end()))
          << "seed " << seed << ", " << numParts << " parts";
      EXPECT_EQ(lastEnd, static_cast<Huge>(data.size()));
    }
  }
}

TEST(AceInput, a_file_smaller_than_the_number_of_parts_goes_to_the_last_part) {
  Warnings warnings;
  AceInput input(nullptr, 100, false, stream_of("a\nb\n"));
  EXPECT_EQ(input.partition(0, 9), 0);
  EXPECT_EQ(input.partition(8, 9), 4);
  EXPECT_EQ(read_all(&input, 4), (Lines{"a", "b"}));
  for (const auto& [part, numParts] : {std::pair{-1, 2}, {2, 2}, {0, 0}, {0, -1}})
    EXPECT_EQ(input.partition(part, numParts), -1);
  EXPECT_EQ(warnings.events.size(), 4u);
}

TEST(AceInput, warns_about_a_lone_carriage_return_and_not_about_others) {
  Warnings warnings;
  AceInput windows(nullptr, 3, false, stream_of("a\r\nb\r"));
  EXPECT_EQ(read_all(&windows), (Lines{"a", "b"}));
  EXPECT_TRUE(warnings.events.empty());
  AceInput old(nullptr, 3, false, stream_of("x\na\rb"));
  EXPECT_EQ(read_all(&old), (Lines{"x", "a", "b"}));
  EXPECT_EQ(warnings.events, Lines{"wSORV_0000 Incorrect EOL in line 1: Read \r but not \n"});
}

TEST(AceInput, warns_about_a_hundred_nul_bytes_and_then_once_more) {
  Warnings warnings;
  const support::TempFolder folder;
  const std::string name = folder.file("nul");
  support::write_file(name, "x\n" + std::string(150, '\0'));
  AceInput input(name.c_str(), 16, false);
  EXPECT_EQ(read_all(&input), (Lines{"x", std::string(150, '\0')}));
  ASSERT_EQ(warnings.events.size(), 101u);
  EXPECT_EQ(warnings.events[99], "wSORV_0000 Null character in file '" + name + "', line 1!");
  EXPECT_EQ(warnings.events[100], "wSORV_0000 Null character in file! Skipping further warnings.");
  EXPECT_EQ(input.nullCount, 150u);
}

TEST(AceInput, warns_about_a_line_of_more_than_a_mebibyte_and_returns_it_whole) {
  Warnings warnings;
  const std::string limit(1048576, 'x');
  AceInput input(nullptr, 2, false, stream_of(limit + "\n" + limit + "x"));
  EXPECT_EQ(read_all(&input), (Lines{limit, limit + "x"}));
  EXPECT_EQ(warnings.events, Lines{"wSORV_0000 Line of length 1048577 bytes read from file!\n"});
}

TEST(AceInput, an_endless_run_of_line_ends_does_not_grow_the_buffer) {
  struct Spy : AceInput {
    using AceInput::AceInput;
    using AceInput::bufSize;
  };
  Spy input(nullptr, 64, true, stream_of("first" + std::string(100000, '\n') + "last"));
  EXPECT_EQ(read_all(&input), (Lines{"first", "last"}));
  EXPECT_EQ(input.bufSize, 64);
  EXPECT_EQ(input.get_pos(), 100009);
}

TEST(AceInput, bytes_are_read_and_given_back_within_the_line) {
  Warnings warnings;
  for (const bool inMemory : {false, true}) {
    std::string text = "ab";
    AceInput input = inMemory ? AceInput(text.data(), false) : AceInput(nullptr, 2, false, stream_of(text));
    char c = '\0';
    EXPECT_EQ(input.unget(), -1);
    EXPECT_EQ(input.get_char(&c), 0);
    EXPECT_EQ(c, 'a');
    EXPECT_EQ(input.unget(), 0);
    EXPECT_EQ(input.get_pos(), 0);
    EXPECT_EQ(input.get_char(&c) + input.get_char(&c), 0);
    EXPECT_EQ(c, 'b');
    EXPECT_EQ(input.get_char(&c), -1);
    EXPECT_EQ(input.get_char(&c), -1);
    EXPECT_EQ(input.get_pos(), 2);
  }
}

TEST(AceInput, skip_passes_comments_and_consumes_the_byte_that_ends_it) {
  Warnings warnings;
  const std::string data = std::string(" \t\r\n# one\n\n  #two\r") + '\0' + " xrest\nnext";
  for (int bufSize = 2; bufSize < 40; ++bufSize) {
    AceInput input(nullptr, bufSize, false, stream_of(data));
    EXPECT_EQ(input.skip(), 0);
    EXPECT_EQ(input.lineNum, 4);
    EXPECT_EQ(read_all(&input), (Lines{"rest", "next"}));
    EXPECT_EQ(input.skip(), 0);
  }
}

TEST(AceInput, positions_can_be_returned_to) {
  Warnings warnings;
  std::string text = "one\ntwo\nthree";
  AceInput memory(text.data(), false);
  const support::TempFolder folder;
  support::write_file(folder.file("f"), text);
  AceInput file(folder.file("f").c_str(), 5, false);
  for (AceInput* input : {&memory, &file}) {
    char* line = nullptr;
    input->read_line(&line);
    const Huge second = input->get_pos();
    EXPECT_EQ(second, 4);
    EXPECT_EQ(read_all(input), (Lines{"two", "three"}));
    EXPECT_EQ(input->jump_to_pos(second), 0);
    EXPECT_EQ(read_all(input), (Lines{"two", "three"}));
    EXPECT_EQ(input->jump_to_pos(-1), -1);
  }
  EXPECT_EQ(memory.jump_to_pos(14), -1);
  EXPECT_EQ(warnings.events.size(), 3u);
  EXPECT_EQ(file.get_size(), 13);
  EXPECT_EQ(file.get_sizek(), 1);
  EXPECT_EQ(memory.get_size(), 0);
}

TEST(AceInput, a_text_in_memory_rewinds_with_line_feeds_for_its_cuts) {
  std::string text = "a\r\nb";
  AceInput input(text.data(), false);
  EXPECT_EQ(read_all(&input), (Lines{"a", "b"}));
  input.rewind();
  EXPECT_EQ(read_all(&input), (Lines{"a", "", "b"}));
}

TEST(AceInput, a_pipe_is_read_but_refuses_to_be_positioned) {
  Warnings warnings;
  std::FILE* pipe = popen("printf 'a\\nb\\n'", "r");
  ASSERT_NE(pipe, nullptr);
  AceInput input(nullptr, 100, false, pipe);
  EXPECT_EQ(input.get_size(), -1);
  EXPECT_EQ(input.partition(0, 2), -1);
  EXPECT_EQ(input.rewind(), -1);
  EXPECT_EQ(warnings.events.size(), 2u);
  EXPECT_EQ(read_all(&input), (Lines{"a", "b"}));
}

TEST(AceInput, what_cannot_be_read_is_no_end_of_the_file) {
  const support::TempFolder folder;
  const std::string name = folder.file("f");
  const std::string data = "one\ntwo\nthree";
  support::write_file(name, data);
  for (int bufSize = 2; bufSize < 20; bufSize += 3)
    for (size_t offset = 0; offset < data.size(); ++offset) {
      SCOPED_TRACE("byte " + std::to_string(offset));
      Warnings warnings;
      std::optional<support::FailingReads> fault(std::in_place, static_cast<long>(offset), EIO);
      AceInput input(name.c_str(), bufSize, false);
      const Lines before = oracle::lines_of(data.substr(0, data.substr(0, offset).rfind('\n') + 1), false);
      EXPECT_EQ(read_all(&input), before);
      EXPECT_EQ(read_all(&input), Lines{});
      EXPECT_EQ(input.read_error(), EIO);
      EXPECT_EQ(warnings.events, Lines{"wSORV_0000 Reading file '" + name + "' failed at byte " +
                                       std::to_string(offset) + ": Input/output error"});
      EXPECT_EQ(input.rewind(), 0);
      if (offset > 4 && offset < 8) EXPECT_EQ(input.partition(1, 2), -1);
      fault.reset();
      EXPECT_EQ(input.rewind(), 0);
      EXPECT_EQ(input.read_error(), 0);
      EXPECT_EQ(read_all(&input), (Lines{"one", "two", "three"}));

      const support::FailingReads interrupts(static_cast<long>(offset), EINTR, 3);
      AceInput interrupted(name.c_str(), bufSize, false);
      EXPECT_EQ(read_all(&interrupted), (Lines{"one", "two", "three"}));
    }
}

TEST(AceInput, a_stream_that_cannot_be_moved_has_no_parts) {
  Warnings warnings;
  const support::TempFolder folder;
  support::write_file(folder.file("f"), "one\ntwo\nthree");
  for (int numGood = 0; numGood < 4; ++numGood) {
    const support::FailingReads unharmed(1000, EIO);
    AceInput input(folder.file("f").c_str(), 100, false);
    const support::FailingCall fault(support::Call::SEEK, EIO, numGood);
    EXPECT_EQ(input.partition(1, 2), -1) << numGood;
  }
  EXPECT_EQ(warnings.events.size(), 4u);
}

TEST(AceInput, what_cannot_be_opened_throws) {
  Warnings warnings;
  const support::TempFolder folder;
  const std::string name = folder.file("absent");
  try {
    AceInput input(name.c_str(), 100, false);
    FAIL();
  } catch (const AceException& failure) {
    EXPECT_STREQ(failure.get_cond(), "File not found");
    EXPECT_EQ(failure.get_info(), name);
  }
  EXPECT_THROW(AceInput(nullptr, 100, false), AceException);
  EXPECT_THROW(AceInput(folder.file(".").c_str(), 100, false), AceException);
}

TEST(AceInput, changes_to_another_source) {
  const support::TempFolder folder;
  support::write_file(folder.file("f"), "1\n2\n3\n");
  std::string text = "x";
  AceInput input(text.data(), false);
  EXPECT_EQ(read_all(&input), Lines{"x"});
  EXPECT_EQ(input.init(folder.file("f").c_str(), 100, false), 1);
  char* line = nullptr;
  input.read_line(&line);
  EXPECT_EQ(input.init(nullptr, 3, false), 1);  // the same stream, from where it was
  EXPECT_EQ(input.get_filename(), folder.file("f"));
  EXPECT_EQ(read_all(&input), (Lines{"2", "3"}));
}

TEST(AceInput, prints_where_it_is) {
  const auto position = [](const std::string& text, int bytes, const char* name) {
    AceInput input(name, 4, false, stream_of(text));
    char* line = nullptr;
    input.read_line(&line);
    char c = '\0';
    for (int i = 0; i < bytes; ++i) input.get_char(&c);
    testing::internal::CaptureStdout();
    EXPECT_EQ(input.error(), 0);
    EXPECT_EQ(input.errorCount, 1);
    return testing::internal::GetCapturedStdout();
  };
  EXPECT_EQ(position("1\nabc\nd", 2, "f"), "f:1:2:\nabc\n");
  EXPECT_EQ(position("1\nabc\nd", 0, ""), "-BLANK-:1:0:\na\n") << "no more is buffered";
  EXPECT_EQ(position("1\nabc\nd", 4, nullptr), "%%%UNDEF%%%:1:4:\nabc\nd\n");

  std::string text = std::string(100, 'a') + std::string(300, 'b');
  AceInput input(text.data(), false);
  char c = '\0';
  for (int i = 0; i < 100; ++i) input.get_char(&c);
  testing::internal::CaptureStdout();
  input.error();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "%%%UNDEF%%%:0:100:\n" + std::string(40, 'a') + std::string(160, 'b') + "\n");
}
