// One base with a field of every kind, asked by several threads (a program of the thread sanitizer, too), and
// one that was written once and must always open.
#include <gtest/gtest.h>

#include "support/by_threads.h"
#include "support/method_asks.h"

namespace {

struct Kind {
  const char* method;
  const char* build;
  const char* strings;  // where the base has them
  std::vector<std::string> values;
  std::vector<std::string> queries;
};
const std::vector<Kind> KINDS = {
    {"EDIT",
     "-filter 0 -phonetics KOELNER",
     "INDEXED",
     {"meier", "mayer", "huber", "schmidt"},
     {"maier", "mey*"}},
    {"AUTO",
     "-phonetics KOELNER",
     "INDEXED",
     {"berlin", "bern", "bonn", "bremen"},
     {"berlim", "be[rn]n", "nach bern"}},
    {"WORDS",
     "-filter 0 -skip 100 -merge_entries -add -",
     "INDEXED",
     {"karl weber", "weber karl", "hauptbahnhof", "k w"},
     {"webre karl", "haupt bahnhof", "karl"}},
    {"WORDS",
     "-skip 100 -use_auto -single_hits",
     "INDEXED",
     {"hotel adler", "adler", "hotel zum adler", "bahnhof"},
     {"hotel adlre", "im adler"}},
    {"DATE",
     "-format SHORT_DE",
     "ORIGINAL",
     {"03.04.1985", "1985", "31.4.1985", "01.01.2001"},
     {"3. Aprril 1985", "??.04.1985", "198?", "born 3.4.1985", "1.1.1985;1.1.1986"}},
    {"NUMBER", "", "ORIGINAL", {"4711", "4171", "14711", "4a71"}, {"4711", "47*1"}},
    {"DOUBLE", "", "ORIGINAL", {"1.5", "2", "3.75", "100"}, {"2.5", "x"}},
    {"DIRECT", "", "ORIGINAL", {"12", "13", "1985", "2100"}, {"12;20", "13"}},
    {"POSTCODE", "", "INDEXED", {"80331", "01234", "8000", "80339"}, {"80331", "1234", "80*", "in 8000"}},
    {"PREMISE", "", "ORIGINAL", {"12", "12a", "10-20", "1*9"}, {"12", "14", "haus 12a"}},
    {"GEOMETRIC", "", "ORIGINAL", {"100,100", "700,900", "1,2", "90,110"}, {"100,100", "0,0;200,200"}},
    {"UUID",
     "-sorted",
     "ORIGINAL",
     {"123e4567-e89b-42d3-a456-426614174000", "123e4567-e89b-42d3-a456-426614174001",
      "00000000-0000-4000-8000-000000000000", "ffffffff-ffff-4fff-bfff-ffffffffffff"},
     {"123e4567e89b42d3a456426614174000", "123e4567"}},
    {"REGEXP", "", "ORIGINAL", {"abc", "abd", "xyz", "a1"}, {"a.c", "[0-9]"}},
    {"CATEGORY", "", "ORIGINAL", {"red", "green", "redder", "blue"}, {"red|blue"}},
};

constexpr DastOptions::Call CALLS[] = {
    DastOptions::EXACT,     DastOptions::COMPLETE,   DastOptions::APPROX,
    DastOptions::DETECT,    DastOptions::DETECT0,    static_cast<DastOptions::Call>(DastOptions::DETECT0 + 3),
    DastOptions::FS_DETECT, DastOptions::FS_COMPLETE};

/// What the fields answer, call by call, and what the query objects say of the values.
using Answers = std::vector<std::map<std::string, int>>;
Answers ask_all(const DastBase& base) {
  Answers answers;
  for (std::size_t f = 0; f < KINDS.size(); ++f) {
    const DastBaseField* const field = base.get_field(static_cast<int>(f));
    for (const std::string& query : KINDS[f].queries)
      for (const DastOptions::Call call : CALLS) {
        answers.push_back(support::find_in_field(field, query.c_str(), call));
        const TeraQueryRef object(field->eval(query.c_str(), call, 0, AceReporter::null()));
        if (object == nullptr) continue;
        answers.emplace_back();
        for (const std::string& value : KINDS[f].values)
          answers.back()[value] = object->compare(value.c_str());
      }
  }
  return answers;
}

support::Table table_of_kinds() {
  support::Table table;
  for (const Kind& kind : KINDS)
    table.fields.push_back({.name = "f" + std::to_string(table.fields.size()),
                            .type = std::string("BASIC|CHANGING|FULL|") + kind.strings,
                            .method = kind.method,
                            .buildOptions = kind.build});
  for (std::size_t i = 0; i < KINDS[0].values.size(); ++i) {
    table.records.emplace_back();
    for (const Kind& kind : KINDS) table.records.back().push_back(kind.values[i]);
  }
  return table;
}

TEST(DimeThreads, on_one_mapped_base_of_every_kind_of_field_find_what_one_finds) {
  const support::QuietReports quiet;
  const support::TempFolder folder;
  const auto built = support::build_base(table_of_kinds(), folder);
  ASSERT_NE(built, nullptr);
  ASSERT_GE(built->dump(folder.file("image").c_str(), AceReporter::null()), 0);
  DastBase alone;
  ASSERT_GE(alone.load(folder.file("image").c_str(), 1, AceReporter::null()), 0);
  const Answers expected = ask_all(alone);
  EXPECT_EQ(ask_all(*built), expected);
  EXPECT_GT(std::count_if(expected.begin(), expected.end(), [](const auto& found) { return !found.empty(); }),
            static_cast<long>(4 * KINDS.size()));
  DastBase shared;  // nothing of it has been asked yet
  ASSERT_GE(shared.load(folder.file("image").c_str(), 1, AceReporter::null()), 0);
  for (const auto& own : support::answers_by_threads(4, [&] { return ask_all(shared); }))
    EXPECT_EQ(own, expected);
}

TEST(DimeFormats, a_base_of_every_kind_of_field_opens_for_ever_and_answers_as_one_of_today) {
  const support::QuietReports quiet;
  const support::TempFolder folder;
  const auto built = support::build_base(table_of_kinds(), folder);
  ASSERT_NE(built, nullptr);
  for (const int mode : {0, 1}) {
    DastBase kept;
    ASSERT_GE(kept.load(TEST_DATA "/formats/every_method.base", mode, AceReporter::use_default()), 0);
    EXPECT_EQ(ask_all(kept), ask_all(*built));
  }
}

}  // namespace
