/// Field method DATE: dates, in whatever way they are written, graded by their distance in days.
///
/// Values and queries are read as dime_date_text.h says; values that are no dates are left out of the index
/// of days, with one warning, and are found as texts.
///
/// Build options:
///
///     format   string   SIMPLE   the order of numbers, and how dates are shown (dime_date_text.h)
///
/// Recall options:
///
///     switched         flag             also the date with day and month exchanged, where it is another one
///     switch_penalty   int     20       what that costs
///     edit_distance    int     3        errors of STRING search
///     scale_factor     float   1.0      s below
///     dist             string  LINEAR   LINEAR, LOG or SQUARED
///     smth             string  TIME     TIME: by days; STRING: as texts, with errors; STRING_TIME: the
///     better min_value, max_dist, num_cands    190, 255, 2500
///
/// A distance of d days has quality 255 - v, cut to a whole number, where v is
///
///     LINEAR    s d
///     LOG       log2(2 s d) + 0.5, for s d above 0.0009
///     SQUARED   (s d)^2 + 0.5
///
/// and 0 from 256 days on; with s below 0.001 only the day itself matches.
///
/// Queries: a date; two dates with ";", ".." or a hyphen between blanks between them, a range, whose days
/// have quality 255. Years and months alone are the range of their days. COMPLETE asks for a date and all
/// after it, DETECT for it and all before, others for those near it. EXACT finds the same date only, years
/// and months alone included; "?" stands for any digit, up to MAX_EXPANSIONS dates in the years that there
/// are, also in the other calls, where years and months alone ("198?", "??.1985") are their days. A query
/// that is no date is looked up as a text: EXACT literally, in STRING search with errors. FS_DETECT and
/// FS_COMPLETE look for dates in a text: for the longest runs of up to three words that read as one, between
/// signs of any kind, but not inside longer numbers such as 1.2.3.4.
///
/// Stored years and months alone lie at their first day: within ranges, before and after a date; near a date
/// they are not.
///
/// Items are the distinct dates in order (years and months alone last), numbered from 0. `make` for a field
/// whose strings come from the index gives -2, and names the value, where printing gives another text.
///
/// Record of `save`:
///
///     magic          DATE1
///     dateFormat     int
///     dateFeatures   int                DateFeatures
///     numEntry       Large              ids up to the largest
///     valueArray     numEntry x 4       if numEntry > 0; aligned to 8; day numbers by base id, 0: no date
///     monthFinder    TeraEdit
///     prepareMap     TeraMap            under which values are texts
///     datesAuto      TeraAuto           the values as they were entered
///     infoHandle     AceIdMap           from day numbers to base ids
///     recallOpts     magic DAROP, three ints (dime_recall_options.h), bool switched, int switch_penalty, int
///                    search method, int distance model, float scale_factor, int edit_distance
///
/// `read` checks sizes and options; look-ups stay in bounds whatever the arrays hold.
/// Thread safety: any number of threads may ask at once. Parsing options is guarded. Query objects refer to
/// the method, which must outlive them.
#pragma once

#include <memory>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_id_map.h"
#include "dime/dime_date_text.h"
#include "dime/dime_method.h"
#include "dime/dime_recall_options.h"
#include "tera/tera_auto.h"
#include "tera/tera_edit.h"
#include "tera/tera_map.h"

class AceOptionsParser;
class TeraResult;

class SORV_API DimeDateRecallOptions {
 public:
  /// Stored in files, not to be renumbered.
  enum DateSearchMethod : int { TIME = 0, STRING = 1, STRING_TIME = 2 };
  enum DateDistModel : int { LINEAR = 0, LOG = 1, SQUARED = 2 };

  /// The parser registered under "DATE" for recalls.
  static AceOptionsParser* get_parser();
  /// Parses. Returns 0; -1, and nothing changes.
  int apply(const char* config_string);
  void configure(const DimeDateRecallOptions& other) { *this = other; }
  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

  const DimeRecallOptions& get_primary() const { return primaryOptions; }
  bool get_switch_day_month() const { return switchDayMonth; }
  int get_switch_penalty() const { return switchPenalty; }
  DateSearchMethod get_search_method() const { return searchMethod; }
  DateDistModel get_dist_model() const { return distModel; }
  float get_scale_factor() const { return scaleFactor; }
  int get_edit_distance() const { return editDistance; }

  /// The largest distance that can still reach the least quality.
  int get_tolerance() const;
  /// The quality of a distance of `d` days; 0 for those below `min`.
  static int get_distance_val(VInt d, int min, DateDistModel model, float scale);
  /// The same from 0 on; 0 for 256 days and more.
  static int approx_quality(VInt d, DateDistModel model, float scale);
  /// The quality of day number b for a. Negative directions take all before, positive all after as equal.
  int compare_dates(int a, int b, int direction) const;

 private:
  bool is_valid() const;

  DimeRecallOptions primaryOptions{190, 255, 2500};
  bool switchDayMonth = false;
  int switchPenalty = 20;
  DateSearchMethod searchMethod = TIME;
  DateDistModel distModel = LINEAR;
  float scaleFactor = 1.0F;
  int editDistance = 3;
};

