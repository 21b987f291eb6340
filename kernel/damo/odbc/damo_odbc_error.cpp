// What drivers say of errors, and what can be done about the usual ones.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_odbc_conn.h"
#include "damo/odbc/damo_odbc_manager_internal.h"

namespace {

/// Diagnostic records that are asked for, and what is taken of the text of each.
constexpr SQLSMALLINT MAX_RECORDS = 20;
constexpr std::size_t MESSAGE_SIZE = 1024;
/// A shorter password is no secret that could be told from the text around it.
constexpr std::size_t SHORTEST_SECRET = 4;

struct Kind {
  int kind;
  const char* condition;  // an exception has ": " and the code behind it
};
constexpr Kind KINDS[] = {
    {SQL_HANDLE_ENV, "::Error in DamoODBCConnection Environment"},
    {SQL_HANDLE_DBC, "::Error in DamoODBCConnection DB Connection"},
    {SQL_HANDLE_STMT, "::Error in DamoODBCConnection Statement"},
};

struct Package {
  const char* library;  // what the path of a driver has
  const char* package;
};
constexpr Package PACKAGES[] = {
    {"sqlite", "libsqliteodbc"}, {"psqlodbc", "odbc-postgresql"}, {"maodbc", "odbc-mariadb"},
    {"mysql", "odbc-mariadb"},   {"tdsodbc", "tdsodbc"},          {"mdb", "odbc-mdbtools"},
};

void hide(const char* secret, std::string* text) {
  const std::string_view hidden = secret != nullptr ? secret : "";
  if (hidden.size() < SHORTEST_SECRET) return;
  for (std::size_t at = 0; (at = text->find(hidden, at)) != std::string::npos; at += 3)
    text->replace(at, hidden.size(), "***");
}

/// A file of the system, where the driver manager looks for it.
std::string system_file(const char* name) {
  const char* const folder = std::getenv("ODBCSYSINI");
  return std::string(folder != nullptr ? folder : "/etc") + "/" + name;
}

/// The files that name data sources.
std::string source_files() {
  const char* const own = std::getenv("ODBCINI");
  const char* const home = std::getenv("HOME");
  const std::string first = own != nullptr ? own : std::string(home != nullptr ? home : "~") + "/.odbc.ini";
  return first + " and " + system_file("odbc.ini");
}

std::string packages_for(const std::string& message) {
  for (const Package& known : PACKAGES)
    if (message.find(known.library) != std::string::npos)
      return std::string("Debian's package ") + known.package + " has this driver (apt-get install " +
             known.package + ")";
  return "Debian's packages libsqliteodbc, odbc-postgresql, odbc-mariadb and tdsodbc have drivers, and " +
         system_file("odbcinst.ini") + " names those that are installed";
}

}  // namespace

std::string DamoODBCConnection::diagnostics(int kind, std::string* states) const {
  void* const handle = kind == SQL_HANDLE_ENV ? hOdbcEnv : kind == SQL_HANDLE_DBC ? hDbConn : hStmt;
  std::string text;
  for (SQLSMALLINT record = 1; handle != nullptr && record <= MAX_RECORDS; ++record) {
    SQLCHAR state[SQL_SQLSTATE_SIZE + 1] = "", message[MESSAGE_SIZE] = "";
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    const int result = manager->pSQLGetDiagRec(static_cast<SQLSMALLINT>(kind), handle, record, state, &native,
                                               message, sizeof message, &length);
    if (result != SQL_SUCCESS && result != SQL_SUCCESS_WITH_INFO) break;
    state[SQL_SQLSTATE_SIZE] = message[MESSAGE_SIZE - 1] = '\0';
    // "Diag: %d, SQLSTATE: %s NativeError: %d ErrMsg: %s"
    text += " Diag: " + std::to_string(record) + ", SQLSTATE: " + reinterpret_cast<char*>(state) +
            " NativeError: " + std::to_string(native) + " ErrMsg: " + reinterpret_cast<char*>(message);
    *states += std::string(" ") + reinterpret_cast<char*>(state);
  }
  hide(secret, &text);
  return text;
}

/// What to do where nothing is connected because something is not there.
std::string DamoODBCConnection::hint(const std::string& states, const std::string& text) {
  if (std::strchr(sourceName, '=') != nullptr)  // which may have a password
    return ". The name of a data source is expected, not a connection string: its settings belong into " +
           source_files();
  const bool isNotFound = states.find("IM002") != std::string::npos;
  const auto sources = isNotFound ? listDataSources() : std::vector<DataSource>();
  const bool isKnown = std::any_of(sources.begin(), sources.end(),
                                   [this](const DataSource& source) { return source.name == sourceName; });
  if (isNotFound && !isKnown) {
    std::string names;
    for (const DataSource& source : sources) names += (names.empty() ? "" : ", ") + source.name;
    return std::string(". There is no data source '") + sourceName + "' in " + source_files() +
           ", which name: " + (names.empty() ? "none" : names);
  }
  const bool hasNoLibrary = text.find("Can't open lib") != std::string::npos;
  if (!isNotFound && !hasNoLibrary && states.find("IM003") == std::string::npos) return "";
  return std::string(". The driver that data source '") + sourceName + "' has in " + source_files() +
         " cannot be loaded: " + packages_for(text);
}

void DamoODBCConnection::throw_error(int kind, int code) {
  const auto* const known = std::find_if(std::begin(KINDS), std::end(KINDS),
                                         [kind](const Kind& candidate) { return candidate.kind == kind; });
  if (known == std::end(KINDS)) {
    reporter->printf("Unrecognized handler connection in Error Display of DamoODBCConnection\n");
    return;
  }
  std::string states;
  const std::string text = diagnostics(kind, &states);
  std::string help;
  if (kind == SQL_HANDLE_DBC && sourceName != nullptr) {
    try {
      help = hint(states, text);
    } catch (const AceException&) {  // no list of data sources, either
    }
  }
  throw AceException(known->condition, "%d.%s%s", code, text.c_str(), help.c_str());
}

void DamoODBCConnection::check(int kind, int code) {
  if (code != SQL_SUCCESS && code != SQL_SUCCESS_WITH_INFO) throw_error(kind, code);
}

void DamoODBCConnection::report_warnings(int kind) {
  std::string states;
  const std::string text = diagnostics(kind, &states);
  if (!text.empty()) reporter->ev_wprintf("SQL statement %zu:%s\n", executedStats, text.c_str());
}
