/// Databases for tests and benchmarks: a data source of SQLite and one of PostgreSQL, in a folder of their
/// own.
///
/// Nothing of the system is touched: drivers and data sources are named in files of the folder, and the
/// server is a process of its own behind a socket there, stopped with the object.
#pragma once

#include <dlfcn.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "support/temp_folder.h"

namespace support {

class OdbcDatabases {
 public:
  OdbcDatabases() {
    write_file(folder.file("odbcinst.ini"), "");
    write_file(folder.file("odbc.ini"),
               "[" + source("sqlite") +
                   "]\nDriver=" TEST_SQLITE_DRIVER "\nDatabase=" + folder.file("db.sqlite") + "\n[" +
                   source("postgres") + "]\nDriver=" TEST_POSTGRES_DRIVER "\nServername=" + folder.file("") +
                   "\nDatabase=postgres\nUsername=sv\nUseDeclareFetch=1\n");
    // What it remembers of these files would be lost with the last driver, and be a leak.
    dlopen("libodbcinst.so.2", RTLD_NOW | RTLD_NODELETE);
    setenv("ODBCSYSINI", folder.file("").c_str(), 1);
    setenv("ODBCINI", folder.file("odbc.ini").c_str(), 1);
  }
  OdbcDatabases(const OdbcDatabases&) = delete;
  OdbcDatabases& operator=(const OdbcDatabases&) = delete;
  ~OdbcDatabases() {
    if (isStarted) run(as_server("pg_ctl -m immediate -D " + folder.file("db") + " stop"));
  }

  /// The packages that have to be installed, "" when all are there.
  static std::string missing() {
    std::string packages;
    for (const auto& [path, package] : {std::pair(TEST_SQLITE_DRIVER, " libsqliteodbc"),
                                        {TEST_SQLITE_SHELL, " sqlite3"},
                                        {TEST_POSTGRES_DRIVER, " odbc-postgresql"},
                                        {TEST_POSTGRES_BIN, " postgresql-15"}})
      if (access(path, R_OK) != 0) packages += package;
    return packages;
  }

  /// Runs statements in both databases. Whether that was possible.
  bool make(const std::string& sql) {
    write_file(folder.file("sql"), sql);
    return run(TEST_SQLITE_SHELL " " + folder.file("db.sqlite") + " < " + folder.file("sql")) && start() &&
           run(TEST_POSTGRES_BIN "/psql -q -v ON_ERROR_STOP=1 -h " + folder.file("") +
               " -U sv -d postgres -f " + folder.file("sql"));
  }
  std::string file(const char* name) const { return folder.file(name); }
  /// The name of a data source, "sqlite" or "postgres": none that was used before, because the driver manager
  /// remembers what it has read of one.
  std::string source(const std::string& kind) const {
    std::string name = kind + folder.file("");
    std::erase(name, '/');
    return name;
  }

 private:
  static bool run(const std::string& command) { return std::system((command + " >>/dev/null").c_str()) == 0; }
  /// The server refuses to run as root.
  static std::string as_server(const std::string& command) {
    const std::string user =
        geteuid() == 0 ? "setpriv --reuid=postgres --regid=postgres --clear-groups " : "";
    return user + TEST_POSTGRES_BIN "/" + command;
  }

  bool start() {
    if (isStarted) return true;
    if (const passwd* const user = getpwnam("postgres"); geteuid() == 0 && user != nullptr)
      if (chown(folder.file("").c_str(), user->pw_uid, user->pw_gid) != 0) return false;
    isStarted =
        run(as_server("initdb -A trust -U sv --no-sync -E UTF8 --locale=C -D " + folder.file("db"))) &&
        run(as_server("pg_ctl -w -D " + folder.file("db") + " -l " + folder.file("log") +
                      " -o \"-c listen_addresses='' -c unix_socket_directories=" + folder.file("") +
                      " -c fsync=off\" start"));
    return isStarted;
  }

  TempFolder folder;
  bool isStarted = false;
};

}  // namespace support
