#include "tie/tie_module.h"

#include <cstring>
#include <string>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "ace/ace_timer.h"
#include "tie/tie_reporter.h"

// Modules.

TieModule::TieModule(const char* file_name) : fileName(file_name) {}

namespace {

/// The interpreter goes: its commands are gone already.
void forget(void* module, Tcl_Interp*) {
  static_cast<TieModule*>(module)->cancel();
}

}  // namespace

int TieModule::alive(Tcl_Interp* interp) {
  if (interp == nullptr || tclInterp != nullptr) return 0;
  for (const TieEntry* entry = entryList; entry != nullptr; entry = entry->nextEntry)
    Tcl_CreateObjCommand(interp, entry->tclName, entry->cFunction, entry->clientData, nullptr);
  tclInterp = interp;
  byteEncoding = Tcl_GetEncoding(nullptr, "utf-8");
  Tcl_CallWhenDeleted(interp, forget, this);
  return numEntry;
}

int TieModule::cancel() {
  if (tclInterp == nullptr) return 0;
  Tcl_Interp* const interp = std::exchange(tclInterp, nullptr);
  Tcl_DontCallWhenDeleted(interp, forget, this);
  Tcl_FreeEncoding(byteEncoding);
  int count = 0;
  for (const TieEntry* entry = entryList; entry != nullptr; entry = entry->nextEntry)
    if (Tcl_InterpDeleted(interp) != 0 || Tcl_DeleteCommand(interp, entry->tclName) == 0) ++count;
  return count;
}

Tcl_Obj* TieModule::info() const {
  Tcl_Obj* const list = Tcl_NewListObj(0, nullptr);
  for (const TieEntry* entry = entryList; entry != nullptr; entry = entry->nextEntry) {
    Tcl_Obj* const described[] = {Tcl_NewStringObj(entry->tclName, -1), Tcl_NewIntObj(entry->codeLine)};
    Tcl_ListObjAppendElement(nullptr, list, Tcl_NewListObj(2, described));
  }
  return list;
}

TieEntry::TieEntry(TieModule* module, Tcl_ObjCmdProc* function, const char* name, int line, void* data)
    : nextEntry(module->entryList), cFunction(function), tclName(name), codeLine(line), clientData(data) {
  module->entryList = this;
  ++module->numEntry;
}

// Commands.

TieCommand::TieCommand(const char* tie_name, const char* help)
    : helpOption(help, &optionSet), callTimer(AceTimer::get(tie_name, 0)) {}

TieCommand::Measured::Measured(AceTimer* timer)
    : running(timer != nullptr && timer->is_traced() != 0 ? timer : nullptr) {
  if (running != nullptr) running->start();
}

TieCommand::Measured::~Measured() {
  if (running != nullptr) running->stop();
}

int TieCommand::end(TieHandle* handle) {
  handle->leave_kernel();
  tie_drain_reports(handle);
  return handle->rc();
}

void TieCommand::thrown(TieHandle* handle) {
  try {
    throw;
  } catch (const AceException& exception) {
    handle->exception(exception);
  } catch (const AceNullpointerException& exception) {
    handle->exception(AceException("Null pointer", "%s", exception.get_name()));
  } catch (const std::bad_alloc& exception) {
    handle->ba_exception(&exception);
  } catch (const std::exception& exception) {
    handle->std_exception(&exception);
  } catch (...) {
    handle->exception(AceException("Unknown exception occurred"));
  }
}

// Reporters as options.

template <>
const TieClass* tie_class<AceReporter>() {
  static constexpr TieClass REPORTER = {"AceReporter", nullptr, nullptr,
                                        [](void* reporter) { delete static_cast<AceReporter*>(reporter); }};
  return &REPORTER;
}

int TieReporterOption::eval(const char* name, TieHandle* handle) {
  reporter = tie_object<AceReporter>(handle, name, TieHandle::OPTION, nullptr);
  return 0;
}

void TieReporterOption::help(const char* name, TieHandle* handle) {
  tie_object<AceReporter>(handle, name, TieHandle::OPTION, AceReporter::use_default());
}

AceReporter* TieReporterOption::get() const {
  return reporter != nullptr ? reporter : AceReporter::use_default();
}
