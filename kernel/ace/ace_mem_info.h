/// Memory figures of the process.
#pragma once

#include "ace/ace_types.h"

/// Stores the process's virtual size, resident size and shared size, in bytes, into the outputs that are not
/// null. Returns 0, or -1 when the system does not tell.
SORV_API int ace_mem_info(long* size, long* resident, long* shared);

/// Always -1: the system sets no working-set limit.
SORV_API int ace_max_working_set();
