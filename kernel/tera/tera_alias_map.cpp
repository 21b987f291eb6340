#include "tera/tera_alias_map.h"

TeraAliasMap::GetAlias TeraAliasMap::get_alias_hook() const {
  return [this](Large entry, const Large** aliases) { return get_array(entry, aliases); };
}
