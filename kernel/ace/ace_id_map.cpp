#include "ace/ace_id_map.h"

#include <algorithm>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_read_or_clean.h"
#include "ace/ace_reporter.h"

namespace {

constexpr const char* MAGIC = "IDMAP";
constexpr int ARRAY_ALIGNMENT = 8;
constexpr int ALL_MODES =
    AceIdMap::SPARSE | AceIdMap::MIXED | AceIdMap::OFFSETS | AceIdMap::DEDUP | AceIdMap::DEDUP_TINY;
constexpr int MAX_SECTION_SHIFT = 31;
constexpr const char* CUT = "the file ends early";

template <class T>
void put_array(AceFile* file, const T* array, Huge count) {
  file->write(count * static_cast<Huge>(sizeof(T)), array, ARRAY_ALIGNMENT);
}

/// False when the file ends before.
template <class T>
bool get_array_of(AceFile* file, const T*& array, Huge count, AceAttach* at) {
  array = file->read_array<T>(count, at, ARRAY_ALIGNMENT);
  return array != nullptr;
}

int as_int(Large number) {
  return static_cast<int>(number);
}

}  // namespace

void AceIdMap::clean() {
  memAt.release();
  numKeys = arraySize = maxValue = numSideKeys = numSections = 0;
  totalValues = 0;
  sideThreshold = NONE;
  sectionShift = fileMapped = 0;
  dedupArray = nullptr;
  dedupTinyArray = nullptr;
  keyArray = primArray = offsetArray = valueArray = nullptr;
  sectionBase = nullptr;
  reverseInfo.reset();
  blockIndex.reset();
}

// ---------------------------------------------------------------- look-up
// Keys of a sparse map are found by bisection; one that is not among them has no list.

Large AceIdMap::find_slot(Large key) const {
  const Large* end = keyArray + arraySize;
  const Large* found = std::lower_bound(keyArray, end, key);
  return found != end && *found == key ? static_cast<Large>(found - keyArray) : NONE;
}

VInt AceIdMap::get_array_copy(Large key, Large* out, Large max) const {
  const IdList list = get(key);
  if (list.count > max) return -1;
  std::copy(list.begin(), list.end(), out);
  return list.count;
}

Large AceIdMap::get_key(Large index) const {
  if (index >= num_slots()) return NONE;
  if (keyArray == nullptr || is_dedup()) return index;
  return keyArray[index] < numKeys ? keyArray[index] : NONE;
}

VInt AceIdMap::get_by_index(Large index, Large& key, const Large*& values) const {
  key = get_key(index);
  values = nullptr;
  if (key == NONE) return -1;
  const IdList list = is_dedup() ? get(key) : list_of(index);
  if (!list.empty()) values = list.values;
  return list.count;
}

Large AceIdMap::get_index(Large value) const {
  if (value > maxValue || reverseInfo == nullptr) return NONE;
  const Large pos = blockIndex != nullptr ? blockIndex->get_key(value) : value;
  if (blockIndex != nullptr && pos == BlockIndex::NONE) return NONE;
  const VUint key = reverseInfo->get(pos);
  return key < numKeys ? static_cast<Large>(key) : NONE;  // all ones is not below
}

int AceIdMap::get_mode() const {
  return (keyArray != nullptr ? SPARSE : 0) | (primArray != nullptr ? MIXED : 0) |
         (offsetArray != nullptr ? OFFSETS : 0) | (dedupArray != nullptr ? DEDUP : 0) |
         (dedupTinyArray != nullptr ? DEDUP_TINY : 0);
}

void AceIdMap::print(AceReporter* rep) const {
  if (rep == nullptr) return;
  rep->printf("numKeys       =%d\n", as_int(numKeys));
  rep->printf("arraySize     =%d\n", as_int(arraySize));
  rep->printf("maxValue      =%d\n", as_int(maxValue));
  rep->printf("totalValues   =%ld\n", totalValues);
  rep->printf("numSideKeys   =%d\n", as_int(numSideKeys));
  rep->printf("sideThreshold =%d\n", as_int(sideThreshold));
}

// ---------------------------------------------------------------- saving
// Arrays are written as they are used; which there are follows from the mode.

VInt AceIdMap::save(AceFile* file) const {
  file->mem_open("AceIdMap");
  file->put_magic(MAGIC);
  file->put_int(get_mode());
  file->put_int(numKeys);
  file->put_int(arraySize);
  file->put_int(maxValue);
  file->put_int(numSideKeys);
  file->put_huge(totalValues);
  save_arrays(file);
  const int rc = save_reverse(file);
  file->mem_close();
  return rc;
}

