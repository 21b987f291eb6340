/// What the text helpers share among themselves; not installed.
#pragma once

#include <array>
#include <string_view>

/// A byte as an index.
constexpr unsigned char byte_of(char c) {
  return static_cast<unsigned char>(c);
}

/// A text that may be null.
constexpr std::string_view view_of(const char* s) {
  return s != nullptr ? std::string_view(s) : "";
}

/// White space of the "C" locale.
constexpr bool is_white_space(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

using ByteMap = std::array<unsigned char, 256>;

/// A separator map that marks the bytes of `chars`.
constexpr ByteMap map_of(std::string_view chars) {
  ByteMap map{};
  for (const char c : chars) map[byte_of(c)] = 1;
  return map;
}
