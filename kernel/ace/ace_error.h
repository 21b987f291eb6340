/// The kernel's error convention.
///
/// Operations return 0 or a count for success and a negative value for failure; those that create objects
/// return null for failure. The place that knows the facts writes the sentence on its reporter; each caller
/// above reports the call that failed, and hands it up:
///
///     ACE_CALL(infoHandle->save(file));
///
/// which prints "dast_base.cpp:120: ERROR in infoHandle->save(file), error code -1".
#pragma once

#include <cstddef>

#include "ace/ace_types.h"

/// Writes "<file>:<line>: ERROR in <text>, error code <val>" to the default reporter; `file` is reduced to
/// its last path component.
SORV_API void ace_error_msg(const char* file, int line, const char* text, int val);

/// `ace_error_msg`, then returns `ret`. The fifth argument is unused.
SORV_API void* ace_error(const char* file, int line, const char* text, int val, int unused, void* ret);
SORV_API int ace_error(const char* file, int line, const char* text, int val, int unused, int ret);
SORV_API Large ace_error(const char* file, int line, const char* text, int val, int unused, Large ret);

/// Returns -1, reported, from a function when a call gives a negative number; the text is the call. Texts
/// that are given to `ace_error` themselves are those by which hosts and their logs know a place: they name
/// the call as it was once written, a test of a value, or a call that gives null.
#define ACE_CALL(call)                        \
  if (const auto ace_rc = (call); ace_rc < 0) \
  return ace_error(__FILE__, __LINE__, #call, static_cast<int>(ace_rc), 0, -1)

/// For anomalies that do not stop the operation: "<file>:<line>: WARNING in ..." as a warning event of the
/// default reporter, with the file as given. Returns 0.
SORV_API int ace_report(const char* file, int line, const char* text, int val);

/// The system's text for an `errno` value; it may or may not lie in `errbuf`.
SORV_API const char* ace_strerror(int errnum, char* errbuf, std::size_t buflen);
