#include "sorvanta/tool_settings_text.h"

#include <strings.h>

#include <algorithm>
#include <charconv>

#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_files.h"

namespace {

constexpr std::size_t MOST_DEPTH = 8;
constexpr const char* BLANKS = " \t\r";

std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(BLANKS);
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(BLANKS) + 1 - first);
}

}  // namespace

SettingsText::SettingsText(std::string file) : fileName(std::move(file)) {
  const std::string text = file_start(fileName, MOST_TEXT_BYTES + 1);
  if (text.size() > MOST_TEXT_BYTES) throw Failure(fileName + ": a settings file is smaller than 1 MiB");
  if (text.find('\0') != std::string::npos)
    throw Failure(fileName + ": expected settings, found a file that is no text");
  std::vector<std::vector<SettingsLine>*> open{&topLines};
  std::vector<int> openedAt;
  int number = 0;
  for (std::size_t pos = 0; pos < text.size();) {
    const std::size_t end = std::min(text.find('\n', pos), text.size());
    const std::string line = trimmed(text.substr(pos, end - pos));
    pos = end + 1;
    ++number;
    if (line.empty() || line[0] == '#') continue;
    if (line == "}") {
      if (openedAt.empty()) fail(number, "this '}' closes nothing");
      open.pop_back();
      openedAt.pop_back();
      continue;
    }
    const std::size_t gap = std::min(line.find_first_of(BLANKS), line.size());
    SettingsLine entry{line.substr(0, gap), trimmed(line.substr(gap)), number, false, {}};
    entry.isBlock = entry.value == "{";
    if (!entry.isBlock) entry.value = value_of(entry.value, number);
    open.back()->push_back(std::move(entry));
    if (!open.back()->back().isBlock) continue;
    if (open.size() > MOST_DEPTH) fail(number, "blocks are nested too deeply");
    open.push_back(&open.back()->back().inside);
    openedAt.push_back(number);
  }
  if (!openedAt.empty())
    fail(openedAt.back(), "the block that is opened here is not closed by a line of '}'");
}

std::string SettingsText::value_of(const std::string& text, int line) const {
  if (text.size() < 2 || text.front() != '"') return text;
  if (text.back() != '"') fail(line, "expected a closing quote, found " + printable(text));
  std::string value;
  for (std::size_t i = 1; i + 1 < text.size(); ++i) {
    if (text[i] == '\\' && i + 2 < text.size()) ++i;
    value += text[i];
  }
  return value;
}

std::string SettingsText::quoted(const std::string& value) {
  if (!value.empty() && value.find_first_of("\"\\") == std::string::npos && trimmed(value) == value &&
      value != "{")
    return value;
  std::string text = "\"";
  for (const char c : value) text += (c == '"' || c == '\\' ? "\\" : "") + std::string(1, c);
  return text + '"';
}

void SettingsText::fail(int line, const std::string& text) const {
  throw Failure(fileName + ":" + std::to_string(line) + ": " + text);
}

void SettingsText::take(const std::vector<SettingsLine>& lines, const std::string& place,
                        const Keywords& keywords) const {
  for (const SettingsLine& line : lines) {
    const auto found = std::find_if(keywords.begin(), keywords.end(), [&](const auto& keyword) {
      return strcasecmp(keyword.first.c_str(), line.keyword.c_str()) == 0;
    });
    if (found == keywords.end()) {
      std::vector<std::string> known;
      for (const auto& [name, use] : keywords) known.push_back(name);
      fail(line.number, refusal(("keyword of " + place).c_str(), line.keyword, known));
    }
    found->second(line);
  }
}

int SettingsText::number(const SettingsLine& line, int least, int most) const {
  int value = 0;
  const char* const end = line.value.data() + line.value.size();
  const auto [rest, error] = std::from_chars(line.value.data(), end, value);
  if (error != std::errc() || rest != end || value < least || value > most)
    fail(line.number, line.keyword + ": expected a number from " + std::to_string(least) + " to " +
                          std::to_string(most) + ", found '" + printable(line.value) + "'");
  return value;
}

const std::string& SettingsText::value(const SettingsLine& line) const {
  if (line.isBlock) fail(line.number, line.keyword + ": expected a value, found a block");
  return line.value;
}

const std::vector<SettingsLine>& SettingsText::block(const SettingsLine& line) const {
  if (!line.isBlock)
    fail(line.number, line.keyword + ": expected a block, '{' at the end of the line, found '" +
                          printable(line.value) + "'");
  return line.inside;
}
