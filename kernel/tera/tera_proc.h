/// Bit-sliced counters: how often each of many entries was counted, by a few operations on whole words.
///
///     TeraProc proc;
///     proc.start(num_sections, 6);
///     for (int k = 0; k < num_sections; ++k) {
///       const int base = edit_leven(start[k], n[k], m, columns, cmc, cpc, nullptr, nullptr);
///       proc.diff_array(k, std::max(m, n[k]), cmc, cpc, std::max(m, n[k]) + base);  // hits, not errors
///     }
///     proc.get_cands(first_slot, num_slots, lengthSum, m, func, 0, &result, num_lengths);
///
/// A lane vector has one bit for each entry: `wordLen` words, of which word w is a section of 64 entries
/// (edit_tableau.h writes one word of each slice). A slice is a lane vector whose lanes are to be counted.
/// The counters are planes, lane vectors too: bit i of a lane's counter is its bit in plane i. A counter of
/// `bitLen` bits starts again from 0 when it exceeds them, so differences are right whenever the value in the
/// end is 0 or more and has no more bits.
///
/// Slices are added eight at a time; whatever reads the counters adds those that wait. Planes are made when a
/// counter first needs them, and used again after `start` and `reset`.
///
/// Null arrays, and words outside of the vector, are the caller's responsibility; `get_cands` checks its own.
/// Memory exhaustion throws `std::bad_alloc`. Thread safety: a counter belongs to one thread; the static
/// functions are pure.
#pragma once

#include <span>
#include <vector>

#include "tera/tera_eval.h"
#include "tera/tera_token_values.h"

class TeraResult;

class SORV_API TeraProc {
 public:
  static constexpr int WORD_LANES = 64;
  static constexpr int MAX_BITS = 31;
  static constexpr int MAX_WAITS = 8;

  TeraProc() { start(0, 1); }

  // Counting.

  /// All counters 0, for lane vectors of `word_len` words and counters of `bit_len` (1..MAX_BITS) bits.
  void start(int word_len, int bit_len);
  /// The same sizes, from 0.
  void reset();
  /// Counts the lanes of a slice of `wordLen` words.
  void add(const VBit* slice);
  /// Counts the lanes of `count` slices of one word each in word `word`; or those of one slice.
  void add_array(int word, int count, const VBit* slices);
  void add_64(int word, VBit slice) { add_array(word, 1, &slice); }
  /// Adds `base`, which may be negative, and the lanes of `count` slices, and subtracts those of as many.
  void diff_array(int word, int count, const VBit* plus, const VBit* minus, int base);
  /// All counters become `value`, those of `num` words from `word` on, or those of another one.
  void set(int word, int num, int value);
  void copy_value(const TeraProc& other);

  // Finishing.

  /// Adds the slices that wait.
  void finish();
  /// The same, and makes all `bitLen` planes. Returns their number.
  int finish_full();
  /// Drops the highest planes as long as they are empty. Returns how many are left.
  int reduce();
  /// Whether there are lanes that each slice so far has counted (by `add`, `add_array` and `add_64`).
  bool middle_exact() const { return any(exactVector); }
  /// These lanes become the only plane, with counters of one bit. Returns their number.
  int finish_exact();

  // Reading.

  int get_value(int lane);
  /// Stores the lanes whose counter is at least `value`, of `num` words from `word` on, or of all. Returns
  /// their number.
  int filter(VBit* out, int word, int num, int value);
  int mini_filter(VBit* out, int value) { return filter(out, 0, wordLen, value); }
  /// Lanes that at least half, or more than half, of the slices given to `add` have counted.
  int half(VBit* out) { return mini_filter(out, numAdds / 2 + numAdds % 2); }
  int most(VBit* out) { return mini_filter(out, numAdds / 2 + 1); }
  /// Stores the lanes whose counter is `value`. Returns their number.
  int level_bits(int value, VBit* out);
  /// Stores the largest counter of the first `num_lanes` lanes, and the lanes that have it. Returns their
  /// number.
  int get_best(int* value, VBit* lanes, int num_lanes);
  /// Adds candidates to a result: lane k is slot `first` + k, for k below `count`. `slots[n]` is the end of
  /// the slots of length n, for n below `num_lengths`. With one plane every lane that is set has quality 255.
  /// Otherwise a counter of x in an entry of length n has the quality eval(query_len, x, n), or with
  /// `doubled` eval(2 query_len, x, 2n); counters and lengths of 0 are no candidates. The largest counters
  /// come first, and of these the longest entries. Returns the number of candidates that the result took, or
  /// -1.
  int get_cands(int first, int count, const int* slots, int query_len, TeraEval::Eval* eval, int doubled,
                TeraResult* result, int num_lengths);

  int get_word_len() const { return wordLen; }
  int get_bit_len() const { return bitLen; }

  // Lane vectors. Both have the same number of words.

  static void bit_not(std::span<VBit> lanes);
  static void bit_or(std::span<VBit> lanes, std::span<const VBit> other);
  static void bit_or_not(std::span<VBit> lanes, std::span<const VBit> other);
  static void bit_and(std::span<VBit> lanes, std::span<const VBit> other);
  static void bit_and_not(std::span<VBit> lanes, std::span<const VBit> other);
  static int num_bits(std::span<const VBit> lanes);
  static int num_and_bits(std::span<const VBit> lanes, std::span<const VBit> other);
  /// The first lane; -1 for none.
  static int first(std::span<const VBit> lanes);
  static bool any(std::span<const VBit> lanes);
  /// Stores the lanes in ascending order, in room for `num_bits`. Returns their number.
  static int get_bits(std::span<const VBit> lanes, int* out);
  /// For `select`: stores per word the number of lanes in the words before. Returns the number of all.
  static int init_select(std::span<const VBit> lanes, int* sums);
  /// The lane with `rank` lanes before it; -1 when there are not that many.
  static int select(std::span<const VBit> lanes, const int* sums, int rank);
  /// Turns a matrix of 8 x 8 bits: bit j of byte i becomes bit i of byte j.
  static VBit transpose_byte(VBit matrix);

 private:
  using Plane = std::vector<VBit>;

  VBit& plane_word(int bit, int word);
  void add_number(int word, const VBit* bits, int num_bits);
  void add_eight(int word, const VBit* slices, int num);
  void recycle();

  int numAdds = 0;  // slices given to `add`
  int bitLen = 0;
  int wordLen = 0;
  int numCount = 0;  // planes in use
  int numWaits = 0;  // slices that wait
  std::vector<Plane> countArray, waitArray, reuseArray;
  Plane exactVector;
};
