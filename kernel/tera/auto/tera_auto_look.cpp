#include <algorithm>
#include <climits>
#include <cstring>

#include "tera/auto/tera_auto_look_internal.h"
#include "tera/measure/mode_table_internal.h"
#include "tera/tera_token.h"

namespace {

/// More edits than these are cut at the length of the query.
constexpr int FEW_EDITS = 3;
/// Bytes of rows; with more edits than fit the walk has fewer, and its answer is incomplete.
constexpr VInt MAX_ROW_BYTES = VInt{64} << 20;

int count_positions(const Token* tokens, bool operators) {
  return operators ? TeraToken::alt_len(tokens)
                   : static_cast<int>(std::strlen(reinterpret_cast<const char*>(tokens)));
}

TeraAutoEnds ends_of(TeraEval::Mode mode) {
  switch (mode) {
    case TeraEval::PREFIX:
      return {.entrySuffix = true};
    case TeraEval::SUFFIX:
      return {.entryPrefix = true};
    case TeraEval::FACTOR:
      return {.entryPrefix = true, .entrySuffix = true};
    case TeraEval::COVER:
      return {.queryPrefix = true, .querySuffix = true};
    case TeraEval::CLOSE:
      return {.queryPrefix = true};
    case TeraEval::EXTEND:
      return {.querySuffix = true};
    default:
      return {};
  }
}

/// FRONT, BACK and MID are two modes: for entries shorter than the query, and for others.
struct Halves {
  TeraEval::Mode shorter;
  TeraEval::Mode others;
};
bool halves_of(TeraEval::Mode mode, Halves* halves) {
  if (mode == TeraEval::FRONT) *halves = {TeraEval::PREFIX, TeraEval::EXTEND};
  if (mode == TeraEval::BACK) *halves = {TeraEval::SUFFIX, TeraEval::CLOSE};
  if (mode == TeraEval::MID) *halves = {TeraEval::FACTOR, TeraEval::COVER};
  return mode == TeraEval::FRONT || mode == TeraEval::BACK || mode == TeraEval::MID;
}

/// Matching positions of a query of m and an entry of n positions.
int match_of(const TeraAutoEnds& ends, int m, int n, int distance) {
  if (ends.queryPrefix || ends.querySuffix) return n - distance;
  if (ends.entryPrefix || ends.entrySuffix) return m - distance;
  return std::max(m, n) - distance;
}

}  // namespace

/// Takes what a walk finds.
struct TeraAutoLook::Sink {
  void found(Large index, int positions, int distance) {
    const int quality = look.quality(ends, positions, distance);
    if (quality < look.minValue) return;
    if (turner != nullptr) index = static_cast<Large>(turner[index]);
    look.hits.push_back({index, quality});
  }
  TeraAutoLook& look;
  const TeraAutoEnds& ends;
  const int* turner;
};

TeraAutoLook::TeraAutoLook(const TeraBidirectAuto& automata, const Token* tokens, bool operators,
                           TeraEval::Mode mode, TeraEval::Model model, int min_value, TeraAutoBudget* budget)
    : pair(automata),
      queryTokens(tokens),
      hasOperators(operators),
      evalMode(mode),
      evalFunc(TeraEval::get_model_func(model, 0)),
      minValue(min_value),
      stepBudget(budget),
      queryLength(count_positions(tokens, operators)) {}

void TeraAutoLook::set_options(int options, int max_edit, int restrict_len, bool goes_on) {
  transpose = (options & TeraAutoRecall::TRANSPOSE) != 0;
  hasWild = (options & TeraAutoRecall::HAS_WILD) != 0;
  maxEdit = std::clamp(max_edit, 0, std::max(queryLength, FEW_EDITS));
  if (restrict_len <= 0) return;
  const int lenDiff = std::min(restrict_len, TeraAutoData::MAX_TOKENS);
  shortest = std::max(queryLength - lenDiff, 0);
  if (!goes_on) longest = queryLength + lenDiff;
}

// ---------------------------------------------------------------- qualities

/// 0 for entries without a match, which are no hits, whatever the model gives them.
int TeraAutoLook::quality(const TeraAutoEnds& ends, int positions, int distance) const {
  if (evalFunc == nullptr) return TeraEval::PERFECT;
  const int match = match_of(ends, queryLength, positions, distance);
  if (match <= 0) return -1;
  return std::clamp(evalFunc(queryLength, match, positions), 0, TeraEval::PERFECT);
}

/// Lengths of entries that can reach the least quality within the edits.
void TeraAutoLook::limit_lengths(const TeraAutoEnds& ends, int* len_min, int* len_max) const {
  *len_max = std::min(*len_max, TeraAutoData::MAX_TOKENS);
  if (!hasWild) TeraEval::limit_lengths(evalFunc, queryLength, minValue, *len_min, *len_max);
  if (hasWild) return;
  const bool isQueryFree = ends.queryPrefix || ends.querySuffix;
  const bool isEntryFree = ends.entryPrefix || ends.entrySuffix;
  if (!isEntryFree) *len_max = std::min(*len_max, queryLength + maxEdit);
  if (!isQueryFree) *len_min = std::max(*len_min, queryLength - maxEdit);
}

/// Most edits with which an entry of these lengths can reach the least quality.
int TeraAutoLook::useful_edits(const TeraAutoEnds& ends, int len_min, int len_max) const {
  if (hasWild) return maxEdit;
  for (int edits = maxEdit; edits > 0; --edits)
    for (int n = std::max(len_min, 1); n <= len_max; ++n)
      if (quality(ends, n, edits) >= std::max(minValue, 0)) return edits;
  return 0;
}

