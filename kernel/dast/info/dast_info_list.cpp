#include "dast/dast_info_list.h"

#include <algorithm>
#include <bit>
#include <vector>

#include "tera/tera_cand.h"

#include "dast/dast_info_iterator.h"
#include "dast/info/dast_info_cursor_internal.h"

using dast::Range;
using dast::SetWriter;
using dast::with_cursor;

namespace {

VInt num_ranges(const DastInfoList& list) {
  return list.get_type() == DastInfoList::FROM_TO ? list.get_length() / 2 : list.get_length();
}

SetWriter writer_for(VInt num_infos, AceAttach* at) {
  Large* array = nullptr;
  return SetWriter(at->malloc(array, num_infos));
}

SetWriter pair_writer(const DastInfoList& first, const DastInfoList& second, AceAttach* at) {
  return writer_for(2 * (num_ranges(first) + num_ranges(second)), at);
}

/// Where the shorter list has this many ids for one of the other, one step after the other beats leaps.
constexpr Large MERGE_RATIO = 8;

/// Ids that two lists share, into `out`; returns their number.
Large merge_common(std::span<const Large> first, std::span<const Large> second, Large* out) {
  Large count = 0;
  const Large* a = first.data();
  const Large* b = second.data();
  const Large* endA = a + first.size();
  const Large* endB = b + second.size();
  while (a != endA && b != endB) {  // steps without a branch that depends on the ids
    const Large idA = *a;
    const Large idB = *b;
    out[count] = idA;
    count += idA == idB ? 1 : 0;
    a += idA <= idB ? 1 : 0;
    b += idB <= idA ? 1 : 0;
  }
  return count;
}

/// Ids that are searched together, a step of each after the other, without a branch that depends on them: the
/// processor works at all of them at a time. 1,000 in 100,000 ids took 14 us so, 30 us one after the other.
constexpr std::size_t LANES = 16;

/// For each lane the first of `count` (1 or more) ids that is not below the lane's, or the last.
void halve_to(const Large* ids, std::size_t count, const Large (&wanted)[LANES],
              const Large* (&found)[LANES]) {
  std::fill(found, found + LANES, ids);
  while (count > 1) {
    const std::size_t half = count / 2;
    for (std::size_t lane = 0; lane < LANES; ++lane)
      found[lane] += half & (0 - std::size_t{found[lane][half - 1] < wanted[lane]});
    count -= half;
  }
}

Large leap_common(std::span<const Large> few, std::span<const Large> many, Large* out) {
  Large count = 0;
  Large pos = 0;
  const auto end = static_cast<Large>(many.size());
  while (!few.empty() && pos < end) {
    const std::size_t numIds = std::min(few.size(), LANES);
    Large wanted[LANES];
    const Large* found[LANES];
    std::fill(std::copy_n(few.begin(), numIds, wanted), wanted + LANES, few[numIds - 1]);
    const Large last = dast::gallop_to(many.data(), pos, end, wanted[LANES - 1]);
    halve_to(many.data() + pos, std::min(last + 1, end) - pos, wanted, found);
    for (std::size_t lane = 0; lane < numIds; ++lane) {
      out[count] = wanted[lane];
      count += *found[lane] == wanted[lane] ? 1 : 0;
    }
    few = few.subspan(numIds);
    pos = last;
  }
  return count;
}

Large common_ids(std::span<const Large> few, std::span<const Large> many, Large* out) {
  if (few.size() > many.size()) std::swap(few, many);
  return many.size() / MERGE_RATIO < few.size() ? merge_common(few, many, out) : leap_common(few, many, out);
}

}  // namespace

// ---------------------------------------------------------------- making
// A list that is made of a candidate borrows its array.

DastInfoList::DastInfoList(const TeraCand* cand) {
  const Large length = cand->get_num_infos();
  const Large* infos = cand->get_infos();
  *this = length > 2 && infos[0] == 0 ? DastInfoList(length - 1, infos + 1, true)
                                      : DastInfoList(length, infos, false);
}

