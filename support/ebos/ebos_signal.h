/// The signals that end a host: SIGINT and SIGTERM.
///
/// They are meant for one thread: threads started by EbosThread have them blocked, and the thread that shall
/// receive them calls `ebos_signal_handler`.
#pragma once

#include "ace/ace_types.h"

/// Block and unblock SIGINT and SIGTERM for the calling thread.
SORV_API void ebos_block_signals();
SORV_API void ebos_unblock_signals();
/// Installs `handler` for both, in the whole process; interrupted system calls are restarted. The handler may
/// do only what is safe in signal handlers. Failures are told on standard error.
SORV_API void ebos_configure_signals(void (*handler)(int));
/// Makes the calling thread one that receives both. Returns 0.
SORV_API int ebos_signal_handler();
/// Does nothing: there are no system error boxes to suppress.
SORV_API void ebos_suppress_errors();
