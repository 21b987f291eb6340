/// Records in an order in which those that share features stand together.
///
/// Each record is described by descriptors (for a record base: the values of its fields). The sort takes the
/// descriptor that the most records share, brings those records to the front, and orders that group by the
/// same rule, by the descriptors inside the group alone:
///
///     records      1: a c    2: b    3: a b    4: c    5: a c d
///     a (3 of 5)   5 3 1 | 2 4          in front: the group of a
///       c (2 of 3) 5 1 | 3 | 2 4        in front of that: its part with c
///     ...
///
/// A descriptor that one record or every record of a group has divides nothing, and is dropped.
///
/// Filling, in this order: the constructor, `init`, `make_desc` for each descriptor and once more, with size
/// 0, to close the last one's range; for each record `begin_record`, `add_rec_ref` for each of its
/// descriptors, `finish_record`; `finish_build`. Then `sort`, and the order can be read. Records without
/// descriptors are kept apart and come last.
///
/// References. Reference r is the r-th (record, descriptor) pair, so that a record's references stand
/// together; each also has a slot in the range of its descriptor. The two arrays point at each other:
///
///     recRef    slot of each reference, by record; -1 once consumed
///     descRef   reference in each slot, by descriptor:
///               | unsorted records  | group | group in it |     one descriptor's range
///               ^ base level          ^ nextLevel  ^ its nextLevel
///
/// While a group is sorted, the slots of its records stand at the end of each range and belong to the
/// descriptor's next level, whose frequency is thus the number of the group's records that have it.
///
/// Cost: each division of a group looks once at every reference of its records; each reference divides at
/// most once and is then consumed. So the time is linear in the references for records of bounded length,
/// but for the heap (logarithmic). 24 bytes per reference, 56 per descriptor, 32 per record.
/// Errors: negative results and null pointers, explained on the reporter.
/// Thread safety: belongs to one thread at a time.
#pragma once

#include "ace/ace_alloc.h"
#include "ace/ace_attach.h"
#include "ace/ace_dyn_array.h"
#include "ace/ace_types.h"

class AceReporter;

/// A record, in an array and in a doubly linked list through it.
class SORV_API SortRecord {
 public:
  SortRecord(int offset, VInt old_index) : refOffset(offset), oldIndex(old_index) {}

  /// Puts the record directly before `other`; with `unlink` not 0 it leaves its present place first.
  void move_before(SortRecord* other, int unlink);
  /// Makes `next` the record behind this one.
  void link_next(SortRecord* next);
  /// Closes the list behind the record's back.
  void unlink();
  /// Number of records before this one.
  int count() const;
  /// Of the first `n` records, whose offsets ascend, the last one whose offset is at most `ref`; null when
  /// there is none. O(log n).
  static SortRecord* find_rec(int n, SortRecord* array, VInt ref);

  SortRecord* get_prev() const { return prevRecord; }
  int get_offset() const { return refOffset; }
  /// Number of the record's references; the record behind it in the array tells.
  int get_size() const { return this[1].refOffset - refOffset; }
  VInt get_old_index() const { return oldIndex; }
  void set_offset(int offset) { refOffset = offset; }
  void set_old_index(VInt old_index) { oldIndex = old_index; }

 private:
  int refOffset;  // the first reference; in the end the new position
  VInt oldIndex;
  SortRecord* prevRecord = nullptr;
  SortRecord* nextRecord = nullptr;
};

/// What an IndexHeap holds: knows its place.
class HeapEntry {
 public:
  /// Position in the heap, -1 outside.
  VInt heapIndex = -1;

  HeapEntry() = default;
  virtual ~HeapEntry() = default;
  /// Whether `other` may stand below this entry.
  virtual bool less(const HeapEntry* other) const = 0;
};

/// Base of objects that live in an attach, or in an array of their own, and go with it.
template <class T>
class FixedMem {
 public:
  static void* operator new(std::size_t size, AceAttach* at) { return at->alloc(static_cast<VInt>(size)); }
  static void operator delete(void*, AceAttach*) {}
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void*, void*) noexcept {}
  static void operator delete(void*) {}
};

/// Binary heap of entries that know their place; the entry that is less than none is on top. A new entry
/// never rises above an equal one. Entries are not owned, and are in one heap at a time. O(log n) per change.
template <class T>
class IndexHeap : public DynStack<T*> {
 public:
  IndexHeap() : DynStack<T*>(INITIAL_ROOM) {}

