#include "damo/damo_input.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <memory>
#include <random>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_csv_input.h"
#include "damo/damo_fixed_input.h"
#include "damo/damo_line_input.h"
#include "damo/damo_standard_input.h"
#include "damo/damo_statistic.h"
#include "oracle/lines.h"
#include "support/failing_io.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"
#include "support/word_samples.h"

namespace {

using Input = std::unique_ptr<DamoInput>;
using Records = std::vector<std::string>;

std::string joined(const DamoInput& input, int n = -1) {
  AceAttach at;
  return input.get_string('|', &at, n);
}

/// Each result of `read_line`: the fields, or the code.
Records read_all(DamoInput* input) {
  Records records;
  for (int rc; (rc = input->read_line(nullptr, 0)) != DamoInput::AT_END;)
    records.push_back(rc < 0 ? std::to_string(rc) : joined(*input));
  return records;
}

std::string repeat(const std::string& text, int times) {
  std::string all;
  while (times-- > 0) all += text;
  return all;
}

}  // namespace

TEST(DamoStandardInput, splits_lines_of_any_bytes_whole_and_in_parts) {
  AceReporter::clear_default();
  const support::TempFolder folder;
  const std::string file = folder.file("lines");
  for (unsigned seed = 1; seed <= 200; ++seed) {
    std::mt19937 random(seed);
    std::string text(random() % 400, ' ');
    for (char& c : text) c = "aab\t\t\t\r\n"[random() % (seed % 2 == 0 ? 8 : 6)];
    support::write_file(file, text);
    Records expected;
    size_t numFields = 0;
    for (std::string line : oracle::lines_of(text, false)) {
      const size_t count = static_cast<size_t>(std::count(line.begin(), line.end(), '\t')) + 1;
      if (numFields == 0) numFields = std::min<size_t>(count, DamoInput::MAX_FIELDS);
      std::replace(line.begin(), line.end(), '\t', '|');
      expected.push_back(count == numFields ? line : "-2");
    }
    const Input whole(DamoStandardInput(file.c_str(), '\t', AceReporter::null(), 0));
    EXPECT_EQ(read_all(whole.get()), expected) << "seed " << seed;
    EXPECT_EQ(whole->get_num_fields(), expected.empty() ? -1 : static_cast<int>(numFields));
    Records parts;
    for (int part = 0; part < 3; ++part) {
      const Input input(
          DamoStandardInput(file.c_str(), '\t', AceReporter::null(), static_cast<int>(numFields)));
      EXPECT_EQ(input->partition(part, 3), 0);
      for (const auto& record : read_all(input.get())) parts.push_back(record);
    }
    EXPECT_EQ(parts, expected) << "seed " << seed;
  }
}

TEST(DamoStandardInput, at_most_256_fields_and_a_deletion_marker_are_taken) {
  const support::TempFolder folder;
  const std::string most = repeat("a\t", 255) + "b";
  support::write_file(folder.file("f"),
                      most + "\n<del>\t" + most + "\n" + most + "\tc\n" + repeat("\t", 5000));
  const Input input(DamoStandardInput(folder.file("f").c_str(), '\t', AceReporter::null(), 0));
  const std::string fields = repeat("a|", 255) + "b";
  EXPECT_EQ(read_all(input.get()), (Records{fields, fields, "-2", "-2"}));
  EXPECT_EQ(input->get_num_fields(), 256);
  EXPECT_EQ(input->get_error_num_fields(), 257);
  EXPECT_EQ(DamoStandardInput(folder.file("f").c_str(), '\t', AceReporter::null(), 257), nullptr);
  EXPECT_EQ(DamoStandardInput(folder.file("none").c_str(), '\t', AceReporter::null(), 0), nullptr);
}

