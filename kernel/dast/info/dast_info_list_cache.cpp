#include "dast/dast_info_list_cache.h"

namespace {

constexpr Large FIRST_RECORD = 1;

}  // namespace

void DastInfoListCache::cut() {
  if (mainCache != nullptr || incrCache != nullptr) return;
  const bool isSet = fullList != nullptr && fullList->get_type() != DastInfoList::NOT_USED;
  if (isSet) {
    const Large bounds[] = {FIRST_RECORD, splitRecord, DastInfoList::NONE};
    const auto part = [&](int i) {
      const DastInfoList window(bounds[i] < bounds[i + 1] ? 2 : 0, bounds + i, true);
      DastInfoList list = *fullList;
      list.intersect_with(&window, &memAt);
      return list;
    };
    mainList = part(0);
    incrList = part(1);
    incrList.apply_offset(VInt{FIRST_RECORD} - splitRecord, &memAt);
  }
  mainCache = std::make_unique<DastInfoListCache>(isSet ? &mainList : nullptr);
  incrCache = std::make_unique<DastInfoListCache>(isSet ? &incrList : nullptr);
}

DastInfoListCache* DastInfoListCache::get_main_cache() {
  cut();
  return mainCache.get();
}

DastInfoListCache* DastInfoListCache::get_incr_cache() {
  cut();
  return incrCache.get();
}

void DastInfoListCache::set_split(int record) {
  if (splitRecord == static_cast<Large>(record)) return;
  splitRecord = static_cast<Large>(record);
  invalidate();
}

void DastInfoListCache::invalidate() {
  mainCache.reset();
  incrCache.reset();
  mainList.reset();
  incrList.reset();
  memAt.release();
}
