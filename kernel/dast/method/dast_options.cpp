#include "dast/dast_options.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <string_view>

#include "ace/ace_attach.h"
#include "ace/ace_input.h"

namespace {

constexpr std::string_view MODE_CODES = "-#!>?<0123456789+*";
constexpr const char* MODE_NAMES[] = {"noop",    "empty",   "arrayop",   "exact",      "complete",
                                      "approx",  "detect",  "detect0",   "detect1",    "detect2",
                                      "detect3", "detect4", "detect5",   "detect6",    "detect7",
                                      "detect8", "detect9", "fs_detect", "fs_complete"};
constexpr int NUM_MODES = static_cast<int>(std::size(MODE_NAMES));
constexpr const char* DISPLAY_NAMES[] = {nullptr, "ALL", "FIRST", "BEST", "NONE", "EVERYTHING", "HIT"};

std::string upper(const char* text) {
  std::string result(text);
  for (char& c : result) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return result;
}

bool is_all_upper(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return c >= 'a' && c <= 'z'; });
}

bool is_all_lower(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

/// "detect" and "detect7": of what follows the six letters one character counts.
DastOptions::Call detect_mode(std::string_view rest) {
  if (rest.empty()) return DastOptions::DETECT;
  if (rest[0] < '0' || rest[0] > '9') return DastOptions::NOOP;
  return DastOptions::get_custom_mode(rest[0] - '0');
}

struct ParserList {
  AceOptionsParser* head = nullptr;

  AceOptionsParser* find_or_add(const char* name, AceOptionsParser* parser) {
    if (name == nullptr) return nullptr;
    const std::scoped_lock lock(dast_options_mutex());
    if (parser == nullptr) return AceOptionsParser::get_parser(head, upper(name).c_str());
    parser->add_to_list(&head, name);
    return parser;
  }

  const char* defaults(const char* method) {
    const std::scoped_lock lock(dast_options_mutex());
    AceOptionsParser* parser = find_or_add(method, nullptr);
    const char* text = parser != nullptr ? parser->get_defaults_string() : nullptr;
    return text != nullptr ? text : "";
  }
};

ParserList& recall_parsers() {
  static ParserList list;
  return list;
}

ParserList& build_parsers() {
  static ParserList list;
  return list;
}

}  // namespace

DastOptions::Call DastOptions::get_call_mode(const char* text) {
  if (text == nullptr || text[0] == '\0') return NOOP;
  if (text[1] == '\0') return text[0] == '#' ? NOOP : get_call_from_token(text[0]);
  const std::string_view name(text);
  if (!is_all_upper(name) && !is_all_lower(name)) return NOOP;
  std::string lower(name);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (lower == "null") return EMPTY;
  if (lower.starts_with("detect")) return detect_mode(std::string_view(lower).substr(6));
  for (int i = 1; i < NUM_MODES; ++i)
    if (lower == MODE_NAMES[i]) return static_cast<Call>(i - 1);
  return NOOP;
}

const char* DastOptions::get_call_string(Call call) {
  return is_call(call) ? MODE_NAMES[call - NOOP] : nullptr;
}

DastOptions::Call DastOptions::get_call_from_token(char code) {
  const std::size_t pos = MODE_CODES.find(code);
  return pos != std::string_view::npos && code != '\0' ? static_cast<Call>(pos) : NOOP;
}

char DastOptions::get_mode_code(Call call) {
  return is_call(call) && call != NOOP ? MODE_CODES[static_cast<std::size_t>(call)] : '\0';
}

int DastOptions::get_available_modes(const char*** names, AceAttach* at) {
  at->malloc(*names, NUM_MODES);
  std::copy(std::begin(MODE_NAMES), std::end(MODE_NAMES), *names);
  return NUM_MODES;
}

DastOptions::Call DastOptions::get_custom_mode(int index) {
  return index >= 0 && index <= DETECT9 - DETECT0 ? static_cast<Call>(DETECT0 + index) : NOOP;
}

DastOptions::AliasDisplay DastOptions::get_alias_display(const char* text) {
  if (text == nullptr) return UNKNOWN;
  const std::string name = upper(text);
  for (int i = ALL; i <= HIT; ++i)
    if (name == DISPLAY_NAMES[i]) return static_cast<AliasDisplay>(i);
  return UNKNOWN;
}

const char* DastOptions::get_alias_display_string(AliasDisplay display) {
  return display >= UNKNOWN && display <= HIT ? DISPLAY_NAMES[display] : nullptr;
}

std::recursive_mutex& dast_options_mutex() {
  static std::recursive_mutex mutex;
  return mutex;
}

AceOptionsParser* dast_recall_options_parser(const char* name, AceOptionsParser* parser) {
  return recall_parsers().find_or_add(name, parser);
}

AceOptionsParser* dast_build_options_parser(const char* name, AceOptionsParser* parser) {
  return build_parsers().find_or_add(name, parser);
}

const char* get_recall_options_defaults(const char* method) {
  return recall_parsers().defaults(method);
}

const char* get_build_options_defaults(const char* method) {
  return build_parsers().defaults(method);
}

int read_tcl_multi_line_comment(AceInput* input, char* value) {
  const auto is_closed = [](const char* line) {
    const std::size_t len = std::strlen(line);
    return len > 0 && line[len - 1] == '}';
  };
  int numRead = 0;
  char* line = value;
  while (!is_closed(line) && input->read_line(&line) >= 0) ++numRead;
  return numRead;
}
