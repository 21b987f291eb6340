#include "damo/damo_extract.h"

#include <algorithm>
#include <random>
#include <sstream>
#include <thread>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_csv_input.h"
#include "damo/damo_distribute.h"
#include "damo/damo_field.h"
#include "damo/damo_line_input.h"
#include "damo/damo_statistic.h"
#include "damo/damo_storage.h"
#include "gtest/gtest.h"
#include "support/odbc_databases.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"
#include "support/texts.h"
#include "tera/tera_standard_transform.h"

namespace {

/// A plain description of an output field: parts are sources (or constants below 0), values cut at '/' if
/// asked for.
struct Plan {
  std::vector<int> parts;
  bool isCut = false;
};

/// Rows of lists, the last value again where one is shorter.
std::vector<std::string> rows_of(const std::vector<std::vector<std::string>>& lists,
                                 const std::string& between) {
  std::size_t longest = 0;
  for (const auto& list : lists) longest = std::max(longest, list.size());
  std::vector<std::string> rows(longest);
  for (std::size_t row = 0; row < longest; ++row)
    for (std::size_t i = 0; i < lists.size(); ++i)
      rows[row] += (i > 0 ? between : "") + lists[i][std::min(row, lists[i].size() - 1)];
  return rows;
}

std::string extracted(const std::vector<std::string>& record, const std::vector<Plan>& plans,
                      bool is_deletion) {
  std::vector<std::vector<std::string>> fields;
  for (const Plan& plan : plans) {
    std::vector<std::vector<std::string>> parts;
    for (const int part : plan.parts) {
      std::string text = part < 0 ? "" : record[static_cast<std::size_t>(part)];
      std::replace(text.begin(), text.end(), '\t', ' ');
      std::replace(text.begin(), text.end(), '\n', ' ');
      parts.push_back(plan.isCut ? support::parts_of(text, '/') : std::vector<std::string>{text});
    }
    fields.push_back(rows_of(parts, "+"));
  }
  std::string lines;
  for (const std::string& row : rows_of(fields, "\t")) lines += (is_deletion ? "<del>\t" : "") + row + "\n";
  return lines;
}

TEST(DamoExtract, writes_the_rows_of_every_record_whole_and_in_parts) {
  const support::TempFolder folder;
  std::mt19937 random(11);
  for (int round = 0; round < 40; ++round) {
    std::vector<Plan> plans(1 + random() % 4);
    std::vector<std::unique_ptr<DamoField>> kept;
    std::vector<DamoField*> fields;
    for (Plan& plan : plans) {
      plan.isCut = round % 2 == 1 && random() % 2 == 0;
      for (unsigned n = 1 + (round % 4 == 3 ? random() % 3 : 0); n > 0; --n)
        plan.parts.push_back(static_cast<int>(random() % 4) - (round % 4 == 3 ? 1 : 0));
      for (int& part : plan.parts) part = std::min(part, 2);
      const auto make = [&](int part) {
        kept.push_back(std::make_unique<DamoField>("f"));
        kept.back()->set_source(part);
        if (plan.isCut) kept.back()->set_field_sep('/');
        return kept.back().get();
      };
      DamoField* const whole = make(plan.parts[0]);
      whole->set_concat("+");
      if (plan.parts.size() > 1) {
        whole->set_field_sep('/');
        for (const int part : plan.parts) whole->add_subfield(make(part));
      }
      fields.push_back(whole);
    }
    std::string source = "a;b;c\n", expected;
    for (unsigned n = random() % 30; n > 0; --n) {
      std::vector<std::string> record(3);
      const bool isDeletion = random() % 8 == 0;
      source += isDeletion ? "<del>;" : "";
      for (std::size_t i = 0; i < 3; ++i) {
        for (unsigned k = random() % 5; k > 0; --k) record[i] += "ab/\"\t;\n"[random() % 7];
        std::string quoted;
        for (const char c : record[i]) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
        source += "\"" + quoted + (i < 2 ? "\";" : "\"\n");
      }
      expected += extracted(record, plans, isDeletion);
    }
    support::write_file(folder.file("source.csv"), source);
    for (const int numParts : {1, 3}) {
      std::string found;
      for (int part = 0; part < numParts; ++part) {
        DamoExtract extract(3, static_cast<int>(fields.size()), folder.file("records").c_str(), 0, 0);
        extract.csv_file(folder.file("source.csv").c_str(), ';', 1, 0, '"', '\0');
        for (DamoField* field : fields) extract.add_field(field);
        const VInt numLines =
            extract.extract(0, nullptr, round % 2, AceReporter::null(), nullptr, nullptr, part, numParts);
        const std::string text = support::read_file(folder.file("records"));
        EXPECT_EQ(numLines, std::count(text.begin(), text.end(), '\n'));
        found += text;
      }
      EXPECT_EQ(found, expected);
    }
  }
}

TEST(DamoExtract, accounts_for_every_bad_record) {
  const support::TempFolder folder;
  const std::string source = folder.file("source.csv"), records = folder.file("records"),
                    rejects = folder.file("rejects");
  support::write_file(source, "id;name\n1;Ann\n2\n3;\"B;o\nb\";x\n<del>;4;Cid\n5;Dora\n");
  DamoField id("id"), name("name");
  id.set_source(0);
  name.set_source(1);
  const auto run = [&](int correction, int go_on, bool for_build, DamoStatistic* in, DamoStatistic* out,
                       AceReporter* rep, const std::string& from) {
    DamoExtract extract(2, 2, records.c_str(), 1, go_on);
    extract.csv_file(from.c_str(), ';', 1, 2, '"', '\0');
    extract.add_field(&id);
    extract.add_field(&name);
    extract.set_rejects(rejects.c_str());
    if (for_build) extract.set_for_build();
    return extract.extract(correction, "?", 0, rep, in, out, 0, 1);
  };
  support::write_file(records, "as before");
  EXPECT_THROW(run(0, 0, false, nullptr, nullptr, AceReporter::null(), source), AceException);
  EXPECT_EQ(support::read_file(records), "as before");
  const char* const names[] = {"id", "name"};
  DamoStatistic in(1, '\t', 2, names), out(1, '\t', 2, names);
  support::RecordingReporter rep;
  EXPECT_EQ(run(0, 1, true, &in, &out, &rep, source), 2);
  EXPECT_EQ(support::read_file(records), "id\tname\n1\tAnn\n5\tDora\n");
  EXPECT_EQ(support::read_file(rejects), "id;name\n2\n3;\"B;o\nb\";x\n<del>;4;Cid\n");
  EXPECT_EQ(support::read_file(rejects + ".reasons"),
            "1\t3\tit has 1 fields instead of 2\n2\t5\tit has 3 fields instead of 2\n"
            "3\t6\tDeletions cannot be extracted for a build: Record 6\n");
  EXPECT_EQ(in.get_num_bad_lines(), 3);
  EXPECT_EQ(in.get_num_lines(), 3);
  EXPECT_EQ(out.get_num_lines(), 2);
  for (const char* text : {"] Record 3 has incorrect format for extraction (incorrect number of fields)\n",
                           "] Expected 2 fields but read 1\n", "Header: 'id\tname'\n",
                           "Left out bad records: 3\n", "Total number of errors corrected: 0\n"})
    EXPECT_NE(rep.all().find(text), std::string::npos) << text << rep.all();
  // Mended, the rejects are read with the same settings.
  std::string mended = support::read_file(rejects);
  mended.replace(mended.find("2\n"), 1, "2;Bob");
  mended.replace(mended.find(";x\n"), 2, "");
  support::write_file(folder.file("mended.csv"), mended);
  EXPECT_EQ(run(0, 0, false, nullptr, nullptr, AceReporter::null(), folder.file("mended.csv")), 3);
  EXPECT_EQ(support::read_file(records), "id\tname\n2\tBob\n3\tB;o b\n<del>\t4\tCid\n");
  EXPECT_EQ(support::read_file(rejects), "id;name\n");
  // What is ignored or corrected on the way: the first kind is shown, too.
  EXPECT_EQ(run(DamoInput::IGNORE_RECORD, 0, false, nullptr, nullptr, AceReporter::null(), source), 3);
  EXPECT_EQ(support::read_file(rejects), "id;name\n2\n3;\"B;o\nb\";x\n");
  EXPECT_EQ(run(DamoInput::FILL_MISSING | DamoInput::IGNORE_SUPERFLUOUS, 0, false, nullptr, nullptr,
                AceReporter::null(), source),
            5);
  EXPECT_EQ(support::read_file(rejects), "id;name\n");
}

/// Of records with more fields than are kept, too.
TEST(DamoExtract, rejects_the_whole_of_long_records) {
  const support::TempFolder folder;
  const std::string source = folder.file("source"), rejects = folder.file("rejects");
  std::string plain =
                  "\xEF\xBB\xBF"
                  "a\tb\n",
              quoted = "a\tb\r\n", longRecord = "1", longQuoted = "\"1\n\"\"\"";
  for (int i = 2; i <= 400; ++i) {
    longRecord += "\t" + std::to_string(i);
    longQuoted += "\t\"" + std::to_string(i) + "\"";
  }
  plain += longRecord + "\n1\t2\n<del>\t" + longRecord + "\r\n3\n" + longRecord;
  quoted += longQuoted + "\r\n1\t2\r\n" + longQuoted;
  DamoField field("f");
  field.set_source(0);
  for (const bool isQuoted : {false, true}) {
    support::write_file(source, isQuoted ? quoted : plain);
    DamoExtract extract(2, 1, folder.file("records").c_str(), 0, 1);
    if (isQuoted)
      extract.csv_file(source.c_str(), '\t', 0, 2, '"', '\0');
    else
      extract.simple_file('\t', 0, source.c_str());
    extract.add_field(&field);
    extract.set_rejects(rejects.c_str());
    EXPECT_EQ(extract.extract(0, nullptr, 0, AceReporter::null(), nullptr, nullptr, 0, 1), 2);
    EXPECT_EQ(support::read_file(rejects),
              isQuoted ? longQuoted + "\n" + longQuoted + "\n"
                       : longRecord + "\n<del>\t" + longRecord + "\n3\n" + longRecord + "\n");
  }
}

TEST(DamoExtract, refuses_what_is_not_configured) {
  const support::TempFolder folder;
  support::write_file(folder.file("source"), "a b\tc\n");
  DamoField field("f");
  field.set_source(1);
  field.set_field_sep('\t');
  const auto run = [](DamoExtract* extract) {
    return extract->extract(0, nullptr, 1, AceReporter::null(), nullptr, nullptr, 0, 1);
  };
  DamoExtract none(1, 0, folder.file("out").c_str(), 0, 0);
  AceAttach at;
  const char* values[] = {"x", "1\t2\r\t3"};
  EXPECT_THROW(none.extract_line(values, 2, &at), AceException);
  EXPECT_THROW(run(&none), AceException);
  DamoExtract extract(0, 1, folder.file("out").c_str(), 0, 0);
  EXPECT_EQ(extract.add_field(nullptr), -1);
  EXPECT_THROW(run(&extract), AceException);  // no field yet
  EXPECT_EQ(extract.add_field(&field), 1);
  EXPECT_EQ(extract.add_field(&field), -1);
  EXPECT_STREQ(extract.extract_line(values, 2, &at), "1\n2 \n3");
  DamoField absent("a");
  absent.set_source(2);
  DamoExtract beyond(0, 1, folder.file("out").c_str(), 0, 0);
  beyond.add_field(&absent);
  EXPECT_THROW(beyond.extract_line(values, 2, &at), AceException);
  extract.simple_file('\t', 0, folder.file("nowhere").c_str());
  EXPECT_THROW(extract.simple_file('\t', 0, folder.file("source").c_str()), AceException);
  EXPECT_THROW(run(&extract), AceException);
  EXPECT_FALSE(std::ifstream(folder.file("out")).good());
  DamoExtract encoded(0, 1, folder.file("out").c_str(), 0, 1);
  StandardTransform ellipsis(StandardTransform::ADD_ELLIPSIS);
  encoded.set_encoding(&ellipsis);
  encoded.add_field(&field);
  int stops[] = {2, 3};
  encoded.fixed_width(folder.file("source").c_str(), 2, stops, 0);
  EXPECT_EQ(run(&encoded), 1);
  EXPECT_EQ(support::read_file(folder.file("out")), "b...\n");
}

TEST(DamoExtract, reads_one_table_in_every_notation) {
  const support::TempFolder folder;
  support::write_file(folder.file("csv"), "name,tags\n\"A,\tnn\",x|y\nBob,\n");
  support::write_file(folder.file("fixed"), "A,\tnn x|y\nBob       \n");
  support::write_file(folder.file("json"),
                      R"({"rows": [{"n": "A,\tnn", "t": ["x", "y"]}, {"n": "Bob", "t": []}]})");
  support::write_file(
      folder.file("lines"),
      "not read\n{\"n\": \"A,\\tnn\", \"t\": [\"x\", \"y\"]}\n\n{\"n\": \"Bob\", \"t\": \"\"}\n");
  support::write_file(folder.file("xml"),
                      "<r xmlns='urn:r'><p n='A,&#9;nn'><t>x</t><t>y</t></p><p n='Bob'><t/></p></r>");
  DamoField name("name"), tags("tags");
  StandardTransform trim(StandardTransform::TRIM_ALL);
  name.set_source(0);
  tags.set_source(1);
  tags.set_transform(&trim);
  const char* paths[] = {"n", "t"};
  const char* xpaths[] = {"@n", "r:t"};
  const char* spaces[] = {"r", "urn:r"};
  const int stops[] = {6, 10};
  std::string statistics, kinds = "cfjlx";
  support::OdbcDatabases databases;
  if (support::OdbcDatabases::missing().empty()) {
    kinds += "sp";
    ASSERT_TRUE(databases.make(
        "create table people (id integer, name text, tags text);\n"
        "insert into people values (1, 'A,\tnn', 'x|y');\ninsert into people values (2, 'Bob', null);\n"));
  }
  for (const char kind : kinds)
    for (const int numParts : {1, 2, 7}) {
      if (numParts > 1 && std::string("cfl").find(kind) == std::string::npos) continue;  // read as a whole
      std::string found;
      VInt numLines = 0;
      DamoStatistic statistic(1, '\t', 2, paths);
      for (int part = 0; part < numParts; ++part) {
        DamoExtract extract(2, 2, folder.file("out").c_str(), 0, 0);
        extract.add_field(&name);
        extract.add_field(&tags);
        name.set_transform(kind == 'f' ? &trim : nullptr);
        if (kind == 'c') extract.csv_file(folder.file("csv").c_str(), ',', 1, 0, '"', '\0');
        if (kind == 'f') extract.fixed_width(folder.file("fixed").c_str(), 2, stops, 0);
        if (kind == 'j') extract.json_file(folder.file("json").c_str(), "rows", paths, 2);
        if (kind == 'l') extract.json_lines(folder.file("lines").c_str(), 1, paths, 2);
        if (kind == 'x') extract.xml_file("/r:r/r:p", xpaths, 2, spaces, 2, folder.file("xml").c_str());
        if (kind == 's' || kind == 'p')
          extract.odbc_conn(databases.source(kind == 's' ? "sqlite" : "postgres").c_str(), "sv", nullptr,
                            nullptr, nullptr, "select name, tags from people order by id");
        DamoStatistic own(1, '\t', 2, paths);
        numLines += extract.extract(0, nullptr, 0, AceReporter::null(), nullptr, &own, part, numParts);
        found += support::read_file(folder.file("out"));
        statistic.merge(&own);
      }
      EXPECT_EQ(numLines, 2);
      EXPECT_EQ(found, "A, nn\tx|y\nBob\t\n") << kind << numParts;
      statistic.write_file(folder.file("statistic").c_str());
      if (statistics.empty()) statistics = support::read_file(folder.file("statistic"));
      EXPECT_EQ(support::read_file(folder.file("statistic")), statistics) << kind << numParts;
    }
  DamoExtract broken(1, 1, folder.file("none").c_str(), 0, 1);
  broken.add_field(&name);
  broken.json_file(folder.file("csv").c_str(), "@", paths, 1);
  EXPECT_THROW(broken.extract(0, nullptr, 0, AceReporter::null(), nullptr, nullptr, 0, 1), AceException);
}

TEST(DamoDistribute, merges_inputs) {
  const support::TempFolder folder;
  support::write_file(folder.file("a.csv"), "1,\"x\ty\"\n2\n<del>,3,z\n");
  const std::unique_ptr<DamoInput> csv(
      DamoCsvInput(folder.file("a.csv").c_str(), ',', '"', '\0', AceReporter::null()));
  const std::unique_ptr<DamoInput> pushed(DamoLineInput(2, ';', AceReporter::null()));
  char line[] = "4;w";
  pushed->put_line(line);
  DamoInput* inputs[] = {csv.get(), nullptr, pushed.get()};
  DamoDistribute all(inputs, 3, folder.file("out").c_str(), 2);
  DamoStatistic statistic(0, '\t', 2, nullptr);
  all.set_statistic(&statistic);
  support::RecordingReporter rep;
  EXPECT_EQ(all.process(&rep), 3);
  EXPECT_EQ(support::read_file(folder.file("out")), "1\tx y\n<del>\t3\tz\n4\tw\n");
  EXPECT_EQ(statistic.get_num_lines(), 2);
  EXPECT_NE(
      rep.all().find("Wrong number of fields in input source line. Input: 0, Line: 2, Number of fields: 1"),
      std::string::npos);
  DamoDistribute nowhere(inputs, 3, "/nowhere/out", 2);
  EXPECT_THROW(nowhere.process(AceReporter::null()), AceException);
}

TEST(DamoStorage, shares_values_of_names_that_are_known) {
  AceReporter::clear_default();
  DamoStorage* const shared = DamoStorage::get_instance();
  shared->reset_data();
  AceAttach at;
  EXPECT_EQ(shared->create_storage(""), -1);
  EXPECT_EQ(shared->declare_variable("s", "v"), -1);
  EXPECT_EQ(shared->create_storage("s"), 0);
  EXPECT_EQ(shared->create_storage("s"), 0);
  EXPECT_EQ(shared->declare_variable("s", "v"), 0);
  EXPECT_EQ(shared->declare_variable("s", "v"), -1);
  EXPECT_EQ(shared->declare_variable("s", nullptr), -1);
  EXPECT_STREQ(shared->read_variable("s", "v", &at), "");
  EXPECT_EQ(shared->write_variable("s", "w", "x"), -1);
  EXPECT_EQ(shared->write_variable_raw("s", "v", "a\0b", 3), 0);
  int length = 0;
  EXPECT_EQ(std::string(shared->read_variable_raw("s", "v", &length, &at), 3), std::string("a\0b", 3));
  EXPECT_EQ(length, 3);
  EXPECT_EQ(shared->write_variable_raw("s", "v", "a", -1), -1);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([shared] {
      for (int k = 0; k < 1000; ++k) shared->write_variable("s", "v", k % 2 == 0 ? "even" : "odd");
    });
  for (std::thread& thread : threads) thread.join();
  const std::string last = shared->read_variable("s", "v", &at);
  EXPECT_TRUE(last == "even" || last == "odd");
  shared->reset_data();
  EXPECT_EQ(shared->read_variable("s", "v", &at), nullptr);
  static AceReporter standard;
  standard.set_as_default();
}

}  // namespace
