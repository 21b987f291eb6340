/// A connection to a database through ODBC, and the rows of its statements.
///
///     DamoODBCConnection connection;
///     connection.connectDB("people", "reader", "secret");         a data source of odbc.ini
///     connection.setSqlStatementList("select id, name from people; select id, name from guests");
///     AceAttach at;
///     connection.executeSQL();
///     std::vector<char*> row(static_cast<std::size_t>(connection.getNumCols()));
///     while (connection.fetchRecord(row.data(), &at) >= 0) ...    the people, then the guests
///
/// The driver manager (libodbc.so) is no part of this library: the first connection of a process loads it,
/// and it stays. Data sources are what `odbc.ini` names.
///
/// Values are texts in the encoding of the driver, UTF-8 with those of SQLite and PostgreSQL. NULL is the
/// empty text; TABs and line ends become blanks; a value of more than `BUFFER_SIZE` - 1 bytes is cut at a
/// character, and one with a zero byte ends there: each of these is warned about.
///
/// Memory: a buffer of `BUFFER_SIZE` bytes a column, and what the driver holds, which may be the whole
/// result (PostgreSQL: `UseDeclareFetch=1` in odbc.ini reads piece by piece).
///
/// Errors: `AceException` with what the driver says, and with what is missing where there is no driver
/// manager, driver or data source. No message has a password. Thread safety: a connection belongs to one
/// thread at a time; several may be used at once.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ace/ace_types.h"
#include "damo/damo_secret.h"

class AceAttach;
class AceReporter;
class AceString;
struct DamoOdbcManager;

class SORV_API DamoODBCConnection {
 public:
  /// Of a column's value, its terminator included.
  static constexpr int BUFFER_SIZE = 32768;
  static constexpr int MAX_STATEMENTS = 10;
  static constexpr int MAX_COLUMNS = 4096;
  /// Bytes of a column's name.
  static constexpr int MAX_NAME = 256;
  /// Values that were cut, and that are warned about one by one.
  static constexpr int MAX_REPORTED_CUTS = 10;

  struct DataSource {
    std::string name;
    std::string description;
  };

  /// Loads the driver manager and allocates the environment. Warnings go to `rep`, null for the default one,
  /// which is the caller's and outlives the connection.
  explicit DamoODBCConnection(AceReporter* rep = nullptr);
  DamoODBCConnection(const DamoODBCConnection&) = delete;
  DamoODBCConnection& operator=(const DamoODBCConnection&) = delete;
  ~DamoODBCConnection();

  /// Null is the empty text. What was connected before is disconnected. Returns 0.
  int connectDB(const char* data_source, const char* user, const char* password);
  void disconnectDB();

  /// At most `MAX_STATEMENTS`, with ';' between; more throw. A ';' in quotes ('x', "x", `x`, PostgreSQL's
  /// E'x' and $$x$$) or in a comment divides nothing. Blank statements at the end are dropped. Returns the
  /// number of statements.
  int setSqlStatementList(const char* statements);
  /// Runs the next statement of the list; throws where there is none, or a blank one. Returns as below.
  int executeSQL();
  /// Runs a statement; the result before it is given up. Returns the number of columns of its result, 0 for
  /// one without; -1 without a connection.
  int executeSQL(const char* statement);

  /// Of the present result.
  int getNumCols() const { return static_cast<int>(colnames.size()); }
  /// ODBC's number of a column's type; the column is one of the present result.
  int get_column_type(int column) const { return coltypes[static_cast<std::size_t>(column)]; }
  const char* get_column_name(int column) const { return colnames[static_cast<std::size_t>(column)].c_str(); }
  /// Stores the names of the columns, in `at`. `out` has room as in `fetchRecord`. Returns `getNumCols()`.
  int fetchHeader(char** out, AceAttach* at) const;
  /// Reads the next row, where the result has ended that of the next statement of the list. Returns the
  /// number of its columns; -1 at the end.
  int fetch_row();
  /// A value of the row that was read last, until the next one is read.
  const char* get_value(int column) const { return rowvalues.get() + VInt{column} * STRIDE; }
  /// Its bytes, terminator not included.
  int get_length(int column) const { return valueLength[static_cast<std::size_t>(column)]; }
  /// As `fetch_row`, with copies of the values in `at`. `out` has room for as many columns as the first
  /// statement gave, of the list or of a call; of a wider row no more are stored.
  int fetchRecord(char** out, AceAttach* at);
  /// Writes the rows that are left, a line each, TABs between values. Returns their number. Throws when they
  /// cannot be read or written; then the file is as it was.
  VInt fetchAllRecstoFile(const char* file);

  /// All that odbc.ini names.
  std::vector<DataSource> listDataSources();
  /// Appends a line for each, "%s\t\t\t[%s]\n" with name and description. Returns their number.
  int listDataSourcesStr(AceString* out);

  /// Gives up the present result.
  void freeRecords();
  /// Forgets its columns.
  void clean_header();
  /// Empties the values of the row: one byte a column, whatever it had.
  void clean_rowvalues();

  /// Throws what the diagnostic records of a handle say: ODBC's number of its kind, and a result. Returns for
  /// a kind that there is not (reported).
  void throw_error(int kind, int code);

  // Passwords that are kept: RSA-OAEP with SHA-256, in base64. The key file is a private key in PEM
  // (PKCS #8), which nobody but its owner may write and others may not read.

  /// Makes a key file of mode 0600, whole or not at all. Throws where there is one.
  static void make_key_file(const char* file);
  /// In `at`. Throws for passwords of more than `MAX_PASSWORD` bytes.
  static char* encrypt_password(const char* password, const char* key_file, AceAttach* at);
  static DamoSecret decrypt_password(const char* encrypted, const char* key_file);
  static constexpr int MAX_PASSWORD = 256;

 private:
  /// Bytes from one column's value to the next: the beginnings of all would share lines of the cache.
  static constexpr VInt STRIDE = BUFFER_SIZE + 64;

  void bindResultstoMem();
  void describe_column(int column);
  void check(int kind, int code);
  std::string diagnostics(int kind, std::string* states) const;
  std::string hint(const std::string& states, const std::string& text);
  void finish_values(bool has_warning);
  void finish_value(int column, bool is_cut);
  void cut(int column);
  void report_warnings(int kind);

  const DamoOdbcManager* manager;
  AceReporter* reporter;
  void* hOdbcEnv = nullptr;
  void* hDbConn = nullptr;
  void* hStmt = nullptr;
  bool isConnected = false;
  bool isBound = false;
  std::vector<std::optional<std::string>> sqlStatements;  // none: a blank one
  std::size_t executedStats = 0;
  std::vector<std::string> colnames;
  std::vector<int> coltypes;
  std::unique_ptr<char[]> rowvalues;
  std::vector<long> rowLength;   // as the driver says
  std::vector<int> valueLength;  // of the texts
  int firstCols = 0;             // of the first statement
  VInt numRows = 0;
  int numCuts = 0;
  bool hasReportedBlanks = false;
  bool hasReportedZeros = false;
  const char* secret = nullptr;      // while it is being connected
  const char* sourceName = nullptr;  // the same
};
