#include "damo/damo_diff.h"

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_diff_maker.h"
#include "gtest/gtest.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"
#include "support/texts.h"

namespace {

using Record = std::vector<std::string>;
using Table = std::vector<Record>;

/// Of some tables' worth of records, a key rarely having more than one.
class Tables {
 public:
  explicit Tables(unsigned seed) : random(seed), numFields(1 + seed % 5) {
    for (int i = 0; i < numFields; ++i) idCols.push_back(i);
    std::shuffle(idCols.begin(), idCols.end(), random);
    idCols.resize(seed % 7 == 0 ? 0 : 1 + random() % idCols.size());
  }
  Record record() {
    Record made;
    for (int i = 0; i < numFields; ++i)
      made.push_back(std::string(random() % 3, 'a') + "\x02"[random() % 2] + std::to_string(random() % 4));
    for (std::string& value : made) value.erase(std::remove(value.begin(), value.end(), '\0'), value.end());
    return made;
  }
  Table table(unsigned most) {
    Table made;
    for (unsigned n = random() % (most + 1); n > 0; --n) made.push_back(record());
    return made;
  }
  Record key_of(const Record& record) const {
    Record key;
    for (const int column : idCols) key.push_back(record[static_cast<std::size_t>(column)]);
    return key;
  }
  Record only_key(const Record& record) const {
    Record made(record.size());
    for (const int column : idCols)
      made[static_cast<std::size_t>(column)] = record[static_cast<std::size_t>(column)];
    return made;
  }

