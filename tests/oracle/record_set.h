/// Sets of the records 0 to 7 as bits, and as lists in every encoding.
#pragma once

#include <vector>

#include "dast/dast_info_iterator.h"
#include "dast/dast_info_list.h"

namespace oracle {

constexpr int NUM_RECORDS = 8;
using Bits = unsigned;

inline bool has(Bits set, Large record) {
  return record < NUM_RECORDS && (set >> record & 1) != 0;
}
inline Bits range(Large from, Large to) {
  Bits set = 0;
  for (Large record = 0; record < NUM_RECORDS; ++record)
    if (record >= from && record < to) set |= 1U << record;
  return set;
}

/// A list with the arrays that it points to.
struct RecordSet {
  DastInfoList list() const {
    return type == DastInfoList::REFERENCE
               ? DastInfoList(static_cast<Large>(infos.size()), infos.data(), refs->data())
               : DastInfoList(static_cast<Large>(infos.size()), infos.data(), type == DastInfoList::FROM_TO);
  }
  Bits bits;
  DastInfoList::Type type;
  std::vector<Large> infos;
  const std::vector<Large>* refs = nullptr;
};

/// SINGLE; pairs, maximal and one for each record; entries of interval lists, of single records and of runs
/// (some without records). In pairs the end of the last record may be open.
inline std::vector<RecordSet> all_encodings(Bits set, bool open_end) {
  static const std::vector<Large> SINGLE_BOUNDS = {0, 1, 2, 3, 4, 5, 6, 7, 8};
  static const std::vector<Large> RUN_BOUNDS = {0, 1, 3, 3, 6, 7, 8, 8};
  RecordSet single{set, DastInfoList::SINGLE, {}};
  RecordSet maximal{set, DastInfoList::FROM_TO, {}};
  RecordSet each{set, DastInfoList::FROM_TO, {}};
  RecordSet entries{set, DastInfoList::REFERENCE, {}, &SINGLE_BOUNDS};
  for (Large record = 0; record < NUM_RECORDS; ++record) {
    if (!has(set, record)) continue;
    single.infos.push_back(record);
    entries.infos.push_back(record);
    each.infos.insert(each.infos.end(), {record, record + 1});
    if (record > 0 && has(set, record - 1))
      maximal.infos.back() = record + 1;
    else
      maximal.infos.insert(maximal.infos.end(), {record, record + 1});
  }
  if (open_end && has(set, NUM_RECORDS - 1)) maximal.infos.back() = each.infos.back() = DastInfoList::NONE;
  std::vector<RecordSet> encodings = {single, maximal, each, entries};
  RecordSet runs{0, DastInfoList::REFERENCE, {}, &RUN_BOUNDS};
  for (Large entry = 0; entry + 1 < RUN_BOUNDS.size(); ++entry) {
    const Bits run = range(RUN_BOUNDS[entry], RUN_BOUNDS[entry + 1]);
    if ((set & run) != run) continue;
    runs.infos.push_back(entry);
    runs.bits |= run;
  }
  if (runs.bits == set) encodings.push_back(runs);
  return encodings;
}

/// The records of a list of any encoding, from the definition.
inline Bits bits_of(const DastInfoList& list) {
  Bits set = 0;
  for (Large i = 0; i < list.get_length(); ++i) {
    const Large info = list.get_list()[i];
    if (list.get_type() == DastInfoList::SINGLE) set |= range(info, info + 1);
    if (list.get_type() == DastInfoList::FROM_TO && i % 2 == 0) set |= range(info, list.get_list()[i + 1]);
    if (list.get_type() == DastInfoList::REFERENCE)
      set |= range(list.get_refs()[info], list.get_refs()[info + 1]);
  }
  return set;
}

/// Whether the array is as its type demands.
inline bool is_sound(const DastInfoList& list) {
  const bool isPairs = list.get_type() == DastInfoList::FROM_TO;
  for (Large i = 1; i < list.get_length(); ++i) {
    const Large last = list.get_list()[i - 1];
    const Large info = list.get_list()[i];
    if (isPairs && i % 2 == 0 ? info < last : info <= last) return false;
  }
  return !isPairs || list.get_length() % 2 == 0;
}

}  // namespace oracle
