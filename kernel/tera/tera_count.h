/// Value counters: which of many entries have which of many flags.
///
///     TeraCount count(num_entries, num_flags, nullptr);
///     count.set_flags_horizontal(entry, 3, flags);                 ...
///     int wanted[] = {4, ~7};                                      flag 4, and not flag 7
///     const VBit* found = count.get_exact(2, wanted, &at);
///
/// Each flag (value) has an array of one bit per entry, made when it is first used; entries are numbered from
/// 0. A flag list is an array of ints: v asks for flag v, ~v for entries without it. A flag whose array was
/// never made is one that no entry has, except where said otherwise.
///
/// A run of flags is a number of an entry: bit k of the number is the entry's bit in flag `first` + k, for k
/// from 0 to `nbits`, both included.
///
/// Entries may be ordered by how many flags they have; groups are then the entries with 0, 1, 2, ... flags,
/// as a histogram says, and `match` knows the length of an entry from its group.
///
/// Payload of `save` ("Bit Counting Structure"), in order:
///
///     magic           COUNT
///     numValues       int            flags
///     maxGroups       int
///     numEntry        int
///     numWords        int            64-bit words of a bit array
///     maxBits         int            most flags given to one entry
///     content         int            1 bit arrays, 2 densities, 4 filter, 8 group offsets, 32 always
///     bit arrays      if 1           per array: int flag, numWords x 8 (aligned to 8); then int -1
///     densities       if 2           numValues x 4; aligned to 4
///     filter          if 4           numWords x 8; aligned to 8
///     group offsets   if 8           (maxGroups + 1) x 4; aligned to 4; ascending from 0 to at most numEntry
///
/// Errors: -1, or null, and nothing changes, for entries and flags that are not there; -1 for changes of a
/// structure that was read from a mapping. Memory exhaustion throws `std::bad_alloc`.
/// Thread safety: any number of threads may ask an object that nobody changes.
/// Cost: set operations read each array once, at the speed of memory, and write one.
#pragma once

#include <span>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_bulk.h"
#include "ace/ace_wrap.h"
#include "tera/tera_eval.h"
#include "tera/tera_token_values.h"

class AceReporter;
class TeraResult;

class SORV_API TeraCount : public AceWrap {
 public:
  /// How many entries each group has, and then, summed up, where it begins.
  struct SORV_API Histo {
    explicit Histo(int max_groups);
    /// One more entry of that group. Returns 0 or -1.
    int add(int group);
    /// Turns frequencies into the sums of those before, once; the last one is the number of entries.
    void sum();

    AceAttach memAt;
    int* groupFreq = nullptr;  ///< one more than groups
    int maxGroups = 0;
    int didSum = 0;
  };

  TeraCount() = default;
  /// Without flags set; entries are disabled. The histogram, which may be null, is summed up.
  TeraCount(int num_entries, int num_values, Histo* histo);
  ~TeraCount() override;
  /// Becomes empty.
  void clean();

  int get_max_flags() const { return maxBits; }
  int get_num_flags() const { return numValues; }
  int get_num_groups() const { return maxGroups; }
  int get_num_words() const { return numWords; }
  int get_num_entries() const { return numEntry; }
  /// The bits that `set_flags_horizontal` has set.
  int get_total_bits() const { return totalBits; }
  void print(AceReporter* rep) const;
  /// The share of bits that are set. Clearing flags, and setting whole arrays again, is not told.
  double get_density() const;
  /// The array of a flag; null when there is none.
  const VBit* get_array(int value) const { return has_value(value) ? bitArray[index(value)] : nullptr; }

  // Changing.

  /// Makes the flag's array, if there is none. Returns 0 or -1.
  int check_array(int value);
  /// Gives an entry flags, and enables it. Returns the number of bits newly set.
  int set_flags_horizontal(int entry, int n, const int* values);
  /// Sets a flag's whole array. Returns 0 or -1.
  int set_flags_vertical(int value, const VBit* bits);
  /// Takes all flags from an entry. Returns 0 or -1.
  int clear_flags(int entry);
  /// Gives flag `to` to all entries that have `from`. Returns 0 or -1.
  int map(int from, int to);
  /// The filter. Return 0 or -1.
  int enable(int entry) { return set_filter(entry, true); }
  int disable(int entry) { return set_filter(entry, false); }
  int enable_all();

  // One entry.

