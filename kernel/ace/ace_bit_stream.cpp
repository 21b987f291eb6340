#include "ace/ace_bit_stream.h"

#include <algorithm>
#include <cstdlib>

namespace {

constexpr int FLUSH_BITS = 32;
constexpr int BYTE_BITS = 8;

}  // namespace

void BitStream::put(Bit value, int nbits) {
  bitPat |= (value & ((VUint{1} << nbits) - 1)) << bitPos;
  bitPos += nbits;
  if (bitPos < FLUSH_BITS) return;
  const auto word = static_cast<Large>(bitPat);
  std::memcpy(curPos, &word, sizeof word);
  curPos += sizeof word;
  bitPat >>= FLUSH_BITS;
  bitPos -= FLUSH_BITS;
}

int BitStream::put(HuffmanTree* tree, Bit symbol) {
  Bit code = 0;
  const int length = tree->search(symbol, &code);
  if (length > 0) put(code, length);
  return length;
}

void BitStream::set(Bit pattern, int pos) {
  bitPat = 0;
  bitPos = 0;
  put(pattern, pos);
}

VInt BitStream::end() {
  for (; bitPos > 0; bitPos -= BYTE_BITS, bitPat >>= BYTE_BITS) *curPos++ = static_cast<Token>(bitPat);
  bitPos = 0;
  bitPat = 0;
  const VInt length = curPos - bufBeg;
  bufBeg = curPos;
  return length;
}

VInt BitStream::rev() {
  Token* start = bufBeg;
  const VInt length = end();
  std::reverse(start, start + length);
  return length;
}

Bit BitSource::rnd(const HuffmanTree* tree) const {
  const auto byte = [] { return static_cast<Bit>(std::rand()) >> BYTE_BITS; };
  Bit entry = byte() & static_cast<Bit>(tree->accessMask);
  while ((tree->helpArray[entry] & HuffmanTree::SUB_TABLE) != 0) {
    const Bit mask = (Bit{1} << (tree->helpArray[entry] & HuffmanTree::SUB_TABLE_MASK)) - 1;
    entry = tree->infoArray[entry] + (byte() & mask);
  }
  return tree->infoArray[entry];
}
