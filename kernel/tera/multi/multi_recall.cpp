#include "tera/multi/multi_recall_internal.h"

#include <algorithm>
#include <limits>
#include <tuple>

#include "ace/ace_reporter.h"
#include "tera/multi/multi_query_internal.h"
#include "tera/tera_multi.h"
#include "tera/tera_result.h"

namespace {

/// A recall may look at that many times as many entries of hit lists as there are lines, and some more.
constexpr VInt MOST_SWEEPS = 64;
constexpr VInt FREE_ENTRIES = 10'000'000;
/// Lines up to which their words are measured.
constexpr VInt MOST_MEASURED = 500;
/// Where a list has that many times as many entries as lines were found, these are searched for in it.
constexpr std::size_t SEARCH_COST = 32;
/// What evaluating a line costs, in entries of hit lists.
constexpr VInt EVALUATION_COST = 256;
/// Beyond the candidates asked for, so many lines are put into order, too.
constexpr std::size_t MOST_ORDERED = 1000;

}  // namespace

int MultiRecall::run(TeraResult* result) {
  if (multiEval->get_query().num_atoms() == 0) return result->num_cands();
  VInt entries = 0;
  for (int unit = 1; unit <= multiEval->num_units(); ++unit)
    entries += count_entries(static_cast<Tiny>(unit));
  if (entries > MOST_SWEEPS * index.num_records() + FREE_ENTRIES) {
    AceReporter::use_default()->printf("Query whose words are in too many lines: '%s'\n",
                                       result->get_string());
    result->set_unreliable();
    return -1;
  }
  skipped = index.skip_list();
  const int minValue = std::max(result->get_min_value(), 1);
  if (multiEval->has_deferred() && !may_measure(minValue) &&
      multiEval->find_deferred(AceReporter::use_default()) < 0)
    return -1;
  isPlain = multiEval->is_plain() && !needsEnds;
  sweep(minValue);
  collect(minValue);
  limit(*result);
  refine(result);
  return fill(result);
}

/// Whether the lines that the other units find are so few that it is cheaper to measure the words of each
/// than to look up what the unfinished one resembles.
bool MultiRecall::may_measure(int min_value) const {
  const std::vector<Tiny> order = order_units();
  const std::size_t numFinders = count_finders(order, min_value);
  VInt entries = 0;
  for (std::size_t i = 0; i < numFinders; ++i) {
    if (multiEval->is_deferred(order[i] - 1U)) return false;
    entries += count_entries(order[i]);
    for (const auto& hit : multiEval->get_hits(order[i] - 1U))
      if (is_skipped(hit.key)) return false;
  }
  return entries <= MOST_MEASURED;
}

VInt MultiRecall::count_entries(Tiny unit) const {
  VInt entries = 0;
  for (const auto& hit : multiEval->get_hits(unit - 1U)) entries += index.infoHandle->get_size(hit.key);
  return entries;
}

// ---------------------------------------------------------------- hit lists

/// Lines are found by words that are no skip words, unless there are none, and by units without which a line
/// cannot reach the least quality. The others are looked at in the lines found alone: in their lists, or,
/// where these are much longer, in the lines themselves.
void MultiRecall::sweep(int min_value) {
  const std::vector<Tiny> order = order_units();
  const std::size_t numFinders = count_finders(order, min_value);
  bool skips = false;
  bool finds = false;
  for (std::size_t i = 0; i < numFinders && !skipped.empty(); ++i)
    for (const auto& hit : multiEval->get_hits(order[i] - 1U)) (is_skipped(hit.key) ? skips : finds) = true;
  if (skips && finds) {
    // A line that a finder has by a skip word alone is found by any other word of the query.
    for (const Tiny unit : order) mark_found(unit);
    for (std::size_t i = 0; i < numFinders; ++i) sweep_found(order[i]);
  } else {
    for (std::size_t i = 0; i < numFinders; ++i) sweep_all(order[i]);
  }
  VInt entries = 0;
  for (std::size_t i = numFinders; i < order.size(); ++i) entries += count_entries(order[i]);
  const bool isLong = entries > EVALUATION_COST * static_cast<VInt>(scratch->numTouched);
  for (std::size_t i = numFinders; i < order.size(); ++i) {
    if (isLong || multiEval->is_deferred(order[i] - 1U))
      openWeight += most_weight(order[i]);
    else
      sweep_found(order[i]);
  }
  if (openWeight > 0) isPlain = false;
}

