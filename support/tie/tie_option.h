/// Options of Tcl commands: words such as "-help" that may stand in front of any positional argument.
///
/// A command has one set of options for the life of the process. Thread safety: the thread of the interpreter
/// only.
#pragma once

#include "ace/ace_str_avl.h"
#include "ace/ace_types.h"

class TieHandle;
class TieOptionSet;

class SORV_API TieOption {
 public:
  TieOption() = default;
  TieOption(const TieOption&) = delete;
  TieOption& operator=(const TieOption&) = delete;

  /// The option was given. A negative result ends the parsing of options.
  virtual int eval(const char* name, TieHandle* handle) = 0;
  /// Describes the option, as the handle's mode asks for.
  virtual void help(const char* name, TieHandle* handle) = 0;
  /// Restores the default.
  virtual void reset() = 0;
  virtual ~TieOption();
};

/// The options of a command by name. Remembers the last one found: the next call of a command gives the same
/// ones.
class SORV_API TieOptionSet {
 public:
  /// The option's name is copied; the option itself stays its owner's.
  void add(const char* name, TieOption* option) { optionTree[name] = option; }
  /// Null for a word that is no option.
  TieOption* find(const char* name);
  void reset_all();

 private:
  StrAvlTree<TieOption*> optionTree{nullptr};
  TieOption* lastOption = nullptr;
  const char* lastName = nullptr;
};

/// Sets a bit: the value becomes that bit alone.
class SORV_API FlagOption : public TieOption {
 public:
  FlagOption(int bit, int* result, const char* name, TieOptionSet* set);
  int eval(const char* name, TieHandle* handle) override;
  void help(const char* name, TieHandle* handle) override;
  void reset() override;

 private:
  int defVal;
  int* resPtr;
};

/// Prints a text and the usage in place of the call.
class SORV_API HelpOption : public TieOption {
 public:
  HelpOption(const char* text, TieOptionSet* set);
  int eval(const char* name, TieHandle* handle) override;
  void help(const char* name, TieHandle* handle) override;
  void reset() override;

 private:
  const char* helpText;
};

/// Takes a value of the types that `TieHandle::arg` takes.
template <class T>
class TypeOption : public TieOption {
 public:
  TypeOption(T default_value, T* result, const char* name, TieOptionSet* set)
      : defVal(default_value), resPtr(result) {
    set->add(name, this);
  }
  int eval(const char* name, TieHandle* handle) override;
  void help(const char* name, TieHandle* handle) override;
  void reset() override { *resPtr = defVal; }

 private:
  T defVal;
  T* resPtr;
};
