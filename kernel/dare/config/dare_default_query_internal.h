/// What the blocks of combinations share.
#pragma once

#include <string>

#include "dare/dare_combination.h"

/// -1 for none.
int dare_position(const DareFieldNames& names, const std::string& name);
/// The mode of the first character, or of the second behind a '{'; NOOP when that is no code.
DastOptions::Call dare_read_mode(const std::string& value);