/// What a query asks for.
struct SORV_API DimeDateAsk {
  /// Days without marks, both included.
  struct Range {
    int from = 0;
    int to = 0;
    int penalty = 0;
    bool isDate = false;  ///< of one date, in `direction`; else of what lies between two days
    int direction = 0;
    int date = 0;  ///< of one date, with its marks
  };
  /// Quality of a stored day number.
  int compare(int value, const DimeDateRecallOptions& options) const;
  /// The marks of what the pattern stands for.
  int pattern_marks() const;
  /// Whether the pattern asks for the days of years or months.
  bool is_of_days() const { return !isExact && pattern_marks() != 0; }

  std::vector<Range> ranges;
  bool isExact = false;              ///< only the very dates
  bool hasPattern = false;           ///< `pattern` has wildcards
  DimeDateText::Parts pattern = {};  ///< alone, without ranges

 private:
  bool matches(int value) const;
};

class SORV_API DimeDateMethod : public DimeMethod<DimeDateMethod, DimeDateRecallOptions> {
 public:
  static constexpr const char* NAME = "DATE";
  static constexpr const char* MAGIC = "DATEM";
  static constexpr const char* RECONFIGURE = "config_method = dynamic_cast<const DimeDateMethod*> (method)";
  using DateFormat = DimeDateText::DateFormat;
  using enum DimeDateText::DateFormat;
  /// Stored in files, not to be renumbered.
  enum DateFeatures : int { SERVES_STRINGS = 1 };
  /// Dates that a query with wildcards may stand for.
  static constexpr int MAX_EXPANSIONS = 1 << 16;

  DimeDateMethod();
  ~DimeDateMethod() override;

  /// The parser registered under "DATE" for builds.
  static AceOptionsParser* get_parser();
  /// Sets the build options. Returns 0; -1, reported with all names, for a format that has none.
  int parse_options(const char* config_string);
  static int get_date_format(const char* name) { return DimeDateText::get_date_format(name); }
  static int make_time(int day, int month, int year) { return DimeDateText::make_time(day, month, year); }
  static void decompose(int value, int* day, int* month, int* year) {
    DimeDateText::decompose(value, day, month, year);
  }
  /// A day number in the method's format.
  const char* print_time(int value, AceAttach* at) const {
    return DimeDateText::print_date(value, dateFormat, at);
  }

  using DastBaseMethod::make;
  TeraScanGraph* lookup(const char* query, DastOptions::Call call, AceReporter* rep) const override;
  int make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) override;
  void clean() override;
  const TeraMap* get_map() const override { return &prepareMap; }
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;
  bool is_parallelizable() const override { return true; }

  int configure_build_options(const char* options, const TeraMap* map) override;
  TeraQuery* eval(DastOptions::Call call, const char* query, AceReporter* rep) const override;
  /// The date; of a value that is none its text.
  const char* show(Large id, AceAttach* at) const override;
  int get_num_items() const override { return static_cast<int>(num_keys()); }
  int get_items(int pos, const Large** ids, AceAttach* at) const override;
  const char* get_item(int pos, AceAttach* at) const override;
  int can_sort() const override { return 1; }

  /// What one query finds, resolved; the caller deletes the result. Null, reported, on errors.
  TeraResult* scan(DastOptions::Call call, const char* query, AceReporter* rep) const;
  /// Reads a query text. False for what is no date.
  bool read_query(DastOptions::Call call, const char* query, DimeDateAsk* ask) const;
  DateFormat get_format() const { return dateFormat; }
  const TeraEdit& get_month_finder() const { return monthFinder; }

 private:
  struct Values;
  bool approx_times(DastOptions::Call call, const char* query, DimeDateAsk* ask) const;
  void add_date(int date, int direction, int penalty, bool is_switched, DimeDateAsk* ask) const;
  int make_index(const Values& values, AceReporter* rep);
  int find_dates(const DimeDateAsk& ask, TeraResult* result) const;
  int find_expansions(const DimeDateAsk& ask, TeraResult* result) const;
  std::vector<int> get_available_years(const DimeDateText::Parts& pattern) const;
  void exact_query_internal(int date, TeraResult* result) const;
  void add_days(int from, int to, TeraResult* result) const;
  void get_range_cands(const DimeDateAsk& ask, const DimeDateAsk::Range& range, TeraResult* result) const;
  int find_strings(DastOptions::Call call, TeraResult* result, AceReporter* rep) const;
  std::unique_ptr<TeraResult> merge(TeraResult* times, TeraResult* strings) const;
  TeraScanGraph* detect(const char* text, AceReporter* rep) const;
  void add_key(int quality, Large key, TeraResult* result) const;
  Large num_keys() const;
  Large lower_slot(Large key) const;

  int dateFeatures = 0;
  DateFormat dateFormat = SIMPLE;
  TeraEdit monthFinder;
  TeraMap prepareMap;
  TeraAuto datesAuto;
  std::unique_ptr<AceIdMap> infoHandle;
  Large numEntry = 0;
  const Large* valueArray = nullptr;
  int fileMapped = 0;
  AceAttach memAt;  // valueArray, unless a file has it
};

/// Makes sure that the method is known, for hosts that link statically.
SORV_API void DimeDateMethod_init();
