#include "sorvanta/tool_failure.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "seam/seam_enum.h"

std::string current_failure() {
  try {
    throw;
  } catch (const AceException& failure) {
    AceAttach at;
    const char* const text = failure.what(&at);
    return text != nullptr ? printable(text + std::strspn(text, ":")) : "failed";
  } catch (const std::bad_alloc&) {
    return "there is not enough memory";
  } catch (const std::exception& failure) {
    return failure.what();
  }
}

std::string refusal(const char* kind, const std::string& found, const std::vector<std::string>& known) {
  std::vector<SeamEnumValue> values;
  for (const std::string& name : known) values.push_back({name.c_str(), static_cast<int>(values.size())});
  return SeamEnum(kind, values).refusal(printable(found).c_str());
}

std::string listed(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

std::string printable(std::string_view text, std::size_t most) {
  std::string shown(text.substr(0, most));
  while (shown.size() < text.size() && !shown.empty() && (shown.back() & 0x80) != 0) shown.pop_back();
  std::replace_if(
      shown.begin(), shown.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 127; },
      '?');
  return shown.size() < text.size() ? shown + "..." : shown;
}
