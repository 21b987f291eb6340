/// Tableaux: the measures of all modes, of one query against the 64 entries of a section at once.
///
/// A `VBit` is a lane vector: bit k belongs to the k-th entry of the section. `module[i]` is the column of
/// query position i: of its word `section_start` + j, bit k says whether entry position j of entry k is
/// accepted there. A tableau writes slices, lane vectors that are to be counted lane by lane (tera_proc.h),
/// and returns a base:
///
///     edit tableaux     distance = number of `cpc` slices - number of `cmc` slices - base
///     count tableaux    hits     = number of `add` slices; the base is 0
///
/// m is the number of query positions, 1..128, and n (`section_size`) that of the entries, at least 1. How
/// many slices are written, and along what side of the table:
///
///     tableau                    slices                   side
///
///     edit_leven                 max(m, n)                last column when m > n, else last row
///     edit_prefix, edit_suffix   m                        last column
///     edit_factor                m                        falls of the smallest value in the last row
///     edit_extend, edit_close    n                        last row
///     edit_cover                 n                        falls of the smallest value in the last column
///     edit_front, _back, _mid    as the one chosen
///
///     count_pos                  min(m, n, 64)
///     count_bipos                min(m, min(n, 64) + 1)
///     edit_sequence              m
///     edit_bisequence            m, and m - 1 in the second array (none when m or n is below 2)
///     edit_bigrams               n + 1
///     edit_subset                2m
///     edit_superset              2n
///     edit_blockedit             as the one chosen
///
/// `edit_close` looks at the last (3m + 1) / 2 positions of longer entries only, writes as many slices, and
/// has the others in its base. Arrays that a tableau does not write may be null. Arrays that are written need
/// room for 2 max(m, n) + 2 slices. Lanes of padding slots have values like others, which the caller ignores.
///
/// The `_trans` forms take two neighbours in the wrong order for one error.
///
/// Thread safety: pure functions.
#pragma once

#include "tera/tera_eval.h"
#include "tera/tera_token_values.h"

using EditTableau = int(int section_start, int section_size, int num_modules, VBit** module, VBit* cmc,
                        VBit* cpc, VBit* rmc, VBit* rpc);

SORV_API EditTableau edit_leven;
SORV_API EditTableau edit_leven_trans;
SORV_API EditTableau edit_prefix;
SORV_API EditTableau edit_prefix_trans;
SORV_API EditTableau edit_suffix;
SORV_API EditTableau edit_suffix_trans;
SORV_API EditTableau edit_factor;
SORV_API EditTableau edit_factor_trans;
SORV_API EditTableau edit_cover;
SORV_API EditTableau edit_cover_trans;
SORV_API EditTableau edit_close;
SORV_API EditTableau edit_close_trans;
SORV_API EditTableau edit_extend;
SORV_API EditTableau edit_extend_trans;
SORV_API EditTableau edit_front;
SORV_API EditTableau edit_front_trans;
SORV_API EditTableau edit_back;
SORV_API EditTableau edit_back_trans;
SORV_API EditTableau edit_mid;
SORV_API EditTableau edit_mid_trans;
SORV_API EditTableau count_pos;
SORV_API EditTableau count_pos_trans;
SORV_API EditTableau edit_bigrams;
SORV_API EditTableau edit_bigrams_trans;
SORV_API EditTableau edit_subset;
SORV_API EditTableau edit_subset_trans;
SORV_API EditTableau edit_superset;
SORV_API EditTableau edit_superset_trans;
SORV_API EditTableau edit_blockedit;
SORV_API EditTableau edit_blockedit_trans;
SORV_API EditTableau count_bipos;
SORV_API EditTableau edit_sequence;
SORV_API EditTableau edit_bisequence;

/// V of the last column into `cmc` and `cpc` (m slices), H of the last row into `rmc` and `rpc` (n slices).
SORV_API EditTableau edit_distance;
SORV_API EditTableau edit_distance_trans;

/// Stores the tableau of a mode, with bit 2 of `options` the one with transpositions. Returns the number of
/// arrays that the caller provides; -1, and nothing is stored, for modes without one.
SORV_API int select_edit_tableau(TeraEval::Mode mode, int options, EditTableau** func);

// Segments: the words of a query, each by itself, in one go.

inline constexpr int MAX_SEGMENT = 4;

/// The words of a query between separators.
SORV_API int count_segments(const Token* query);

/// Up to MAX_SEGMENT words side by side: `control[0]` is their number, `control[s + 1]` the first query
/// position of word s, and the last element the end. The slices of a word are those at its positions; its
/// distance is
///
///     plus slices - minus slices + start
///
/// where the start is n for `edit_leven_segment`, 0 for `edit_prefix_segment` and `edit_suffix_segment`, and
/// the word's length for `edit_factor_segment`. Returns the number of words, -1 for more than MAX_SEGMENT.
using EditSegments = int(int section_start, int section_size, VBit** module, int* control, VBit* minus,
                         VBit* plus);

SORV_API EditSegments edit_leven_segment;
SORV_API EditSegments edit_prefix_segment;
SORV_API EditSegments edit_suffix_segment;
SORV_API EditSegments edit_factor_segment;
