#include "tera/tera_alias_map.h"

#include <memory>
#include <vector>

#include "tera/tera_result.h"

TeraAliasMap::GetAlias TeraAliasMap::get_alias_hook() const {
  return [this](Large entry, const Large** aliases) { return get_array(entry, aliases); };
}

int TeraAliasMap::add_aliases(TeraResult* result, const GetAlias* alias_hook, const GetString* string_hook,
                              int) {
  if (result == nullptr || alias_hook == nullptr) return -1;
  struct Found {
    int quality;
    Large entry;
    const char* through;
  };
  std::vector<Found> found;
  result->find_any([&](int quality, const TeraCand* cand) {
    const Large* aliases = nullptr;
    const Large num =
        cand->get_entry() >= 0 ? (*alias_hook)(static_cast<Large>(cand->get_entry()), &aliases) : 0;
    for (Large i = 0; i < num; ++i) found.push_back({quality, aliases[i], cand->get_string()});
    return false;
  });
  if (found.empty()) return 0;
  const int before = result->num_cands();
  for (const Found& alias : found) {
    auto cand = std::make_unique<TeraCand>(alias.entry);
    cand->add_state(TeraCand::SECONDARY);
    if (result->has_no_alias_strings())
      cand->set_string(alias.through);
    else if (string_hook != nullptr)
      cand->set_string((*string_hook)(alias.entry, result));
    result->add(alias.quality, cand.release());
  }
  result->set_aliases();
  result->dedup_unresolved();
  return result->num_cands() - before;
}
