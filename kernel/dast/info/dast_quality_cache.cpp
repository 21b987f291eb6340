#include "dast/dast_quality_cache.h"

#include "tera/tera_cand.h"
#include "tera/tera_result.h"

bool DastQualityCache::insert(Large id, int qual, int orig) {
  const std::size_t page = id / IDS_PER_PAGE;
  if (page >= intArrayCache.size()) intArrayCache.resize(page + 1);
  if (intArrayCache[page] == nullptr) intArrayCache[page] = std::make_unique<Page>();
  DastCacheElement& element = intArrayCache[page]->elements[id % IDS_PER_PAGE];
  if (qual <= element.cachedQual) return false;
  element = {static_cast<Little>(qual), static_cast<Little>(orig)};
  maxEntryIdx = std::max(maxEntryIdx, id + 1);
  maxQual = std::max(maxQual, element.cachedQual);
  return true;
}

int DastQualityCache::insert_array(const Large* ids, Large count, int qual, int orig, Large offset) {
  int better = 0;
  for (Large i = 0; i < count; ++i) better += insert(ids[i] + offset, qual, orig) ? 1 : 0;
  return better;
}

DastCacheElement DastQualityCache::lookup_elem(Large id) const {
  const std::size_t page = id / IDS_PER_PAGE;
  if (page >= intArrayCache.size() || intArrayCache[page] == nullptr) return {NONE, NONE};
  return intArrayCache[page]->elements[id % IDS_PER_PAGE];
}

void DastQualityCache::merge(const DastQualityCache& other) {
  for (Large id = 0; id < other.maxEntryIdx; ++id) {
    if (other.intArrayCache[id / IDS_PER_PAGE] == nullptr) {
      id += IDS_PER_PAGE - 1 - id % IDS_PER_PAGE;
      continue;
    }
    const DastCacheElement element = other.lookup_elem(id);
    if (element.cachedQual != NONE) insert(id, element.cachedQual, element.origQual);
  }
}

int DastQualityCache::cache_primary_result(const TeraResult* result, Large offset) {
  int better = 0;
  for (const TeraCandGroup* group = result->get_first_group(); group != nullptr; group = group->get_next())
    for (const TeraCand* cand = group->get_first_cand(); cand != nullptr; cand = cand->get_next())
      for (Large i = 0; i < cand->get_num_infos(); ++i)
        better += insert(cand->get_info(i) + offset, group->get_value(), group->get_value()) ? 1 : 0;
  return better;
}
