#include "ace/ace_exception.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

#include "ace/ace_alloc.h"
#include "ace/ace_attach.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str.h"
#include "ace/ace_string.h"

AceException::AceException(const char* cond, const char* dyn_cond, ...) : fixCond(cond) {
  if (dyn_cond == nullptr) return;
  char text[AceReporter::MAX_MESSAGE] = "";
  va_list args;
  va_start(args, dyn_cond);
  std::vsnprintf(text, sizeof(text), dyn_cond, args);
  va_end(args);
  dynCond = strnew(text);
}

AceException::AceException(const AceException& other)
    : fixCond(other.fixCond), dynCond(strnew(other.dynCond)) {}

AceException& AceException::operator=(const AceException& other) {
  if (this == &other) return *this;
  fixCond = other.fixCond;
  set_dyn_cond(other.dynCond);
  return *this;
}

AceException::~AceException() {
  ace_delete(dynCond);
}

void AceException::set_dyn_cond(const char* text) {
  char* copy = strnew(text);  // first: `text` may be the present detail
  ace_delete(std::exchange(dynCond, copy));
}

void AceException::print(AceString* out) const {
  AceAttach at;
  const char* cond = fixCond != nullptr ? strunwrap(fixCond, &at, 0) : "No Condition";
  if (dynCond != nullptr)
    out->print("%s: %s\n", cond, strunwrap(dynCond, &at, 0));
  else
    out->print("%s\n", cond);
}

void AceException::print(AceReporter* rep) const {
  AceString text(0);
  print(&text);
  AceAttach at;
  const char* whole = text.string(&at);
  if (is_null(rep))
    AceReporter::print_static(whole);
  else
    rep->print(whole);
}

char* AceException::what(AceAttach* at) const {
  if (fixCond == nullptr || dynCond == nullptr) return at->attach(fixCond != nullptr ? fixCond : dynCond);
  const char* const parts[] = {fixCond, ": ", dynCond};
  return strjoin_no_sep(3, parts, at);
}

AceNullpointerException::AceNullpointerException(const char* var_name) : varName(strnew(var_name)) {}

AceNullpointerException::AceNullpointerException(const AceNullpointerException& other)
    : varName(strnew(other.varName)) {}

AceNullpointerException& AceNullpointerException::operator=(const AceNullpointerException& other) {
  if (this == &other) return *this;
  char* copy = strnew(other.varName);
  ace_delete(std::exchange(varName, copy));
  return *this;
}

AceNullpointerException::~AceNullpointerException() {
  ace_delete(varName);
}
