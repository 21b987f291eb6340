/// Field method AUTO: codes, keys and words by an automaton (tera_auto.h): exact and by beginning in no time,
/// in sorted order, and with a few errors.
///
/// Build options ("-fast -path_compress"):
///
///     fast           flag      reversed entries as well: twice the memory, errors are found several times
///     faster allow_wild     flag      "?" and "*" in values stand for any character and any run of them
///     path_compress  flag      less memory, the same answers
///     alias          string    file of aliases of values (tera_alias_reader.h)
///     phonetics      string    transform by which values sound alike (tera_transform.h)
///
/// Recall options; "" stands for none in strings:
///
///     min_value, max_dist, num_cands   190, 255, 2500   limits of every call
///     no_glob           flag            no operators in queries
///     no_transpose      flag            swaps of neighbours are two errors
///     split_unmapped    flag            free text: characters without tokens separate words
///     orig_weight       int     50      percent, spelling against sound
///     max_edit          int     2       errors; 1 to 3 are fast
///     complete_markers  string  ""      free text: a word before one of these may go on
///     add_seps          string  ""      free text: these separate words as well
///     eval_type, eval_model             LEVENSHTEIN, REDUNDANT: measure and model of APPROX
///
/// What calls mean:
///
///     EXACT            the value, or what a pattern matches            MAXIMUM
///     COMPLETE         values that begin so           PREFIX           SHORT
///     APPROX           values within the errors       option           option
///     DETECT           each word of the query         LEVENSHTEIN      REDUNDANT   (query object: COVER)
///     DETECT0..9                                      of the row       of the row
///     FS_DETECT, FS_COMPLETE   runs of words of a text, with the last word unfinished
///     others                                          LEVENSHTEIN      MAXIMUM
///
/// Query objects allow transpositions exactly when look-ups do not. That is the system's behaviour. Where
/// they may give a value more than a look-up does (`measures_alike`), so in DETECT, results say that what is
/// not listed may be worth anything (`TeraResult::get_best_frequent`).
///
/// Values that the map does not tell apart are one item. Items are numbered in sorted order; item 0 is the
/// empty value. An index that serves strings is only built of values that are in the form that the map gives
/// back
/// (`TeraMap::is_normalized`): `make` names the first that is not and returns -2.
///
/// Record of `save`: int features; `TeraAuto`; int build flags (1 strings served, 4 fast, 16 allow_wild,
/// 32 path_compress), string alias; then the recall options: magic AUROP, three ints (dime_recall_options.h),
/// three bools (no_glob, no_transpose, split_unmapped), strings complete_markers and add_seps, ints
/// orig_weight, max_edit, model, mode. An older layout had the three ints alone, without the magic.
///
/// Thread safety: as TeraAuto. Parsing options is guarded.
#pragma once

#include <string>

#include "dime/dime_method.h"
#include "dime/dime_recall_options.h"
#include "tera/tera_auto.h"
#include "tera/tera_eval.h"

class AceOptionsParser;
class TeraResult;

class SORV_API DimeAutoRecallOptions {
 public:
  /// The parser registered under "AUTO" for recalls.
  static AceOptionsParser* get_parser();
  /// Parses. Returns 0; -1, and nothing changes.
  int apply(const char* config_string);
  void configure(const DimeAutoRecallOptions& other) { *this = other; }
  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

  int get_min_value() const { return primaryOptions.minValue; }
  int get_max_dist() const { return primaryOptions.maxDist; }
  int get_num_cands() const { return primaryOptions.numCands; }
  TeraEval::Model get_eval_model(DastOptions::Call call) const;
  TeraEval::Mode get_eval_mode(DastOptions::Call call) const;
  bool get_no_glob() const { return noGlob; }
  bool get_no_transpose() const { return noTranspose; }
  bool get_split_at_unmapped() const { return splitAtUnmapped; }
  int get_orig_weight() const { return origWeight; }
  int get_max_edit() const { return maxEdit; }
  const char* get_complete_markers() const { return completeMarkers.c_str(); }
  const char* get_add_separators() const { return addSeparators.c_str(); }

 private:
  DimeRecallOptions primaryOptions{190, 255, 2500};
  bool noGlob = false;
  bool noTranspose = false;
  bool splitAtUnmapped = false;
  std::string completeMarkers;
  std::string addSeparators;
  int origWeight = 50;
  int maxEdit = 2;
  TeraEval::Model evalModel = TeraEval::REDUNDANT;
  TeraEval::Mode evalMode = TeraEval::LEVENSHTEIN;
};

class SORV_API DimeAutoMethod : public DimeMethod<DimeAutoMethod, DimeAutoRecallOptions> {
 public:
  static constexpr const char* NAME = "AUTO";
  static constexpr const char* MAGIC = "MAUTO";
  static constexpr const char* RECONFIGURE = "config_method = dynamic_cast<const DimeAutoMethod*> (method)";
  /// Bits of the build flags; stored in files, not to be renumbered.
  enum MakeOption : int {
    SERVES_STRINGS = 1,
    FAST = TeraAuto::BIDIRECT,
    ALLOW_WILD = TeraAuto::ALLOW_WILD,
    PATH_COMPRESS = TeraAuto::PATH_COMPRESS
  };

  DimeAutoMethod();
  ~DimeAutoMethod() override;

  /// The parser registered under "AUTO" for builds.
  static AceOptionsParser* get_parser();
  /// Sets the build options. Returns 0 or -1.
  int parse_options(const char* config_string);
  /// Binds a copy of the map, and the phonetic transform. Returns 0; -1 for a null map and an unknown
  /// transform.
  int init(const TeraMap* map);

  using DastBaseMethod::make;
  TeraScanGraph* lookup(const char* query, DastOptions::Call call, AceReporter* rep) const override;
  int make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) override;
  void clean() override;
  const TeraMap* get_map() const override { return autoStruct.get_tera_map(); }
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;
  bool is_parallelizable() const override { return autoStruct.is_parallelizable() != 0; }

  int configure_build_options(const char* options, const TeraMap* map) override;
  TeraQuery* eval(DastOptions::Call call, const char* query, AceReporter* rep) const override;
  const char* show(Large id, AceAttach* at) const override { return autoStruct.get_string(id, at); }
  int get_num_items() const override { return static_cast<int>(autoStruct.get_capacity()); }
  /// The sort key of an attribute number, in `at`, and 1; -1 when there is none.
  int get_items(int id, const Large** keys, AceAttach* at) const override;
  const char* get_item(int pos, AceAttach* at) const override;
  int can_sort() const override { return autoStruct.can_sort(); }

  const TeraAuto* get_auto() const { return &autoStruct; }

 private:
  int lookup_options() const;
  bool measures_alike(DastOptions::Call call) const;
  int recall(DastOptions::Call call, TeraResult* result, AceReporter* rep) const;
  TeraScanGraph* detect(DastOptions::Call call, const char* text) const;
  int make_index(TeraReader* reader, AceReporter* rep, const char* filename);

  TeraAuto autoStruct;
  int autoFeatures = 0;
  int makeOpt = 0;  // of MakeOption
  std::string aliasFile;
  std::string phoneTrafo;
};

/// Makes sure that the method is known, for hosts that link statically.
SORV_API void DimeAutoMethod_init();
