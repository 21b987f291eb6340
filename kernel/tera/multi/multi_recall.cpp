#include "tera/multi/multi_recall_internal.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "ace/ace_error.h"
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
constexpr VInt WORDS_PER_LETTER_LINE = 24;
constexpr VInt WORDS_PER_LINE = 800;
constexpr VInt LEAST_MEASURED = 500;
/// Where so few lines are wanted, all of them may be worth that.
constexpr int FEW_LINES = 100;
constexpr int NEARLY_PERFECT = 235;
/// Where a list has that many times as many entries as lines were found, these are searched for in it.
constexpr std::size_t SEARCH_COST = 100;
/// What evaluating a line costs, in entries of hit lists.
constexpr VInt EVALUATION_COST = 256;
/// Lines that are fetched before they are looked at.
constexpr std::size_t AHEAD = 16;

}  // namespace

int MultiRecall::run(TeraResult* result, AceReporter* rep) {
  if (multiEval->get_query().num_atoms() == 0) return result->num_cands();
  skipped = index.skip_list();
  const int best = wants_few(*result) ? find_best(*result, rep) : 0;
  if (best < 0 || (best == 0 && find_all(result, rep) < 0)) return -1;
  result->set_best_frequent(std::max({result->get_best_frequent(), mostSkipped, most_of_words_beyond()}));
  limit(*result);
  result->set_next_value(std::max(result->next_value(), mostLeft));
  refine(result);
  return fill(result);
}

/// Whether the lines that the result wants may all be nearly perfect, and be looked for as such.
bool MultiRecall::wants_few(const TeraResult& result) const {
  return result.get_num_cands() <= FEW_LINES && result.get_min_value() < NEARLY_PERFECT &&
         multiEval->is_partial() && multiEval->can_be_partial();
}

/// Finds the lines that are nearly perfect, of which the words are looked up in a fraction of the time and
/// lead to a fraction of the lines. Returns 1 when the result wants no others, 0 when it does.
int MultiRecall::find_best(const TeraResult& result, AceReporter* rep) {
  if (multiEval->find_words(NEARLY_PERFECT, rep) < 0)
    return ace_error(__FILE__, __LINE__, "multiEval->find_words(min_value, rep)", -1, 0, -1);
  if (find_lines(result, NEARLY_PERFECT) >= 0 && static_cast<VInt>(found.size()) >= result.get_num_cands()) {
    mostLeft = std::max(mostLeft, NEARLY_PERFECT - 1);
    return 1;
  }
  forget();
  return 0;
}

int MultiRecall::find_all(TeraResult* result, AceReporter* rep) {
  if (multiEval->is_partial() && multiEval->find_words(0, rep) < 0)
    return ace_error(__FILE__, __LINE__, "multiEval->find_words(0, rep)", -1, 0, -1);
  const int rc = find_lines(*result, std::max(result->get_min_value(), 1));
  if (!isTooMuch) return rc;
  AceReporter::use_default()->printf("Query whose words are in too many lines: '%s'\n", result->get_string());
  result->set_unreliable();
  return -1;
}

/// Finds the lines of that value and more.
int MultiRecall::find_lines(const TeraResult& result, int min_value) {
  if (find_finders(min_value) < 0) return -1;
  VInt entries = 0;
  for (const Tiny unit : order) entries += count_entries(unit);
  isTooMuch = entries > MOST_SWEEPS * index.num_records() + FREE_ENTRIES;
  if (isTooMuch) return -1;
  if (multiEval->has_numbers()) multiEval->number_keys();
  doesMatch =
      !multiEval->is_plain() || needsEnds || (!multiEval->has_numbers() && multiEval->has_shared_keys());
  sweep();
  promise(min_value);
  if (is_hopeless(result)) return -1;
  if (collect(result, min_value)) return 0;
  if (find_late() < 0) return -1;
  promise(min_value);
  return collect(result, min_value) ? 0 : -1;
}

/// Whether words are left out in vain: too few lines can be nearly perfect, or skip words find lines, as it
/// depends on words that may be left out which ones.
bool MultiRecall::is_hopeless(const TeraResult& result) const {
  return multiEval->is_partial() && (static_cast<VInt>(promised.size()) < result.get_num_cands() ||
                                     std::any_of(finders().begin(), finders().end(),
                                                 [this](Tiny unit) { return has_skip_words(unit); }));
}

void MultiRecall::forget() {
  scratch->reset();
  found.clear();
  openWeight = 0;
  mostSkipped = mostLeft = 0;
  std::fill(std::begin(cachedMinWeight), std::end(cachedMinWeight), 0);
}

// ---------------------------------------------------------------- units
// Units that find lines are looked up; those that wait, where that takes less time than measuring lines.