  void push(T* entry);
  /// The top entry; null in an empty heap.
  T* get_min() const { return this->topPos > 0 ? this->elemArray[0] : nullptr; }
  /// Takes the top entry out; null from an empty heap.
  T* pop();
  /// Takes an entry out, wherever it is.
  void erase(T* entry);
  /// To be called when an entry's rank has changed.
  void relax(T* entry) { update(entry->heapIndex, entry); }

  /// Puts `entry` at position `pos`, whose entry has gone, and from there where it belongs.
  void update(VInt pos, T* entry);
  /// Moves the entry at `pos` down to where it belongs.
  void fall_down(VInt pos);
  /// Puts `entry` at `pos`, whose entry has gone, or above.
  void push_up(T* entry, VInt pos);

 private:
  static constexpr Large INITIAL_ROOM = 2;

  VInt count() const { return VInt{this->topPos}; }
  T* at(VInt pos) const { return this->elemArray[pos]; }
  void place(VInt pos, T* entry) {
    this->elemArray[pos] = entry;
    entry->heapIndex = pos;
  }
};

/// A descriptor, or its part in a group that is being sorted.
class SORV_API SortDesc final : public HeapEntry, public FixedMem<SortDesc> {
 public:
  SortDesc(VInt offset, VInt prio, const char* debug_string)
      : refOffset(offset), addPrio(prio), debugString(debug_string) {}

  /// Whether the other's priority is at most this one's.
  bool less(const HeapEntry* other) const override {
    return static_cast<const SortDesc*>(other)->get_prio() <= get_prio();
  }

  int get_freq() const { return descFreq; }
  VInt get_offset() const { return refOffset; }
  VInt get_end() const { return refOffset + descFreq; }
  SortDesc* get_next_level() const { return nextLevel; }
  VInt get_prio() const { return descFreq + addPrio; }
  VInt get_add_prio() const { return addPrio; }
  const char* get_debug_string() const { return debugString; }

  void incr() { ++descFreq; }
  void decr() { --descFreq; }
  /// No record has the descriptor any more.
  void remove() { descFreq = 0; }
  /// Hands the last slot on to the next level, which is made in `at` when there is none, and returned.
  SortDesc* push_level(AceAttach* at);

  /// The level, from this one on, that owns `slot`; null when none does.
  SortDesc* find_level(VInt slot);
  /// The number of the descriptor in whose range `slot` lies, among `n` > 0 with ascending offsets. O(log n).
  static int num_base_desc(int n, const SortDesc* array, VInt slot);
  /// That descriptor, and its level that owns the slot.
  static SortDesc* find_base_desc(int n, SortDesc* array, VInt slot);
  static SortDesc* find_desc(int n, SortDesc* array, VInt slot);

 private:
  VInt refOffset;
  int descFreq = 0;
  SortDesc* nextLevel = nullptr;
  VInt addPrio;
  const char* debugString;  // not owned
};

using DescHeap = IndexHeap<SortDesc>;

class SORV_API SortHead : public AceAttach {
 public:
  /// `prio_weight`: percentage of a descriptor's size that is added to its priority.
  SortHead(int num_records, AceReporter* rep, int prio_weight);

  // Filling.

  /// Makes room for at most that many references, descriptors (without the closing one) and records.
  /// Returns 0, or -1 for impossible numbers or when memory is refused.
  int init(VInt num_refs, VInt num_descs, int num_records);
  /// The next descriptor, which `size` records will have; `prio` is added to its priority. `debug_string`
  /// names it in messages and is not copied. Null when there is no room for it, or for an impossible size or
  /// priority.
  SortDesc* make_desc(VInt size, const char* debug_string, VInt prio);
  /// Returns 0, or -1 when there is no room for the record or the last one is not finished.
  int begin_record(VInt old_index);
  /// Returns 1; 0 when the record has the descriptor already; -1 when it has no room left or is none of
  /// this sort's: then `sort` refuses the structure.
  int add_rec_ref(SortDesc* desc);
  /// Both return 0, or -1 when it is not the time for them.
  int finish_record();
  int finish_build();

  /// Returns 0 or a negative value. While the trace flag "CHECK_MULTI_DUPS" is set, each descriptor must have
  /// been added as often as was announced: descriptor i where it was not gives -(i + 1).
  int sort(AceReporter* rep);

  // The order: from the anchor, which is no record, to the first record, and on to the last.

