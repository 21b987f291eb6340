/// Aliases of an edit index: for an entry, the entries that are other spellings of it, each with a penalty.
///
/// Keys and values of the id map are slots of the index (tera_edit.h). Where an alias has a penalty, the map
/// has twice as many keys as the index has slots: the list of key `slots + slot` has the penalties of the
/// aliases of `slot`, in their order.
///
/// Thread safety and errors: as those of AceIdMap; penalties that a file has not for each alias are none.
#pragma once

#include <functional>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_id_map.h"
#include "tera/tera_cand.h"

class TeraResult;
class TeraScanGraph;

class SORV_API TeraAliasMap : public AceIdMap {
 public:
  static constexpr int MAX_PENALTY = 255;

  /// Stores the addresses of an entry's aliases and of their penalties (null: all 0). Returns how many there
  /// are.
  using GetAlias = std::function<Large(Large entry, const Large** aliases, const Large** penalties)>;
  using GetString = TeraCand::GetString;

  /// Pairs of entries that are aliases of each other, while a map is made.
  class SORV_API Pairs {
   public:
    explicit Pairs(Large num_entries) : aliases(num_entries), penalties(num_entries) {}
    /// Both ways. A pair that is there already keeps the lower penalty; penalties are moved to
    /// 0..MAX_PENALTY.
    void add(Large entry, Large other, int penalty);

   private:
    friend class TeraAliasMap;
    void link(Large entry, Large alias, Large penalty);

    AceBulk bulk;
    std::vector<AceBulk::List*> aliases;
    std::vector<AceBulk::List*> penalties;
    bool hasPenalties = false;
  };
  /// Replaces what there was. Returns 0 or -1.
  int make_from(Pairs* pairs);

  IdList get_aliases(Large entry) const { return get(entry); }
  Large get_num_aliases(Large entry) const { return get_size(entry); }
  /// For a map of an index with that many slots.
  GetAlias get_alias_hook(Large num_entries) const;

  /// Adds each alias of each candidate, with the candidate's quality less the penalty (not below 0), its
  /// string from the hook (or that of the candidate, see `TeraResult::set_no_alias_strings`), and marks the
  /// result (`TeraResult::set_aliases`). An entry has its best quality, and counts once. The fourth argument
  /// is unused. Returns the number of candidates; -1 without hook or result.
  static int add_aliases(TeraResult* result, const GetAlias* alias_hook, const GetString* string_hook,
                         int unused);
  /// The same for the result of every edge, which must not be resolved yet. Returns the number of candidates
  /// of them all.
  static int add_aliases(TeraScanGraph* graph, const GetAlias* alias_hook, const GetString* string_hook,
                         int unused);
};
