#include "ace/ace_block_index.h"

#include <algorithm>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"

namespace {

/// Keys nearer than this to their predecessor continue its block: a hole costs less than a new block.
constexpr Large BLOCK_GAP = 4;

constexpr int ARRAY_ALIGNMENT = 8;

Large* copy_array(const Large* array, Large size, AceAttach* at) {
  if (array == nullptr) return nullptr;
  Large* copied = nullptr;
  at->malloc(copied, size);
  std::copy_n(array, size, copied);
  return copied;
}

VInt bytes_of(Large count) {
  return static_cast<VInt>(count) * static_cast<VInt>(sizeof(Large));
}

}  // namespace

// ---------------------------------------------------------------- building

int BlockIndex::in_order_count(Large key) {
  if (isStarted && key <= maxEntry) return -1;
  if (!isStarted || key - maxEntry >= BLOCK_GAP) {
    if (isStarted) blockSize += maxEntry - blockFirst + 1;
    blockFirst = key;
    ++numBlock;
  }
  isStarted = true;
  maxEntry = key;
  ++numKeys;
  return 0;
}

VInt BlockIndex::prepare() {
  if (fileMapped != 0) return -1;
  if (isStarted) blockSize += maxEntry - blockFirst + 1;  // of the last block
  const VInt identityCost = static_cast<VInt>(maxEntry) + 1;
  const VInt listCost = 2L * numKeys;
  const VInt blockCost = static_cast<VInt>(blockSize) + 2L * numBlock;
  VInt positions = identityCost;
  if (!isStarted) {
    positions = 0;
  } else if (identityCost > std::min(listCost, blockCost) || identityCost > NONE) {
    const bool isList = listCost <= blockCost;
    allocKeys = isList ? numKeys : numBlock;
    allocBlocks = isList ? 0 : numBlock;
    positions = isList ? numKeys : blockSize;
    memAt.malloc(newKeys, allocKeys);
    if (!isList) memAt.malloc(newStarts, allocBlocks + 1L);
  }
  numKeys = numBlock = blockSize = maxEntry = blockFirst = 0;
  isStarted = false;
  return positions;
}

VInt BlockIndex::in_order_insert(Large key) {
  if (isStarted && key <= maxEntry) return -1;
  const bool continues = isStarted && key - maxEntry < BLOCK_GAP;
  if (newKeys == nullptr) {
    blockSize = key + 1;
  } else if (newStarts != nullptr && continues) {
    blockSize += key - maxEntry;
  } else {
    if (numKeys >= allocKeys) return -1;
    if (newStarts != nullptr) newStarts[numKeys] = blockSize;
    newKeys[numKeys++] = key;
    ++blockSize;
  }
  isStarted = true;
  maxEntry = key;
  return static_cast<VInt>(blockSize) - 1;
}

int BlockIndex::finish() {
  blockKey = newKeys;
  if (newStarts != nullptr) {
    newStarts[numKeys] = blockSize;
    blockStart = newStarts;
    numBlock = numKeys + 1;
  }
  newKeys = newStarts = nullptr;
  allocKeys = allocBlocks = blockFirst = 0;
  isStarted = false;
  return 0;
}

VInt BlockIndex::copy(const BlockIndex* other) {
  if (other == this) return blockSize;
  clean();
  blockKey = copy_array(other->blockKey, other->numKeys, &memAt);
  blockStart = copy_array(other->blockStart, other->numBlock, &memAt);
  numKeys = other->numKeys;
  numBlock = other->numBlock;
  blockSize = other->blockSize;
  maxEntry = other->maxEntry;
  return blockSize;
}

void BlockIndex::clean() {
  memAt.release();
  numBlock = blockSize = numKeys = maxEntry = blockFirst = allocKeys = allocBlocks = 0;
  blockKey = blockStart = nullptr;
  newKeys = newStarts = nullptr;
  isStarted = false;
  fileMapped = 0;
}

// ---------------------------------------------------------------- look-up

/// Index of the last element that is not above `value`; NONE when all are.
Large BlockIndex::last_not_above(const Large* array, Large size, Large value) {
  const Large* above = std::upper_bound(array, array + size, value);
  return above != array ? static_cast<Large>(above - array - 1) : NONE;
}

