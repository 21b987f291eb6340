/// Figures about the lines of a source.
///
/// Thread safety: a statistic belongs to one thread at a time.
#pragma once

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class SORV_API DamoStatistic {
 public:
  /// For lines of `num_fields` fields, named `field_names` (copied; may be null), with the byte `sep_char`
  /// between them; with `is_utf` not 0, characters are UTF-8 code points, else bytes.
  DamoStatistic(int is_utf, int sep_char, int num_fields, const char* const* field_names);
  DamoStatistic(const DamoStatistic&) = delete;
  DamoStatistic& operator=(const DamoStatistic&) = delete;

  /// Counts one record that does not have the expected form.
  void incr_badline() { ++numBadLines; }
  Huge get_num_bad_lines() const { return numBadLines; }

 protected:
  AceAttach memAt;
  int isUtf;
  int sepChar;
  int numFields;
  const char* const* fieldNames;
  Huge numLines = 0;
  Huge numBadLines = 0;
};
