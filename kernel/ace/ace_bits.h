/// Array of unsigned numbers of one width, 1 to 64 bits, packed into 64-bit words.
///
/// Element i takes the bits i x width and up of the words, the least significant bit of each word first, and
/// goes on in the next word where it does not fit:
///
///     width 5      word 0                                        word 1
///     bits         0...4   5...9   ...   55..59   60......63     0             1...5
///     element      0       1             11       12, low bits   12, high bit  13
///
/// The widths 1, 2, 4, 8, 16, 32 and 64 never straddle two words, and widths close below one of the larger of
/// them are rounded up to it.
///
/// Payload of `save`, in order:
///
///     numBits     int           width, 0..64; 0 only without elements
///     numIndices  VInt          number of elements, 0 or more
///     arrSize     VInt          number of words, as many as the elements need and no more
///     bitArray    arrSize x 8   if arrSize > 0; aligned to 8
///
/// Errors: an index out of range reads as 0, and setting it is refused. An array read from a mapping is not
/// written to. More bits than a `VInt` counts throw `std::bad_alloc`.
/// Thread safety: any number of threads may read an array that nobody changes.
/// Cost: O(1) per element; `search` is a binary search.
#pragma once

#include <bit>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class AceFile;

class SORV_API AceBits {
 public:
  static constexpr int MAX_BITS = 64;

  AceBits() = default;
  /// As `prepare`; a width that it refuses leaves the array empty.
  AceBits(int bits, VInt size) { prepare(bits, size); }
  AceBits(const AceBits&) = delete;
  AceBits& operator=(const AceBits&) = delete;

  /// `size` elements (a negative number is 0) of `bits` bits, all 0, in place of what there was. The width
  /// becomes 1 for 0, 8 for 7, 16 for 14 and 15, 32 for 28 and more, 64 for 56 and more; without elements, 0
  /// stays 0. Returns 0; or -1, and the array is empty, for a width that is not 0..64.
  int prepare(int bits, VInt size);
  /// Becomes empty, of width 0.
  void clean();

  /// Stores the low bits of a value. Returns 0; -1 for an index out of range or a mapped array.
  int set(VInt index, VUint value);
  VUint get(VInt index) const;
  /// The element with its highest bit as the sign.
  VInt get_signed(VInt index) const;
  /// Every bit becomes 1, or 0. Return 0; -1 for a mapped array.
  int set_all();
  int clear_all();
  /// Finds a value in an array whose elements ascend: its first index. When it is not there: for mode 0, -1;
  /// above, the index of the first larger element (the number of elements when there is none); below, the
  /// index before that (-1 when there is none). An array of width 0 always gives -1.
  VInt search(VUint value, int mode) const;

  VInt get_num_keys() const { return numIndices; }
  int get_num_bits() const { return numBits; }
  /// The largest value that an element can hold.
  VUint get_max_value() const { return posMask; }
  /// The number of bits of all elements.
  VInt all_bits() const { return numBits * numIndices; }
  /// The number of bits that a value takes; 0 for 0.
  static int num_bits(VUint value) { return static_cast<int>(std::bit_width(value)); }

  // Persistence. `save` returns 0; `read` the number of elements, or -1, and an empty array, for what is not
  // a payload.

  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

 private:
  static constexpr VUint WORD_BITS = 64;

  bool has(VInt index) const { return static_cast<VUint>(index) < static_cast<VUint>(numIndices); }
  VUint start_of(VInt index) const { return static_cast<VUint>(index) * static_cast<VUint>(numBits); }
  void set_width(int bits);
  int fill(int byte);

  int numBits = 0;
  VInt numIndices = 0;
  VInt arrSize = 0;
  VUint posMask = 0;          // the bits of a value
  VUint negMask = 0;          // the sign bit of a value and those above
  VUint* bitArray = nullptr;  // arrSize words
  int fileMapped = 0;         // they lie in a mapping
  AceAttach memAt;            // holds them otherwise
};

inline VUint AceBits::get(VInt index) const {
  if (!has(index)) return 0;
  const VUint start = start_of(index);
  const VUint shift = start % WORD_BITS;
  const VUint* word = bitArray + start / WORD_BITS;
  VUint value = *word >> shift;
  if (shift + static_cast<VUint>(numBits) > WORD_BITS) value |= word[1] << (WORD_BITS - shift);
  return value & posMask;
}

inline VInt AceBits::get_signed(VInt index) const {
  const VUint value = get(index);
  return static_cast<VInt>((value & negMask) != 0 ? value | negMask : value);
}
