#include "seam/seam_damo.h"

#include <limits>

std::vector<int> seam_ints(const SeamNumbers& numbers) {
  std::vector<int> ints;
  for (int i = 0; i < numbers.count; ++i) {
    const Huge number = numbers.numbers[i];
    ints.push_back(number >= 0 && number <= std::numeric_limits<int>::max() ? static_cast<int>(number) : -1);
  }
  return ints;
}

SeamTexts seam_next_record(DamoInput* input, bool as_is, AceAttach* at) {
  VInt line = 0;
  const int rc = input->read_line(&line, as_is ? 1 : 0);
  if (rc < 0) return {nullptr, input->eof() ? 0 : rc};
  const char** fields = nullptr;
  const int count = input->get_fields(&fields, at);
  return {fields, count};
}
