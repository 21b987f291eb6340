// Aliases in the results of scan graphs: the half of TeraAliasMap that knows graphs.
#include "tera/tera_alias_map.h"

#include "tera/tera_scan_graph.h"

int TeraAliasMap::add_aliases(TeraScanGraph* graph, const GetAlias* alias_hook, const GetString* string_hook,
                              int unused) {
  if (graph == nullptr || alias_hook == nullptr) return -1;
  int num = 0;
  for (int i = 0; i < graph->get_num_nodes(); ++i)
    for (const auto* edge = graph->get_node(i)->get_first_edge(); edge != nullptr; edge = edge->get_next())
      if (edge->get_result() != nullptr)
        num += add_aliases(edge->get_result(), alias_hook, string_hook, unused);
  return num;
}
