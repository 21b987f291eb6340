/// A compiled regular expression (PCRE 8).
///
/// Matching is bounded: an expression that needs more than MATCH_LIMIT steps, or nests deeper than
/// RECURSION_LIMIT, does not match, with a warning. Thread safety: constant once compiled.
#pragma once

#include <pcre.h>

#include <memory>
#include <string>

class DimeExpression {
 public:
  static constexpr int MATCH_LIMIT = 1000000;
  static constexpr int RECURSION_LIMIT = 1000;
  /// Of the whole match and up to 9 groups: pairs of offsets, and a third of the room for PCRE.
  static constexpr int MAX_OFFSETS = 30;

  /// `options`: PCRE's. Not valid, with a warning, when the pattern cannot be compiled.
  DimeExpression(std::string pattern, int options);

  bool is_valid() const { return code != nullptr; }
  const char* get_pattern() const { return patternText.c_str(); }
  /// The result of `pcre_exec` from `start` on: the number of pairs stored in `offsets`, 0 for more than fit,
  /// negative for no match or an error.
  int match(const char* text, int length, int start, int options, int* offsets) const;

 private:
  struct FreeCode {
    void operator()(pcre* compiled) const { pcre_free(compiled); }
  };
  struct FreeStudy {
    void operator()(pcre_extra* extra) const { pcre_free_study(extra); }
  };

  std::string patternText;
  std::unique_ptr<pcre, FreeCode> code;
  std::unique_ptr<pcre_extra, FreeStudy> study;
};
