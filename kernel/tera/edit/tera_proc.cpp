#include "tera/tera_proc.h"

#include <algorithm>
#include <bit>

#include "tera/tera_result.h"

namespace {

constexpr int SUM_BITS = 4;  // of eight slices

/// Lanes of a word that are below `num` lanes in all.
VBit lanes_below(int num, int word) {
  const int here = std::clamp(num - word * TeraProc::WORD_LANES, 0, TeraProc::WORD_LANES);
  return here == TeraProc::WORD_LANES ? ~VBit{0} : (VBit{1} << here) - 1;
}

/// Lanes [from, to) of a vector, without the others.
void cut(std::span<VBit> lanes, int from, int to) {
  for (int w = 0; w < static_cast<int>(lanes.size()); ++w)
    lanes[static_cast<std::size_t>(w)] &= lanes_below(to, w) & ~lanes_below(from, w);
}

}  // namespace

// ---------------------------------------------------------------- counting
// Bit b of all lanes' counters is plane b; slices wait until eight are there, whose sum is four planes and is
// added at once.
//
//     lane        0  1  2  3
//     plane 0     1  0  1  1      counters 1, 2, 1, 3
//     plane 1     0  1  0  1

void TeraProc::start(int word_len, int bit_len) {
  const int words = std::max(word_len, 0);
  recycle();
  if (words != wordLen) {
    reuseArray.clear();
    waitArray.clear();
  }
  wordLen = words;
  bitLen = std::clamp(bit_len, 1, MAX_BITS);
  waitArray.resize(MAX_WAITS);
  for (Plane& waiting : waitArray) waiting.resize(static_cast<std::size_t>(wordLen));
  exactVector.assign(static_cast<std::size_t>(wordLen), ~VBit{0});
  numAdds = numWaits = 0;
}

void TeraProc::reset() {
  start(wordLen, bitLen);
}

void TeraProc::recycle() {
  for (Plane& plane : countArray) reuseArray.push_back(std::move(plane));
  countArray.clear();
  numCount = 0;
}

/// Makes the planes up to this one.
VBit& TeraProc::plane_word(int bit, int word) {
  for (; numCount <= bit; ++numCount) {
    Plane plane;
    if (!reuseArray.empty()) {
      plane = std::move(reuseArray.back());
      reuseArray.pop_back();
    }
    plane.assign(static_cast<std::size_t>(wordLen), 0);
    countArray.push_back(std::move(plane));
  }
  return countArray[static_cast<std::size_t>(bit)][static_cast<std::size_t>(word)];
}

/// Adds a number in bit planes to the counters of a word.
void TeraProc::add_number(int word, const VBit* bits, int num_bits) {
  VBit carry = 0;
  for (int b = 0; b < bitLen; ++b) {
    const VBit added = b < num_bits ? bits[b] : 0;
    if (b >= num_bits && carry == 0) return;
    if ((added | carry) == 0) continue;
    VBit& plane = plane_word(b, word);
    const VBit sum = plane ^ added;
    const VBit next = (plane & added) | (sum & carry);
    plane = sum ^ carry;
    carry = next;
  }
}

/// Adds up to eight slices of a word, by their sum.
void TeraProc::add_eight(int word, const VBit* slices, int num) {
  VBit sum[SUM_BITS] = {};
  for (int i = 0; i < num; ++i) {
    VBit carry = slices[i];
    for (VBit& bit : sum) {
      const VBit next = bit & carry;
      bit ^= carry;
      carry = next;
    }
  }
  add_number(word, sum, SUM_BITS);
}

void TeraProc::add(const VBit* slice) {
  const std::span<const VBit> lanes(slice, static_cast<std::size_t>(wordLen));
  bit_and(exactVector, lanes);
  std::copy(lanes.begin(), lanes.end(), waitArray[static_cast<std::size_t>(numWaits)].begin());
  ++numAdds;
  if (++numWaits == MAX_WAITS) finish();
}

void TeraProc::add_array(int word, int count, const VBit* slices) {
  for (int i = 0; i < count; i += MAX_WAITS) add_eight(word, slices + i, std::min(MAX_WAITS, count - i));
  for (int i = 0; i < count; ++i) exactVector[static_cast<std::size_t>(word)] &= slices[i];
}

void TeraProc::diff_array(int word, int count, const VBit* plus, const VBit* minus, int base) {
  // -1 in a lane is 1 in all the others, less 1 in all.
  VBit others[MAX_WAITS];
  for (int i = 0; i < count; i += MAX_WAITS) {
    const int num = std::min(MAX_WAITS, count - i);
    std::transform(minus + i, minus + i + num, others, [](VBit lanes) { return ~lanes; });
    add_eight(word, plus + i, num);
    add_eight(word, others, num);
  }
  VBit bits[MAX_BITS];
  const VUint start = static_cast<VUint>(VInt{base} - std::max(count, 0));
  for (int b = 0; b < bitLen; ++b) bits[b] = (start >> b & 1) != 0 ? ~VBit{0} : VBit{0};
  add_number(word, bits, bitLen);
}

