/// What verbs answer on standard output: rows, as a table for people, or for programs.
///
///     table   columns side by side; on a terminal, lines end where it ends
///     tsv     a line of names, then a line a row, TABs between cells; control characters are blanks
///     json    an object a row and line, members named like columns; empty cells of numbers are null
///
/// Tables take the widths of their first rows, so that a million rows pass through in little memory.
/// Thread safety: belongs to one thread.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

enum class OutputForm { TABLE, TSV, JSON };

struct OutputColumn {
  std::string name;
  bool isNumber = false;
};

class Output {
 public:
  using Row = std::vector<std::string>;

  /// `stream` stays the caller's. Without `has_names`, rows that were written before go on.
  Output(OutputForm form, std::vector<OutputColumn> columns, std::FILE* stream = stdout,
         bool has_names = true);
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// As many cells as columns.
  void add(Row row);
  /// Writes what is held back.
  void finish();

  /// Ends the stream's output. Throws a `Failure` when anything could not be written: a full disk.
  static void check(std::FILE* stream, const char* name);
  static std::string json_text(std::string_view text);

 private:
  void write(const Row& row);
  void write_table(const Row& row);
  void write_tsv(const Row& row);
  void write_json(const Row& row);
  Row names() const;

  OutputForm outputForm;
  std::vector<OutputColumn> outputColumns;
  std::FILE* outputStream;
  std::vector<Row> firstRows;  // of a table, until widths are known
  std::vector<int> widths;
  int lineWidth = 0;  // 0: not bounded
};

/// Columns of the terminal that the stream leads to; 0 where it does not.
int terminal_width(std::FILE* stream);
/// UTF-8, with a replacement for each byte that is none. The text ends with a terminator.
std::string valid_text(std::string_view text);
/// The beginning of a text that fits into as many columns of a terminal.
std::string fitted(const std::string& text, int columns);
