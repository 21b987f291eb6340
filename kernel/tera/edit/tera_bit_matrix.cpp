#include "tera/tera_bit_matrix.h"

#include <algorithm>
#include <climits>
#include <numeric>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"

namespace {

constexpr int ARRAY_ALIGNMENT = 4;

constexpr int sections_of(int slots) {
  return slots / TeraBitMatrix::SECTION_SLOTS + (slots % TeraBitMatrix::SECTION_SLOTS != 0 ? 1 : 0);
}

}  // namespace

/// Each section is as wide as its last slot's entries are long, one that is not full as the longest length.
/// Empty when the words exceed an int.
std::vector<int> TeraBitMatrix::make_sections(const int* sums, int lengths) {
  const int num = sections_of(sums[lengths - 1]);
  std::vector<int> starts = {0};
  starts.reserve(static_cast<std::size_t>(num) + 1);
  VInt start = 0;
  int length = std::min(1, lengths - 1);
  for (int k = 1; k <= num; ++k) {
    while (length < lengths - 1 && sums[length] < VInt{k} * SECTION_SLOTS) ++length;
    start += length;
    if (start > INT_MAX / 2) return {};
    starts.push_back(static_cast<int>(start));
  }
  return starts;
}

void TeraBitMatrix::init_layout(int cols, const std::vector<int>& slots) {
  clean_matrix();
  numCols = cols;
  maxLength = static_cast<int>(slots.size());
  ownSums.resize(slots.size());
  std::partial_sum(slots.begin(), slots.end(), ownSums.begin());
  lengthSum = ownSums.data();
  sectionStart = make_sections(lengthSum, maxLength);
  numSections = std::max(static_cast<int>(sectionStart.size()) - 1, 0);
  bitModule = std::make_unique<TeraModule[]>(static_cast<std::size_t>(cols));
}

int TeraBitMatrix::init_modules() {
  if (sectionStart.empty()) return -1;
  for (int tok = 0; tok < num_modules(); ++tok) bitModule[static_cast<std::size_t>(tok)].init(num_words());
  isPlain = true;
  return 0;
}

void TeraBitMatrix::clean_matrix() {
  maxLength = numCols = numSections = 0;
  lengthSum = nullptr;
  sectionStart.clear();
  bitModule = nullptr;
  ownSums.clear();
  isPlain = false;
}

void TeraBitMatrix::set_bit(int slot, int pos, Token tok) {
  const int word = sectionStart[static_cast<std::size_t>(slot / SECTION_SLOTS)] + pos;
  bitModule[tok].set_full(word, VBit{1} << slot % SECTION_SLOTS);
}

void TeraBitMatrix::finish_columns(bool stay_plain) {
  isPlain = false;
  for (int tok = 0; tok < num_modules(); ++tok)
    if (TeraModule& module = bitModule[static_cast<std::size_t>(tok)];
        module.clear_empty() == 0 && !stay_plain)
      module.compress();
}

VInt TeraBitMatrix::get_comp_size() const {
  VInt bytes = 0;
  for (int tok = 0; tok < num_modules(); ++tok)
    bytes += bitModule[static_cast<std::size_t>(tok)].get_comp_size();
  return bytes;
}

bool TeraBitMatrix::has_words() const {
  return std::any_of(bitModule.get(), bitModule.get() + num_modules(),
                     [](const TeraModule& module) { return !module.is_empty(); });
}

// ---------------------------------------------------------------- persistence

void TeraBitMatrix::save_sums(AceFile* file, int sections) const {
  file->write(VInt{sizeof(int)} * maxLength, lengthSum, ARRAY_ALIGNMENT);
  if (sections > 0)
    file->write(static_cast<VInt>(sizeof(int)) * (sections + 1), sectionStart.data(), ARRAY_ALIGNMENT);
}

void TeraBitMatrix::save_modules(AceFile* file) const {
  for (int tok = 0; tok < numCols; ++tok) bitModule[static_cast<std::size_t>(tok)].save(file);
}

int TeraBitMatrix::refuse_matrix(const char* reason) const {
  AceReporter::use_default()->printf("Bit matrix broken, %s: %ld lengths, %d sections, %d columns\n", reason,
                                     VInt{maxLength} - 1, numSections, numCols);
  return -1;
}

int TeraBitMatrix::read_sums(AceFile* file, int sections) {
  AceAttach at;
  const int* sums = file->read_array<int>(maxLength, &at, ARRAY_ALIGNMENT);
  if (maxLength < 1 || sums == nullptr) return refuse_matrix("its lengths are cut");
  if (sums[0] < 0 || !std::is_sorted(sums, sums + maxLength))
    return refuse_matrix("its lengths do not ascend");
  ownSums.assign(sums, sums + maxLength);
  lengthSum = ownSums.data();
  // Every section takes bytes of the file, so that what is made here is not larger than a multiple of it.
  if (sections > 0 && sections != sections_of(lengthSum[maxLength - 1]))
    return refuse_matrix("it has not the sections of its slots");
  if (sections > 0) {
    const int* starts = file->read_array<int>(VInt{sections} + 1, &at, ARRAY_ALIGNMENT);
    if (starts == nullptr) return refuse_matrix("its sections are cut");
    sectionStart = make_sections(lengthSum, maxLength);
    if (sectionStart.empty() || !std::equal(sectionStart.begin(), sectionStart.end(), starts))
      return refuse_matrix("its sections are not those of its lengths");
  }
  numSections = sections;
  return 0;
}

int TeraBitMatrix::read_modules(AceFile* file) {
  bitModule = std::make_unique<TeraModule[]>(static_cast<std::size_t>(numCols));
  for (int i = 0; i < numCols; ++i)
    if (bitModule[static_cast<std::size_t>(i)].read(file, num_words()) < 0)
      return ace_error(__FILE__, __LINE__, "bitModule[i].read(file)", -1, 0, -1);
  // Columns take at least a bit per word of the file, which bounds what recall makes of them; but not if all
  // are empty.
  return num_words() > 0 && !has_words() ? refuse_matrix("it has no bits") : 0;
}
