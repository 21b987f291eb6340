#include "ace/ace_bits.h"

#include <cstring>
#include <new>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"

namespace {

constexpr int WORD_SIZE = 8;

int rounded_width(int bits, VInt size) {
  if (bits == 0) return size > 0 ? 1 : 0;
  if (bits == 7) return 8;
  if (bits >= 14 && bits <= 16) return 16;
  if (bits >= 28 && bits <= 32) return 32;
  return bits >= 56 ? 64 : bits;
}

/// Words that hold `size` elements; -1 when their bits cannot be counted.
VInt words_for(int bits, VInt size) {
  VInt all = 0;
  if (__builtin_mul_overflow(bits, size, &all)) return -1;
  return all / AceBits::MAX_BITS + (all % AceBits::MAX_BITS != 0 ? 1 : 0);
}

}  // namespace

int AceBits::prepare(int bits, VInt size) {
  clean();
  if (bits < 0 || bits > MAX_BITS) return -1;
  if (size < 0) size = 0;
  bits = rounded_width(bits, size);
  const VInt words = words_for(bits, size);
  if (words < 0) throw std::bad_alloc();
  if (words > 0) memAt.malloc(bitArray, words);
  set_width(bits);
  numIndices = size;
  arrSize = words;
  return clear_all();
}

void AceBits::clean() {
  memAt.release();
  set_width(0);
  numIndices = arrSize = 0;
  bitArray = nullptr;
  fileMapped = 0;
}

void AceBits::set_width(int bits) {
  numBits = bits;
  posMask = bits > 0 ? ~VUint{0} >> (MAX_BITS - bits) : 0;
  negMask = bits > 0 ? ~VUint{0} << (bits - 1) : 0;
}

int AceBits::set(VInt index, VUint value) {
  if (!has(index) || fileMapped != 0) return -1;
  value &= posMask;
  const VUint start = start_of(index);
  const VUint shift = start % WORD_BITS;
  VUint* word = bitArray + start / WORD_BITS;
  *word = (*word & ~(posMask << shift)) | value << shift;
  if (shift + static_cast<VUint>(numBits) > WORD_BITS) {
    const VUint written = WORD_BITS - shift;
    word[1] = (word[1] & ~(posMask >> written)) | value >> written;
  }
  return 0;
}

int AceBits::fill(int byte) {
  if (fileMapped != 0) return -1;
  if (arrSize > 0) std::memset(bitArray, byte, static_cast<std::size_t>(arrSize) * WORD_SIZE);
  return 0;
}

int AceBits::set_all() {
  return fill(0xFF);
}

int AceBits::clear_all() {
  return fill(0);
}

VInt AceBits::search(VUint value, int mode) const {
  if (numBits == 0) return -1;
  VInt first = 0;  // all elements before are smaller
  VInt end = numIndices;
  while (first < end) {
    const VInt middle = first + (end - first) / 2;
    if (get(middle) < value)
      first = middle + 1;
    else
      end = middle;
  }
  if (has(first) && get(first) == value) return first;
  if (mode == 0) return -1;
  return mode > 0 ? first : first - 1;
}

VInt AceBits::save(AceFile* file) const {
  file->mem_open("Variable Bit Array");
  file->mem_info("Number of bits: %d", numBits);
  file->mem_info("Number of indices: %ld", numIndices);
  file->mem_info("Array size: %ld", arrSize);
  file->put_int(numBits);
  file->put_vint(numIndices);
  file->put_vint(arrSize);
  if (arrSize > 0) file->write(arrSize * WORD_SIZE, bitArray, WORD_SIZE);
  file->mem_close();
  return 0;
}

VInt AceBits::read(AceFile* file) {
  clean();
  const int bits = file->get_int();
  if (bits < 0) return ace_error(__FILE__, __LINE__, "numBits = file->get_int()", bits, 0, -1);
  const VInt size = file->get_vint();
  const VInt words = file->get_vint();
  const bool isSound = !file->is_short() && bits <= MAX_BITS && size >= 0 && words >= 0 &&
                       (bits > 0 || size == 0) && words == words_for(bits, size);
  if (isSound && words > 0) bitArray = file->read_array<VUint>(words, &memAt, WORD_SIZE);
  if (!isSound || (words > 0 && bitArray == nullptr)) {
    AceReporter::use_default()->printf(
        "Bit array at offset %ld is cut or broken: %ld elements of %d bits in %ld words of 64 bits\n",
        file->get_pos(), size, bits, words);
    return -1;
  }
  set_width(bits);
  numIndices = size;
  arrSize = words;
  fileMapped = file->is_mapped() ? 1 : 0;
  return numIndices;
}
