#include "tera/tera_data_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "tera/store/tera_read_error_internal.h"

namespace {

constexpr std::string_view LETTERS = "abcdefghijklmnopqrstuvwxyz";
constexpr std::string_view WHITE_SPACE = " \t\r\n\v\f";
constexpr std::size_t HEAD_SIZE = 10;  // eight digits, the tab and a terminator
constexpr int FILE_BUFFER = 1 << 16;
constexpr unsigned PERCENT = 100;

struct FileClose {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, FileClose>;

OpenFile create(const char* filename) {
  OpenFile file(AceFile::open(filename, "wb"));
  if (file == nullptr)
    AceReporter::use_default()->printf("File '%s' cannot be written\n", filename != nullptr ? filename : "");
  return file;
}

bool has_line_end(std::string_view text) {
  return text.find_first_of("\r\n") != text.npos;
}

/// A choice that is the same on every machine, which those of the standard library are not.
class Random {
 public:
  explicit Random(int seed) : engine(static_cast<unsigned>(seed)) {}
  /// From 0 to `limit` - 1.
  std::size_t below(std::size_t limit) { return engine() % limit; }

 private:
  std::mt19937 engine;
};

// A template's text from its front; each step returns what is wrong, null for nothing.
class TemplateText {
 public:
  explicit TemplateText(std::string_view pattern) : rest(pattern) {}

  bool at_end() const { return rest.empty(); }
  const char* get_place(std::string* choices) {
    return rest.front() == '[' ? get_set(choices) : get_single(choices);
  }

 private:
  const char* get_single(std::string* choices) {
    char c = '\0';
    if (!get_char(&c)) return BACKSLASH_ENDS;
    *choices = c;
    return nullptr;
  }

  const char* get_set(std::string* choices) {
    rest.remove_prefix(1);
    while (!rest.empty() && rest.front() != ']')
      if (const char* reason = get_range(choices); reason != nullptr) return reason;
    if (rest.empty()) return "a bracket is not closed";
    if (choices->empty()) return "a bracket is empty";
    rest.remove_prefix(1);
    return nullptr;
  }

  const char* get_range(std::string* choices) {
    char first = '\0';
    if (!get_char(&first)) return BACKSLASH_ENDS;
    char last = first;
    if (rest.size() > 1 && rest[0] == '-' && rest[1] != ']') {
      rest.remove_prefix(1);
      if (!get_char(&last)) return BACKSLASH_ENDS;
    }
    if (static_cast<Token>(first) > static_cast<Token>(last)) return "a range falls";
    for (int byte = static_cast<Token>(first); byte <= static_cast<Token>(last); ++byte)
      *choices += static_cast<char>(byte);
    return nullptr;
  }

  bool get_char(char* c) {
    if (rest.substr(0, 1) == "\\") rest.remove_prefix(1);
    if (rest.empty()) return false;
    *c = rest.front();
    rest.remove_prefix(1);
    return true;
  }

