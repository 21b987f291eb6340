/// Field method PREMISE: house numbers, with letters, ranges and what stands behind them.
///
/// What a text says, after '.' and blanks behind the number are dropped and the rest is in capitals:
///
///     12          a number                            12A       with a letter
///     10-20       a range on one side of a street     12A-C     with a range of letters ("-" or "*")
///     1*9         both sides                          12BIS     with an extension: any other text
///     1!9  2%10   even numbers only, odd ones only    12*       both sides, without end
///
/// Numbers are from 1 to 2147483647 and have no sign; a text without one is all letter and extension. A range
/// whose ends fall is read the other way round. Letters are A to Z, other characters are extensions.
///
/// Stored values are scored one by one: 255 less a penalty, never below 0. With the query's number (or range)
/// q, and the value's e, each with the parities that it admits:
///
///     q          e          penalty
///     none       none       twice that of the letters           none against a number: 255
///     number     number     that of the letters; 255 when they differ
///     number     range      in it: 0, or parity_fault when no parity is common; with extension_penalty and a
///                           letter or extension in the query, missing_extension more; outside: 255
///     range      number     boundary_fault when it is in the range, else 255
///     range      range      q inside e: 0; overlapping: boundary_fault; parity_fault more when no parity is
///                           common; apart: 255
///
/// of letters:
///
///     none       none       that of the extensions
///     none       some       missing_extension; incorrect_extension when the query has an extension
///     letter     letter     half that of the extensions; incorrect_extension when they differ
///     letter     none       missing_extension; incorrect_extension when the query has an extension
///     letter     range      0 inside, else incorrect_extension
///     range      letter     boundary_fault inside, else incorrect_extension (as against none)
///     range      range      inside: 0; overlapping: boundary_fault; apart: incorrect_extension
///
/// and of extensions: 0 when equal or neither is there, missing_extension when one is, half of
/// incorrect_extension for one inserted, missing or replaced character, else incorrect_extension.
///
/// With "use_lcs" the quality is at least that of the longest common subsequence of both texts, as they came
/// in, by the model MEAN.
///
/// Recall options; EXACT has all penalties and display_minqual 255, extension_penalty on and use_lcs off:
///
///     extension_penalty    flag           see above
///     use_lcs              flag
///     missing_extension    int    20      penalties, 0 to 255
///     incorrect_extension  int    50
///     boundary_fault       int    60
///     parity_fault         int    30
///     display_minqual      int    0       a range of at least that quality, and above 0, is shown as the
///     number
///                                         that was asked for
///
/// There are no build options. `make` gives -2: values are kept by the base. FS_DETECT and FS_COMPLETE look
/// up what in a text has the shape of a house number, by two expressions whose number is the attribute; these
/// candidates come from no index (state ARTIFICIAL). Other modes find nothing.
///
/// Record of `save`: magic PREM1, int features, the record of the pattern detector (dime_regex_detector.h);
/// magic PREOP, five ints in the order of the options from missing_extension on, bools extension_penalty and
/// use_lcs.
///
/// Thread safety: as DastBaseMethod. Parsing options is guarded.
#pragma once

#include <memory>
#include <string>

#include "dime/dime_method.h"
#include "dime/dime_pattern_methods.h"
#include "dime/dime_regex_detector.h"
#include "tera/tera_lcs.h"
#include "tera/tera_query.h"

class AceOptionsParser;

class SORV_API DimePremiseRecallOptions {
 public:
  /// The parser registered under "PREMISE" for recalls.
  static AceOptionsParser* get_parser();
  /// Those of EXACT.
  static DimePremiseRecallOptions exact();
  /// Parses. Returns 0; -1, and nothing changes.
  int apply(const char* config_string);
  void configure(const DimePremiseRecallOptions& other) { *this = other; }
  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

  int missingExtension = 20;
  int incorrectExtension = 50;
  int boundaryFault = 60;
  int parityFault = 30;
  int minDisplay = 0;
  bool penalizeExtensionInRange = false;
  bool useLcs = false;

 private:
  bool is_valid() const;
};

/// What a text says of a premise.
struct SORV_API DimePremise {
  /// Bits of numbers on one side of a street.
  enum Parity : int { UNKNOWN = 0, ODD = 1, EVEN = 2, BOTH = 3 };

  /// Reads a text, in place of what there was. Keeps its memory from one text to the next.
  void parse(const char* text);
  bool has_letter_or_extension() const { return secFrom != 0 || extString != nullptr; }

  std::string queryString;          ///< the normalised text
  int primFrom = 0;                 ///< the number, or where a range starts; 0 for none
  int primTo = 0;                   ///< where a range ends; 0 for none
  int primParity = UNKNOWN;         ///< Parity
  int secFrom = 0;                  ///< the letter, or where a range starts; 0 for none
  int secTo = 0;                    ///< where a range ends; 0 for none
  const char* extString = nullptr;  ///< the rest, in `queryString`; null for none
  bool isRange = false;             ///< there was an operator of ranges

 private:
  void clean_rest(std::size_t from);
  const char* parse_range(const char* rest);
  const char* parse_letters(const char* rest);
};

/// A premise that is asked for.
class SORV_API DimePremiseQuery : public TeraQuery {
 public:
  DimePremiseQuery(const char* text, const DimePremiseRecallOptions& options);

  int is_empty() const override { return asked.queryString.empty() ? 1 : 0; }
  /// Quality of a value; 0 for null.
  int compare(const char* entry) override { return score(entry, &scratch); }
  using TeraQuery::compare;
  /// The same text, as far as it counts.
  bool equals(const char* entry) const override;
  /// The value, or the number asked for in place of a range that has it.
  char* display(const char* entry, AceAttach* at) const override;

  /// The penalties of numbers (with all that depends on them), of letters and of extensions.
  int compare_primary(const DimePremise& entry) const;
  int compare_secondary(const DimePremise& entry) const;
  int compare_extension(const DimePremise& entry) const;

  const DimePremise& get_premise() const { return asked; }

 private:
  int score(const char* entry, DimePremise* parsed) const;
  int compare_in_range(const DimePremise& entry) const;
  int compare_ranges(const DimePremise& entry) const;
  int compare_letter_range(const DimePremise& entry) const;
  int compare_letter(const DimePremise& entry) const;
  bool shares_parity(const DimePremise& entry) const { return (asked.primParity & entry.primParity) != 0; }

  DimePremise asked;
  DimePremiseRecallOptions opt;
  std::unique_ptr<TeraLCS> lcsCmp;  // of the text as it came in; null without use_lcs
  DimePremise scratch;              // the value that is compared
};

class SORV_API DimePremiseMethod
    : public DimeMethod<DimePremiseMethod, DimePremiseRecallOptions, DimeIndexlessMethod> {
 public:
  static constexpr const char* NAME = "PREMISE";
  static constexpr const char* MAGIC = "PREM1";
  static constexpr const char* RECONFIGURE =
      "config_method = dynamic_cast<const DimePremiseMethod*> (method)";

  /// Prepares the pattern detector. Returns 0 or -1.
  int init();

  using DimeIndexlessMethod::make;
  TeraScanGraph* lookup(const char* query, DastOptions::Call call, AceReporter* rep) const override;
  int make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) override;
  int configure_build_options(const char* options, const TeraMap* map) override;
  TeraQuery* eval(DastOptions::Call call, const char* query, AceReporter* rep) const override;
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;

 private:
  int premiseFeatures = 0;
  DimeRegexDetector patternDetector;
};

/// Makes sure that the method is known, for hosts that link statically.
SORV_API void DimePremiseMethod_init();
