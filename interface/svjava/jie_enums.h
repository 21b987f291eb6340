/// The enumerations of the table of operations, for the constants of Java.
#pragma once

#include "seam/seam_enum.h"

/// Ends with a null.
const SeamEnum* const* jie_all_enums();
