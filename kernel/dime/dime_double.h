/// Field method DOUBLE: quantities (prices, sizes, weights), graded by their distance.
///
/// The index has the distinct numbers of the values in ascending order, and the base ids of each. A value is
/// read as the C library reads a number, always with a decimal point; what stands behind the number counts
/// for nothing ("12 kg" is 12, and "1,5" is 1, of which `make` warns). Values that are no finite numbers are
/// left out, with one warning.
///
/// What the call modes ask for:
///
///     EXACT      EQUAL      the number                DETECT   AT_MOST   it, less, or a little more
///     COMPLETE   AT_LEAST   it, more, or a little     others   ABOUT     numbers near it
///                           less
///
/// A number that is asked for has quality 255, others 255 - d x scale, cut to a whole number and never below
/// 0, where d is by the function
///
///     LINEAR         |a - b|
///     DIFF_OF_LOGS   |ln(a - smallest) - ln(b - smallest)|; quality 0 for numbers up to "smallest"
///     SQRT_OF_DIFF   the square root of |a - b|
///
/// A query is one number. Two numbers with ';' are refused: such a query finds nothing, with a warning that
/// names COMPLETE and DETECT, which ask for one end of a range each. Look-up and query object agree; stored
/// strings that are no numbers have quality 0, and so have all with a query that is none.
///
/// Build options:
///
///     secondary       flag              no index: values are only scored one by one
///     smallest        double   0.0      the origin of DIFF_OF_LOGS
///
/// Recall options:
///
///     factor          int      10000    scale x 100, from 0 on
///     function        string   LINEAR   the distance; another name is LINEAR
///     min_int_place   int      1        width of printed numbers: zeros are put in front
///     num_dec_place   int      4        decimals of printed numbers
///     min_value, max_dist, num_cands    dime_recall_options.h
///
/// Numbers are printed with leading zeros up to min_int_place + num_dec_place + 1 characters. `make` for a
/// field whose strings come from the index gives -2, and names the first value, where printing cuts a value.
///
/// Record of `save`:
///
///     features       int
///     recall options magic DBROP, three ints (dime_recall_options.h), int function, int min_int_place,
///                    int num_dec_place, double scale
///     logLow         double             "smallest"
///     numKeys        Large              distinct numbers
///     keyArray       numKeys x 8        if numKeys > 0; aligned to 8; ascending
///     infoHandle     AceIdMap           if IS_PRIMARY; from positions in keyArray to base ids
///
/// `read` checks sizes and options in constant time; look-ups stay in bounds in whatever order the numbers
/// are. Thread safety: any number of threads may ask at once. Parsing options is guarded. Query objects
/// refer to the method, which must outlive them.
#pragma once

#include <memory>

#include "ace/ace_attach.h"
#include "ace/ace_id_map.h"
#include "dime/dime_method.h"
#include "dime/dime_recall_options.h"

class AceOptionsParser;

class SORV_API DimeDoubleRecallOptions {
 public:
  /// Stored in files, not to be renumbered.
  enum EvalMode : int { LINEAR = 0, DIFF_OF_LOGS = 1, SQRT_OF_DIFF = 2, NUM_EVAL_MODES = 3 };
  /// Of either kind that may be asked for.
  static constexpr int MAX_PLACES = 300;

  /// The parser registered under "DOUBLE" for recalls.
  static AceOptionsParser* get_parser();
  /// The function of a name in upper case; LINEAR for all else and for null.
  static EvalMode get_eval_mode(const char* name);
  /// Parses. Returns 0; -1, and nothing changes.
  int apply(const char* config_string);
  void configure(const DimeDoubleRecallOptions& other) { *this = other; }
  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

  /// The number as it is shown, in `at`. Negative places count as 0.
  const char* print(double value, AceAttach* at) const;

  const DimeRecallOptions& get_primary() const { return primaryOptions; }
  EvalMode get_eval_mode() const { return evalMode; }
  double get_scale_factor() const { return scaleFactor; }

 private:
  bool is_valid() const;

  DimeRecallOptions primaryOptions{190, 255, 2500};
  EvalMode evalMode = LINEAR;
  int minIntPlaces = 1;
  int numDecPlaces = 4;
  double scaleFactor = 100.0;
};

class SORV_API DimeDoubleMethod : public DimeMethod<DimeDoubleMethod, DimeDoubleRecallOptions> {
 public:
  static constexpr const char* NAME = "DOUBLE";
  static constexpr const char* MAGIC = "DOUBL";
  static constexpr const char* RECONFIGURE = "config_method = dynamic_cast<const DimeDoubleMethod*> (method)";
  /// Stored in files, not to be renumbered.
  enum DoubleFeatures : int { IS_PRIMARY = 1 };
  enum EvalType : int { ABOUT = 0, EQUAL = 1, AT_LEAST = 2, AT_MOST = 3 };

  /// The parser registered under "DOUBLE" for builds.
  static AceOptionsParser* get_parser();
  /// Sets the build options. Returns 0 or -1.
  int parse_options(const char* config_string);

  static EvalType get_eval_type(DastOptions::Call call);
  /// Stores the number of a query text. Returns 0; -1 for a text without number, or with two.
  static int convert(const char* text, double* from, double* to);
  /// Quality of two numbers by their distance.
  int compare(double a, double b) const;
  /// Quality of a number for a range.
  int compare(double from, double to, double value, EvalType type) const;
  /// Where the number is among the keys, or would be; with `upper` one less when it is not there: -1 to the
  /// number of keys.
  VInt bin_search(double value, int upper) const;

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
  int get_num_items() const override { return static_cast<int>(numKeys); }
  int get_items(int pos, const Large** ids, AceAttach* at) const override;
  const char* get_item(int pos, AceAttach* at) const override;
  int can_sort() const override { return 1; }

 private:
  struct ValueList;

  int read_values(TeraReader* reader, bool serves, const char* filename, AceReporter* rep,
                  ValueList* values) const;
  int build(ValueList* values, AceReporter* rep);
  bool is_printable(double value) const;
  double distance(double a, double b) const;

  int doubleFeatures = IS_PRIMARY;
  Large numKeys = 0;
  const double* keyArray = nullptr;
  std::unique_ptr<AceIdMap> infoHandle;
  bool isMapped = false;  // keyArray lies in a mapping
  double logLow = 0.0;
  AceAttach memAt;  // holds it otherwise
};

/// Makes sure that the method is known, for hosts that link statically.
SORV_API void DimeDoubleMethod_init();
