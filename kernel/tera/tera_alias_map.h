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

  /// Adds each alias of each candidate to the candidate's group, unless the entry is in the result already,
  /// with its string from the hook, and marks the result (`TeraResult::set_aliases`). The fourth argument
  /// is unused. Returns the number of candidates added; -1 without hook or result.
  static int add_aliases(TeraResult* result, const GetAlias* alias_hook, const GetString* string_hook,
                         int unused);
  /// The same for every result of a graph.
  static int add_aliases(TeraScanGraph* graph, const GetAlias* alias_hook, const GetString* string_hook,
                         int unused);
};
