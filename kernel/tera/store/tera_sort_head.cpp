#include "tera/tera_sort_head.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <new>
#include <utility>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"

namespace {

constexpr VInt CONSUMED = -1;
constexpr int REPORT_STEP = 100000;
constexpr int REPORT_UNIT = 1000;
constexpr const char* PROGRESS_TEXT = "Sorting records\n";
constexpr int MAX_INT = std::numeric_limits<int>::max();
constexpr VInt MAX_PRIO = std::numeric_limits<VInt>::max() / 2;  // leaves room for frequencies

}  // namespace

// Records are a list, in which one moves before another in constant time.

void SortRecord::move_before(SortRecord* other, int unlink) {
  if (other == this) return;
  if (unlink != 0) this->unlink();
  prevRecord = other->prevRecord;
  if (prevRecord != nullptr) prevRecord->link_next(this);
  link_next(other);
}

void SortRecord::link_next(SortRecord* next) {
  nextRecord = next;
  next->prevRecord = this;
}

void SortRecord::unlink() {
  if (prevRecord != nullptr) prevRecord->nextRecord = nextRecord;
  if (nextRecord != nullptr) nextRecord->prevRecord = prevRecord;
  prevRecord = nextRecord = nullptr;
}

int SortRecord::count() const {
  int number = 0;
  for (const SortRecord* record = prevRecord; record != nullptr; record = record->prevRecord) ++number;
  return number;
}

SortRecord* SortRecord::find_rec(int n, SortRecord* array, VInt ref) {
  SortRecord* const above = std::upper_bound(
      array, array + n, ref, [](VInt sought, const SortRecord& record) { return sought < record.refOffset; });
  return above != array ? above - 1 : nullptr;
}

// A descriptor's slots are divided among its levels, one behind the other: a level grows by the last slot of
// the one before.

SortDesc* SortDesc::push_level(AceAttach* at) {
  if (nextLevel == nullptr) nextLevel = new (at) SortDesc(get_end(), addPrio, debugString);
  if (nextLevel->descFreq == 0) nextLevel->refOffset = get_end();
  decr();
  --nextLevel->refOffset;
  nextLevel->incr();
  return nextLevel;
}

SortDesc* SortDesc::find_level(VInt slot) {
  SortDesc* level = this;
  while (level != nullptr && slot >= level->get_end()) level = level->nextLevel;
  return level;
}

int SortDesc::num_base_desc(int n, const SortDesc* array, VInt slot) {
  const SortDesc* above = std::upper_bound(
      array, array + n, slot, [](VInt sought, const SortDesc& desc) { return sought < desc.refOffset; });
  return static_cast<int>(above - array) - 1;
}

SortDesc* SortDesc::find_base_desc(int n, SortDesc* array, VInt slot) {
  return array + num_base_desc(n, array, slot);
}

SortDesc* SortDesc::find_desc(int n, SortDesc* array, VInt slot) {
  return find_base_desc(n, array, slot)->find_level(slot);
}

// Room for everything is made before the first record, by the numbers announced.

SortHead::SortHead(int num_records, AceReporter* reporter, int prio_weight)
    : maxRecords(std::clamp(num_records, 0, MAX_INT - 1) + 1),
      nextUnsorted(maxRecords),
      nextReport(REPORT_STEP),
      prioWeight(prio_weight),
      rep(reporter) {}

int SortHead::init(VInt num_refs, VInt num_descs, int num_records) {
  if (num_refs < 0 || num_refs >= MAX_INT || num_descs < 0 || num_descs >= MAX_INT || num_records < 0 ||
      num_records == MAX_INT) {
    rep->printf(
        "ERROR: Cannot sort %d records with %ld descriptors and %ld references, 0 to %d of each are "
        "possible\n",
        num_records, num_descs, num_refs, MAX_INT - 1);
    return -1;
  }
  if (recArray != nullptr) clean();
  try {
    malloc(recArray, VInt{num_records} + 1);
    tempMem.malloc(descRef, num_refs);
    tempMem.malloc(recRef, num_refs);
    tempMem.malloc(refOwner, num_refs);
    tempMem.malloc(slotOwner, num_refs);
    tempMem.malloc(descArray, num_descs + 1);
  } catch (const std::bad_alloc&) {
    rep->printf("ERROR: No memory to sort %d records with %ld descriptors and %ld references\n", num_records,
                num_descs, num_refs);
    clean();
    return -1;
  }
  maxDrefs = num_refs;
  maxDescs = static_cast<int>(num_descs) + 1;
  maxRecords = nextUnsorted = num_records + 1;
  return 0;
}

