#include "tera/multi/multi_recall_internal.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <tuple>

#include "ace/ace_reporter.h"
#include "tera/multi/multi_query_internal.h"
#include "tera/tera_multi.h"
#include "tera/tera_result.h"

namespace {

/// A recall may look at that many times as many entries of hit lists as there are lines, and some more.
constexpr VInt MOST_SWEEPS = 64;
constexpr VInt FREE_ENTRIES = 10'000'000;
/// Looking up what a letter begins takes as long as measuring a line for so many words of the index; and what
/// more letters begin.
constexpr std::size_t WORDS_PER_LETTER_LINE = 24;
constexpr std::size_t WORDS_PER_LINE = 400;
constexpr std::size_t LEAST_MEASURED = 500;
/// Where a list has that many times as many entries as lines were found, these are searched for in it.
constexpr std::size_t SEARCH_COST = 32;
/// What evaluating a line costs, in entries of hit lists.
constexpr VInt EVALUATION_COST = 256;
/// Lines that are fetched before they are looked at.
constexpr std::size_t AHEAD = 16;
/// Beyond the candidates asked for, so many lines are put into order, too.
constexpr std::size_t MOST_ORDERED = 1000;

/// Puts what comes before all others up to `end`, in order.
template <class Place, class Before>
void sort_first(Place first, Place end, Place last, Before before) {
  if (end != last && end != first) std::nth_element(first, end - 1, last, before);
  std::sort(first, end, before);
}

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
  if (find_finders(minValue) < 0) return -1;
  if (multiEval->has_numbers()) multiEval->number_keys();
  doesMatch =
      !multiEval->is_plain() || needsEnds || (!multiEval->has_numbers() && multiEval->has_shared_keys());
  sweep(minValue);
  if (!collect(*result, minValue) && (find_late() < 0 || !collect(*result, minValue))) return -1;
  limit(*result);
  refine(result);
  return fill(result);
}

/// Looks up the units that wait as far as lines are found by them: all of them where other units have skip
/// words.
int MultiRecall::find_finders(int min_value) {
  while (multiEval->has_deferred()) {
    const std::vector<Tiny> order = order_units();
    const std::size_t numFinders = count_finders(order, min_value);
    const auto is_needed = [&](Tiny unit) {
      const auto& hits = multiEval->get_hits(unit - 1U);
      return multiEval->is_deferred(unit - 1U) ||
             std::any_of(hits.begin(), hits.end(), [this](const auto& hit) { return is_skipped(hit.key); });
    };
    const auto end = order.begin() + static_cast<VInt>(numFinders);
    if (std::none_of(order.begin(), end, is_needed)) return 0;
    const auto next = std::find_if(order.begin(), order.end(),
                                   [this](Tiny unit) { return multiEval->is_deferred(unit - 1U); });
    if (multiEval->find_deferred(*next - 1U, AceReporter::use_default()) < 0) return -1;
  }
  return 0;
}

/// Looks up the units that waited, as too many lines would have to be measured.
int MultiRecall::find_late() {
  std::vector<Tiny> late;
  for (const Tiny unit : order_units())
    if (multiEval->is_deferred(unit - 1U)) late.push_back(unit);
  for (const Tiny unit : late) {
    openWeight -= most_weight(unit);
    if (multiEval->find_deferred(unit - 1U, AceReporter::use_default()) < 0) return -1;
  }
  multiEval->number_keys();
  found.clear();
  sweep_rest(late);
  return 0;
}

VInt MultiRecall::count_entries(Tiny unit) const {
  VInt entries = 0;
  for (const auto& hit : multiEval->get_hits(unit - 1U)) entries += index.infoHandle->get_size(hit.key);
  return entries;
}

// ---------------------------------------------------------------- hit lists

/// Lines are found by words that are no skip words, unless there are none, and by units without which a line
/// cannot reach the least quality. The others are looked at in the lines found alone.
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
  sweep_rest({order.begin() + static_cast<VInt>(numFinders), order.end()});
}

/// Units that find no lines: in their lists, or, where these are much longer than the lines found, and for
/// units that wait, in the lines themselves.
void MultiRecall::sweep_rest(std::span<const Tiny> units) {
  VInt entries = 0;
  for (const Tiny unit : units) entries += count_entries(unit);
  const bool isLong = entries > EVALUATION_COST * static_cast<VInt>(scratch->numTouched);
  for (const Tiny unit : units) {
    if (isLong || multiEval->is_deferred(unit - 1U))
      openWeight += most_weight(unit);
    else
      sweep_found(unit);
  }
}

