#include "ace/ace_wrap.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_managed_files.h"
#include "ace/ace_mem_point.h"
#include "ace/ace_thread.h"
#include "support/damage.h"
#include "support/failing_io.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"

using support::RecordingReporter;
using support::TempFolder;
using namespace std::string_literals;

namespace {

/// A name and numbers; the numbers are used in place when mapped.
class Sample : public AceWrap {
 public:
  Sample() = default;
  explicit Sample(std::vector<Huge> values, const char* text = "name")
      : owned(std::move(values)), numbers(owned.data()), count(static_cast<VInt>(owned.size())), name(text) {}

  VInt save(AceFile* file) override {
    file->mem_open("Sample");
    file->put_magic("SMPL");
    file->put_string(name.c_str());
    file->put_vint(count);
    if (duringSave) duringSave();
    file->write(count * VInt{sizeof(Huge)}, numbers, 8);
    file->put_int(saveResult);
    file->mem_close();
    return saveResult;
  }

  VInt read(AceFile* file) override {
    if (file->get_magic("SMPL") < 0) return -1;
    const char* text = file->get_string(&texts);
    if (text == nullptr) return -1;
    name = text;
    count = file->get_vint();
    numbers = file->read_array<Huge>(count, &texts, 8);
    if (numbers == nullptr) return -1;
    file->get_int();
    return count;
  }

  /// Everything once, so that the sanitizers see it.
  Huge sum() const {
    Huge total = static_cast<Huge>(name.size());
    for (VInt i = 0; i < count; ++i)
      total = static_cast<Huge>(static_cast<VUint>(total) + static_cast<VUint>(numbers[i]));
    return total;
  }

  std::vector<Huge> owned;
  const Huge* numbers = nullptr;
  VInt count = 0;
  std::string name;
  std::function<void()> duringSave;
  int saveResult = 0;

