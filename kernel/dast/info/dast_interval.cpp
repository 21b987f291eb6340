#include "dast/dast_interval.h"

#include <algorithm>
#include <charconv>
#include <vector>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"

namespace {

constexpr int BOUND_ALIGNMENT = 8;

}  // namespace

// ---------------------------------------------------------------- building

int DastInterval::add(Large record, bool force) {
  if (isMapped) return -1;
  if (numInts > 0) {
    const Large last = intList[numInts - 1];
    if (record < last) return -1;
    if (record == last && !force) return 0;
  }
  if (numInts == intSpace) grow();
  const_cast<Large*>(intList)[numInts++] = record;  // an own array, as it is not mapped
  return 0;
}

void DastInterval::grow() {
  const Large space = intSpace > 0 ? 2 * intSpace : FIRST_SPACE;
  Large* larger = nullptr;
  AceAttach::malloc(larger, space);
  std::copy_n(intList, numInts, larger);
  release_after(memList);  // the smaller array
  intList = larger;
  intSpace = space;
}

void DastInterval::clean() {
  release();
  intList = nullptr;
  numInts = intSpace = 0;
  isMapped = false;
}

int DastInterval::make(int n, const DastInterval* const* lists) {
  const AceTimeSection section("MAKE_INTERVAL");
  clean();
  if (n < 1) return -1;
  if (n > 1) return refine({lists, static_cast<std::size_t>(n)});
  for (const Large bound : lists[0]->get_bounds()) add(bound, true);
  return 0;
}

int DastInterval::refine(std::span<const DastInterval* const> lists) {
  std::vector<const Large*> next;  // of each list
  for (const DastInterval* list : lists) {
    if (list->numInts == 0) return 0;
    next.push_back(list->intList);
  }
  for (bool isExhausted = false; !isExhausted;) {
    const Large lowest = **std::min_element(
        next.begin(), next.end(), [](const Large* first, const Large* second) { return *first < *second; });
    add(lowest);
    for (std::size_t i = 0; i < lists.size(); ++i) {
      if (*next[i] == lowest) ++next[i];
      isExhausted |= next[i] == lists[i]->intList + lists[i]->numInts;
    }
  }
  return 0;
}

int DastInterval::make(const char* filename) {
  clean();
  AceInput input(filename, 0, false);
  const char* line = nullptr;
  VInt lineNo = 0;
  for (int length = 0; (length = input.read_line(&line, &lineNo)) >= 0;) {
    Large record = 0;
    const auto [end, error] = std::from_chars(line, line + length, record);
    const bool isNumber = error == std::errc() && end == line + length;
    if (isNumber && add(record) == 0) continue;
    AceReporter::use_default()->printf("%s:%ld: expected a record id of at least %u, found \"%s\"\n",
                                       filename, lineNo + 1, numInts > 0 ? intList[numInts - 1] : 0, line);
    clean();
    return -1;
  }
  if (input.read_error() == 0) return 0;
  clean();
  return ace_error(__FILE__, __LINE__, "input.read_line(&line, &lineNo)", input.read_error(), 0, -1);
}

// ---------------------------------------------------------------- look-up

Large DastInterval::get_entry(Large record) const {
  if (record == 0) return 0;
  const Large* above = std::upper_bound(intList, intList + numInts, record);
  return static_cast<Large>(above - intList) - 1;  // NONE before the first bound
}

Large DastInterval::get_range_end(Large record) const {
  const Large* range = get_range(get_entry(record));
  return range != nullptr ? range[1] : NONE;
}

// ---------------------------------------------------------------- levels

bool DastInterval::can_abstract(const DastInterval* other) const {
  const AceTimeSection section("CAN_ABSTRACT");
  if (numInts > other->numInts) return false;
  const Large* rest = other->intList;
  const Large* end = rest + other->numInts;
  return std::all_of(intList, intList + numInts, [&](Large bound) {
    while (rest != end && *rest < bound) ++rest;
    return rest != end && *rest == bound;
  });
}

std::unique_ptr<DastInterval> DastInterval::make_abstract(const DastInterval* other) const {
  auto common = std::make_unique<DastInterval>();
  const Large* rest = other->intList;
  const Large* end = rest + other->numInts;
  for (const Large bound : get_bounds()) {
    while (rest != end && *rest < bound) ++rest;
    if (rest != end && *rest == bound) common->add(bound);
  }
  return common;
}

// ---------------------------------------------------------------- saving and reading

VInt DastInterval::save(AceFile* file) const {
  file->mem_open("Interval list");
  file->mem_info("Number of Intervals: %d", static_cast<int>(get_num_entries()));
  file->put_magic("INTER");
  file->put_int(numInts);
  file->write(VInt{numInts} * 4, intList, BOUND_ALIGNMENT);
  file->mem_close();
  return 0;
}

VInt DastInterval::read(AceFile* file) {
  clean();
  ACE_CALL(file->get_magic("INTER"));
  const Large count = file->get_large();
  const Large* bounds = file->is_short() ? nullptr : file->read_array<Large>(count, this, BOUND_ALIGNMENT);
  if (bounds == nullptr) {
    AceReporter::use_default()->printf("Interval list of %u bounds: the file ends early, at offset %ld\n",
                                       count, file->get_pos());
    clean();
    return -1;
  }
  if (const Large* fall = std::is_sorted_until(bounds, bounds + count); fall != bounds + count) {
    AceReporter::use_default()->printf("Interval list of %u bounds: expected at least %u, found %u\n", count,
                                       fall[-1], *fall);
    clean();
    return -1;
  }
  intList = bounds;
  numInts = count;
  isMapped = file->is_mapped();
  if (!isMapped) intSpace = count;
  return 0;
}
