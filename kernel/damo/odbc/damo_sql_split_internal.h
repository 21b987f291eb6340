/// Lists of SQL statements.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The statements between ';', without blanks and comments at their ends (some drivers look for ';' in
/// these), but with hints; none for one that has nothing else. Quotes and comments divide nothing. Blank ones
/// at the end are left out.
std::vector<std::optional<std::string>> damo_split_sql(std::string_view text);
