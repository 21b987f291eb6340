/// Field method NUMBER: digit strings that are compared as text (customer and account numbers, codes in
/// hexadecimal digits), with digits that were dropped, exchanged or misread.
///
/// Values and queries are filled on the left up to a number of digits, and the filled strings are looked up
/// in an edit index: 4711 is 0000004711. Nothing is ever cut. Filled digits match like others, so that 12
/// finds 34 with quality 204: eight of ten digits agree.
///
/// The characters that count are the hexadecimal digits, in either case; letters that are none but look like
/// a digit count as that (o 0, i and l 1, z 2, s 5, g 6). All others are ignored, wherever they stand:
/// "47-11" is filled to ten digits like "4711".
///
/// What the call modes make of the recall options:
///
///                      EXACT      COMPLETE  DETECT  DETECT1..9           others   query objects
///     eval_type        EXACT      FACTOR    option  of the row           option   option, EXACT, row 0..9
///     eval_model       MAXIMUM    QUERY     ENTRY   of the row           option   option, row 0..9
///     do_transpose     off        option    option  of the row           option   option, EXACT off, row
///     limits           option     option    option  of the row, if set   option   none
///     filling of query option     off       option  option               option   option
///
/// where a row is one of dime_detect_settings.h. Query objects fill what they compare, and are made of the
/// options as configured: they differ from look-ups in COMPLETE, DETECT and DETECT0. Where they may give a
/// value more, results say that what is not listed may be worth anything (`TeraResult::get_best_frequent`).
///
/// With "allow_wildcards", and always in EXACT, '*' stands for any run of digits in a query and '?' for one
/// digit. Such a query is not filled, and is compared with values without their filling: 47*1 finds 4711 and
/// 47001, not 14711. What a query has of filling in front is dropped, too: 00?? is ??, as 0047 is 47. What
/// it matches has quality 255.
///
/// Build options:
///
///     num_digits        int    10        strings are filled up to that length, 0 to 1024
///     leading           char   '0'       what they are filled with, a hexadecimal digit
///
/// Recall options:
///
///     do_transpose      flag             exchanged neighbours are one error
///     no_normalization  flag             queries are not filled
///     allow_wildcards   flag
///     eval_type         string SEQ       what is compared (tera_eval.h)
///     eval_model        string MAXIMUM
///     min_value, max_dist, num_cands     dime_recall_options.h
///
/// A text without any digit is not filled, and is not found. The index gives back filled strings.
///
/// Record of `save`: int features, int num_digits, char leading; `TeraEdit`; magic NUROP, three ints
/// (dime_recall_options.h), three bools (do_transpose, no_normalization, allow_wildcards), int eval_type, int
/// eval_model.
///
/// Thread safety: as TeraEdit. Parsing options is guarded. Query objects refer to the method, which must
/// outlive them.
#pragma once

#include <string>

#include "dime/dime_method.h"
#include "dime/dime_recall_options.h"
#include "tera/tera_edit.h"
#include "tera/tera_eval.h"

class AceOptionsParser;

class SORV_API DimeNumberRecallOptions {
 public:
  DimeNumberRecallOptions() = default;
  /// What a call mode makes of configured options.
  DimeNumberRecallOptions(DastOptions::Call call, const DimeNumberRecallOptions& configured);

  /// The parser registered under "NUMBER" for recalls.
  static AceOptionsParser* get_parser();
  /// Parses. Returns 0; -1, and nothing changes.
  int apply(const char* config_string);
  void configure(const DimeNumberRecallOptions& other) { *this = other; }
  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

  const DimeRecallOptions& get_primary() const { return primaryOptions; }
  bool get_do_transpose() const { return doTranspose; }
  bool get_no_normalization() const { return noNormalization; }
  bool get_allow_wildcards() const { return allowWildcards; }
  TeraEval::Model get_eval_model() const { return evalModel; }
  TeraEval::Mode get_eval_algorithm() const { return evalAlgorithm; }

 private:
  void take_row(DastOptions::Call call);

  DimeRecallOptions primaryOptions{190, 255, 2500};
  bool doTranspose = false;
  bool noNormalization = false;
  bool allowWildcards = false;
  TeraEval::Model evalModel = TeraEval::MAXIMUM;
  TeraEval::Mode evalAlgorithm = TeraEval::SEQ;
};

class SORV_API DimeNumberMethod : public DimeMethod<DimeNumberMethod, DimeNumberRecallOptions> {
 public:
  static constexpr const char* NAME = "NUMBER";
  static constexpr const char* MAGIC = "MNUMB";
  static constexpr const char* RECONFIGURE =
      "config_method = dynamic_cast <const DimeNumberMethod*> (method)";
  /// As long as a query of the edit index may be.
  static constexpr int MAX_DIGITS = 1024;

  /// The parser registered under "NUMBER" for builds.
  static AceOptionsParser* get_parser();
  /// Sets the build options. Returns 0 or -1.
  int parse_options(const char* config_string);
  /// The text with as many leading characters in front as it lacks digits: a new string in `at`, or `text`
  /// itself.
  const char* add_leading(const char* text, AceAttach* at) const;
  /// The same in `*scratch`, which keeps its memory from one text to the next.
  const char* add_leading(const char* text, std::string* scratch) const;
  /// The other way round, into `*scratch`: the digits behind all leading characters, at least one.
  const char* strip_leading(const char* text, std::string* scratch) const;
  /// A query with wildcards from the first character on that is no leading one.
  const char* bare_pattern(const char* query) const;

  using DastBaseMethod::make;
  TeraScanGraph* lookup(const char* query, DastOptions::Call call, AceReporter* rep) const override;
  int make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) override;
  void clean() override { editStruct.clean(); }
  /// Its own map, whatever field it serves.
  const TeraMap* get_map() const override;
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;
  bool is_parallelizable() const override { return editStruct.is_parallelizable() != 0; }

  /// The map is not used.
  int configure_build_options(const char* options, const TeraMap* map) override;
  TeraQuery* eval(DastOptions::Call call, const char* query, AceReporter* rep) const override;
  const char* show(Large id, AceAttach* at) const override;
  int get_num_items() const override { return static_cast<int>(editStruct.get_num_entries()); }
  int get_items(int pos, const Large** ids, AceAttach* at) const override;
  const char* get_item(int pos, AceAttach* at) const override;
  int can_sort() const override { return 0; }

 private:
  std::size_t num_missing(const char* text) const;
  int recall(TeraResult* result, const char* query, const DimeNumberRecallOptions& options,
             AceReporter* rep) const;
  int recall_pattern(TeraResult* result, const char* query, TeraQuery* object, AceReporter* rep) const;

  int numberFeatures = 0;
  TeraEdit editStruct;
  int numDigits = 10;
  char leadingChar = '0';
};

/// Makes sure that the method is known, for hosts that link statically.
SORV_API void DimeNumberMethod_init();
