// Runs the Tcl scripts of this folder in an interpreter of this process, so that sanitizers see all of it. A
// script compares by `is expected actual` and says what it looks at by its comments; it ends without objects.
#include <tcl.h>

#include <filesystem>
#include <memory>

#include "svtie/svcppt.h"
#include "tie/tie_registry.h"

namespace {

struct InterpDelete {
  void operator()(Tcl_Interp* interp) const { Tcl_DeleteInterp(interp); }
};
using Interp = std::unique_ptr<Tcl_Interp, InterpDelete>;

constexpr const char* PREAMBLE = R"(
  proc is {expected actual {what ""}} {
    if {$expected eq $actual} return
    set frame [info frame -1]
    set line [expr {[dict exists $frame line] ? [dict get $frame line] : "?"}]
    lappend ::failures "line $line: $what\nexpected: $expected\nactual:   $actual"
  }
  # The message of a script that fails; "no error" for one that does not.
  proc failure {script} {
    if {![catch {uplevel 1 $script} message]} {return "no error: $message"}
    return [lindex [split $message \n] 0]
  }
  set failures {}
)";

Interp new_interp() {
  Tcl_FindExecutable(nullptr);
  Interp interp(Tcl_CreateInterp());
  EXPECT_EQ(Tcl_Init(interp.get()), TCL_OK) << Tcl_GetStringResult(interp.get());
  return interp;
}

void run_script(const char* name) {
  const Interp interp = new_interp();
  ASSERT_EQ(Svcppt_Init(interp.get()), TCL_OK) << Tcl_GetStringResult(interp.get());
  const std::string folder = testing::TempDir() + "svtie_" + name;
  std::filesystem::create_directories(folder);
  Tcl_SetVar(interp.get(), "folder", folder.c_str(), TCL_GLOBAL_ONLY);
  Tcl_SetVar(interp.get(), "tcl_scripts", SCRIPT_FOLDER, TCL_GLOBAL_ONLY);
  ASSERT_EQ(Tcl_Eval(interp.get(), PREAMBLE), TCL_OK);
  const std::string path = std::string(SCRIPT_FOLDER) + "/" + name + ".tcl";
  EXPECT_EQ(Tcl_EvalFile(interp.get(), path.c_str()), TCL_OK)
      << Tcl_GetVar(interp.get(), "errorInfo", TCL_GLOBAL_ONLY);
  EXPECT_STREQ(Tcl_GetVar(interp.get(), "failures", TCL_GLOBAL_ONLY), "");
  EXPECT_EQ(tie_num_objects(), 0) << "handles left";
  std::filesystem::remove_all(folder);
}

TEST(Tcl, words_are_found_as_in_a_host_in_cpp) {
  run_script("words");
}

TEST(Tcl, a_form_is_filled_on_a_base_that_was_built_here) {
  run_script("sessions");
}

TEST(Tcl, customer_data_becomes_record_files) {
  run_script("data");
}

TEST(Tcl, declarations_parse_calls_and_describe_themselves) {
  run_script("framework");
}

TEST(Tcl, messages_reach_procedures_from_all_threads) {
  run_script("reporters");
}

TEST(Tcl, any_words_give_a_result_or_an_error) {
  run_script("hostile");
}

TEST(Tcl, one_interpreter_has_the_commands) {
  Interp first = new_interp();
  ASSERT_EQ(Svcppt_Init(first.get()), TCL_OK);
  EXPECT_EQ(svtie_alive(first.get()), 0) << "a second time adds nothing";
  const Interp second = new_interp();
  EXPECT_EQ(Svcppt_Init(second.get()), TCL_ERROR);
  EXPECT_STREQ(Tcl_GetStringResult(second.get()),
               "Svcppt_components(interp): the commands belong to another interpreter already");
  first.reset();  // which gives them back
  EXPECT_EQ(Svcppt_Init(second.get()), TCL_OK) << Tcl_GetStringResult(second.get());
  EXPECT_STREQ(Tcl_PkgPresent(second.get(), "Svcppt", nullptr, 0), "SORVANTA_VERSION");
  ASSERT_EQ(
      Tcl_Eval(second.get(), "set n [tie_edit::cancel]; list [expr {$n > 20}] [info commands TeraEdit]"),
      TCL_OK);
  EXPECT_STREQ(Tcl_GetStringResult(second.get()), "1 {}");
}

}  // namespace