Large BlockIndex::get_key(Large key) const {
  if (blockKey == nullptr) return key < blockSize ? key : NONE;
  const Large index = last_not_above(blockKey, numKeys, key);
  if (index == NONE) return NONE;
  const Large offset = key - blockKey[index];
  if (!is_block_mode()) return offset == 0 ? index : NONE;
  if (offset >= blockStart[index + 1] - blockStart[index]) return NONE;
  const Large pos = blockStart[index] + offset;
  return pos < blockSize ? pos : NONE;
}

Large BlockIndex::get_pos(Large key, int next) const {
  if (const Large pos = get_key(key); pos != NONE) return pos;
  Large following = blockSize;  // first position above the key
  if (blockKey != nullptr) {
    const Large index = last_not_above(blockKey, numKeys, key) + 1;  // NONE + 1 is 0
    following = is_block_mode() ? std::min(blockStart[index], blockSize) : index;
  }
  if (next != 0) return following;
  return following > 0 ? following - 1 : NONE;
}

Large BlockIndex::get_orig(Large pos) const {
  if (pos >= blockSize) return NONE;
  if (blockKey == nullptr) return pos;
  if (!is_block_mode()) return blockKey[pos];
  const Large index = last_not_above(blockStart, numBlock, pos);
  if (index >= numKeys) return NONE;
  return blockKey[index] + (pos - blockStart[index]);
}

// ---------------------------------------------------------------- persistence

VInt BlockIndex::save(AceFile* file) const {
  file->mem_open("Block Index");
  file->put_int(numKeys);
  file->put_int(numBlock);
  file->put_int(blockSize);
  file->put_int(maxEntry);
  if (numKeys > 0) {
    file->mem_point("Block keys");
    file->write(bytes_of(numKeys), blockKey, ARRAY_ALIGNMENT);
  }
  if (numBlock > 0) {
    file->mem_point("Block offsets");
    file->write(bytes_of(numBlock), blockStart, ARRAY_ALIGNMENT);
  }
  file->mem_close();
  return 0;
}

VInt BlockIndex::read(AceFile* file) {
  clean();
  numKeys = file->get_large();
  numBlock = file->get_large();
  blockSize = file->get_large();
  maxEntry = file->get_large();
  fileMapped = file->is_mapped() ? 1 : 0;
  if (numKeys > 0)
    blockKey = static_cast<const Large*>(file->read(bytes_of(numKeys), &memAt, ARRAY_ALIGNMENT));
  if (numBlock > 0)
    blockStart = static_cast<const Large*>(file->read(bytes_of(numBlock), &memAt, ARRAY_ALIGNMENT));
  if (has_sound_numbers()) return 0;
  AceReporter::use_default()->printf(
      "Block index that ends at offset %ld is broken: %u keys, %u block offsets, %u positions, largest key "
      "%u "
      "do not belong together\n",
      file->get_pos(), numKeys, numBlock, blockSize, maxEntry);
  clean();
  return -1;
}

/// What can be told without a look at all of the arrays.
bool BlockIndex::has_sound_numbers() const {
  if (numKeys == 0) return numBlock == 0 && (blockSize == 0 || blockSize - 1 == maxEntry);
  if (blockKey == nullptr) return false;
  if (numBlock == 0) return blockSize == numKeys && blockKey[numKeys - 1] == maxEntry;
  return blockStart != nullptr && numBlock - 1 == numKeys && blockStart[0] == 0 &&
         blockStart[numKeys] == blockSize;
}

int BlockIndex::verify(AceReporter* rep) const {
  if (has_sound_numbers() && has_sound_arrays()) return 0;
  rep->printf("Block index is broken: its %u keys or %u block offsets do not ascend as they should\n",
              numKeys, numBlock);
  return -1;
}

bool BlockIndex::has_sound_arrays() const {
  if (numKeys == 0) return true;
  if (numBlock == 0) {
    const bool isAscending =
        std::adjacent_find(blockKey, blockKey + numKeys, std::greater_equal<>()) == blockKey + numKeys;
    return isAscending;
  }
  for (Large i = 0; i < numKeys; ++i) {
    if (blockStart[i + 1] <= blockStart[i]) return false;
    const Large last = blockStart[i + 1] - blockStart[i] - 1;  // offset of the block's last key
    const Large limit = i + 1 < numKeys ? blockKey[i + 1] - 1 : maxEntry;
    if (blockKey[i] > limit || last > limit - blockKey[i]) return false;
    if (i + 1 < numKeys && blockKey[i + 1] <= blockKey[i]) return false;
    if (i + 1 == numKeys && blockKey[i] + last != maxEntry) return false;
  }
  return true;
}