  static constexpr const char* BACKSLASH_ENDS = "it ends with a backslash";
  std::string_view rest;
};

/// Of each place of a template the characters it may have. Returns what is wrong; null for nothing.
const char* parse_template(std::string_view pattern, std::vector<std::string>* places) {
  for (TemplateText text(pattern); !text.at_end();)
    if (const char* reason = text.get_place(&places->emplace_back()); reason != nullptr) return reason;
  return nullptr;
}

}  // namespace

// ---------------------------------------------------------------- entry lines
// A line is written whole, or nothing of it.

int tera_entry_print(char* buf, std::size_t buf_size, Large info, const char* string) {
  if (buf_size > 0) *buf = '\0';
  if (string == nullptr || *string == '\0') return 0;
  if (has_line_end(string)) return -1;
  const int length = std::snprintf(buf, buf_size, "%08x\t%s\n", info, string);
  if (length >= 0 && static_cast<std::size_t>(length) < buf_size) return length;
  if (buf_size > 0) *buf = '\0';
  return -1;
}

int tera_simple_print(std::FILE* file, unsigned info, const char* string) {
  if (string == nullptr || *string == '\0') return 0;
  const std::string_view text(string);
  if (has_line_end(text)) {
    AceReporter::use_default()->printf("A string with a line end cannot be an entry line: %08x %s\n", info,
                                       string);
    return -1;
  }
  char head[HEAD_SIZE];
  std::snprintf(head, sizeof head, "%08x\t", info);
  const std::size_t expected = HEAD_SIZE + text.size();  // the line feed instead of the terminator
  std::size_t written = std::fwrite(head, 1, HEAD_SIZE - 1, file);
  written += std::fwrite(text.data(), 1, text.size(), file);
  written += std::fwrite("\n", 1, 1, file);
  if (written != expected)
    throw AceException("Error writing into .tera file!", "Only %d of %d bytes written (%08x %s)",
                       static_cast<int>(written), static_cast<int>(expected), info, string);
  return static_cast<int>(expected);
}

void tera_flush(std::FILE* file) {
  if (std::fflush(file) != 0) throw AceException("Error writing into .tera file!");
}

// ---------------------------------------------------------------- made files
// The same seed gives the same file everywhere: the generator is the library's own.

int tera_random_file(const char* filename, int num, int min_length, int max_length, int seed,
                     const char* characters) {
  const std::string_view choices = characters != nullptr ? characters : LETTERS;
  if (num < 0 || min_length < 1 || max_length < min_length || choices.empty() || has_line_end(choices)) {
    AceReporter::use_default()->printf(
        "%d random strings of %d to %d characters: there must be characters, and no line ends\n", num,
        min_length, max_length);
    return -1;
  }
  const OpenFile file = create(filename);
  if (file == nullptr) return -1;
  Random random(seed);
  std::string text;
  for (int i = 1; i <= num; ++i) {
    text.resize(
        static_cast<std::size_t>(min_length) +
        random.below(static_cast<std::size_t>(max_length) - static_cast<std::size_t>(min_length) + 1));
    for (char& c : text) c = choices[random.below(choices.size())];
    tera_simple_print(file.get(), static_cast<Large>(i), text.c_str());
  }
  tera_flush(file.get());
  return num;
}

int tera_template_file(const char* filename, const char* pattern, int num, int seed) {
  std::vector<std::string> places;
  const char* reason = pattern == nullptr ? "there is none" : parse_template(pattern, &places);
  if (reason == nullptr && (num < 0 || places.empty())) reason = "it makes no strings";
  if (reason == nullptr && std::any_of(places.begin(), places.end(), has_line_end))
    reason = "it makes line ends";
  if (reason != nullptr) {
    AceReporter::use_default()->printf("Template '%s': %s\n", pattern != nullptr ? pattern : "", reason);
    return -1;
  }
  const OpenFile file = create(filename);
  if (file == nullptr) return -1;
  Random random(seed);
  std::string text;
  for (int i = 1; i <= num; ++i) {
    text.clear();
    for (const std::string& place : places) text += place[random.below(place.size())];
    tera_simple_print(file.get(), static_cast<Large>(i), text.c_str());
  }
  tera_flush(file.get());
  return num;
}

int tera_extract_words(std::FILE* text, std::FILE* words, std::FILE* rejected, const char* separators,
                       int min_length, const char* characters, AceReporter* rep) {
  const std::string ends = std::string(WHITE_SPACE) + (separators != nullptr ? separators : "");
  std::array<bool, 256> isEnd{};
  for (const char c : ends) isEnd[static_cast<Token>(c)] = true;
  isEnd[0] = true;
  std::map<std::string, Large> counts;
  VInt total = 0;
  std::string word;
  for (int c = 0; c != EOF;) {
    c = AceFile::get_byte(text);
    if (c != EOF && !isEnd[static_cast<Token>(c)]) {
      word += static_cast<char>(c);
    } else if (!word.empty()) {
      ++counts[word];
      ++total;
      word.clear();
    }
  }
  if (std::ferror(text) != 0) {
    rep->printf("The text cannot be read behind %ld words\n", total);
    return -1;
  }
  int written = 0;
  for (const auto& [found, count] : counts) {
    const bool isWord = static_cast<VInt>(found.size()) >= min_length &&
                        (characters == nullptr || found.find_first_not_of(characters) == found.npos);
    if (isWord) ++written;
    if (std::FILE* to = isWord ? words : rejected; to != nullptr) tera_simple_print(to, count, found.c_str());
  }
  rep->printf("%d different words in %ld words\n", static_cast<int>(counts.size()), total);
  return written;
}

int tera_mix_files(const char* first, const char* second, const char* mixed, int percent, int seed) {
  if (percent < 0 || percent > static_cast<int>(PERCENT)) {
    AceReporter::use_default()->printf("%d is no share of 100 lines\n", percent);
    return -1;
  }
  AceInput inputs[] = {{first, FILE_BUFFER, false}, {second, FILE_BUFFER, false}};
  const OpenFile file = create(mixed);
  if (file == nullptr) return -1;
  Random random(seed);
  const char* lines[2] = {};
  VInt numRead[2] = {};
  const auto advance = [&](std::size_t i) {
    numRead[i] += inputs[i].read_line(&lines[i], nullptr) >= 0 ? 1 : 0;
  };
  advance(0);
  advance(1);
  int written = 0;
  while (lines[0] != nullptr || lines[1] != nullptr) {
    std::size_t from = random.below(PERCENT) < static_cast<std::size_t>(percent) ? 0 : 1;
    if (lines[from] == nullptr) from = 1 - from;
    if (std::fputs(lines[from], file.get()) < 0 || std::fputc('\n', file.get()) == EOF)
      throw AceException("Error writing into .tera file!");
    ++written;
    advance(from);
  }
  if (check_read(inputs[0], first, numRead[0] + 1) < 0 || check_read(inputs[1], second, numRead[1] + 1) < 0)
    return -1;
  tera_flush(file.get());
  return written;
}
