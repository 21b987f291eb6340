// The options of the DATE method, and the qualities that follow from them.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_options_parser.h"
#include "ace/ace_reporter.h"
#include "dime/dime_date.h"
#include "dime/method/dime_parse_internal.h"

namespace {

constexpr const char* MAGIC = "DAROP";
constexpr int PERFECT = 255;
constexpr double LEAST_SCALE = 0.001;
constexpr double LEAST_LOG = 0.0009;
constexpr VInt MAX_DISTANCE = 8388607;
constexpr VInt CLIFF = 256;  // days
constexpr const char* MODELS[] = {"LINEAR", "LOG", "SQUARED"};
constexpr const char* METHODS[] = {"TIME", "STRING", "STRING_TIME"};

void declare_recall_options(AceOptionsParser* parser) {
  parser->add_flag_option("switched", "Flag that allows additional search with switched day/month");
  parser->add_int_option("switch_penalty", 20, "Penalty for the search with switched day/month");
  parser->add_int_option("edit_distance", 3, "Maximum edit distance for the automaton");
  parser->add_float_option("scale_factor", 1.0F, "Factor that scales the difference in days");
  parser->add_string_option(
      "dist", MODELS[0], "Distance model (how to penalize distances) Choices are: LINEAR, LOG and SQUARED");
  parser->add_string_option("smth", METHODS[0],
                            "Default search mode for the dates. Choices are: TIME, STRING and STRING_TIME");
  DimeRecallOptions(190, 255, 2500).append(parser);
}

void declare_build_options(AceOptionsParser* parser) {
  parser->add_string_option("format", "SIMPLE", "Order and print of dates");
}

/// The place of a name; -1, reported, when it is none of the three.
int find_choice(const char* option, const char* name, const char* const (&choices)[3]) {
  for (int i = 0; i < 3; ++i)
    if (name != nullptr && std::strcmp(name, choices[i]) == 0) return i;
  AceReporter::use_default()->ev_wprintf("%s, %s or %s expected as %s, '%s' found\n", choices[0], choices[1],
                                         choices[2], option, name != nullptr ? name : "");
  return -1;
}

int clamp_to_int(double value) {
  return value >= INT_MAX ? INT_MAX : static_cast<int>(value);
}

}  // namespace

AceOptionsParser* DimeDateRecallOptions::get_parser() {
  static DimeListedParser listed(dast_recall_options_parser, DimeDateMethod::NAME, declare_recall_options);
  return listed.get();
}

AceOptionsParser* DimeDateMethod::get_parser() {
  static DimeListedParser listed(dast_build_options_parser, DimeDateMethod::NAME, declare_build_options);
  return listed.get();
}

int DimeDateMethod::parse_options(const char* config_string) {
  AceReporter* const rep = AceReporter::use_default();
  const DimeParse parser(get_parser(), config_string, rep);
  if (parser.has_failed()) return -1;
  const char* const name = parser->get_string_value("format");
  const int format = get_date_format(name);
  if (format < 0) {
    rep->ev_wprintf("A date format expected (%s), '%s' found\n", DimeDateText::get_format_names(), name);
    return -1;
  }
  dateFormat = static_cast<DateFormat>(format);
  return 0;
}

bool DimeDateRecallOptions::is_valid() const {
  return switchPenalty >= 0 && switchPenalty <= PERFECT && searchMethod >= TIME &&
         searchMethod <= STRING_TIME && distModel >= LINEAR && distModel <= SQUARED &&
         std::isfinite(scaleFactor) && scaleFactor >= 0;
}

int DimeDateRecallOptions::apply(const char* config_string) {
  AceReporter* const rep = AceReporter::use_default();
  const DimeParse parser(get_parser(), config_string, rep);
  if (parser.has_failed()) return -1;
  DimeDateRecallOptions parsed;
  if (parsed.primaryOptions.assign(parser.get()) < 0) return -1;
  const int model = find_choice("dist", parser->get_string_value("dist"), MODELS);
  const int method = find_choice("smth", parser->get_string_value("smth"), METHODS);
  if (model < 0 || method < 0) return -1;
  parsed.distModel = static_cast<DateDistModel>(model);
  parsed.searchMethod = static_cast<DateSearchMethod>(method);
  parsed.switchDayMonth = parser->get_bool_value("switched");
  parsed.switchPenalty = parser->get_int_value("switch_penalty");
  parsed.editDistance = parser->get_int_value("edit_distance");
  parsed.scaleFactor = parser->get_float_value("scale_factor");
  if (!parsed.is_valid()) {
    rep->ev_wprintf("A penalty from 0 to %d and a scale from 0 on expected, %d and %g found\n", PERFECT,
                    parsed.switchPenalty, static_cast<double>(parsed.scaleFactor));
    return -1;
  }
  configure(parsed);
  return 0;
}