/// Units from 1 on, those with the fewest entries first, one that waits last.
std::vector<Tiny> MultiRecall::order_units() const {
  std::vector<Tiny> order;
  std::vector<VInt> entries(1, 0);
  for (int unit = 1; unit <= multiEval->num_units(); ++unit) {
    order.push_back(static_cast<Tiny>(unit));
    entries.push_back(multiEval->is_deferred(static_cast<std::size_t>(unit) - 1)
                          ? std::numeric_limits<VInt>::max()
                          : count_entries(static_cast<Tiny>(unit)));
  }
  std::stable_sort(order.begin(), order.end(), [&](Tiny a, Tiny b) { return entries[a] < entries[b]; });
  return order;
}

/// How many units find lines: those behind them bring less, all together, than any line needs.
std::size_t MultiRecall::count_finders(const std::vector<Tiny>& order, int min_value) const {
  const VInt needed = multiEval->least_weight_of_any(min_value);
  VInt weight = 0;
  std::size_t count = order.size();
  while (count > 0 && weight + most_weight(order[count - 1]) < needed) weight += most_weight(order[--count]);
  return count;
}

/// The most that a unit can bring.
VInt MultiRecall::most_weight(Tiny unit) const {
  const auto& hits = multiEval->get_hits(unit - 1U);
  if (multiEval->is_deferred(unit - 1U))
    return VInt{multiEval->get_query().get_units()[unit - 1U].tokens} * TeraEval::PERFECT;
  return hits.empty() ? 0 : VInt{multiEval->get_query().get_units()[unit - 1U].tokens} * hits.front().quality;
}

void MultiRecall::sweep_all(Tiny unit) {
  const int tokens = multiEval->get_query().get_units()[unit - 1U].tokens;
  for (const auto& hit : multiEval->get_hits(unit - 1U))
    add_list(index.infoHandle->get(hit.key), unit, static_cast<Large>(tokens * hit.quality));
}

void MultiRecall::sweep_found(Tiny unit) {
  const int tokens = multiEval->get_query().get_units()[unit - 1U].tokens;
  for (const auto& hit : multiEval->get_hits(unit - 1U)) {
    const IdList list = index.infoHandle->get(hit.key);
    const auto weight = static_cast<Large>(tokens * hit.quality);
    if (list.count > SEARCH_COST * scratch->numTouched)
      look_up_found(list, unit, weight);
    else
      add_to_found(list, unit, weight);
  }
}

/// No branch per entry: what is counted already adds 0, and a line is listed when its weight was 0.
void MultiRecall::add_list(const IdList& list, Tiny unit, Large weight) {
  MultiScratch::Cell* const cells = scratch->cells.data();
  Large* const touched = scratch->touched.data();
  const Large numLines = index.num_records();
  std::size_t count = scratch->numTouched;
  for (const Large entry : list) {
    const Large line = std::min(entry, numLines);
    MultiScratch::Cell& cell = cells[line];
    const Large isNew = cell.lastUnit != unit ? 1 : 0;
    touched[count] = line;
    count += 1U - cell.isFound;
    cell.isFound = 1;
    cell.weight += isNew * weight;
    cell.numUnits = static_cast<Small>(cell.numUnits + isNew);
    cell.lastUnit = unit;
  }
  scratch->numTouched = count;
}

void MultiRecall::mark_found(Tiny unit) {
  MultiScratch::Cell* const cells = scratch->cells.data();
  Large* const touched = scratch->touched.data();
  std::size_t count = scratch->numTouched;
  for (const auto& hit : multiEval->get_hits(unit - 1U)) {
    if (is_skipped(hit.key)) continue;
    for (const Large entry : index.infoHandle->get(hit.key)) {
      const Large line = std::min(entry, index.num_records());
      touched[count] = line;
      count += 1U - cells[line].isFound;
      cells[line].isFound = 1;
    }
  }
  scratch->numTouched = count;
}

