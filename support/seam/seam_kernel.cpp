#include "seam/seam_kernel.h"

#include <string>
#include <vector>

#include "ace/ace_mem_point.h"
#include "ace/ace_time_analysis.h"
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

SeamTexts seam_time_analysis(int scope, AceAttach* at) {
  std::vector<const char*> lines;
  for (const AceMemPoint* point = time_analysis_fetch(scope); point != nullptr; point = point->get_next(0)) {
    const char* const comment = point->get_comment();
    const std::string line = std::to_string(point->get_pos()) + "\t" + std::to_string(point->get_type()) +
                             "\t" + (comment != nullptr ? comment : "");
    lines.push_back(at->attach(line.c_str()));
  }
  return seam_texts(lines, at);
}
