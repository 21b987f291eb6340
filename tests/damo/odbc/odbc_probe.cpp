// Prints the data sources, or why there are none: a process that loads the driver manager which it finds.
#include <cstdio>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_string.h"
#include "damo/damo_odbc_conn.h"

int main() try {
  AceString text;
  AceAttach at;
  DamoODBCConnection().listDataSourcesStr(&text);
  return std::fputs(text.string(&at), stdout) < 0 ? 1 : 0;
} catch (const AceException& error) {
  AceAttach at;
  return std::fputs(error.what(&at), stdout) < 0 ? 1 : 2;
}
