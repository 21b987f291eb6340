/// The package "Svcppt": all commands of the library for Tcl 8.6.
///
///     package require Svcppt
///     set map [TeraMapConfig::compile [TeraMapConfig utf-8]]
///
/// One interpreter of a process has the commands at a time; another one is refused. Interpreters load the
/// library by pkgIndex.tcl, and the library calls them through the table that they bring: it does not depend
/// on Tcl.
#pragma once

#include <tcl.h>

#include "ace/ace_types.h"

/// Brings all modules alive. Returns the number of new commands; -1 when they belong to another interpreter.
SORV_API int svtie_alive(Tcl_Interp* interp);

extern "C" {
SORV_API int Svcppt_Init(Tcl_Interp* interp);
/// That of the debugging build.
SORV_API int Svcpptd_Init(Tcl_Interp* interp);
}
