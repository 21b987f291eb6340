#include "tera/tera_alias_map.h"

#include <algorithm>
#include <memory>
#include <unordered_map>
#include <vector>

#include "tera/tera_result.h"

// ---------------------------------------------------------------- building

void TeraAliasMap::Pairs::add(Large entry, Large other, int penalty) {
  const auto moved = static_cast<Large>(std::clamp(penalty, 0, MAX_PENALTY));
  hasPenalties |= moved > 0;
  link(entry, other, moved);
  link(other, entry, moved);
}

void TeraAliasMap::Pairs::link(Large entry, Large alias, Large penalty) {
  const AceBulk::Array known(aliases[entry]);
  const auto place = std::find(known.begin(), known.end(), alias);
  if (place != known.end()) {
    Large& old = (*penalties[entry])[static_cast<Large>(place - known.begin())];
    old = std::min(old, penalty);
    return;
  }
  bulk.inc(aliases[entry], alias);
  bulk.inc(penalties[entry], penalty);
}

int TeraAliasMap::make_from(Pairs* pairs) {
  std::vector<AceBulk::List*> lists = pairs->aliases;
  if (pairs->hasPenalties) lists.insert(lists.end(), pairs->penalties.begin(), pairs->penalties.end());
  return build(static_cast<Large>(lists.size()), lists.data(), nullptr);
}

// ---------------------------------------------------------------- recall

TeraAliasMap::GetAlias TeraAliasMap::get_alias_hook(Large num_entries) const {
  const bool hasPenalties = get_num_keys() > num_entries;
  return [this, num_entries, hasPenalties](Large entry, const Large** aliases, const Large** penalties) {
    const Large num = get_array(entry, aliases);
    *penalties = nullptr;
    if (hasPenalties && get_array(num_entries + entry, penalties) != num) *penalties = nullptr;
    return num;
  };
}

int TeraAliasMap::add_aliases(TeraResult* result, const GetAlias* alias_hook, const GetString* string_hook,
                              int) {
  if (result == nullptr || alias_hook == nullptr) return -1;
  struct Best {
    int own = -1;  // quality as a hit
    int alias = -1;
    const char* through = nullptr;
  };
  std::unordered_map<int, Best> entries;
  const auto eachHit = [result](auto visit) {
    result->find_any([&](int quality, const TeraCand* cand) {
      if (cand->get_entry() >= 0) visit(quality, *cand);
      return false;
    });
  };
  eachHit([&](int quality, const TeraCand& cand) {
    int& own = entries[cand.get_entry()].own;
    own = std::max(own, quality);
  });
  std::vector<int> better;  // entries that are worth more as aliases
  eachHit([&](int quality, const TeraCand& cand) {
    const Large* aliases = nullptr;
    const Large* penalties = nullptr;
    const Large num = (*alias_hook)(static_cast<Large>(cand.get_entry()), &aliases, &penalties);
    for (Large i = 0; i < num; ++i) {
      const VInt penalty = penalties != nullptr ? penalties[i] : 0;
      const int value = static_cast<int>(std::max(quality - penalty, VInt{0}));
      Best& best = entries[static_cast<int>(aliases[i])];
      if (value <= std::max(best.own, best.alias)) continue;
      if (best.alias < 0) better.push_back(static_cast<int>(aliases[i]));
      best.alias = value;
      best.through = cand.get_string();
    }
  });
  if (better.empty()) return result->num_cands();
  // They go before they come back, so that none counts twice against the number of candidates.
  result->remove_any(
      [&](const TeraCand* cand) { return cand->get_entry() >= 0 && entries[cand->get_entry()].alias >= 0; });
  for (const int entry : better) {
    const Best& best = entries[entry];
    if (!result->accept(best.alias)) continue;
    auto cand = std::make_unique<TeraCand>(static_cast<Large>(entry));
    cand->add_state(TeraCand::SECONDARY);
    if (result->has_no_alias_strings())
      cand->set_string(best.through);
    else if (string_hook != nullptr)
      cand->set_string((*string_hook)(static_cast<Large>(entry), result));
    result->add(best.alias, cand.release());
  }
  result->set_aliases();
  return result->num_cands();
}