// ---------------------------------------------------------------- qualities

int DimeDateRecallOptions::get_tolerance() const {
  const double t = PERFECT - primaryOptions.minValue;
  const double s = scaleFactor;
  if (s < LEAST_SCALE) return 1;
  if (distModel == LOG) return clamp_to_int(std::exp2(t) / (2 * s) + 1);
  if (distModel == SQUARED) return clamp_to_int(std::sqrt(t / (s * s)) + 1);
  return clamp_to_int(t / s + 1);
}

int DimeDateRecallOptions::get_distance_val(VInt d, int min, DateDistModel model, float scale) {
  const double s = scale;
  if (s < LEAST_SCALE) return d == 0 ? PERFECT : 0;
  double v = s * static_cast<double>(d);
  if (model == LOG && v > LEAST_LOG) v = std::log2(2 * v) + 0.5;
  if (model == SQUARED) v = v * v + 0.5;
  if (v > PERFECT - min) return 0;
  return std::clamp(PERFECT - static_cast<int>(v), 0, PERFECT);
}

int DimeDateRecallOptions::approx_quality(VInt d, DateDistModel model, float scale) {
  return d <= MAX_DISTANCE && d < CLIFF ? get_distance_val(d, 0, model, scale) : 0;
}

int DimeDateRecallOptions::compare_dates(int a, int b, int direction) const {
  if (b == DimeDateText::NO_DATE) return 0;
  const int order = DimeDateText::plain(b) - DimeDateText::plain(a);
  if ((order < 0 && direction < 0) || (order > 0 && direction > 0)) return PERFECT;
  return approx_quality(std::abs(VInt{a} - b), distModel, scaleFactor);
}

/// The best of the ranges, without their penalties.
int DimeDateAsk::pattern_marks() const {
  if (pattern.month.is_unknown()) return DimeDateText::YEAR_ONLY;
  return pattern.day.is_unknown() ? DimeDateText::MONTH_ONLY : 0;
}

bool DimeDateAsk::matches(int value) const {
  const int marks = pattern_marks();
  if (!is_of_days() && (value & DimeDateText::MARKS) != marks) return false;
  int parts[3];
  DimeDateText::decompose(value, parts, parts + 1, parts + 2);
  return (marks != 0 || pattern.day.matches(parts[0])) &&
         (marks == DimeDateText::YEAR_ONLY || pattern.month.matches(parts[1])) &&
         pattern.matches_year(parts[2]);
}

int DimeDateAsk::compare(int value, const DimeDateRecallOptions& options) const {
  if (value == DimeDateText::NO_DATE) return 0;
  if (hasPattern) return matches(value) ? PERFECT : 0;
  const int day = DimeDateText::plain(value);
  int best = 0;
  for (const Range& range : ranges) {
    int quality = 0;
    if (isExact)
      quality = value == range.date ? PERFECT : 0;
    else if (range.isDate)
      quality = options.compare_dates(range.date, value, range.direction);
    else if (day >= range.from && day <= range.to)
      quality = PERFECT;
    else
      quality = options.compare_dates(day < range.from ? range.from : range.to, value, 0);
    best = std::max(best, quality - range.penalty);
  }
  return best;
}

// ---------------------------------------------------------------- persistence

VInt DimeDateRecallOptions::save(AceFile* file) const {
  file->put_magic(MAGIC);
  ACE_CALL(primaryOptions.save(file));
  file->put_bool(switchDayMonth);
  file->put_int(switchPenalty);
  file->put_int(int{searchMethod});
  file->put_int(int{distModel});
  file->put_float(scaleFactor);
  file->put_int(editDistance);
  return 0;
}

VInt DimeDateRecallOptions::read(AceFile* file) {
  if (file->get_magic(MAGIC) < 0)
    return ace_error(__FILE__, __LINE__, "version = file->get_magic(\"DAROP\")", -1, 0, -1);
  DimeDateRecallOptions stored;
  if (const VInt rc = stored.primaryOptions.read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "primaryOptions.read(file)", static_cast<int>(rc), 0, -1);
  stored.switchDayMonth = file->get_bool();
  stored.switchPenalty = file->get_int();
  const int method = file->get_int();
  const int model = file->get_int();
  stored.scaleFactor = file->get_float();
  stored.editDistance = file->get_int();
  const bool areChoices = method >= TIME && method <= STRING_TIME && model >= LINEAR && model <= SQUARED;
  if (areChoices) {
    stored.searchMethod = static_cast<DateSearchMethod>(method);
    stored.distModel = static_cast<DateDistModel>(model);
  }
  if (file->is_short() || !areChoices || !stored.is_valid()) {
    AceReporter::use_default()->printf("Options of a date method broken before offset %ld\n",
                                       file->get_pos());
    return -1;
  }
  configure(stored);
  return 0;
}
