// The DATE method: what it is asked.
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_time_analysis.h"
#include "dime/date/dime_date_transformation_internal.h"
#include "dime/date/dime_wildcard_scanner_internal.h"
#include "dime/dime_date.h"
#include "dime/method/dime_values_internal.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_standard_query.h"

namespace {

constexpr int LAST_DAY = (DimeDateText::MAX_YEAR + 1) * DimeDateText::DAYS_PER_YEAR - 1;
constexpr int CLIFF = 256;
constexpr int MARKS_IN_ORDER[] = {0, DimeDateText::MONTH_ONLY, DimeDateText::YEAR_ONLY};

int direction_of(DastOptions::Call call) {
  return call == DastOptions::COMPLETE ? 1 : call == DastOptions::DETECT ? -1 : 0;
}

std::unique_ptr<TeraResult> make_result(const char* query, const DimeRecallOptions& limits, int min_value) {
  return std::make_unique<TeraResult>(query, min_value, limits.numCands, limits.maxDist, nullptr);
}

/// The quality of stored texts.
class DateQuery : public TeraQuery {
 public:
  DateQuery(const DimeDateMethod* method, DastOptions::Call call, const char* query)
      : dateMethod(method),
        isDate(method->read_query(call, query, &ask)),
        isExact(call == DastOptions::EXACT),
        text(query, isExact ? TeraEval::EXACT : TeraEval::LEVENSHTEIN,
             isExact ? TeraEval::MAXIMUM : TeraEval::REDUNDANT, method->get_map(),
             TeraAutoRecall::NO_OPERATORS | TeraAutoRecall::TRANSPOSE) {}

  int is_empty() const override { return !isDate && text.is_empty() != 0 ? 1 : 0; }
  int compare(const char* entry) override {
    if (entry == nullptr || *entry == '\0') return 0;
    const DimeDateRecallOptions& options = dateMethod->get_recall_options();
    const auto method = options.get_search_method();
    int quality = 0;
    if (isDate && (isExact || method != DimeDateRecallOptions::STRING)) {
      const int date =
          DimeDateText::read_date(entry, dateMethod->get_format(), &dateMethod->get_month_finder());
      quality = ask.compare(date, options);
    }
    const bool isText = isExact ? !isDate : method != DimeDateRecallOptions::TIME;
    return isText ? std::max(quality, text.compare(entry)) : quality;
  }
  using TeraQuery::compare;
  bool equals(const char* entry) const override { return text.equals(entry); }

 private:
  const DimeDateMethod* dateMethod;
  DimeDateAsk ask;
  bool isDate;
  bool isExact;
  TeraStandardQuery text;
};

}  // namespace

// ---------------------------------------------------------------- queries
// A query is up to two dates, each perhaps with day and month exchanged, or a pattern.

TeraQuery* DimeDateMethod::eval(DastOptions::Call call, const char* query, AceReporter*) const {
  return query != nullptr ? new DateQuery(this, call, query) : nullptr;
}

/// Adds a date, and what it is with day and month exchanged.
void DimeDateMethod::add_date(int date, int direction, int penalty, bool is_switched,
                              DimeDateAsk* ask) const {
  DimeDateAsk::Range range;
  range.date = date;
  range.direction = direction;
  range.penalty = penalty;
  const int first = DimeDateText::plain(date);
  const int last = DimeDateText::last_day(date);
  range.isDate = ask->isExact || first == date;
  range.from = direction < 0 ? 0 : first;
  range.to = direction > 0 ? LAST_DAY : last;
  ask->ranges.push_back(range);
  if (ask->isExact || first != date || is_switched || !recallOpts.get_switch_day_month()) return;
  int day = 0;
  int month = 0;
  int year = 0;
  decompose(date, &day, &month, &year);
  if (day != month && DimeDateText::is_day(month, day))
    add_date(make_time(month, day, year), direction, recallOpts.get_switch_penalty(), true, ask);
}

