#include "ace/ace_reporter.h"
#include "dime/pattern/dime_expression_internal.h"

DimeExpression::DimeExpression(std::string pattern, int options) : patternText(std::move(pattern)) {
  const char* error = nullptr;
  int offset = 0;
  // Options may come from a file, and what is not checked is trusted.
  code.reset(pcre_compile(patternText.c_str(), options & ~PCRE_NO_UTF8_CHECK, &error, &offset, nullptr));
  if (code == nullptr) {
    AceReporter::use_default()->ev_wprintf(
        "Regular expression '%s' that cannot be compiled at position %d: %s\n", patternText.c_str(), offset,
        error);
    return;
  }
  study.reset(pcre_study(code.get(), PCRE_STUDY_EXTRA_NEEDED, &error));
  if (study == nullptr) return;
  study->flags |= PCRE_EXTRA_MATCH_LIMIT | PCRE_EXTRA_MATCH_LIMIT_RECURSION;
  study->match_limit = MATCH_LIMIT;
  study->match_limit_recursion = RECURSION_LIMIT;
}

int DimeExpression::match(const char* text, int length, int start, int options, int* offsets) const {
  const int rc = pcre_exec(code.get(), study.get(), text, length, start, options, offsets, MAX_OFFSETS);
  if (rc == PCRE_ERROR_MATCHLIMIT || rc == PCRE_ERROR_RECURSIONLIMIT) {
    AceReporter::use_default()->ev_wprintf(
        "Regular expression '%s' needs too many steps for '%.100s': no match\n", patternText.c_str(), text);
    return PCRE_ERROR_NOMATCH;
  }
  return rc;
}
