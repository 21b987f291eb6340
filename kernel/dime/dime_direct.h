/// Field method DIRECT: whole numbers from 0 on (counts, years, numeric codes) with tolerances from exact to
/// nearly logarithmic.
///
/// The index has the number with which each value begins ("007" and "7 rooms" are both 7, negative numbers
/// are 0), and its base ids. Values that begin with no number are left out, with one warning.
///
/// A query is a number or a range, with a ';' between its ends in either order; an end that is missing is
/// open:
///
///     12     12;7  = 7 to 12     12;  = from 12 on     ;12  = up to 12
///
/// A ',' or '.' behind a number ends it ("12.5" is 12). Any other character there, and a text without digits,
/// is no query: it matches nothing.
///
/// What the call modes ask for:
///
///     EXACT      EQUAL      numbers in the range       DETECT   AT_MOST   in it, below, or a little above
///     COMPLETE   AT_LEAST   in it, above, or a         others   ABOUT     in it or near it
///                           little below
///
/// Numbers that are asked for have quality 255, others 255 less the difference of two scaled values, that of
/// the number and that of the lower end of the range, never below 0. Scaled values are codes x "factor" / 100
/// (codes, when the factor is 0). Codes are the number itself or, for a "log_max" from 256 on, a compressed
/// form of at most 255, which is exact for small numbers and then has as many codes for each doubling:
///
///     log_max            from 256   from 512   from 4096   from 524288
///     expo bits          2          3          4           5
///     exact up to        128        64         32          16
///     codes a doubling   64         32         16          8
///     code 255 from      512        4096       524288      (239 from 4026531840)
///
/// Scaled values beyond 32 bits of codes above 2^20 are -1 and count as farthest. Numbers may share a code:
/// then a number outside of the range has 255, too.
///
/// Build options:
///
///     secondary   flag            no index: values are only scored one by one
///
/// Recall options:
///
///     log_max     int     0       numbers up to there are told apart; 0: all are, by their difference
///     factor      int     100     percent, from 0 on
///     min_value, max_dist, num_cands   dime_recall_options.h
///
/// `make` for a field whose strings come from the index gives -2, and names the first value, where a value is
/// not what the number is printed as.
///
/// Record of `save`:
///
///     features       int
///     recall options magic DIROP, three ints (dime_recall_options.h), int log_max, int factor
///     numFar         Large              numbers that are no keys of a block index
///     farArray       numFar x 8         if numFar > 0; aligned to 8; ascending, above MAX_DENSE
///     denseArray     BlockIndex         if IS_PRIMARY, as the next: numbers up to MAX_DENSE
///     infoHandle     AceIdMap           from positions (those of denseArray, then those of farArray) to base
///                                       ids; holes of the block index have none
///
/// `read` checks sizes and options; look-ups stay in bounds whatever the arrays hold.
/// Thread safety: any number of threads may ask at once. Parsing options is guarded.
#pragma once

#include <memory>

#include "ace/ace_attach.h"
#include "ace/ace_block_index.h"
#include "ace/ace_id_map.h"
#include "dime/dime_method.h"
#include "dime/dime_recall_options.h"
#include "tera/tera_query.h"

class AceOptionsParser;

class SORV_API DimeDirectRecallOptions {
 public:
  /// The parser registered under "DIRECT" for recalls.
  static AceOptionsParser* get_parser();
  /// Parses. Returns 0; -1, and nothing changes.
  int apply(const char* config_string);
  void configure(const DimeDirectRecallOptions& other) { *this = other; }
  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

  const DimeRecallOptions& get_primary() const { return primaryOptions; }
  int get_log_max() const { return logMax; }
  int get_scale_factor() const { return scaleFactor; }

 private:
  DimeRecallOptions primaryOptions{190, 255, 2500};
  int logMax = 0;
  int scaleFactor = 100;
};

class SORV_API DimeDirectMethod : public DimeMethod<DimeDirectMethod, DimeDirectRecallOptions> {
 public:
  static constexpr const char* NAME = "DIRECT";
  static constexpr const char* MAGIC = "DIRCT";
  static constexpr const char* RECONFIGURE = "config_method = dynamic_cast<const DimeDirectMethod*> (method)";
  /// Stored in files, not to be renumbered.
  enum DirectFeatures : int { IS_PRIMARY = 1 };
  enum EvalType : int { EQUAL = 0, ABOUT = 1, AT_MOST = 2, AT_LEAST = 3 };
  /// The largest number that a block index has a key for.
  static constexpr Huge MAX_DENSE = 4294967294;

  /// The parser registered under "DIRECT" for builds.
  static AceOptionsParser* get_parser();
  /// Sets the build options. Returns 0 or -1.
  int parse_options(const char* config_string);

  static EvalType get_eval_type(DastOptions::Call call);
  /// Stores the range of a query text, -1 for both ends of what is none. Returns 0, or -1 for that.
  static int convert(const char* text, Huge* from, Huge* to);
  /// The bits of the exponent of codes.
  static int get_expo_bits(int log_max);
  /// The scaled value of a number.
  static Huge scale(Huge value, int factor, int expo_bits);

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
  /// Positions, holes included.
  int get_num_items() const override;
  int get_items(int pos, const Large** ids, AceAttach* at) const override;
  const char* get_item(int pos, AceAttach* at) const override;
  int can_sort() const override { return 1; }

  /// The largest number of the index; -1 without one.
  Huge get_max_key() const;

 private:
  struct KeyList;

  VInt num_positions() const { return VInt{denseArray->size()} + numFar; }
  /// The first position whose number is not below the value.
  VInt position_of(Huge value) const;
  Huge number_at(VInt pos) const;
  int read_values(TeraReader* reader, bool serves, const char* filename, AceReporter* rep,
                  KeyList* keys) const;
  int build(KeyList* keys, AceReporter* rep);
  int fill_dense(const KeyList& keys);
  int fill_infos(const KeyList& keys, AceReporter* rep);

  int directFeatures = IS_PRIMARY;
  std::unique_ptr<BlockIndex> denseArray = std::make_unique<BlockIndex>();
  Large numFar = 0;
  const Huge* farArray = nullptr;
  std::unique_ptr<AceIdMap> infoHandle;
  AceAttach memAt;  // holds farArray unless it is mapped
};

/// A range of numbers, asked in one way.
class SORV_API DimeDirectQuery : public TeraQuery {
 public:
  /// `expo_bits` of `DimeDirectMethod::get_expo_bits`.
  DimeDirectQuery(const char* text, DimeDirectMethod::EvalType type, int factor, int expo_bits);

  int is_empty() const override { return queryFrom < 0 ? 1 : 0; }
  /// Quality of a number.
  int compare_item(Huge value) const;
  /// Quality of the number with which a string begins; 0 for one that begins with none.
  int compare(const char* entry) override;
  using TeraQuery::compare;
  bool equals(const char* entry) const override;

  Huge get_from() const { return queryFrom; }
  Huge get_to() const { return queryTo; }

 private:
  int graded(Huge nearer, Huge farther) const;

  Huge queryFrom = -1;
  Huge queryTo = -1;
  Huge scaledFrom = 0;
  Huge scaledTo = 0;
  DimeDirectMethod::EvalType evalType;
  int scaleFactor;
  int expoBits;
};

/// Makes sure that the method is known, for hosts that link statically.
SORV_API void DimeDirectMethod_init();
