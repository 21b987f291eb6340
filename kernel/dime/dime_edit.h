/// Field method EDIT: words and short strings with typing errors, by an edit index (tera_edit.h).
///
/// Build options ("-filter 3 -phonetics metaphone"):
///
///     allow_glob   flag                 alternatives and wildcards in the values; with filter 0
///     compact      flag                 no padding between lengths; with filter 0
///     plain_columns flag                the index's columns stay uncompressed: first answers are faster,
///                                       and it grows by 11 % with filter 3, without one several times
///     secondary    flag                 no index: values are only scored one by one
///     filter       int      3           2^n entries share a place in the filter, 0 for none
///     refine       int      1000        how far entries move for a better filter
///     alias        string               file of aliases of values (tera_alias_reader.h)
///     phonetics    string               transform by which values sound alike (tera_transform.h)
///
/// Recall options, and what the call modes make of them:
///
///                                        EXACT      COMPLETE   DETECT   DETECT0..9           others
///     min_value        int     190       255        option     option   of the row, if set   option
///     max_dist         int     255       1          option     option   likewise             option
///     num_cands        int     2500      option     option     option   likewise             option
///     eval_type        string  LEVENSHTEIN  WILDCARD  PREFIX   COVER    of the row           option
///     eval_model       string  REDUNDANT    MAXIMUM   SHORT    LONG     of the row           option
///     no_transpose     flag              option     option     option   of the row           option
///     orig_weight      int     50        100        option     option   100 if the row has no phonetics
///     no_glob          flag              no operators in queries
///     allow_wildcards  flag              query objects take operators as wildcards
///     subset_cont      flag              COMPLETE keeps an eval_type of SUBSET, SUPERSET or BLOCKEDIT
///
/// FS_DETECT and FS_COMPLETE look up every run of words of a text.
///
/// Record of `save`: `TeraEdit`; int features, int build flags, int filter, int refine, string alias; then
/// the recall options: magic EDROP, three ints (dime_recall_options.h), four bools (no_glob, no_transpose,
/// subset_cont, allow_wildcards), int orig_weight, int mode, int model. An older layout had the three ints
/// alone, without the magic.
///
/// Thread safety: as TeraEdit. Parsing options is guarded.
#pragma once

#include <memory>
#include <string>

#include "dime/dime_method.h"
#include "dime/dime_recall_options.h"
#include "tera/tera_edit.h"
#include "tera/tera_eval.h"

class AceOptionsParser;
class TeraResult;

class SORV_API DimeEditRecallOptions {
 public:
  /// The parser registered under "EDIT" for recalls.
  static AceOptionsParser* get_parser();
  /// Parses. Returns 0; -1, and nothing changes.
  int apply(const char* config_string);
  void configure(const DimeEditRecallOptions& other) { *this = other; }
  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

  int get_min_value(DastOptions::Call call) const;
  int get_max_dist(DastOptions::Call call) const;
  int get_num_cands(DastOptions::Call call) const;
  TeraEval::Model get_eval_model(DastOptions::Call call) const;
  TeraEval::Mode get_eval_algorithm(DastOptions::Call call) const;
  bool get_no_transpose(DastOptions::Call call) const;
  int get_orig_weight(DastOptions::Call call) const;
  bool get_no_glob() const { return noGlob; }
  bool get_allow_wildcards() const { return allowWildcards; }

 private:
  bool keeps_subset(DastOptions::Call call) const;

  DimeRecallOptions primaryOptions{190, 255, 2500};
  bool noGlob = false;
  bool noTranspose = false;
  bool subsetCont = false;
  bool allowWildcards = false;
  int origWeight = 50;
  TeraEval::Model evalModel = TeraEval::REDUNDANT;
  TeraEval::Mode evalAlgorithm = TeraEval::LEVENSHTEIN;
};

class SORV_API DimeEditMethod : public DimeMethod<DimeEditMethod, DimeEditRecallOptions> {
 public:
  static constexpr const char* NAME = "EDIT";
  static constexpr const char* MAGIC = "MEDIT";
  static constexpr const char* RECONFIGURE = "config_method = dynamic_cast<const DimeEditMethod*> (method)";
  /// Stored in files, not to be renumbered.
  enum EditFeatures : int {
    IS_PRIMARY = 1,  ///< an index is built
    ALLOW_GLOB = 2,  ///< of values with operators
  };

  DimeEditMethod();
  ~DimeEditMethod() override;

  /// The parser registered under "EDIT" for builds.
  static AceOptionsParser* get_parser();
  /// Sets the build options. Returns 0 or -1.
  int parse_options(const char* config_string);
  /// Binds a copy of the map, and the phonetic transform. Returns 0; -1 for a null map and an unknown
  /// transform.
  int init(const TeraMap* map);
  /// Null, "" and "{}" stand for none.
  void assign_alias_file(const char* name);
  void assign_phonetics(const char* name);

  using DastBaseMethod::make;
  TeraScanGraph* lookup(const char* query, DastOptions::Call call, AceReporter* rep) const override;
  /// In mode APPROX, without aliases and phonetics.
  TeraScanGraph* lookup_below(const char* query, DastOptions::Call call, int min_value,
                              AceReporter* rep) const override;
  int make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) override;
  void clean() override;
  const TeraMap* get_map() const override { return editStruct.get_tera_map(); }
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;
  bool is_parallelizable() const override { return editStruct.is_parallelizable() != 0; }

  int configure_build_options(const char* options, const TeraMap* map) override;
  TeraQuery* eval(DastOptions::Call call, const char* query, AceReporter* rep) const override;
  const char* show(Large id, AceAttach* at) const override;
  int get_num_items() const override { return static_cast<int>(editStruct.get_num_entries()); }
  int get_items(int pos, const Large** ids, AceAttach* at) const override;
  const char* get_item(int pos, AceAttach* at) const override;
  int can_sort() const override { return 0; }

  /// The entries that match one query, resolved; the caller deletes the result. Null without entries, for
  /// EMPTY and for a null query.
  TeraResult* scan(DastOptions::Call call, const char* query, AceReporter* rep) const {
    return scan(call, query, recallOpts.get_min_value(call), rep);
  }
  TeraResult* scan(DastOptions::Call call, const char* query, int min_value, AceReporter* rep) const;
  /// The runs of words of a text that match entries, with one reference for the caller.
  TeraScanGraph* detect(DastOptions::Call call, const char* text) const;

  const TeraEdit* get_edit() const { return &editStruct; }

 private:
  int recall_options(DastOptions::Call call) const;
  int make_index(TeraReader* reader, int options, AceReporter* rep);

  TeraEdit editStruct;
  int editFeatures = 0;
  int filterLog = 3;
  int makeOpts = 0;  // flags of TeraEdit::make, and 8 for strings that are served from the index
  int filterRefine = 1000;
  std::string aliasFile;
  std::string phoneTrafo;
};

/// Makes sure that the method is known, for hosts that link statically.
SORV_API void DimeEditMethod_init();
