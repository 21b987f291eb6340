/// The lines of a settings file.
///
///     # a comment
///     keyword value          blanks or TABs between; the value goes to the end of the line
///     keyword {              opens a block, up to a line of "}"
///       name "Given name"    a value in double quotes keeps its blanks; \" and \\ inside
///     }
///
/// Errors: a `Failure` that begins with "file:line: ".
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

struct SettingsLine {
  std::string keyword;
  std::string value;
  int number = 0;
  bool isBlock = false;
  std::vector<SettingsLine> inside;
};

class SettingsText {
 public:
  /// What a keyword does.
  using Keywords = std::vector<std::pair<std::string, std::function<void(const SettingsLine&)>>>;

  /// Reads a file of at most 1 MiB.
  explicit SettingsText(std::string file);

  const std::vector<SettingsLine>& get_lines() const { return topLines; }
  /// Gives each line to its keyword, upper and lower case being alike. `place` says what the lines belong to.
  void take(const std::vector<SettingsLine>& lines, const std::string& place, const Keywords& keywords) const;
  [[noreturn]] void fail(int line, const std::string& text) const;
  /// A whole number within bounds.
  int number(const SettingsLine& line, int least, int most) const;
  /// A plain value; fails for a block.
  const std::string& value(const SettingsLine& line) const;
  /// The lines of a block; fails for a plain value.
  const std::vector<SettingsLine>& block(const SettingsLine& line) const;

  /// A value as a line of a settings file has it.
  static std::string quoted(const std::string& value);

 private:
  std::string value_of(const std::string& text, int line) const;

  std::string fileName;
  std::vector<SettingsLine> topLines;
};
