#include <dlfcn.h>

#include <memory>
#include <string>

#include "ace/ace_exception.h"
#include "damo/odbc/damo_odbc_manager_internal.h"

namespace {

struct Unload {
  void operator()(void* library) const { dlclose(library); }
};
using Library = std::unique_ptr<void, Unload>;

std::string last_error() {
  const char* const text = dlerror();
  return text != nullptr ? text : "unknown error";
}

/// libodbc.so.1 is the name of older releases.
Library load() {
  constexpr int FLAGS = RTLD_NOW | RTLD_LOCAL;
  if (void* const older = dlopen("libodbc.so.1", FLAGS)) return Library(older);
  const std::string first = last_error();
  if (void* const newer = dlopen("libodbc.so.2", FLAGS)) return Library(newer);
  // "Failed to load libodbc.so: %s, %s"
  throw AceException("Failed to load libodbc.so",
                     "%s, %s. The ODBC driver manager is Debian's package libodbc2 (apt-get install "
                     "libodbc2); it was looked for where the dynamic loader looks: LD_LIBRARY_PATH, "
                     "/etc/ld.so.cache and the system's folders",
                     first.c_str(), last_error().c_str());
}

template <class Function>
void find(const Library& library, const char* name, Function* function) {
  *function = reinterpret_cast<Function>(dlsym(library.get(), name));
  if (*function == nullptr)
    throw AceException("Cannot use the ODBC driver manager",
                       "Failed to load symbol `%s' from libodbc.so: %s. Debian's package libodbc2 has one "
                       "that is complete",
                       name, last_error().c_str());
}

}  // namespace

DamoOdbcManager::DamoOdbcManager() {
  Library library = load();
  find(library, "SQLAllocHandle", &pSQLAllocHandle);
  find(library, "SQLBindCol", &pSQLBindCol);
  find(library, "SQLCloseCursor", &pSQLCloseCursor);
  find(library, "SQLConnect", &pSQLConnect);
  find(library, "SQLDataSources", &pSQLDataSources);
  find(library, "SQLDescribeCol", &pSQLDescribeCol);
  find(library, "SQLDisconnect", &pSQLDisconnect);
  find(library, "SQLExecDirect", &pSQLExecDirect);
  find(library, "SQLFetch", &pSQLFetch);
  find(library, "SQLFreeHandle", &pSQLFreeHandle);
  find(library, "SQLFreeStmt", &pSQLFreeStmt);
  find(library, "SQLGetDiagRec", &pSQLGetDiagRec);
  find(library, "SQLNumResultCols", &pSQLNumResultCols);
  find(library, "SQLSetEnvAttr", &pSQLSetEnvAttr);
  static_cast<void>(library.release());
}

const DamoOdbcManager* DamoOdbcManager::get() {
  static const DamoOdbcManager manager;
  return &manager;
}
