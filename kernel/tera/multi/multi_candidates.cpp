// The lines found become candidates: which ones stay, in what order, and how they are shown.
#include <algorithm>
#include <numeric>
#include <tuple>

#include "tera/multi/multi_query_internal.h"
#include "tera/multi/multi_recall_internal.h"
#include "tera/tera_multi.h"
#include "tera/tera_result.h"

namespace {

/// Beyond the candidates asked for, so many lines are put into order, too.
constexpr std::size_t MOST_ORDERED = 1000;

/// Puts what comes before all others up to `end`, in order.
template <class Place, class Before>
void sort_first(Place first, Place end, Place last, Before before) {
  if (end != last && end != first) std::nth_element(first, end - 1, last, before);
  std::sort(first, end, before);
}

}  // namespace

// ---------------------------------------------------------------- order

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
    if (counts[quality] > 0 && better >= result.get_num_cands()) {
      mostLeft = std::max(mostLeft, quality);
      break;
    }
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
