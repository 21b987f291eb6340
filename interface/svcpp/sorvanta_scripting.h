/// Scripts (see sorvanta.h): a host brings an engine of its own (dare_script_engine.h).
#pragma once

#include "svcpp/sv_types.h"

class SorvantaSession;
class SorvantaSessionResult;

class SV_API SorvantaScripting {
 public:
  enum Type : int { UNTYPED = 0, TCL_SCRIPTING = 1, JAVA_SCRIPTING = 2 };

  /// 1 for files that end in "tcl", 2 for "class" and "jar", 0 for neither; -1 for a mixture.
  static int check_script_type(const char* const* files, int n);
  /// The engine stays its owner's.
  int set_engine(ScriptEngine* engine, Type type);
  /// Forgets the engine.
  int close_engine();
  /// -1 without engine.
  int set_precision(int precision);
  Type get_type() const { return scriptType; }
  /// Calls a function of the scripts; its result goes to `result`. Returns 0, or -1.
  int session_hook(SorvantaSession* session, int n, const char* const* modes, const char* const* queries,
                   SorvantaSessionResult* result, const char* function);
  ScriptEngine* get_internal_engine() const { return scriptEngine; }

 private:
  ScriptEngine* scriptEngine = nullptr;
  Type scriptType = UNTYPED;
};
