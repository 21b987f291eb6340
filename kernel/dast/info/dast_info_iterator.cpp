#include "dast/dast_info_iterator.h"

#include <algorithm>
#include <utility>

#include "dast/info/dast_info_cursor_internal.h"

namespace {

constexpr Large NONE = DastInfoIterator::NONE;
constexpr Large ALL_RECORDS[] = {0, NONE};

DastInfoIterator** clone_all(DastInfoIterator* const* iterators, int count, Large from, AceAttach* at,
                             Large to) {
  DastInfoIterator** copies = nullptr;
  at->malloc(copies, count);
  std::transform(iterators, iterators + count, copies,
                 [=](const DastInfoIterator* iterator) { return iterator->clone(from, at, to); });
  return copies;
}

/// Enters the range of the set, if any, that covers the first record from `record` on that is in the set;
/// returns that record. From then on the sub-iterator is inside.
Large enter(DastInfoIterator* sub, Large record) {
  sub->promote(record);
  for (;;) {
    const Large next = sub->get_record();
    if (sub->is_inside()) {
      if (next > record || next == NONE) return record;
    } else if (next == NONE) {
      return NONE;
    }
    const bool isStart = sub->promote() > 0;
    if (isStart) record = std::max(record, next);
  }
}

}  // namespace

DastInfoIterator* DastInfoIterator::create_empty_iterator(AceAttach* at) {
  return new (at) DastInfoSingleIterator(0, nullptr);
}

DastInfoIterator* DastInfoIterator::create_frequent_iterator(AceAttach* at) {
  return new (at) DastInfoFromToIterator(2, ALL_RECORDS);
}

// ---------------------------------------------------------------- single records
// A run is what follows without a gap.

DastInfoIterator* DastInfoSingleIterator::clone(Large from, AceAttach* at, Large to) const {
  const auto is_below = [this](Large limit) {
    return [=, this](Large info) { return info + offsetVal < limit; };
  };
  const Large* first = std::partition_point(infoList, infoList + numInfos, is_below(from));
  const Large* last = std::partition_point(first, infoList + numInfos, is_below(to));
  return new (at) DastInfoSingleIterator(static_cast<Large>(last - first), first, offsetVal);
}

void DastInfoSingleIterator::reset() {
  curPos = 0;
  inside = false;
  show();
}

int DastInfoSingleIterator::promote() {
  if (nextRecord == NONE) return 0;
  inside = !inside;
  if (inside) {
    ++nextRecord;
    return 1;
  }
  ++curPos;
  show();
  return -1;
}

Large DastInfoSingleIterator::promote(Large record) {
  if (nextRecord >= record) return nextRecord;
  inside = false;
  curPos = dast::gallop(curPos, numInfos, [=, this](Large i) { return infoList[i] + offsetVal < record; });
  show();
  return nextRecord;
}

// ---------------------------------------------------------------- pairs
// First record and the one behind the last, ascending.

DastInfoIterator* DastInfoFromToIterator::clone(Large from, AceAttach* at, Large to) const {
  from = std::max(from, startRecord);
  if (to == NONE) return new (at) DastInfoFromToIterator(numInfos, intervalList, from);
  return new (at) DastInfoLimitFromToIterator(numInfos, intervalList, from, to);
}

void DastInfoFromToIterator::reset() {
  curPos = 0;
  show();
  if (nextRecord < startRecord) DastInfoFromToIterator::promote(startRecord);
  if (inside && nextRecord == startRecord) DastInfoFromToIterator::promote();  // ends where the walk starts
}

Large DastInfoFromToIterator::get_size() const {
  Large size = 0;
  for (Large i = 0; i < numInfos; i += 2)
    if (intervalList[i + 1] > startRecord)
      size += intervalList[i + 1] - std::max(intervalList[i], startRecord);
  return size;
}

int DastInfoFromToIterator::promote() {
  if (nextRecord == NONE) return 0;
  ++curPos;
  show();
  return inside ? 1 : -1;
}

Large DastInfoFromToIterator::promote(Large record) {
  if (nextRecord >= record) return nextRecord;
  curPos = dast::gallop_to(intervalList, curPos, numInfos, record);
  show();
  if (inside && nextRecord > record) {  // the record lies in a range
    --curPos;
    inside = false;
    nextRecord = record;
  }
  return nextRecord;
}