void TeraProc::set(int word, int num, int value) {
  finish();
  for (int b = 0; b < bitLen; ++b) {
    const bool isSet = (value >> b & 1) != 0;
    if (!isSet && b >= numCount) continue;
    for (int w = word; w < word + num; ++w) plane_word(b, w) = isSet ? ~VBit{0} : VBit{0};
  }
}

void TeraProc::copy_value(const TeraProc& other) {
  if (&other != this) *this = other;
}

// ---------------------------------------------------------------- finishing
// Whoever reads counters adds the slices that still wait.

void TeraProc::finish() {
  if (numWaits == 0) return;
  VBit slices[MAX_WAITS];
  for (int w = 0; w < wordLen; ++w) {
    for (int i = 0; i < numWaits; ++i)
      slices[i] = waitArray[static_cast<std::size_t>(i)][static_cast<std::size_t>(w)];
    add_eight(w, slices, numWaits);
  }
  numWaits = 0;
}

int TeraProc::finish_full() {
  finish();
  if (wordLen > 0) plane_word(bitLen - 1, 0);
  return numCount;
}

int TeraProc::reduce() {
  finish();
  for (; numCount > 0 && !any(countArray.back()); --numCount) {
    reuseArray.push_back(std::move(countArray.back()));
    countArray.pop_back();
  }
  return numCount;
}

int TeraProc::finish_exact() {
  recycle();
  numWaits = 0;
  bitLen = numCount = 1;
  countArray.push_back(exactVector);
  return num_bits(exactVector);
}

// ---------------------------------------------------------------- reading
// A comparison with a number goes from the highest plane down: a lane is decided by the first bit that
// differs.

int TeraProc::get_value(int lane) {
  finish();
  int value = 0;
  for (int b = 0; b < numCount; ++b)
    value |= static_cast<int>(plane_word(b, lane / WORD_LANES) >> lane % WORD_LANES & 1) << b;
  return value;
}

int TeraProc::filter(VBit* out, int word, int num, int value) {
  finish();
  const bool isPossible = value <= 0 || value >> numCount == 0;
  for (int w = word; w < word + num; ++w) {
    VBit same = isPossible ? ~VBit{0} : 0;
    VBit larger = 0;
    for (int b = numCount - 1; b >= 0 && value > 0; --b) {
      const VBit plane = plane_word(b, w);
      const VBit wanted = (value >> b & 1) != 0 ? ~VBit{0} : 0;
      larger |= same & plane & ~wanted;
      same &= ~(plane ^ wanted);
    }
    out[w - word] = same | larger;
  }
  return num_bits({out, static_cast<std::size_t>(num)});
}

int TeraProc::level_bits(int value, VBit* out) {
  finish();
  const std::span<VBit> lanes(out, static_cast<std::size_t>(wordLen));
  const bool isPossible = value >= 0 && value >> numCount == 0;
  std::fill(lanes.begin(), lanes.end(), isPossible ? ~VBit{0} : 0);
  for (int b = 0; b < numCount; ++b) {
    const Plane& plane = countArray[static_cast<std::size_t>(b)];
    (value >> b & 1) != 0 ? bit_and(lanes, plane) : bit_and_not(lanes, plane);
  }
  return num_bits(lanes);
}

int TeraProc::get_best(int* value, VBit* lanes, int num_lanes) {
  finish();
  const std::span<VBit> best(lanes, static_cast<std::size_t>(wordLen));
  std::fill(best.begin(), best.end(), ~VBit{0});
  cut(best, 0, num_lanes);
  *value = 0;
  for (int b = numCount - 1; b >= 0; --b) {
    const Plane& plane = countArray[static_cast<std::size_t>(b)];
    if (num_and_bits(best, plane) == 0) continue;
    bit_and(best, plane);
    *value |= 1 << b;
  }
  return num_bits(best);
}

