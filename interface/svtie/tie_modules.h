/// The modules of the table of operations, in the order in which they come alive.
#pragma once

#include <vector>

#include "tie/tie_module.h"

std::vector<TieModule*> tie_table_modules();
/// The commands that are about Tcl itself, and reporters.
TieModule* tie_framework_module();
