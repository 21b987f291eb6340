/// String index: an array of strings by entry id (0..n-1), back to back in one heap.
///
/// Three forms:
///
///     plain        entryStart: per string its offset in bytes        heap: terminated strings
///     int-aligned  entryStart: per string its offset / 4             heap: the same, each at a multiple of 4
///     compressed   entryStart: per block its offset in bytes         heap: blocks of `blockSize` strings,
///                                                                    see tera_string_comp.h
///
/// A heap is built int-aligned when it is larger than the trace flag "INDEX_ALIGN_THRESHOLD_KB" says in KiB;
/// while that is not positive, when it is larger than 4 GiB - 1. An int-aligned heap can have 16 GiB. A heap
/// whose strings overlap so much that they cannot lie side by side in four times its size stays plain.
///
/// A heap can be sorted by a collation (tera_collation.h) and is then searched by it. The order is kept by
/// whoever changes the heap: `update` leaves the collation as it is.
///
/// Payload of `save` ("TIDX"), in order:
///
///     magic           TIDX
///     heapMode        int
///     numEntry        unsigned int
///     blockSize       int            1; in a compressed heap 1, 2, 4, 8, 16 or 32
///     bufferUsedSize  VInt           0 or more
///     compressed      int            0 or 1
///     intAligned      1 byte         0 or 1; 0 in a compressed heap
///     coder           StringComp     if compressed
///     entryStart      n x 4          n = num_blocks(); aligned to 8
///     entryBuffer     bufferUsedSize aligned to 8
///     collation       string         its name; null when unsorted
///
/// `read` checks the numbers and that a heap of strings ends with a zero byte, in constant time. What reads
/// strings checks where: one whose offset is not in the heap is empty. `verify` checks all offsets, in one
/// pass. A mapped file is used in place; what changes the heap makes a copy first.
///
/// Errors: negative results, explained on the reporter given, or on the default reporter. Memory exhaustion
/// throws `std::bad_alloc`.
/// Thread safety: a finished index may be read by any number of threads, each with an attach of its own.
/// Cost: a plain string is two loads away; one of a compressed heap decodes its block up to it.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_big_tree.h"
#include "ace/ace_types.h"
#include "ace/ace_wrap.h"

class AceReporter;
class StringComp;
class TeraCollation;
class TeraReader;

class SORV_API TeraIndex : public AceWrap {
 public:
  /// What searches return for "not found", and some others for errors.
  static constexpr Large NONE = ~Large{0};

  TeraIndex();
  /// Empty, with room for `num` strings and a heap of `heap` bytes.
  TeraIndex(int num, VInt heap);
  ~TeraIndex() override;

  /// Becomes empty, with room as above. Returns 0, or -1 for a negative number.
  int init(int num, VInt heap);
  /// Becomes empty.
  void clean();

  // Building: replaces what there was.

  /// An entry for each line of a text file (LF, CR LF or CR; compressed: LF, trailing CRs removed, and lines
  /// cut into pieces of 4095 bytes). Returns 0; -2 when there is no such file (a warning); or -1. A file that
  /// ends before its size throws an `AceException`.
  int make(const char* filename, bool compress, AceReporter* rep);
  /// An entry for each string; null ones are empty. With `sorted` they are sorted by the "ascii" collation.
  /// Returns 0 or -1.
  int make(int num, const char** strings, bool compress, int sorted, AceReporter* rep);
  /// The same as that and `optimize`, for strings that are distinct but for null and empty ones.
  int make_distinct(int num, const char* const* strings, AceReporter* rep);
  /// Takes a copy of a whole heap with the strings in it. A null string becomes an empty one: the end of the
  /// first string. Returns 0; -1 when the heap does not end with a zero byte or a string is not in it.
  int heap_make(int num, const char** strings, Large heap_size, char* heap);
  /// An entry for each entry that the reader has left; attributes are not kept. Returns their number, or -1.
  VInt reader_make(TeraReader* reader);
  /// An entry for each string of a sorted set; the heap is sorted by "ascii", and compressed with
  /// `compress(log_block)` unless `log_block` is 0. Returns their number, or `NONE`.
  Large tree_make(AceBigTree<long>* tree, int log_block);

  // Changing.

  /// Compresses the heap in blocks of 2^`log_block` strings; when that is not 2 to 32, the block size stays
  /// as it is. Nothing happens to a compressed heap. Returns 0; -1, and nothing changes, when the compressed
  /// heap would exceed 4 GiB.
  int compress(int log_block);
  /// Lets equal strings share one copy, and drops what no entry uses; a compressed heap stays as it is.
  /// Reports "Saved %ld bytes in TeraIndex\n". Returns the bytes saved, at most 2^32 - 2.
  Large optimize(AceReporter* rep);
  /// Replaces a string. The old one stays in the heap until `optimize`. With `grow`, an id behind the last
  /// makes the array longer, by empty strings in between. Returns 0; -1 for an id that is not there, in a
  /// compressed heap, and for a heap that would exceed its limit.
  int update(Large id, const char* string, int grow);
  /// Entry i becomes the one that was order[i], for all entries; the heap counts as unsorted from then on.
  /// Returns 0; -1, and nothing changes, when `order` is no permutation or the heap is compressed.
  int reorder(const int* order);
  /// Sorts the entries by a collation; equal ones stay in their order. Returns 0; -1, and nothing changes,
  /// when there is no such collation or the heap is compressed.
  int resort(const char* collation);

