/// Lists of ids by key, from which id maps are made.
#pragma once

#include <memory>
#include <vector>

#include "ace/ace_bulk.h"
#include "ace/ace_id_map.h"

namespace dast {

class IdLists {
 public:
  explicit IdLists(Large num_keys) : lists(num_keys) {}
  /// Values of a key come in ascending order; one that repeats the last is left out.
  void add(Large key, Large value) {
    AceBulk::List*& list = lists[key];
    if (list == nullptr || (*list)[list->count() - 1] != value) bulk.inc(list, value);
  }
  /// Null when the lists are too many for an id map.
  std::unique_ptr<AceIdMap> make() {
    auto map = std::make_unique<AceIdMap>();
    if (map->build(static_cast<Large>(lists.size()), lists.data(), nullptr) < 0) return nullptr;
    return map;
  }

 private:
  AceBulk bulk;
  std::vector<AceBulk::List*> lists;
};

/// The keys of each value of `map` below `num_values`.
inline std::unique_ptr<AceIdMap> inverse_of(const AceIdMap& map, Large num_values) {
  IdLists lists(num_values);
  for (Large key = 0; key < map.get_num_keys(); ++key)
    for (const Large value : map.get(key))
      if (value < num_values) lists.add(value, key);
  return lists.make();
}

}  // namespace dast
