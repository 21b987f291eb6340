#include "ace/ace_flags.h"

#include <cstring>

#include "ace/ace_file.h"
#include "ace/ace_reporter.h"

namespace {

constexpr int WORD_SIZE = 8;

}  // namespace

VInt AceFlags::init(VInt size) {
  clean();
  if (size <= 0) return 0;
  const VInt words = words_for(size);
  memAt.malloc(bitArray, words);
  numIndices = size;
  arrSize = words;
  clear_all();
  return arrSize;
}

void AceFlags::clean() {
  memAt.release();
  numIndices = arrSize = 0;
  bitArray = nullptr;
  fileMapped = 0;
}

int AceFlags::set(VInt index) {
  if (!may_change(index)) return -1;
  bitArray[index / WORD_BITS] |= bit_of(index);
  return 0;
}

int AceFlags::clear(VInt index) {
  if (!may_change(index)) return -1;
  bitArray[index / WORD_BITS] &= ~bit_of(index);
  return 0;
}

int AceFlags::fill(int byte) {
  if (fileMapped != 0) return -1;
  if (arrSize > 0) std::memset(bitArray, byte, static_cast<std::size_t>(arrSize) * WORD_SIZE);
  return 0;
}

int AceFlags::set_all() {
  return fill(0xFF);
}

int AceFlags::clear_all() {
  return fill(0);
}

VInt AceFlags::save(AceFile* file) const {
  file->mem_open("Simple Flag Array");
  file->mem_info("Number of indices: %ld", numIndices);
  file->mem_info("Array size: %ld", arrSize);
  file->put_vint(numIndices);
  file->put_vint(arrSize);
  if (arrSize > 0) file->write(arrSize * WORD_SIZE, bitArray, WORD_SIZE);
  file->mem_close();
  return 0;
}

VInt AceFlags::read(AceFile* file) {
  clean();
  const VInt size = file->get_vint();
  const VInt words = file->get_vint();
  const bool isSound = !file->is_short() && size >= 0 && words == words_for(size);
  if (isSound && words > 0) bitArray = file->read_array<VUint>(words, &memAt, WORD_SIZE);
  if (!isSound || (words > 0 && bitArray == nullptr)) {
    AceReporter::use_default()->printf(
        "Flag array at offset %ld is cut or broken: %ld flags in %ld words of 64 bits\n", file->get_pos(),
        size, words);
    return -1;
  }
  numIndices = size;
  arrSize = words;
  fileMapped = file->is_mapped() ? 1 : 0;
  return numIndices;
}
