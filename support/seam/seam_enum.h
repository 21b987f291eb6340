/// The values of an enumeration by name, for hosts in languages that have neither our headers nor our
/// numbers.
///
/// Thread safety: constant.
#pragma once

#include <span>
#include <string>

#include "ace/ace_types.h"

struct SeamEnumValue {
  const char* name;
  int value;
};

class SORV_API SeamEnum {
 public:
  /// `values` are listed in the order of their numbers and live as long as the process.
  constexpr SeamEnum(const char* name, std::span<const SeamEnumValue> values)
      : enumName(name), enumValues(values) {}

  /// Finds a value by its name, upper and lower case being alike, or by its number in decimals. False for
  /// anything else.
  bool find(const char* text, int* value) const;
  /// Whether a number is one of the values.
  bool has(int value) const;
  /// The name of a value; null for a number that is none.
  const char* name_of(int value) const;
  /// What `find` says no to, as a message: "'LEVENSTEIN' is no TeraEval::Mode; did you mean LEVENSHTEIN?"
  std::string refusal(const char* text) const;

  const char* get_name() const { return enumName; }
  std::span<const SeamEnumValue> get_values() const { return enumValues; }

 private:
  const char* nearest(const char* text) const;

  const char* enumName;
  std::span<const SeamEnumValue> enumValues;
};
