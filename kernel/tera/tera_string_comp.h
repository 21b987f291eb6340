/// Compressed strings: Huffman codes for bytes, each in the context of the byte before it.
///
/// Strings are coded in blocks. A block is a stream of bits (ace_bit_stream.h) that starts at a byte: for one
/// string after the other, its length, and then its bytes, the first one in context 0. There are `numTrees`
/// codes, and the code behind byte c is number c modulo `numTrees`. No terminators are stored.
///
/// Every code of bytes has at least one bit per byte, so that a string is never longer than the bits of its
/// block are many: what claims to be is damaged, and no memory is asked for it.
///
/// Saved form:
///
///     numTrees    int      1 to 256
///     compSize    VInt     bits of all coded strings, 0 or more
///     lengthTree  THUFF    (ace_huffman.h); symbols from 0 on
///     tokenTree   THUFF    `numTrees` times; symbols below 256; 0 stands in no string
///
/// Decoding takes one table look-up per byte: the first tables of all codes are copied into one array, whose
/// entries hold a byte and the length of its code together.
///
/// Thread safety: a coder is constant once made or read, except for `code`, which belongs to one thread.
#pragma once

#include <array>
#include <map>
#include <memory>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_huffman.h"
#include "ace/ace_types.h"

class AceFile;
class AceReporter;

class SORV_API StringComp {
 public:
  static constexpr int NUM_BYTES = 256;

  StringComp();
  StringComp(const StringComp&) = delete;
  StringComp& operator=(const StringComp&) = delete;
  ~StringComp();

  /// The bits that a block of these strings takes; -1 when one of them cannot be coded.
  VInt measure(const char* const* strings, int count);
  /// Writes a block, which takes the bytes of `measure` rounded up. Returns their number; -1, with part of
  /// the block written, when a string cannot be coded.
  VInt code(const char* const* strings, int count, Token* out);

  /// Decodes the first `count` strings of a block of `size` bytes; they lie in `at`. Returns the number of
  /// strings decoded; those from the first damaged one on are empty.
  int decode(const Token* block, VInt size, int count, char** out, AceAttach* at) const;
  /// String number `index` of a block of `size` bytes, in `at`, and its length in `*length` unless that is
  /// null; an empty one when it is damaged. Never null.
  char* decode_one(const Token* block, VInt size, int index, VInt* length, AceAttach* at) const;

  VInt save(AceFile* file) const;
  /// Returns 0; or -1, explained on the default reporter, for what is not a coder. Tables of long codes stay
  /// in a mapped file, which must live as long as the coder.
  VInt read(AceFile* file);

  /// Bits of all strings that the coder was made for.
  VInt get_comp_size() const { return compSize; }
  int get_num_trees() const { return numTrees; }

 private:
  friend class StringStats;
  class Decoder;
  struct LengthCode {
    Bit length = 0;  // of the string
    int bits = -1;   // of the code; -1 where it goes on
  };

  const char* fill_tables();
  int refuse(const AceFile* file, const char* reason) const;

  std::unique_ptr<HuffmanTree[]> tokenTree;
  HuffmanTree lengthTree;
  int numTrees = 0;
  VInt compSize = 0;
  /// By preceding byte and the next 8 bits: the number of bits of the code, and above it the byte, where it
  /// starts the index of the next entry; 0 where the code goes on, and for byte 0.
  std::unique_ptr<Small[]> byteTable;
  std::unique_ptr<Tiny[]> codeLength;  // by preceding byte and byte; 0 where there is no code
  std::array<LengthCode, NUM_BYTES> lengthTable;
  std::map<Bit, int> lengthBits;  // of the codes of all lengths
};

/// Frequencies of bytes in their contexts, and of lengths.
class SORV_API StringStats {
 public:
  /// `contexts`: the number of codes, moved into 1..256.
  explicit StringStats(int contexts);
  StringStats(const StringStats&) = delete;
  StringStats& operator=(const StringStats&) = delete;

  /// Counts one string. Returns 0, or -1 for one of more than 2 GiB.
  int insert(const char* string);
  /// The coder for these strings, which the caller owns. Frequencies that would make a code too deep are
  /// evened out until it fits. Nothing is reported. Never null.
  StringComp* make(AceReporter* rep) const;

 private:
  using ByteCounts = std::array<VInt, StringComp::NUM_BYTES>;

  std::vector<ByteCounts> tokenStat;  // per context
  std::map<int, VInt> lengthStat;
  int numStat;
};
