#include "damo/damo_odbc_conn.h"

#include <emmintrin.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "ace/ace_string.h"
#include "damo/odbc/damo_odbc_manager_internal.h"
#include "damo/odbc/damo_sql_split_internal.h"
#include "damo/output/damo_output_internal.h"

static_assert(sizeof(SQLLEN) == sizeof(long), "lengths are bound as they are");

namespace {

SQLCHAR* sql_text(const char* text) {
  return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text != nullptr ? text : ""));
}

bool is_good(int result) {
  return result == SQL_SUCCESS || result == SQL_SUCCESS_WITH_INFO;
}

/// The length without an UTF-8 character at the end of which only a part is there.
int whole_characters(const char* text, int length) {
  constexpr int LONGEST = 4;
  for (int back = 1; back < LONGEST && back <= length; ++back) {
    const auto byte = static_cast<unsigned char>(text[length - back]);
    if (byte < 0x80) return length;
    if (byte < 0xC0) continue;  // goes on
    const int size = byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : byte < 0xF8 ? 4 : 1;
    return size > back ? length - back : length;
  }
  return length;
}

/// Whether there is no zero byte, TAB or line end among the first `length` bytes, of which whole registers
/// can be read.
bool is_plain(const char* text, long length) {
  constexpr long WIDTH = sizeof(__m128i);
  static_assert(DamoODBCConnection::BUFFER_SIZE % WIDTH == 0, "the last register ends with the buffer");
  const __m128i largest = _mm_set1_epi8('\r');  // of those looked for
  for (long i = 0; i < length; i += WIDTH) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
    auto found =
        static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_min_epu8(bytes, largest), bytes)));
    if (length - i < WIDTH) found &= (1U << (length - i)) - 1;
    if (found != 0) return false;  // or another control character: looked at one by one
  }
  return true;
}

/// Blanks for TABs and line ends. Returns how many.
int clean(char* text, int length) {
  int count = 0;
  for (int i = 0; i < length; ++i) {
    const bool isBreak = text[i] == '\t' || text[i] == '\n' || text[i] == '\r';
    count += isBreak ? 1 : 0;
    text[i] = isBreak ? ' ' : text[i];
  }
  return count;
}

}  // namespace

DamoODBCConnection::DamoODBCConnection(AceReporter* rep)
    : manager(DamoOdbcManager::get()), reporter(rep != nullptr ? rep : AceReporter::use_default()) {
  try {
    check(SQL_HANDLE_ENV, manager->pSQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &hOdbcEnv));
    auto* const version = reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3);
    check(SQL_HANDLE_ENV, manager->pSQLSetEnvAttr(hOdbcEnv, SQL_ATTR_ODBC_VERSION, version, 0));
  } catch (...) {
    if (hOdbcEnv != nullptr) manager->pSQLFreeHandle(SQL_HANDLE_ENV, hOdbcEnv);
    throw;
  }
}

DamoODBCConnection::~DamoODBCConnection() {
  disconnectDB();
  manager->pSQLFreeHandle(SQL_HANDLE_ENV, hOdbcEnv);
}

// ---------------------------------------------------------------- the connection
// Handles of the driver manager are opened from the environment down to the statement, and closed the
// other way round.

int DamoODBCConnection::connectDB(const char* data_source, const char* user, const char* password) {
  disconnectDB();
  secret = password != nullptr ? password : "";
  sourceName = data_source != nullptr ? data_source : "";
  try {
    check(SQL_HANDLE_ENV, manager->pSQLAllocHandle(SQL_HANDLE_DBC, hOdbcEnv, &hDbConn));
    check(SQL_HANDLE_DBC, manager->pSQLConnect(hDbConn, sql_text(data_source), SQL_NTS, sql_text(user),
                                               SQL_NTS, sql_text(password), SQL_NTS));
    isConnected = true;
  } catch (...) {
    disconnectDB();
    throw;
  }
  secret = sourceName = nullptr;
  return 0;
}

void DamoODBCConnection::disconnectDB() {
  freeRecords();
  if (isConnected) manager->pSQLDisconnect(hDbConn);
  if (hDbConn != nullptr) manager->pSQLFreeHandle(SQL_HANDLE_DBC, hDbConn);
  hDbConn = nullptr;
  isConnected = false;
  secret = sourceName = nullptr;
}

// ---------------------------------------------------------------- statements
// One after the other; the columns of each are described and bound anew.

int DamoODBCConnection::setSqlStatementList(const char* statements) {
  auto parts = damo_split_sql(statements != nullptr ? statements : "");
  if (parts.size() > MAX_STATEMENTS)
    throw AceException("Too many SQL statements", "%zu statements between ';', at most %d can be executed",
                       parts.size(), MAX_STATEMENTS);
  sqlStatements = std::move(parts);
  executedStats = 0;
  return static_cast<int>(sqlStatements.size());
}