  std::mt19937 random;
  int numFields;
  std::vector<int> idCols;
};

struct Updated {
  Table parts[2];
  Table deleted, explicitly;
};

/// What applying differences is, table by table: each a record, and how it deletes (0: not, 1: "<del>", 2:
/// empty).
Updated updated(const Tables& tables, const Table (&parts)[2],
                const std::vector<std::pair<Record, int>>& differences, bool is_purge, bool is_implicit) {
  std::map<Record, std::pair<Table, int>> by_key;
  for (const auto& [record, deletes] : differences) {
    auto& [lines, kind] = by_key[tables.key_of(record)];
    if (deletes != 0 || is_implicit) lines.clear();
    if (deletes == 0) lines.push_back(record);
    kind = deletes;
  }
  Updated result;
  std::map<Record, int> met;
  for (int part = 0; part < 2; ++part)
    for (const Record& record : parts[part]) {
      const Record key = tables.key_of(record);
      const auto found = by_key.find(key);
      if (found == by_key.end() && !is_purge) {
        result.parts[part].push_back(record);
      } else if (found == by_key.end() || found->second.first.empty()) {
        result.deleted.push_back(record);
        if (found != by_key.end() && found->second.second == 1) result.explicitly.push_back(record);
      } else if (met[key]++ == 0) {
        for (const Record& line : found->second.first) result.parts[part].push_back(line);
      }
    }
  int part = 0;
  for (const auto& [key, collected] : by_key)
    for (std::size_t i = 0; i < collected.first.size() && met[key] == 0; ++i, part = 1 - part)
      result.parts[part].push_back(collected.first[i]);
  return result;
}

TEST(DamoDiff, updates_tables_as_their_definition_says) {
  const support::TempFolder folder;
  for (unsigned seed = 0; seed < 60; ++seed) {
    Tables tables(seed);
    const Table parts[2] = {tables.table(12), tables.table(12)};
    std::vector<std::pair<Record, int>> differences;
    for (unsigned n = tables.random() % 16; n > 0; --n) {
      Record record = tables.record();
      const bool isKey = static_cast<int>(tables.idCols.size()) == tables.numFields;
      int deletes = static_cast<int>(tables.random() % 4) - 1;
      if (deletes == 2 && (isKey || tables.numFields == 1)) deletes = 0;  // a blank line says nothing
      if (deletes == 2) record = tables.only_key(record);
      if (deletes < 2 && tables.only_key(record) == record && !isKey) deletes = 1;  // would say so anyway
      differences.emplace_back(record, std::max(deletes, 0));
    }
    std::string whole;
    for (const auto& [record, deletes] : differences)
      whole += (deletes == 1 ? "<del>\t" : "") + support::line_of(record);
    const std::size_t half = whole.find('\n', whole.size() / 2);
    support::write_file(folder.file("d0"),
                        "\xEF\xBB\xBF" + whole.substr(0, half == std::string::npos ? half : half + 1));
    support::write_file(folder.file("d1"), half == std::string::npos ? "" : whole.substr(half + 1));
    for (const int flags : {0, 1, 2, 3}) {
      DamoDiff diff(tables.idCols.data(), static_cast<int>(tables.idCols.size()), tables.numFields, flags & 1,
                    flags >> 1);
      for (int part = 0; part < 2; ++part) {
        const std::string name = folder.file("part" + std::to_string(part));
        support::write_file(name, support::lines_of(parts[part]));
        EXPECT_EQ(diff.add_file(name.c_str(), name.c_str()), part + 1);
      }
      EXPECT_EQ(diff.set_del_file(folder.file("deleted").c_str()), 0);
      EXPECT_EQ(diff.set_explicit_del_file(folder.file("explicit").c_str()), 0);
      EXPECT_EQ(diff.set_del_file(folder.file("deleted").c_str()), 1);
      diff.add_diff(folder.file("d0").c_str(), AceReporter::null());
      diff.add_diff(folder.file("d1").c_str(), AceReporter::null());
      EXPECT_EQ(diff.update(AceReporter::null()), 0);
      const Updated expected = updated(tables, parts, differences, (flags & 1) != 0, flags >> 1 != 0);
      for (int part = 0; part < 2; ++part)
        EXPECT_EQ(support::read_file(folder.file("part" + std::to_string(part))),
                  support::lines_of(expected.parts[part]))
            << seed << " " << flags;
      EXPECT_EQ(support::read_file(folder.file("deleted")), support::lines_of(expected.deleted));
      EXPECT_EQ(support::read_file(folder.file("explicit")), support::lines_of(expected.explicitly));
      EXPECT_FALSE(std::ifstream(folder.file("part0.incomplete")).good());
    }
  }
}

TEST(DamoDiffMaker, makes_what_turns_old_into_new_and_then_changes_nothing) {
  const support::TempFolder folder;
  const auto sorted = [](std::string text) {
    std::multiset<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.insert(line);
    return lines;
  };
  for (unsigned seed = 0; seed < 120; ++seed) {
    Tables tables(seed);
    const Table before = tables.table(20);
    Table after = tables.table(8);
    for (const Record& record : before)
      if (tables.random() % 3 != 0) after.push_back(record);
    const int numIds = static_cast<int>(tables.idCols.size());
    if (numIds < tables.numFields)  // what a difference file cannot say is tested below
      std::erase_if(after, [&](const Record& record) { return tables.only_key(record) == record; });
    support::write_file(folder.file("old"), support::lines_of(before));
    support::write_file(folder.file("new"), support::lines_of(after));
    DamoDiffMaker maker(tables.idCols.data(), numIds, tables.numFields);
    maker.add_old(folder.file("old").c_str());
    maker.add_new(folder.file("new").c_str());
    if (seed % 2 == 1) maker.set_memory(1 + tables.random() % 200);  // on disk, in pieces
    maker.make(folder.file("dif").c_str(), AceReporter::null());
    for (int times = 0; times < 2; ++times) {
      DamoDiff diff(tables.idCols.data(), numIds, tables.numFields, 0, 0);
      diff.add_file(folder.file("old").c_str(), folder.file("old").c_str());
      diff.add_diff(folder.file("dif").c_str(), AceReporter::null());
      diff.update(AceReporter::null());
      EXPECT_EQ(sorted(support::read_file(folder.file("old"))), sorted(support::lines_of(after))) << seed;
    }
  }
  const int key = 0;
  for (const char* text : {"1\t\n", "<del>\tx\n", "1\n"}) {
    support::write_file(folder.file("old"), "1\ta\n");
    support::write_file(folder.file("new"), text);
    DamoDiffMaker maker(&key, 1, 2);
    maker.add_old(folder.file("old").c_str());
    maker.add_new(folder.file("new").c_str());
    EXPECT_THROW(maker.make(folder.file("none").c_str(), AceReporter::null()), AceException) << text;
    EXPECT_FALSE(std::ifstream(folder.file("none")).good());
  }
}

TEST(DamoDiff, says_what_it_leaves_out_and_refuses) {
  const support::TempFolder folder;
  const int key = 1;
  const int bad[] = {0, 0};
  EXPECT_THROW(DamoDiff(&key, 1, 1, 0, 0), AceException);
  EXPECT_THROW(DamoDiff(bad, 2, 2, 0, 0), AceException);
  DamoDiff diff(&key, 1, 2, 0, 0);
  support::RecordingReporter rep;
  EXPECT_THROW(diff.update(&rep), AceException);
  EXPECT_THROW(diff.add_diff(nullptr, &rep), AceException);
  EXPECT_THROW(diff.add_diff(folder.file("nothing").c_str(), &rep), AceException);
  support::write_file(folder.file("dif"),
                      std::string("a\tk\r\n\nx\n<del>\tk\n1\t2\t3\t4\nz\0\tk\nb\tn\n", 33));
  EXPECT_EQ(diff.add_diff(folder.file("dif").c_str(), &rep), 7);
  for (const char* found :
       {"Ignored record 2 in dif file", ": 0 fields instead of 2 expected\n", ": 1 fields instead",
        "Ignored record 4 in", ": 2 fields instead of 2", "Ignored record 5 in", ": 4 fields instead",
        "Ignored record 6 in", "Added 7 difference lines from file '"})
    EXPECT_NE(rep.all().find(found), std::string::npos) << found << rep.all();
  support::write_file(folder.file("in"), "old\tk\nwrong\nold\tm\n");
  EXPECT_THROW(diff.add_file(folder.file("in").c_str(), "/nowhere/out"), AceException);
  EXPECT_THROW(diff.add_file(folder.file("nothing").c_str(), folder.file("out").c_str()), AceException);
  diff.add_file(folder.file("in").c_str(), folder.file("out").c_str());
  EXPECT_GE(diff.get_sizek(), 1);
  EXPECT_EQ(diff.update(&rep), 1);
  EXPECT_EQ(support::read_file(folder.file("out")), "a\tk\nold\tm\nb\tn\n");
  EXPECT_NE(
      rep.all().find("Wrong number of fields found in record 2 when applying diffs (found 1, expected 2)"),
      std::string::npos);
  EXPECT_NE(rep.all().find("Updated 3 lines from input '"), std::string::npos);
  EXPECT_NE(rep.all().find("Processed 0 remaining difference lines\n"), std::string::npos);
  EXPECT_THROW(diff.update(&rep), AceException) << "its inputs have been read";
  EXPECT_EQ(support::read_file(folder.file("out")), "a\tk\nold\tm\nb\tn\n");
  DamoDiff many(&key, 1, 2, 0, 0);
  for (int i = 0; i < DamoDiff::MAX_PARTS; ++i)
    many.add_file(folder.file("in").c_str(), folder.file("out" + std::to_string(i)).c_str());
  EXPECT_THROW(many.add_file(folder.file("in").c_str(), folder.file("one more").c_str()), AceException);
  AceAttach at;
  const char* words[] = {"x", "y"};
  const char* others[] = {"x", "z"};
  EXPECT_LT(DifKey::cmp(diff.create_key(words, &at), diff.create_key(others, &at)), 0);
  EXPECT_LT(DifKey::cmp(nullptr, diff.create_key(words, &at)), 0);
}

}  // namespace