bool DastInfoFromToIterator::is_frequent() const {
  return numInfos == 2 && intervalList[0] == 0 && intervalList[1] == NONE && startRecord == 0;
}

// ---------------------------------------------------------------- pairs up to a record
// The same, as if the list ended there.

void DastInfoLimitFromToIterator::limit() {
  if (nextRecord < endRecord) return;
  // An open range ends at the limit, too. Once that end is passed, `curPos` is behind all pairs.
  nextRecord = inside ? endRecord : NONE;
}

DastInfoIterator* DastInfoLimitFromToIterator::clone(Large from, AceAttach* at, Large to) const {
  return new (at) DastInfoLimitFromToIterator(numInfos, intervalList, std::max(from, startRecord),
                                              std::min(to, endRecord));
}

void DastInfoLimitFromToIterator::reset() {
  DastInfoFromToIterator::reset();
  limit();
}

Large DastInfoLimitFromToIterator::get_size() const {
  Large size = 0;
  for (Large i = 0; i < numInfos; i += 2) {
    const Large from = std::max(intervalList[i], startRecord);
    const Large to = std::min(intervalList[i + 1], endRecord);
    if (from < to) size += to - from;
  }
  return size;
}

int DastInfoLimitFromToIterator::promote() {
  const int change = DastInfoFromToIterator::promote();
  limit();
  return change;
}

Large DastInfoLimitFromToIterator::promote(Large record) {
  if (nextRecord >= record) return nextRecord;
  if (record < endRecord) {
    DastInfoFromToIterator::promote(record);
  } else {  // nothing is left
    curPos = numInfos;
    show();
  }
  limit();
  return nextRecord;
}

// ---------------------------------------------------------------- entries of an interval list
// Entry i stands for the records from refs[i] to refs[i + 1]; neighbouring entries are one run.

void DastInfoExpandIterator::show() {
  inside = false;
  nextRecord = nextEnd = NONE;
  for (; curPos < numInfos; ++curPos) {
    const Large from = std::max(refList[infoList[curPos]], startRecord);
    const Large to = std::min(refList[infoList[curPos] + 1], endRecord);
    if (from >= endRecord) return;
    if (from >= to) continue;
    nextRecord = from;
    nextEnd = to;
    return;
  }
}

DastInfoIterator* DastInfoExpandIterator::clone(Large from, AceAttach* at, Large to) const {
  return new (at) DastInfoExpandIterator(numInfos, infoList, refList, std::max(from, startRecord),
                                         std::min(to, endRecord));
}

void DastInfoExpandIterator::reset() {
  curPos = dast::gallop(0, numInfos, [this](Large i) { return refList[infoList[i] + 1] <= startRecord; });
  show();
}

Large DastInfoExpandIterator::get_size() const {
  Large size = 0;
  for (Large i = 0; i < numInfos; ++i) {
    const Large from = std::max(refList[infoList[i]], startRecord);
    const Large to = std::min(refList[infoList[i] + 1], endRecord);
    if (from < to) size += to - from;
  }
  return size;
}

int DastInfoExpandIterator::promote() {
  if (nextRecord == NONE) return 0;
  if (!inside) {
    inside = true;
    nextRecord = nextEnd;
    return 1;
  }
  ++curPos;
  show();
  return -1;
}

Large DastInfoExpandIterator::promote(Large record) {
  if (nextRecord >= record) return nextRecord;
  curPos = dast::gallop(curPos, numInfos, [=, this](Large i) { return refList[infoList[i] + 1] <= record; });
  show();
  if (nextRecord < record) nextRecord = record < nextEnd ? record : NONE;
  return nextRecord;
}

// ---------------------------------------------------------------- union
// A heap by the next change of each iterator, with the number of those that are inside at present.

DastInfoOrIterator::DastInfoOrIterator(int num_iterators, DastInfoIterator** iterators)
    : subIterators(iterators), numIterators(num_iterators) {
  make_heap();
  nextRecord = top();
}

DastInfoIterator* DastInfoOrIterator::clone(Large from, AceAttach* at, Large to) const {
  return new (at) DastInfoOrIterator(numIterators, clone_all(subIterators, numIterators, from, at, to));
}

void DastInfoOrIterator::reset() {
  for (int i = 0; i < numIterators; ++i) subIterators[i]->reset();
  make_heap();
  curActive = 0;
  inside = false;
  nextRecord = top();
}

