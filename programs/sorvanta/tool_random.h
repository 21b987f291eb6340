/// Names that nobody guesses.
#pragma once

#include <string>

/// 128 random bits in hexadecimal. Throws a `std::runtime_error` where the system has none.
std::string random_name();
