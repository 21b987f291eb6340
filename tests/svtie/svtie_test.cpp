// Runs the Tcl scripts of this folder in an interpreter of this process, so that sanitizers see all of it. A
// script compares by `is expected actual` and says what it looks at by its comments; it ends without objects.
#include <tcl.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <set>
#include <sstream>

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
  set operations {}
  foreach module [tie_info] {
    foreach entry [tie_info $module] {
      set name [lindex $entry 0]
      if {[regexp {^Tie::|::(version|built|cancel)$} $name]} continue
      lappend operations $name
      trace add execution $name leave {apply {{words code result operation} {
        if {$code == 0} {set ::called([lindex $words 0]) 1}
      }}}
    }
  }
)";

Interp new_interp() {
  Tcl_FindExecutable(nullptr);
  Interp interp(Tcl_CreateInterp());
  EXPECT_EQ(Tcl_Init(interp.get()), TCL_OK) << Tcl_GetStringResult(interp.get());
  return interp;
}

/// Runs a script, which ends without objects. Returns the commands that it has called with success.
std::set<std::string> run_script(const std::string& name) {
  const Interp interp = new_interp();
  std::set<std::string> called;
  if (Svcppt_Init(interp.get()) != TCL_OK) ADD_FAILURE() << Tcl_GetStringResult(interp.get());
  const std::string folder = testing::TempDir() + "svtie_" + name + std::to_string(::getpid());
  std::filesystem::create_directories(folder);
  Tcl_SetVar(interp.get(), "folder", folder.c_str(), TCL_GLOBAL_ONLY);
  Tcl_SetVar(interp.get(), "tcl_scripts", SCRIPT_FOLDER, TCL_GLOBAL_ONLY);
  EXPECT_EQ(Tcl_Eval(interp.get(), PREAMBLE), TCL_OK) << Tcl_GetStringResult(interp.get());
  const std::string path = std::string(SCRIPT_FOLDER) + "/" + name + ".tcl";
  EXPECT_EQ(Tcl_EvalFile(interp.get(), path.c_str()), TCL_OK)
      << Tcl_GetVar(interp.get(), "errorInfo", TCL_GLOBAL_ONLY);
  EXPECT_STREQ(Tcl_GetVar(interp.get(), "failures", TCL_GLOBAL_ONLY), "");
  EXPECT_EQ(tie_num_objects(), 0) << "handles left";
  EXPECT_EQ(Tcl_Eval(interp.get(), "array names called"), TCL_OK);
  std::istringstream words(Tcl_GetStringResult(interp.get()));
  for (std::string word; words >> word;) called.insert(word);
  std::filesystem::remove_all(folder);
  return called;
}

class TclScript : public testing::TestWithParam<const char*> {};

TEST_P(TclScript, ends_as_it_says) {
  run_script(GetParam());
}

// Modules of commands, and what goes across them.
constexpr const char* SCRIPTS[] = {"ace",
                                   "auto",
                                   "base",
                                   "combination",
                                   "damo",
                                   "ebos",
                                   "index",
                                   "map",
                                   "multi",
                                   "session",
                                   "session_result",
                                   "svtie",
                                   "tera",
                                   "word",
                                   "dialogue_data",
                                   "dialogue_words",
                                   "dialogue_sessions",
                                   "framework",
                                   "reporters",
                                   "hostile"};
INSTANTIATE_TEST_SUITE_P(Tcl, TclScript, testing::ValuesIn(SCRIPTS),
                         [](const auto& script) { return std::string(script.param); });

TEST(Tcl, every_operation_is_called_with_success) {
  // What would need a data source, the files of a template, rules or remarks of a script.
  const std::set<std::string> expected = {"DamoInput::odbc",
                                          "DastSession::get_external_auto_ref",
                                          "DastSession::get_external_edit_ref",
                                          "DastSession::get_external_index_ref",
                                          "DastSession::get_external_multi_ref",
                                          "DastSession::load_assess_logic",
                                          "DastSession::set_abstraction_level",
                                          "SorvantaSession::set_abstraction_level",
                                          "SorvantaSuggestion::get_field_info",
                                          "SorvantaSuggestion::get_record_info"};
  std::set<std::string> called;
  for (const std::string script : SCRIPTS)
    if (script != "hostile") called.merge(run_script(script));
  const Interp interp = new_interp();
  ASSERT_EQ(Svcppt_Init(interp.get()), TCL_OK);
  ASSERT_EQ(Tcl_Eval(interp.get(), PREAMBLE), TCL_OK);
  ASSERT_EQ(Tcl_Eval(interp.get(), "set operations"), TCL_OK);
  std::set<std::string> missing;
  std::istringstream words(Tcl_GetStringResult(interp.get()));
  for (std::string word; words >> word;)
    if (!called.contains(word)) missing.insert(word);
  EXPECT_EQ(missing, expected);
}

TEST(Tcl, one_interpreter_has_the_commands) {
  Interp first = new_interp();
  ASSERT_EQ(Svcppt_Init(first.get()), TCL_OK);
  EXPECT_EQ(svtie_alive(first.get()), 0) << "a second time adds nothing";
  const Interp second = new_interp();
  EXPECT_EQ(Svcppt_Init(second.get()), TCL_ERROR);
  EXPECT_STREQ(Tcl_GetStringResult(second.get()),
               "Svcppt_components(interp): the commands belong to another interpreter already");
  Tcl_Interp* const child = Tcl_CreateSlave(first.get(), "child", 0);
  EXPECT_EQ(Svcppt_Init(child), TCL_ERROR);
  ASSERT_EQ(Tcl_Eval(first.get(), "interp delete child; TeraMap::num_token [TeraMap::get_ident_map]"),
            TCL_OK);
  first.reset();  // which gives them back
  EXPECT_EQ(Svcppt_Init(second.get()), TCL_OK) << Tcl_GetStringResult(second.get());
  EXPECT_STREQ(Tcl_PkgPresent(second.get(), "Svcppt", nullptr, 0), "SORVANTA_VERSION");
  ASSERT_EQ(
      Tcl_Eval(second.get(), "set n [tie_edit::cancel]; list [expr {$n > 20}] [info commands TeraEdit]"),
      TCL_OK);
  EXPECT_STREQ(Tcl_GetStringResult(second.get()), "1 {}");
}

}  // namespace