void AceIdMap::save_arrays(AceFile* file) const {
  if (keyArray != nullptr) {
    file->mem_info("%d sparse key entries", as_int(arraySize));
    put_array(file, keyArray, arraySize);
  }
  if (primArray != nullptr) {
    file->mem_info("%d primary entries", as_int(arraySize));
    put_array(file, primArray, arraySize);
  }
  if (offsetArray != nullptr) {
    file->mem_info("%d offset entries", as_int(static_cast<Large>(num_offsets())));
    put_array(file, offsetArray, static_cast<Huge>(num_offsets()));
    file->put_int(numSections);
    if (numSections > 0) {
      file->put_int(sectionShift);
      file->mem_info("%d section entries", as_int(numSections));
      put_array(file, sectionBase, numSections);
    }
    if (totalValues > 0) {
      file->mem_info("%ld values", totalValues);
      put_array(file, valueArray, totalValues);
    }
  }
  if (dedupArray != nullptr) {
    file->mem_info("%d dedup entries", as_int(numKeys));
    put_array(file, dedupArray, numKeys);
  }
  if (dedupTinyArray != nullptr) {
    file->mem_info("%d tiny dedup entries", as_int(numKeys));
    put_array(file, dedupTinyArray, numKeys);
  }
}

int AceIdMap::save_reverse(AceFile* file) const {
  file->put_int(has_reverse() ? 1 : 0);
  if (!has_reverse()) return 0;
  file->mem_point("reverse mapping");
  ACE_CALL(reverseInfo->save(file));
  file->put_int(blockIndex != nullptr ? 1 : 0);
  if (blockIndex == nullptr) return 0;
  file->mem_point("block index for reverse");
  ACE_CALL(blockIndex->save(file));
  return 0;
}

// ---------------------------------------------------------------- reading
// Counts are checked before arrays of that size are taken, each array before the next is read.

// The functions below return null, or what is wrong.

VInt AceIdMap::read(AceFile* file) {
  return ace_read_or_clean(
      [this] { clean(); },
      [&]() -> VInt {
        file->mem_open("AceIdMap");
        const char* fault = read_arrays(file);
        if (fault == nullptr) fault = read_reverse(file);
        if (fault == nullptr && file->is_short()) fault = CUT;
        file->mem_close();
        if (fault == nullptr) return 0;
        AceReporter::use_default()->printf(
            "Id map that ends at offset %ld is broken: %s (%u keys, %u slots, %u side lists, %ld values)\n",
            file->get_pos(), fault, numKeys, arraySize, numSideKeys, totalValues);
        return -1;
      });
}

const char* AceIdMap::read_arrays(AceFile* file) {
  if (file->get_magic(MAGIC) < 0) return "expected the magic IDMAP";
  const int mode = file->get_int();
  numKeys = file->get_large();
  arraySize = file->get_large();
  maxValue = file->get_large();
  numSideKeys = file->get_large();
  totalValues = file->get_huge();
  sideThreshold = ~numSideKeys;
  fileMapped = file->is_mapped() ? 1 : 0;
  if (file->is_short()) return CUT;
  if (const char* fault = check_counts(mode); fault != nullptr) return fault;

  if ((mode & SPARSE) != 0) {
    file->mem_info("%d sparse key entries", as_int(arraySize));
    if (!get_array_of(file, keyArray, arraySize, &memAt)) return CUT;
  }
  if ((mode & MIXED) != 0) {
    file->mem_info("%d primary entries", as_int(arraySize));
    if (!get_array_of(file, primArray, arraySize, &memAt)) return CUT;
  }
  if ((mode & OFFSETS) != 0)
    if (const char* fault = read_offsets(file); fault != nullptr) return fault;
  if ((mode & DEDUP) != 0) {
    file->mem_info("%d dedup entries", as_int(numKeys));
    if (!get_array_of(file, dedupArray, numKeys, &memAt)) return CUT;
  }
  if ((mode & DEDUP_TINY) != 0) {
    file->mem_info("%d tiny dedup entries", as_int(numKeys));
    if (!get_array_of(file, dedupTinyArray, numKeys, &memAt)) return CUT;
  }
  return nullptr;
}

const char* AceIdMap::read_offsets(AceFile* file) {
  file->mem_info("%d offset entries", as_int(static_cast<Large>(num_offsets())));
  if (!get_array_of(file, offsetArray, static_cast<Huge>(num_offsets()), &memAt)) return CUT;
  numSections = file->get_large();
  if (numSections > 0) {
    sectionShift = file->get_int();
    file->mem_info("%d section entries", as_int(numSections));
    if (!get_array_of(file, sectionBase, numSections, &memAt)) return CUT;
    if (const char* fault = check_section_numbers(); fault != nullptr) return fault;
  }
  if (totalValues > 0) {
    file->mem_info("%ld values", totalValues);
    if (!get_array_of(file, valueArray, totalValues, &memAt)) return CUT;
  }
  return check_ends();
}

const char* AceIdMap::read_reverse(AceFile* file) {
  const int hasReverse = file->get_int();
  if (hasReverse == 0) return nullptr;
  if (hasReverse != 1) return "the reverse flag is not 0 or 1";
  file->mem_point("reverse mapping");
  reverseInfo = std::make_unique<AceBits>();
  if (const VInt rc = reverseInfo->read(file); rc < 0) {
    ace_error(__FILE__, __LINE__, "reverseInfo->read(file)", -1, 0, -1);
    return "its reverse index is";
  }
  const int hasBlocks = file->get_int();
  if (hasBlocks < 0 || hasBlocks > 1) return "the block index flag is not 0 or 1";
  if (hasBlocks == 1) {
    file->mem_point("block index for reverse");
    blockIndex = std::make_unique<BlockIndex>();
    if (const VInt rc = blockIndex->read(file); rc < 0) {
      ace_error(__FILE__, __LINE__, "blockIndex->read(file)", -1, 0, -1);
      return "its block index is";
    }
  }
  const VInt needed = blockIndex != nullptr ? VInt{blockIndex->size()} : VInt{maxValue} + 1;
  return reverseInfo->get_num_keys() >= needed ? nullptr : "the reverse index has too few values";
}

