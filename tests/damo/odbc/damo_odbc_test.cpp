// Inputs and connections on real databases.
#include <algorithm>
#include <thread>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_thread.h"
#include "damo/damo_odbc_input.h"
#include "support/odbc_databases.h"
#include "support/recording_reporter.h"

namespace {

std::string repeated(const std::string& text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

void read_what_databases_hold() {
  if (const std::string packages = support::OdbcDatabases::missing(); !packages.empty())
    GTEST_SKIP() << "needs Debian's packages" << packages;
  support::OdbcDatabases databases;
  const std::string umlauts = repeated("\xC3\xBC", 20000);
  ASSERT_TRUE(
      databases.make("create table people (id integer, name text, born date);\n"
                     "insert into people values (1, 'Ann; of O''Neil', '1980-01-02');\n"
                     "insert into people values (2, 'J\xC3\xBCrgen \xE2\x82\xAC \xF0\x9F\x98\x80', null);\n"
                     "insert into people values (3, 'a\tb', '1990-12-31');\n"
                     "insert into people values (4, null, null);\n"
                     "insert into people values (5, 'x" +
                     umlauts + "', null);\n"));
  for (const char* kind : {"sqlite", "postgres"}) {
    const std::string name = databases.source(kind);
    const char* const source = name.c_str();
    support::RecordingReporter rep;
    const auto open = [&](const char* sql) {
      return std::unique_ptr<DamoInput>(DamoOdbcInput(source, "sv", "", nullptr, nullptr, sql, &rep));
    };
    const auto read = [](DamoInput* input) {
      std::string text;
      AceAttach at;
      VInt number = 0;
      while (input->read_line(&number, 0) >= 0)
        text += std::to_string(number) + "|" + input->get_string('|', &at, -1) + "\n";
      return text;
    };
    const auto input = open(
        "select id, name, born from people where id < 5 order by id; -- ; the same\n"
        "update people set id = id where id > 99;\n"
        "select 'it;s', name, born from people where id = 5");
    EXPECT_STREQ(input->get_source_name(), source);
    EXPECT_EQ(input->read_header(nullptr), 10);
    AceAttach at;
    EXPECT_STREQ(input->get_string('|', &at, -1), "id|name|born");
    EXPECT_EQ(read(input.get()),
              "2|1|Ann; of O'Neil|1980-01-02\n3|2|J\xC3\xBCrgen \xE2\x82\xAC \xF0\x9F\x98\x80|\n4|3|a "
              "b|1990-12-31\n5|4||\n6|it;s|x" +
                  umlauts.substr(0, DamoODBCConnection::BUFFER_SIZE - 2) + "|\n")
        << source;
    EXPECT_NE(rep.all().find("cut to 32767"), std::string::npos) << source << rep.all();

    DamoODBCConnection connection(&rep);
    const auto sources = connection.listDataSources();
    EXPECT_TRUE(std::any_of(sources.begin(), sources.end(), [&](const auto& s) { return s.name == source; }));
    connection.connectDB(source, "sv", "tomato");
    EXPECT_THROW(connection.executeSQL("select nothing from nowhere"), AceException);
    EXPECT_EQ(connection.executeSQL("select id from people"), 1);
    EXPECT_EQ(connection.fetchAllRecstoFile(databases.file("dump").c_str()), 5);
    EXPECT_EQ(support::read_file(databases.file("dump")), "1\n2\n3\n4\n5\n");
    EXPECT_EQ(connection.executeSQL("delete from people where id = 99"), 0);
    EXPECT_EQ(connection.fetch_row(), -1);
    connection.disconnectDB();
    EXPECT_EQ(connection.executeSQL("select 1"), -1);
  }
}

TEST(DamoOdbc, reads_by_several_threads_at_once) {
  if (const std::string packages = support::OdbcDatabases::missing(); !packages.empty())
    GTEST_SKIP() << "needs Debian's packages" << packages;
  support::OdbcDatabases databases;
  std::string sql = "create table numbers (n integer);\nbegin;\n";
  constexpr VInt COUNT = 3000;
  for (VInt n = 1; n <= COUNT; ++n) sql += "insert into numbers values (" + std::to_string(n) + ");\n";
  ASSERT_TRUE(databases.make(sql + "commit;\n"));
  std::vector<VInt> sums(6);
  std::vector<std::thread> threads;
  for (VInt& sum : sums)
    threads.emplace_back([&sum,
                          source = databases.source((&sum - sums.data()) % 2 == 0 ? "sqlite" : "postgres")] {
      const AceThreadSafe registered;
      const std::unique_ptr<DamoInput> input(DamoOdbcInput(source.c_str(), nullptr, nullptr, nullptr, nullptr,
                                                           "select n from numbers", AceReporter::null()));
      while (input->read_line(nullptr, 0) >= 0) sum += std::stol(input->get_field(0));
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(sums, std::vector<VInt>(sums.size(), COUNT * (COUNT + 1) / 2));
}

TEST(DamoOdbc, reads_what_databases_hold) {
  try {
    read_what_databases_hold();
  } catch (const AceException& error) {
    AceAttach at;
    FAIL() << error.what(&at);
  }
}

std::string refusal(const char* source) {
  try {
    DamoODBCConnection().connectDB(source, "sv", "tomato");
  } catch (const AceException& error) {
    AceAttach at;
    return error.what(&at);
  }
  return "";
}

TEST(DamoOdbc, tells_what_is_missing) {
  const support::OdbcDatabases databases;
  support::write_file(
      databases.file("odbc.ini"),
      "[lost]\nDriver=/nowhere/libsqlite3odbc.so\n[bare]\nDatabase=x\n[unnamed]\nDriver=PgSQL\n");
  const std::string none = refusal("people"), lost = refusal("lost"), bare = refusal("bare"),
                    unnamed = refusal("unnamed");
  EXPECT_NE(none.find("no data source 'people' in " + databases.file("odbc.ini") + " and "),
            std::string::npos)
      << none;
  EXPECT_NE(none.find("which name: lost, bare, unnamed"), std::string::npos) << none;
  EXPECT_NE(lost.find("libsqliteodbc"), std::string::npos) << lost;
  EXPECT_NE(bare.find("'bare' has in"), std::string::npos) << bare;
  EXPECT_NE(unnamed.find("/odbcinst.ini names"), std::string::npos) << unnamed;
  const std::string whole = refusal("Driver=x;Database=y;PWD=tomato");
  EXPECT_NE(whole.find("not a connection string"), std::string::npos) << whole;
  for (const std::string& text : {none, lost, bare, unnamed, whole})
    EXPECT_EQ(text.find("tomato"), std::string::npos) << text;
}

}  // namespace