  // Strings. What a compressed heap gives lies in `at`; otherwise it points into the heap.

  /// Null for an id that is not there; an empty string where a block is damaged.
  const char* get_line(Large id, AceAttach* at) const;
  /// A copy in `at`; null as above.
  char* get_line_copy(Large id, AceAttach* at) const;
  /// Length in bytes; -1 for an id that is not there.
  int get_line_len(Large id) const;
  /// `entryStart` of the string, or of its block; `NONE` for an id that is not there.
  Large get_heap_pos(Large id) const;
  /// Stores up to `count` strings from `first` on. Returns their number. Decodes each block once.
  Large get_block(Large first, char** out, Large count, AceAttach* at) const;
  /// The heap; null when there is none. Not to be written to in a mapped index.
  char* get_string_heap() const { return entryBuffer; }
  Large get_size() const { return numEntry; }
  Large num_blocks() const;
  bool is_compressed() const { return compHandle != nullptr; }
  bool is_int_aligned() const { return intAligned; }
  int get_block_size() const { return blockSize; }
  VInt get_heap_size() const { return bufferUsedSize; }
  /// Calls `f(string, id)` for all entries.
  void for_each(const std::function<void(const char*, int)>& f) const;

  // Search, in sorted heaps; `NONE` in others.

  /// The first string equal to `key`. When there is none: with `insert`, the id where it would be inserted;
  /// else `NONE`. `prefix` is handed to `TeraCollation::compare_sort`; when it is not 0, no string is equal,
  /// and the place is the one behind all strings that start with the key.
  Large search(const char* key, int insert, int prefix) const;
  /// The first string that starts with `key`, by `TeraCollation::compare_limit`; otherwise as `search`.
  Large search_interval(const char* key, int insert, int unused) const;
  /// `TeraCollation::compare_sort`; -1 in a heap that is not sorted.
  int cmp(const char* first, const char* second, int prefix) const;
  const TeraCollation* get_collation() const { return colFacet; }

  /// Returns 0, or -1.
  VInt read(AceFile* file) override;
  /// Whether all offsets lie in the heap. Returns 0, or -1, reported on `rep`.
  int verify(AceReporter* rep) const;
  VInt save(AceFile* file) override;
  /// Sizes and settings, a line each. Returns 0.
  int print(AceReporter* rep) const;

  /// The next multiple of 4.
  static VInt align_offset(VInt offset) { return (offset + ALIGNMENT - 1) & -VInt{ALIGNMENT}; }

 private:
  static constexpr int ALIGNMENT = 4;

  /// A heap under construction, or the index's own one.
  struct Heap {
    VInt add(std::string_view string);
    bool can_align() const;
    void align();

    std::vector<Large> starts;
    std::vector<char> bytes;
    bool isAligned = false;
  };
  class BlockWriter;

  VInt byte_offset(Large start) const { return intAligned ? VInt{ALIGNMENT} * start : VInt{start}; }
  /// The heap's last byte is 0: what starts behind it is empty.
  const char* plain_line(Large id) const {
    return entryBuffer + std::min(byte_offset(entryStart[id]), bufferUsedSize - 1);
  }
  VInt block_bytes(Large block) const;
  const Token* block_at(Large block) const;
  int block_count(Large block) const;
  void take_heap(Heap heap, int mode);
  void take_blocks(BlockWriter* writer, std::unique_ptr<StringComp> coder, Large count);
  void make_own();
  void show_own();
  int make_compressed(const char* filename, AceReporter* rep);
  Large find(bool insert, const auto& compare) const;
  VInt read_payload(AceFile* file);
  const char* check_heap() const;
  const char* check_starts() const;
  int refuse(const AceFile* file, const char* reason);

  TeraCollation* colFacet = nullptr;
  int heapMode = 0;
  Large numEntry = 0;
  Large maxEntry = 0;
  Large* entryStart = nullptr;
  char* entryBuffer = nullptr;
  std::unique_ptr<StringComp> compHandle;
  VInt bufferAllocatedSize = 0;
  VInt bufferUsedSize = 0;
  int blockSize = 1;
  int fileMapped = 0;
  bool intAligned = false;
  Heap ownHeap;     // the arrays, unless they were read
  AceAttach memAt;  // the arrays, when they were read from a stream
};

/// For the registry of persistent objects: a `TeraIndex` from the file, or null; and an empty one.
SORV_API AceWrap* TeraIndexfactory(AceFile* file);
SORV_API AceWrap* TeraIndexfactoryCreate();