int DamoODBCConnection::executeSQL() {
  if (executedStats >= sqlStatements.size())
    throw AceException(
        "Error trying to execute SQL Statement. Trying to execute statement that doesn't exist");
  const bool isFirst = executedStats == 0;
  const auto& statement = sqlStatements[executedStats++];
  if (!statement)
    throw AceException("Error trying to execute SQL Statement. Expected string but null-pointer found.");
  const int room = firstCols;
  const int columns = executeSQL(statement->c_str());
  if (!isFirst) firstCols = room;
  return columns;
}

int DamoODBCConnection::executeSQL(const char* statement) {
  if (!isConnected) return -1;
  if (statement == nullptr)
    throw AceException("Error trying to execute SQL Statement. Expected string but null-pointer found.");
  freeRecords();
  clean_header();
  try {
    check(SQL_HANDLE_DBC, manager->pSQLAllocHandle(SQL_HANDLE_STMT, hDbConn, &hStmt));
    const int result = manager->pSQLExecDirect(hStmt, sql_text(statement), SQL_NTS);
    if (result != SQL_NO_DATA) {  // an update of no row
      check(SQL_HANDLE_STMT, result);
      if (result == SQL_SUCCESS_WITH_INFO) report_warnings(SQL_HANDLE_STMT);
      bindResultstoMem();
    }
  } catch (...) {
    freeRecords();
    clean_header();
    throw;
  }
  firstCols = getNumCols();
  return getNumCols();
}

void DamoODBCConnection::bindResultstoMem() {
  SQLSMALLINT count = 0;
  check(SQL_HANDLE_STMT, manager->pSQLNumResultCols(hStmt, &count));
  if (count < 0 || count > MAX_COLUMNS)
    throw AceException("Cannot read the result of an SQL statement", "It has %d columns, at most %d are read",
                       static_cast<int>(count), MAX_COLUMNS);
  const auto size = static_cast<std::size_t>(count);
  colnames.resize(size);
  coltypes.resize(size);
  rowLength.resize(size);
  valueLength.assign(size, 0);
  rowvalues.reset(new char[size * STRIDE]);  // the system gives what is used of it
  for (int i = 0; i < count; ++i) {
    describe_column(i);
    const auto column = static_cast<std::size_t>(i);
    check(SQL_HANDLE_STMT,
          manager->pSQLBindCol(hStmt, static_cast<SQLUSMALLINT>(i + 1), SQL_C_CHAR,
                               rowvalues.get() + i * STRIDE, BUFFER_SIZE, &rowLength[column]));
  }
  clean_rowvalues();
  isBound = count > 0;
}

void DamoODBCConnection::describe_column(int column) {
  SQLCHAR name[MAX_NAME + 1] = "";
  SQLSMALLINT length = 0, type = 0, digits = 0, nullable = 0;
  SQLULEN size = 0;
  check(SQL_HANDLE_STMT, manager->pSQLDescribeCol(hStmt, static_cast<SQLUSMALLINT>(column + 1), name,
                                                  sizeof name, &length, &type, &size, &digits, &nullable));
  name[MAX_NAME] = '\0';
  const char* const text = reinterpret_cast<const char*>(name);
  const auto bytes = static_cast<int>(std::strlen(text));
  const bool isCut = length > MAX_NAME || bytes == MAX_NAME;
  const int used = isCut ? whole_characters(text, bytes) : bytes;
  colnames[static_cast<std::size_t>(column)].assign(text, static_cast<std::size_t>(used));
  coltypes[static_cast<std::size_t>(column)] = type;
}

void DamoODBCConnection::freeRecords() {
  if (hStmt != nullptr) {
    if (isBound) {
      manager->pSQLCloseCursor(hStmt);
      manager->pSQLFreeStmt(hStmt, SQL_UNBIND);
    }
    manager->pSQLFreeHandle(SQL_HANDLE_STMT, hStmt);
  }
  hStmt = nullptr;
  isBound = false;
}

void DamoODBCConnection::clean_header() {
  freeRecords();  // its buffers go with it
  colnames.clear();
  coltypes.clear();
  rowvalues.reset();
  rowLength.clear();
  valueLength.clear();
}

int DamoODBCConnection::fetchHeader(char** out, AceAttach* at) const {
  const int stored = std::min(getNumCols(), firstCols);
  for (int i = 0; i < stored; ++i) out[i] = at->attach(get_column_name(i));
  return getNumCols();
}

// ---------------------------------------------------------------- rows
// The driver says how long a value is, or that there is none: the bytes behind belong to the row before.

void DamoODBCConnection::clean_rowvalues() {
  for (std::size_t i = 0; i < rowLength.size(); ++i) {
    rowvalues[i * STRIDE] = '\0';
    rowLength[i] = SQL_NTS;  // a driver that tells no length
    valueLength[i] = 0;
  }
}

int DamoODBCConnection::fetch_row() {
  for (;;) {
    if (isBound) {
      clean_rowvalues();
      const int result = manager->pSQLFetch(hStmt);
      if (is_good(result)) {
        ++numRows;
        finish_values(result == SQL_SUCCESS_WITH_INFO);
        return getNumCols();
      }
      if (result != SQL_NO_DATA) check(SQL_HANDLE_STMT, result);
    }
    freeRecords();
    if (!isConnected || executedStats >= sqlStatements.size()) return -1;
    executeSQL();
  }
}

