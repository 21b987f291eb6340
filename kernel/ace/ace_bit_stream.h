/// Streams of bits: plain bit fields and symbols of Huffman codes, back to back.
///
/// The first bit of a stream is bit 0 of its first byte; the last byte is filled up with zero bits. A stream
/// whose bytes were reversed (`BitStream::rev`) is read from its end, so that two streams can share one block
/// from both sides.
///
/// A stream has no mark of its end: its owner knows how many symbols it has written. `BitSource` is told how
/// many bytes there are; behind them it reads zero bits, and `end` counts what was missing.
///
/// Thread safety: a stream belongs to one thread.
/// Cost: reading a symbol is one table look-up per 8 bits of its code; bytes are loaded eight at a time.
#pragma once

#include <cstring>

#include "ace/ace_huffman.h"
#include "ace/ace_types.h"

/// Writes into a buffer of the caller, who vouches for the room: a byte for every 8 bits begun, and never
/// more.
class SORV_API BitStream {
 public:
  explicit BitStream(Token* buffer) : curPos(buffer), bufBeg(buffer) {}

  /// Appends the low `nbits` (0..32) bits of `value`.
  void put(Bit value, int nbits);
  /// Appends a symbol's code. Returns its length; -1, and nothing is written, for an unknown symbol.
  int put(HuffmanTree* tree, Bit symbol);
  /// Replaces the bits that wait to be written by the low `pos` (0..31) bits of `pattern`.
  void set(Bit pattern, int pos);
  /// Ends the stream; the next one starts behind it. Returns the number of its bytes.
  VInt end();
  /// The same, and reverses the stream's bytes.
  VInt rev();

 private:
  VUint bitPat = 0;  // the bits that wait, fewer than 32 between calls
  int bitPos = 0;    // their number
  Token* curPos;
  Token* bufBeg;  // of the present stream
};

class SORV_API BitSource {
 public:
  /// The size of a stream of which only the owner knows that enough of it is there.
  static constexpr VInt UNCHECKED = -1;

  BitSource() = default;
  explicit BitSource(const Token* start, short rev = 0, VInt size = UNCHECKED) { init(start, rev, size); }

  /// Reads `size` bytes from `start` on; with `rev`, those before `start`, the last one first. Bytes behind
  /// are never touched. With `UNCHECKED`, no byte is touched before a bit of it is needed.
  void init(const Token* start, short rev = 0, VInt size = UNCHECKED);
  /// Goes on where the other one is, which stays there.
  void init(const BitSource* other) { *this = *other; }

  /// The next `nbits` (0..32) bits.
  Bit get(int nbits);
  /// The next symbol.
  Bit get(const HuffmanTree* tree);
  /// A random symbol, from the random bits of `rand`: one of code length n comes up every 2^n times. The
  /// stream stays where it is.
  Bit rnd(const HuffmanTree* tree) const;
  /// Ends reading. Returns the number of bytes of which bits were read; more than there are when the stream
  /// was too short.
  VInt end();

 private:
  static constexpr short BYTE_BITS = 8;
  static constexpr short FULL_BITS = 32;  // enough for any code or field
  static constexpr VInt WORD_SIZE = 8;

  bool fill();
  void load_byte();
  void drop(int nbits) {
    bitPat >>= nbits;
    bitPos = static_cast<short>(bitPos - nbits);
  }
  Bit get_bytewise(const HuffmanTree* tree);

  VUint bitPat = 0;   // loaded bits; above bitPos either zero or those that come next
  short bitPos = 0;   // their number
  short revFlag = 0;  // reads towards lower addresses
  const Token* curPos = nullptr;
  const Token* bufBeg = nullptr;
  VInt bytesLeft = 0;     // behind curPos; or UNCHECKED
  VInt bytesMissing = 0;  // loaded as zero behind the end
};

// All of the reader is inline, so that a loop keeps a local reader in registers.

inline void BitSource::init(const Token* start, short rev, VInt size) {
  bitPat = 0;
  bitPos = 0;
  revFlag = rev;
  curPos = bufBeg = start;
  bytesLeft = size;
  bytesMissing = 0;
}

/// Makes sure of `FULL_BITS` loaded bits; false when only single bytes may be loaded.
inline bool BitSource::fill() {
  if (bitPos >= FULL_BITS) return true;
  if (bytesLeft < WORD_SIZE) return false;
  VUint word = 0;
  const int bytes = (63 - bitPos) / BYTE_BITS;
  if (revFlag == 0) {
    std::memcpy(&word, curPos, sizeof word);
    curPos += bytes;
  } else {
    std::memcpy(&word, curPos - WORD_SIZE, sizeof word);
    word = __builtin_bswap64(word);
    curPos -= bytes;
  }
  // What does not fill a byte is loaded again next time, to the same bits.
  bitPat |= word << bitPos;
  bitPos = static_cast<short>(bitPos + bytes * BYTE_BITS);
  bytesLeft -= bytes;
  return true;
}

inline void BitSource::load_byte() {
  VUint byte = 0;
  if (bytesLeft == 0) {
    ++bytesMissing;
  } else {
    byte = revFlag == 0 ? *curPos++ : *--curPos;
    if (bytesLeft > 0) --bytesLeft;
  }
  bitPat |= byte << bitPos;
  bitPos = static_cast<short>(bitPos + BYTE_BITS);
}

inline Bit BitSource::get(int nbits) {
  if (!fill())
    while (bitPos < nbits) load_byte();
  const VUint value = bitPat & ((VUint{1} << nbits) - 1);
  drop(nbits);
  return static_cast<Bit>(value);
}

inline Bit BitSource::get(const HuffmanTree* tree) {
  if (!fill()) return get_bytewise(tree);
  VUint entry = bitPat & static_cast<VUint>(tree->accessMask);
  unsigned help = tree->helpArray[entry];
  while ((help & HuffmanTree::SUB_TABLE) != 0) [[unlikely]] {
      drop(HuffmanTree::TABLE_BITS);
      const VUint mask = (VUint{1} << (help & HuffmanTree::SUB_TABLE_MASK)) - 1;
      entry = tree->infoArray[entry] + (bitPat & mask);
      help = tree->helpArray[entry];
    }
  drop(static_cast<int>(help));
  return tree->infoArray[entry];
}

/// The same, but an entry counts only once all bits that it takes are loaded.
inline Bit BitSource::get_bytewise(const HuffmanTree* tree) {
  VUint base = 0;
  VUint mask = static_cast<VUint>(tree->accessMask);
  for (;;) {
    const VUint entry = base + (bitPat & mask);
    const unsigned help = tree->helpArray[entry];
    const bool isSub = (help & HuffmanTree::SUB_TABLE) != 0;
    const int taken = isSub ? HuffmanTree::TABLE_BITS : static_cast<int>(help);
    if (bitPos < taken) {
      load_byte();
      continue;
    }
    drop(taken);
    if (!isSub) return tree->infoArray[entry];
    base = tree->infoArray[entry];
    mask = (VUint{1} << (help & HuffmanTree::SUB_TABLE_MASK)) - 1;
  }
}

inline VInt BitSource::end() {
  const VInt loaded = (revFlag == 0 ? curPos - bufBeg : bufBeg - curPos) + bytesMissing;
  const VInt read = loaded - bitPos / BYTE_BITS;
  init(nullptr, 0, 0);
  return read;
}
