/// Modules of Tcl commands, and how a command runs.
///
/// Each command is known by two names: "TeraEdit::recall" executes it, "Tie::TeraEdit::recall" describes it.
/// Each module also has <module>::version, <module>::built and <module>::cancel, which takes its commands
/// away.
///
/// A module is registered with one interpreter; when that is deleted, the module is cancelled.
#pragma once

#include <tcl.h>

#include "tie/tie_handle.h"
#include "tie/tie_option.h"

class AceReporter;
class AceTimer;
class TieEntry;

class SORV_API TieModule {
 public:
  explicit TieModule(const char* file_name);
  TieModule(const TieModule&) = delete;
  TieModule& operator=(const TieModule&) = delete;

  /// Creates the commands. Returns their number; 0 without interpreter and when the module is registered
  /// already.
  int alive(Tcl_Interp* interp);
  /// Deletes the commands. Returns their number.
  int cancel();
  /// A line for each entry: its name and the line of its declaration.
  Tcl_Obj* info() const;

  const char* get_name() const { return fileName; }
  Tcl_Interp* get_interp() const { return tclInterp; }

 private:
  friend class TieEntry;

  int numEntry = 0;
  TieEntry* entryList = nullptr;
  const char* fileName;
  Tcl_Interp* tclInterp = nullptr;
  Tcl_Encoding byteEncoding = nullptr;  // real UTF-8, kept while the module is registered
};

/// A command's name and procedure; static, so that it is on its module's list before that is brought alive.
class SORV_API TieEntry {
 public:
  TieEntry(TieModule* module, Tcl_ObjCmdProc* function, const char* name, int line, void* data);
  TieEntry(const TieEntry&) = delete;
  TieEntry& operator=(const TieEntry&) = delete;

 private:
  friend class TieModule;

  TieEntry* nextEntry;
  Tcl_ObjCmdProc* cFunction;
  const char* tclName;
  int codeLine;
  void* clientData;
};

/// The client data of the names that describe.
inline void* tie_describe() {
  return reinterpret_cast<void*>(~std::uintptr_t{0});
}

/// What lasts of a command between its calls.
class SORV_API TieCommand {
 public:
  /// `tie_name` is the describing name, that of the command's timer; texts are kept by pointer.
  TieCommand(const char* tie_name, const char* help);
  TieOptionSet* options() { return &optionSet; }
  HelpOption* help() { return &helpOption; }
  /// Runs the declarations, and again where they are to print the usage; turns what the kernel throws into
  /// errors of Tcl. Returns the return code for Tcl.
  template <class Declare>
  int run(TieHandle* handle, Declare declare);

 private:
  class Measured;
  int end(TieHandle* handle);
  static void thrown(TieHandle* handle);

  TieOptionSet optionSet;
  HelpOption helpOption;
  AceTimer* callTimer;
};

/// The reporter of a call: "-rep" and an object, or else the default.
class SORV_API TieReporterOption : public TieOption {
 public:
  explicit TieReporterOption(TieOptionSet* set) { set->add("-rep", this); }
  int eval(const char* name, TieHandle* handle) override;
  void help(const char* name, TieHandle* handle) override;
  void reset() override { reporter = nullptr; }
  AceReporter* get() const;

 private:
  AceReporter* reporter = nullptr;
};

/// Starts a command's timer while timers are traced.
class SORV_API TieCommand::Measured {
 public:
  explicit Measured(AceTimer* timer);
  Measured(const Measured&) = delete;
  Measured& operator=(const Measured&) = delete;
  ~Measured();

 private:
  AceTimer* running;
};

template <class Declare>
int TieCommand::run(TieHandle* handle, Declare declare) {
  const Measured measured(callTimer);
  do {
    try {
      declare();
    } catch (...) {
      thrown(handle);
    }
  } while (handle->take_repeat());
  return end(handle);
}
