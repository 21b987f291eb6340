/// The C++ API: handles through which a host drives the library.
///
///     sv_init();
///     SorvantaReporter reporter(print, nullptr);            // your function gets all messages
///     reporter.set_as_default();
///     SorvantaLdbFile ldb;
///     ldb.read_from_file("people.ldb", nullptr, folder);
///     SorvantaManager manager;
///     SorvantaDataManager data(&reporter);
///     data.load(&ldb, 1, folder, 0, &manager, nullptr);
///
///     SorvantaSession session;
///     manager.get_session(manager.create_session("people", 0), &session);
///     SorvantaSessionResult result;
///     session.update(&result, "name", "Mayr", "?");
///     for (SorvantaAlternative alt(&result); alt.get_rep() != nullptr; alt.go_next())
///       std::printf("%s %d\n", alt.get_rep(), alt.get_quality());
///
/// Results of int: not negative for success, -1 for what is not possible (an empty handle, a missing
/// argument, an index that is not there); the kernel explains failures on the reporters. Exceptions of the
/// kernel (AceException, std::bad_alloc) pass through; a handle then still holds what it held before the
/// call.
///
/// Ownership: handles own what their description says. Owners can be moved, not copied.
/// Thread safety: managers may be used by any thread; a session and its results by one thread at a time.
#pragma once

#include "svcpp/sorvanta_manager.h"
#include "svcpp/sorvanta_reporter.h"
#include "svcpp/sorvanta_result.h"
#include "svcpp/sorvanta_scripting.h"
#include "svcpp/sorvanta_session.h"
