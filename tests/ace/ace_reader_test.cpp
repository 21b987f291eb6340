#include "ace/ace_reader.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(AceArrayReader, skips_null_entries_and_numbers_by_index) {
  const char* lines[] = {nullptr, "one", nullptr, "", "three"};
  AceArrayReader reader(5, lines);
  for (int round = 0; round < 2; ++round) {
    const char* line = nullptr;
    VInt number = -1;
    EXPECT_EQ(reader.read_line(&line, &number), 3);
    EXPECT_STREQ(line, "one");
    EXPECT_EQ(number, 1);
    EXPECT_EQ(reader.read_line(&line, nullptr), 0);
    EXPECT_EQ(reader.read_line(&line, &number), 5);
    EXPECT_EQ(number, 4);
    EXPECT_EQ(reader.read_line(&line, &number), -1);
    EXPECT_EQ(reader.rewind(), 0);
  }
  const char* line = nullptr;
  EXPECT_EQ(AceArrayReader(3, nullptr).read_line(&line, nullptr), -1);
}

TEST(AceArrayReader, copies_like_strncpy_and_never_counts_beyond_the_buffer) {
  const char* lines[] = {"abcdef", "ab", "abcd"};
  AceArrayReader reader(3, lines);
  char buf[6] = "#####";
  EXPECT_EQ(reader.copy_line(buf, 4), 4);
  EXPECT_EQ(std::memcmp(buf, "abcd#", 6), 0);
  EXPECT_EQ(reader.copy_line(buf, 4), 2);
  EXPECT_EQ(std::memcmp(buf, "ab\0\0#", 6), 0);
  EXPECT_EQ(reader.copy_line(buf, -1), 0);
  EXPECT_EQ(reader.copy_line(buf, 4), -1);
}

TEST(AceCustomReader, hands_its_argument_to_the_callback_and_cannot_rewind) {
  const char* source[] = {"first", "second", nullptr};
  const char** next = source;
  AceCustomReader reader(
      [](const char** line, void* arg) {
        auto* at = static_cast<const char***>(arg);
        *line = *(*at)++;
        return *line != nullptr ? static_cast<int>(std::strlen(*line)) : -7;
      },
      &next);
  const char* line = nullptr;
  VInt number = -1;
  EXPECT_EQ(reader.read_line(&line, &number), 5);
  EXPECT_EQ(number, 0);
  char buf[4] = "###";
  EXPECT_EQ(reader.copy_line(buf, 3), 6) << "the length of the line";
  EXPECT_EQ(std::memcmp(buf, "sec", 4), 0);
  EXPECT_EQ(reader.copy_line(buf, 3), -1);
  EXPECT_EQ(reader.rewind(), -1);
  EXPECT_EQ(AceCustomReader(nullptr, nullptr).read_line(&line, &number), -1);
  EXPECT_EQ(AceCustomReader(nullptr, nullptr).copy_line(buf, 3), -1);
}
