/// Block index: a sorted set of sparse 32-bit keys and their dense positions.
///
/// Of three representations the cheapest is chosen when the set is built:
///
///     identity    no arrays           a key is its own position
///     key list    blockKey            the sorted keys; a key's position is its index
///     blocks      blockKey            first key of each block of nearly consecutive keys
///                 blockStart          first position of each block, and the end of the last
///
/// A block covers every value from its first to its last key, holes included: `get_key` of a hole gives a
/// position, too. Whoever keeps data per position marks holes there.
///
/// Building takes two passes over the keys in strictly ascending order: `in_order_count` for each, `prepare`,
/// `in_order_insert` for each, `finish`.
///
/// Payload of `save`, in order:
///
///     numKeys     Large             entries of blockKey
///     numBlock    Large             entries of blockStart; 0, or numKeys + 1
///     blockSize   Large             number of positions
///     maxEntry    Large             largest key
///     blockKey    numKeys x 4       if numKeys > 0; aligned to 8, strictly ascending
///     blockStart  numBlock x 4      if numBlock > 0; aligned to 8, strictly ascending from 0 to blockSize
///
/// The identity has numKeys and numBlock 0. `read` checks the numbers, in constant time; look-ups check where
/// they read, so that in damaged arrays they stay in bounds and answer anything that has the form of an
/// answer. `verify` checks the arrays, in one pass.
///
/// Thread safety: look-ups on a finished index may run in any number of threads.
/// Cost: a look-up is a binary search in blockKey.
#pragma once

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class AceFile;
class AceReporter;

class SORV_API BlockIndex {
 public:
  /// The answer for what is not represented.
  static constexpr Large NONE = 4294967295U;

  BlockIndex() = default;
  BlockIndex(const BlockIndex&) = delete;
  BlockIndex& operator=(const BlockIndex&) = delete;
  ~BlockIndex() { clean(); }

  // Building.

  /// Counting pass. Returns 0; -1 when the key is not larger than the one before.
  int in_order_count(Large key);
  /// Chooses the representation. Returns the number of positions; -1 for an index read from a mapping.
  VInt prepare();
  /// Filling pass with the same keys. Returns the key's position; -1 when there are more keys than were
  /// counted or their order is broken.
  VInt in_order_insert(Large key);
  /// Ends the build. Returns 0.
  int finish();
  /// Becomes a deep copy. Returns the number of positions.
  VInt copy(const BlockIndex* other);
  /// Becomes empty.
  void clean();

  // Look-up.

  /// The position of a key; NONE when it is not represented.
  Large get_key(Large key) const;
  /// The same; for a key that is not represented, the position of the next one that is (with `next`; the
  /// number of positions when there is none) or of the one before (NONE when there is none).
  Large get_pos(Large key, int next) const;
  /// The key at a position; NONE for a position out of range.
  Large get_orig(Large pos) const;
  /// Number of positions.
  Large size() const { return blockSize; }
  bool empty() const { return blockSize == 0; }
  Large max_key() const { return maxEntry; }

  // Persistence. `read` returns 0; or -1, and an empty index, for what is not a payload.

  VInt save(AceFile* file) const;
  VInt read(AceFile* file);
  /// Whether the arrays are as described. Returns 0, or -1, reported on `rep`.
  int verify(AceReporter* rep) const;

 private:
  static Large last_not_above(const Large* array, Large size, Large value);
  bool is_block_mode() const { return blockStart != nullptr; }
  bool has_sound_numbers() const;
  bool has_sound_arrays() const;

  Large numBlock = 0;  // entries of blockStart; while counting, blocks met
  const Large* blockKey = nullptr;
  Large blockSize = 0;  // positions; while counting, those that blocks would take
  const Large* blockStart = nullptr;
  Large numKeys = 0;       // entries of blockKey; while counting, keys met
  Large maxEntry = 0;      // largest key
  Large blockFirst = 0;    // building: first key of the present block
  Large allocKeys = 0;     // building: room in newKeys
  Large allocBlocks = 0;   // building: blocks that fit
  bool isStarted = false;  // building: a key has been met in this pass
  int fileMapped = 0;      // the arrays point into a mapping

  AceAttach memAt;             // holds the arrays otherwise
  Large* newKeys = nullptr;    // building: blockKey
  Large* newStarts = nullptr;  // building: blockStart
};
