/// Rows of a database as records, beside a bare loop that binds the columns and fetches.
///
/// BENCH_RECORDS people of five fields, a million where it is not set, from SQLite (0) and PostgreSQL (1).
#include <sql.h>
#include <sqlext.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"
#include "damo/damo_odbc_input.h"
#include "ratio.h"
#include "support/odbc_databases.h"

namespace {

constexpr int NUM_FIELDS = 5;
constexpr const char* QUERY = "select * from people";
constexpr const char* KINDS[] = {"sqlite", "postgres"};

long num_records() {
  const char* const text = std::getenv("BENCH_RECORDS");
  const long given = text != nullptr ? std::strtol(text, nullptr, 10) : 0;
  return given > 0 ? given : 1'000'000;
}

/// A hundred rows a statement: neither database is slow with these.
std::string people() {
  std::string sql =
      "create table people (id text, given text, surname text, street text, city text);\nbegin;\n";
  const std::string letters = "aeionrstldmubkaeionrstldmubkaeionrstldmubk";
  for (long i = 0; i < num_records(); ++i) {
    const auto some = [&](long salt, long shortest, long spread) {
      const long mixed = (i + 1) * 2654435761L % 1000003 + salt;
      return letters.substr(static_cast<std::size_t>(mixed % 10),
                            static_cast<std::size_t>(shortest + mixed % spread));
    };
    sql += i % 100 == 0 ? "insert into people values\n(" : ",\n(";
    sql += "'" + std::to_string(10'000'000 + i) + "','" + some(1, 4, 10) + "','" + some(2, 5, 20) + "','" +
           some(3, 10, 20) + "','" + some(4, 5, 20) + "')";
    if (i % 100 == 99 || i + 1 == num_records()) sql += ";\n";
  }
  return sql + "commit;\n";
}

long read_records(const char* source) {
  const std::unique_ptr<DamoInput> input(
      DamoOdbcInput(source, "sv", nullptr, nullptr, nullptr, QUERY, AceReporter::null()));
  long bytes = 0;
  for (int size; (size = input->read_line(nullptr, 0)) >= 0;) bytes += size;
  return bytes;
}

long read_bare(const char* source) {
  const auto text = [](const char* given) { return reinterpret_cast<SQLCHAR*>(const_cast<char*>(given)); };
  SQLHANDLE environment = nullptr, connection = nullptr, statement = nullptr;
  SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment);
  SQLSetEnvAttr(environment, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
  SQLAllocHandle(SQL_HANDLE_DBC, environment, &connection);
  if (!SQL_SUCCEEDED(SQLConnect(connection, text(source), SQL_NTS, text("sv"), SQL_NTS, text(""), SQL_NTS)))
    std::abort();
  SQLAllocHandle(SQL_HANDLE_STMT, connection, &statement);
  SQLExecDirect(statement, text(QUERY), SQL_NTS);
  constexpr int SIZE = DamoODBCConnection::BUFFER_SIZE;
  std::vector<char> buffers(std::size_t{NUM_FIELDS} * SIZE);
  SQLLEN lengths[NUM_FIELDS] = {};
  for (SQLUSMALLINT i = 0; i < NUM_FIELDS; ++i)
    SQLBindCol(statement, static_cast<SQLUSMALLINT>(i + 1), SQL_C_CHAR, buffers.data() + i * SIZE, SIZE,
               &lengths[i]);
  long bytes = 0;
  while (SQL_SUCCEEDED(SQLFetch(statement)))
    for (const SQLLEN length : lengths) bytes += length;
  SQLFreeHandle(SQL_HANDLE_STMT, statement);
  SQLDisconnect(connection);
  SQLFreeHandle(SQL_HANDLE_DBC, connection);
  SQLFreeHandle(SQL_HANDLE_ENV, environment);
  return bytes;
}

void BM_Odbc(benchmark::State& state) {
  if (const std::string packages = support::OdbcDatabases::missing(); !packages.empty()) {
    state.SkipWithError(("needs Debian's packages" + packages).c_str());
    return;
  }
  static support::OdbcDatabases databases;
  static const bool isMade = databases.make(people());
  if (!isMade) std::abort();
  const std::string name = databases.source(KINDS[state.range(0)]);
  const char* const source = name.c_str();
  if (read_records(source) != read_bare(source)) std::abort();
  bench::compare(
      state, static_cast<double>(num_records()), [&] { read_records(source); }, [&] { read_bare(source); });
}

BENCHMARK(BM_Odbc)
    ->ArgName("postgres")
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);

}  // namespace
