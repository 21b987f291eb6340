/// The country codes of country_codes.txt.
#pragma once

#include <span>

namespace dast {

/// In the order of their digits as text ("211" before "27").
std::span<const char* const> country_codes();

}  // namespace dast
