/// Runs that end before they are done: killed, out of disk or memory. What was there is whole, or what comes
/// in its place is, and failures are told.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <random>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_diff.h"
#include "damo/damo_dimension_diff.h"
#include "damo/damo_extract.h"
#include "damo/damo_field.h"
#include "damo/damo_statistic.h"
#include "damo/damo_xml.h"
#include "support/failing_new.h"
#include "support/temp_folder.h"

namespace {

using support::TempFolder;
using Files = std::map<std::string, std::string>;

/// One kind of run, the files that it makes, and what it makes them of, in two generations.
struct Work {
  const char* name;
  std::vector<std::string> outputs;
  void (*run)(const TempFolder& folder);
};

void write_sources(const TempFolder& folder, const std::string& generation, int num_records) {
  std::string table, xml = "<!DOCTYPE a [<!ENTITY e 'E'>]><a>", changes;
  for (int i = 0; i < num_records; ++i) {
    const std::string n = std::to_string(i);
    table += n + "\tname " + n + " of " + generation + "\tt" + std::to_string(i % 7) + "\n";
    xml += "<r id='" + n + "'><v>" + generation + "&e;</v><v>\xC3\xBC</v></r>";
    if (i % 3 == 0) changes += i % 2 == 0 ? "<del>\t" + n + "\t\t\n" : n + "\t" + generation + "\tx\n";
  }
  support::write_file(folder.file("table"), table);
  support::write_file(folder.file("towns"), generation == "old" ? "<del>\tt1\t\n" : "<del>\tt2\t\nt3\t\n");
  support::write_file(folder.file("xml"), xml + "</a>");
  support::write_file(folder.file("changes"), changes);
}

void extract(const TempFolder& folder, bool is_xml) {
  DamoField id("id"), name("name");
  id.set_source(0);
  name.set_source(1);
  DamoExtract run(2, 2, folder.file("records").c_str(), 0, 0);
  run.add_field(&id);
  run.add_field(&name);
  const char* paths[] = {"@id", "v[1]"};
  if (is_xml)
    run.xml_file("//r[v]", paths, 2, nullptr, 0, folder.file("xml").c_str());
  else
    run.csv_file(folder.file("table").c_str(), '\t', 0, 3, '"', '\0');
  run.set_rejects(folder.file("rejects").c_str());
  run.extract(0, nullptr, 0, AceReporter::null(), nullptr, nullptr, 0, 1);
}

const int KEY = 0, TOWN = 2;

const Work WORKS[] = {
    {"extract", {"records", "rejects"}, [](const TempFolder& folder) { extract(folder, false); }},
    {"extract XML", {"records", "rejects"}, [](const TempFolder& folder) { extract(folder, true); }},
    {"update",
     {"updated", "updated.1", "deleted"},
     [](const TempFolder& folder) {
       DamoDiff diff(&KEY, 1, 3, 0, 1);
       diff.add_file(folder.file("table").c_str(), folder.file("updated").c_str());
       diff.add_file(folder.file("table").c_str(), folder.file("updated.1").c_str());
       diff.set_del_file(folder.file("deleted").c_str());
       diff.add_diff(folder.file("changes").c_str(), AceReporter::null());
       diff.update(AceReporter::null());
     }},
    {"cascade",
     {"cascade"},
     [](const TempFolder& folder) {
       DamoDimensionDiff diff(&KEY, 1, 2, 0, 1);
       diff.set_relation(&TOWN, &KEY, 1, 3);
       diff.add_rows(folder.file("table").c_str());
       diff.add_diff(folder.file("towns").c_str(), AceReporter::null());
       diff.set_cascade_file(folder.file("cascade").c_str());
       diff.cascade_master_deletions(AceReporter::null());
     }},
    {"statistic",
     {"statistic"},
     [](const TempFolder& folder) {
       DamoStatistic statistic(1, '\t', 3, nullptr);
       statistic.add_line(support::read_file(folder.file("table")).c_str());
       statistic.write_file(folder.file("statistic").c_str());
     }},
};

Files outputs_of(const Work& work, const TempFolder& folder) {
  Files files;
  for (const std::string& name : work.outputs) files[name] = support::read_file(folder.file(name));
  return files;
}

/// What the old and the new generation are, and the old one in the folder with the sources of the new one.
std::pair<Files, Files> prepare(const Work& work, const TempFolder& folder, int num_records) {
  write_sources(folder, "new", num_records);
  work.run(folder);
  const Files made = outputs_of(work, folder);
  write_sources(folder, "old", num_records);
  work.run(folder);
  const Files old = outputs_of(work, folder);
  write_sources(folder, "new", num_records);
  return {old, made};
}

/// Each file is whole; all are of one generation, or a list tells that they are not.
void expect_whole(const Work& work, const TempFolder& folder, const Files& old, const Files& made,
                  const std::string& when) {
  const Files now = outputs_of(work, folder);
  for (const auto& [name, text] : now)
    EXPECT_TRUE(text == old.at(name) || text == made.at(name)) << work.name << ", " << name << " " << when;
  if (work.run == WORKS[2].run)
    EXPECT_TRUE(now == old || now == made || std::filesystem::exists(folder.file("updated.incomplete")))
        << when;
}

TEST(DamoInterrupted, a_kill_at_any_moment_leaves_whole_files) {
  std::mt19937 random(3);
  for (const Work& work : WORKS) {
    const TempFolder folder;
    const auto [old, made] = prepare(work, folder, 20'000);
    ASSERT_NE(old, made) << work.name;
    const auto start = std::chrono::steady_clock::now();
    work.run(folder);
    const auto needed =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
    for (int round = 0; round < 12; ++round) {
      for (const auto& [name, text] : old) support::write_file(folder.file(name), text);
      std::filesystem::remove(folder.file("updated.incomplete"));
      const pid_t child = fork();
      if (child == 0) {
        work.run(folder);
        _exit(0);
      }
      usleep(
          static_cast<useconds_t>(random() % static_cast<unsigned>(needed.count() + needed.count() / 4 + 1)));
      kill(child, SIGKILL);
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      expect_whole(work, folder, old, made, "killed in round " + std::to_string(round));
    }
  }
}

TEST(DamoInterrupted, a_full_disk_is_an_error_and_leaves_the_old_files) {
  for (const Work& work : WORKS) {
    const TempFolder folder;
    const auto [old, made] = prepare(work, folder, 2'000);
    const rlim_t size = made.at(work.outputs[0]).size();
    for (const rlim_t room : {rlim_t{0}, rlim_t{100}, size / 2, size - 1}) {
      const pid_t child = fork();
      if (child == 0) {
        const struct rlimit limit { room, room };
        signal(SIGXFSZ, SIG_IGN);
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(2);
        try {
          work.run(folder);
        } catch (const AceException&) {
          _exit(0);
        }
        _exit(1);
      }
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << work.name << ", room for " << room;
      EXPECT_TRUE(outputs_of(work, folder) == old) << work.name << ", room for " << room;
    }
  }
}

TEST(DamoInterrupted, memory_that_ends_leaves_whole_files_and_what_can_be_used_again) {
  for (const Work& work : WORKS) {
    const TempFolder folder;
    const auto [old, made] = prepare(work, folder, 10);
    bool isDone = false;
    for (long n = 0; !isDone && n < 5000; n += n < 100 ? 1 : 7) {
      for (const auto& [name, text] : old) support::write_file(folder.file(name), text);
      support::numNewsLeft = n;
      try {
        work.run(folder);
        isDone = support::numNewsLeft > 0;
      } catch (const std::bad_alloc&) {
      } catch (const AceException&) {
      }
      support::numNewsLeft = -1;
      expect_whole(work, folder, old, made, "without allocation " + std::to_string(n));
    }
    EXPECT_TRUE(isDone) << work.name;
    EXPECT_EQ(outputs_of(work, folder), made) << work.name;
  }
  const TempFolder folder;
  write_sources(folder, "new", 10);
  bool isDone = false;
  for (long n = 0; !isDone && n < 5000; ++n) {
    support::numNewsLeft = n;
    try {
      DamoXml xml(folder.file("xml").c_str());
      isDone = xml.get_structure(nullptr, 0).size() == 6 && support::numNewsLeft > 0;
    } catch (const std::bad_alloc&) {
    }
    support::numNewsLeft = -1;
  }
  EXPECT_TRUE(isDone);
  // Differences for which there was no room are read again.
  write_sources(folder, "new", 200);
  std::string expected;
  isDone = false;
  for (long n = -1; !isDone && n < 5000; ++n) {
    DamoDiff diff(&KEY, 1, 3, 0, 1);
    support::numNewsLeft = n;
    try {
      diff.add_diff(folder.file("table").c_str(), AceReporter::null());
      isDone = n >= 0;
    } catch (const std::bad_alloc&) {
    }
    support::numNewsLeft = -1;
    diff.add_diff(folder.file("table").c_str(), AceReporter::null());
    diff.add_file(folder.file("changes").c_str(), folder.file("updated").c_str());
    diff.update(AceReporter::null());
    const std::string updated = support::read_file(folder.file("updated"));
    EXPECT_EQ(updated, n < 0 ? expected = updated : expected) << n;
  }
  EXPECT_TRUE(isDone);
}

}  // namespace
