/// The verbs of the tool. Each declares its options and texts, from which help, man page and completion are
/// made, and says what it does when it was chosen.
#pragma once

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <functional>
#include <string>

#include "sorvanta/tool_output.h"

/// Exit codes. What finds nothing is no error.
enum ExitCode : int { FOUND = 0, FOUND_NOTHING = 1, BROKEN = 2 };

/// What the verb that was chosen does; returns an `ExitCode`.
using Action = std::function<int()>;

// Each adds a verb to the tool.

void declare_build(CLI::App* tool, Action* action);
void declare_check(CLI::App* tool, Action* action);
void declare_diff(CLI::App* tool, Action* action);
void declare_explain(CLI::App* tool, Action* action);
void declare_find(CLI::App* tool, Action* action);
void declare_form(CLI::App* tool, Action* action);
void declare_look(CLI::App* tool, Action* action);
void declare_read(CLI::App* tool, Action* action);

// For verbs.

/// -o table|tsv|json.
void add_output_option(CLI::App* verb, OutputForm* form);
/// --mode, of which `find_mode` has the code.
void add_mode_option(CLI::App* verb, std::string* mode);
const char* find_mode(const std::string& mode);
/// A verb that does `run(options)`, with options of its own.
template <class Options>
std::shared_ptr<Options> add_verb_action(CLI::App* verb, Action* action, int (*run)(const Options&)) {
  auto options = std::make_shared<Options>();
  verb->callback([=] { *action = [=] { return run(*options); }; });
  return options;
}

// Made of the texts of help.

std::string manual_page(const CLI::App& tool);
std::string bash_completion(const CLI::App& tool);
