// Connections and inputs on a driver manager that does what real ones rarely do.
#include <cstdio>
#include <numeric>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_string.h"
#include "damo/damo_odbc_input.h"
#include "fake_odbc.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"

namespace {

constexpr int SIZE = DamoODBCConnection::BUFFER_SIZE;
constexpr int WITH_INFO = 1;
constexpr int NO_TOTAL = -4;
constexpr int NO_DATA = 100;

class DamoOdbcFake : public testing::Test {
 protected:
  DamoOdbcFake() { fake = FakeOdbc(); }
  ~DamoOdbcFake() override { EXPECT_EQ(fake.numHandles, 0); }

  std::unique_ptr<DamoInput> open(const char* sql) {
    return std::unique_ptr<DamoInput>(DamoOdbcInput("dsn", "me", "pass", nullptr, nullptr, sql, &rep));
  }
  /// The fields of all records, bad ones with a '?' in front, and the message that ends them.
  std::string records(DamoInput* input) {
    std::string text;
    AceAttach at;
    try {
      VInt number = 0;
      for (int size; (size = input->read_line(&number, 0)) != DamoInput::AT_END;) {
        text += std::to_string(number) + (input->is_delete() ? "-" : "") + (size < 0 ? "?" : ":") +
                (size < 0 ? input->get_source_text(&at) : input->get_string('|', &at, -1)) + "\n";
      }
      EXPECT_TRUE(input->eof());
    } catch (const AceException& error) {
      text += error.what(&at);
    }
    return text;
  }
  int count(const std::string& text) const {
    const std::string all = rep.all();
    int found = 0;
    for (std::size_t at = 0; (at = all.find(text, at)) != std::string::npos; ++at) ++found;
    return found;
  }

