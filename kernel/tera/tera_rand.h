/// The random numbers of the process, for orders that are to vary: not for keys, and not for what is stored.
///
/// Thread safety: any thread may draw; threads share one sequence.
#pragma once

#include "ace/ace_types.h"

/// Starts the sequence anew. Until then it starts with a seed that is the same in every process.
SORV_API void tera_srand(unsigned seed);
/// A number from 0 to k - 1, all equally likely; 0 for k below 2.
SORV_API int tera_rand(int k);
