#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "ace/ace_reporter.h"
#include "ace/ace_str_map.h"

#include "dare/config/dare_config_text_internal.h"

namespace {

void split_line(const std::string& text, DareConfigLine* line) {
  const std::size_t tab = text.find('\t');
  line->keyword = text.substr(0, tab);
  line->value = tab != std::string::npos ? text.substr(tab + 1) : "";
  line->upper = line->keyword;
  std::transform(line->upper.begin(), line->upper.end(), line->upper.begin(), toupper_C);
}

}  // namespace

int DareConfigLine::to_int() const {
  return static_cast<int>(std::clamp<long>(std::strtol(value.c_str(), nullptr, 10), INT_MIN, INT_MAX));
}

DareConfigText::DareConfigText(const char* text) : itsText(text), input(itsText.data(), false) {}

bool DareConfigText::read(std::string* text) {
  char* line = nullptr;
  if (input.read_line(&line) < 0) return false;
  *text = line;
  ++lineNumber;
  return true;
}

DareConfigText::Step DareConfigText::next(DareConfigLine* line) {
  std::string text;
  do {
    if (!read(&text) || text.empty()) return END;
  } while (text[0] == '#');
  split_line(text, line);
  line->number = lineNumber;
  return LINE;
}

int DareConfigText::fail_open(const DareConfigLine& opener, AceReporter* rep) const {
  rep->printf("Session configuration: block '%s' of line %d is not closed, the text ends at line %d\n",
              opener.keyword.c_str(), opener.number, lineNumber);
  return -1;
}

DareConfigText::Step DareConfigText::next_in(const DareConfigLine& opener, DareConfigLine* line,
                                             AceReporter* rep) {
  std::string text;
  if (!read(&text)) {
    fail_open(opener, rep);
    return BROKEN;
  }
  text.erase(0, std::min(text.find_first_not_of('\t'), text.size()));
  if (!text.empty() && text[0] == '}') return END;
  split_line(text, line);
  line->number = lineNumber;
  return LINE;
}

int DareConfigText::skip_comment(const DareConfigLine& comment, AceReporter* rep) {
  if (comment.value.empty() || comment.value[0] != '{') return 0;
  long depth = 0;
  std::string text = comment.value;
  for (;;) {
    depth += std::count(text.begin(), text.end(), '{') - std::count(text.begin(), text.end(), '}');
    if (depth <= 0) return 0;
    if (!read(&text)) return fail_open(comment, rep);
  }
}

void DareConfigText::warn_of_rest(AceReporter* rep) {
  std::string text;
  const int end = lineNumber;
  while (read(&text))
    if (text.find_first_not_of(" \t") != std::string::npos) {
      rep->ev_wprintf(
          "Session configuration: it ends at the empty line %d; line %d and all behind it is ignored\n", end,
          lineNumber);
      return;
    }
}
