#include "seam/seam_enum.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <numeric>
#include <vector>

namespace {

constexpr std::size_t MAX_SHOWN = 100;  // of what a user wrote, in a message

char upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

/// Levenshtein distance, whatever the case of letters.
int distance(const char* first, const char* second) {
  const std::size_t length = std::strlen(second);
  std::vector<int> row(length + 1);
  std::iota(row.begin(), row.end(), 0);
  for (int i = 1; *first != '\0'; ++first, ++i) {
    int diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= length; ++j) {
      const int replaced = diagonal + (upper(*first) == upper(second[j - 1]) ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[length];
}

}  // namespace

bool SeamEnum::find(const char* text, int* value) const {
  if (text == nullptr) return false;
  for (const SeamEnumValue& candidate : enumValues)
    if (strcasecmp(candidate.name, text) == 0) {
      *value = candidate.value;
      return true;
    }
  int number = 0;
  const char* const end = text + std::strlen(text);
  const auto [rest, error] = std::from_chars(text, end, number);
  if (error != std::errc() || rest != end || !has(number)) return false;
  *value = number;
  return true;
}

bool SeamEnum::has(int value) const {
  return name_of(value) != nullptr;
}

const char* SeamEnum::name_of(int value) const {
  const auto found = std::find_if(enumValues.begin(), enumValues.end(),
                                  [=](const SeamEnumValue& known) { return known.value == value; });
  return found != enumValues.end() ? found->name : nullptr;
}

std::string SeamEnum::refusal(const char* text) const {
  const std::string shown = text != nullptr ? std::string(text).substr(0, MAX_SHOWN) : "null";
  std::string message = "'" + shown + "' is no " + enumName;
  if (const char* const near = nearest(shown.c_str()); near != nullptr)
    message += std::string("; did you mean ") + near + "?";
  return message;
}

const char* SeamEnum::nearest(const char* text) const {
  const auto best = std::min_element(enumValues.begin(), enumValues.end(),
                                     [=](const SeamEnumValue& a, const SeamEnumValue& b) {
                                       return distance(text, a.name) < distance(text, b.name);
                                     });
  return best != enumValues.end() ? best->name : nullptr;
}