TEST(DamoInput, corrects_bad_records_as_told_and_reports_the_first_ten) {
  const support::TempFolder folder;
  const std::string file = folder.file("f");
  support::write_file(file, "a\tb\tc\nd\te\nf\tg\th\ti\n<del>\tk\tl\tm\n");
  const auto read = [&](int flags, const char* fill, DamoStatistic* statistic) {
    const Input input(DamoStandardInput(file.c_str(), '\t', AceReporter::null(), 0));
    input->set_error_correction(flags, fill, statistic);
    return read_all(input.get());
  };
  DamoStatistic statistic(0, '\t', 0, nullptr);
  EXPECT_EQ(read(0, nullptr, &statistic), (Records{"a|b|c", "-2", "-2", "k|l|m"}));
  EXPECT_EQ(read(1 + 2 + 4, "X", &statistic), (Records{"a|b|c", "k|l|m"}));
  EXPECT_EQ(read(2, "X", &statistic), (Records{"a|b|c", "-2", "f|g|h", "k|l|m"}));
  EXPECT_EQ(read(4, "X", &statistic), (Records{"a|b|c", "d|e|X", "-2", "k|l|m"}));
  EXPECT_EQ(read(2 + 4, nullptr, &statistic), (Records{"a|b|c", "d|e|", "f|g|h", "k|l|m"}));
  EXPECT_EQ(statistic.get_num_bad_lines(), 10);

  support::write_file(file, "a\tb\n" + repeat("c\n", 12) + "d\te\n");
  support::RecordingReporter rep;
  const Input input(DamoStandardInput(file.c_str(), '\t', &rep, 0));
  input->set_error_correction(DamoInput::IGNORE_RECORD, nullptr, nullptr);
  VInt line = 0;
  EXPECT_EQ(input->read_line(&line, 0), 4);
  EXPECT_EQ(input->read_line(&line, 0), 12 * 2 + 4);
  EXPECT_EQ(line, 14);
  EXPECT_EQ(input->get_error_count(), 12);
  ASSERT_EQ(rep.messages.size(), 11u);
  EXPECT_EQ(rep.messages[0], "Error correction: Ignoring record 2\n");
  EXPECT_EQ(rep.messages[9], "Error correction: Ignoring record 11\n");
  EXPECT_EQ(rep.messages[10], "Error correction: More errors found.");
}

TEST(DamoInput, a_source_that_cannot_be_read_is_no_shorter_one) {
  const support::TempFolder folder;
  const std::string file = folder.file("f");
  const std::string text = "a,b\n\"c\nd\",e\nf,g\n";
  support::write_file(file, text);
  int stops[] = {1, 2, 3};
  const std::function<DamoInput*(AceReporter*)> kinds[] = {
      [&](AceReporter* rep) { return DamoStandardInput(file.c_str(), ',', rep, 0); },
      [&](AceReporter* rep) { return DamoCsvInput(file.c_str(), ',', '"', '\0', rep); },
      [&](AceReporter* rep) { return DamoFixedInput(file.c_str(), 3, stops, rep); }};
  for (const auto& make : kinds) {
    const Records all = read_all(Input(make(AceReporter::null())).get());
    for (size_t offset = 0; offset < text.size(); ++offset) {
      SCOPED_TRACE("byte " + std::to_string(offset));
      const support::FailingReads fault(static_cast<long>(offset), EIO);
      support::RecordingReporter rep;
      const Input input(make(&rep));
      Records some;
      int rc = 0;
      while ((rc = input->read_line(nullptr, 0)) != DamoInput::AT_END && rc != DamoInput::UNREADABLE)
        some.push_back(rc < 0 ? std::to_string(rc) : joined(*input));
      EXPECT_EQ(rc, DamoInput::UNREADABLE);
      EXPECT_EQ(input->read_line(nullptr, 0), DamoInput::UNREADABLE);
      EXPECT_FALSE(input->eof());
      EXPECT_LT(some.size(), all.size());
      EXPECT_TRUE(std::equal(some.begin(), some.end(), all.begin()));
      EXPECT_NE(rep.all().find("'" + file + "' cannot be read beyond record"), std::string::npos);
      EXPECT_NE(rep.all().find(", byte " + std::to_string(offset) + ": "), std::string::npos);
    }
    for (size_t offset = 0; offset < text.size(); ++offset) {
      Records parts;
      for (int part = 0; part < 3; ++part) {
        const Input input(make(AceReporter::null()));
        input->set_num_fields(3 - (&make - kinds) % 2 - (&make == kinds ? 1 : 0));
        const support::FailingReads interrupts(static_cast<long>(offset), EINTR, 4);
        EXPECT_EQ(input->partition(part, 3), 0);
        for (const auto& record : read_all(input.get())) parts.push_back(record);
      }
      EXPECT_EQ(parts, all);
    }
  }
  EXPECT_EQ(DamoStandardInput(folder.file(".").c_str(), ',', AceReporter::null(), 0), nullptr);
}

TEST(DamoInput, a_rejected_record_shows_what_it_has_and_a_value_set_lasts_as_long_as_the_record) {
  const support::TempFolder folder;
  support::write_file(folder.file("f"), "a;b;c\nd\n");
  const Input input(DamoStandardInput(folder.file("f").c_str(), ';', AceReporter::null(), 3));
  EXPECT_GT(input->read_line(nullptr, 0), 0);
  EXPECT_EQ(input->set_field(1, "new"), 0);
  EXPECT_EQ(input->set_field(3, "new"), -1);
  EXPECT_EQ(joined(*input), "a|new|c");
  EXPECT_EQ(joined(*input, 2), "a|new");
  EXPECT_EQ(joined(*input, 9), "a|new|c");
  EXPECT_EQ(input->read_line(nullptr, 0), DamoInput::REJECTED);
  EXPECT_EQ(joined(*input), "d||");
  EXPECT_EQ(input->get_field(1), nullptr);
  EXPECT_EQ(input->get_error_num_fields(), 1);
  EXPECT_EQ(input->put_line(folder.file("f").data()), -1);
}

