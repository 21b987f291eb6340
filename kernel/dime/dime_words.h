/// Field method WORDS: values of several words (names, titles, descriptions), by a multi-word index
/// (tera_multi.h).
///
/// Build options ("-skip 10 -sep ' '"); texts that are empty or "{}" stand for none:
///
///     unique              flag         the share of skip words is that of distinct values
///     unbound_recall      flag         words are joined, where a value is asked for with errors
///     single_hits         flag         lists of single words, for `detect_single`
///     use_auto            flag         words in an automaton
///     merge_entries       flag         words are joined, however a value is asked for
///     add_len             int    4     fewest characters of a part that is found by itself
///     sort                int    80    percentage of the values that is kept in memory while building
///     skip                int    10    words in more than so many percent of the values are skip words
///     filter, refine      int    3, 150  of the index of words (tera_edit.h)
///     sep                 char   ' '   what words are separated by
///     add                 string       further separators, of the parts of words
///     phonetics           string       transform by which words sound alike (tera_transform.h)
///     single_alias_file   string       aliases of words (tera_alias_reader.h)
///     skip_export_file    string       receives the skip words
///     skip_file           string       skip words, one a line
///
/// Recall options, and what the call modes make of them:
///
///                                          EXACT   COMPLETE  APPROX   DETECT   DETECT0..9
///     min_value         int     190        255     option    option   option   of the row, if set
///     max_dist          int     255        -       option    option   option   likewise
///     num_cands         int     2500       -       option    option   option   likewise
///     model             string  SHORT      -       SHORT     option   LONG     of the row
///     eval_mode         string  LEVENSHTEIN  -     option    option   option   of the row
///     det_model         string  SHORT      FS_DETECT, FS_COMPLETE, and amortized queries
///     reeval            flag               option  option    option   -        -
///     no_teaser         flag               candidates without marks
///     split_unmapped    flag               characters without token separate words of the query
///     decompose         flag               words that nothing resembles are cut in two
///     no_transpose      flag               option  option    option   option   of the row
///     single_minqual    int     165        least quality of a pair of words
///     single_maxedit    int     3          most errors of a word, in an automaton
///     orig_weight       int     50         percentage of how a word is spelt against how it sounds
///     complete_markers  string             characters at the end of words that go on
///
/// DETECT0 to DETECT9 look the query up as one word, and give all values that have it. FS_DETECT looks for
/// values in a text, FS_COMPLETE with its last word unfinished.
///
/// Record of `save`: `TeraMulti`; int features; the recall options: magic WOROP, three ints
/// (dime_recall_options.h), bools reeval, no_teaser, split_unmapped, no_transpose, string complete_markers,
/// ints single_minqual, single_maxedit, orig_weight, model, det_model, eval_mode, bool decompose; then bools
/// unique, use_auto, unbound_recall, char sep, ints sort, skip, add_len, refine, filter, strings add,
/// single_alias_file, skip_export_file, skip_file, phonetics.
///
/// Thread safety: as TeraMulti. Parsing options is guarded.
#pragma once

#include <string>

#include "dime/dime_method.h"
#include "dime/dime_recall_options.h"
#include "tera/tera_amortized_query.h"
#include "tera/tera_eval.h"
#include "tera/tera_multi.h"

class AceOptionsParser;
class TeraResult;
class WordsReader;

class SORV_API DimeWordsRecallOptions {
 public:
  /// The parser registered under "WORDS" for recalls.
  static AceOptionsParser* get_parser();
  /// Parses. Returns 0; -1, and nothing changes.
  int apply(const char* config_string);
  void configure(const DimeWordsRecallOptions& other) { *this = other; }
  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

  int get_min_value(DastOptions::Call call) const;
  int get_max_dist(DastOptions::Call call) const;
  int get_num_cands(DastOptions::Call call) const;
  TeraEval::Model get_eval_model(DastOptions::Call call) const;
  TeraEval::Mode get_eval_mode(DastOptions::Call call) const;
  bool get_no_transpose(DastOptions::Call call) const;
  /// The options of a recall of the index.
  int get_options(DastOptions::Call call) const;
  TeraEval::Model get_det_model() const { return detModel; }
  int get_single_min_qual() const { return singleMinQual; }
  int get_single_max_edit() const { return singleMaxEdit; }
  int get_orig_weight() const { return origWeight; }
  const char* get_complete_markers() const { return completeMarkers.c_str(); }

 private:
  bool is_valid() const;