/// Looks up the units that wait as far as they are needed.
int MultiRecall::find_finders(int min_value) {
  for (;;) {
    order_units();
    count_finders(min_value);
    const Tiny next = next_needed();
    if (next == 0) return 0;
    if (multiEval->find_deferred(next - 1U, AceReporter::use_default()) < 0) return -1;
  }
}

/// The first unit that waits, if lines are found by any that does, or by skip words; otherwise 0.
Tiny MultiRecall::next_needed() const {
  const auto waits = [this](Tiny unit) { return multiEval->is_deferred(unit - 1U); };
  const auto next = std::find_if(order.begin(), order.end(), waits);
  const bool isNeeded = std::any_of(finders().begin(), finders().end(),
                                    [&](Tiny unit) { return waits(unit) || has_skip_words(unit); });
  return next != order.end() && isNeeded ? *next : Tiny{0};
}

bool MultiRecall::has_skip_words(Tiny unit) const {
  const auto& hits = multiEval->get_hits(unit - 1U);
  return !skipped.empty() &&
         std::any_of(hits.begin(), hits.end(), [this](const auto& hit) { return is_skipped(hit.key); });
}

/// Those with the fewest entries first; those that wait last, and of them those that bring more first.
void MultiRecall::order_units() {
  std::vector<std::pair<bool, VInt>> places(1);
  order.clear();
  for (Tiny unit = 1; unit <= multiEval->num_units(); ++unit) {
    const bool waits = multiEval->is_deferred(unit - 1U);
    order.push_back(unit);
    places.emplace_back(waits, waits ? -most_weight(unit) : count_entries(unit));
  }
  std::stable_sort(order.begin(), order.end(), [&](Tiny a, Tiny b) { return places[a] < places[b]; });
}

/// How many units find lines: those behind them bring less, all together, than any line needs.
void MultiRecall::count_finders(int min_value) {
  const VInt needed = multiEval->least_weight_of_any(min_value);
  VInt weight = 0;
  numFinders = order.size();
  while (numFinders > 0 && weight + most_weight(order[numFinders - 1]) < needed)
    weight += most_weight(order[--numFinders]);
}

/// The most that a unit can bring.
VInt MultiRecall::most_weight(Tiny unit) const {
  const auto& hits = multiEval->get_hits(unit - 1U);
  if (multiEval->is_deferred(unit - 1U))
    return VInt{multiEval->get_query().get_units()[unit - 1U].tokens} * TeraEval::PERFECT;
  return hits.empty() ? 0 : VInt{multiEval->get_query().get_units()[unit - 1U].tokens} * hits.front().quality;
}

VInt MultiRecall::count_entries(Tiny unit) const {
  VInt entries = 0;
  for (const auto& hit : multiEval->get_hits(unit - 1U)) entries += index.infoHandle->get_size(hit.key);
  return entries;
}

