/// Field method UUID: identifiers of 128 bits, in whatever way they are written.
///
/// A UUID is read as its 32 hexadecimal digits; everything between and around them is skipped, and so is a
/// "urn:uuid:" in front. Fewer and more digits are no UUID. It is shown as 8-4-4-4-12 digits; one whose
/// version digit (the 13th) is 0, such as the empty UUID 00000000-0000-0000-0000-000000000000, is not shown.
///
/// Queries match exactly. COMPLETE with fewer than 32 digits finds all UUIDs that begin with them. What is
/// found has quality 255.
///
/// Build options:
///
///     sorted         flag     values can be searched, otherwise each query looks at all of them
///     skip_invalid   flag     values that are no UUIDs are left out, with one warning; without it they end
///                             the build
///
/// Recall options:
///
///     capital        flag     shown in capital letters
///     no_sep         flag     shown without separators
///
/// `make` for a field whose strings come from the index gives -2, and names the first value, where a value is
/// none or is not shown.
///
/// Entries are numbered by base ids, holes of the block index (ace_block_index.h) included.
///
/// Record of `save`:
///
///     recall options magic UUROP, bool capital, bool no_sep
///     features       int
///     optionFlags    int                Options
///     numEntries     Large              positions
///     numValues      Large              those that have a value
///     valueArray     numEntries x 16    if numEntries > 0; aligned to 8; two words each, the one of the
///     first
///                                       digits first
///     sortArray      numValues x 4      if SORTED and numValues > 0; aligned to 8; positions by their values
///     guideArray     words of 8         with sortArray; aligned to 8; the first word of every 16th value in
///                                       their order, from the first one on
///     presence       AceBits            if HAS_HOLES: 1 for positions that have a value
///     denseArray     BlockIndex         if HAS_DENSE; from base ids to positions
///
/// `read` checks sizes; look-ups stay in bounds whatever the arrays hold. Thread safety: any number of
/// threads may ask at once. Parsing options is guarded.
///
/// Cost of a look-up in sorted values: a search in the guide, which stays in the cache, and one among 16
/// values, which interpolates where it can.
#pragma once

#include <compare>
#include <memory>

#include "ace/ace_attach.h"
#include "ace/ace_bits.h"
#include "ace/ace_block_index.h"
#include "dime/dime_method.h"

class AceOptionsParser;
class TeraResult;

/// One UUID. Plain data, stored as it is.
class SORV_API Uuid {
 public:
  static constexpr int NUM_DIGITS = 32;

  Uuid() = default;
  Uuid(VUint first, VUint second) : valueArray{first, second} {}

  /// Reads a text. Returns 0; -1, with a warning on the default reporter unless the text is null or empty.
  int init(const char* text);
  /// The same without message. Returns the number of digits found, 33 for more than 32; what there is of
  /// fewer is followed by zeros.
  int parse(const char* text);
  /// The text, in `at`; null when the version digit is 0.
  const char* show(bool capital_letters, bool no_separators, AceAttach* at) const;
  bool equal(const Uuid& other) const { return *this == other; }
  /// Whether the text is this UUID.
  bool equal(const char* text) const;
  /// -1, 0 or 1, as unsigned numbers.
  int compare(const Uuid& other) const { return *this < other ? -1 : *this == other ? 0 : 1; }
  auto operator<=>(const Uuid& other) const = default;
  /// The largest one that begins with the first `num_digits` digits of this one.
  Uuid last_with_prefix(int num_digits) const;

  VUint get_word(int index) const { return valueArray[index]; }

 private:
  VUint valueArray[2] = {};
};

class SORV_API DimeUuidRecallOptions {
 public:
  /// The parser registered under "UUID" for recalls.
  static AceOptionsParser* get_parser();
  /// Parses. Returns 0; -1, and nothing changes.
  int apply(const char* string);
  void configure(const DimeUuidRecallOptions& other) { *this = other; }
  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

  const char* print(const Uuid& value, AceAttach* at) const {
    return value.show(capitalLetters, noSeparators, at);
  }

