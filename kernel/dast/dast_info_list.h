/// Sets of records, in one of three encodings.
///
///     set {4, 5, 6, 9}          infoList         refList
///     SINGLE                    4 5 6 9
///     FROM_TO                   4 7   9 10                        pairs [from, to)
///     REFERENCE                 1 3              1 4 7 9 10       entries of an interval list: [4,7) [9,10)
///
/// NOT_USED is no set. As an operand it is empty; as a context, to count in or to map to another level, it
/// stands for all records. No set operation yields it: what becomes empty is SINGLE, of length 0.
///
/// Invariants: ids and entries ascend strictly; pairs have from < to and do not overlap. An open end (NONE,
/// also in a pair) is that of all records there are; [0, NONE) is the set of all of them. Entries of a
/// REFERENCE list have both bounds in `refList`.
///
/// Ownership: a list points to arrays that others own and it never writes to. What an operation makes lies in
/// the attach that it is given, and is read by the list from then on.
/// Thread safety: a list belongs to one thread; lists that nobody changes may be read by any number of them.
/// Cost: of two sets, the shorter array is walked and the longer one searched by leaps that double
/// (J. Bentley, A. Yao, Inf. Proc. Letters 5(3), 1976); ranges are never unfolded into records, except by
/// `get_single`.
#pragma once

#include <span>

#include "ace/ace_attach.h"
#include "ace/ace_check_type.h"
#include "ace/ace_types.h"

class DastInfoIterator;
class TeraCand;

class SORV_API DastInfoList : public AceCheckType<DastInfoList> {
 public:
  enum Type : int { NOT_USED = 0, SINGLE = 1, FROM_TO = 2, REFERENCE = 3 };
  /// An open end.
  static constexpr Large NONE = 4294967295U;

  DastInfoList() = default;
  /// REFERENCE when there are references, else SINGLE.
  DastInfoList(Large length, const Large* list, const Large* refs)
      : infoList(list), refList(refs), infoLength(length), listType(refs != nullptr ? REFERENCE : SINGLE) {}
  /// FROM_TO or SINGLE.
  DastInfoList(Large length, const Large* list, bool from_to)
      : infoList(list), infoLength(length), listType(from_to ? FROM_TO : SINGLE) {}
  /// The attribute numbers of a candidate, which must stay, without its shift. More than two of them that
  /// start with 0 are pairs, behind that 0; candidates hold sets of records so (see `to_infos`).
  explicit DastInfoList(const TeraCand* cand);
  /// A copy with its array in `at`; references are shared.
  DastInfoList(const DastInfoList& other, AceAttach* at);

  Type get_type() const { return listType; }
  /// Elements of the array: ids, bounds, or entries.
  Large get_length() const { return infoLength; }
  const Large* get_list() const { return infoList; }
  const Large* get_refs() const { return refList; }
  std::span<const Large> get_infos() const { return {infoList, infoLength}; }
  bool is_empty() const { return infoLength == 0; }
  /// Whether it is the pair [0, NONE), the set of all records.
  bool is_frequent() const {
    return listType == FROM_TO && infoLength == 2 && infoList[0] == 0 && infoList[1] == NONE;
  }
  /// Whether the record is in a SINGLE or FROM_TO list; false for other types.
  bool has(Large record) const;
  /// The number of records; open ends count up to NONE.
  Large get_size() const;
  /// The records below `limit`, ascending: the array itself or, of other types, a new one in `at`. Returns
  /// their number.
  Large get_single(const Large** records, AceAttach* at, Large limit) const;
  /// Whether the two sets share a record. Builds nothing.
  bool has_intersection(const DastInfoList* other) const;
  /// The array as a candidate holds a set: SINGLE ids, or pairs behind a 0. Returns its length.
  Large to_infos(const Large** infos, AceAttach* at) const;

  /// Becomes NOT_USED.
  void reset() { *this = DastInfoList(); }
  /// Becomes a FROM_TO list of `n` bounds, kept by pointer.
  void init_from_to(Large n, const Large* bounds) { *this = DastInfoList(n, bounds, true); }

  // Set operations. The result replaces this list; its array is in `at` (where it is not `other`'s or the
  // old one).

  /// SINGLE when one of the two is, else FROM_TO.
  void intersect_with(const DastInfoList* other, AceAttach* at);
  /// SINGLE when both are (or one is and the other is empty), else FROM_TO, with touching ranges joined.
  void union_with(const DastInfoList* other, AceAttach* at);
  /// The records that `other` does not have. SINGLE stays SINGLE, the others become FROM_TO.
  void subtract(const DastInfoList* other, AceAttach* at);
  /// REFERENCE becomes FROM_TO; others stay as they are.
  void ensure_no_reference(AceAttach* at);
  /// Resolves references and adds `d`, also a negative one, to each element. Open ends stay open. No element
  /// may leave the range of ids.
  void apply_offset(VInt d, AceAttach* at);

  // The same over `n` lists, which are sorted by length and stay as they are otherwise. The new list is in
  // `at`; null, which is no list, for the intersection of none.

  static DastInfoList* intersect_lists(int n, DastInfoList** lists, AceAttach* at);
  static DastInfoList* union_lists(int n, DastInfoList** lists, AceAttach* at);
  /// The complement within the records 1 to limit - 1, FROM_TO, as a new list in `at`.
  static DastInfoList* invert(const DastInfoList* list, Large limit, AceAttach* at);

  /// Joins pairs that touch, in place; the last of an odd number of bounds (3 or more) is dropped. Returns
  /// the new number of bounds.
  static Large compress_intervals(Large n, Large* bounds);
  /// Orders by length: negative, 0 or positive.
  static int cmp_len(const DastInfoList* first, const DastInfoList* second);

  /// Walks the set; the iterator is in `at`, or free-standing when that is null. Null for NOT_USED.
  DastInfoIterator* create_iterator(AceAttach* at) const;

 private:
  void become(Type type, Large length, const Large* list) {
    *this = length > 0 ? DastInfoList(length, list, type == FROM_TO) : DastInfoList(0, nullptr, false);
  }

  const Large* infoList = nullptr;
  const Large* refList = nullptr;
  Large infoLength = 0;
  Type listType = NOT_USED;
};