DastInfoList::DastInfoList(const DastInfoList& other, AceAttach* at)
    : refList(other.refList), infoLength(other.infoLength), listType(other.listType) {
  Large* copy = nullptr;
  std::copy_n(other.infoList, infoLength, at->malloc(copy, infoLength));
  infoList = copy;
}

// ---------------------------------------------------------------- looking
// Bisection in whatever the list has: records, pairs, or entries.

bool DastInfoList::has(Large record) const {
  const Large* end = infoList + infoLength;
  if (listType == SINGLE) return std::binary_search(infoList, end, record);
  if (listType != FROM_TO) return false;
  const Large* above = std::upper_bound(infoList, end, record);
  return above != end && (above - infoList) % 2 == 1;
}

Large DastInfoList::get_size() const {
  if (listType == SINGLE) return infoLength;
  return with_cursor(*this, [](auto cursor) {
    Large size = 0;
    for (; !cursor.at_end(); cursor.next()) size += cursor.get().to - cursor.get().from;
    return size;
  });
}

Large DastInfoList::get_single(const Large** records, AceAttach* at, Large limit) const {
  *records = infoList;
  if (listType == SINGLE)
    return static_cast<Large>(std::lower_bound(infoList, infoList + infoLength, limit) - infoList);
  return with_cursor(*this, [&](auto cursor) {
    VInt size = 0;
    for (auto scan = cursor; !scan.at_end() && scan.get().from < limit; scan.next())
      size += std::min(scan.get().to, limit) - scan.get().from;
    SetWriter out = writer_for(size, at);
    for (; out.get_length() < size; cursor.next()) {
      const Range range = cursor.get();
      for (Large record = range.from; record < std::min(range.to, limit); ++record)
        out.add_id({record, record + 1});
    }
    *records = out.get_infos();
    return out.get_length();
  });
}

bool DastInfoList::has_intersection(const DastInfoList* other) const {
  bool isFound = false;
  with_cursor(*this, [&](auto first) {
    with_cursor(*other, [&](auto second) {
      dast::for_each_common(first, second, [&](Range) {
        isFound = true;
        return false;
      });
    });
  });
  return isFound;
}

Large DastInfoList::to_infos(const Large** infos, AceAttach* at) const {
  *infos = infoList;
  if (listType == NOT_USED) return 0;
  const bool looksLikePairs = infoLength > 2 && infoList[0] == 0;
  if (listType == SINGLE && !looksLikePairs) return infoLength;
  SetWriter out = writer_for(2 * num_ranges(*this) + 1, at);
  out.add_id({0, 1});
  with_cursor(*this, [&](auto cursor) {
    for (; !cursor.at_end(); cursor.next()) {
      out.add_id({cursor.get().from, 0});
      out.add_id({cursor.get().to, 0});
    }
  });
  *infos = out.get_infos();
  return out.get_length() > 1 ? out.get_length() : 0;
}

int DastInfoList::cmp_len(const DastInfoList* first, const DastInfoList* second) {
  return first->infoLength < second->infoLength ? -1 : first->infoLength > second->infoLength ? 1 : 0;
}

DastInfoIterator* DastInfoList::create_iterator(AceAttach* at) const {
  if (listType == NOT_USED) return nullptr;
  if (infoLength == 0) return DastInfoIterator::create_empty_iterator(at);
  if (listType == FROM_TO) return new (at) DastInfoFromToIterator(infoLength, infoList);
  if (listType == REFERENCE) return new (at) DastInfoExpandIterator(infoLength, infoList, refList);
  return new (at) DastInfoSingleIterator(infoLength, infoList);
}

// ---------------------------------------------------------------- set operations of two
// Two cursors, of whichever kinds, step through both; the result has the smaller form of records or pairs.

