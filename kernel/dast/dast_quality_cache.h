/// The best quality of each base id that a recall of a field has met, so that records can be scored again
/// later without a second look-up.
///
/// Ids are kept in pages of IDS_PER_PAGE, made when one of their ids is met.
/// Thread safety: belongs to one query at a time; constant operations by any number of threads.
/// Cost: O(1) an operation.
#pragma once

#include <algorithm>
#include <memory>
#include <vector>

#include "ace/ace_types.h"

class TeraResult;

/// Of a base id: the quality that counts, and that of the recall (before aliases and reshaping).
struct DastCacheElement {
  Little cachedQual;
  Little origQual;
};

class SORV_API DastQualityCache {
 public:
  /// Of ids that were not met.
  static constexpr Little NONE = -1;

  /// Notes a quality, if it is better than what is known of the id. Returns whether it was.
  bool insert(Large id, int qual, int orig);
  /// The same for ids with an offset added to each. Returns how many got better.
  int insert_array(const Large* ids, Large count, int qual, int orig, Large offset);
  /// NONE for ids that were not met.
  int lookup(Large id) const { return lookup_elem(id).cachedQual; }
  int lookup_orig_qual(Large id) const { return lookup_elem(id).origQual; }
  DastCacheElement lookup_elem(Large id) const;
  /// Takes over what another cache knows better.
  void merge(const DastQualityCache& other);
  /// The best of all; NONE in an empty cache.
  int get_max_value() const { return maxQual; }
  /// One more than the highest id met.
  Large get_num_ids() const { return maxEntryIdx; }
  /// The attribute numbers of a result that has been resolved. Returns how many got better.
  int cache_primary_result(const TeraResult* result, Large offset);

 private:
  static constexpr Large IDS_PER_PAGE = 256;
  struct Page {
    Page() { std::fill(std::begin(elements), std::end(elements), DastCacheElement{NONE, NONE}); }
    DastCacheElement elements[IDS_PER_PAGE];
  };

  Large maxEntryIdx = 0;
  Little maxQual = NONE;
  std::vector<std::unique_ptr<Page>> intArrayCache;
};
