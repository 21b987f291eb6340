#include "damo/damo_statistic.h"

#include <map>
#include <random>
#include <sstream>

#include "ace/ace_exception.h"
#include "gtest/gtest.h"
#include "support/temp_folder.h"
#include "support/texts.h"

namespace {

using Figures = std::map<std::string, long>;

Figures figures_of(const DamoStatistic& statistic, const std::string& name) {
  statistic.write_file(name.c_str());
  std::istringstream lines(support::read_file(name));
  Figures figures;
  for (std::string line; std::getline(lines, line);)
    if (const std::size_t tab = line.find('\t'); tab != std::string::npos && line[tab + 1] != '{')
      EXPECT_TRUE(figures.emplace(line.substr(0, tab), std::stol(line.substr(tab + 1))).second) << line;
  return figures;
}

/// What the report says of ASCII lines, counted the long way.
Figures counted(const std::vector<std::string>& lines, const std::vector<std::string>& names) {
  Figures figures{{"NUM_LINES", 0}, {"NUM_BAD_LINES", 0}};
  for (const std::string& name : names)
    for (const char* key : {".NUM_EMPTY", ".NUM_INTERVALS", ".NUM_ALIASES"}) figures[name + key] = 0;
  std::map<std::string, std::string> last;
  for (const std::string& line : lines) {
    ++figures["NUM_LINES"];
    const auto values = support::parts_of(line, '\t');
    if (values.size() != names.size()) ++figures["NUM_BAD_LINES"];
    for (std::size_t i = 0; i < names.size() && values.size() == names.size(); ++i) {
      const auto count = [&](const char* kind, auto number) {
        ++figures[names[i] + kind + std::to_string(number)];
      };
      if (values[i].empty()) ++figures[names[i] + ".NUM_EMPTY"];
      if (values[i].empty()) continue;
      if (last[names[i]] != values[i]) ++figures[names[i] + ".NUM_INTERVALS"];
      last[names[i]] = values[i];
      const auto aliases = support::parts_of(values[i], '|');
      figures[names[i] + ".NUM_ALIASES"] += static_cast<long>(aliases.size());
      count(".ALIAS_DISTR.", aliases.size());
      for (const std::string& alias : aliases) {
        count(".WORDS_DISTR.", support::parts_of(alias, ' ').size());
        count(".FLAGS_DISTR.", support::parts_of(alias, '&').size());
        count(".STRLEN_DISTR.", alias.size());
        for (const char c : alias) count(".CHARACTER_DISTR.", static_cast<int>(c));
      }
    }
  }
  return figures;
}

TEST(DamoStatistic, counts_what_is_in_lines_whole_and_in_parts) {
  const support::TempFolder folder;
  const char* const names[] = {"a", nullptr, "c d"};
  std::mt19937 random(3);
  for (int round = 0; round < 60; ++round) {
    const auto make = [&] { return std::make_unique<DamoStatistic>(round % 2, '\t', 3, names); };
    std::vector<std::string> lines;
    for (unsigned n = random() % 40; n > 0; --n) {
      std::string line;
      for (unsigned i = random() % 8; i < 16; ++i) line += "ab |& \t\t"[random() % (i % 3 == 0 ? 8 : 6)];
      if (random() % 4 == 0) line.insert(random() % line.size(), random() % 200, 'y');
      while (round % 3 != 0 && std::count(line.begin(), line.end(), '\t') < 2) line += "\tx";
      lines.push_back(random() % 3 == 0 && !lines.empty() ? lines.back() : line);
    }
    const auto whole = make();
    const auto parts = make();
    auto part = make();
    std::string text;
    for (const std::string& line : lines) {
      text += line + "\n";
      if (random() % 10 == 0 || &line == &lines.back()) {
        if (random() % 2 == 0) text.pop_back();
        whole->add_line(text.c_str());
        text.clear();
      }
      const auto values = support::parts_of(line, '\t');
      std::vector<const char*> fields;
      for (const std::string& value : values) fields.push_back(value.c_str());
      part->add_fields(fields.data(), static_cast<int>(fields.size()));
      if (random() % 5 == 0) {
        EXPECT_EQ(parts->merge(part.get()), 0);
        part = make();
      }
    }
    EXPECT_EQ(parts->merge(part.get()), 0);
    const Figures expected = counted(lines, {"a", "field1", "c d"});
    EXPECT_EQ(figures_of(*whole, folder.file("whole")), expected);
    EXPECT_EQ(figures_of(*parts, folder.file("parts")), expected);
    EXPECT_EQ(support::read_file(folder.file("whole")), support::read_file(folder.file("parts")));
    EXPECT_EQ(whole->write_page(folder.file("page").c_str()), 0);
  }
}

TEST(DamoStatistic, has_bounds_and_reads_characters) {
  const support::TempFolder folder;
  const char* const names[] = {"text"};
  DamoStatistic statistic(1, '\t', 1, names);
  statistic.add_line(nullptr);
  statistic.add_line("");
  statistic.add_line(
      "\xC3\xA4|\xE2\x82\xAC\xFF\xC3\n\n");  // ä, €, two bytes that are none; then an empty line
  statistic.add_line(std::string(20000000, ' ').c_str());
  EXPECT_EQ(statistic.do_field_stats(1, "x"), -1);
  EXPECT_EQ(statistic.do_field_stats(0, "x"), 0);
  Figures figures = figures_of(statistic, folder.file("report"));
  EXPECT_EQ(figures["NUM_LINES"], 3);
  EXPECT_EQ(figures["text.NUM_EMPTY"], 1);
  EXPECT_EQ(figures["text.CHARACTER_DISTR.228"], 1);
  EXPECT_EQ(figures["text.CHARACTER_DISTR.8364"], 1);
  EXPECT_EQ(figures["text.CHARACTER_DISTR.65533"], 2);
  EXPECT_EQ(figures["text.WORDS_DISTR.10000000"], 1);
  EXPECT_NE(support::read_file(folder.file("report"))
                .find("FIELD_NAMES\t{text}\n\n# Statistics for field no. 0 (text)\n"),
            std::string::npos);
  statistic.write_page(folder.file("page").c_str());
  const std::string page = support::read_file(folder.file("page"));
  for (const char* suspicion : {"bytes that are no UTF-8", "'|'", "much longer"})
    EXPECT_NE(page.find(suspicion), std::string::npos) << page;
  EXPECT_EQ(statistic.merge(&statistic), -1);
  const DamoStatistic bytes(0, '\t', 1, names);
  EXPECT_EQ(statistic.merge(&bytes), -1);
  EXPECT_THROW(statistic.write_file("/nowhere/report"), AceException);
}

}  // namespace