Large DastInfoOrIterator::get_size() const {
  VUint size = 0;
  for (int i = 0; i < numIterators; ++i) size += subIterators[i]->get_size();
  return static_cast<Large>(std::min(size, VUint{NONE}));
}

void DastInfoOrIterator::make_heap() {
  for (int pos = numIterators / 2 - 1; pos >= 0; --pos) sift_down(pos);
}

void DastInfoOrIterator::sift_down(int pos) {
  DastInfoIterator* moving = subIterators[pos];
  for (int child = 2 * pos + 1; child < numIterators; child = 2 * pos + 1) {
    if (child + 1 < numIterators && subIterators[child + 1]->get_record() < subIterators[child]->get_record())
      ++child;
    if (moving->get_record() <= subIterators[child]->get_record()) break;
    subIterators[pos] = subIterators[child];
    pos = child;
  }
  subIterators[pos] = moving;
}

void DastInfoOrIterator::pass_all_at(Large record) {
  while (top() == record) {
    curActive += subIterators[0]->promote();
    sift_down(0);
  }
}

int DastInfoOrIterator::promote() {
  if (nextRecord == NONE) return 0;
  inside = !inside;
  if (!inside) {
    nextRecord = top();
    return -1;
  }
  // All boundaries of a record are passed before the count is looked at, so that touching ranges are one.
  pass_all_at(nextRecord);
  do {
    nextRecord = top();
    if (nextRecord == NONE) break;  // the rest is open
    pass_all_at(nextRecord);
  } while (curActive > 0);
  return 1;
}

Large DastInfoOrIterator::promote(Large record) {
  if (nextRecord >= record) return nextRecord;
  curActive = 0;
  for (int i = 0; i < numIterators; ++i) {
    DastInfoIterator* sub = subIterators[i];
    sub->promote(record);
    if (sub->is_inside() && sub->get_record() == record && record != NONE) sub->promote();  // not beyond
    curActive += sub->is_inside() ? 1 : 0;
  }
  make_heap();
  inside = false;
  nextRecord = curActive > 0 ? record : top();
  return nextRecord;
}

// ---------------------------------------------------------------- intersection
// Each iterator goes on to the largest start, until all are inside there.

DastInfoAndIterator::DastInfoAndIterator(int num_iterators, DastInfoIterator** iterators)
    : subIterators(iterators), numIterators(num_iterators) {
  find_start(0);
}

DastInfoIterator* DastInfoAndIterator::clone(Large from, AceAttach* at, Large to) const {
  return new (at) DastInfoAndIterator(numIterators, clone_all(subIterators, numIterators, from, at, to));
}

void DastInfoAndIterator::reset() {
  for (int i = 0; i < numIterators; ++i) subIterators[i]->reset();
  find_start(0);
}

Large DastInfoAndIterator::get_size() const {
  Large size = numIterators > 0 ? NONE : 0;
  for (int i = 0; i < numIterators; ++i) size = std::min(size, subIterators[i]->get_size());
  return size;
}

void DastInfoAndIterator::find_start(Large record) {
  inside = false;
  // The candidate moves up until all agree on it.
  for (curActive = 0; curActive < numIterators && record != NONE;) {
    const Large covered = enter(subIterators[curActive], record);
    curActive = covered == record ? curActive + 1 : 0;
    record = covered;
  }
  nextRecord = numIterators > 0 ? record : NONE;
}

/// The first record at which a sub-iterator leaves and does not enter again at once.
Large DastInfoAndIterator::find_end() {
  for (;;) {
    DastInfoIterator* first =
        *std::min_element(subIterators, subIterators + numIterators,
                          [](auto* a, auto* b) { return a->get_record() < b->get_record(); });
    const Large end = first->get_record();
    if (end == NONE) return NONE;
    first->promote();
    if (first->get_record() != end) {
      --curActive;
      return end;
    }
    first->promote();  // a range that touches
  }
}

int DastInfoAndIterator::promote() {
  if (nextRecord == NONE) return 0;
  if (inside) {
    find_start(nextRecord);
    return -1;
  }
  nextRecord = find_end();
  inside = true;
  return 1;
}

Large DastInfoAndIterator::promote(Large record) {
  if (nextRecord < record) find_start(record);
  return nextRecord;
}
