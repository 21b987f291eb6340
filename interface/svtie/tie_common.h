/// What the modules of commands share that are made from the table of operations.
#pragma once

#include "seam/seam_texts.h"
#include "tie/tie_module.h"

/// The commands "<module>::version", "<module>::built" and "<module>::cancel". Names are kept by pointer.
class TieModuleCommands {
 public:
  TieModuleCommands(TieModule* module, const char* version, const char* built, const char* cancel);

 private:
  TieEntry versionEntry;
  TieEntry builtEntry;
  TieEntry cancelEntry;
};

/// A record number or count: an integer from 0 to 2^32 - 1.
Large tie_large(TieHandle* handle, const char* name, int kind, Large def);
/// A value of an enumeration as its name; one without a name as its number.
int tie_enum_result(TieHandle* handle, const SeamEnum& values, int value);
/// The bytes of a word, which lie in the handle.
SeamBytes tie_bytes(TieHandle* handle, const char* name, int kind);
/// A list of numbers; none for one that is not given.
SeamNumbers tie_numbers(TieHandle* handle, const char* name, int kind);
/// Several numbers as a list, and bytes; a negative count or size is an error value.
int tie_result(TieHandle* handle, const SeamNumbers& numbers);
int tie_result(TieHandle* handle, const SeamBytes& bytes);