/// Units from 1 on, those with the fewest entries first; those that wait last, and of them those that bring
/// more first.
std::vector<Tiny> MultiRecall::order_units() const {
  std::vector<Tiny> order;
  std::vector<VInt> entries(1, 0);
  for (int unit = 1; unit <= multiEval->num_units(); ++unit) {
    order.push_back(static_cast<Tiny>(unit));
    entries.push_back(multiEval->is_deferred(static_cast<std::size_t>(unit) - 1)
                          ? std::numeric_limits<VInt>::max() - most_weight(static_cast<Tiny>(unit))
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

MultiRecall::Share MultiRecall::share_of(Tiny unit, const TeraMultiEval::Hit& hit) const {
  const int tokens = multiEval->get_query().get_units()[unit - 1U].tokens;
  const bool isShared = !doesMatch && multiEval->is_shared(hit.key);
  return {static_cast<Large>(tokens * hit.quality), unit, static_cast<Tiny>(isShared ? 1 : 0)};
}

void MultiRecall::sweep_all(Tiny unit) {
  for (const auto& hit : multiEval->get_hits(unit - 1U))
    add_list(index.infoHandle->get(hit.key), share_of(unit, hit));
}

void MultiRecall::sweep_found(Tiny unit) {
  for (const auto& hit : multiEval->get_hits(unit - 1U)) {
    const IdList list = index.infoHandle->get(hit.key);
    const Share share = share_of(unit, hit);
    if (list.count > SEARCH_COST * scratch->numTouched)
      look_up_found(list, share);
    else
      add_to_found(list, share);
  }
}

/// No branch per entry: what is counted already adds 0, and a line is listed when its weight was 0.
void MultiRecall::add_list(const IdList& list, const Share& share) {
  MultiScratch::Cell* const cells = scratch->cells.data();
  Large* const touched = scratch->touched.data();
  const Large numLines = index.num_records();
  std::size_t count = scratch->numTouched;
  for (const Large entry : list) {
    const Large line = std::min(entry, numLines);
    MultiScratch::Cell& cell = cells[line];
    const Large isNew = cell.lastUnit != share.unit ? 1 : 0;
    touched[count] = line;
    count += 1U - cell.isFound;
    cell.isFound = 1;
    cell.weight += isNew * share.weight;
    cell.numUnits = static_cast<Tiny>(cell.numUnits + isNew);
    cell.isShared = static_cast<Tiny>(cell.isShared | share.isShared);
    cell.lastUnit = share.unit;
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

void MultiRecall::add_to_found(const IdList& list, const Share& share) {
  MultiScratch::Cell* const cells = scratch->cells.data();
  const Large numLines = index.num_records();
  for (const Large entry : list) {
    MultiScratch::Cell& cell = cells[std::min(entry, numLines)];
    const Large isNew = cell.lastUnit != share.unit ? cell.isFound : 0;
    cell.weight += isNew * share.weight;
    cell.numUnits = static_cast<Tiny>(cell.numUnits + isNew);
    cell.isShared = static_cast<Tiny>(cell.isShared | (share.isShared & cell.isFound));
    cell.lastUnit = cell.isFound != 0 ? share.unit : Tiny{0};
  }
}

void MultiRecall::look_up_found(const IdList& list, const Share& share) {
  for (std::size_t i = 0; i < scratch->numTouched; ++i) {
    const Large line = scratch->touched[i];
    MultiScratch::Cell& cell = scratch->cells[line];
    if (!std::binary_search(list.begin(), list.end(), line)) continue;
    const Large isNew = cell.lastUnit != share.unit ? 1 : 0;
    cell.weight += isNew * share.weight;
    cell.numUnits = static_cast<Tiny>(cell.numUnits + isNew);
    cell.isShared = static_cast<Tiny>(cell.isShared | share.isShared);
    cell.lastUnit = share.unit;
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

/// What `read_ids` will read further on. Inline: g++ leaves out calls of what does nothing but fetching.
[[gnu::always_inline]] inline void MultiRecall::fetch(std::vector<Promise>::const_iterator next) const {
  const VInt left = promised.end() - next;
  if (left <= VInt{2 * AHEAD}) return;
  __builtin_prefetch(index.compStart + next[2 * AHEAD].line / 2);
  __builtin_prefetch(index.compHeap +
                     std::clamp(index.compStart[next[AHEAD].line / 2], VInt{0}, index.compSize));
}

/// What a line is at most worth follows from its weight: the most promising ones come first, until no other
/// one can be among those that the result keeps. False when too many lines would be measured for that.
bool MultiRecall::collect(const TeraResult& result, int min_value) {
  promise(min_value);
  const std::size_t mostMeasured = most_measured();
  VInt counts[TeraEval::PERFECT + 1] = {};
  VInt better = 0;  // lines above `most`
  int best = 0;
  auto next = promised.begin();
  for (int most = TeraEval::PERFECT; most >= min_value; --most) {
    if (better >= result.get_num_cands() || most < best - result.get_max_dist()) return true;
    for (; next != promised.end() && next->most == most; ++next) {
      if (static_cast<std::size_t>(next - promised.begin()) >= mostMeasured) return false;
      fetch(next);
      ++counts[value(*next, min_value)];
    }
    better += counts[most];
    if (best == 0 && better > 0) best = most;
  }
  return true;
}

/// Lines of which the words are measured before it is cheaper to look up the units that wait.
std::size_t MultiRecall::most_measured() const {
  if (!multiEval->has_deferred()) return promised.size();
  bool hasLetter = false;
  for (const Tiny unit : order_units())
    hasLetter |=
        multiEval->is_deferred(unit - 1U) && multiEval->get_query().get_units()[unit - 1U].tokens == 1;
  const auto numWords = static_cast<std::size_t>(index.get_num_words());
  return LEAST_MEASURED + numWords / (hasLetter ? WORDS_PER_LETTER_LINE : WORDS_PER_LINE);
}

/// Lists the lines that can reach the least quality, the best first, by counting.
void MultiRecall::promise(int min_value) {
  std::vector<Promise> all;
  std::size_t starts[TeraEval::PERFECT + 2] = {};
  for (std::size_t i = 0; i < scratch->numTouched; ++i) {
    const Large ahead = scratch->touched[std::min(i + AHEAD, scratch->numTouched - 1)];
    __builtin_prefetch(&scratch->cells[ahead]);
    __builtin_prefetch(index.tokenLengths + ahead);
    const Large line = scratch->touched[i];
    if (line >= index.num_records()) continue;
    const MultiScratch::Cell& cell = scratch->cells[line];
    const Small tokens = index.tokenLengths[line];
    if (cell.weight + openWeight < least_weight(tokens, min_value)) continue;
    all.push_back({line, cell.weight, tokens, cell.numUnits, most_value(cell.weight + openWeight, tokens),
                   cell.isShared != 0});
    ++starts[TeraEval::PERFECT - all.back().most + 1];
  }
  std::partial_sum(std::begin(starts), std::end(starts), std::begin(starts));
  promised.resize(all.size());
  for (const Promise& one : all) promised[starts[TeraEval::PERFECT - one.most]++] = one;
}

/// Lines have few weights and lengths.
Tiny MultiRecall::most_value(VInt weight, int tokens) {
  Known& known = knownValues[static_cast<std::size_t>(31 * weight + tokens) % NUM_KNOWN];
  if (known.weight != weight || known.tokens != tokens)
    known = {weight, tokens, static_cast<Tiny>(multiEval->most_value_of(weight, tokens))};
  return known.value;
}

/// Keeps the line if it is good enough. Returns its quality, or 0.
int MultiRecall::value(const Promise& line, int min_value) {
  Found one{line.line, 0, line.weight, line.tokens, true, false, nullptr};
  if (doesMatch || openWeight > 0 || line.isShared) {
    if (!evaluate(&one, min_value)) return 0;
  } else {
    if (multiEval->does_reeval() && line.numUnits < multiEval->num_units()) return 0;
    one.quality = multiEval->value_of(one.weight, one.tokens);
  }
  if (one.quality == TeraEval::PERFECT &&
      !(index.read_text(one.line, &lineText) && multiEval->is_same(lineText.c_str())))
    one.quality = TeraEval::PERFECT - 1;
  if (one.quality < min_value) return 0;
  found.push_back(one);
  return one.quality;
}

/// What the line is worth by itself.
bool MultiRecall::evaluate(Found* one, int min_value) {
  const TeraMultiEval::Score score = score_of(*one, min_value);
  if (score.quality < min_value || (needsEnds && !has_ends())) return false;
  one->quality = score.quality;
  one->weight = score.weight;
  return true;
}

TeraMultiEval::Score MultiRecall::score_of(const Found& one, int min_value) {
  if (multiEval->has_numbers())
    return index.read_ids(one.line, &lineWords) ? multiEval->score_words(lineWords, one.tokens, min_value)
                                                : TeraMultiEval::Score{};
  return index.read_text(one.line, &lineText) ? multiEval->score(lineText.c_str(), false)
                                              : TeraMultiEval::Score{};
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
  const auto by_weight = [](const Found& a, const Found& b) {
    return std::make_tuple(-a.weight, a.tokens, a.line) < std::make_tuple(-b.weight, b.tokens, b.line);
  };
  const auto by_order = [](const Found& a, const Found& b) {
    return std::make_tuple(-a.weight, !a.isInOrder, a.tokens, a.line) <
           std::make_tuple(-b.weight, !b.isInOrder, b.tokens, b.line);
  };
  group_by_quality();
  const bool hasOrder = multiEval->get_query().num_atoms() > 1;
  const std::size_t shown = result->does_use_collection()
                                ? std::min(result->get_num_cands(), result->get_biggest())
                                : result->get_num_cands();
  std::size_t done = 0;
  for_each_group([&](Place first, Place last) {
    const auto most = static_cast<std::size_t>(result->get_num_cands()) + MOST_ORDERED;
    const Place end = first + std::min<VInt>(last - first, static_cast<VInt>(most - std::min(most, done)));
    if (hasOrder) sort_first(first, end, last, by_weight);
    for (Place one = first; hasOrder && one != end; ++one) refine_one(done++ < shown, &*one, result);
    sort_first(first, first + num_shown(*result, last - first), last, by_order);
  });
}

/// The best first, by counting.
void MultiRecall::group_by_quality() {
  std::size_t starts[TeraEval::PERFECT + 2] = {};
  for (const Found& one : found) ++starts[TeraEval::PERFECT - one.quality + 1];
  std::partial_sum(std::begin(starts), std::end(starts), std::begin(starts));
  std::vector<Found> grouped(found.size());
  for (const Found& one : found) grouped[starts[TeraEval::PERFECT - one.quality]++] = one;
  found = std::move(grouped);
}

void MultiRecall::refine_one(bool shown, Found* one, AceAttach* at) {
  const TeraMultiEval::Score score = score_of(*one, 0);
  one->isInOrder = score.isInOrder;
  one->isAbbreviated = score.isAbbreviated;
  if (shown) one->shownAs = shown_line(*one, true, at);
}

// ---------------------------------------------------------------- candidates
// Equal qualities are one group; what it has beyond the limit becomes one collection.

int MultiRecall::fill(TeraResult* result) {
  result->set_resolved();
  const auto most = static_cast<std::size_t>(result->get_num_cands());
  std::size_t done = 0;
  for_each_group([&](Place first, Place last) {
    const Place end = first + num_shown(*result, last - first);
    for (Place one = first; one != end; ++one) add_candidate(done++ < most, &*one, result);
    if (end != last) add_collection({end, last}, result);
    done += static_cast<std::size_t>(last - end);
  });
  return result->num_cands();
}

/// How many of a group are candidates of their own.
VInt MultiRecall::num_shown(const TeraResult& result, VInt size) {
  return result.does_use_collection() ? std::min(size, VInt{std::max(result.get_biggest(), 1)}) : size;
}

/// The line, which `score_of` was told last if it is evaluated: marked then if the options allow it.
const char* MultiRecall::shown_line(const Found& one, bool evaluated, AceAttach* at) {
  if (!index.read_text(one.line, &lineText)) return nullptr;
  if (!evaluated || (multiEval->get_ask().options & TeraMulti::NO_TEASER) != 0)
    return at->attach(lineText.data(), static_cast<VInt>(lineText.size()));
  if (multiEval->has_numbers()) {
    multiEval->know_words(lineWords);
    multiEval->score(lineText.c_str(), false);
  }
  return multi_marked_line(*multiEval, lineText, at);
}

void MultiRecall::add_candidate(bool evaluated, Found* one, TeraResult* result) {
  if (!result->accept(one->quality)) return;
  if (one->shownAs == nullptr) {
    if (evaluated) one->isAbbreviated = score_of(*one, 0).isAbbreviated;
    one->shownAs = shown_line(*one, evaluated, result);
  }
  if (one->shownAs == nullptr) return;
  auto* const cand = new TeraCand(one->shownAs, one->line);
  if (one->isAbbreviated) cand->add_state(TeraCand::INITIAL);
  result->add(one->quality, cand);
}

void MultiRecall::add_collection(std::span<const Found> members, TeraResult* result) {
  Large* lines = nullptr;
  result->malloc(lines, static_cast<long>(members.size()));
  std::transform(members.begin(), members.end(), lines, [](const Found& one) { return one.line; });
  std::sort(lines, lines + members.size());
  const std::string name = "<COLLECTION num=" + std::to_string(members.size()) + " />";
  TeraCand* const cand =
      TeraCand::create_collection_cand(result->attach(name.c_str()), static_cast<int>(members.size()), lines);
  cand->resolve(static_cast<Large>(members.size()), lines);
  result->add(members[0].quality, cand);
}