/// Two dates, where the text has a separator between such.
bool DimeDateMethod::approx_times(DastOptions::Call, const char* query, DimeDateAsk* ask) const {
  const std::string_view text = query;
  for (const std::string_view separator : {";", "..", " - "}) {
    const std::size_t at = text.find(separator);
    if (at == std::string_view::npos) continue;
    const std::string first(text.substr(0, at));
    int from = DimeDateText::read_date(first.c_str(), dateFormat, &monthFinder);
    int to = DimeDateText::read_date(query + at + separator.size(), dateFormat, &monthFinder);
    if (from == DimeDateText::NO_DATE || to == DimeDateText::NO_DATE) continue;
    if (DimeDateText::plain(from) > DimeDateText::last_day(to)) std::swap(from, to);
    DimeDateAsk::Range range;
    range.from = DimeDateText::plain(from);
    range.to = DimeDateText::last_day(to);
    ask->ranges.push_back(range);
    return true;
  }
  return false;
}

bool DimeDateMethod::read_query(DastOptions::Call call, const char* query, DimeDateAsk* ask) const {
  *ask = {};
  if (query == nullptr) return false;
  ask->isExact = call == DastOptions::EXACT;
  if (!ask->isExact && approx_times(call, query, ask)) return true;
  if (DimeDateText::read_parts(query, dateFormat, &monthFinder, true, &ask->pattern) < 0) return false;
  ask->hasPattern = ask->pattern.has_wildcards();
  if (ask->hasPattern) return true;
  const int date = make_time(ask->pattern.day.value(), ask->pattern.month.value(), ask->pattern.year.value());
  if (date == DimeDateText::NO_DATE) return false;
  add_date(date, direction_of(call), 0, false, ask);
  return true;
}

// ---------------------------------------------------------------- look-up by days
// Keys are ascending, so the days within reach are a range of them.

void DimeDateMethod::add_key(int quality, Large key, TeraResult* result) const {
  const IdList ids = infoHandle->get(key);
  if (ids.empty() || quality <= 0 || !result->accept(quality)) return;
  result->add(quality, new TeraCand(print_time(static_cast<int>(key), result), ids.count, ids.values));
}

void DimeDateMethod::exact_query_internal(int date, TeraResult* result) const {
  add_key(TeraEval::PERFECT, static_cast<Large>(date), result);
}

/// Of days, months alone and years alone in turn. A key that an earlier range reaches has been counted.
void DimeDateMethod::get_range_cands(const DimeDateAsk& ask, const DimeDateAsk::Range& range,
                                     TeraResult* result) const {
  const int reach = ask.isExact ? 0 : std::min(recallOpts.get_tolerance(), CLIFF);
  for (const int mark : MARKS_IN_ORDER) {
    const Large first = static_cast<Large>(std::max(range.from - reach, 0) + mark);
    const Large last = static_cast<Large>(std::min(range.to + reach, LAST_DAY) + mark);
    for (Large slot = lower_slot(first);; ++slot) {
      const Large key = infoHandle->get_key(slot);
      if (key == AceIdMap::NONE || key > last) break;
      const int day = DimeDateText::plain(static_cast<int>(key));
      const auto reaches = [=](const DimeDateAsk::Range& other) {
        return day >= std::max(other.from - reach, 0) && day <= std::min(other.to + reach, LAST_DAY);
      };
      if (std::any_of(ask.ranges.data(), &range, reaches)) continue;
      add_key(ask.compare(static_cast<int>(key), recallOpts), key, result);
    }
  }
}

int DimeDateMethod::find_dates(const DimeDateAsk& ask, TeraResult* result) const {
  if (infoHandle == nullptr || infoHandle->get_num_keys() == 0) return 0;
  if (ask.hasPattern) return find_expansions(ask, result);
  if (ask.isExact) {
    for (const DimeDateAsk::Range& range : ask.ranges) exact_query_internal(range.date, result);
    return 0;
  }
  for (const DimeDateAsk::Range& range : ask.ranges) get_range_cands(ask, range, result);
  return 0;
}

