/// What ends a verb with exit code 2: a sentence that says what was expected, what was found, and where.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What the exception that is being handled says; for programs that stop it.
std::string current_failure();
/// "'nmae' is no field; did you mean name?"
std::string refusal(const char* kind, const std::string& found, const std::vector<std::string>& known);
/// Names, with ", " between them.
std::string listed(const std::vector<std::string>& names);
/// The text as a terminal may get it: control characters, which could drive it, are "?"; cut at `most` bytes.
std::string printable(std::string_view text, std::size_t most = 200);