  bool enabled(int entry) const {
    return has_entry(entry) && bitFilter != nullptr && get_bit(bitFilter, entry);
  }
  /// Stores the entry's flags plus `offset`, ascending, at most `max`. Returns their number; without `out`,
  /// that of all.
  int get_flags(int entry, int max, int* out, int offset) const;
  /// The number that a run of flags is; 0 for what is not there.
  Large get_numeric_flag(int entry, int first, int nbits) const;
  /// Appends to a list of `bulk` which of the listed flags the entry has (~v stands for v), in words of 31
  /// bits; all but the last have bit 31 set. A negative number of flags is a word of 0. Returns the list.
  AceBulk::List* fold(unsigned entry, int n, const int* values, AceBulk::List* list, AceBulk* bulk) const;
  /// How many runs of the same group number there are among the listed flags that hold. The negation of a
  /// flag without array does not hold.
  int reeval(unsigned entry, int n, const int* values, const int* groups) const;
  /// The number of groups that begin at most at `n`.
  int num_groups(int n) const;

  // Sets of entries: arrays of `numWords` words in `at`, without bits beyond the entries.

  /// Stores the entries that have a flag, ascending, as a new array. Returns their number.
  int get_all_combis(int value, Large** out, AceAttach* at) const;
  /// The entries for which all of a flag list holds; null for an empty one.
  const VBit* get_exact(int n, const int* values, AceAttach* at) const;
  /// The entries for which any of it holds; for a single flag the flag's array itself.
  const VBit* get_group(int n, const int* values, AceAttach* at) const;
  /// The entries whose number is `value`, or with `negate` is not; at least `value`; below `value`. A
  /// negative `nbits` is a number of 0. A flag without array where `value` has a bit: of
  /// `get_numeric_smaller`, what was found up to there becomes the entries 0, 8, 16, ..., as they always did.
  const VBit* get_numeric_exact(unsigned value, int first, int nbits, int negate, AceAttach* at) const;
  const VBit* get_numeric_geq(unsigned value, int first, int nbits, AceAttach* at) const;
  const VBit* get_numeric_smaller(unsigned value, int first, int nbits, AceAttach* at) const;
  const VBit* intersect(const VBit* first, const VBit* second, AceAttach* at) const;
  const VBit* bit_union(const VBit* first, const VBit* second, AceAttach* at) const;
  /// -1 when there is none.
  int get_first_entry(const VBit* bits) const;

  /// Adds the entries that are in at least one of the arrays (null ones are empty) as candidates: a query of
  /// length `ngroups`, of which an entry has as many as arrays that contain it, and the entry's own length is
  /// its number of flags. The filter does not count. Returns the number of candidates taken, or -1.
  int match(TeraResult* result, int ngroups, const VBit* const* bits, TeraEval::Model model) const;

  /// `save` returns the number of entries; `read` 0, or -1.
  VInt save(AceFile* file) override;
  VInt read(AceFile* file) override;

 private:
  struct Plan;

  static std::size_t index(int number) { return static_cast<std::size_t>(number); }
  static bool get_bit(const VBit* bits, int entry) {
    return (bits[entry / WORD_BITS] >> (entry % WORD_BITS) & 1) != 0;
  }
  bool has_entry(int entry) const { return entry >= 0 && entry < numEntry; }
  bool has_value(int value) const { return value >= 0 && value < numValues; }
  bool has_flag(int entry, int value) const {
    const VBit* bits = get_array(value);
    return bits != nullptr && get_bit(bits, entry);
  }
  bool has_run(int first, int nbits) const { return first >= 0 && VInt{first} + nbits < numValues; }
  bool has_flags(int n, const int* values) const;
  int set_filter(int entry, bool is_enabled);
  VBit* make_bits();
  void trim_bits(VBit* bits) const;
  VBit* run(const Plan& plan, AceAttach* at) const;
  int match_ungrouped(TeraResult* result, int ngroups, const VBit* const* bits, TeraEval::Eval* eval) const;

  void save_blocks(AceFile* file, int content) const;
  bool read_head(AceFile* file, int* content);
  bool read_arrays(AceFile* file);
  bool read_blocks(AceFile* file, int content);

  static constexpr int WORD_BITS = 64;

  int numValues = 0;
  int maxGroups = 0;
  int numEntry = 0;
  int numWords = 0;
  int totalBits = 0;
  int maxBits = 0;
  std::vector<int> bitDensity;
  std::vector<int> fillOffset;
  std::vector<VBit*> bitArray;
  VBit* bitFilter = nullptr;
  int fileMapped = 0;  // arrays and filter lie in a mapping
  AceAttach memAt;     // holds them otherwise
};