TEST(DamoFixedInput, cuts_at_the_tab_stops_and_keeps_the_part_of_a_field_that_there_is) {
  const support::TempFolder folder;
  support::write_file(folder.file("f"),
                      "\xEF\xBB\xBF"
                      "aaabbcc\naaabb\naaab\n\n<del>kk\n" +
                          std::string(70'000, 'x') + "\n");
  int stops[] = {3, 5};
  Input input(DamoFixedInput(folder.file("f").c_str(), 2, stops, AceReporter::null()));
  EXPECT_EQ(read_all(input.get()), (Records{"aaa|bb", "aaa|bb", "aaa|b", "-2", "<de|l>", "xxx|xx"}));
  int wide[] = {5, 7, 60'000};
  input.reset(DamoFixedInput(folder.file("f").c_str(), 3, wide, AceReporter::null()));
  input->set_num_fields(1);
  EXPECT_EQ(read_all(input.get()), (Records{"-2", "aaabb", "aaab", "", "kk", "-2"}));

  samples::Random random(1);
  for (int round = 0; round < 200; ++round) {
    std::vector<int> ends = {random.below(3)};
    while (random.below(4) != 0) ends.push_back(ends.back() + 1 + random.below(4));
    std::string line(static_cast<size_t>(random.below(14)), ' ');
    for (char& c : line) c = static_cast<char>('a' + random.below(26));
    std::string expected;
    for (size_t i = 0, from = 0; i < ends.size(); from = static_cast<size_t>(ends[i++]))
      expected +=
          (i > 0 ? "|" : "") +
          (i > 0 && from >= line.size() ? "?" : line.substr(from, static_cast<size_t>(ends[i]) - from));
    support::write_file(folder.file("r"), line + "\n");
    input.reset(DamoFixedInput(folder.file("r").c_str(), static_cast<int>(ends.size()), ends.data(),
                               AceReporter::null()));
    input->set_error_correction(DamoInput::FILL_MISSING, "?", nullptr);
    EXPECT_EQ(read_all(input.get()), Records{expected}) << line;
  }

  std::vector<int> many(3000);
  for (int i = 0; i < 3000; ++i) many[static_cast<size_t>(i)] = i + 1;
  input.reset(DamoFixedInput(folder.file("f").c_str(), 3000, many.data(), AceReporter::null()));
  EXPECT_EQ(read_all(input.get()).back(), repeat("x|", 2999) + "x");

  const auto refusal = [&](std::vector<int> tabStops) {
    try {
      const Input made(DamoFixedInput(folder.file("f").c_str(), static_cast<int>(tabStops.size()),
                                      tabStops.data(), AceReporter::null()));
    } catch (const AceException& exception) {
      return exception.get_cond() + std::string(exception.get_info() != nullptr ? exception.get_info() : "");
    }
    return std::string();
  };
  EXPECT_EQ(refusal({5, 5}), "Tab stops out of order\nPosition = 1, previous = 5, current = 5\n");
  EXPECT_EQ(refusal({-1}), "Tab stops out of order\nPosition = 0, previous = 0, current = -1\n");
  EXPECT_EQ(refusal({}), "Can't have fixed width input reader with zero or negative number of tab stops\n");
}

TEST(DamoLineInput, reads_pushed_lines_and_hands_each_record_out_once) {
  const Input input(DamoLineInput(0, ';', AceReporter::null()));
  EXPECT_TRUE(input->eof());
  for (int i = 0; i < 3000; ++i) {
    std::string line = (i % 2 == 0 ? "<del>;a;b" : "a;b") + std::to_string(i);
    ASSERT_EQ(input->put_line(line.data()), static_cast<int>(line.size()));
    line.assign(line.size(), '?');
    EXPECT_EQ(joined(*input), "a|b" + std::to_string(i));
    EXPECT_EQ(input->is_delete(), i % 2 == 0);
  }
  VInt line = 0;
  EXPECT_FALSE(input->eof());
  EXPECT_GT(input->read_line(&line, 0), 0);
  EXPECT_EQ(line, 3000);
  EXPECT_EQ(input->read_line(&line, 0), DamoInput::AT_END);
  EXPECT_EQ(input->put_line(std::string("a").data()), DamoInput::REJECTED);
  EXPECT_EQ(input->read_line(&line, 0), DamoInput::REJECTED);
  input->set_error_correction(DamoInput::IGNORE_RECORD, nullptr, nullptr);
  EXPECT_EQ(input->put_line(std::string("a").data()), DamoInput::AT_END);
  EXPECT_TRUE(input->eof());
  EXPECT_EQ(input->put_line(nullptr), DamoInput::AT_END);
  EXPECT_EQ(input->partition(1, 2), -1);
}