/// The years with dates of any kind that a pattern accepts.
std::vector<int> DimeDateMethod::get_available_years(const DimeDateText::Parts& pattern) const {
  std::vector<int> years;
  for (const int mark : MARKS_IN_ORDER) {
    const Large end = lower_slot(static_cast<Large>(LAST_DAY + 1 + mark));
    for (Large slot = lower_slot(static_cast<Large>(mark)); slot < end;) {
      const int year =
          DimeDateText::plain(static_cast<int>(infoHandle->get_key(slot))) / DimeDateText::DAYS_PER_YEAR;
      if (pattern.matches_year(year)) years.push_back(year);
      const int next = (year + 1) * DimeDateText::DAYS_PER_YEAR;
      slot = std::max(slot + 1, lower_slot(static_cast<Large>(next + mark)));
    }
  }
  std::sort(years.begin(), years.end());
  years.erase(std::unique(years.begin(), years.end()), years.end());
  return years;
}

/// A key before the first is one of a damaged index, and the end.
void DimeDateMethod::add_days(int from, int to, TeraResult* result) const {
  for (const int mark : MARKS_IN_ORDER)
    for (Large slot = lower_slot(static_cast<Large>(from + mark));; ++slot) {
      const Large key = infoHandle->get_key(slot);
      if (key < static_cast<Large>(from + mark) || key > static_cast<Large>(to + mark)) break;
      add_key(TeraEval::PERFECT, key, result);
    }
}

/// All that the wildcards stand for, in the years that there are.
int DimeDateMethod::find_expansions(const DimeDateAsk& ask, TeraResult* result) const {
  const AceTimeSection section("EXACT_WILDCARD");
  const WildcardScanner scanner(ask.pattern, get_available_years(ask.pattern));
  if (scanner.count() > MAX_EXPANSIONS) {
    AceReporter::use_default()->printf("A query that stands for at most %d dates expected, '%s' has %zu\n",
                                       MAX_EXPANSIONS, result->get_string(), scanner.count());
    return -1;
  }
  scanner.for_each([&](int date) {
    if (ask.is_of_days())
      add_days(DimeDateText::plain(date), DimeDateText::last_day(date), result);
    else
      exact_query_internal(date, result);
  });
  return 0;
}

// ---------------------------------------------------------------- look-up of texts
// Values that are no dates are found by their letters; what both ways find counts once.

int DimeDateMethod::find_strings(DastOptions::Call call, TeraResult* result, AceReporter* rep) const {
  if (call == DastOptions::EXACT) {
    const int rc = datesAuto.exact(result, TeraAutoRecall::NO_OPERATORS);
    return rc >= 0 ? rc : ace_error(__FILE__, __LINE__, "datesAuto.exact(&string_res, 0)", rc, 0, -1);
  }
  const int rc = datesAuto.recall(result, TeraEval::LEVENSHTEIN, TeraEval::REDUNDANT,
                                  TeraAutoRecall::NO_OPERATORS | TeraAutoRecall::TRANSPOSE,
                                  recallOpts.get_edit_distance(), 0, rep);
  return rc >= 0
             ? rc
             : ace_error(__FILE__, __LINE__,
                         "datesAuto.recall(result, LEVENSHTEIN, REDUNDANT, options, edit_distance, 0, rep)",
                         rc, 0, -1);
}

