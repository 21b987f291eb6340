/// Static Huffman codes: frequencies are gathered first, one code is built from them and saved with what it
/// coded. ace_bit_stream.h writes and reads the coded symbols.
///
/// A code is a set of decoding tables in two arrays, so that one look-up decodes up to 8 bits. The first
/// table is indexed by the next `codeDepth` bits of the stream, the first of them in bit 0:
///
///     helpArray    infoArray       the entry's bits
///     0..8         symbol          start with the symbol's code, of which so many bits are left
///     0x80 | w     index           lead to a table of 2^w entries at that index; all 8 bits are used up
///
///     codes     a 0    b 10    c 11        (the first bit in front)
///     index     0      1       2      3
///     bits      00     10      01     11   (the first bit in front)
///     help      1      2       1      2
///     info      a      b       a      c
///
/// Payload of `save` ("THUFF"), in order:
///
///     magic       THUFF
///     codeDepth   int             width of the first table, 0..8
///     accessMask  int             2^codeDepth - 1
///     arraySize   int             entries of all tables; 0 in a code that was never made
///     numCodes    int             number of symbols
///     numInserts  int             sum of the frequencies, its low 32 bits
///     numBits     VInt            bits of all coded symbols, 0 or more
///     helpArray   arraySize       if arraySize > 0; aligned to 8
///     infoArray   arraySize x 4   if arraySize > 0; aligned to 8
///
/// `read` checks, in time linear in the tables, all that decoding relies on: every table is complete, belongs
/// to one entry of one other, and none leads further than `MAX_CODE_BITS`.
///
/// Errors: see each function; memory exhaustion throws `std::bad_alloc`.
/// Thread safety: a finished code decodes in any number of threads. The encoding index is built by the first
/// `prepare`, `search` or `length`; from then on any number of threads may encode, too.
/// Source: D. A. Huffman, Proc. IRE 40(9), 1952; the pairing within a level as in E. S. Schwartz, B. Kallick,
/// Comm. ACM 7(3), 1964.
#pragma once

#include <span>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_avl_map.h"
#include "ace/ace_check_type.h"
#include "ace/ace_dyn_heap.h"
#include "ace/ace_types.h"

class AceFile;
class AceFlags;
class AceReporter;

using Bit = std::uint32_t;  ///< a symbol, or bits of a code with the first in bit 0

/// A node while a code is built: a symbol, or two nodes below.
class SORV_API HuffmanItem : public AceCheckType<HuffmanItem> {
 public:
  HuffmanItem(int symbol, VInt freq) : bitWord(symbol), totalFreq(freq) {}

  bool is_leaf() const { return leftSon == nullptr; }
  /// A new node above this one (left) and `other` (right), in `at` or free-standing.
  HuffmanItem* merge(HuffmanItem* other, AceAttach* at = nullptr);
  /// Adds the leaves below to `counts`, which has an element for each depth; this node's is `depth`.
  void count(VInt* counts, int depth = 0) const;
  /// The root of a tree with as many leaves in each depth as below this node, in `at`: the first of `leaves`
  /// are the deepest, and the nodes of a level, leaves first, are paired from left to right.
  HuffmanItem* reorg(const std::vector<HuffmanItem*>& leaves, AceAttach* at) const;

  int bitWord;                      ///< the symbol of a leaf
  int codeDepth = 0;                ///< height: 0 for a leaf
  HuffmanItem* leftSon = nullptr;   ///< behind a 0 bit
  HuffmanItem* rightSon = nullptr;  ///< behind a 1 bit
  VInt totalFreq;                   ///< sum of the frequencies of the leaves
};

using HuffmanItems = AVLMap<HuffmanItem*>;

/// The least frequent item first. Also the attach that the items lie in.
class HuffmanHeap : public DynHeap<HuffmanItem*> {
 public:
  HuffmanHeap() : DynHeap<HuffmanItem*>(cmp_items) {}

  static int cmp_items(HuffmanItem* first, HuffmanItem* second) {
    if (first->totalFreq == second->totalFreq) return 0;
    return first->totalFreq > second->totalFreq ? 1 : -1;
  }
};

/// Frequencies of symbols.
class SORV_API HuffmanStat {
 public:
  HuffmanStat() = default;
  HuffmanStat(const HuffmanStat&) = delete;
  HuffmanStat& operator=(const HuffmanStat&) = delete;

