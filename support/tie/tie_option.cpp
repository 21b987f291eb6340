#include "tie/tie_option.h"

#include <cstring>

#include "tie/tie_handle.h"

TieOption::~TieOption() = default;

TieOption* TieOptionSet::find(const char* name) {
  if (name[0] != '-') return nullptr;
  if (lastName != nullptr && std::strcmp(lastName, name) == 0) return lastOption;
  TieOption* const found = optionTree.search(name);
  if (found == nullptr) return nullptr;
  optionTree.insert(name, &lastName);
  return lastOption = found;
}

void TieOptionSet::reset_all() {
  optionTree.for_each([](const char*, TieOption* option) { return option->reset(), 0; });
}

// Flags.

FlagOption::FlagOption(int bit, int* result, const char* name, TieOptionSet* set)
    : defVal(bit), resPtr(result) {
  set->add(name, this);
}

int FlagOption::eval(const char*, TieHandle*) {
  *resPtr = 1 << defVal;
  return 0;
}

void FlagOption::help(const char* name, TieHandle* handle) {
  if (handle->in_arg_mode()) {
    handle->print("{Flag %s} ", name);
  } else {
    handle->print("Flag     %2d : %s\n", defVal, name);
  }
}

void FlagOption::reset() {
  *resPtr = 0;
}

// Help.

HelpOption::HelpOption(const char* text, TieOptionSet* set) : helpText(text) {
  set->add("-help", this);
}

int HelpOption::eval(const char*, TieHandle* handle) {
  const std::size_t length = std::strlen(helpText);
  handle->print("%s%s", helpText, length > 0 && helpText[length - 1] == '\n' ? "" : "\n");
  handle->give_help();
  return -1;
}

void HelpOption::help(const char*, TieHandle* handle) {
  if (handle->in_arg_mode()) {
    handle->print("{Flag -help} ");
  } else {
    handle->print("Option      : -help\n%s\n", helpText);
  }
}

void HelpOption::reset() {}