 private:
  AceAttach texts;
};

AceWrap* read_sample(AceFile* file) {
  auto object = std::make_unique<Sample>();
  return object->read(file) >= 0 ? object.release() : nullptr;
}

AceWrap* read_other(AceFile* file) {
  EXPECT_EQ(file->get_magic("OTHER"), -1);
  return nullptr;
}

/// Names in the folder; there must never be one too many.
std::vector<std::string> names_in(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

/// Runs `f` in a process of its own; returns its exit status, or minus the signal that ended it.
int in_child(const std::function<int()>& f) {
  const pid_t child = fork();
  if (child == 0) _exit(f());
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

char allocated[256];

}  // namespace

TEST(AceWrap, an_object_survives_every_way_of_writing_and_reading) {
  const TempFolder folder;
  const std::string file = folder.file("sample");
  Sample sample({7, -8, 9});
  const std::string layout = "\x5A\0\x08\xFF....\5\0\0\0\0\0\0\0name\0\0\0\0\3\0\0\0\0\0\0\0"s +
                             "\7\0\0\0\0\0\0\0"s + "\xF8\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x09\0\0\0\0\0\0\0"s +
                             "\0\0\0\0"s;
  ASSERT_EQ(sample.dump(file.c_str(), nullptr), 0);
  const std::string bytes = support::read_file(file);
  EXPECT_EQ(bytes, support::overwrite(layout, 4, magic_number("SMPL")));
  EXPECT_EQ(sample.size(), static_cast<VInt>(bytes.size()));

  std::string room(bytes.size(), '?');
  EXPECT_EQ(sample.collect(room.data(), sample.size()), sample.size());
  EXPECT_EQ(room, bytes);
  EXPECT_THROW(sample.collect(room.data(), sample.size() - 1), AceException);
  static long asked;
  EXPECT_EQ(sample.copy([](long size) {
    asked = size;
    return static_cast<void*>(allocated);
  }),
            sample.size());
  EXPECT_EQ(asked, sample.size() + 1);
  EXPECT_EQ(std::string(allocated, bytes.size()), bytes);

  Sample again;
  for (const int mode : {1, 0, 2, 3, 1}) {
    EXPECT_EQ(again.load(file.c_str(), mode, nullptr), 3) << mode;
    EXPECT_EQ(again.name, "name");
    EXPECT_EQ(again.sum(), 12);
  }
  EXPECT_EQ(again.read_with_magic(bytes.data(), bytes.size()), 3);
  EXPECT_EQ(again.read_with_magic(std::string(bytes).data(), bytes.size()), 3);
  EXPECT_EQ(again.sum(), 12);
}

TEST(AceWrap, another_version_is_told_by_its_code) {
  const TempFolder folder;
  const std::string name = folder.file("sample");
  Sample sample({1});
  sample.dump(name.c_str(), nullptr);
  const std::string good = support::read_file(name);
  const std::vector<std::pair<Large, int>> rows = {
      {0xFF08005B, -5}, {0xFF08FF5A, -6}, {0xFF07005A, -7}, {0x0008005A, -8}};
  for (const auto& [word, code] : rows) {
    const std::string bytes = support::overwrite(good, 0, word);
    support::write_file(name, bytes);
    for (int mode = 0; mode <= 3; ++mode) EXPECT_EQ(sample.load(name.c_str(), mode, nullptr), code);
    EXPECT_EQ(sample.read_with_magic(good.data(), good.size()), 1);
    EXPECT_EQ(sample.read_with_magic(bytes.data(), bytes.size()), code);
    EXPECT_EQ(sample.sum(), 5);  // still what it read before
  }
}

TEST(AceWrap, errors_name_the_call_that_failed) {
  RecordingReporter errors;
  errors.set_as_default();
  Sample sample({1});
  const TempFolder folder;
  const std::string none = folder.file("none");
  const std::vector<std::pair<int, const char*>> opens = {
      {0, "afile->prep(file), error code -2"},
      {1, "afile->map (file, nullptr, nullptr, 0, nullptr, rep), error code -2"},
      {2, "afile->map (file, nullptr, nullptr, -1, nullptr, rep), error code -2"},
      {3, "afile->map (file, nullptr, nullptr, getpagesize(), nullptr, rep), error code -2"}};
  const auto expect_report = [&](const char* text) {
    EXPECT_NE(errors.all().find(text), std::string::npos) << text << " not in " << errors.all();
    errors.messages.clear();
  };
  for (const auto& [mode, text] : opens) {
    EXPECT_EQ(sample.load(none.c_str(), mode, nullptr), -2);
    expect_report(text);
  }
  EXPECT_EQ(sample.load(none.c_str(), 4, nullptr), -1);
  errors.messages.clear();

  support::write_file(none, "\x5A\0\x08\xFF????"s);
  EXPECT_EQ(sample.load(none.c_str(), 0, nullptr), -1);
  expect_report("rc = read(afile)");
  EXPECT_EQ(sample.load(none.c_str(), 0, &errors), -1);
  expect_report("found another kind of object than expected, or a damaged one");
  support::write_file(none, "anything");
  EXPECT_LT(sample.load(none.c_str(), 1, &errors), 0);
  expect_report("expected a file of this version of the library");
  sample.saveResult = -3;
  EXPECT_EQ(sample.size(), -3);
  expect_report("save_with_magic(&file)");
  EXPECT_EQ(sample.dump(none.c_str(), nullptr), -3);
  EXPECT_EQ(support::read_file(none).size(), 8U);  // the old one
  EXPECT_EQ(sample.copy([](long) -> void* { return nullptr; }), -3);
  EXPECT_EQ(sample.memory_usage("title"), nullptr);
  errors.messages.clear();
  sample.saveResult = 0;
  EXPECT_EQ(sample.copy([](long) -> void* { return nullptr; }), -1);
  expect_report("file.init_write(buffer,sz)");
  AceReporter::clear_default();
}

TEST(AceWrap, a_cut_file_is_refused_and_a_flipped_bit_never_reads_out_of_bounds) {
  NullReporter silent;
  silent.set_as_default();
  const TempFolder folder;
  const std::string name = folder.file("sample");
  Sample({1, 2, 3}, "some name").dump(name.c_str(), nullptr);
  const std::string good = support::read_file(name);
  support::for_each_damage(good, [&](const std::string& bytes, const std::string& what) {
    support::write_file(name, bytes);
    for (int mode = 0; mode <= 4; ++mode) {
      Sample sample;
      VInt rc = -1;
      try {
        rc = mode < 4 ? sample.load(name.c_str(), mode, nullptr)
                      : sample.read_with_magic(bytes.data(), bytes.size());
        if (rc >= 0) sample.sum();
      } catch (const AceException&) {
      }
      if (bytes.size() < good.size()) {
        EXPECT_LT(rc, 0) << what << ", mode " << mode;
      }
    }
  });
  AceReporter::clear_default();
}

TEST(AceWrap, the_breakdown_of_an_object_ends_at_its_size) {
  Sample sample({1, 2});
  AceMemPoint* points = sample.memory_usage("usage");
  std::vector<std::string> comments;
  Huge last = 0;
  for (const AceMemPoint* point = points; point != nullptr; point = point->get_next(0)) {
    comments.emplace_back(point->get_comment());
    last = point->get_pos();
  }
  EXPECT_EQ(comments, (std::vector<std::string>{"usage", "Sample", "---END---", "END_OF_OBJECT"}));
  EXPECT_EQ(last, sample.size());
  AceMemPoint::remove(points);
}

TEST(AceWrap, the_factory_finds_the_type_of_a_file) {
  const TempFolder folder;
  const std::string name = folder.file("sample");
  Sample({4, 5}).dump(name.c_str(), nullptr);
  const MagicFactory<AceWrap> samples(
      read_sample, [] { return static_cast<AceWrap*>(new Sample); }, "Sample");
  const MagicFactory<AceWrap> others(read_other, nullptr, "Other");  // newest first: tried before

  const std::unique_ptr<AceWrap> object(AceWrap::factory(name.c_str(), "Sample"));
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(dynamic_cast<Sample&>(*object).sum(), 13);
  EXPECT_EQ(AceWrap::factory(name.c_str(), "Other"), nullptr);

  AceFile file;
  const char* type = nullptr;
  ASSERT_EQ(file.map(name.c_str(), nullptr, nullptr, 0, nullptr, nullptr), 0);
  const std::unique_ptr<AceWrap> mapped(AceWrap::factory(&file, &type));
  EXPECT_STREQ(type, "Sample");
  ASSERT_NE(mapped, nullptr);
  EXPECT_EQ(dynamic_cast<Sample&>(*mapped).sum(), 13);
  support::write_file(name, "no version");
  EXPECT_EQ(AceWrap::factory(name.c_str(), "Sample"), nullptr);
}

TEST(AceWrapDump, nothing_but_the_whole_new_file_replaces_the_old_one) {
  const TempFolder folder;
  const std::string name = folder.file("sample");
  Sample old({1, 2, 3});
  ASSERT_EQ(old.dump(name.c_str(), nullptr), 0);
  const std::string before = support::read_file(name);
  const auto expect_unchanged = [&](const char* what) {
    EXPECT_EQ(support::read_file(name), before) << what;
    EXPECT_EQ(names_in(folder.file("")), std::vector<std::string>{"sample"}) << what;
  };
  Sample large(std::vector<Huge>(100000, 1));

  EXPECT_EQ(in_child([&] {  // a full disk, as far as the process can tell
              const rlimit limit = {4096, 4096};
              setrlimit(RLIMIT_FSIZE, &limit);
              try {
                large.dump(name.c_str(), nullptr);
              } catch (const AceException& error) {
                return std::strcmp(error.get_cond(), "Error writing buffer into file!") == 0 ? 7 : 8;
              }
              return 9;
            }),
            7);
  expect_unchanged("file size limit");
  EXPECT_EQ(in_child([&] {  // the same, met by the flush at the end
              const rlimit limit = {16, 16};
              setrlimit(RLIMIT_FSIZE, &limit);
              try {
                old.dump(name.c_str(), nullptr);
              } catch (const AceException& error) {
                return std::strncmp(error.get_cond(), "Error closing", 13) == 0 ? 7 : 8;
              }
              return 9;
            }),
            7);
  expect_unchanged("file size limit at the end");

  large.duringSave = [] { throw AceException("broken off"); };
  EXPECT_THROW(large.dump(name.c_str(), nullptr), AceException);
  expect_unchanged("exception");

  large.duringSave = [] { kill(getpid(), SIGKILL); };
  EXPECT_EQ(in_child([&] { return large.dump(name.c_str(), nullptr); }), -SIGKILL);
  EXPECT_EQ(support::read_file(name), before);

  large.duringSave = nullptr;
  EXPECT_EQ(large.dump(name.c_str(), nullptr), 0);
  EXPECT_EQ(old.load(name.c_str(), 1, nullptr), 100000);
}

TEST(AceWrapDump, what_cannot_be_renamed_over_is_overwritten_from_a_complete_copy) {
  const TempFolder folder;
  const std::string name = folder.file("sample");
  Sample sample({1, 2, 3});
  Sample larger({1, 2, 3, 4});
  ASSERT_EQ(larger.dump(name.c_str(), nullptr), 0);
  Sample again;
  RecordingReporter rep;
  rep.set_as_default();
  {
    const support::FailingCall mounted(support::Call::RENAME, EBUSY);  // what a mount of its own answers
    EXPECT_EQ(sample.dump(name.c_str(), nullptr), 0);
    EXPECT_EQ(again.load(name.c_str(), 1, nullptr), 3);
    EXPECT_EQ(names_in(folder.file("")), std::vector<std::string>{"sample"});
    EXPECT_THROW(sample.dump(folder.file("new").c_str(), nullptr), AceException);
  }
  ASSERT_EQ(rep.events.size(), 1u);
  EXPECT_NE(rep.events[0].find("File '" + name + "' is not replaced in one step"), std::string::npos);

  chmod(name.c_str(), 0666);
  chmod(folder.file("").c_str(), 0555);
  const auto as_nobody = [&](const char* target) {
    return in_child([&] {
      if (geteuid() == 0 && setuid(65534) != 0) return 9;
      return larger.dump(target, nullptr) == 0 ? 0 : 1;
    });
  };
  EXPECT_EQ(as_nobody(name.c_str()), 0);
  EXPECT_EQ(as_nobody(folder.file("new").c_str()), 1);
  chmod(folder.file("").c_str(), 0755);
  EXPECT_EQ(again.load(name.c_str(), 1, nullptr), 4);
  EXPECT_EQ(names_in(folder.file("")), std::vector<std::string>{"sample"});

  const int file = open(name.c_str(), O_RDWR);  // by a name that does not lead to it
  unlink(name.c_str());
  EXPECT_EQ(sample.dump(("/proc/self/fd/" + std::to_string(file)).c_str(), nullptr), 0);
  struct stat info {};
  EXPECT_EQ(fstat(file, &info), 0);
  EXPECT_EQ(info.st_size, sample.size());
  close(file);
  rep.clear_default();
}

TEST(AceWrapDump, a_failure_of_the_system_leaves_the_old_file) {
  const TempFolder folder;
  const std::string name = folder.file("sample");
  ASSERT_EQ(Sample({1}).dump(name.c_str(), nullptr), 0);
  const std::string before = support::read_file(name);
  Sample other({2});
  for (const support::Call call : {support::Call::FSYNC, support::Call::RENAME}) {
    const support::FailingCall fault(call, EIO);
    EXPECT_THROW(other.dump(name.c_str(), nullptr), AceException);
    EXPECT_EQ(support::read_file(name), before);
    EXPECT_EQ(names_in(folder.file("")), std::vector<std::string>{"sample"});
  }
}

TEST(AceWrapDump, removes_what_killed_writers_left_and_nothing_else) {
  const pid_t gone = fork();
  if (gone == 0) _exit(0);
  waitpid(gone, nullptr, 0);
  const std::string process = std::to_string(gone);
  const std::vector<std::string> kept = {
      ".sorvanta-" + process + "-2.tmp", ".sorvanta-" + process + "-3.tmp2",
      ".sorvanta-" + std::to_string(getppid()) + "-1.tmp", ".sorvanta--1.tmp", ".sorvanta-x-1.tmp"};
  const std::string locked = ".sorvanta-" + process + "-5.tmp";
  for (const bool isAside : {false, true}) {  // the temporary file lies in TMPDIR, not beside the target
    const TempFolder folder;
    const auto leave = [&](const std::string& name, int minutes) {
      support::write_file(folder.file(name), "x");
      const timespec times[2] = {{time(nullptr) - 60 * minutes - 1, 0},
                                 {time(nullptr) - 60 * minutes - 1, 0}};
      utimensat(AT_FDCWD, folder.file(name).c_str(), times, 0);
    };
    for (const auto& name : kept) leave(name, name == kept[0] ? 0 : 9);
    leave(".sorvanta-" + process + "-4.tmp", 1);
    leave(locked, 9);
    const int file = open(folder.file(locked).c_str(), O_RDONLY);
    ASSERT_EQ(flock(file, LOCK_EX), 0);
    const std::string target = folder.file("sample");
    std::vector<std::string> expected = kept;
    expected.insert(expected.end(), {locked, "sample"});
    if (isAside) {
      const int nameless = open(target.c_str(), O_RDWR | O_CREAT, 0600);
      unlink(target.c_str());
      expected.pop_back();
      EXPECT_EQ(in_child([&] {
                  setenv("TMPDIR", folder.file("").c_str(), 1);
                  return Sample({1}).dump(("/proc/self/fd/" + std::to_string(nameless)).c_str(), nullptr);
                }),
                0);
      close(nameless);
    } else {
      ASSERT_EQ(Sample({1}).dump(target.c_str(), nullptr), 0);
    }
    close(file);
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(names_in(folder.file("")), expected);
  }
}

TEST(AceWrapDump, several_writers_of_one_file_never_tear_it) {
  if (std::filesystem::exists("/dev/shm")) setenv("TMPDIR", "/dev/shm", 1);  // without waiting for a disk
  const TempFolder folder;
  const std::string name = folder.file("sample");
  const std::string link = folder.file("link");
  ASSERT_EQ(symlink("sample", link.c_str()), 0);
  ASSERT_EQ(Sample(std::vector<Huge>(100, 1)).dump(name.c_str(), nullptr), 0);
  std::atomic<int> numWriters = 3;
  std::vector<std::jthread> threads;
  for (int writer = 0; writer < 3; ++writer)
    threads.emplace_back([&, writer] {
      const AceThreadSafe registered;
      Sample sample(std::vector<Huge>(static_cast<size_t>(100 * (writer + 1)), writer + 1));
      for (int i = 0; i < 1500; ++i)
        EXPECT_EQ(sample.dump((writer == 0 ? link : name).c_str(), AceReporter::null()), 0);
      --numWriters;
    });
  for (int reader = 0; reader < 2; ++reader)
    threads.emplace_back([&, reader] {
      const AceThreadSafe registered;
      while (numWriters > 0) {
        Sample sample;
        const VInt count = sample.load(name.c_str(), reader, nullptr);
        EXPECT_GT(count, 0);
        EXPECT_EQ(sample.sum(), 4 + count * (count / 100));
      }
    });
  threads.clear();
  EXPECT_EQ(names_in(folder.file("")), (std::vector<std::string>{"link", "sample"}));
}

TEST(AceWrapDump, a_mapping_stays_valid_while_its_file_is_dumped_over) {
  const TempFolder folder;
  const std::string name = folder.file("sample");
  Sample({5, 6}).dump(name.c_str(), nullptr);
  Sample mapped;
  ASSERT_EQ(mapped.load(name.c_str(), 1, nullptr), 2);
  Sample(std::vector<Huge>{}).dump(name.c_str(), nullptr);
  EXPECT_EQ(mapped.sum(), 15);
  ASSERT_EQ(mapped.load(name.c_str(), 1, nullptr), 0);
}

TEST(AceWrapDump, links_permissions_and_devices_are_respected) {
  const TempFolder folder;
  const std::string name = folder.file("sample");
  const std::string link = folder.file("link");
  std::filesystem::create_directory(folder.file("below"));
  ASSERT_EQ(symlink("below/target", link.c_str()), 0);  // dangling at first
  Sample sample({1});
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(sample.dump(link.c_str(), nullptr), 0);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(names_in(folder.file("below")), std::vector<std::string>{"target"});
    EXPECT_EQ(static_cast<VInt>(std::filesystem::file_size(folder.file("below/target"))), sample.size());
  }
  const auto mode_of = [](const std::string& file) {
    struct stat info {};
    stat(file.c_str(), &info);
    return info.st_mode & 07777;
  };
  umask(027);
  sample.dump(name.c_str(), nullptr);
  EXPECT_EQ(mode_of(name), 0640U);
  chmod(name.c_str(), 0604);
  sample.dump(name.c_str(), nullptr);
  EXPECT_EQ(mode_of(name), 0604U);

  EXPECT_THROW(sample.dump("/dev/full", nullptr), AceException);
  struct stat info {};
  EXPECT_EQ(stat("/dev/full", &info), 0);
  EXPECT_TRUE(S_ISCHR(info.st_mode));

  const std::string longest = folder.file(std::string(255, 'n'));
  EXPECT_EQ(sample.dump(longest.c_str(), nullptr), 0);
  RecordingReporter rep;
  EXPECT_EQ(sample.dump("/proc/no/such/folder", &rep), -1);
  EXPECT_NE(rep.all().find("Cannot write file '/proc/no/such/folder': "), std::string::npos);
  sample.dump(name.c_str(), &rep);
  EXPECT_NE(rep.all().find("MD5 hash of file '" + name + "': "), std::string::npos);
}

TEST(AceManagedFiles, names_lead_to_local_files_or_registered_paths) {
  const TempFolder folder;
  const std::string local = folder.file("local");
  support::write_file(local, "x");
  EXPECT_EQ(ace_add_managed_file("/path/first", "name"), 0);
  {
    std::string passing = "/path/second";
    EXPECT_EQ(ace_add_managed_file(passing.c_str(), "name"), 0);
  }
  EXPECT_EQ(ace_add_managed_file("", "name"), -1);
  EXPECT_EQ(ace_add_managed_file("/path", nullptr), -1);
  EXPECT_STREQ(ace_get_managed_file(local.c_str()), local.c_str());
  EXPECT_EQ(ace_get_managed_file("name"), nullptr);
  AceManagedFiles::set_local_mode(0);
  EXPECT_STREQ(ace_get_managed_file("name"), "/path/second");
  EXPECT_EQ(ace_get_managed_file(local.c_str()), nullptr);
  EXPECT_EQ(ace_get_managed_file(""), nullptr);
}
