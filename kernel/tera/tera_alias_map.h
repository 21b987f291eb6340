/// Aliases of an edit index: for an entry, the entries that are other spellings of it.
#pragma once

#include <functional>

#include "ace/ace_attach.h"
#include "ace/ace_id_map.h"
#include "tera/tera_cand.h"

class TeraResult;
class TeraScanGraph;

/// Keys and values are slots of the index (tera_edit.h).
class SORV_API TeraAliasMap : public AceIdMap {
 public:
  /// The aliases of an entry, by its number.
  using GetAlias = std::function<Large(Large entry, const Large** aliases)>;
  using GetString = TeraCand::GetString;

  IdList get_aliases(Large entry) const { return get(entry); }
  Large get_num_aliases(Large entry) const { return get_size(entry); }
  GetAlias get_alias_hook() const;

  /// Adds each alias of each candidate to the candidate's group, with its string from the hook (or that of
  /// the candidate, see `TeraResult::set_no_alias_strings`), and marks the result
  /// (`TeraResult::set_aliases`). An entry that is there already keeps its best quality. The fourth argument
  /// is unused. Returns how many candidates there are more than before; -1 without hook or result.
  static int add_aliases(TeraResult* result, const GetAlias* alias_hook, const GetString* string_hook,
                         int unused);
  /// The same for the result of every edge, which must not be resolved yet.
  static int add_aliases(TeraScanGraph* graph, const GetAlias* alias_hook, const GetString* string_hook,
                         int unused);
};
