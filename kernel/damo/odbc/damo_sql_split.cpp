#include <cctype>

#include "damo/odbc/damo_sql_split_internal.h"

namespace {

constexpr std::string_view BLANKS = " \t\r\n\f\v";

bool is_name(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || static_cast<signed char>(c) < 0;
}

/// One pass over a text, token by token, of which only quotes, comments and ';' matter.
class Scan {
 public:
  explicit Scan(std::string_view sql) : text(sql) {}

  enum Kind { END, DIVIDER, BLANK, CODE };

  /// What is in front, and passes it by.
  Kind next();
  std::size_t get_pos() const { return pos; }

 private:
  bool starts(std::string_view lead) const { return text.substr(pos).starts_with(lead); }
  void skip_behind(std::string_view end, std::size_t from);
  void skip_quoted(char quote, bool has_escapes);
  bool skip_dollar_quoted();

  std::string_view text;
  std::size_t pos = 0;
  bool isInName = false;  // the character before belongs to a name
};

/// To the end of the text, where there is no end.
void Scan::skip_behind(std::string_view end, std::size_t from) {
  const std::size_t found = text.find(end, from);
  pos = found == std::string_view::npos ? text.size() : found + end.size();
}

/// Two quotes, which stand for one, look like the end of a text and the beginning of another.
void Scan::skip_quoted(char quote, bool has_escapes) {
  for (++pos; pos < text.size() && text[pos] != quote; ++pos)
    if (has_escapes && text[pos] == '\\') ++pos;
  pos = std::min(pos + 1, text.size());
}

/// $$x$$ and $tag$x$tag$.
bool Scan::skip_dollar_quoted() {
  std::size_t end = pos + 1;
  while (end < text.size() && is_name(text[end])) ++end;
  const bool isNumber =
      std::isdigit(static_cast<unsigned char>(text[std::min(pos + 1, text.size() - 1)])) != 0;
  if (end >= text.size() || text[end] != '$' || isNumber) return false;
  const std::string_view tag = text.substr(pos, end + 1 - pos);
  skip_behind(tag, end + 1);
  return true;
}

Scan::Kind Scan::next() {
  if (pos >= text.size()) return END;
  const char c = text[pos];
  const bool wasInName = isInName;
  isInName = false;
  if (c == ';') {
    ++pos;
    return DIVIDER;
  }
  if (starts("--")) {
    skip_behind("\n", pos);
    return BLANK;
  }
  if (starts("/*")) {
    const bool isHint = starts("/*+");
    skip_behind("*/", pos + 2);
    return isHint ? CODE : BLANK;
  }
  if (BLANKS.find(c) != std::string_view::npos) {
    ++pos;
    return BLANK;
  }
  if (!wasInName && (starts("e'") || starts("E'"))) {
    ++pos;
    skip_quoted('\'', true);
  } else if (c == '\'' || c == '"' || c == '`') {
    skip_quoted(c, false);
  } else if (c != '$' || wasInName || !skip_dollar_quoted()) {
    isInName = is_name(c) || (c == '$' && wasInName);
    ++pos;
  }
  return CODE;
}

}  // namespace

std::vector<std::optional<std::string>> damo_split_sql(std::string_view text) {
  std::vector<std::optional<std::string>> statements;
  Scan scan(text);
  std::string_view present;  // from the first to the last piece of code
  for (Scan::Kind kind = Scan::CODE; kind != Scan::END;) {
    const std::size_t start = scan.get_pos();
    kind = scan.next();
    if (kind == Scan::CODE) {
      const std::size_t first =
          present.empty() ? start : static_cast<std::size_t>(present.data() - text.data());
      present = text.substr(first, scan.get_pos() - first);
    } else if (kind != Scan::BLANK) {
      statements.push_back(present.empty() ? std::nullopt : std::optional(std::string(present)));
      present = {};
    }
  }
  while (!statements.empty() && !statements.back()) statements.pop_back();
  return statements;
}