  FakeOdbc& fake = fake_odbc();
  support::RecordingReporter rep;
};

TEST_F(DamoOdbcFake, an_error_at_any_call_is_told_with_its_records_and_leaves_no_handle) {
  const std::string dbc = "::Error in DamoODBCConnection DB Connection: ",
                    env = "::Error in DamoODBCConnection Environment: ",
                    statement = "::Error in DamoODBCConnection Statement: ";
  const std::pair<const char*, std::string> calls[] = {
      {"SQLAllocHandle ENV", env},     {"SQLSetEnvAttr", env},
      {"SQLAllocHandle DBC", env},     {"SQLConnect", dbc},
      {"SQLAllocHandle STMT", dbc},    {"SQLExecDirect", statement},
      {"SQLNumResultCols", statement}, {"SQLDescribeCol", statement},
      {"SQLBindCol", statement},       {"SQLFetch", statement},
      {"SQLDataSources", env}};
  fake.results["q"] = {{"a"}, {{{"1"}}}};
  fake.sources = {{"s", "d"}};
  fake.records = {{"08001", 7, "no pass for tomato, not even pass"}, {"HY000", -1, std::string(3000, 'x')}};
  for (const auto& [name, lead] : calls)
    for (const int code : {-1, -2, 2, 99}) {
      fake.failing = {{name, code}};
      AceAttach at;
      std::string text;
      try {
        DamoODBCConnection connection(&rep);
        connection.connectDB("dsn", "me", "pass");
        connection.setSqlStatementList("q;q");
        EXPECT_EQ(connection.executeSQL(), 1);
        char* row[1];
        while (connection.fetchRecord(row, &at) >= 0) continue;
        connection.listDataSources();
      } catch (const AceException& error) {
        text = error.what(&at);
      }
      const bool hasHandle = std::string(name) != "SQLAllocHandle ENV";
      const std::string hidden =
          std::string(name) == "SQLConnect" || std::string(name) == "SQLAllocHandle DBC" ? "***" : "pass";
      const std::string told = " Diag: 1, SQLSTATE: 08001 NativeError: 7 ErrMsg: no " + hidden +
                               " for tomato, not even " + hidden +
                               " Diag: 2, SQLSTATE: HY000 NativeError: -1 ErrMsg: " + std::string(1023, 'x');
      EXPECT_EQ(text, lead + std::to_string(code) + "." + (hasHandle ? told : "")) << name;
      EXPECT_EQ(fake.numHandles, 0) << name;
    }
  // Where things are given up, nothing is left to do about an error, and its own records may be missing.
  fake.isEndless = true;
  fake.records = {{"HY000", 0, "again"}};
  fake.failing = {{"SQLCloseCursor", -1}, {"SQLFreeStmt", -1}, {"SQLDisconnect", -1}};
  EXPECT_EQ(records(open("q").get()), "1:1\n");
  fake.failing["SQLFetch"] = -1;
  const std::string endless = records(open("q").get());
  EXPECT_NE(endless.find(" Diag: 20, "), std::string::npos);
  EXPECT_EQ(endless.find(" Diag: 21, "), std::string::npos);
  fake.failing["SQLGetDiagRec"] = -1;
  EXPECT_EQ(records(open("q").get()), "::Error in DamoODBCConnection Statement: -1.");
  DamoODBCConnection connection(&rep);
  connection.throw_error(99, -1);
  EXPECT_EQ(count("Unrecognized handler connection in Error Display of DamoODBCConnection\n"), 1);
}

TEST_F(DamoOdbcFake, what_is_missing_is_told_with_where_it_was_looked_for) {
  setenv("ODBCINI", "/home/ann/odbc.ini", 1);
  setenv("ODBCSYSINI", "/etc/odbc", 1);
  fake.sources = {{"one", "d"}, {"two", ""}};
  fake.failing = {{"SQLConnect", -1}};
  const auto told = [&](const char* state, const char* message) {
    fake.records = {{state, 0, message}};
    try {
      DamoODBCConnection(&rep).connectDB("people", "me", "pass");
    } catch (const AceException& error) {
      AceAttach at;
      return std::string(error.what(&at));
    }
    return std::string();
  };
  const std::string none = told("IM002", "Data source name not found");
  EXPECT_NE(
      none.find("no data source 'people' in /home/ann/odbc.ini and /etc/odbc/odbc.ini, which name: one, two"),
      std::string::npos)
      << none;
  const std::string sqlite =
      told("01000", "Can't open lib '/usr/lib/odbc/libsqlite3odbc.so' : file not found");
  EXPECT_NE(sqlite.find("apt-get install libsqliteodbc"), std::string::npos) << sqlite;
  EXPECT_NE(told("IM003", "psqlodbcw.so").find("odbc-postgresql"), std::string::npos);
  EXPECT_NE(told("IM003", "unknown.so").find("/etc/odbc/odbcinst.ini"), std::string::npos);
  EXPECT_EQ(told("28000", "no").find("package"), std::string::npos);
  fake.failing["SQLDataSources"] = -1;
  EXPECT_NE(told("IM002", "x").find("SQLSTATE: IM002"), std::string::npos);
  unsetenv("ODBCINI");
  unsetenv("ODBCSYSINI");
}

TEST_F(DamoOdbcFake, values_are_told_by_their_length_and_cut_at_a_character) {
  using Value = FakeOdbc::Value;
  const std::string full(SIZE - 1, 'x'), umlauts = [] {
    std::string text = "x";
    while (text.size() < SIZE + 100) text += "\xC3\xBC";
    return text;
  }();
  const std::string cutUmlauts = umlauts.substr(0, SIZE - 1);       // 1 + 2 * n bytes: whole
  const std::string middle = "x" + cutUmlauts.substr(0, SIZE - 3);  // cut in an umlaut
  fake.results["q"] = {{"a", "b"},
                       {{{"left over"}, {"left over"}},
                        {{"", true}, {"\xC3\xBC", false, std::nullopt, true}},  // NULL; no length
                        {{full}, {"x\ty\r\nz"}},                                // just fits
                        {{umlauts}, {"x" + umlauts, false, NO_TOTAL}},          // one even, one odd
                        {{std::string("a\0b", 3)}, {"\xC3", false, std::nullopt}}}};
  fake.results["told"] = {{"a", "b"}, {{{"x" + umlauts, false, SIZE - 1}, {"y"}}}, 0, WITH_INFO};
  fake.records = {{"01004", 0, "cut"}};
  EXPECT_EQ(records(open("q;told").get()), "1:left over|left over\n2:|\xC3\xBC\n3:" + full +
                                               "|x y  z\n4:" + cutUmlauts + "|" + middle +
                                               "\n5:a|\xC3\n6:" + middle + "|y\n");
  EXPECT_EQ(count("bytes and is cut to 32767"), 1);
  EXPECT_EQ(count("bytes and is cut to 32766"), 2);
  EXPECT_EQ(count("has a zero byte"), 1);
  EXPECT_EQ(count("line ends or TABs"), 1);
  // Not cut: the warning is about something else, or about another value.
  fake.results["told"].rows = {{{full}, {full + "yz"}}};
  EXPECT_EQ(records(open("told").get()), "1:" + full + "|" + full + "\n");
  fake.records = {{"01003", 0, "NULL in a sum"}};
  fake.results["told"].rows = {{{full}, {""}}};
  EXPECT_EQ(records(open("told").get()), "1:" + full + "|\n");
  fake.results["many"] = {{"a"}, std::vector<std::vector<Value>>(13, {{umlauts}})};
  rep.events.clear();
  EXPECT_EQ(records(open("many").get()).size(), 13U * (SIZE + 2) + 4);
  EXPECT_EQ(count("is cut to"), 10);
  EXPECT_EQ(count("More values are cut"), 1);
}

TEST_F(DamoOdbcFake, a_row_may_have_as_many_columns_as_there_are) {
  FakeOdbc::Result& wide = fake.results["wide"];
  for (int i = 0; i < 300; ++i) {
    wide.columns.push_back("c" + std::to_string(i));
    wide.rows.resize(1);
    wide.rows[0].push_back({std::to_string(i)});
  }
  wide.columns[0] = std::string(255, 'n') + "\xC3\xBC";
  fake.results["narrow"] = {{"a"}, {{{"x"}}}};
  const auto input = open("wide; narrow");
  VInt number = 0;
  EXPECT_GT(input->read_header(&number), 255);
  EXPECT_EQ(input->get_field(0), std::string(255, 'n'));
  EXPECT_STREQ(input->get_field(299), "c299");
  EXPECT_EQ(input->get_num_fields(), 300);
  input->set_error_correction(DamoInput::FILL_MISSING, "-", nullptr);
  ASSERT_GT(input->read_line(&number, 0), 0);
  EXPECT_EQ(number, 2);
  EXPECT_STREQ(input->get_field(299), "299");
  ASSERT_GT(input->read_line(&number, 0), 0);
  EXPECT_STREQ(input->get_field(299), "-");
  EXPECT_EQ(input->read_line(&number, 0), DamoInput::AT_END);
  // Of a wider row a caller gets what it has room for.
  DamoODBCConnection connection(&rep);
  connection.connectDB("dsn", nullptr, nullptr);
  connection.setSqlStatementList("narrow; wide; narrow");
  ASSERT_EQ(connection.executeSQL(), 1);
  char* row[1] = {};
  AceAttach at;
  EXPECT_EQ(connection.fetchRecord(row, &at), 1);
  EXPECT_EQ(connection.fetchRecord(row, &at), 300);
  EXPECT_STREQ(row[0], "0");
  EXPECT_EQ(connection.fetchHeader(row, &at), 300);
  EXPECT_EQ(connection.fetchRecord(row, &at), 1);
  EXPECT_EQ(connection.fetchRecord(row, &at), -1);
  wide.numColumns = DamoODBCConnection::MAX_COLUMNS + 1;
  EXPECT_THROW(connection.executeSQL("wide"), AceException);
  EXPECT_EQ(connection.fetch_row(), -1);
}

TEST_F(DamoOdbcFake, statements_give_one_stream) {
  fake.results["a"] = {{"x", "y"}, {{{"1"}, {"2"}}, {{"<del>"}, {"3"}}}};
  fake.results["none"] = {{}, {}, NO_DATA};
  fake.results["empty"] = {{"x", "y"}, {}};
  fake.results["marked"] = {{"m", "x", "y"}, {{{"<del>"}, {"4"}, {"5"}}, {{""}, {"6"}, {"7"}}}};
  EXPECT_EQ(records(open("a; none; empty; marked; a").get()),
            "1:1|2\n2:<del>|3\n3-:4|5\n4?\t6\t7\n5:1|2\n6:<del>|3\n");
  EXPECT_EQ(fake.login, "dsn|me|pass");
  EXPECT_EQ(records(open("none; a;").get()), "1:1|2\n2:<del>|3\n");
  EXPECT_EQ(
      records(open("a;;a").get()),
      "1:1|2\n2:<del>|3\nError trying to execute SQL Statement. Expected string but null-pointer found.");
  EXPECT_THROW(open(""), AceException);
  EXPECT_THROW(open("a;a;a;a;a;a;a;a;a;a;a"), AceException);
  const auto input = open("marked");
  EXPECT_EQ(input->partition(0, 2), -1);
  EXPECT_EQ(count("ODBC sources do not support multiple parts!"), 1);
  EXPECT_EQ(input->get_size(), 1);
  input->set_num_fields(2);
  EXPECT_EQ(records(input.get()), "1-:4|5\n2?\t6\t7\n");
  DamoODBCConnection connection(&rep);
  EXPECT_EQ(connection.executeSQL("a"), -1);
  fake.results["talk"] = {{"x"}, {}, WITH_INFO};
  fake.records = {{"01000", 3, "a notice"}};
  EXPECT_EQ(records(open("talk").get()), "");
  EXPECT_EQ(count("ErrMsg: a notice"), 1);
}

TEST_F(DamoOdbcFake, a_divider_in_quotes_and_comments_divides_nothing) {
  const std::string parts[] = {"select 'O''Neil; Ann', \"a;b\", `c;d`",
                               "select E'it\\'s; x', name'x\\'",
                               "select 1 -- a; b's\n+ 2",
                               "/*+ hint; */ select /* ; ' */ 3",
                               "select $$a;b$$, $t$;$$;$t$, $1, a$b, c$d",
                               "select 'open; to the end"};
  std::string all;
  for (const std::string& part : parts) all += (all.empty() ? "" : " -- a;\n;") + (" /* b; */\n" + part);
  DamoODBCConnection connection(&rep);
  connection.connectDB("dsn", nullptr, nullptr);
  ASSERT_EQ(connection.setSqlStatementList(all.c_str()), 6);
  for (int i = 0; i < 6; ++i) connection.executeSQL();
  EXPECT_EQ(fake.statements, std::vector<std::string>(std::begin(parts), std::end(parts)));
  EXPECT_THROW(connection.executeSQL(), AceException);
  EXPECT_EQ(connection.setSqlStatementList("a; b ; -- done\n ; /* ; */ "), 2);
  EXPECT_EQ(connection.setSqlStatementList(" ; "), 0);
  EXPECT_EQ(connection.setSqlStatementList("--"), 0);
  EXPECT_EQ(connection.setSqlStatementList("$; $1"), 2);
}

TEST_F(DamoOdbcFake, sources_are_listed_and_rows_dumped) {
  fake.sources = {{"people", "SQLite3"}, {"orders", ""}};
  fake.results["q"] = {{"a", "b"}, {{{"1"}, {"x\ty"}}, {{""}, {""}}}};
  DamoODBCConnection connection(&rep);
  AceString text;
  AceAttach at;
  EXPECT_EQ(connection.listDataSourcesStr(&text), 2);
  EXPECT_STREQ(text.string(&at), "people\t\t\t[SQLite3]\norders\t\t\t[]\n");
  connection.connectDB("people", nullptr, nullptr);
  connection.setSqlStatementList("q;q");
  connection.executeSQL();
  const support::TempFolder folder;
  EXPECT_EQ(connection.fetchAllRecstoFile(folder.file("dump").c_str()), 4);
  EXPECT_EQ(support::read_file(folder.file("dump")), "1\tx y\n\t\n1\tx y\n\t\n");
  connection.setSqlStatementList("q");
  fake.failing = {{"SQLFetch", -1}};
  connection.executeSQL();
  EXPECT_THROW(connection.fetchAllRecstoFile(folder.file("dump").c_str()), AceException);
  EXPECT_EQ(support::read_file(folder.file("dump")).size(), 16U);
}

// ---------------------------------------------------------------- other driver managers, other processes

std::string probe(const std::string& folder) {
  const std::string command = "LD_LIBRARY_PATH='" + folder + "' '" TEST_ODBC_PROBE "'";
  std::FILE* const pipe = popen(command.c_str(), "r");
  std::string text;
  for (int c; (c = std::fgetc(pipe)) != EOF;) text += static_cast<char>(c);
  pclose(pipe);
  return text;
}

TEST(DamoOdbcManager, that_is_no_library_or_lacks_a_function_is_told) {
  const support::TempFolder folder;
  support::write_file(folder.file("libodbc.so.1"), "no library");
  support::write_file(folder.file("libodbc.so.2"), "nor this");
  const std::string none = probe(folder.file(""));
  EXPECT_EQ(none.find("Failed to load libodbc.so: "), 0U) << none;
  for (const char* text : {"libodbc.so.1: file too short, ", "libodbc.so.2: file too short. ", "libodbc2"})
    EXPECT_NE(none.find(text), std::string::npos) << text << "\n" << none;
  const std::string whole = support::read_file(TEST_FAKE_ODBC);
  support::write_file(folder.file("libodbc.so.1"), whole);
  EXPECT_EQ(probe(folder.file("")), "");
  for (const std::string name :
       {"SQLAllocHandle", "SQLBindCol", "SQLCloseCursor", "SQLConnect", "SQLDataSources", "SQLDescribeCol",
        "SQLDisconnect", "SQLExecDirect", "SQLFetch", "SQLFreeHandle", "SQLFreeStmt", "SQLGetDiagRec",
        "SQLNumResultCols", "SQLSetEnvAttr"}) {
    std::string damaged = whole;
    const std::string entry = '\0' + name + '\0';
    for (std::size_t at = 0; (at = damaged.find(entry, at)) != std::string::npos; ++at) damaged[at + 1] = 'X';
    support::write_file(folder.file("libodbc.so.1"), damaged);
    const std::string text = probe(folder.file(""));
    EXPECT_NE(text.find("Failed to load symbol `" + name + "' from libodbc.so: "), std::string::npos) << text;
  }
}

// ---------------------------------------------------------------- passwords

std::string message_of(const std::function<void()>& call) {
  try {
    call();
  } catch (const AceException& error) {
    AceAttach at;
    return error.what(&at);
  }
  return "";
}

TEST_F(DamoOdbcFake, passwords_are_kept_encrypted) {
  const support::TempFolder folder;
  const std::string key = folder.file("key"), other = folder.file("other");
  DamoODBCConnection::make_key_file(key.c_str());
  EXPECT_EQ(std::filesystem::status(key).permissions(), std::filesystem::perms(0600));
  EXPECT_NE(message_of([&] { DamoODBCConnection::make_key_file(key.c_str()); }).find("exists"),
            std::string::npos);
  AceAttach at;
  for (const std::string& password : {std::string(), std::string("p\xC3\xA4ss;wo rd"),
                                      std::string(DamoODBCConnection::MAX_PASSWORD, 'x')}) {
    const char* const kept = DamoODBCConnection::encrypt_password(password.c_str(), key.c_str(), &at);
    EXPECT_STRNE(kept, DamoODBCConnection::encrypt_password(password.c_str(), key.c_str(), &at));
    EXPECT_EQ(password, DamoODBCConnection::decrypt_password(kept, key.c_str()).get());
    EXPECT_EQ(std::string(kept).find('\n'), std::string::npos);
  }
  const std::string kept = DamoODBCConnection::encrypt_password("tomato", key.c_str(), &at);
  fake.results["q"] = {{"a"}, {}};
  const std::unique_ptr<DamoInput> input(
      DamoOdbcInput("dsn", "me", "not used", kept.c_str(), key.c_str(), "q", &rep));
  EXPECT_EQ(fake.login, "dsn|me|tomato");

  DamoODBCConnection::make_key_file(other.c_str());
  std::string damaged = kept;
  damaged[20] = damaged[20] == 'A' ? 'B' : 'A';
  const auto decrypt = [&](const std::string& text, const std::string& file) {
    return message_of([&] { DamoODBCConnection::decrypt_password(text.c_str(), file.c_str()); });
  };
  EXPECT_EQ(decrypt(kept, key), "");
  EXPECT_NE(decrypt(damaged, key).find("not encrypted with the key"), std::string::npos);
  EXPECT_NE(decrypt(kept, other).find("not encrypted with the key"), std::string::npos);
  EXPECT_NE(decrypt(std::string(kept.size(), '/'), key).find("not encrypted with the key"),
            std::string::npos);
  EXPECT_NE(decrypt("AAAA", key).find("3 bytes in base64, 384 are expected"), std::string::npos);
  EXPECT_NE(decrypt(kept, "").find("none is given"), std::string::npos);
  EXPECT_NE(decrypt(kept, folder.file("")).find("no key file"), std::string::npos);
  EXPECT_NE(decrypt(kept, folder.file("nowhere")).find("No such file"), std::string::npos);
  EXPECT_NE(message_of([&] {
              DamoODBCConnection::encrypt_password(std::string(257, 'x').c_str(), key.c_str(), &at);
            }).find("257 bytes, at most 256"),
            std::string::npos);
  const std::string pem = support::read_file(key);
  for (std::size_t i = 0; i < pem.size(); i += 97) {
    std::string broken = pem;
    broken[i] = broken[i] == 'A' ? 'B' : 'A';
    support::write_file(other, broken);
    static_cast<void>(decrypt(kept, other));  // the sanitizers judge
    support::write_file(other, pem.substr(0, i));
    EXPECT_NE(decrypt(kept, other), "") << i;
  }
  std::filesystem::permissions(key, std::filesystem::perms(0644));
  EXPECT_NE(decrypt(kept, key).find("has mode 0644"), std::string::npos);
}

TEST(DamoOdbcPassword, is_what_other_programs_read_and_write) {
  if (std::system("openssl version >/dev/null 2>&1") != 0) GTEST_SKIP() << "needs Debian's package openssl";
  const support::TempFolder folder;
  const std::string key = folder.file("key"), text = folder.file("text"), binary = folder.file("binary");
  const std::string options =
      " -inkey " + key + " -pkeyopt rsa_padding_mode:oaep -pkeyopt rsa_oaep_md:sha256";
  DamoODBCConnection::make_key_file(key.c_str());
  support::write_file(text, "tomato");
  ASSERT_EQ(std::system(("openssl pkeyutl -encrypt -in " + text + " -out " + binary + options +
                         " && base64 -w0 " + binary + " > " + text)
                            .c_str()),
            0);
  const std::string kept = support::read_file(text);
  EXPECT_STREQ(DamoODBCConnection::decrypt_password(kept.c_str(), key.c_str()).get(), "tomato");
  AceAttach at;
  support::write_file(text, DamoODBCConnection::encrypt_password("potato", key.c_str(), &at));
  ASSERT_EQ(std::system(("base64 -d " + text + " > " + binary + " && openssl pkeyutl -decrypt -in " + binary +
                         " -out " + text + options)
                            .c_str()),
            0);
  EXPECT_EQ(support::read_file(text), "potato");
}

}  // namespace
