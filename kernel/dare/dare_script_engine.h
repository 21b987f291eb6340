/// Script engines: how a host lets scripts take part in sessions.
///
/// A host implements the interface; the library has no engine of its own.
/// Thread safety: `session_hook` may be called by any thread that runs a session.
#pragma once

#include "ace/ace_types.h"

class AceReporter;
class DareMultiQuery;
class DastResult;
class DastSession;

class SORV_API ScriptEngine {
 public:
  virtual ~ScriptEngine() = default;
  /// Reads a script file. Returns 0; negative on errors, with a text in `*error`.
  virtual int source(const char* file, const char** error, AceReporter* rep) = 0;
  /// Calls a function of the scripts, which answers a query with the session. The caller owns the result;
  /// null for none.
  virtual DastResult* session_hook(DastSession* session, const DareMultiQuery* query,
                                   const char* function) = 0;
  virtual int set_precision(int precision) = 0;

 protected:
  ScriptEngine() = default;
  ScriptEngine(const ScriptEngine&) = default;
  ScriptEngine& operator=(const ScriptEngine&) = default;
};
