// The options of the DOUBLE method, and how its numbers are printed.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_options_parser.h"
#include "ace/ace_reporter.h"
#include "dime/dime_double.h"
#include "dime/method/dime_parse_internal.h"

namespace {

constexpr const char* MAGIC = "DBROP";
constexpr double FACTOR_UNIT = 100.0;
/// The longest number: digits of the largest one, sign, point and decimals.
constexpr int MAX_PRINTED = 310 + 2 + DimeDoubleRecallOptions::MAX_PLACES;

constexpr const char* FUNCTION_NAMES[DimeDoubleRecallOptions::NUM_EVAL_MODES] = {"LINEAR", "DIFF_OF_LOGS",
                                                                                 "SQRT_OF_DIFF"};

void declare_recall_options(AceOptionsParser* parser) {
  parser->add_int_option("factor", 10000, "Scaling factor before further processing");
  parser->add_int_option("min_int_place", 1, "Minimum number of digits to be printed before decimal point");
  parser->add_int_option("num_dec_place", 4, "Digits to be printed after decimal point");
  parser->add_string_option("function", FUNCTION_NAMES[DimeDoubleRecallOptions::LINEAR],
                            "evaluation mode being LINEAR, DIFF_OF_LOGS, or SQRT_OF_DIFF");
  DimeRecallOptions(190, 255, 2500).append(parser);
}

void declare_build_options(AceOptionsParser* parser) {
  parser->add_flag_option("secondary", "Use as a secondary method; primary index will be disabled");
  parser->add_double_option("smallest", 0.0, "The smallest value in the index");
}

}  // namespace

AceOptionsParser* DimeDoubleRecallOptions::get_parser() {
  static DimeListedParser listed(dast_recall_options_parser, DimeDoubleMethod::NAME, declare_recall_options);
  return listed.get();
}

AceOptionsParser* DimeDoubleMethod::get_parser() {
  static DimeListedParser listed(dast_build_options_parser, DimeDoubleMethod::NAME, declare_build_options);
  return listed.get();
}

DimeDoubleRecallOptions::EvalMode DimeDoubleRecallOptions::get_eval_mode(const char* name) {
  for (int i = 0; name != nullptr && i < NUM_EVAL_MODES; ++i)
    if (std::strcmp(name, FUNCTION_NAMES[i]) == 0) return static_cast<EvalMode>(i);
  return LINEAR;
}

bool DimeDoubleRecallOptions::is_valid() const {
  return evalMode >= LINEAR && evalMode < NUM_EVAL_MODES && minIntPlaces <= MAX_PLACES &&
         numDecPlaces <= MAX_PLACES && std::isfinite(scaleFactor) && scaleFactor >= 0;
}

int DimeDoubleRecallOptions::apply(const char* config_string) {
  AceReporter* rep = AceReporter::use_default();
  const DimeParse parser(get_parser(), config_string, rep);
  if (parser.has_failed()) return -1;
  DimeDoubleRecallOptions parsed;
  if (parsed.primaryOptions.assign(parser.get()) < 0) return -1;
  parsed.scaleFactor = parser->get_int_value("factor") / FACTOR_UNIT;
  parsed.minIntPlaces = parser->get_int_value("min_int_place");
  parsed.numDecPlaces = parser->get_int_value("num_dec_place");
  parsed.evalMode = get_eval_mode(parser->get_string_value("function"));
  if (!parsed.is_valid()) {
    rep->ev_wprintf("A factor from 0 on and at most %d places expected, factor %d, places %d and %d found\n",
                    MAX_PLACES, parser->get_int_value("factor"), parsed.minIntPlaces, parsed.numDecPlaces);
    return -1;
  }
  configure(parsed);
  return 0;
}

const char* DimeDoubleRecallOptions::print(double value, AceAttach* at) const {
  char digits[MAX_PRINTED];
  const int decimals = std::max(numDecPlaces, 0);
  const auto end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, decimals);
  const auto length = static_cast<int>(end.ptr - digits);
  const int numZeros = std::max(std::max(minIntPlaces, 0) + decimals + 1 - length, 0);
  const int signLength = digits[0] == '-' ? 1 : 0;
  char* text = nullptr;
  at->malloc(text, length + numZeros + 1);
  char* pos = std::copy_n(digits, signLength, text);
  pos = std::fill_n(pos, numZeros, '0');
  *std::copy(digits + signLength, digits + length, pos) = '\0';
  return text;
}

VInt DimeDoubleRecallOptions::save(AceFile* file) const {
  file->put_magic(MAGIC);
  ACE_CALL(primaryOptions.save(file));
  file->put_int(evalMode);
  file->put_int(minIntPlaces);
  file->put_int(numDecPlaces);
  file->put_double(scaleFactor);
  return 0;
}

VInt DimeDoubleRecallOptions::read(AceFile* file) {
  if (file->get_magic(MAGIC) < 0)
    return ace_error(__FILE__, __LINE__, "version = file->get_magic(\"DBROP\")", -1, 0, -1);
  DimeDoubleRecallOptions stored;
  if (const VInt rc = stored.primaryOptions.read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "primaryOptions.read(file)", static_cast<int>(rc), 0, -1);
  stored.evalMode = static_cast<EvalMode>(file->get_int());
  stored.minIntPlaces = file->get_int();
  stored.numDecPlaces = file->get_int();
  stored.scaleFactor = file->get_double();
  if (file->is_short() || !stored.is_valid()) {
    AceReporter::use_default()->printf(
        "Options of numbers that are broken at offset %ld: function %d, places %d and %d, scale %g\n",
        file->get_pos(), static_cast<int>(stored.evalMode), stored.minIntPlaces, stored.numDecPlaces,
        stored.scaleFactor);
    return -1;
  }
  configure(stored);
  return 0;
}

int DimeDoubleMethod::parse_options(const char* config_string) {
  AceReporter* rep = AceReporter::use_default();
  const DimeParse parser(get_parser(), config_string, rep);
  if (parser.has_failed()) return -1;
  const double smallest = parser->get_double_value("smallest");
  if (!std::isfinite(smallest)) {
    rep->ev_wprintf("A finite number expected as smallest, %g found\n", smallest);
    return -1;
  }
  doubleFeatures = parser->get_bool_value("secondary") ? 0 : IS_PRIMARY;
  logLow = smallest;
  return 0;
}