  /// `count` more occurrences; a count below 1 is ignored. Returns 0; -1, and nothing changes, when the sum
  /// would exceed 63 bits.
  int insert(int symbol, VInt count);
  /// The number of distinct symbols.
  int size() const { return codeSet.num_elements(); }
  /// The largest frequency, 0 without symbols.
  VInt get_max() const;
  /// The sum of all frequencies.
  VInt get_sum() const { return numInserts; }
  /// Walks all symbols and checks that their frequencies add up. Returns 0, or -1.
  int stat() const;
  void clean();
  /// Moves all symbols, in ascending order (unsigned), into the heap. Returns the low 32 bits of the sum of
  /// their frequencies.
  int collect(HuffmanHeap* heap);

 private:
  VInt numInserts = 0;
  HuffmanItems codeSet;
  AceAttach memAt;  // the items
};

/// A code.
class SORV_API HuffmanTree {
 public:
  static constexpr int MAX_CODE_BITS = 31;
  static constexpr int TABLE_BITS = 8;          ///< the widest table
  static constexpr Tiny SUB_TABLE = 0x80;       ///< the mark of an entry that leads to another table
  static constexpr Tiny SUB_TABLE_MASK = 0x7F;  ///< the width in such an entry

  /// Called with a symbol, its code and its code's length. The results are added up.
  using CodeFunction = int(Bit symbol, Bit code, int length, void* data);

  /// Decodes everything as symbol 0, without bits.
  HuffmanTree() = default;
  HuffmanTree(const HuffmanTree&) = delete;
  HuffmanTree& operator=(const HuffmanTree&) = delete;

  /// Builds the code and empties the statistics. Without symbols, and with one, the code has no bits and
  /// decodes as 0, or as the one. Returns the bits that all symbols take with their frequencies; -1, and no
  /// code, when one would take more than `MAX_CODE_BITS`.
  VInt make(HuffmanStat* stat);
  void clean();
  /// Becomes the code of tables that live as long as it does; see above, the first of `width` bits. They must
  /// be complete.
  void borrow(std::span<const Tiny> help, std::span<const Bit> info, int width, int num_codes);

  // Encoding.

  /// Builds the encoding index, once. Returns the number of symbols; -1 when tables and number differ.
  int prepare();
  /// The length of a symbol's code, and its bits in `*code` unless that is null; -1 for an unknown symbol.
  int search(Bit symbol, Bit* code);
  int length(Bit symbol) { return search(symbol, nullptr); }

  // Decoding, apart from `BitSource::get`.

  /// The symbol whose code starts in bit 0 of the first byte. Reads no byte that the code does not reach.
  Bit first(const char* bytes) const;

  // Persistence. Return 0; `read` -1, and no code, for what is not a payload.

  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

  // Diagnostics. A null reporter writes nothing.

  /// The number of entries of all tables.
  int size() const { return arraySize; }
  int get_num_codes() const { return numCodes; }
  VInt get_num_bits() const { return numBits; }
  /// Sizes and averages. Returns the bits of all coded symbols.
  VInt print(AceReporter* rep) const;
  /// A line per symbol, with its code's 0 bits as "0" and 1 bits as "X". Returns the number of symbols.
  int write(AceReporter* rep) const;
  /// Calls `callback` for every symbol, in the order of the tables. Returns the sum of its results.
  int action(CodeFunction* callback, void* data) const;

 private:
  friend class BitSource;

  static constexpr Tiny NO_HELP[1] = {0};
  static constexpr Bit NO_INFO[1] = {0};

  VInt measure(const HuffmanItem* item, int level, int width) const;
  void enter(const HuffmanItem* item, int width, Bit base, Bit prefix, int level);
  int sub(CodeFunction* callback, void* data, Bit base, int width, Bit code, int length) const;
  int gather();
  bool check_table(VInt base, int width, int length, AceFlags* claimed, VInt* found) const;
  VInt read_payload(AceFile* file);
  const char* check_head() const;
  const char* check_tables() const;
  int refuse(const AceFile* file, const char* reason);

  const Tiny* helpArray = NO_HELP;
  const Bit* infoArray = NO_INFO;
  int accessMask = 0;
  int codeDepth = 0;
  int arraySize = 0;
  int numInserts = 0;
  VInt numBits = 0;
  int numCodes = 0;
  int fileMapped = 0;  // the arrays lie in a mapping
  AceAttach memAt;     // holds them otherwise, and the encoding index

  Tiny* newHelp = nullptr;  // building: helpArray
  Bit* newInfo = nullptr;   // building: infoArray

  Bit* searchBit = nullptr;    // encoding index: the symbols, ascending; null until prepared
  Bit* bitCode = nullptr;      // their codes
  Tiny* codeLength = nullptr;  // and their lengths
};
