/// The lines of a session configuration text.
///
///     keyword TAB value            a setting
///     keyword TAB {                opens a block, up to the line that starts with '}'; inside, tabs in front
///     keyword TAB {}               an empty block, or an empty text
///
/// A line is split at its first tab. At the outermost level a line that starts with '#' is skipped, and an
/// empty line ends the text.
#pragma once

#include <string>

#include "ace/ace_input.h"
#include "ace/ace_types.h"

class AceReporter;

struct DareConfigLine {
  std::string keyword;  // as written
  std::string upper;    // in upper case
  std::string value;
  int number = 0;  // from 1

  bool is_empty_block() const { return value == "{}"; }
  /// The value; the empty text for "{}".
  std::string plain() const { return is_empty_block() ? "" : value; }
  /// As strtol reads it, within the range of an int.
  int to_int() const;
};

class DareConfigText {
 public:
  enum Step : int { LINE = 1, END = 0, BROKEN = -1 };

  explicit DareConfigText(const char* text);

  /// The next line of the outermost level; END at an empty one and at the end of the text.
  Step next(DareConfigLine* line);
  /// The next line of the block that `opener` has opened; END at its '}'. BROKEN, reported, where the text
  /// ends first.
  Step next_in(const DareConfigLine& opener, DareConfigLine* line, AceReporter* rep);
  /// Passes a comment whose value begins with '{': reads on until its braces balance. Returns 0 or -1.
  int skip_comment(const DareConfigLine& comment, AceReporter* rep);
  /// Warns when there is anything but blank lines behind the present one.
  void warn_of_rest(AceReporter* rep);

 private:
  bool read(std::string* text);
  int fail_open(const DareConfigLine& opener, AceReporter* rep) const;

  std::string itsText;
  AceInput input;
  int lineNumber = 0;
};
