/// Builds of bases that end before they are done: killed, out of disk or memory, stopped by the reporter. The
/// old base is whole or the new one is, no file is half there under its name, and failures are told.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <random>

#include "ace/ace_exception.h"
#include "dast/dast_base.h"
#include "dast/dast_info_list.h"
#include "dast/dast_parallel_resource.h"
#include "dime/dime_regex_detector.h"
#include "support/failing_new.h"
#include "support/record_bases.h"
#include "tera/tera_scan_graph.h"

namespace {

using support::Table;
using support::TempFolder;
using Files = std::map<std::string, std::string>;  // by name

/// Two generations of a table with all kinds of fields.
Table table_of(unsigned seed, unsigned records = 150) {
  std::vector<support::FieldPlan> plans{{.name = "a", .type = "ADVANCED|OPTIMIZED|FULL|ORIGINAL"},
                                        {.name = "b", .type = "ADVANCED|CHANGING|PARTIAL|ORIGINAL"},
                                        {.name = "c", .type = "BASIC|CHANGING|FULL|INDEXED"},
                                        {.name = "d", .type = "ADVANCED|CHANGING|NONE|NUMERIC"}};
  plans[1].globalAliases = "abc\t9\tcab\n";
  return support::random_table(seed, plans, records);
}

/// Everything that a host does to put a new base in place of the old one.
class Maker {
 public:
  Maker(const Table& table, const TempFolder& folder) : itsFolder(folder) {
    support::write_file(folder.file("records"), table.text());
    base = support::declare_base(table, folder);
    const char* fields[] = {"a", "c"};
    base->assign_detector("names", 1, nullptr, 2, fields, 0, nullptr, nullptr, 0, nullptr);
    std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create("EDIT"));
    method->configure_build_options("-filter 0", &support::letter_map());
    base->configure_detector(0, method.release());
  }
  int make(AceReporter* rep, const char* sort = "NONE") const {
    const std::string copy = itsFolder.file("copy");
    if (base->make(itsFolder.file("records").c_str(), sort, nullptr, copy.c_str(), itsFolder.file("").c_str(),
                   rep) < 0)
      return -1;
    base->set_filename("records");
    if (base->make_all_access(rep) < 0 ||
        base->dump_detector(0, itsFolder.file("access/names.det").c_str(), rep) < 0 ||
        base->dump_access(0, itsFolder.file("access/a.method").c_str(), rep) < 0)
      return -1;
    return base->dump(itsFolder.file("base").c_str(), rep);
  }
  const DastBase& get() const { return *base; }

 private:
  const TempFolder& itsFolder;
  std::unique_ptr<DastBase> base;
};

/// What a build leaves, without what it reads and without files under the names of others.
Files outputs(const TempFolder& folder) {
  Files files;
  for (const char* name : {"base", "copy", "access/a.tera", "access/b.tera", "access/c.tera",
                           "access/names.det", "access/a.method", "base.b.partials"})
    if (std::filesystem::exists(folder.file(name))) files[name] = support::read_file(folder.file(name));
  return files;
}

/// The folder is part of the bytes: the same one for all generations.
struct Generations {
  Generations() {
    AceReporter::clear_default();
    DastParallelResource::set_build_worker_threads(1);
    for (unsigned i = 0; i < 2; ++i) {
      EXPECT_EQ(Maker(table_of(i + 1), folder).make(AceReporter::null()), 0);
      whole[i] = outputs(folder);
      EXPECT_EQ(whole[i].size(), 8u);
    }
  }
  ~Generations() { DastParallelResource::set_build_worker_threads(0); }

  void expect_whole_files(const std::string& what) const {
    for (const auto& [name, bytes] : outputs(folder))
      EXPECT_TRUE(bytes == whole[0].at(name) || bytes == whole[1].at(name))
          << what << ": " << name << " is neither the old nor the new file, " << bytes.size() << " bytes";
  }

  TempFolder folder;
  Files whole[2];
};

/// Runs `action` in a process of its own; what it returns, or -1 when it throws, is the exit status.
template <class Action>
pid_t in_a_process(Action action) {
  const pid_t child = fork();
  if (child != 0) return child;
  int rc = -1;
  try {
    rc = action();
  } catch (const AceException&) {
  } catch (const std::bad_alloc&) {
  }
  _exit(rc < 0 ? 1 : 0);
}

TEST(DastInterrupted, whoever_is_killed_leaves_whole_files) {
  const Generations old;
  std::mt19937 random(1);
  for (int i = 0; i < 60; ++i) {
    const Table table = table_of(static_cast<unsigned>(i % 2) + 1);
    const pid_t child = in_a_process([&] { return Maker(table, old.folder).make(AceReporter::null()); });
    ASSERT_GT(child, 0);
    usleep(static_cast<useconds_t>(random() % 25000));
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    old.expect_whole_files("killed, round " + std::to_string(i));
    DastBase read;
    EXPECT_GE(read.load(old.folder.file("base").c_str(), 1, AceReporter::null()), 0);
  }
}

