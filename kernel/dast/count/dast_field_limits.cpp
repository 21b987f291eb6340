// Stretches of the values of a field, by words.
#include <algorithm>

#include "ace/ace_attach.h"
#include "ace/ace_reporter.h"
#include "dast/dast_base_field.h"
#include "dast/dast_count.h"

namespace {

constexpr auto MAX_LIMITS = static_cast<std::size_t>(DastCount::MAX_LIMITS);

bool is_escape(const char* text) {
  return text[0] == '\\' && (text[1] == '|' || text[1] == '-' || text[1] == '\\');
}

/// The words of one part as they stand in the string, escapes included.
using Part = std::vector<std::string>;

std::vector<Part> split_limits(const char* text) {
  std::vector<Part> parts(1, Part(1));
  for (; *text != '\0'; ++text) {
    if (is_escape(text)) {
      parts.back().back() += *text++;
      parts.back().back() += *text;
    } else if (*text == '|') {
      parts.emplace_back(1);
    } else if (*text == '-') {
      parts.back().emplace_back();
    } else {
      parts.back().back() += *text;
    }
  }
  return parts;
}

std::string unescape(const std::string& word) {
  std::string plain;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (is_escape(word.c_str() + i)) ++i;
    plain += word[i];
  }
  return plain;
}

/// A group from one word to another, as they stand in the string, and its words without marks.
struct Border {
  Border(const std::string& from, const std::string& to, bool isPair)
      : label(unescape(from) + (isPair ? "-" + unescape(to) : "")) {
    const bool opens = from.starts_with('<');
    const bool closes = to.ends_with('>');
    isOuter = opens || closes;
    lower = unescape(opens ? from.substr(1) : from);
    upper = unescape(to);
    if (!isPair && opens) upper.erase(0, 1);
    if (closes) upper.pop_back();
    if (!isPair && closes) lower.pop_back();
  }

  std::string label;
  std::string lower;
  std::string upper;
  bool isOuter;
};

int refuse_limits(AceReporter* rep, const char* what, std::size_t number) {
  rep->printf("Limit string: at most %d %s expected, %zu found\n", DastCount::MAX_LIMITS, what, number);
  return -1;
}

bool can_compare(const DastBaseField& field) {
  if (!field.can_sort()) return false;
  if (field.get_all_base_ids() < 2) return true;
  AceAttach at;
  return field.get_string_by_baseid(1, &at) != nullptr;
}

}  // namespace

Large DastBaseField::get_limit_item(const char* word, bool behind, bool prefix) const {
  Large first = 0;
  Large end = can_sort() ? allBaseIDs : 0;
  while (first < end) {
    const Large middle = first + (end - first) / 2;
    AceAttach at;
    const int order = compare_collation(word, get_string_by_baseid(middle, &at), prefix ? 1 : 0);
    const bool isBelow = behind ? order >= 0 : order > 0;
    (isBelow ? first : end) = isBelow ? middle + 1 : middle;
  }
  return first;
}

int DastBaseField::get_limits(LimitsContainer* limits, const char* text, AceReporter* rep) const {
  if (text == nullptr || text[0] == '\0') return 0;
  const std::vector<Part> parts = split_limits(text);
  if (parts.size() > MAX_LIMITS) return refuse_limits(rep, "parts between '|'", parts.size());
  std::vector<Border> borders;
  for (const Part& part : parts) {
    if (part.size() > MAX_LIMITS + 1) return refuse_limits(rep, "words and one between '-'", part.size());
    if (part.size() == 1) borders.emplace_back(part[0], part[0], false);
    for (std::size_t i = 1; i < part.size(); ++i) borders.emplace_back(part[i - 1], part[i], true);
  }
  if (borders.size() > MAX_LIMITS) return refuse_limits(rep, "groups", borders.size());
  if (!can_compare(*this)) {
    rep->printf("Limit string: field '%s' has no sorted strings to be compared with\n", get_name());
    return -1;
  }
  Large start = 0;
  for (const Border& border : borders) {
    const Large first = std::max(start, get_limit_item(border.lower.c_str(), false, false));
    const Large end = std::max(first, get_limit_item(border.upper.c_str(), true, border.isOuter));
    limits->push_back({border.label, first, end});
    start = border.isOuter ? 0 : end;
  }
  return 0;
}