/// Looks up the units that waited, as too many lines would have to be measured.
int MultiRecall::find_late() {
  std::vector<Tiny> late;
  for (const Tiny unit : order)
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

// ---------------------------------------------------------------- hit lists

/// Whether a unit has hits, and a skip word is none of the best ones. Words that are joined, and words of
/// parts that are units, say nothing that these do not say: together skip words are rarer than each of them.
bool MultiRecall::is_rare(Tiny unit) const {
  if (!multiEval->get_query().is_innermost(unit - 1U)) return false;
  const auto& hits = multiEval->get_hits(unit - 1U);
  return !hits.empty() && std::none_of(hits.begin(), hits.end(), [&](const auto& hit) {
    return hit.quality == hits.front().quality && is_skipped(hit.key);
  });
}

/// Lines are found by words that are no skip words, unless all units mean skip words, and by units without
/// which a line cannot reach the least quality. The others are looked at in the lines found alone.
void MultiRecall::sweep() {
  const auto has = [this](bool (MultiRecall::*property)(Tiny) const) {
    return std::any_of(finders().begin(), finders().end(),
                       [&](Tiny unit) { return (this->*property)(unit); });
  };
  if (!skipped.empty() && has(&MultiRecall::has_skip_words) && has(&MultiRecall::is_rare)) {
    // A line that a finder has by a skip word alone is found by any other word of the query.
    for (const Tiny unit : order) mark_found(unit);
    for (std::size_t i = 0; i < numFinders; ++i) sweep_found(order[i]);
    mostSkipped = most_of_skip_words();
  } else {
    for (std::size_t i = 0; i < numFinders; ++i) sweep_all(order[i]);
  }
  sweep_rest({order.begin() + static_cast<VInt>(numFinders), order.end()});
}

/// What a line is worth at most that no other words find than skip words. A short line has no room for all
/// that they bring.
int MultiRecall::most_of_skip_words() const {
  VInt weight = 0;
  VInt weightPerToken = 0;
  for (const Tiny unit : order) {
    VInt best = 0;
    for (const auto& hit : multiEval->get_hits(unit - 1U)) {
      if (!is_skipped(hit.key)) continue;
      const VInt share = share_of(unit, hit).weight;
      const VInt tokens = multiEval->least_tokens(hit.key);
      best = std::max(best, share);
      weightPerToken = std::max(weightPerToken, (share + tokens - 1) / tokens);
    }
    weight += best;
  }
  return most_of_weight(weight, weightPerToken);
}

/// What a line is worth at most that has a word which is not looked up, and any other ones.
int MultiRecall::most_of_words_beyond() const {
  const auto weight_of = [this](Tiny unit) {
    return VInt{multiEval->get_query().get_units()[unit - 1U].tokens} * multiEval->most_beyond(unit - 1U);
  };
  VInt most = 0;  // of all units
  for (const Tiny unit : order) most += std::max(most_weight(unit), weight_of(unit));
  int value = 0;
  for (const Tiny unit : order)
    if (const VInt weight = weight_of(unit); weight > 0)
      value = std::max(value, most_of_weight(most - std::max(most_weight(unit) - weight, VInt{0}), most));
  return value;
}

/// What a line of any length is worth at most by that weight, of which each of its tokens brings some. One
/// that is longer than the query is worth no more than one as long.
int MultiRecall::most_of_weight(VInt weight, VInt weight_per_token) const {
  const int queryTokens = multiEval->get_query().num_tokens();
  int most = multiEval->most_value_of(weight, queryTokens);
  for (int tokens = 1; tokens < queryTokens; ++tokens)
    most = std::max(most, multiEval->most_value_of(std::min(weight, weight_per_token * tokens), tokens));
  return most;
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

/// Most entries of a long list are in no line found, which a bit tells.
void MultiRecall::add_to_found(const IdList& list, const Share& share) {
  constexpr VInt chunk = 512;
  Large lines[chunk];
  scratch->mark_found();
  for (const Large* from = list.begin(); from != list.end();) {
    const Large* const to = from + std::min(chunk, static_cast<VInt>(list.end() - from));
    std::size_t count = 0;
    for (; from != to; ++from) {
      const Large line = std::min(*from, index.num_records());
      lines[count] = line;
      count += scratch->is_marked(line) ? 1 : 0;
    }
    for (std::size_t i = 0; i < count; ++i) add_share(lines[i], share);
  }
}

void MultiRecall::look_up_found(const IdList& list, const Share& share) {
  for (std::size_t i = 0; i < scratch->numTouched; ++i)
    if (std::binary_search(list.begin(), list.end(), scratch->touched[i]))
      add_share(scratch->touched[i], share);
}

void MultiRecall::add_share(Large line, const Share& share) {
  MultiScratch::Cell& cell = scratch->cells[line];
  const Large isNew = cell.lastUnit != share.unit ? 1 : 0;
  cell.weight += isNew * share.weight;
  cell.numUnits = static_cast<Tiny>(cell.numUnits + isNew);
  cell.isShared = static_cast<Tiny>(cell.isShared | share.isShared);
  cell.lastUnit = share.unit;
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
  const VInt mostMeasured = most_measured();
  VInt counts[TeraEval::PERFECT + 1] = {};
  VInt better = 0;  // lines above `most`
  int best = 0;
  auto next = promised.begin();
  for (int most = TeraEval::PERFECT; most >= min_value; --most) {
    if (better >= result.get_num_cands() || most < best - result.get_max_dist()) {
      if (next != promised.end()) mostLeft = next->most;
      return true;
    }
    const auto end =
        std::find_if(next, promised.end(), [most](const Promise& one) { return one.most < most; });
    if (end - promised.begin() > mostMeasured) return false;
    for (; next != end; ++next) {
      fetch(next);
      ++counts[value(*next, min_value)];
    }
    better += counts[most];
    if (best == 0 && better > 0) best = most;
  }
  return true;
}

/// Lines of which the words are measured before it is cheaper to look up the units that wait.
VInt MultiRecall::most_measured() const {
  if (!multiEval->has_deferred()) return static_cast<VInt>(promised.size());
  bool hasLetter = false;
  for (const Tiny unit : order)
    hasLetter |=
        multiEval->is_deferred(unit - 1U) && multiEval->get_query().get_units()[unit - 1U].tokens == 1;
  const VInt numWords = index.get_num_words();
  return LEAST_MEASURED + numWords / (hasLetter ? WORDS_PER_LETTER_LINE : WORDS_PER_LINE);
}

/// Lists the lines that can reach the least quality, the best first, by counting.
void MultiRecall::promise(int min_value) {
  std::vector<Promise> all;
  all.reserve(scratch->numTouched);
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
