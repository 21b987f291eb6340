#include "tera/tera_count.h"

#include <algorithm>
#include <utility>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "tera/tera_proc.h"

namespace {

constexpr const char* MAGIC = "COUNT";
constexpr int WORD_ALIGNMENT = 8;
constexpr int INT_ALIGNMENT = 4;
constexpr int END_OF_ARRAYS = -1;

/// The content word; stored in files, not to be renumbered.
enum Content : int { ARRAYS = 1, DENSITIES = 2, FILTER = 4, GROUPS = 8, ALWAYS = 32 };
constexpr int KNOWN_CONTENT = ARRAYS | DENSITIES | FILTER | GROUPS | ALWAYS;

}  // namespace

// ---------------------------------------------------------------- histogram
// Counts of groups become their first entries, once.

TeraCount::Histo::Histo(int max_groups) : maxGroups(std::max(max_groups, 0)) {
  groupFreq = static_cast<int*>(memAt.calloc((VInt{maxGroups} + 1) * VInt{sizeof(int)}));
}

int TeraCount::Histo::add(int group) {
  if (group < 0 || group >= maxGroups || didSum != 0) return -1;
  ++groupFreq[group];
  return 0;
}

void TeraCount::Histo::sum() {
  if (didSum != 0) return;
  int before = 0;
  for (int group = 0; group <= maxGroups; ++group) before += std::exchange(groupFreq[group], before);
  didSum = 1;
}

// ---------------------------------------------------------------- construction
// A new one has no flags, and its filter lets no entry pass.

TeraCount::TeraCount(int num_entries, int num_values, Histo* histo)
    : numValues(std::max(num_values, 0)), numEntry(std::max(num_entries, 0)) {
  numWords = static_cast<int>((VInt{numEntry} + WORD_BITS - 1) / WORD_BITS);
  bitArray.assign(index(numValues), nullptr);
  bitDensity.assign(index(numValues), 0);
  if (numEntry > 0) bitFilter = make_bits();
  if (histo == nullptr) return;
  histo->sum();
  maxGroups = histo->maxGroups;
  fillOffset.assign(histo->groupFreq, histo->groupFreq + maxGroups + 1);
  for (int& offset : fillOffset) offset = std::clamp(offset, 0, numEntry);
}

TeraCount::~TeraCount() = default;

void TeraCount::clean() {
  memAt.release();
  bitArray.clear();
  bitDensity.clear();
  fillOffset.clear();
  bitFilter = nullptr;
  numValues = maxGroups = numEntry = numWords = totalBits = maxBits = fileMapped = 0;
}

VBit* TeraCount::make_bits() {
  return static_cast<VBit*>(memAt.calloc(VInt{numWords} * VInt{sizeof(VBit)}));
}

void TeraCount::trim_bits(VBit* bits) const {
  if (numEntry % WORD_BITS != 0) bits[numWords - 1] &= (VBit{1} << (numEntry % WORD_BITS)) - 1;
}

void TeraCount::print(AceReporter* rep) const {
  rep->printf("NUM_VALUES: %d\n", numValues);
  rep->printf("MAX_GROUPS: %d\n", maxGroups);
  rep->printf("NUM_ENTRY:  %d\n", numEntry);
  rep->printf("NUM_WORDS:  %d\n", numWords);
}

double TeraCount::get_density() const {
  double sum = 0;
  for (const int density : bitDensity) sum += density;
  const double room = static_cast<double>(numWords) * numValues * WORD_BITS;
  return room > 0 ? sum / room : 0;
}

// ---------------------------------------------------------------- changing
// Arrays are made when their first flag is set; those of a mapping are never written.

bool TeraCount::has_flags(int n, const int* values) const {
  return std::all_of(values, values + std::max(n, 0),
                     [this](int value) { return has_value(value < 0 ? ~value : value); });
}

int TeraCount::check_array(int value) {
  if (!has_value(value) || fileMapped != 0) return -1;
  if (bitArray[index(value)] == nullptr) bitArray[index(value)] = make_bits();
  return 0;
}

int TeraCount::set_flags_horizontal(int entry, int n, const int* values) {
  const bool isThere = has_entry(entry) && n >= 0 && has_flags(n, values) &&
                       std::all_of(values, values + n, [](int value) { return value >= 0; });
  if (!isThere || fileMapped != 0) return -1;
  for (const int value : std::span(values, index(n))) check_array(value);
  int numSet = 0;
  for (const int value : std::span(values, index(n))) {
    if (has_flag(entry, value)) continue;
    bitArray[index(value)][entry / WORD_BITS] |= VBit{1} << (entry % WORD_BITS);
    ++bitDensity[index(value)];
    ++numSet;
  }
  totalBits += numSet;
  maxBits = std::max(maxBits, n);
  enable(entry);
  return numSet;
}

