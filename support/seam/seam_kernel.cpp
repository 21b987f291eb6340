#include "seam/seam_kernel.h"

#include "tera/tera_result.h"

int SeamStringReader::get_line(const char** string, Large* info, VInt* line) {
  if (nextString >= numStrings) return 0;
  const char* const text = stringList[nextString];
  *string = text != nullptr ? text : "";
  if (info != nullptr) *info = static_cast<Large>(nextString);
  if (line != nullptr) *line = nextString;
  ++nextString;
  return 1;
}

int SeamStringReader::rewind() {
  nextString = 0;
  return 0;
}

namespace {

template <class Visit>
void for_each_candidate(const TeraResult* result, Visit visit) {
  for (const TeraCandGroup* group = result->get_first_group(); group != nullptr; group = group->get_next())
    for (const TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next())
      visit(group->get_value(), *cand);
}

}  // namespace

SeamTexts seam_candidates(const TeraResult* result, AceAttach* at) {
  const char** texts = nullptr;
  at->malloc(texts, result->num_cands());
  int count = 0;
  for_each_candidate(result, [&](int, const TeraCand& cand) { texts[count++] = cand.represent(); });
  return {texts, count};
}

SeamNumbers seam_qualities(const TeraResult* result, AceAttach* at) {
  Huge* values = nullptr;
  at->malloc(values, result->num_cands());
  int count = 0;
  for_each_candidate(result, [&](int value, const TeraCand&) { values[count++] = value; });
  return {values, count};
}