  SortRecord* start_record() const { return recArray + numRecords; }
  /// Null behind the last record.
  static SortRecord* next_record(const SortRecord* record) { return record->get_prev(); }
  static VInt get_old_index(const SortRecord* record) { return record->get_old_index(); }
  /// Number of the records with descriptors; they are the first in the array. Those without stand at its end.
  int get_num_records() const { return numRecords; }
  /// Numbers the records in their order, from 0. Returns how many there are. Not before `sort`.
  int set_new_order();
  /// The number of the record at index `i` of the array.
  int get_new_order(int i) const { return recArray[i].get_offset(); }
  void set_old_index(int i, VInt old_index) { recArray[i].set_old_index(old_index); }
  /// Walks through the array in the order of old indexes, given that records were entered in that order: the
  /// next one is either at `*low` (from 0 up) or below `*high` (from the declared number of records + 1
  /// down). Returns its index in the array and moves that end on; -1 when it is neither.
  int find_record(int* low, int* high, int old_index) const;
  /// 0 when the list holds as many records as were declared, else -1.
  int check_list() const;
  /// Frees what only the filling and the sort need; then also the records, and all that the head owns.
  void clean_temp();
  void clean();

  // What the sort looks up.

  /// The record of a reference.
  SortRecord* get_record(VInt ref) const { return recArray + refOwner[ref]; }
  /// The descriptor level that owns a slot.
  SortDesc* get_desc(VInt slot) const { return descArray[slotOwner[slot]].find_level(slot); }
  /// The reference in slot `i` of a descriptor.
  VInt get_desc_ref(const SortDesc* desc, int i) const { return descRef[desc->get_offset() + i]; }

 private:
  VInt range_end(int desc) const;
  /// Exchange two references, and two slots.
  void swap_rec_refs(VInt a, VInt b);
  void swap_desc_refs(VInt a, VInt b);
  void del_desc_ref(VInt first, int count);
  int check_counts(bool all, AceReporter* rep_l) const;
  int sub_sort(DescHeap* heap, int group_size, AceReporter* rep_l);
  void divide(SortDesc* desc, DescHeap* heap, DescHeap* new_heap);
  void regroup(VInt ref, DescHeap* heap, DescHeap* new_heap);
  int progress(int count, AceReporter* rep_arg);

  AceAttach tempMem;  // what `clean_temp` frees
  VInt maxDrefs = 0;
  VInt numDrefs = 0;
  int numRrefs = 0;
  int maxDescs = 0;
  int numDescs = 0;
  int numRecords = 0;
  int maxRecords;
  int nextUnsorted;
  bool isRecordOpen = false;
  bool isBuilt = false;
  bool isOverfull = false;  // a descriptor was added more often than was announced
  VInt* descRef = nullptr;
  VInt* recRef = nullptr;
  int* refOwner = nullptr;   // record of each reference: saves the search in the array of records
  int* slotOwner = nullptr;  // base descriptor of each slot, likewise
  SortDesc* descArray = nullptr;
  SortRecord* recArray = nullptr;
  int processedRefs = 0;
  int nextReport;
  int prioWeight;
  AceReporter* rep;
};

template <class T>
void IndexHeap<T>::push(T* entry) {
  DynStack<T*>::push(entry);
  push_up(entry, count() - 1);
}

template <class T>
T* IndexHeap<T>::pop() {
  T* const top = get_min();
  if (top != nullptr) erase(top);
  return top;
}

template <class T>
void IndexHeap<T>::erase(T* entry) {
  const VInt pos = entry->heapIndex;
  T* const last = DynStack<T*>::pop();
  if (last != entry) update(pos, last);
  entry->heapIndex = -1;
}

template <class T>
void IndexHeap<T>::update(VInt pos, T* entry) {
  push_up(entry, pos);
  if (entry->heapIndex == pos) fall_down(pos);
}

template <class T>
void IndexHeap<T>::fall_down(VInt pos) {
  T* const entry = at(pos);
  for (;;) {
    VInt below = 2 * pos + 1;
    if (below >= count()) break;
    if (below + 1 < count() && !at(below)->less(at(below + 1))) ++below;
    if (entry->less(at(below))) break;
    place(pos, at(below));
    pos = below;
  }
  place(pos, entry);
}

template <class T>
void IndexHeap<T>::push_up(T* entry, VInt pos) {
  while (pos > 0) {
    T* const above = at((pos - 1) / 2);
    if (above->less(entry)) break;
    place(pos, above);
    pos = (pos - 1) / 2;
  }
  place(pos, entry);
}