/// Each base id with the better of its qualities; those of one quality and text are one candidate.
std::unique_ptr<TeraResult> DimeDateMethod::merge(TeraResult* times, TeraResult* strings) const {
  std::map<Large, int> best;
  for (const TeraResult* result : {times, strings})
    result->find_any([&](int quality, const TeraCand* cand) {
      for (Large i = 0; i < cand->get_num_infos(); ++i) {
        int& kept = best[cand->get_info(i)];
        kept = std::max(kept, quality);
      }
      return false;
    });
  AceAttach at;
  std::map<std::pair<int, std::string>, std::vector<Large>> cands;
  for (const auto& [id, quality] : best) {
    const char* const text = show(id, &at);
    cands[{quality, text != nullptr ? text : ""}].push_back(id);
  }
  auto merged = make_result(times->get_string(), recallOpts.get_primary(), recallOpts.get_primary().minValue);
  for (const auto& [shown, ids] : cands) {
    if (!merged->accept(shown.first)) continue;
    Large* kept = nullptr;
    std::copy(ids.begin(), ids.end(), merged->malloc(kept, static_cast<VInt>(ids.size())));
    merged->add(shown.first,
                new TeraCand(merged->attach(shown.second.c_str()), static_cast<Large>(ids.size()), kept));
  }
  if (times->is_unreliable() || strings->is_unreliable()) merged->set_unreliable();
  return merged;
}

TeraResult* DimeDateMethod::scan(DastOptions::Call call, const char* query, AceReporter* rep) const {
  if (query == nullptr || *query == '\0') return make_result(query, recallOpts.get_primary(), 0).release();
  DimeDateAsk ask;
  const bool isDate = read_query(call, query, &ask);
  const auto method = recallOpts.get_search_method();
  const DimeRecallOptions& limits = recallOpts.get_primary();
  const bool isText = call == DastOptions::EXACT ? !isDate : method != DimeDateRecallOptions::TIME;
  auto times = make_result(query, limits, limits.minValue);
  if (isDate && (method != DimeDateRecallOptions::STRING || call == DastOptions::EXACT) &&
      find_dates(ask, times.get()) < 0)
    return nullptr;
  times->set_resolved();
  std::unique_ptr<TeraResult> found = std::move(times);
  if (isText) {
    auto strings = make_result(query, limits, limits.minValue);
    if (find_strings(call, strings.get(), rep) < 0) return nullptr;
    found = method == DimeDateRecallOptions::STRING_TIME && isDate ? merge(found.get(), strings.get())
                                                                   : std::move(strings);
  }
  found->set_resolved();
  TeraQuery* const object = eval(call, query, rep);
  found->add_query(object, 1);
  object->unref();
  return found.release();
}

TeraScanGraph* DimeDateMethod::lookup(const char* query, DastOptions::Call call, AceReporter* rep) const {
  if (query == nullptr) return nullptr;
  if (call == DastOptions::FS_DETECT || call == DastOptions::FS_COMPLETE) return detect(query, rep);
  std::unique_ptr<TeraResult> result(scan(call, query, rep));
  return result != nullptr ? dime_resolved_graph(std::move(result), query) : nullptr;
}

// ---------------------------------------------------------------- dates in texts
// Each run of words that reads as a date is a span.

/// Each text that reads as a date, with what is found for it.
TeraScanGraph* DimeDateMethod::detect(const char* text, AceReporter* rep) const {
  const AceTimeSection section("DATE_METHOD_DETECT");
  struct Unref {
    void operator()(TeraScanGraph* graph) const { graph->decr_ref(); }
  };
  const DimeRecallOptions& limits = recallOpts.get_primary();
  std::unique_ptr<TeraScanGraph, Unref> graph(
      new TeraScanGraph(0, text, limits.minValue, limits.numCands, limits.maxDist, TeraScanGraph::NO_ORIGIN));
  const DimeDateTransformation dateTrafo(dateFormat, &monthFinder);
  std::vector<DimeDateTransformation::Found> found;
  if (dateTrafo.detect(graph.get(), &found) < 0) return nullptr;
  for (const auto& [from, to, det_string] : found) {
    TeraResult* const result = scan(DastOptions::APPROX, det_string.c_str(), rep);
    if (result == nullptr) {
      ace_error_msg(__FILE__, __LINE__, "res = scan(DastOptions::APPROX, det_string, rep)", -1);
      return nullptr;
    }
    graph->get_node(from)->add(new TeraScanGraph::Edge(to, result, TeraScanGraph::NO_ORIGIN, 0, 0));
  }
  graph->set_resolved();
  return graph.release();
}
