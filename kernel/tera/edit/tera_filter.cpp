#include "tera/tera_filter.h"

#include <algorithm>
#include <numeric>

#include "ace/ace_file.h"
#include "ace/ace_reporter.h"

int TeraFilter::slots_for(int entries, int log) {
  const int groups = (entries >> log) + ((entries & ((1 << log) - 1)) != 0 ? 1 : 0);
  return (groups + SECTION_SLOTS - 1) / SECTION_SLOTS * SECTION_SLOTS;
}

std::vector<int> TeraFilter::filter_slots(const std::vector<int>& slots, int log) {
  std::vector<int> groups(slots.size());
  std::transform(slots.begin() + 1, slots.end(), groups.begin() + 1,
                 [log](int entries) { return slots_for(entries, log); });
  return groups;
}

int TeraFilter::build(int cols, const std::vector<int>& slots, int log) {
  init_layout(cols, filter_slots(slots, log));
  return init_modules() < 0 ? -1 : get_num_slots();
}

void TeraFilter::print(AceReporter* rep) const {
  rep->printf("FILTER STRUCTURE:\n");
  for (int length = 0; length < maxLength; ++length)
    rep->printf("LENGTH %d\t%d\n", length, lengthSum[length]);
  rep->printf("NUM_MODULES\t%d\n", numCols);
  rep->printf("MODULE_LENGTH\t%d\n", num_words());
  rep->printf("COMP_BYTES\t%ld\n", get_comp_size());
}

VInt TeraFilter::save(AceFile* file) const {
  file->mem_open("Edit Filter");
  file->put_int(get_num_slots());
  file->put_int(maxLength);
  file->put_int(numSections);
  file->put_int(numCols);
  file->put_int(num_words());
  file->mem_point("Offset Arrays");
  save_sums(file, numSections);
  file->mem_point("Bit Module");
  save_modules(file);
  file->mem_close();
  return 0;
}

VInt TeraFilter::read(AceFile* file, int cols, const std::vector<int>& slots, int log) {
  clean_matrix();
  const int numEntry = file->get_int();
  maxLength = file->get_int();
  const int sections = file->get_int();
  numCols = file->get_int();
  const int numWords = file->get_int();
  const bool isExpected = numCols == cols && maxLength == static_cast<int>(slots.size()) && sections >= 0;
  if (file->is_short() || !isExpected) return refuse_matrix("it is not the filter of its index");
  if (read_sums(file, sections) < 0) return -1;
  std::vector<int> sums = filter_slots(slots, log);
  std::partial_sum(sums.begin(), sums.end(), sums.begin());
  const bool hasSections = sections > 0 || get_num_slots() == 0;
  if (sums != ownSums || !hasSections || numEntry != get_num_slots() || numWords != num_words())
    return refuse_matrix("its lengths are not those of its index");
  return read_modules(file);
}
