#include "ace/ace_sum.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "ace/ace_file.h"
#include "ace/ace_wrap.h"
#include "support/damage.h"
#include "support/failing_io.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"

namespace {

/// A magic and a text.
struct Text : AceWrap {
  VInt save(AceFile* file) override {
    file->put_magic("TEXT");
    return file->put_string(text.c_str()) > 0 ? 0 : -1;
  }
  VInt read(AceFile* file) override {
    AceAttach at;
    if (file->get_magic("TEXT") < 0) return -1;
    text = file->get_string(&at);
    return static_cast<VInt>(text.size());
  }
  std::string text = "contents";
};

/// CRC-32C by the definition.
unsigned crc32c(const std::string& bytes) {
  unsigned crc = ~0U;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc % 2 == 1 ? 0x82F63B78 : 0);
  }
  return ~crc;
}

std::string digest_by_definition(std::string bytes) {
  bytes.resize((bytes.size() + 7) / 8 * 8);
  std::string lanes[4];
  for (size_t i = 0; i < bytes.size() / 8; ++i) lanes[i % 4] += bytes.substr(8 * i, 8);
  std::string text = "crc32c4:";
  for (const std::string& lane : lanes) {
    char hex[9];
    std::snprintf(hex, sizeof hex, "%08x", crc32c(lane));
    text += hex;
  }
  return text;
}

}  // namespace

TEST(AceSum, the_digest_is_that_of_the_definition_in_whatever_pieces) {
  EXPECT_EQ(crc32c("123456789"), 0xE3069283);  // the check value of CRC-32C
  std::mt19937 random(1);
  for (size_t size = 0; size < 200; ++size) {
    std::string bytes(size, ' ');
    for (char& c : bytes) c = static_cast<char>(random());
    AceSum::Digest whole;
    whole.add(bytes.data(), size);
    EXPECT_EQ(whole.text(), digest_by_definition(bytes)) << size;
    AceSum::Digest pieces;
    for (size_t at = 0; at < size; at += 32) pieces.add(bytes.data() + at, std::min<size_t>(32, size - at));
    EXPECT_EQ(pieces.text(), whole.text()) << size;
  }
}

TEST(AceSum, a_dump_with_a_sum_is_loaded_only_as_it_was_written) {
  const support::TempFolder folder;
  const std::string name = folder.file("f");
  Text text;
  support::RecordingReporter rep;
  ASSERT_EQ(text.dump_with_sum(name.c_str(), nullptr), 0);
  const std::string bytes = support::read_file(name);
  EXPECT_EQ(support::read_file(name + ".sum"), "25 " + digest_by_definition(bytes) + " ff08005a TEXT\n");
  EXPECT_EQ(text.load_checked(name.c_str(), 1, &rep), 8);
  support::for_each_damage(bytes, [&](const std::string& damaged, const std::string& what) {
    support::write_file(name, damaged);
    EXPECT_EQ(text.load_checked(name.c_str(), 0, &rep), -9) << what;
    EXPECT_EQ(AceSum::Background(name.c_str(), AceReporter::null()).wait(), AceSum::DAMAGED) << what;
  });
  EXPECT_NE(rep.all().find("File '" + name + "' is not the one that its sum is of: expected 25 crc32c4:"),
            std::string::npos);
  support::write_file(name, bytes);
  EXPECT_EQ(AceSum::Background(name.c_str(), nullptr).wait(), 0);
  {
    const support::FailingReads fault(30, EIO);
    EXPECT_EQ(AceSum::check(name.c_str(), &rep), AceSum::NO_SUM) << "the sum is longer than the file";
  }
  text.text = "other";
  ASSERT_EQ(text.dump(name.c_str(), nullptr), 0);
  EXPECT_FALSE(std::filesystem::exists(name + ".sum")) << "of the file before";
  EXPECT_EQ(text.load_checked(name.c_str(), 1, &rep), -9);
  support::write_file(name + ".sum", "somebody's own file\n");
  ASSERT_EQ(text.dump(name.c_str(), nullptr), 0);
  EXPECT_EQ(support::read_file(name + ".sum"), "somebody's own file\n");
  EXPECT_EQ(AceSum::check(nullptr, &rep), AceSum::NO_SUM);
}

TEST(AceSum, a_whole_folder_is_checked) {
  const support::TempFolder folder;
  std::filesystem::create_directory(folder.file("below"));
  Text text;
  for (const char* name : {"a", "b", "below/c", "below/d"})
    ASSERT_EQ(text.dump_with_sum(folder.file(name).c_str(), nullptr), 0);
  text.dump(folder.file("without").c_str(), nullptr);
  support::write_file(folder.file("no index file"), "x");
  support::RecordingReporter rep;
  EXPECT_EQ(AceSum::check_folder(folder.file("").c_str(), &rep), 0);
  EXPECT_EQ(rep.messages.size(), 2u);
  EXPECT_NE(rep.all().find("File '" + folder.file("without") + "' has no sum\n"), std::string::npos);
  support::write_file(folder.file("below/c"), support::flip(support::read_file(folder.file("below/c")), 100));
  std::filesystem::remove(folder.file("b"));
  EXPECT_EQ(AceSum::check_folder(folder.file("").c_str(), &rep), 2);
  EXPECT_NE(rep.all().find("Cannot read '" + folder.file("b") + "': No such file"), std::string::npos);
  EXPECT_EQ(AceSum::check_folder(folder.file("none").c_str(), &rep), -1);
}