void DamoODBCConnection::finish_values(bool has_warning) {
  const int count = getNumCols();
  int numLong = 0;
  for (int i = 0; i < count; ++i) {
    const long length = rowLength[static_cast<std::size_t>(i)];
    const bool isLong = length >= BUFFER_SIZE || length == SQL_NO_TOTAL;
    numLong += isLong ? 1 : 0;
    finish_value(i, isLong);
  }
  if (!has_warning || numLong > 0) return;
  // Some drivers tell of a cut, and as length what is left of the value.
  std::string states;
  diagnostics(SQL_HANDLE_STMT, &states);
  if (states.find("01004") == std::string::npos) return;
  for (int i = 0; i < count; ++i)
    if (get_length(i) == BUFFER_SIZE - 1) cut(i);
}

void DamoODBCConnection::finish_value(int column, bool is_cut) {
  const auto place = static_cast<std::size_t>(column);
  char* const value = rowvalues.get() + column * STRIDE;
  const long told = rowLength[place];
  if (told == SQL_NULL_DATA) {
    value[0] = '\0';
    valueLength[place] = 0;
    return;
  }
  const bool isTold = told >= 0 && !is_cut;
  const bool isPlain = isTold && is_plain(value, told);  // before a byte is written, which it would wait for
  value[isTold ? told : BUFFER_SIZE - 1] = '\0';
  if (isPlain) {  // nearly always
    valueLength[place] = static_cast<int>(told);
    return;
  }
  valueLength[place] = static_cast<int>(std::strlen(value));
  if (is_cut)
    cut(column);
  else if (isTold && get_length(column) < told && !std::exchange(hasReportedZeros, true))
    reporter->ev_wprintf("Row %ld: the value of column '%s' has a zero byte, and ends there (more may)\n",
                         numRows, get_column_name(column));
  if (clean(value, get_length(column)) > 0 && !std::exchange(hasReportedBlanks, true))
    reporter->ev_wprintf(
        "Row %ld: a value of column '%s' has line ends or TABs, which become blanks (more may)\n", numRows,
        get_column_name(column));
}

void DamoODBCConnection::cut(int column) {
  const auto place = static_cast<std::size_t>(column);
  char* const value = rowvalues.get() + column * STRIDE;
  valueLength[place] = whole_characters(value, valueLength[place]);
  value[valueLength[place]] = '\0';
  if (numCuts > MAX_REPORTED_CUTS) return;
  if (++numCuts > MAX_REPORTED_CUTS) {
    reporter->ev_wprintf("More values are cut\n");
    return;
  }
  const long told = rowLength[place];
  const std::string size = told >= BUFFER_SIZE ? std::to_string(told) : "more";
  reporter->ev_wprintf("Row %ld: the value of column '%s' has %s bytes and is cut to %d\n", numRows,
                       get_column_name(column), size.c_str(), get_length(column));
}

int DamoODBCConnection::fetchRecord(char** out, AceAttach* at) {
  const int count = fetch_row();
  for (int i = 0; i < std::min(count, firstCols); ++i) out[i] = at->attach(get_value(i), get_length(i));
  return count;
}

VInt DamoODBCConnection::fetchAllRecstoFile(const char* file) try {
  DamoOutput out(file);
  VInt count = 0;
  for (int columns; (columns = fetch_row()) >= 0; ++count) {
    for (int i = 0; i < columns; ++i) {
      if (i > 0) out.put('\t');
      out.write({get_value(i), static_cast<std::size_t>(get_length(i))});
    }
    out.put('\n');
  }
  out.commit();
  return count;
} catch (const AceException& reason) {
  AceAttach at;
  throw AceException("Unable to fetch all obtained records and write them to file", "'%s': %s",
                     file != nullptr ? file : "", reason.what(&at));
}

// ---------------------------------------------------------------- data sources
// The driver manager lists them, of the user and of the system.

std::vector<DamoODBCConnection::DataSource> DamoODBCConnection::listDataSources() {
  std::vector<DataSource> sources;
  SQLUSMALLINT direction = SQL_FETCH_FIRST;
  for (;;) {
    SQLCHAR name[SQL_MAX_DSN_LENGTH + 1] = "", description[MAX_NAME] = "";
    SQLSMALLINT nameLength = 0, descriptionLength = 0;
    const int result = manager->pSQLDataSources(hOdbcEnv, direction, name, sizeof name, &nameLength,
                                                description, sizeof description, &descriptionLength);
    if (result == SQL_NO_DATA) return sources;
    check(SQL_HANDLE_ENV, result);
    name[sizeof name - 1] = description[sizeof description - 1] = '\0';
    sources.push_back({reinterpret_cast<const char*>(name), reinterpret_cast<const char*>(description)});
    direction = SQL_FETCH_NEXT;
  }
}

int DamoODBCConnection::listDataSourcesStr(AceString* out) {
  const auto sources = listDataSources();
  for (const auto& [name, description] : sources)
    out->print("%s\t\t\t[%s]\n", name.c_str(), description.c_str());
  return static_cast<int>(sources.size());
}
