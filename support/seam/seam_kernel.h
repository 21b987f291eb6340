/// Small steps between what other languages have, lists and numbers, and what kernel operations take.
#pragma once

#include "ace/ace_types.h"
#include "seam/seam_texts.h"
#include "tera/tera_reader.h"

class TeraResult;

/// The strings of a list, with their places as attributes. The list is the caller's.
class SORV_API SeamStringReader : public TeraReader {
 public:
  SeamStringReader(int count, const char* const* strings) : stringList(strings), numStrings(count) {}
  int get_line(const char** string, Large* info, VInt* line) override;
  int rewind() override;
  VInt get_estimate() override { return numStrings; }

 private:
  const char* const* stringList;
  int numStrings;
  int nextString = 0;
};

/// A kernel result of 64 bits as a code: negative ones as they are, others 0.
inline int seam_code(VInt result) {
  return result < 0 ? static_cast<int>(result) : 0;
}

/// The texts and the qualities of all candidates, in the order of the result.
SORV_API SeamTexts seam_candidates(const TeraResult* result, AceAttach* at);
SORV_API SeamNumbers seam_qualities(const TeraResult* result, AceAttach* at);
/// The points of the time analysis of a scope: microseconds, type and name, with tabs between.
SORV_API SeamTexts seam_time_analysis(int scope, AceAttach* at);
