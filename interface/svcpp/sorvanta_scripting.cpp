#include "svcpp/sorvanta_scripting.h"

#include <string_view>

#include "dare/dare_script_engine.h"
#include "dare/dare_session.h"
#include "svcpp/sorvanta_result.h"
#include "svcpp/sorvanta_session.h"

int SorvantaScripting::check_script_type(const char* const* files, int n) {
  if (files == nullptr) return n > 0 ? -1 : 0;
  int type = UNTYPED;
  for (int i = 0; i < n; ++i) {
    const std::string_view name = files[i] != nullptr ? files[i] : "";
    const int found = name.ends_with("tcl")                              ? TCL_SCRIPTING
                      : name.ends_with("class") || name.ends_with("jar") ? JAVA_SCRIPTING
                                                                         : UNTYPED;
    if (found == UNTYPED) continue;
    if (type != UNTYPED && type != found) return -1;
    type = found;
  }
  return type;
}

int SorvantaScripting::set_engine(ScriptEngine* engine, Type type) {
  scriptEngine = engine;
  scriptType = type;
  return 0;
}

int SorvantaScripting::close_engine() {
  return set_engine(nullptr, UNTYPED);
}

int SorvantaScripting::set_precision(int precision) {
  return scriptEngine != nullptr ? scriptEngine->set_precision(precision) : -1;
}

int SorvantaScripting::session_hook(SorvantaSession* session, int n, const char* const* modes,
                                    const char* const* queries, SorvantaSessionResult* result,
                                    const char* function) {
  DastSession* const kernel = session != nullptr ? session->get_internal_session() : nullptr;
  if (scriptEngine == nullptr || kernel == nullptr || result == nullptr) return -1;
  const DareMultiQuery query(n, modes, queries);
  DastResult* const answer = scriptEngine->session_hook(kernel, &query, function);
  if (answer == nullptr) return -1;
  return result->init(answer);
}
