/// A set of records and its two parts: the records of a built base, and those that were appended later.
///
///     full list     records 1 ... splitRecord - 1     splitRecord ...
///                   main list, as they are            incremental list, counted from 1
///
/// The parts are made when first asked for, and each is a cache of its own, to be handed to what knows only
/// that part of the records. No list, and one that is NOT_USED, stands for all records; so do its parts.
///
/// Ownership: the full list belongs to the caller and must stay unchanged until `invalidate`; parts belong to
/// the cache and die with it, or when it is invalidated.
/// Thread safety: a cache belongs to one thread. What it has handed out may be read by many.
#pragma once

#include <memory>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "dast/dast_info_list.h"

class SORV_API DastInfoListCache {
 public:
  /// Without split record everything is in the main part.
  explicit DastInfoListCache(const DastInfoList* full_list, Large split_record = DastInfoList::NONE)
      : splitRecord(split_record), fullList(full_list) {}
  DastInfoListCache(const DastInfoListCache&) = delete;
  DastInfoListCache& operator=(const DastInfoListCache&) = delete;

  /// Makes the parts, unless they are there.
  void cut();
  /// Null stands for all records.
  const DastInfoList* get_full_list() const { return fullList; }
  DastInfoListCache* get_main_cache();
  DastInfoListCache* get_incr_cache();
  /// The first record of the incremental part. Drops the parts when it changes.
  void set_split(int record);
  /// Drops the parts.
  void invalidate();

 private:
  AceAttach memAt;  // holds the arrays of the parts
  Large splitRecord;
  const DastInfoList* fullList;
  DastInfoList mainList;
  DastInfoList incrList;
  std::unique_ptr<DastInfoListCache> mainCache;
  std::unique_ptr<DastInfoListCache> incrCache;
};