 private:
  bool capitalLetters = false;
  bool noSeparators = false;
};

class SORV_API DimeUuidMethod : public DimeMethod<DimeUuidMethod, DimeUuidRecallOptions> {
 public:
  static constexpr const char* NAME = "UUID";
  static constexpr const char* MAGIC = "MUUID";
  static constexpr const char* RECONFIGURE = "config_method = dynamic_cast<const DimeUuidMethod*>(other)";
  /// Stored in files, not to be renumbered.
  enum Options : int {
    SORTED = 1,        ///< there is a sortArray
    SKIP_INVALID = 2,  ///< of the build
    HAS_DENSE = 4,     ///< there is a denseArray
    HAS_HOLES = 8,     ///< positions without value are marked
  };

  /// The parser registered under "UUID" for builds.
  static AceOptionsParser* get_parser();
  /// Sets the build options. Returns 0 or -1.
  int parse_options(const char* config_string);

  using DastBaseMethod::make;
  TeraScanGraph* lookup(const char* query, DastOptions::Call call, AceReporter* rep) const override;
  int make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) override;
  void clean() override;
  const TeraMap* get_map() const override { return nullptr; }
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;

  /// The map is not used.
  int configure_build_options(const char* options, const TeraMap* map) override;
  TeraQuery* eval(DastOptions::Call call, const char* query, AceReporter* rep) const override;
  const char* show(Large id, AceAttach* at) const override;
  /// Values; by position, or in their order when they are sorted.
  int get_num_items() const override { return static_cast<int>(numValues); }
  int get_items(int pos, const Large** ids, AceAttach* at) const override;
  const char* get_item(int pos, AceAttach* at) const override;
  int can_sort() const override { return has(SORTED) ? 1 : 0; }

  /// What a query finds; the caller deletes the result. Null for a null or empty query.
  TeraResult* scan(const char* query, DastOptions::Call call) const;
  /// The number of values below one, in a sorted index.
  Large count_below(const Uuid& value) const;

 private:
  struct ValueList;
  static constexpr Large GUIDE_STEP = 16;

  bool has(Options option) const { return (optionFlags & option) != 0; }
  bool is_value(Large pos) const { return presence == nullptr || presence->get(pos) != 0; }
  /// In bounds whatever the array holds.
  Large sorted_position(VInt rank) const {
    const Large pos = sortArray[rank];
    return pos < numEntries ? pos : 0;
  }
  const Uuid& sorted_value(VInt rank) const { return valueArray[sorted_position(rank)]; }
  Large position_of_item(int item) const;
  template <class Visit>
  void for_each_match(const Uuid& from, const Uuid& to, Visit visit) const;

  int build(TeraReader* reader, bool serves, AceReporter* rep, const char* filename);
  int read_values(TeraReader* reader, bool serves, const char* filename, AceReporter* rep,
                  ValueList* values) const;
  int read_value(const char* string, bool serves, const char* filename, AceReporter* rep, Uuid* value) const;
  int fill_dense(const ValueList& values);
  void fill_values(const ValueList& values);
  void sort_values();
  void make_guide();
  Large num_guides() const { return numValues / GUIDE_STEP + (numValues % GUIDE_STEP != 0 ? 1 : 0); }
  void save_arrays(AceFile* file) const;
  bool read_arrays(AceFile* file);

  int uuidFeatures = 0;
  std::unique_ptr<BlockIndex> denseArray = std::make_unique<BlockIndex>();
  const Uuid* valueArray = nullptr;
  const Large* sortArray = nullptr;
  const VUint* guideArray = nullptr;
  std::unique_ptr<AceBits> presence;
  Large numEntries = 0;
  Large numValues = 0;
  int optionFlags = 0;
  bool isMapped = false;  // the arrays point into a mapping
  AceAttach memAt;        // holds them otherwise
};

/// Makes sure that the method is known, for hosts that link statically.
SORV_API void DimeUuidMethod_init();