void MultiRecall::add_to_found(const IdList& list, Tiny unit, Large weight) {
  MultiScratch::Cell* const cells = scratch->cells.data();
  const Large numLines = index.num_records();
  for (const Large entry : list) {
    MultiScratch::Cell& cell = cells[std::min(entry, numLines)];
    const Large isNew = cell.lastUnit != unit ? cell.isFound : 0;
    cell.weight += isNew * weight;
    cell.numUnits = static_cast<Small>(cell.numUnits + isNew);
    cell.lastUnit = cell.isFound != 0 ? unit : Tiny{0};
  }
}

void MultiRecall::look_up_found(const IdList& list, Tiny unit, Large weight) {
  for (std::size_t i = 0; i < scratch->numTouched; ++i) {
    const Large line = scratch->touched[i];
    MultiScratch::Cell& cell = scratch->cells[line];
    if (cell.lastUnit == unit || !std::binary_search(list.begin(), list.end(), line)) continue;
    cell.weight += weight;
    ++cell.numUnits;
    cell.lastUnit = unit;
  }
}

// ---------------------------------------------------------------- qualities
// What the weights cannot reach is not read; only lines that can are decoded and measured.

VInt MultiRecall::least_weight(int tokens, int min_value) {
  if (tokens >= static_cast<int>(SHORT_LINES)) return multiEval->least_weight(tokens, min_value);
  VInt& cached = cachedMinWeight[tokens];
  if (cached == 0) cached = std::max(multiEval->least_weight(tokens, min_value), VInt{1});
  return cached;
}

void MultiRecall::collect(int min_value) {
  const bool all = multiEval->does_reeval();
  for (std::size_t i = 0; i < scratch->numTouched; ++i) {
    const Large line = scratch->touched[i];
    if (line >= index.num_records()) continue;
    const MultiScratch::Cell& cell = scratch->cells[line];
    const int tokens = index.tokenLengths[line];
    if (cell.weight + openWeight < least_weight(tokens, min_value)) continue;
    Found one{line, 0, cell.weight, tokens, true, false, nullptr};
    if (isPlain && !(all && cell.numUnits < multiEval->num_units()))
      one.quality = multiEval->value_of(cell.weight, tokens);
    else if (isPlain || !evaluate(&one, min_value))
      continue;
    if (one.quality == TeraEval::PERFECT &&
        !(index.read_text(line, &lineText) && multiEval->is_same(lineText.c_str())))
      one.quality = TeraEval::PERFECT - 1;
    if (one.quality >= min_value) found.push_back(one);
  }
}

/// What the line is worth by itself.
bool MultiRecall::evaluate(Found* one, int min_value) {
  if (!index.read_text(one->line, &lineText)) return false;
  const TeraMultiEval::Score score = multiEval->score(lineText.c_str(), false);
  if (score.quality < min_value || (needsEnds && !has_ends())) return false;
  one->quality = score.quality;
  one->weight = score.weight;
  return true;
}

bool MultiRecall::has_ends() const {
  bool hasFirst = false;
  bool hasLast = false;
  for (const MultiMatch::Pair& pair : multiEval->get_match().get_chosen()) {
    const MultiText::Unit& unit = multiEval->get_query().get_units()[static_cast<std::size_t>(pair.query)];
    hasFirst |= unit.first == 0;
    hasLast |= unit.last == multiEval->get_query().num_atoms();
  }
  return hasFirst && hasLast;
}

/// Drops what the result will not keep: groups too far from the best one, or behind as many candidates as
/// were asked for.
void MultiRecall::limit(const TeraResult& result) {
  VInt counts[TeraEval::PERFECT + 1] = {};
  int best = 0;
  for (const Found& one : found) {
    ++counts[one.quality];
    best = std::max(best, one.quality);
  }
  VInt better = 0;
  int least = best;
  for (int quality = best; quality >= 0 && quality >= best - result.get_max_dist(); --quality) {
    if (counts[quality] > 0 && better >= result.get_num_cands()) break;
    better += counts[quality];
    least = quality;
  }
  std::erase_if(found, [least](const Found& one) { return one.quality < least; });
}