void DastInfoList::intersect_with(const DastInfoList* other, AceAttach* at) {
  if (is_empty() || other->is_empty()) return become(SINGLE, 0, nullptr);
  if (listType == SINGLE && other->listType == SINGLE) {
    Large* common = nullptr;
    at->malloc(common, std::min(infoLength, other->infoLength));
    return become(SINGLE, common_ids(get_infos(), other->get_infos(), common), common);
  }
  const bool isSingle = listType == SINGLE || other->listType == SINGLE;
  SetWriter out = isSingle ? writer_for(listType == SINGLE ? infoLength : other->infoLength, at)
                           : pair_writer(*this, *other, at);
  with_cursor(*this, [&](auto first) {
    with_cursor(*other, [&](auto second) {
      dast::for_each_common(first, second, [&](Range range) {
        isSingle ? out.add_id(range) : out.add_pair(range);
        return true;
      });
    });
  });
  become(isSingle ? SINGLE : FROM_TO, out.get_length(), out.get_infos());
}

void DastInfoList::union_with(const DastInfoList* other, AceAttach* at) {
  if (is_empty()) *this = DastInfoList(*other, at);
  if (is_empty()) return become(SINGLE, 0, nullptr);
  if (other->is_empty()) return ensure_no_reference(at);
  if (listType == SINGLE && other->listType == SINGLE) {
    Large* all = nullptr;
    at->malloc(all, VInt{infoLength} + other->infoLength);
    const Large* end = std::set_union(infoList, infoList + infoLength, other->infoList,
                                      other->infoList + other->infoLength, all);
    return become(SINGLE, static_cast<Large>(end - all), all);
  }
  SetWriter out = pair_writer(*this, *other, at);
  with_cursor(*this, [&](auto first) {
    with_cursor(*other, [&](auto second) {
      dast::for_each_merged(first, second, [&](Range range) { out.add_pair(range); });
    });
  });
  become(FROM_TO, out.get_length(), out.get_infos());
}

void DastInfoList::subtract(const DastInfoList* other, AceAttach* at) {
  if (is_empty()) return become(SINGLE, 0, nullptr);
  const bool isSingle = listType == SINGLE;
  SetWriter out = isSingle ? writer_for(infoLength, at) : pair_writer(*this, *other, at);
  with_cursor(*this, [&](auto first) {
    with_cursor(*other, [&](auto second) {
      dast::for_each_difference(first, second,
                                [&](Range range) { isSingle ? out.add_id(range) : out.add_pair(range); });
    });
  });
  become(isSingle ? SINGLE : FROM_TO, out.get_length(), out.get_infos());
}

// ---------------------------------------------------------------- changes of one
// The list gets arrays of its own, in the attach that is passed.

Large DastInfoList::compress_intervals(Large n, Large* bounds) {
  if (n < 3) return n;
  Large length = 2;
  for (Large i = 2; i + 1 < n; i += 2) {
    if (bounds[i] != bounds[length - 1]) {
      bounds[length] = bounds[i];
      length += 2;
    }
    bounds[length - 1] = bounds[i + 1];
  }
  return length;
}

void DastInfoList::ensure_no_reference(AceAttach* at) {
  if (listType != REFERENCE) return;
  Large* bounds = nullptr;
  at->malloc(bounds, 2 * VInt{infoLength});
  Large length = 0;
  for (dast::ReferenceCursor cursor(*this); !cursor.at_end(); cursor.next()) {
    bounds[length++] = cursor.get().from;
    bounds[length++] = cursor.get().to;
  }
  become(FROM_TO, compress_intervals(length, bounds), bounds);
}

void DastInfoList::apply_offset(VInt d, AceAttach* at) {
  ensure_no_reference(at);
  Large* moved = nullptr;
  at->malloc(moved, infoLength);
  std::transform(infoList, infoList + infoLength, moved,
                 [d](Large info) { return info == NONE ? NONE : static_cast<Large>(info + d); });
  infoList = moved;
}

// ---------------------------------------------------------------- set operations of many
// The shortest come first, so that what is between stays small.