SortDesc* SortHead::make_desc(VInt size, const char* debug_string, VInt prio) {
  const char* name = debug_string != nullptr ? debug_string : "";
  if (numDescs >= maxDescs || size < 0 || size > maxDrefs - numDrefs) {
    rep->printf(
        "ERROR: No room for descriptor %d \"%s\" of %ld records: %d of %d descriptors, %ld of %ld "
        "references\n",
        numDescs, name, size, numDescs, maxDescs, numDrefs, maxDrefs);
    return nullptr;
  }
  VInt added = 0;
  if (__builtin_mul_overflow(size, VInt{prioWeight}, &added) ||
      __builtin_add_overflow(added / 100, prio, &added) || added > MAX_PRIO || added < -MAX_PRIO) {
    rep->printf("ERROR: The priority %ld of descriptor %d \"%s\" is too large\n", prio, numDescs, name);
    return nullptr;
  }
  void* const place = descArray + numDescs;
  ++numDescs;
  return new (place) SortDesc(std::exchange(numDrefs, numDrefs + size), added, debug_string);
}

int SortHead::begin_record(VInt old_index) {
  if (isRecordOpen || isBuilt || recArray == nullptr || numRecords + 1 >= nextUnsorted) {
    rep->printf("ERROR: Record %ld cannot begin: %d of %d records, %s\n", old_index,
                numRecords + maxRecords - nextUnsorted, maxRecords - 1,
                isRecordOpen ? "the last one is not finished" : "all are finished");
    return -1;
  }
  ::new (recArray + numRecords) SortRecord(numRrefs, old_index);
  ++numRecords;
  isRecordOpen = true;
  return 0;
}

int SortHead::add_rec_ref(SortDesc* desc) {
  if (!isRecordOpen || desc < descArray || desc >= descArray + numDescs) return -1;
  const int freq = desc->get_freq();
  const VInt slot = desc->get_end();
  const VInt end = range_end(static_cast<int>(desc - descArray));
  if (freq > 0 && slot <= end && get_desc_ref(desc, freq - 1) >= recArray[numRecords - 1].get_offset())
    return 0;
  if (slot >= end) {
    isOverfull = true;
    if (freq < MAX_INT) desc->incr();  // for the message
    return -1;
  }
  descRef[slot] = numRrefs;
  recRef[numRrefs] = slot;
  refOwner[numRrefs] = numRecords - 1;
  slotOwner[slot] = static_cast<int>(desc - descArray);
  ++numRrefs;
  desc->incr();
  return 1;
}

int SortHead::finish_record() {
  if (!isRecordOpen) return -1;
  isRecordOpen = false;
  const SortRecord& record = recArray[numRecords - 1];
  if (record.get_offset() < numRrefs) return 0;
  ::new (recArray + --nextUnsorted) SortRecord(0, record.get_old_index());
  --numRecords;
  return 0;
}

int SortHead::finish_build() {
  if (isRecordOpen || isBuilt || recArray == nullptr) return -1;
  isBuilt = true;
  auto* const anchor = ::new (recArray + numRecords) SortRecord(numRrefs, numRecords);
  for (int i = maxRecords - 1; i >= nextUnsorted; --i) recArray[i].move_before(anchor, 0);
  for (int i = numRecords - 1; i >= 0; --i) recArray[i].move_before(anchor, 0);
  return 0;
}

/// The end of descriptor `desc`'s slots.
VInt SortHead::range_end(int desc) const {
  return desc + 1 < numDescs ? descArray[desc + 1].get_offset() : numDrefs;
}

// The best descriptor divides its group: the records that have it come to the front, and are a group of their
// own.

int SortHead::sort(AceReporter* rep_l) {
  if (!isBuilt || descArray == nullptr) {
    rep_l->print("ERROR: Cannot sort records before they are complete\n");
    return -1;
  }
  if (int rc = rep_l->printf("Building initial descriptor heap\n"); rc < 0)
    return ace_error(__FILE__, __LINE__, "rep_l->printf(\"Building initial descriptor heap\\n\")", rc, 0, -1);
  static const AceTraceFlag checkCounts("CHECK_MULTI_DUPS", __FILE__, __LINE__);
  if (const int rc = check_counts(checkCounts.get() != 0, rep_l); rc < 0) return rc;
  int rc = -1;
  try {
    DescHeap heap;
    for (int i = 0; i + 1 < numDescs; ++i) heap.push(descArray + i);
    if (rep_l->pscale(numDrefs / REPORT_UNIT, PROGRESS_TEXT) < 0) return -1;
    rc = sub_sort(&heap, numRecords, rep_l);
  } catch (const std::bad_alloc&) {
    rep_l->print("ERROR: No memory to sort records\n");
  }
  return rc < 0 ? ace_error(__FILE__, __LINE__, "sub_sort(&heap,numRecords,0,rep_l)", rc, 0, -1) : 0;
}

/// Whether the descriptors were added as often as was announced; less often is wrong only with `all`.
int SortHead::check_counts(bool all, AceReporter* rep_l) const {
  if (!all && !isOverfull) return 0;
  for (int i = 0; i < numDescs; ++i) {
    const VInt size = range_end(i) - descArray[i].get_offset();
    const int freq = descArray[i].get_freq();
    if (freq == size || (freq < size && !all)) continue;
    rep_l->printf(
        "ERROR: Cannot sort this structure, because Descriptor %d\n was added %d times instead %ld times\n",
        i, freq, size);
    return -(i + 1);
  }
  return 0;
}

