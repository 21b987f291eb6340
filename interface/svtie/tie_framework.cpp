// The module "Tie": handles, modules and reporters.
#include <string_view>

#include "ace/ace_reporter.h"
#include "svtie/tie_common.h"
#include "svtie/tie_modules.h"
#include "tie/tie_reporter.h"

template <>
const TieClass* tie_class<AceReporter>();

namespace {

TieModule theModule("Tie");

int new_reporter(ClientData data, Tcl_Interp* interp, int count, Tcl_Obj* const* words) {
  static TieCommand command(
      "Tie::AceReporter",
      "A reporter whose messages go to the command <report>, and its events, with their codes, to "
      "<event>; without that one they go to <report>, too.");
  TieHandle tie(interp, count, words, "AceReporter", command.options(), data);
  return command.run(&tie, [&] {
    tie.opt("-help", command.help());
    const char* const report = tie.arg("report", TieHandle::OPTIONAL_ARGUMENT, "puts");
    const char* const event =
        tie.arg("event", TieHandle::OPTIONAL_ARGUMENT, static_cast<const char*>(nullptr));
    const int timeStamps = tie.arg("time_stamps", TieHandle::OPTIONAL_ARGUMENT, 0);
    if (!tie.ready()) return;
    const bool hasEvents = event != nullptr && *event != '\0';
    const AceReporter* const made = new TieReporter(interp, report, hasEvents ? event : nullptr, timeStamps);
    tie._result(tie_class<AceReporter>(), made, true);
  });
}

int delete_reporter(ClientData data, Tcl_Interp* interp, int count, Tcl_Obj* const* words) {
  static TieCommand command("Tie::AceReporter_del", "Deletes the reporter; when it is the default, none is.");
  TieHandle tie(interp, count, words, "~AceReporter", command.options(), data);
  return command.run(&tie, [&] {
    tie.opt("-help", command.help());
    AceReporter* const none = nullptr;
    AceReporter* const self = tie_object<AceReporter>(&tie, "object", TieHandle::ARGUMENT, none);
    tie.must_be_made(self);
    tie.must_be_idle(self);
    if (tie.is_within_call()) tie.refuse_last("AceReporter", "Reports are on their way, perhaps to this");
    if (!tie.ready()) return;
    if (AceReporter::use_default() == self) AceReporter::clear_default();
    tie_erase(self);
    delete self;
    tie.result(0);
  });
}

int type_of(ClientData data, Tcl_Interp* interp, int count, Tcl_Obj* const* words) {
  static TieCommand command("Tie::tie_type",
                            "The class of the object with that handle; empty when there is none.");
  TieHandle tie(interp, count, words, "tie_type", command.options(), data);
  return command.run(&tie, [&] {
    tie.opt("-help", command.help());
    const Huge handle = tie.arg("handle", TieHandle::ARGUMENT, Huge{0});
    if (!tie.ready()) return;
    const char* const name = tie_type(reinterpret_cast<const void*>(static_cast<std::intptr_t>(handle)));
    tie.result(name != nullptr ? name : "");
  });
}

int num_objects(ClientData data, Tcl_Interp* interp, int count, Tcl_Obj* const* words) {
  static TieCommand command("Tie::tie_num_objects", "Number of objects that were made and not deleted.");
  TieHandle tie(interp, count, words, "tie_num_objects", command.options(), data);
  return command.run(&tie, [&] {
    tie.opt("-help", command.help());
    if (tie.ready()) tie.result(tie_num_objects());
  });
}

int info(ClientData data, Tcl_Interp* interp, int count, Tcl_Obj* const* words) {
  static TieCommand command(
      "Tie::tie_info",
      "The commands of a module, each with the line of its declaration; of all modules by name "
      "when none is given.");
  TieHandle tie(interp, count, words, "tie_info", command.options(), data);
  return command.run(&tie, [&] {
    tie.opt("-help", command.help());
    const char* const name = tie.arg("module", TieHandle::OPTIONAL_ARGUMENT, "");
    if (!tie.ready()) return;
    Tcl_Obj* names = Tcl_NewListObj(0, nullptr);
    for (const TieModule* module : tie_table_modules()) {
      if (std::string_view(module->get_name()) == name) return static_cast<void>(tie.result(module->info()));
      Tcl_ListObjAppendElement(nullptr, names, Tcl_NewStringObj(module->get_name(), -1));
    }
    if (*name == '\0') return static_cast<void>(tie.result(names));
    tie.result(static_cast<Tcl_Obj*>(nullptr));
  });
}

/// A command by both of its names.
struct Both {
  Both(Tcl_ObjCmdProc* function, const char* name, const char* tie_name, int line)
      : call(&theModule, function, name, line, nullptr),
        tell(&theModule, function, tie_name, line, tie_describe()) {}
  TieEntry call;
  TieEntry tell;
};

const Both new_reporter_entry(new_reporter, "AceReporter", "Tie::AceReporter", __LINE__);
const Both delete_reporter_entry(delete_reporter, "~AceReporter", "Tie::~AceReporter", __LINE__);
const Both type_of_entry(type_of, "tie_type", "Tie::tie_type", __LINE__);
const Both num_objects_entry(num_objects, "tie_num_objects", "Tie::tie_num_objects", __LINE__);
const Both info_entry(info, "tie_info", "Tie::tie_info", __LINE__);
const TieModuleCommands theCommands(&theModule, "Tie::version", "Tie::built", "Tie::cancel");

}  // namespace

TieModule* tie_framework_module() {
  return &theModule;
}