/// What bounds the arrays, and whether the mode can be one.
const char* AceIdMap::check_counts(int mode) const {
  if ((mode & ~ALL_MODES) != 0) return "unknown mode";
  if (mode == 0)
    return numKeys == 0 && arraySize == 0 && numSideKeys == 0 && totalValues == 0 ? nullptr : "no arrays";
  const bool isMixed = (mode & MIXED) != 0;
  const bool hasOffsets = (mode & OFFSETS) != 0;
  if (!isMixed && !hasOffsets) return "neither primary nor offset array";
  if (numSideKeys > (isMixed && hasOffsets ? arraySize : 0)) return "too many side lists";
  if (totalValues < 0 || (!hasOffsets && totalValues > 0)) return "impossible number of values";
  switch (mode & (DEDUP | DEDUP_TINY)) {
    case DEDUP:
      return arraySize <= MAX_SHARED ? nullptr : "too many shared lists";
    case DEDUP_TINY:
      return arraySize <= MAX_SHARED_TINY ? nullptr : "too many shared lists";
    case DEDUP | DEDUP_TINY:
      return "two arrays of shared lists";
    default:
      break;
  }
  if ((mode & SPARSE) != 0) return arraySize <= numKeys ? nullptr : "more slots than keys";
  return arraySize == numKeys ? nullptr : "the numbers of keys and slots differ";
}

/// Keys and shared lists are where look-ups expect them. Primary entries are right whatever they are: from
/// `sideThreshold` on there are as many codes as side lists.
const char* AceIdMap::check_slots() const {
  if (keyArray != nullptr) {
    const Large* end = keyArray + arraySize;
    const bool isAscending = std::adjacent_find(keyArray, end, std::greater_equal<>()) == end;
    if (!isAscending) return "keys do not ascend";
    if (!is_dedup() && arraySize > 0 && end[-1] >= numKeys) return "a key is too large";
    return nullptr;  // shared lists without a slot are empty
  }
  const auto has_slot = [this](Large number, Large none) { return number == none || number < arraySize; };
  for (Large key = 0; dedupArray != nullptr && key < numKeys; ++key)
    if (!has_slot(dedupArray[key], NO_SHARED)) return "number of a shared list that is not there";
  for (Large key = 0; dedupTinyArray != nullptr && key < numKeys; ++key)
    if (!has_slot(dedupTinyArray[key], NO_SHARED_TINY)) return "number of a shared list that is not there";
  return nullptr;
}

/// Every offset has a section.
const char* AceIdMap::check_section_numbers() const {
  if (sectionShift < 0 || sectionShift > MAX_SECTION_SHIFT) return "impossible size of sections";
  if ((num_offsets() - 1) >> sectionShift >= numSections) return "too few sections";
  return nullptr;
}

const char* AceIdMap::check_sections() const {
  if (sectionBase == nullptr) return nullptr;
  const bool isSound = std::all_of(sectionBase, sectionBase + numSections,
                                   [this](Huge base) { return base >= 0 && base <= totalValues; });
  return isSound ? nullptr : "a section is out of range";
}

const char* AceIdMap::check_ends() const {
  const VUint last = num_offsets() - 1;
  const bool areEnds = offset(0) == 0 && offset(last) == static_cast<VUint>(totalValues);
  return areEnds ? nullptr : "offsets do not cover the values";
}

/// Offsets ascend, in steps that are lengths of lists.
const char* AceIdMap::check_offsets() const {
  if (offsetArray == nullptr) return nullptr;
  const VUint last = num_offsets() - 1;
  bool isAscending = true;
  if (sectionBase == nullptr)
    for (VUint i = 0; i < last; ++i) isAscending &= offsetArray[i] <= offsetArray[i + 1];
  else
    for (VUint i = 0; i < last; ++i) {
      const VUint start = offset(i);
      const VUint end = offset(i + 1);
      isAscending &= start <= end && end - start <= NONE;
    }
  return isAscending ? nullptr : "offsets do not ascend";
}

int AceIdMap::verify(AceReporter* rep) const {
  const char* fault = check_sections();
  if (fault == nullptr) fault = check_slots();
  if (fault == nullptr) fault = check_offsets();
  if (fault != nullptr) {
    rep->printf("Id map is broken: %s (%u keys, %u slots, %u side lists, %ld values)\n", fault, numKeys,
                arraySize, numSideKeys, totalValues);
    return -1;
  }
  return blockIndex != nullptr ? blockIndex->verify(rep) : 0;
}
