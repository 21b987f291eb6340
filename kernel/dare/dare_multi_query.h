/// A query for all fields of a session at once: for each field a mode and a text.
///
/// Ownership: texts are copied. Thread safety: belongs to one thread; may be read by many.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ace/ace_types.h"
#include "dast/dast_options.h"

class SORV_API DareMultiQuery {
 public:
  /// All fields EMPTY, without text.
  explicit DareMultiQuery(int num_fields);
  /// `modes` and `queries` have an element for each field. A mode is a code of one character or a name; null
  /// is NOOP. A text of null is no query. Null arrays have nothing but null.
  DareMultiQuery(int num_fields, const char* const* modes, const char* const* queries);

  int get_num_fields() const { return static_cast<int>(queryModes.size()); }
  bool bound_check(int field) const { return field >= 0 && field < get_num_fields(); }
  // Return 0; -1 for no field, and for a code that is none.
  int set_mode(int field, char token);
  int set_mode(int field, DastOptions::Call mode);
  int set_query(int field, const char* text);
  /// NOOP for no field.
  DastOptions::Call get_mode(int field) const;
  /// Null for none.
  const char* get_query(int field) const;
  /// The first element of `modes` that was none; -1 when all were.
  int get_bad_mode() const { return badMode; }

 private:
  std::vector<DastOptions::Call> queryModes;
  std::vector<std::optional<std::string>> queryStrings;
  int badMode = -1;
};