TEST(DastInterrupted, a_full_disk_is_an_error_and_leaves_whole_files) {
  const Generations old;
  const Table table = table_of(1);
  std::size_t largest = 0;
  for (const auto& [name, bytes] : old.whole[0]) largest = std::max(largest, bytes.size());
  for (rlim_t limit = 0;; limit += 1 + limit / 6) {
    const pid_t child = in_a_process([&] {
      const Maker maker(table, old.folder);  // with room for the records
      signal(SIGXFSZ, SIG_IGN);
      const rlimit room{limit, limit};
      setrlimit(RLIMIT_FSIZE, &room);
      return maker.make(AceReporter::null());
    });
    ASSERT_GT(child, 0);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status)) << "room for " << limit;
    EXPECT_EQ(WEXITSTATUS(status), limit < largest ? 1 : 0) << "room for " << limit;
    old.expect_whole_files("room for " + std::to_string(limit));
    if (limit >= largest) break;
  }
}

/// Asks the base everything once.
int ask(const DastBase& base) {
  AceReporter* rep = AceReporter::null();
  int numFailed = 0;
  const auto release = [&numFailed](TeraScanGraph* graph) {
    if (graph == nullptr) return ++numFailed, 0;
    graph->decr_ref();
    return 0;
  };
  for (int f = 0; f < 3; ++f) {
    release(base.get_field(f)->full_scan_resolve(DastOptions::APPROX, "ab|ca", nullptr, 200, 0, rep));
    AceAttach at;
    const Large* ids = nullptr;
    base.get_exact(f, "abc", &ids, &at, rep);
    const char* value = nullptr;
    base.get_single_field(f, 3, &value, &at);
  }
  release(base.detector_detect("ab ca", ~Mask{0}, DastOptions::FS_DETECT, nullptr, rep));
  return numFailed > 0 ? -1 : 0;
}

TEST(DastInterrupted, memory_that_ends_is_told_and_leaves_whole_files) {
  const Generations old;
  const Table table = table_of(1);
  const auto with_memory_that_ends = [&](const char* what, auto action) {
    for (long allowed = 0;; allowed += 1 + allowed / 50) {
      int rc = -1;
      support::numNewsLeft = allowed;
      try {
        rc = action();
      } catch (const std::bad_alloc&) {
      } catch (const AceException&) {
      }
      const bool isEnough = support::numNewsLeft > 0;
      support::numNewsLeft = -1;
      old.expect_whole_files(std::string(what) + ", request " + std::to_string(allowed));
      if (!isEnough && !testing::Test::HasFailure()) continue;
      EXPECT_EQ(rc, 0) << what << ", request " << allowed;
      return;
    }
  };
  std::unique_ptr<Maker> maker;
  with_memory_that_ends("building", [&] {
    const long allowed = support::numNewsLeft;
    support::numNewsLeft = -1;
    maker = std::make_unique<Maker>(table, old.folder);
    support::numNewsLeft = allowed;
    return maker->make(AceReporter::null());
  });
  with_memory_that_ends("asking", [&] { return ask(maker->get()); });
  for (int mode = 0; mode < 2; ++mode)
    with_memory_that_ends("reading", [&] {
      DastBase read;
      if (read.load(old.folder.file("base").c_str(), mode, AceReporter::null()) < 0) return -1;
      return ask(read);
    });
}

/// Says no from one call on; knows which sections are open.
struct Stopping : AceReporter {
  explicit Stopping(int calls) : left(calls) {}
  int report_func(const char* text) override {
    const std::string_view line(text);
    if (line.starts_with("PROGRESS\t<")) ++numOpen;
    if (line.starts_with("PROGRESS\t>")) --numOpen;
    return --left >= 0 ? 0 : -1;
  }
  int left;
  int numOpen = 0;
};

TEST(DastInterrupted, a_reporter_that_says_no_stops_everything_and_closes_its_sections) {
  const Generations old;
  const Table table = table_of(1);
  AceReporter::set_progress(1);
  for (const char* sort : {"NONE", "FULL"}) {
    const Files before = outputs(old.folder);
    bool wasStopped = false;
    for (int calls = 0;; calls += 1 + calls / 8) {
      Stopping rep(calls);
      const int rc = Maker(table, old.folder).make(&rep, sort);
      EXPECT_EQ(rep.numOpen, 0) << sort << ", call " << calls;
      wasStopped |= rc < 0;
      if (std::string_view(sort) == "NONE")
        old.expect_whole_files("stopped at call " + std::to_string(calls));
      if (rep.left >= 0 || testing::Test::HasFailure()) {
        EXPECT_EQ(rc, 0) << "call " << calls;
        break;
      }
    }
    EXPECT_TRUE(wasStopped);
  }
  const Maker maker(table, old.folder);
  DastBase& base = const_cast<DastBase&>(maker.get());
  const std::string records = old.folder.file("records");
  for (int calls = 0; calls < 20; ++calls) {
    Stopping rep(calls);
    base.sort(records.c_str(), "FULL", old.folder.file("sorted").c_str(), &rep);
    base.split(records.c_str(), old.folder.file("").c_str(), 2, &rep);
    EXPECT_EQ(rep.numOpen, 0) << "call " << calls;
  }
  AceReporter::set_progress(0);
}

}  // namespace
