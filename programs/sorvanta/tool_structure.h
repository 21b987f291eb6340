/// Where documents have their records, and which columns these have.
#pragma once

#include <vector>

#include "damo/damo_json.h"
#include "sorvanta/tool_source.h"

/// The list with the most values below it has the records: sets the path of the records, and the columns.
void look_at_json(const std::vector<JsonOutput>& nodes, SourceSample* sample);
/// The element below the document's that has the most values; sets the namespaces, too.
void look_at_xml(SourceSample* sample);