/// Lets each line be evaluated that will be seen: for its order, its abbreviations and its marks.
void MultiRecall::refine(TeraResult* result) {
  const std::size_t most = static_cast<std::size_t>(result->get_num_cands()) + MOST_ORDERED;
  const auto by_weight = [](const Found& a, const Found& b) {
    return std::make_tuple(-a.quality, -a.weight, a.tokens, a.line) <
           std::make_tuple(-b.quality, -b.weight, b.tokens, b.line);
  };
  std::sort(found.begin(), found.end(), by_weight);
  if (multiEval->get_query().num_atoms() < 2) return;
  const std::size_t shown = result->does_use_collection()
                                ? std::min(result->get_num_cands(), result->get_biggest())
                                : result->get_num_cands();
  for (std::size_t i = 0; i < std::min(found.size(), most); ++i) refine_one(i < shown, &found[i], result);
  const auto by_order = [](const Found& a, const Found& b) {
    return std::make_tuple(-a.quality, -a.weight, !a.isInOrder, a.tokens, a.line) <
           std::make_tuple(-b.quality, -b.weight, !b.isInOrder, b.tokens, b.line);
  };
  std::sort(found.begin(), found.end(), by_order);
}

void MultiRecall::refine_one(bool shown, Found* one, AceAttach* at) {
  if (!index.read_text(one->line, &lineText)) return;
  const TeraMultiEval::Score score = multiEval->score(lineText.c_str(), false);
  one->isInOrder = score.isInOrder;
  one->isAbbreviated = score.isAbbreviated;
  if (shown) one->shownAs = shown_line(true, at);
}

// ---------------------------------------------------------------- candidates
// Equal qualities are one group; what it has beyond the limit becomes one collection.

int MultiRecall::fill(TeraResult* result) {
  result->set_resolved();
  const auto biggest = static_cast<std::size_t>(std::max(result->get_biggest(), 1));
  for (std::size_t first = 0, last = 0; first < found.size(); first = last) {
    last = first;
    while (last < found.size() && found[last].quality == found[first].quality) ++last;
    const bool isCollected = result->does_use_collection() && last - first > biggest;
    const std::size_t shown = isCollected ? first + biggest : last;
    for (std::size_t i = first; i < shown; ++i)
      add_candidate(i < static_cast<std::size_t>(result->get_num_cands()), &found[i], result);
    if (isCollected) add_collection(shown, last, result);
  }
  return result->num_cands();
}

/// The line that was read last, marked when it was evaluated and the options allow it.
const char* MultiRecall::shown_line(bool evaluated, AceAttach* at) const {
  const bool isMarked = evaluated && (multiEval->get_ask().options & TeraMulti::NO_TEASER) == 0;
  return isMarked ? multi_marked_line(*multiEval, lineText, at)
                  : at->attach(lineText.data(), static_cast<VInt>(lineText.size()));
}

void MultiRecall::add_candidate(bool evaluated, Found* one, TeraResult* result) {
  if (!result->accept(one->quality)) return;
  if (one->shownAs == nullptr) {
    if (!index.read_text(one->line, &lineText)) return;
    if (evaluated) one->isAbbreviated = multiEval->score(lineText.c_str(), false).isAbbreviated;
    one->shownAs = shown_line(evaluated, result);
  }
  auto* const cand = new TeraCand(one->shownAs, one->line);
  if (one->isAbbreviated) cand->add_state(TeraCand::INITIAL);
  result->add(one->quality, cand);
}

void MultiRecall::add_collection(std::size_t first, std::size_t last, TeraResult* result) {
  Large* lines = nullptr;
  result->malloc(lines, static_cast<long>(last - first));
  for (std::size_t i = first; i < last; ++i) lines[i - first] = found[i].line;
  std::sort(lines, lines + (last - first));
  const std::string name = "<COLLECTION num=" + std::to_string(last - first) + " />";
  TeraCand* const cand =
      TeraCand::create_collection_cand(result->attach(name.c_str()), static_cast<int>(last - first), lines);
  cand->resolve(static_cast<Large>(last - first), lines);
  result->add(found[first].quality, cand);
}