DastInfoList* DastInfoList::intersect_lists(int n, DastInfoList** lists, AceAttach* at) {
  if (n < 1) return nullptr;
  std::sort(lists, lists + n, [](auto* first, auto* second) { return cmp_len(first, second) < 0; });
  AceAttach work;
  DastInfoList common = *lists[0];
  for (int i = 1; i < n && !common.is_empty(); ++i) common.intersect_with(lists[i], &work);
  common.ensure_no_reference(&work);
  if (common.is_empty()) common.become(SINGLE, 0, nullptr);
  return new (at) DastInfoList(common, at);
}

namespace {

template <class Visit>
void for_each_bit(const std::vector<Mask>& bits, Visit visit) {
  for (std::size_t i = 0; i < bits.size(); ++i)
    for (Mask word = bits[i]; word != 0; word &= word - 1)
      visit(64 * i + static_cast<std::size_t>(std::countr_zero(word)));
}

/// Many ids in a narrow range are marked in bits and read back in order: a merge costs a wrong guess of the
/// processor for each id and each time that the number of lists halves. Words of bits that are not 0 are
/// marked in bits themselves, as most of them are 0. Null when that is no gain.
DastInfoList* unite_in_bits(std::span<const DastInfoList> lists, AceAttach* at) {
  constexpr VInt WORDS_PER_ID = 16;
  if (lists.size() < 3) return nullptr;
  VInt total = 0;
  Large lowest = DastInfoList::NONE;
  Large highest = 0;
  for (const DastInfoList& list : lists) {
    if (list.get_type() != DastInfoList::SINGLE) return nullptr;
    total += list.get_length();
    for (const Large id : {list.get_infos().front(), list.get_infos().back()}) {
      lowest = std::min(lowest, id);
      highest = std::max(highest, id);
    }
  }
  const std::size_t numWords = (highest - lowest) / 64 + std::size_t{1};
  if (static_cast<VInt>(numWords) > WORDS_PER_ID * total) return nullptr;
  std::vector<Mask> bits(numWords, 0);
  std::vector<Mask> used(numWords / 64 + 1, 0);
  for (const DastInfoList& list : lists)
    for (const Large id : list.get_infos()) {
      if (id < lowest || id > highest) continue;
      const Large word = (id - lowest) / 64;
      bits[word] |= Mask{1} << ((id - lowest) % 64);
      used[word / 64] |= Mask{1} << (word % 64);
    }
  Large* all = nullptr;
  at->malloc(all, total);
  Large* end = all;
  for_each_bit(used, [&](std::size_t i) {
    for (Mask word = bits[i]; word != 0; word &= word - 1)
      *end++ = lowest + static_cast<Large>(64 * i) + static_cast<Large>(std::countr_zero(word));
  });
  return new (at) DastInfoList(static_cast<Large>(end - all), all, nullptr);
}

}  // namespace

DastInfoList* DastInfoList::union_lists(int n, DastInfoList** lists, AceAttach* at) {
  std::sort(lists, lists + n, [](auto* first, auto* second) { return cmp_len(first, second) < 0; });
  std::vector<DastInfoList> rest;
  for (int i = 0; i < n; ++i)
    if (!lists[i]->is_empty()) rest.push_back(*lists[i]);
  if (DastInfoList* united = unite_in_bits(rest, at); united != nullptr) return united;
  AceAttach work;
  while (rest.size() > 1) {  // neighbours are united, and the array halves
    AceAttach round;
    for (std::size_t i = 0; i < rest.size(); i += 2) {
      if (i + 1 < rest.size())
        rest[i].union_with(&rest[i + 1], &round);
      else
        rest[i] = DastInfoList(rest[i], &round);
      rest[i / 2] = rest[i];
    }
    rest.resize((rest.size() + 1) / 2);
    work.release();
    work.acquire(&round);
  }
  DastInfoList united(0, nullptr, false);
  if (!rest.empty()) united.union_with(rest.data(), at);
  united.ensure_no_reference(at);
  return new (at) DastInfoList(united);
}

DastInfoList* DastInfoList::invert(const DastInfoList* list, Large limit, AceAttach* at) {
  const Large records[] = {1, limit};
  DastInfoList rest(limit > 1 ? 2 : 0, records, true);
  rest.subtract(list, at);
  return new (at) DastInfoList(rest);
}
