/// Threads of hosts in other languages, which come by themselves.
#pragma once

#include "ace/ace_types.h"

/// Registers the calling thread with the kernel until it ends, unless it is registered or the one that loaded
/// the library. Costs a look at a thread's variable.
SORV_API void seam_register_thread();
