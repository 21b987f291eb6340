/// Records of a database: the rows that SQL statements give, through ODBC (damo_odbc_conn.h).
///
///     std::unique_ptr<DamoInput> input(DamoOdbcInput("people", "reader", "secret", nullptr, nullptr,
///                                                    "select id, name from people", rep));
///     input->read_line(nullptr, 0);                      4711, Ann
///
/// A row is a record and its columns are the fields. Several statements, with ';' between, give one stream of
/// records. A statement without rows gives none. Rows with more or fewer columns than the first statement are
/// bad ones (damo_input.h).
///
/// Deletions: a first column "<del>" marks one where `set_num_fields` has told of one field less than there
/// are columns; else it is a value.
///
/// Records are numbered from 1, behind a header from 2, as the lines of a file.
///
/// Errors: `AceException` where there is no connection, and from `read_line` where a statement fails.
#pragma once

#include <memory>
#include <string>

#include "damo/damo_input.h"
#include "damo/damo_odbc_conn.h"

class SORV_API _DamoOdbcInput : public DamoInput {
 public:
  /// `connection` has run its first statement.
  _DamoOdbcInput(std::unique_ptr<DamoODBCConnection> connection, const char* data_source, AceReporter* rep);

  /// The names of the columns as the record, number 1. Returns the sum of their lengths.
  int read_header(VInt* line_num) override;
  int read_line(VInt* line_num, int as_is) override;
  /// Refused.
  int partition(int part, int num_parts) override;
  /// 1: the number of rows is not known before they are read.
  VInt get_size() override { return 1; }
  /// The data source.
  const char* get_source_name() override { return sourceName.c_str(); }
  bool eof() override { return isEof; }

 private:
  int finish_record(int pieces) override;

  std::unique_ptr<DamoODBCConnection> odbcConn;
  std::string sourceName;
  bool isEof = false;
};

/// Connects and runs the first statement. `secure_pass`: the password as `encrypt_password` has it, with the
/// key of `key_file`; where it is not empty, `pass` is not used. Null is the empty text everywhere. See
/// damo_input.h for the reporter and the result's ownership.
SORV_API DamoInput* DamoOdbcInput(const char* data_source, const char* user, const char* pass,
                                  const char* secure_pass, const char* key_file, const char* sql,
                                  AceReporter* rep);
