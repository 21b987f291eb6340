#include "sorvanta/tool_output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <cwchar>
#include <jsoncons/json.hpp>

#include "sorvanta/tool_failure.h"
#include "tera/tera_utf.h"

namespace {

constexpr std::size_t ROWS_MEASURED = 200;
constexpr int MOST_WIDTH = 60;  // of a column
constexpr const char* REPLACEMENT = "\xEF\xBF\xBD";

/// Bytes of the text that fit into `room` columns of a terminal; `*width` is what they take.
std::size_t fitting(std::string_view text, int room, int* width) {
  *width = 0;
  std::size_t pos = 0;
  while (pos < text.size()) {
    int uni = 0;
    const int size = std::max(1, TeraUtf::decode(&uni, text.data() + pos));
    const int columns = std::max(uni < 128 ? 1 : wcwidth(static_cast<wchar_t>(uni)), 0);
    if (*width + columns > room) break;
    *width += columns;
    pos += static_cast<std::size_t>(size);
  }
  return std::min(pos, text.size());
}

int width_of(const std::string& text) {
  int width = 0;
  fitting(text, MOST_WIDTH, &width);
  return width;
}

}  // namespace

int terminal_width(std::FILE* stream) {
  winsize size{};
  const bool isKnown = isatty(fileno(stream)) != 0 && ioctl(fileno(stream), TIOCGWINSZ, &size) == 0;
  return isKnown ? size.ws_col : 0;
}

std::string fitted(const std::string& text, int columns) {
  int width = 0;
  return text.substr(0, fitting(text, columns, &width));
}

Output::Output(OutputForm form, std::vector<OutputColumn> columns, std::FILE* stream, bool has_names)
    : outputForm(form), outputColumns(std::move(columns)), outputStream(stream) {
  if (form == OutputForm::TABLE) lineWidth = terminal_width(stream);
  if (form == OutputForm::TSV && has_names) write_tsv(names());
}

Output::Row Output::names() const {
  Row row;
  for (const OutputColumn& column : outputColumns) row.push_back(column.name);
  return row;
}

void Output::add(Row row) {
  if (outputForm != OutputForm::TABLE || !widths.empty()) return write(row);
  firstRows.push_back(std::move(row));
  if (firstRows.size() == ROWS_MEASURED) finish();
}

void Output::finish() {
  if (firstRows.empty()) return;
  if (outputColumns.size() > 1) firstRows.insert(firstRows.begin(), names());
  widths.assign(outputColumns.size(), 0);
  for (const Row& row : firstRows)
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], width_of(row[i]));
  for (const Row& row : firstRows) write(row);
  firstRows.clear();
}

void Output::write(const Row& row) {
  if (outputForm == OutputForm::TABLE) write_table(row);
  if (outputForm == OutputForm::TSV) write_tsv(row);
  if (outputForm == OutputForm::JSON) write_json(row);
}

void Output::write_table(const Row& row) {
  std::string line;
  int used = 0;
  for (std::size_t i = 0; i < row.size(); ++i) {
    const bool isLast = i + 1 == row.size();
    const std::string cell = printable(row[i], row[i].size());
    int width = 0;
    const int room = isLast ? MOST_WIDTH * 10 : widths[i];
    const std::size_t bytes = fitting(cell, lineWidth > 0 ? std::min(room, lineWidth - used) : room, &width);
    const std::string pad(static_cast<std::size_t>(std::max(widths[i] - width, 0)), ' ');
    line += outputColumns[i].isNumber ? pad + cell.substr(0, bytes)
                                      : cell.substr(0, bytes) + (isLast ? std::string() : pad);
    used += std::max(width, widths[i]) + 2;
    if (isLast || (lineWidth > 0 && used >= lineWidth)) break;
    line += "  ";
  }
  std::fprintf(outputStream, "%s\n", line.c_str());
}

void Output::write_tsv(const Row& row) {
  for (std::size_t i = 0; i < row.size(); ++i) {
    std::string cell = row[i];
    std::replace_if(
        cell.begin(), cell.end(), [](char c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
    std::fprintf(outputStream, "%s%s", i > 0 ? "\t" : "", cell.c_str());
  }
  std::fputc('\n', outputStream);
}

std::string valid_text(std::string_view text) {
  std::string valid;
  for (std::size_t pos = 0; pos < text.size();) {
    int uni = 0;
    const int size = TeraUtf::decode(&uni, text.data() + pos);
    if (size < 1)
      valid += REPLACEMENT;
    else
      valid += text.substr(pos, static_cast<std::size_t>(size));
    pos += static_cast<std::size_t>(std::max(size, 1));
  }
  return valid;
}

std::string Output::json_text(std::string_view text) {
  return jsoncons::json(valid_text(text)).to_string();
}

void Output::write_json(const Row& row) {
  std::string line = "{";
  for (std::size_t i = 0; i < row.size(); ++i) {
    const std::string number = row[i].empty() ? "null" : row[i];
    line += (i > 0 ? ", " : "") + json_text(outputColumns[i].name) + ": " +
            (outputColumns[i].isNumber ? number : json_text(row[i]));
  }
  std::fprintf(outputStream, "%s}\n", line.c_str());
}

void Output::check(std::FILE* stream, const char* name) {
  errno = 0;
  const bool isWritten = std::fflush(stream) == 0 && std::ferror(stream) == 0;
  if (isWritten) return;
  const int reason = errno != 0 ? errno : ENOSPC;
  throw Failure(std::string("cannot write ") + name + ": " + std::strerror(reason));
}
