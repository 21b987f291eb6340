#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include "ace/ace_file.h"
#include "support/temp_folder.h"

TEST(AceFilePath, paths_come_apart) {
  struct Row {
    const char *path, *filename, *extension, *basename, *corename, *dir, *file, *ext;
  };
  const Row rows[] = {
      {"/a/b.c/d.e.f", "d.e.f", "f", "d.e", ".e", "/a/b.c", "d.e", "f"},
      {"/a.b/c", "c", "", "c", "c", "/a.b", "c", ""},
      {"name", "name", "", "name", "name", "", "name", ""},
      {"a/", "", "", "", "", "a", "", ""},
      {"/x.", "x.", "", "x", "x", "", "x", ""},
      {".rc", ".rc", "rc", "", "", "", "", "rc"},
      {"", "", "", "", "", "", "", ""},
  };
  AceAttach at;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.path);
    EXPECT_STREQ(AceFile::get_filename(row.path), row.filename);
    EXPECT_STREQ(AceFile::get_filename(row.path, &at), row.filename);
    EXPECT_STREQ(AceFile::get_extension(row.path), row.extension);
    EXPECT_STREQ(AceFile::get_basename(row.path, &at), row.basename);
    EXPECT_STREQ(AceFile::get_corename(row.path, &at), row.corename);
    EXPECT_STREQ(AceFile::get_dirname(row.path, &at), row.dir);
    char *dir, *file, *ext;
    EXPECT_EQ(AceFile::get_file_parts(row.path, &dir, &file, &ext, &at), 0);
    EXPECT_STREQ(dir, row.dir);
    EXPECT_STREQ(file, row.file);
    EXPECT_STREQ(ext, row.ext);
  }
  EXPECT_EQ(AceFile::get_file_parts("a/b.c", nullptr, nullptr, nullptr, &at), 0);
  EXPECT_EQ(AceFile::get_filename(nullptr), nullptr);
  EXPECT_EQ(AceFile::get_filename(nullptr, &at), nullptr);
  EXPECT_STREQ(AceFile::join_path("a", "b", &at), "a/b");
  EXPECT_STREQ(AceFile::join_ext("a", "b", &at), "a.b");
}

TEST(AceFilePath, paths_are_tidied_and_normalized_in_place) {
  const auto tidy = [](std::string path) { return std::string(AceFile::tidy_path(path.data())); };
  EXPECT_EQ(tidy("a\\b\\"), "a/b");
  EXPECT_EQ(tidy("/a//"), "/a/");
  EXPECT_EQ(tidy(""), "");

  struct Row {
    const char *path, *root, *result;
  };
  const Row rows[] = {
      {"/a/b/../c", nullptr, "/a/c"},    {"a/b/../../c/", nullptr, "c"},    {"a/..", nullptr, ""},
      {"../../a", nullptr, "../../a"},   {"a/../../b", nullptr, "../b"},    {"/a/..", nullptr, "/"},
      {"/../a", nullptr, "/../a"},       {"a/./../b", nullptr, "a/./../b"}, {"/", nullptr, "/"},
      {"/r/s/../../t", "/r", "/r/../t"}, {"/r/s/../t", "/r", "/r/t"},       {"/r/s/..", "/r/", "/r/"},
      {"/roots/../t", "/root", "/t"},    {"a/b/../..", "elsewhere", ""},    {"", nullptr, ""},
      {"a/b/", nullptr, "a/b"},
  };
  for (const Row& row : rows) {
    std::string path = row.path;
    std::string root = row.root != nullptr ? row.root : "";
    const int removed = AceFile::normalize(path.data(), row.root != nullptr ? root.data() : nullptr);
    EXPECT_STREQ(path.c_str(), row.result) << row.path;
    EXPECT_EQ(removed, static_cast<int>(std::strlen(row.path) - std::strlen(row.result))) << row.path;
  }
  std::string path = "/root/a/../..";
  AceFile::normalize(path.data(), path.data() + 5);  // a position inside the path
  EXPECT_STREQ(path.c_str(), "/root/..");
}

TEST(AceFilePath, a_normalized_path_leads_to_the_same_place) {
  const support::TempFolder folder;
  for (const char* name : {"a", "a/a", "a/b", "b", "b/a", "b/a/b"}) mkdir(folder.file(name).c_str(), 0700);
  std::mt19937 random(3);
  for (int round = 0; round < 3000; ++round) {
    std::string path = folder.file("a");
    for (unsigned parts = random() % 8; parts > 0; --parts)
      path += std::vector<const char*>{"/a", "/b", "/..", "/.", "/"}[random() % 5];
    struct stat before {
    }, after{};
    if (stat(path.c_str(), &before) != 0) continue;
    const std::string original = path;
    AceFile::normalize(path.data(), nullptr);
    ASSERT_EQ(stat(path.c_str(), &after), 0) << original << " became " << path;
    EXPECT_EQ(before.st_ino, after.st_ino) << original << " became " << path;
  }
}

TEST(AceFilePath, sizes_are_rounded_down_to_a_unit) {
  const std::vector<std::pair<Huge, const char*>> rows = {
      {-1, ""},           {0, "0 B"},           {1023, "1023 B"},  {1024, "1 KB"},
      {1536, "1 KB"},     {1048575, "1023 KB"}, {1048576, "1 MB"}, {1L << 30, "1 GB"},
      {1L << 40, "1 TB"}, {1L << 50, "1024 TB"}};
  AceAttach at;
  for (const auto& [size, text] : rows) EXPECT_STREQ(AceFile::format_file_size(size, &at), text);
}

TEST(AceFilePath, files_are_looked_up_with_their_times) {
  const support::TempFolder folder;
  const std::string name = folder.file("file");
  EXPECT_EQ(AceFile::exists(name.c_str()), 0);
  EXPECT_EQ(AceFile::exists(nullptr), 0);
  support::write_file(name, "x");
  EXPECT_EQ(AceFile::exists(name.c_str()), 1);
  const timespec times[] = {{1000, 0}, {2000, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, name.c_str(), times, 0), 0);
  EXPECT_EQ(AceFile::get_access_time(name.c_str()), 1000);
  EXPECT_EQ(AceFile::get_modification_time(name.c_str()), 2000);
  EXPECT_EQ(AceFile::get_creation_time(name.c_str()), 2000);
  for (const char* none : {static_cast<const char*>(nullptr), "", "/no/such/file"})
    EXPECT_EQ(AceFile::get_creation_time(none), -1);
}

TEST(AceFilePath, a_wrong_version_word_is_told_by_its_lowest_wrong_byte) {
  const std::vector<std::pair<Large, int>> rows = {{0xFF08005A, 0}, {0xFF08005B, 1}, {0xFF08015A, 2},
                                                   {0xFF09005A, 3}, {0x0008005A, 4}, {0x5A0008FF, 4},
                                                   {0, 1},          {0xFFFFFFFF, 1}};
  for (const auto& [word, reason] : rows)
    EXPECT_EQ(AceFile::get_version_magic_reason(static_cast<int>(word)), reason) << std::hex << word;
}
