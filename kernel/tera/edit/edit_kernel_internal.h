/// The inner loops of recall: one query word against all entries of one length.
///
/// Entries lie in blocks of 512 lanes. Their tokens are there in one of two forms:
///
///     bits     per token a column: word w of position j of block b is word (b * n + j) * 8 + w; its bit k
///              says whether lane 64 * w + k of the block has the token at j
///     bytes    the token of position j of lane k of the section at place p, 64 lanes each, is byte
///              (p * n + j) * 64 + k; a position has one token here, and lanes without an entry have zeros
///
/// Bits are for looking at every entry, bytes for looking at the few groups of neighbours that a filter left.
/// Both forms need `PADDING` readable positions in front and behind, of whatever content. Bytes of groups
/// that are not asked for may be written at the same time by others: some are read, but no hit depends on
/// them.
///
/// The loops exist for each level of ace_cpu.h, and give the same hits.
///
/// Thread safety: a task and its buffers belong to one thread; the columns are only read.
#pragma once

#include <cstddef>
#include <span>

#include "tera/tera_eval.h"
#include "tera/tera_token_values.h"

inline constexpr int EDIT_WORD_LANES = 64;
inline constexpr int EDIT_BLOCK_WORDS = 8;
inline constexpr int EDIT_BLOCK_LANES = EDIT_WORD_LANES * EDIT_BLOCK_WORDS;
inline constexpr int EDIT_PADDING = 4;        ///< positions that are read beyond both ends of the entries
inline constexpr int EDIT_MAX_QUERY = 1024;   ///< positions of a query
inline constexpr int EDIT_MAX_PATTERN = 128;  ///< and of one in WILDCARD mode
/// Comparisons of a group's entries with the query's sets that are kept for the cells of the table.
inline constexpr std::size_t EDIT_MAX_CELLS = 4096;

/// An entry whose measure reaches the least one asked for.
struct EditHit {
  Large lane;   ///< counted from the start of the length group
  int measure;  ///< x of the mode
};

/// A query position as the bytes see it.
struct EditAccept {
  Token single = 0;                ///< the one token that it accepts; 0 when `several` says it
  std::span<const Token> several;  ///< its tokens
  bool any = false;                ///< accepts every token
};

/// What is looked for in the entries of one length.
struct EditTask {
  TeraEval::Mode mode = TeraEval::LEVENSHTEIN;  ///< one that `edit_measure_max` knows
  bool transpose = false;
  int m = 0;       ///< positions of the query, 1..EDIT_MAX_QUERY
  int n = 0;       ///< positions of the entries, at least 1
  int fewest = 1;  ///< least measure that is a hit, at least 1

  const VUint* const* columns = nullptr;  ///< bits: per query position, block 0 of its column
  const Token* bytes = nullptr;           ///< bytes: place 0
  const EditAccept* accepts = nullptr;    ///< bytes: per query position
  const bool* runs = nullptr;             ///< WILDCARD: m + 1 flags, whether any tokens may stand in front

  const Large* places = nullptr;  ///< bytes: those of the sections; their numbers where left out

  /// SEQ: neighbours in the wrong order count as two matches, and those that would only do so with others as
  /// well. An upper bound for the walks of the sets with `transpose`.
  bool boundsSwaps = false;
  const EditAccept* sets = nullptr;  ///< bytes: the different ones among `accepts`, and
  const int* setOf = nullptr;        ///< which of them each position has; may be left out
  int numSets = 0;
  void* room = nullptr;  ///< `edit_room_bytes`, in cache lines
};

/// Largest measure that an entry of n positions can have in a mode; -1 when the kernel does not know the
/// mode.
SORV_API int edit_measure_max(TeraEval::Mode mode, int m, int n);

/// What a vector of lanes costs, in cells of the table of edit distances.
VInt edit_cells(const EditTask& task);
/// Room that a task needs for slices, and for comparisons with its sets.
SORV_API std::size_t edit_room_bytes(const EditTask& task);

struct EditKernel {
  /// Looks at the blocks from `block` up to but excluding `last` until `hits` has no room for a full block,
  /// and moves `block` on. Returns the number of hits, in ascending order of lanes. Lanes without an entry
  /// may be among them.
  int (*scan)(const EditTask& task, int& block, int last, std::span<EditHit> hits);
  /// The same for the groups of 2^`lanes_log` lanes (32 or 64) with the numbers in `groups`, of which
  /// `group` is the next one.
  int (*check)(const EditTask& task, int lanes_log, std::span<const Large> groups, int& group,
               std::span<EditHit> hits);
};

/// The loops for the level that is in use.
SORV_API const EditKernel& edit_kernel();

extern const EditKernel EDIT_KERNEL_BASELINE;
extern const EditKernel EDIT_KERNEL_AVX2;
extern const EditKernel EDIT_KERNEL_AVX512;