/// Groups within groups stand on a stack of their own, for there can be as many as the square root of twice
/// the number of references.
int SortHead::sub_sort(DescHeap* heap, int group_size, AceReporter* rep_l) {
  struct Group {
    explicit Group(int groupSize) : size(groupSize) {}
    DescHeap heap;
    int size;
  };
  std::deque<Group> inner;
  for (;;) {
    const std::size_t level = inner.size();
    DescHeap* const new_heap = level > 0 ? &inner.back().heap : heap;
    SortDesc* const desc = new_heap->pop();
    if (desc == nullptr) {
      if (level == 0) return 0;
      inner.pop_back();
      continue;
    }
    const int freq = desc->get_freq();
    if (freq <= 1 || freq == (level > 0 ? inner.back().size : group_size))
      del_desc_ref(desc->get_offset(), freq);
    else
      divide(desc, new_heap, &inner.emplace_back(freq).heap);
    desc->remove();
    if (int rc = progress(freq, rep_l); rc < 0) {
      ace_error(__FILE__, __LINE__, "progress(freq,rep_l)", rc, 0, rc);
      for (std::size_t i = 0; i < level; ++i)
        ace_error(__FILE__, __LINE__, "sub_sort(&new_heap,freq,level+1,rep_l)", rc, 0, rc);
      return -1;
    }
  }
}

/// Brings the records of `desc` to the front, and their other references from the levels of `heap` to the
/// next ones, in `new_heap`.
void SortHead::divide(SortDesc* desc, DescHeap* heap, DescHeap* new_heap) {
  const int freq = desc->get_freq();
  for (int i = 0; i < freq; ++i) {
    const VInt own = get_desc_ref(desc, i);
    SortRecord* const record = get_record(own);
    record->move_before(start_record(), 1);
    const VInt end = VInt{record->get_offset()} + record->get_size();
    for (VInt ref = record->get_offset(); ref < end; ++ref)
      if (ref != own && recRef[ref] != CONSUMED) regroup(ref, heap, new_heap);
    recRef[own] = CONSUMED;
  }
}

void SortHead::regroup(VInt ref, DescHeap* heap, DescHeap* new_heap) {
  SortDesc* const desc = get_desc(recRef[ref]);
  SortDesc* const next = desc->push_level(&tempMem);
  swap_desc_refs(recRef[ref], next->get_offset());
  if (desc->heapIndex >= 0) heap->fall_down(desc->heapIndex);
  if (next->heapIndex >= 0)
    new_heap->push_up(next, next->heapIndex);
  else
    new_heap->push(next);
}

void SortHead::swap_rec_refs(VInt a, VInt b) {
  std::swap(recRef[a], recRef[b]);
  if (recRef[a] != CONSUMED) descRef[recRef[a]] = a;
  if (recRef[b] != CONSUMED) descRef[recRef[b]] = b;
}

void SortHead::swap_desc_refs(VInt a, VInt b) {
  std::swap(descRef[a], descRef[b]);
  recRef[descRef[a]] = a;
  recRef[descRef[b]] = b;
}

/// Consumes the references in `count` slots from `first` on.
void SortHead::del_desc_ref(VInt first, int count) {
  for (VInt slot = first; slot < first + count; ++slot) recRef[descRef[slot]] = CONSUMED;
}

int SortHead::progress(int count, AceReporter* rep_arg) {
  processedRefs += count;
  while (processedRefs >= nextReport && nextReport <= MAX_INT - REPORT_STEP) {
    if (int rc = rep_arg->pset(nextReport / REPORT_UNIT, PROGRESS_TEXT); rc < 0)
      return ace_error(__FILE__, __LINE__, "rep_arg->pset(nextReport/1000)", rc, 0, -1);
    nextReport += REPORT_STEP;
  }
  return 0;
}

// The order is that of the list; whoever writes the records takes them from both ends.

int SortHead::set_new_order() {
  int position = 0;
  for (SortRecord* record = next_record(start_record()); record != nullptr; record = next_record(record))
    record->set_offset(position++);
  return position;
}

int SortHead::find_record(int* low, int* high, int old_index) const {
  if (*low >= 0 && *low < numRecords && recArray[*low].get_old_index() == old_index) return (*low)++;
  if (*high > nextUnsorted && *high <= maxRecords && recArray[*high - 1].get_old_index() == old_index)
    return --*high;
  return -1;
}

int SortHead::check_list() const {
  return isBuilt && start_record()->count() == maxRecords - 1 ? 0 : -1;
}

void SortHead::clean_temp() {
  tempMem.release();
  descRef = recRef = nullptr;
  refOwner = slotOwner = nullptr;
  descArray = nullptr;
  numDescs = maxDescs = 0;
}

void SortHead::clean() {
  clean_temp();
  release();
  recArray = nullptr;
  maxDrefs = numDrefs = 0;
  numRrefs = numRecords = processedRefs = 0;
  nextUnsorted = maxRecords;
  nextReport = REPORT_STEP;
  isRecordOpen = isBuilt = isOverfull = false;
}