  DimeRecallOptions primaryOptions{190, 255, 2500};
  bool doReeval = false;
  bool noTeaser = false;
  bool splitAtUnmapped = false;
  bool doDecompose = false;
  bool noTranspose = false;
  int singleMinQual = TeraMulti::SINGLE_MIN_QUAL;
  int singleMaxEdit = TeraMulti::SINGLE_MAX_EDIT;
  int origWeight = TeraMulti::ORIG_WEIGHT;
  std::string completeMarkers;
  TeraEval::Model evalModel = TeraEval::SHORT;
  TeraEval::Model detModel = TeraEval::SHORT;
  TeraEval::Mode evalMode = TeraEval::LEVENSHTEIN;
};

/// A value's quality from those of the words of a text in it, by the model's fine form: words without hit do
/// not count in the length of the text, and what exceeds 255 is 254.
class SORV_API WordsAmortizedQuery : public TeraAmortizedQuery {
 public:
  /// The graph is only read here; the index is kept by pointer.
  WordsAmortizedQuery(const TeraScanGraph* graph, const TeraMulti* multi, TeraEval::Model model);

  int get_num_words() const override { return static_cast<int>(wordWeights.size()); }
  int get_quality(const int* qualities, Large item, int divisor) const override;

 private:
  TeraEval::Eval* evalFunc;
  const TeraMulti* multiStruct;
  std::vector<int> wordWeights;  // tokens
};

class SORV_API DimeWordsMethod : public DimeMethod<DimeWordsMethod, DimeWordsRecallOptions> {
 public:
  static constexpr const char* NAME = "WORDS";
  static constexpr const char* MAGIC = "WORDS";
  static constexpr const char* RECONFIGURE = "config_method = dynamic_cast <const DimeWordsMethod*> (method)";
  /// Stored in files, not to be renumbered.
  enum Features : int {
    HAS_DIRECT_HIT = 1,  ///< there are lists of single words
    MERGE_ENTRIES = 2,   ///< words are joined
  };

  DimeWordsMethod();
  ~DimeWordsMethod() override;

  /// The parser registered under "WORDS" for builds.
  static AceOptionsParser* get_parser();
  /// Sets the build options. Returns 0 or -1.
  int parse_options(const char* config_string);
  int init(const TeraMap* map);

  using DastBaseMethod::make;
  TeraScanGraph* lookup(const char* query, DastOptions::Call call, AceReporter* rep) const override;
  /// -1 also without a file name: part of the values may wait in "name.chunk". -2 for a value that cannot be
  /// given back as it was.
  int make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) override;
  int make(WordsReader* reader, int flags, AceReporter* rep);
  void clean() override;
  const TeraMap* get_map() const override { return multiStruct.get_tera_map(); }
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;
  bool is_parallelizable() const override { return multiStruct.is_parallelizable() != 0; }

  int configure_build_options(const char* options, const TeraMap* map) override;
  TeraQuery* eval(DastOptions::Call call, const char* query, AceReporter* rep) const override;
  const char* show(Large id, AceAttach* at) const override;
  int get_num_items() const override { return static_cast<int>(multiStruct.num_records()); }
  int get_items(int pos, const Large** ids, AceAttach* at) const override;
  const char* get_item(int pos, AceAttach* at) const override;
  int can_sort() const override { return 0; }
  TeraAmortizedQuery* create_amortized_query(DastOptions::Call call,
                                             const TeraScanGraph* graph) const override;
  TeraScanGraph* detect_single(const char* text, DastOptions::Call call, AceReporter* rep) const override;

  /// The values that match one query; the caller deletes the result. Null for a null query and for modes
  /// without an answer.
  TeraResult* scan(DastOptions::Call call, const char* query, AceReporter* rep) const;
  /// The values in a text, with one reference for the caller.
  TeraScanGraph* detect(DastOptions::Call call, const char* text) const;

  const TeraMulti* get_multi() const { return &multiStruct; }

 private:
  int recall_options(DastOptions::Call call) const;
  int index_options(int flags) const;
  int scan_lines(DastOptions::Call call, TeraResult* result) const;
  int read_settings(AceFile* file);

  TeraMulti multiStruct;
  int wordsFeatures = 0;
  bool doUnique = false;
  bool useAuto = false;
  bool unboundRecall = false;
  char sepChar = ' ';
  int sortPercent = 80;
  int skipPercent = 10;
  int addLen = 4;
  int refineEdit = 150;
  int editFilter = 3;
  std::string addSep;
  std::string singleAlias;
  std::string skipExport;
  std::string skipFile;
  std::string phoneTrafo;
};

/// Makes sure that the method is known, for hosts that link statically.
SORV_API void DimeWordsMethod_init();
