/// The session template of a base that settings describe (docs/session.md).
#pragma once

#include <string>

#include "sorvanta/tool_settings.h"

/// The text of the settings' own template, or one in which all fields with a method decide together, by their
/// weights. Throws a `Failure` for a template that cannot be read.
std::string session_template(const Settings& settings);
