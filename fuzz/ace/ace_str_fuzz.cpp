// Any text through all helpers that walk over it, against the plain forms where there is one.
#include "ace/ace_str.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_cpu.h"
#include "ace/ace_md5.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_count.h"
#include "ace/ace_str_escape.h"
#include "ace/ace_str_map.h"
#include "ace/ace_str_number.h"
#include "ace/ace_str_split.h"
#include "ace/ace_string.h"
#include "oracle/strings.h"
#include "support/fuzz_input.h"

namespace {

using fuzz::require;

constexpr int MAX = 5;

/// Calls `use` with a copy of the text that ends exactly at its block's end.
template <class Use>
auto on_copy(const std::string& text, Use use) {
  std::vector<char> copy(text.c_str(), text.c_str() + text.size() + 1);
  return use(copy.data());
}

void check_splitters(const std::string& text) {
  const auto expected = oracle::fields_of(text, ",", false, MAX);
  unsigned char map[256] = {};
  strgenmap(",;", map, 1);
  const auto agrees = [&](const auto& wanted, auto split) {
    on_copy(text, [&](char* copy) {
      char* fields[MAX];
      const int count = split(copy, fields);
      require(std::equal(wanted.begin(), wanted.end(), fields, fields + count));
    });
  };
  agrees(expected, [](char* s, char** f) { return strsplit(s, ',', f, MAX); });
  agrees(expected, [](char* s, char** f) { return strsplit_escaped(s, ',', f, MAX, nullptr, '\0'); });
  agrees(expected, [](char* s, char** f) { return strsplit_protected(s, ',', f, MAX, '\0', '\0'); });
  agrees(oracle::fields_of(text, ",;", false, MAX),
         [&](char* s, char** f) { return strsplit(s, map, f, MAX); });
  agrees(oracle::fields_of(text, ",;", true, MAX),
         [&](char* s, char** f) { return strsplit_noempty(s, map, f, MAX); });
  const int half = static_cast<int>(text.size() / 2);
  agrees(oracle::fields_of(text.substr(0, half), ",", false, MAX),
         [=](char* s, char** f) { return strnsplit(s, ',', f, MAX, half); });

  on_copy(text, [](char* s) {
    char* fields[MAX];
    int offsets[MAX];
    return strsplit_escaped(s, ',', fields, MAX, offsets, '\\');
  });
  for (const char esc : {'\\', '"'})
    on_copy(text, [=](char* s) {
      char* fields[MAX];
      const int count = strsplit_protected(s, ',', fields, MAX, '"', esc);
      return std::strlen(fields[count - 1]);
    });
}

void check_trims(const std::string& text) {
  for (int rules = 0; rules < 16; ++rules) {
    const int front = rules & 1, squeeze = rules & 2, back = rules & 4, anySpace = rules & 8;
    const std::string expected = oracle::trimmed(text, front, squeeze, back, anySpace, ',');
    on_copy(text, [&](char* s) {
      require(strtrim(s, s, front, squeeze, back, anySpace, ',') == static_cast<int>(expected.size()));
      require(s == expected);
    });
  }
}

void check_rest(const std::string& text) {
  AceAttach at;
  const char* s = text.c_str();
  require(std::strlen(strunescape(s, &at)) <= text.size());
  std::vector<char> set(126 * text.size() + 1);
  const int count = strset(s, set.data());
  require(count < 0 || std::strlen(set.data()) == static_cast<size_t>(count));
  require(on_copy(text, [](char* c) { return remove_escape_char(c, '\\'); }) <=
          static_cast<int>(text.size()));
  require(on_copy(text, [](char* c) { return remove_escaping(c, '\\', '{'); }) <=
          static_cast<int>(text.size()));
  const char* unwrapped = strunwrap(s, &at, 1);
  require(std::strpbrk(unwrapped, "\r\n") == nullptr);
  strext(s, "bin", &at);
  require(std::string(strturn(strturn(s, &at), &at)) == text);
  on_copy(text, strcapital);
  on_copy(text, [](char* c) { return strrmsep(c, ace_wordsepmap()); });
  strflags(s, " ,", "alpha", "beta", nullptr);
  strlocate(s, "word");
  strwidth(s);
  std::vector<char> initials(text.size() + 1);
  str_head(s, initials.data(), static_cast<int>(initials.size()));
  int err = 0;
  strtonum(s, 1);
  strtolarge(s, 1);
  strtonum_v(s, &err);
  rtoi(s);
  strfield(s, ',', 2, &at);
  for (const AceCpuLevel level : {AceCpuLevel::BASELINE, AceCpuLevel::AVX512}) {
    ace_cpu_limit(level);
    require(strcount(s, ',') == std::count(text.begin(), text.end(), ','));
  }
  require(std::strlen(ace_md5::MD5_from_string(s, &at)) == 32);

  const std::string other = text.substr(text.size() / 2);
  if (text.size() < 60) {
    const std::string front = text.substr(0, text.size() / 2);
    const int distance = oracle::edit_distance(front, other);
    require(strdiff1(front.c_str(), other.c_str()) == std::min(distance, 2));
    require(strdiff2(front.c_str(), other.c_str()) == std::min(distance, 3));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, size_t size) {
  AceReporter::clear_default();
  if (size > 3000) return 0;
  std::string text(bytes, bytes + size);
  text.resize(std::strlen(text.c_str()));
  check_splitters(text);
  check_trims(text);
  check_rest(text);
  return 0;
}