void TeraAutoLook::unite() {
  std::sort(hits.begin(), hits.end(), [](const Hit& a, const Hit& b) {
    return a.index != b.index ? a.index < b.index : a.quality > b.quality;
  });
  const auto same = [](const Hit& a, const Hit& b) { return a.index == b.index; };
  hits.erase(std::unique(hits.begin(), hits.end(), same), hits.end());
}

// ---------------------------------------------------------------- walks

bool TeraAutoLook::look() {
  Halves halves{};
  bool isWhole = true;
  if (halves_of(evalMode, &halves)) {
    isWhole = look_in(ends_of(halves.shorter), shortest, std::min(longest, queryLength - 1)) &&
              look_in(ends_of(halves.others), std::max(shortest, queryLength), longest);
  } else {
    isWhole = look_in(ends_of(evalMode), shortest, longest);
  }
  unite();
  return isWhole;
}

int TeraAutoLook::most_beyond() const {
  Halves halves{};
  return halves_of(evalMode, &halves)
             ? std::max(most_beyond(ends_of(halves.shorter)), most_beyond(ends_of(halves.others)))
             : most_beyond(ends_of(evalMode));
}

int TeraAutoLook::most_beyond(const TeraAutoEnds& ends) const {
  int most = 0;
  for (int n = std::max(pair.forward.autoData->get_longest_path(), queryLength); n > 0; --n)
    most = std::max(most, quality(ends, n, maxEdit + 1));
  return most;
}

bool TeraAutoLook::look_in(TeraAutoEnds ends, int len_min, int len_max) {
  limit_lengths(ends, &len_min, &len_max);
  if (len_min > len_max) return true;
  TeraAutoAsk ask;
  ask.ends = ends;
  ask.lenMin = std::max(len_min, 0);
  ask.lenMax = len_max;
  ask.maxEdit =
      useful_edits(ends, std::max(len_min, 1), std::min(len_max, pair.forward.autoData->get_longest_path()));
  ask.transpose = transpose;
  ask.hasWild = hasWild;
  ask.isPlain = !hasOperators;
  return queryLength < MASK_SIZE<VUint> ? walk_both<VUint>(ask) : walk_both<TeraLongMask>(ask);
}

/// Of T edits, either the first half of the query has at most T / 2, or the rest at most (T - 1) / 2: two
/// walks that soon run out of edits, one from either end, find all that one walk does.
template <class Bits>
bool TeraAutoLook::walk_both(TeraAutoAsk ask) {
  const TeraAutoData& forward = *pair.forward.autoData;
  const bool isBackBetter = ask.ends.entryPrefix && !ask.ends.entrySuffix;
  const bool isHalved = ask.ends.are_fixed() && ask.maxEdit > 0 && queryLength > 1 && !hasWild;
  if (!pair.back || pair.turner == nullptr || (!isBackBetter && !isHalved))
    return walk<Bits>(forward, queryTokens, ask, nullptr, ask.ends);
  AceAttach at;
  const Token* const turned = TeraToken::turn(queryTokens, &at);
  const TeraAutoEnds ends = ask.ends;
  ask.ends = ends.turned();
  if (!isHalved) return walk<Bits>(*pair.back.autoData, turned, ask, pair.turner, ends);
  ask.halfLength = queryLength / 2;
  ask.halfEdit = ask.maxEdit / 2;
  if (!walk<Bits>(forward, queryTokens, ask, nullptr, ends)) return false;
  ask.halfLength = queryLength - queryLength / 2;
  ask.halfEdit = (ask.maxEdit - 1) / 2;
  return walk<Bits>(*pair.back.autoData, turned, ask, pair.turner, ends);
}

template <class Bits>
bool TeraAutoLook::walk(const TeraAutoData& data, const Token* tokens, const TeraAutoAsk& asked,
                        const int* turner, const TeraAutoEnds& ends) {
  TeraPattern<Bits> pattern;
  pattern.build(tokens, hasOperators || hasWild);
  TeraAutoAsk ask = asked;
  const VInt rowBytes = static_cast<VInt>(sizeof(Bits)) * (data.get_longest_path() + 2);
  ask.maxEdit =
      static_cast<int>(std::min<VInt>(ask.maxEdit, std::max<VInt>(MAX_ROW_BYTES / rowBytes - 1, 0)));
  Sink sink{*this, ends, turner};
  const auto run = [&]<int K>() {
    return TeraAutoWalk<Bits, K, Sink>(data, pattern, tokens, ask, stepBudget, &sink).run();
  };
  const bool isWhole = ask.maxEdit == asked.maxEdit;
  switch (ask.maxEdit) {
    case 0:
      return run.template operator()<0>();
    case 1:
      return run.template operator()<1>();
    case 2:
      return run.template operator()<2>();
    case 3:
      return run.template operator()<3>();
    default:
      return run.template operator()<-1>() && isWhole;
  }
}

bool TeraAutoLook::match() {
  evalFunc = nullptr;
  TeraAutoAsk ask;
  ask.hasWild = hasWild;
  ask.hasRuns =
      hasOperators && std::strchr(reinterpret_cast<const char*>(queryTokens), TOKEN_WILDSEQ) != nullptr;
  if (!ask.hasRuns && !hasWild) ask.lenMin = ask.lenMax = queryLength;
  const bool isWhole = queryLength < MASK_SIZE<VUint>
                           ? walk<VUint>(*pair.forward.autoData, queryTokens, ask, nullptr, ask.ends)
                           : walk<TeraLongMask>(*pair.forward.autoData, queryTokens, ask, nullptr, ask.ends);
  unite();
  return isWhole;
}
