// What a call costs through the handles of hosts in C++ and from Tcl, beside the call itself and an empty
// command.
#include <tcl.h>

#include <memory>
#include <string>

#include "ace/ace_attach.h"
#include "dare/dare_result.h"
#include "ratio.h"
#include "svcpp/sorvanta_reporter.h"
#include "svcpp/sorvanta_result.h"
#include "svtie/svcppt.h"
#include "tera/tera_map.h"

namespace {

constexpr int CALLS = 10000;

void handle_of_a_host(benchmark::State& state) {
  auto* const kernel = new DastResult(3, 0, 255, 100);
  SorvantaSessionResult handle;
  handle.init(kernel);
  const auto calls = [](const auto* object) {
    for (int i = 0; i < CALLS; ++i) {
      benchmark::DoNotOptimize(object);
      benchmark::DoNotOptimize(object->get_num_suggs());
    }
  };
  bench::compare(
      state, CALLS, [&] { calls(&handle); }, [&] { calls(kernel); });
}
BENCHMARK(handle_of_a_host)->UseManualTime();

/// What calls of `normalize` from other languages have in them.
void normalize_itself(benchmark::State& state) {
  const TeraMap* const map = TeraMap::get_ident_map();
  for (auto _ : state) {
    AceAttach at;
    benchmark::DoNotOptimize(map->normalize("abcdef", false, &at));
  }
}
BENCHMARK(normalize_itself);

int empty_command(ClientData, Tcl_Interp*, int, Tcl_Obj* const*) {
  return TCL_OK;
}

int text_command(ClientData, Tcl_Interp* interp, int, Tcl_Obj* const*) {
  Tcl_SetObjResult(interp, Tcl_NewStringObj("abc", 3));
  return TCL_OK;
}

struct InterpDelete {
  void operator()(Tcl_Interp* interp) const { Tcl_DeleteInterp(interp); }
};

/// A procedure of so many calls, compiled by Tcl.
void tcl_command(benchmark::State& state, const std::string& command, const std::string& peer) {
  sv_init();
  Tcl_FindExecutable(nullptr);
  const std::unique_ptr<Tcl_Interp, InterpDelete> interp(Tcl_CreateInterp());
  Tcl_CreateObjCommand(interp.get(), "empty", empty_command, nullptr, nullptr);
  Tcl_CreateObjCommand(interp.get(), "text", text_command, nullptr, nullptr);
  if (Svcppt_Init(interp.get()) != TCL_OK) return state.SkipWithError(Tcl_GetStringResult(interp.get()));
  const auto run = [&](const std::string& script) {
    if (Tcl_Eval(interp.get(), script.c_str()) != TCL_OK)
      state.SkipWithError(Tcl_GetStringResult(interp.get()));
  };
  const std::string loop = "for {set i 0} {$i < " + std::to_string(CALLS) + "} {incr i} ";
  run("set m [TeraMap::get_ident_map]; set x [TeraIndex]; AceReporter::set_as_default [set r "
      "[AceReporter::get_null_reporter]]");
  run("proc ours {m r x} {" + loop + "{" + command + "}}");
  run("proc peer {m r x} {" + loop + "{" + peer + "}}");
  bench::compare(
      state, CALLS, [&] { run("ours $m $r $x"); }, [&] { run("peer $m $r $x"); });
}
BENCHMARK_CAPTURE(tcl_command, three_arguments, "TeraMap::compare $m abc abd", "empty $m abc abd")
    ->UseManualTime();
BENCHMARK_CAPTURE(tcl_command, text_result, "TeraMap::normalize $m abc", "text $m abc")->UseManualTime();
BENCHMARK_CAPTURE(tcl_command, option, "TeraIndex::print -rep $r $x", "TeraIndex::print $x")->UseManualTime();

}  // namespace
