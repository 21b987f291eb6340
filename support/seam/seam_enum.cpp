#include "seam/seam_enum.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <memory>

#include "tera/tera_map.h"
#include "tera/tera_map_config.h"
#include "tera/tera_word.h"

namespace {

constexpr std::size_t MAX_SHOWN = 100;  // of what a user wrote, in a message

/// Letters, digits and "_", whatever the case.
const TeraMap* name_map() {
  static const std::unique_ptr<const TeraMap> theMap = [] {
    TeraMapConfig config("utf-8");
    config.set_tokens("A-Z0-9_");
    config.map_upper();
    return std::unique_ptr<const TeraMap>(config.compile());
  }();
  return theMap.get();
}

int likeness(const char* text, const char* name) {
  return TeraWord::cmp(text, name, name_map(), TeraEval::MAXIMUM, TeraWordOptions::TRANSPOSE);
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
  const auto best = std::max_element(enumValues.begin(), enumValues.end(),
                                     [=](const SeamEnumValue& a, const SeamEnumValue& b) {
                                       return likeness(text, a.name) < likeness(text, b.name);
                                     });
  return best != enumValues.end() ? best->name : nullptr;
}