int TeraProc::get_cands(int first, int count, const int* slots, int query_len, TeraEval::Eval* eval,
                        int doubled, TeraResult* result, int num_lengths) {
  if (result == nullptr || first < 0 || count < 0 || num_lengths < 0) return -1;
  const bool isExact = bitLen == 1;
  if (!isExact && (slots == nullptr || eval == nullptr)) return -1;
  Plane level(static_cast<std::size_t>(wordLen));
  int numTaken = 0;
  int value = 0;
  get_best(&value, level.data(), count);
  // False when the result wants no more of that quality.
  const auto take = [&](std::span<const VBit> lanes, int quality) {
    std::vector<int> found(static_cast<std::size_t>(num_bits(lanes)));
    get_bits(lanes, found.data());
    return std::all_of(found.begin(), found.end(), [&](int lane) {
      const bool isTaken = result->add(quality, static_cast<Large>(first) + static_cast<Large>(lane)) != 0;
      numTaken += isTaken ? 1 : 0;
      return isTaken;
    });
  };
  if (isExact) {
    if (value != 0) take(level, TeraEval::PERFECT);
    return numTaken;
  }
  const VInt last = VInt{first} + std::min(VInt{count}, VInt{wordLen} * WORD_LANES);
  const int* const end = slots + num_lengths;
  const int shortest = std::max(static_cast<int>(std::upper_bound(slots, end, first) - slots), 1);
  const int longest = std::min(static_cast<int>(std::lower_bound(slots, end, last) - slots), num_lengths - 1);
  Plane ofLength(level.size());
  for (; value > 0; --value) {
    if (level_bits(value, level.data()) == 0) continue;
    for (int n = longest; n >= shortest; --n) {
      const VInt from = std::max(VInt{slots[n - 1]}, VInt{first});
      const VInt to = std::min(VInt{slots[n]}, last);
      if (from >= to) continue;
      const int quality = std::clamp(
          doubled != 0 ? eval(2 * query_len, value, 2 * n) : eval(query_len, value, n), 0, TeraEval::PERFECT);
      if (!result->accept(quality)) continue;
      ofLength = level;
      cut(ofLength, static_cast<int>(from - first), static_cast<int>(to - first));
      take(ofLength, quality);
    }
  }
  return numTaken;
}

// ---------------------------------------------------------------- lane vectors
// Lane k is bit k % 64 of word k / 64; ranks are found by sums of the words before.

void TeraProc::bit_not(std::span<VBit> lanes) {
  for (VBit& word : lanes) word = ~word;
}
void TeraProc::bit_or(std::span<VBit> lanes, std::span<const VBit> other) {
  for (std::size_t w = 0; w < lanes.size(); ++w) lanes[w] |= other[w];
}
void TeraProc::bit_or_not(std::span<VBit> lanes, std::span<const VBit> other) {
  for (std::size_t w = 0; w < lanes.size(); ++w) lanes[w] |= ~other[w];
}
void TeraProc::bit_and(std::span<VBit> lanes, std::span<const VBit> other) {
  for (std::size_t w = 0; w < lanes.size(); ++w) lanes[w] &= other[w];
}
void TeraProc::bit_and_not(std::span<VBit> lanes, std::span<const VBit> other) {
  for (std::size_t w = 0; w < lanes.size(); ++w) lanes[w] &= ~other[w];
}

int TeraProc::num_bits(std::span<const VBit> lanes) {
  int num = 0;
  for (const VBit word : lanes) num += std::popcount(word);
  return num;
}

int TeraProc::num_and_bits(std::span<const VBit> lanes, std::span<const VBit> other) {
  int num = 0;
  for (std::size_t w = 0; w < lanes.size(); ++w) num += std::popcount(lanes[w] & other[w]);
  return num;
}

int TeraProc::first(std::span<const VBit> lanes) {
  const auto word = std::find_if(lanes.begin(), lanes.end(), [](VBit bits) { return bits != 0; });
  return word != lanes.end() ? static_cast<int>(word - lanes.begin()) * WORD_LANES + std::countr_zero(*word)
                             : -1;
}

bool TeraProc::any(std::span<const VBit> lanes) {
  return std::any_of(lanes.begin(), lanes.end(), [](VBit word) { return word != 0; });
}

int TeraProc::get_bits(std::span<const VBit> lanes, int* out) {
  int num = 0;
  for (int w = 0; w < static_cast<int>(lanes.size()); ++w)
    for (VBit left = lanes[static_cast<std::size_t>(w)]; left != 0; left &= left - 1)
      out[num++] = w * WORD_LANES + std::countr_zero(left);
  return num;
}

int TeraProc::init_select(std::span<const VBit> lanes, int* sums) {
  int num = 0;
  for (const VBit word : lanes) {
    *sums++ = num;
    num += std::popcount(word);
  }
  return num;
}

int TeraProc::select(std::span<const VBit> lanes, const int* sums, int rank) {
  if (rank < 0 || lanes.empty()) return -1;
  const auto word = std::upper_bound(sums, sums + lanes.size(), rank) - sums - 1;
  VBit left = lanes[static_cast<std::size_t>(word)];
  for (int skipped = sums[word]; skipped < rank; ++skipped) left &= left - 1;
  return left != 0 ? static_cast<int>(word) * WORD_LANES + std::countr_zero(left) : -1;
}

VBit TeraProc::transpose_byte(VBit matrix) {
  // Exchanges the off-diagonal blocks of 1, 2 and 4 bits. Source: H. Warren, Hacker's Delight, 7-3.
  const auto exchange = [&matrix](int distance, VBit mask) {
    const VBit differs = (matrix ^ (matrix >> distance)) & mask;
    matrix ^= differs ^ (differs << distance);
  };
  exchange(7, 0x00AA00AA00AA00AA);
  exchange(14, 0x0000CCCC0000CCCC);
  exchange(28, 0x00000000F0F0F0F0);
  return matrix;
}
