#include "fake_odbc.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <cstring>

namespace {

struct Column {
  char* buffer = nullptr;
  SQLLEN size = 0;
  SQLLEN* length = nullptr;
};

const FakeOdbc::Result* present = nullptr;
std::vector<Column> bound;
std::size_t nextRow = 0;
std::size_t nextSource = 0;

/// What the test wants a function to return.
int told(const char* function, int usual = SQL_SUCCESS) {
  const auto& failing = fake_odbc().failing;
  const auto found = failing.find(function);
  return found != failing.end() ? found->second : usual;
}

SQLRETURN result(int code) {
  return static_cast<SQLRETURN>(code);
}

void put(const std::string& text, SQLCHAR* out, SQLSMALLINT size, SQLSMALLINT* length) {
  const std::size_t count = std::min(text.size(), static_cast<std::size_t>(size) - 1);
  std::memcpy(out, text.data(), count);
  out[count] = '\0';
  *length = static_cast<SQLSMALLINT>(text.size());
}

/// As drivers do: NULL leaves the buffer as it is, what does not fit is cut.
void put(const FakeOdbc::Value& value, const Column& column) {
  if (value.isNull) {
    *column.length = SQL_NULL_DATA;
    return;
  }
  const auto count = std::min(static_cast<SQLLEN>(value.text.size()), column.size - 1);
  std::memcpy(column.buffer, value.text.data(), static_cast<std::size_t>(count));
  column.buffer[count] = '\0';
  if (!value.tellsNothing) *column.length = value.told.value_or(static_cast<long>(value.text.size()));
}

}  // namespace

FakeOdbc& fake_odbc() {
  static FakeOdbc fake;
  return fake;
}

extern "C" {

SQLRETURN SQLAllocHandle(SQLSMALLINT kind, SQLHANDLE, SQLHANDLE* out) {
  static const char* const names[] = {"", "SQLAllocHandle ENV", "SQLAllocHandle DBC", "SQLAllocHandle STMT"};
  const int code = told(names[kind]);
  if (code != SQL_SUCCESS && code != SQL_SUCCESS_WITH_INFO) return result(code);
  *out = new char;
  ++fake_odbc().numHandles;
  return result(code);
}

SQLRETURN SQLFreeHandle(SQLSMALLINT, SQLHANDLE handle) {
  delete static_cast<char*>(handle);
  --fake_odbc().numHandles;
  return result(told("SQLFreeHandle"));
}

SQLRETURN SQLSetEnvAttr(SQLHENV, SQLINTEGER, SQLPOINTER, SQLINTEGER) {
  return result(told("SQLSetEnvAttr"));
}

SQLRETURN SQLConnect(SQLHDBC, SQLCHAR* source, SQLSMALLINT, SQLCHAR* user, SQLSMALLINT, SQLCHAR* password,
                     SQLSMALLINT) {
  const auto text = [](SQLCHAR* given) { return std::string(reinterpret_cast<char*>(given)); };
  fake_odbc().login = text(source) + "|" + text(user) + "|" + text(password);
  return result(told("SQLConnect"));
}

SQLRETURN SQLDisconnect(SQLHDBC) {
  return result(told("SQLDisconnect"));
}

SQLRETURN SQLExecDirect(SQLHSTMT, SQLCHAR* sql, SQLINTEGER) {
  const std::string statement = reinterpret_cast<char*>(sql);
  fake_odbc().statements.push_back(statement);
  present = &fake_odbc().results[statement];
  nextRow = 0;
  bound.assign(present->columns.size(), Column{});
  return result(told("SQLExecDirect", present->executed));
}

SQLRETURN SQLNumResultCols(SQLHSTMT, SQLSMALLINT* count) {
  *count = static_cast<SQLSMALLINT>(present->numColumns >= 0 ? present->numColumns
                                                             : static_cast<int>(present->columns.size()));
  return result(told("SQLNumResultCols"));
}

SQLRETURN SQLDescribeCol(SQLHSTMT, SQLUSMALLINT number, SQLCHAR* name, SQLSMALLINT size, SQLSMALLINT* length,
                         SQLSMALLINT* type, SQLULEN*, SQLSMALLINT*, SQLSMALLINT*) {
  put(present->columns[number - 1U], name, size, length);
  *type = SQL_VARCHAR;
  return result(told("SQLDescribeCol"));
}

SQLRETURN SQLBindCol(SQLHSTMT, SQLUSMALLINT number, SQLSMALLINT, SQLPOINTER buffer, SQLLEN size,
                     SQLLEN* length) {
  bound[number - 1U] = {static_cast<char*>(buffer), size, length};
  return result(told("SQLBindCol"));
}

SQLRETURN SQLFetch(SQLHSTMT) {
  if (nextRow >= present->rows.size()) return result(told("SQLFetch", SQL_NO_DATA));
  const auto& row = present->rows[nextRow++];
  for (std::size_t i = 0; i < row.size(); ++i) put(row[i], bound[i]);
  return result(told("SQLFetch", present->fetched));
}

SQLRETURN SQLCloseCursor(SQLHSTMT) {
  return result(told("SQLCloseCursor"));
}

SQLRETURN SQLFreeStmt(SQLHSTMT, SQLUSMALLINT) {
  return result(told("SQLFreeStmt"));
}

SQLRETURN SQLDataSources(SQLHENV, SQLUSMALLINT direction, SQLCHAR* name, SQLSMALLINT name_size,
                         SQLSMALLINT* name_length, SQLCHAR* description, SQLSMALLINT size,
                         SQLSMALLINT* length) {
  const auto& sources = fake_odbc().sources;
  if (direction == SQL_FETCH_FIRST) nextSource = 0;
  if (nextSource >= sources.size()) return result(told("SQLDataSources", SQL_NO_DATA));
  put(sources[nextSource].first, name, name_size, name_length);
  put(sources[nextSource++].second, description, size, length);
  return result(told("SQLDataSources"));
}

SQLRETURN SQLGetDiagRec(SQLSMALLINT, SQLHANDLE, SQLSMALLINT number, SQLCHAR* state, SQLINTEGER* native,
                        SQLCHAR* message, SQLSMALLINT size, SQLSMALLINT* length) {
  const auto& records = fake_odbc().records;
  const auto count = static_cast<SQLSMALLINT>(records.size());
  if (count == 0 || (number > count && !fake_odbc().isEndless)) return SQL_NO_DATA;
  const FakeOdbc::Record& record = records[static_cast<std::size_t>(std::min(number, count) - 1)];
  std::memcpy(state, record.state.c_str(), SQL_SQLSTATE_SIZE + 1);
  *native = record.native;
  put(record.text, message, size, length);
  return result(told("SQLGetDiagRec"));
}
}
