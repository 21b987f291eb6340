// The package "Svcppt" of Tcl: what `load` calls.
#include "svtie/svcppt.h"

#include <exception>
#include <string>
#include <vector>

#include "ace/ace_reporter.h"
#include "svcpp/sorvanta_reporter.h"
#include "svtie/tie_modules.h"

namespace {

/// As a host in C++ begins, once.
void init_library() {
  static const int code = sv_init();
  static_cast<void>(code);
}

std::vector<TieModule*> all_modules() {
  std::vector<TieModule*> modules = tie_table_modules();
  modules.insert(modules.begin(), tie_framework_module());
  return modules;
}

int refuse(Tcl_Interp* interp, const char* package, const std::string& message) {
  Tcl_Eval(interp, (std::string("package forget ") + package).c_str());
  AceReporter::use_default()->ev_wprintf("%s\n", message.c_str());
  Tcl_SetObjResult(interp, Tcl_NewStringObj(message.c_str(), -1));
  return TCL_ERROR;
}

int init_package(Tcl_Interp* interp, const char* package, const char* components) {
  if (Tcl_InitStubs(interp, "8.6", 0) == nullptr) return TCL_ERROR;
  // Deliberately no version, which the index of the package puts in its place (pkgIndex.tcl).
  if (Tcl_PkgProvideEx(interp, package, "SORVANTA_VERSION", nullptr) != TCL_OK) return TCL_ERROR;
  try {
    init_library();
    if (svtie_alive(interp) < 0)
      return refuse(interp, package,
                    std::string(components) + ": the commands belong to another interpreter already");
  } catch (const std::exception& exception) {
    return refuse(interp, package, std::string(components) + ": " + exception.what());
  }
  return TCL_OK;
}

}  // namespace

int svtie_alive(Tcl_Interp* interp) {
  int count = 0;
  for (TieModule* module : all_modules()) {
    if (module->get_interp() != nullptr && module->get_interp() != interp) return -1;
    count += module->alive(interp);
  }
  return count;
}

extern "C" {

int Svcppt_Init(Tcl_Interp* interp) {
  return init_package(interp, "Svcppt", "Svcppt_components(interp)");
}

int Svcpptd_Init(Tcl_Interp* interp) {
  return init_package(interp, "Svcpptd", "Svcpptd_components(interp)");
}
}
