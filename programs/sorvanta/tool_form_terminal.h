/// The form on a terminal.
#pragma once

#include <string>

class Target;

/// Until the user quits. Throws a `Failure` where there is no terminal.
void run_terminal_form(Target* target);
/// Its keys and marks, for the help of the verb.
std::string terminal_form_help();
