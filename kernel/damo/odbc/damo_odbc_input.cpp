#include "damo/damo_odbc_input.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "ace/ace_reporter.h"

_DamoOdbcInput::_DamoOdbcInput(std::unique_ptr<DamoODBCConnection> connection, const char* data_source,
                               AceReporter* rep)
    : DamoInput(rep, DamoODBCConnection::MAX_COLUMNS),
      odbcConn(std::move(connection)),
      sourceName(data_source != nullptr ? data_source : "") {
  numFields = odbcConn->getNumCols();
}

int _DamoOdbcInput::read_header(VInt* line_num) {
  begin_record();
  recordSize = odbcConn->getNumCols();
  VInt size = 0;
  for (int i = 0; i < recordSize; ++i) {
    fieldPtr[i] = odbcConn->get_column_name(i);
    size += static_cast<VInt>(std::strlen(fieldPtr[i]));
  }
  lineIdx = 1;
  if (line_num != nullptr) *line_num = lineIdx;
  return static_cast<int>(size);
}

int _DamoOdbcInput::finish_record(int pieces) {
  // Only a field more than expected can be a marker.
  if (numFields == pieces - 1) return DamoInput::finish_record(pieces);
  if (numFields == 0) numFields = pieces;
  recordSize = pieces;
  return pieces == numFields ? ACCEPT : handle_error(pieces, nullptr);
}

int _DamoOdbcInput::read_line(VInt* line_num, int /*as_is*/) {
  for (;;) {
    begin_record();
    const int columns = isEof ? -1 : odbcConn->fetch_row();
    if (columns < 0) {
      isEof = true;
      return AT_END;
    }
    ++lineIdx;
    VInt size = 0;
    for (int i = 0; i < columns; ++i) {
      fieldPtr[i] = odbcConn->get_value(i);
      size += odbcConn->get_length(i);
    }
    const int outcome = finish_record(columns);
    if (outcome == SKIP) continue;
    if (line_num != nullptr) *line_num = lineIdx;
    return outcome == ACCEPT ? static_cast<int>(std::min<VInt>(size, INT_MAX)) : REJECTED;
  }
}

int _DamoOdbcInput::partition(int /*part*/, int /*num_parts*/) {
  reporter->printf("ODBC sources do not support multiple parts!");
  return -1;
}

DamoInput* DamoOdbcInput(const char* data_source, const char* user, const char* pass, const char* secure_pass,
                         const char* key_file, const char* sql, AceReporter* rep) {
  auto connection = std::make_unique<DamoODBCConnection>(rep);
  if (secure_pass != nullptr && *secure_pass != '\0')
    connection->connectDB(data_source, user,
                          DamoODBCConnection::decrypt_password(secure_pass, key_file).get());
  else
    connection->connectDB(data_source, user, pass);
  connection->setSqlStatementList(sql);
  connection->executeSQL();
  return new _DamoOdbcInput(std::move(connection), data_source, rep);
}