int TeraCount::set_flags_vertical(int value, const VBit* bits) {
  if (bits == nullptr || check_array(value) < 0) return -1;
  VBit* const array = bitArray[index(value)];
  std::copy_n(bits, numWords, array);
  if (numWords > 0) trim_bits(array);
  bitDensity[index(value)] += TeraProc::num_bits({array, index(numWords)});
  return 0;
}

int TeraCount::clear_flags(int entry) {
  if (!has_entry(entry) || fileMapped != 0) return -1;
  for (VBit* array : bitArray)
    if (array != nullptr) array[entry / WORD_BITS] &= ~(VBit{1} << (entry % WORD_BITS));
  return 0;
}

int TeraCount::map(int from, int to) {
  if (!has_value(from) || !has_value(to) || fileMapped != 0) return -1;
  const VBit* source = bitArray[index(from)];
  if (source == nullptr) return 0;
  check_array(to);
  TeraProc::bit_or({bitArray[index(to)], index(numWords)}, {source, index(numWords)});
  return 0;
}

int TeraCount::set_filter(int entry, bool is_enabled) {
  if (!has_entry(entry) || bitFilter == nullptr || fileMapped != 0) return -1;
  const VBit bit = VBit{1} << (entry % WORD_BITS);
  VBit& word = bitFilter[entry / WORD_BITS];
  word = is_enabled ? word | bit : word & ~bit;
  return 0;
}

int TeraCount::enable_all() {
  if (fileMapped != 0) return -1;
  if (bitFilter == nullptr) return 0;
  std::fill_n(bitFilter, numWords, ~VBit{0});
  trim_bits(bitFilter);
  return 0;
}

// ---------------------------------------------------------------- one entry
// An entry is a bit of each value's array, so that its values take one look at every array.

int TeraCount::get_flags(int entry, int max, int* out, int offset) const {
  if (!has_entry(entry)) return -1;
  int count = 0;
  for (int value = 0; value < numValues; ++value) {
    if (!has_flag(entry, value)) continue;
    if (out != nullptr && count >= max) break;
    if (out != nullptr) out[count] = value + offset;
    ++count;
  }
  return count;
}

Large TeraCount::get_numeric_flag(int entry, int first, int nbits) const {
  constexpr int HIGHEST_BIT = 31;
  Large number = 0;
  if (!has_entry(entry) || first < 0) return 0;
  for (int k = 0; k <= std::min(nbits, HIGHEST_BIT) && first <= numValues - 1 - k; ++k)
    if (has_flag(entry, first + k)) number |= Large{1} << k;
  return number;
}

AceBulk::List* TeraCount::fold(unsigned entry, int n, const int* values, AceBulk::List* list,
                               AceBulk* bulk) const {
  constexpr int WORD_FLAGS = 31;
  constexpr Large CONTINUES = Large{1} << WORD_FLAGS;
  if (n == 0) return list;
  Large word = 0;
  const bool isThere = entry < static_cast<unsigned>(numEntry);
  for (int k = 0; k < n; ++k) {
    if (k > 0 && k % WORD_FLAGS == 0) {
      bulk->inc(list, word | CONTINUES);
      word = 0;
    }
    const int value = values[k] < 0 ? ~values[k] : values[k];
    if (isThere && has_flag(static_cast<int>(entry), value)) word |= Large{1} << (k % WORD_FLAGS);
  }
  bulk->inc(list, word);
  return list;
}

int TeraCount::reeval(unsigned entry, int n, const int* values, const int* groups) const {
  if (entry >= static_cast<unsigned>(numEntry)) return -1;
  int numRuns = 0;
  const int* lastGroup = nullptr;
  for (int k = 0; k < n; ++k) {
    const bool isNegated = values[k] < 0;
    const int value = isNegated ? ~values[k] : values[k];
    const VBit* array = get_array(value);
    if (array == nullptr || get_bit(array, static_cast<int>(entry)) == isNegated) continue;
    if (lastGroup == nullptr || *lastGroup != groups[k]) ++numRuns;
    lastGroup = &groups[k];
  }
  return numRuns;
}

int TeraCount::num_groups(int n) const {
  if (maxGroups == 0) return 0;
  return static_cast<int>(std::upper_bound(fillOffset.begin(), fillOffset.end() - 1, n) - fillOffset.begin());
}

// ---------------------------------------------------------------- persistence
// Values without flags have no array in the file; a number behind the last ends the list.

