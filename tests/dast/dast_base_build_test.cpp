#include <algorithm>
#include <map>

#include "ace/ace_exception.h"
#include "dast/dast_base.h"
#include "dast/dast_parallel_resource.h"
#include "support/damage.h"
#include "support/record_bases.h"
#include "support/recording_reporter.h"

namespace {

using support::FieldPlan;
using support::Table;
using support::TempFolder;

std::string image_of(DastBase* base, const TempFolder& folder) {
  if (base->dump(folder.file("image").c_str(), AceReporter::null()) < 0) return "";
  return support::read_file(folder.file("image"));
}

/// Every line of the base as the file had it (each string of an ADVANCED field once).
std::vector<std::string> lines_of(const DastBase& base) {
  std::vector<std::string> lines;
  for (Large record = 1; record < base.get_num_records(); ++record) {
    std::string line;
    for (int f = 0; f < base.get_num_fields(); ++f) {
      AceAttach at;
      const char* text =
          base.get_field(f)->get_string_by_recordid(record, nullptr, nullptr, &at, DastOptions::ALL);
      line += std::string(f > 0 ? "\t" : "") + (text != nullptr ? text : "(null)");
    }
    lines.push_back(line);
  }
  return lines;
}

TEST(DastBaseBuild, threads_make_no_difference) {
  const Table table = support::random_table(3, support::all_field_plans("ADVANCED"), 150);
  std::string first;
  for (const int threads : {1, 2, 8}) {
    DastParallelResource::set_build_worker_threads(threads);
    const TempFolder folder;
    const auto base = support::build_base(table, folder, "FULL");
    ASSERT_NE(base, nullptr);
    base->set_filename("records");
    std::string image = image_of(base.get(), folder);
    const std::string path = folder.file("access");
    for (std::size_t pos; (pos = image.find(path)) != std::string::npos;)
      image.replace(pos, path.size(), path.size(), '.');
    if (first.empty()) first = image;
    EXPECT_EQ(image == first, true) << threads << " threads";
  }
  DastParallelResource::set_build_worker_threads(0);
}

TEST(DastBaseBuild, a_sorted_build_is_the_build_of_its_copy) {
  for (const char* sort : {"FULL", "PARTIAL"})
    for (unsigned seed = 1; seed <= 6; ++seed) {
      std::vector<FieldPlan> plans{{.name = "a", .type = "ADVANCED|OPTIMIZED|FULL|ORIGINAL"},
                                   {.name = "b", .type = "ADVANCED|OPTIMIZED|NONE|ORIGINAL"},
                                   {.name = "c", .type = "BASIC|CHANGING|FULL|ORIGINAL"}};
      Table table = support::random_table(seed, plans, 300);
      for (auto& record : table.records) {
        record[0] = record[0].substr(0, 1);
        record[1] = record[0].substr(0, 1);
      }
      const TempFolder folder;
      const std::string copy = folder.file("copy");
      const auto sorted = support::build_base(table, folder, sort, copy.c_str());
      ASSERT_NE(sorted, nullptr);
      std::vector<std::string> expected;
      AceInput lines(copy.c_str(), 1000, false);
      const char* line = nullptr;
      Table copied{plans, {}};
      while (lines.read_line(&line) >= 0) {
        expected.emplace_back(line);
        copied.records.emplace_back();
        for (const auto& field : {0, 1, 2}) {
          std::string rest = expected.back();
          for (int i = 0; i < field; ++i) rest.erase(0, rest.find('\t') + 1);
          copied.records.back().push_back(rest.substr(0, rest.find('\t')));
        }
      }
      EXPECT_TRUE(std::is_permutation(copied.records.begin(), copied.records.end(), table.records.begin(),
                                      table.records.end()));
      const TempFolder other;
      const auto unsorted = support::build_base(copied, other);
      EXPECT_EQ(lines_of(*sorted), lines_of(*unsorted)) << sort << ", seed " << seed;
      std::set<std::string> distinct;
      for (const auto& record : table.records) distinct.insert(record[0]);
      if (std::string(sort) == "FULL")
        EXPECT_LE(sorted->get_field(0)->get_num_entry_ids(), distinct.size() + 1) << "one run for each value";
    }
}

TEST(DastBaseBuild, fields_with_the_same_runs_share_their_map) {
  std::vector<FieldPlan> plans{{.name = "a", .type = "ADVANCED|OPTIMIZED|FULL|ORIGINAL", .abstraction = 0},
                               {.name = "b", .type = "ADVANCED|OPTIMIZED|FULL|ORIGINAL", .abstraction = 0},
                               {.name = "c", .type = "ADVANCED|OPTIMIZED|FULL|ORIGINAL"}};
  const Table table{plans, {{"x", "y", "1"}, {"x", "y", "2"}, {"z", "w", "2"}}};
  const TempFolder folder;
  auto base = support::build_base(table, folder);
  ASSERT_NE(base, nullptr);
  const auto check = [](const DastBase& checked) {
    EXPECT_EQ(checked.get_info_map(0), checked.get_info_map(1));
    EXPECT_NE(checked.get_info_map(0), checked.get_info_map(2));
    const auto bounds = checked.get_abstraction_level(0)->get_bounds();
    EXPECT_EQ(std::vector<Large>(bounds.begin(), bounds.end()), (std::vector<Large>{0, 1, 3, 4}));
    EXPECT_EQ(lines_of(checked), (std::vector<std::string>{"x\ty\t1", "x\ty\t2", "z\tw\t2"}));
  };
  check(*base);
  image_of(base.get(), folder);
  DastBase read;
  ASSERT_GE(read.load(folder.file("image").c_str(), 1, AceReporter::null()), 0);
  check(read);
}

TEST(DastBaseBuild, a_base_is_the_same_after_saving_and_reading_in_every_mode) {
  for (const char* features : {"BASIC", "ADVANCED"}) {
    const Table table = support::random_table(5, support::all_field_plans(features), 100);
    const TempFolder folder;
    const auto base = support::build_base(table, folder);
    ASSERT_NE(base, nullptr);
    const std::string image = image_of(base.get(), folder);
    const std::vector<std::string> lines = lines_of(*base);
    for (int mode = 0; mode <= 3; ++mode)
      for (const bool isDeclared : {false, true}) {
        const TempFolder other;
        auto read = isDeclared ? support::declare_base(table, other, 1) : std::make_unique<DastBase>();
        ASSERT_GE(read->load(folder.file("image").c_str(), mode, AceReporter::null()), 0)
            << mode << isDeclared;
        EXPECT_EQ(lines_of(*read) == lines, true);
        EXPECT_EQ(image_of(read.get(), other) == image, true) << "mode " << mode;
        AceAttach at;
        EXPECT_STREQ(read->get_config_string(), base->config_string(&at));
      }
    Table changed = table;
    changed.fields[2].type = "ADVANCED|OPTIMIZED|FULL|NUMERIC";
    const TempFolder other;
    AceReporter::clear_default();
    EXPECT_LT(
        support::declare_base(changed, other, 1)->load(folder.file("image").c_str(), 1, AceReporter::null()),
        0);
    static AceReporter standard;
    standard.set_as_default();
  }
}

TEST(DastBaseBuild, an_index_can_live_in_a_file_of_its_own) {
  const Table table{{{.name = "f", .type = "ADVANCED|CHANGING|FULL|INDEXED"},
                     {.name = "g", .type = "BASIC|CHANGING|FULL|ORIGINAL"}},
                    {{"abc", "x"}, {"abd", "y"}}};
  const TempFolder folder;
  auto base = support::build_base(table, folder);
  const std::string whole = image_of(base.get(), folder);
  base->set_latelink_field(0, 1);
  ASSERT_EQ(base->dump_access(0, folder.file("f.method").c_str(), AceReporter::null()), 0);
  EXPECT_LT(image_of(base.get(), folder).size(), whole.size());
  DastBase read;
  support::RecordingReporter rep;
  ASSERT_GE(read.load(folder.file("image").c_str(), 1, &rep), 0);
  EXPECT_FALSE(read.get_field(0)->has_data_loaded());
  EXPECT_EQ(read.load_field_access("nobody", folder.file("f.method").c_str(), 1, &rep), -1);
  EXPECT_NE(rep.all().find("'nobody' is not recognized as an index field"), std::string::npos);
  for (int mode = 0; mode <= 3; ++mode) {
    ASSERT_EQ(read.load_field_access("f", folder.file("f.method").c_str(), mode, &rep), 0) << mode;
    EXPECT_EQ(lines_of(read), (std::vector<std::string>{"abc\tx", "abd\ty"}));
    EXPECT_EQ(read.del_access(0), 1);
  }
}

TEST(DastBaseBuild, mistakes_in_record_files_are_named_with_line_and_field) {
  const std::vector<FieldPlan> plans{{.name = "f", .type = "BASIC|CHANGING|NONE|ORIGINAL"},
                                     {.name = "n", .type = "ADVANCED|CHANGING|NONE|NUMERIC"}};
  const auto failure_of = [&](std::string_view text) -> std::string {
    const TempFolder folder;
    const auto base = support::declare_base({plans, {}}, folder);
    support::write_file(folder.file("records"), text);
    try {
      const int rc =
          base->make(folder.file("records").c_str(), "NONE", nullptr, nullptr, nullptr, AceReporter::null());
      EXPECT_EQ(base->get_num_records(), rc == 0 ? 3u : 1u);
      return std::to_string(rc);
    } catch (const AceException& failure) {
      EXPECT_EQ(base->get_num_records(), 1u);
      return failure.get_info();
    }
  };
  EXPECT_EQ(failure_of("a\t1\nb\t2\n"), "0");
  EXPECT_EQ(failure_of("\xEF\xBB\xBF"
                       "a\t1\r\nb\t2"),
            "0");
  EXPECT_NE(failure_of("a\t1\nb\n").find("Wrong number of fields in line 2"), std::string::npos);
  EXPECT_NE(failure_of("a\t1\nb\t2\t\n").find("2 expected, 3 found"), std::string::npos);
  EXPECT_NE(failure_of("a\t1\nb\t-2\n").find("record 2, field 'n'"), std::string::npos);
  EXPECT_NE(failure_of("a\t9223372036854775808\nb\t2\n").find("record 1, field 'n'"), std::string::npos);
  EXPECT_NE(failure_of(std::string("a\t1\nb\0\t2\n", 9)).find("line 2"), std::string::npos);
  EXPECT_EQ(failure_of("a\t1\rb\t2\r"), "0") << "a lone CR ends a line";
  EXPECT_EQ(failure_of(std::string(10 << 20, 'a') + "\t1\nb\t2\n"), "0");
  EXPECT_NE(failure_of(std::string(65, '\t') + "\n").find("66 found"), std::string::npos);
}

TEST(DastBaseBuild, a_reporter_stops_the_build) {
  struct Stopping : AceReporter {
    int report_func(const char*) override { return --left >= 0 ? 0 : -1; }
    int left = 0;
  };
  const Table table =
      support::random_table(1, {{.name = "f", .type = "ADVANCED|CHANGING|FULL|ORIGINAL"}}, 50);
  const TempFolder folder;
  const auto base = support::declare_base(table, folder);
  support::write_file(folder.file("records"), table.text());
  AceReporter::set_progress(1);
  AceReporter::clear_default();
  int rc = -1;
  for (int calls = 0; rc < 0 && calls < 200; ++calls) {
    Stopping rep;
    rep.left = calls;
    rc = base->make(folder.file("records").c_str(), "NONE", nullptr, nullptr, nullptr, &rep);
    EXPECT_EQ(base->get_num_records(), rc < 0 ? 1u : 51u) << calls;
  }
  EXPECT_EQ(rc, 0);
  AceReporter::set_progress(0);
  static AceReporter standard;
  standard.set_as_default();
}

TEST(DastBaseBuild, splitting_keeps_records_of_a_value_together) {
  Table table = support::random_table(2,
                                      {{.name = "a", .type = "ADVANCED|OPTIMIZED|NONE|ORIGINAL"},
                                       {.name = "b", .type = "BASIC|CHANGING|NONE|ORIGINAL"}},
                                      200);
  const TempFolder folder;
  const auto base = support::declare_base(table, folder);
  support::write_file(folder.file("records"), table.text());
  std::set<std::string> keys;
  for (const auto& record : table.records) keys.insert(record[0]);
  EXPECT_EQ(base->split(folder.file("records").c_str(), folder.file("").c_str(), 3, AceReporter::null()),
            static_cast<int>(keys.size()));
  std::map<std::string, int> fileOf;
  std::multiset<std::string> lines;
  for (int i = 0; i < 3; ++i) {
    AceInput file(folder.file("00" + std::to_string(i) + ".split").c_str(), 1000, false);
    const char* line = nullptr;
    while (file.read_line(&line) >= 0) {
      lines.insert(line);
      const std::string key = std::string(line).substr(0, std::string(line).find('\t'));
      EXPECT_EQ(fileOf.try_emplace(key, i).first->second, i);
    }
  }
  std::multiset<std::string> expected;
  for (const auto& record : table.records) expected.insert(record[0] + "\t" + record[1]);
  EXPECT_EQ(lines, expected);
  EXPECT_EQ(base->split(folder.file("records").c_str(), folder.file("").c_str(), 0, AceReporter::null()), -1);
}

}  // namespace
