/// The functions of the ODBC driver manager, which is loaded when the first of them is needed.
#pragma once

#include <sql.h>
#include <sqlext.h>

struct DamoOdbcManager {
  decltype(&SQLAllocHandle) pSQLAllocHandle;
  decltype(&SQLBindCol) pSQLBindCol;
  decltype(&SQLCloseCursor) pSQLCloseCursor;
  decltype(&SQLConnect) pSQLConnect;
  decltype(&SQLDataSources) pSQLDataSources;
  decltype(&SQLDescribeCol) pSQLDescribeCol;
  decltype(&SQLDisconnect) pSQLDisconnect;
  decltype(&SQLExecDirect) pSQLExecDirect;
  decltype(&SQLFetch) pSQLFetch;
  decltype(&SQLFreeHandle) pSQLFreeHandle;
  decltype(&SQLFreeStmt) pSQLFreeStmt;
  decltype(&SQLGetDiagRec) pSQLGetDiagRec;
  decltype(&SQLNumResultCols) pSQLNumResultCols;
  decltype(&SQLSetEnvAttr) pSQLSetEnvAttr;

  /// The process's one. Loaded by the first call that can, and never unloaded: drivers leave threads and
  /// handlers behind. Throws `AceException` where it cannot be loaded.
  static const DamoOdbcManager* get();

 private:
  DamoOdbcManager();
};
