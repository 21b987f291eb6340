/// Exceptions for what a call chain cannot return: broken configuration texts, broken input files, failed
/// writes. Thrown by value, caught by reference, stopped at the bindings.
#pragma once

#include "ace/ace_types.h"

class AceAttach;
class AceReporter;
class AceString;

class SORV_API AceException {
 public:
  /// `cond` is a static text and not copied. `dyn_cond` is a printf format for the detail (cut at 9999
  /// bytes), or null for none.
  AceException(const char* cond, const char* dyn_cond, ...) __attribute__((format(printf, 3, 4)));
  explicit AceException(const char* cond) : fixCond(cond) {}
  AceException(const AceException& other);
  AceException& operator=(const AceException& other);
  virtual ~AceException();

  /// Replaces the detail by a copy of `text`, which may be null.
  void set_dyn_cond(const char* text);
  const char* get_cond() const { return fixCond; }
  const char* get_info() const { return dynCond; }

  /// Appends "<condition>: <detail>\n", each without line breaks at its ends.
  void print(AceString* out) const;
  /// The same to a reporter, or to standard output when `rep` is null.
  void print(AceReporter* rep) const;
  /// "<condition>: <detail>" in `at`, or the one that there is, or null.
  char* what(AceAttach* at) const;

 private:
  const char* fixCond;
  char* dynCond = nullptr;  // owned, from ace_alloc
};

/// A variable that must not be null is null.
class SORV_API AceNullpointerException {
 public:
  explicit AceNullpointerException(const char* var_name);
  AceNullpointerException(const AceNullpointerException& other);
  AceNullpointerException& operator=(const AceNullpointerException& other);
  virtual ~AceNullpointerException();
  const char* get_name() const { return varName; }

 private:
  char* varName;  // owned copy, or null
};