VInt TeraCount::save(AceFile* file) {
  file->mem_open("Bit Counting Structure");
  const int content = ALWAYS | (numValues > 0 ? ARRAYS | DENSITIES : 0) |
                      (bitFilter != nullptr ? FILTER : 0) | (!fillOffset.empty() ? GROUPS : 0);
  file->put_magic(MAGIC);
  for (const int number : {numValues, maxGroups, numEntry, numWords, maxBits, content}) file->put_int(number);
  save_blocks(file, content);
  file->mem_close();
  return numEntry;
}

void TeraCount::save_blocks(AceFile* file, int content) const {
  const VInt arraySize = VInt{numWords} * VInt{sizeof(VBit)};
  const auto put_ints = [&](const char* label, const std::vector<int>& numbers) {
    file->mem_point(label);
    file->write(static_cast<VInt>(numbers.size() * sizeof(int)), numbers.data(), INT_ALIGNMENT);
  };
  if ((content & ARRAYS) != 0) {
    file->mem_point("Bit Arrays");
    for (int value = 0; value < numValues; ++value) {
      if (bitArray[index(value)] == nullptr) continue;
      file->put_int(value);
      file->write(arraySize, bitArray[index(value)], WORD_ALIGNMENT);
    }
    file->put_int(END_OF_ARRAYS);
  }
  if ((content & DENSITIES) != 0) put_ints("Densities", bitDensity);
  if ((content & FILTER) != 0) {
    file->mem_point("Filter");
    file->write(arraySize, bitFilter, WORD_ALIGNMENT);
  }
  if ((content & GROUPS) != 0) put_ints("Offset of Entries of same Number of Bits", fillOffset);
}

VInt TeraCount::read(AceFile* file) {
  clean();
  if (const int version = file->get_magic(MAGIC); version < 0)
    return ace_error(__FILE__, __LINE__, "file->get_magic(\"COUNT\")", version, 0, -1);
  int content = 0;
  const bool isRead = read_head(file, &content) && read_blocks(file, content) && !file->is_short();
  if (!isRead) {
    AceReporter::use_default()->printf(
        "Value counters that are broken at offset %ld: %d flags, %d groups, %d entries in %d words, content "
        "%d\n",
        file->get_pos(), numValues, maxGroups, numEntry, numWords, content);
    clean();
    return -1;
  }
  fileMapped = file->is_mapped() ? 1 : 0;
  return 0;
}

bool TeraCount::read_head(AceFile* file, int* content) {
  for (int* number : {&numValues, &maxGroups, &numEntry, &numWords, &maxBits, content})
    *number = file->get_int();
  // Flags have densities, groups offsets: what is claimed has to be there before room is made for it.
  constexpr VInt MOST_UNSEEN = VInt{1} << 24;
  const Huge left = file->get_left();
  const VInt most = left >= 0 ? left / VInt{sizeof(int)} : MOST_UNSEEN;
  const bool isSound = numValues >= 0 && maxGroups >= 0 && numEntry >= 0 && maxBits >= 0 &&
                       numValues <= most && maxGroups <= most &&
                       numWords == (VInt{numEntry} + WORD_BITS - 1) / WORD_BITS;
  const bool hasGroups = (*content & GROUPS) != 0;
  return isSound && !file->is_short() && (*content & ~KNOWN_CONTENT) == 0 &&
         (!hasGroups || (*content & ALWAYS) != 0) && (hasGroups || maxGroups == 0);
}

bool TeraCount::read_arrays(AceFile* file) {
  for (int value = 0; (value = file->get_int()) != END_OF_ARRAYS;) {
    if (!has_value(value) || file->is_short()) return false;
    bitArray[index(value)] = file->read_array<VBit>(numWords, &memAt, WORD_ALIGNMENT);
    if (bitArray[index(value)] == nullptr && numWords > 0) return false;
  }
  return true;
}

bool TeraCount::read_blocks(AceFile* file, int content) {
  const auto copy_ints = [&](std::vector<int>* numbers) {
    const auto size = static_cast<VInt>(numbers->size() * sizeof(int));
    return file->copy(size, numbers->data(), INT_ALIGNMENT) == size;
  };
  bitArray.assign(index(numValues), nullptr);
  bitDensity.assign(index(numValues), 0);
  if ((content & ARRAYS) != 0 && !read_arrays(file)) return false;
  if ((content & DENSITIES) != 0 && !copy_ints(&bitDensity)) return false;
  if ((content & FILTER) != 0) {
    bitFilter = file->read_array<VBit>(numWords, &memAt, WORD_ALIGNMENT);
    if (bitFilter == nullptr) return false;
  }
  if ((content & GROUPS) == 0) return true;
  fillOffset.assign(index(maxGroups) + 1, 0);
  return copy_ints(&fillOffset) && fillOffset.front() == 0 && fillOffset.back() <= numEntry &&
         std::is_sorted(fillOffset.begin(), fillOffset.end());
}
