#include "dare/dare_multi_query.h"

#include <algorithm>

DareMultiQuery::DareMultiQuery(int num_fields)
    : queryModes(static_cast<std::size_t>(std::max(num_fields, 0)), DastOptions::EMPTY),
      queryStrings(queryModes.size()) {}

namespace {

/// "#" is a code, too; an empty text and a blank are NOOP.
bool read_mode(const char* text, DastOptions::Call* mode) {
  *mode = DastOptions::NOOP;
  if (text == nullptr || *text == '\0' || (text[0] == ' ' && text[1] == '\0')) return true;
  *mode = text[1] == '\0' ? DastOptions::get_call_from_token(text[0]) : DastOptions::get_call_mode(text);
  return *mode != DastOptions::NOOP || std::string(text) == "noop" || std::string(text) == "NOOP";
}

}  // namespace

DareMultiQuery::DareMultiQuery(int num_fields, const char* const* modes, const char* const* queries)
    : DareMultiQuery(num_fields) {
  for (int field = 0; field < get_num_fields(); ++field) {
    const char* const mode = modes != nullptr ? modes[field] : nullptr;
    if (!read_mode(mode, &queryModes[static_cast<std::size_t>(field)]) && badMode < 0) badMode = field;
    set_query(field, queries != nullptr ? queries[field] : nullptr);
  }
}

int DareMultiQuery::set_mode(int field, char token) {
  const DastOptions::Call mode = DastOptions::get_call_from_token(token);
  return mode == DastOptions::NOOP && token != ' ' ? -1 : set_mode(field, mode);
}

int DareMultiQuery::set_mode(int field, DastOptions::Call mode) {
  if (!bound_check(field) || !DastOptions::is_call(mode)) return -1;
  queryModes[static_cast<std::size_t>(field)] = mode;
  return 0;
}

int DareMultiQuery::set_query(int field, const char* text) {
  if (!bound_check(field)) return -1;
  auto& place = queryStrings[static_cast<std::size_t>(field)];
  place.reset();
  if (text != nullptr) place = text;
  return 0;
}

DastOptions::Call DareMultiQuery::get_mode(int field) const {
  return bound_check(field) ? queryModes[static_cast<std::size_t>(field)] : DastOptions::NOOP;
}

const char* DareMultiQuery::get_query(int field) const {
  if (!bound_check(field)) return nullptr;
  const auto& text = queryStrings[static_cast<std::size_t>(field)];
  return text.has_value() ? text->c_str() : nullptr;
}
