/// Cursors: the ranges of a set of records in ascending order, with leaps, whatever its encoding.
///
/// A cursor is at a range or behind the last one. `seek` goes to the first range that ends behind a record;
/// with a record up to which all is known to be passed it costs O(log distance).
#pragma once

#include <algorithm>

#include "ace/ace_types.h"
#include "dast/dast_info_list.h"

namespace dast {

/// The first position from `pos` on at which `is_before` fails, which must be monotonic: steps that double,
/// then halves. The halves take no branch that depends on data.
template <class IsBefore>
Large gallop(Large pos, Large end, IsBefore is_before) {
  if (pos >= end || !is_before(pos)) return pos;
  Large step = 1;
  while (step < end - pos && is_before(pos + step)) {
    pos += step;
    step *= 2;
  }
  // `pos` is before; the answer is in (pos, pos + step].
  for (Large left = std::min(step, end - pos); left > 1;) {
    const Large half = left / 2;
    pos += half & (0 - Large{is_before(pos + half)});
    left -= half;
  }
  return pos + 1;
}

/// The first position from `pos` on whose id is not below `id`.
inline Large gallop_to(const Large* ids, Large pos, Large end, Large id) {
  return gallop(pos, end, [=](Large i) { return ids[i] < id; });
}

struct Range {
  Large from;
  Large to;
};

class SingleCursor {
 public:
  explicit SingleCursor(const DastInfoList& list) : infoList(list.get_list()), length(list.get_length()) {}
  bool at_end() const { return pos >= length; }
  Range get() const { return {infoList[pos], infoList[pos] + 1}; }
  void next() { ++pos; }
  void seek(Large record) { pos = gallop_to(infoList, pos, length, record); }

 private:
  const Large* infoList;
  Large length;
  Large pos = 0;
};

class FromToCursor {
 public:
  explicit FromToCursor(const DastInfoList& list)
      : infoList(list.get_list()), numPairs(list.get_length() / 2) {}
  bool at_end() const { return pos >= numPairs; }
  Range get() const { return {infoList[2 * VInt{pos}], infoList[2 * VInt{pos} + 1]}; }
  void next() { ++pos; }
  void seek(Large record) {
    pos = gallop(pos, numPairs, [=, this](Large i) { return infoList[2 * VInt{i} + 1] <= record; });
  }

 private:
  const Large* infoList;
  Large numPairs;
  Large pos = 0;
};

class ReferenceCursor {
 public:
  explicit ReferenceCursor(const DastInfoList& list)
      : infoList(list.get_list()), refList(list.get_refs()), length(list.get_length()) {
    skip_empty();
  }
  bool at_end() const { return pos >= length; }
  Range get() const { return {refList[infoList[pos]], refList[infoList[pos] + 1]}; }
  void next() {
    ++pos;
    skip_empty();
  }
  void seek(Large record) {
    pos = gallop(pos, length, [=, this](Large i) { return refList[infoList[i] + 1] <= record; });
    skip_empty();
  }

 private:
  /// Entries without records.
  void skip_empty() {
    while (pos < length && refList[infoList[pos]] == refList[infoList[pos] + 1]) ++pos;
  }

  const Large* infoList;
  const Large* refList;
  Large length;
  Large pos = 0;
};

/// Calls `use` with the cursor of the list's encoding; NOT_USED has that of an empty list.
template <class Use>
auto with_cursor(const DastInfoList& list, Use use) {
  switch (list.get_type()) {
    case DastInfoList::FROM_TO:
      return use(FromToCursor(list));
    case DastInfoList::REFERENCE:
      return use(ReferenceCursor(list));
    case DastInfoList::SINGLE:
      return use(SingleCursor(list));
    default:
      return use(SingleCursor(DastInfoList(0, nullptr, false)));
  }
}

/// Calls `found(range)` for each range that two sets share, until it returns false.
template <class First, class Second, class Found>
void for_each_common(First first, Second second, Found found) {
  while (!first.at_end() && !second.at_end()) {
    const Range a = first.get();
    const Range b = second.get();
    const Range common = {std::max(a.from, b.from), std::min(a.to, b.to)};
    if (common.from < common.to && !found(common)) return;
    if (a.to < b.to)
      first.seek(std::max(a.to, b.from));
    else if (b.to < a.to)
      second.seek(std::max(b.to, a.from));
    else {
      first.next();
      second.next();
    }
  }
}

/// Calls `found(range)` for each range of the first set that the second one lacks.
template <class First, class Second, class Found>
void for_each_difference(First first, Second second, Found found) {
  for (; !first.at_end(); first.next()) {
    Range rest = first.get();
    for (second.seek(rest.from); !second.at_end() && second.get().from < rest.to; second.next()) {
      const Range gone = second.get();
      if (rest.from < gone.from) found(Range{rest.from, gone.from});
      rest.from = std::min(gone.to, rest.to);
      if (gone.to >= rest.to) break;  // and may reach into the next range
    }
    if (rest.from < rest.to) found(rest);
  }
}

/// Calls `found(range)` for the ranges of both sets in ascending order of their starts.
template <class First, class Second, class Found>
void for_each_merged(First first, Second second, Found found) {
  while (!first.at_end() && !second.at_end()) {
    if (first.get().from < second.get().from) {
      found(first.get());
      first.next();
    } else {
      found(second.get());
      second.next();
    }
  }
  for (; !first.at_end(); first.next()) found(first.get());
  for (; !second.at_end(); second.next()) found(second.get());
}

/// Collects ranges that come in ascending order of their starts, as ids or as pairs, into an array of enough
/// elements. Pairs that touch or overlap are joined.
class SetWriter {
 public:
  explicit SetWriter(Large* array) : infos(array) {}
  void add_id(Range range) { infos[length++] = range.from; }
  void add_pair(Range range) {
    if (length > 0 && range.from <= infos[length - 1]) {
      infos[length - 1] = std::max(infos[length - 1], range.to);
    } else {
      infos[length++] = range.from;
      infos[length++] = range.to;
    }
  }
  const Large* get_infos() const { return infos; }
  Large get_length() const { return static_cast<Large>(length); }

 private:
  Large* infos;
  VInt length = 0;
};

}  // namespace dast
