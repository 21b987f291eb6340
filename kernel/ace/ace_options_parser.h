/// Options of a component: declared by name, kind, default and help text, then parsed from a text such as
/// "-max_dist 3 -trace -sep {;}" (tokens: ace_string_parser.h).
///
///     AceOptionsParser parser;
///     parser.add_int_option("max_dist", 5, "Largest distance");
///     if (parser.parse("-max_dist 3", rep) < 0) return -1;
///     int dist = parser.get_int_value("max_dist");
///
/// Names are case-insensitive: they are stored, and looked up, in lower case. Values keep their case. Numbers
/// are read and written with a decimal point, whatever the process locale.
///
/// Errors: what is wrong with a text is a warning on the caller's reporter that names the option, the value
/// and what was expected (null discards it), and an `ace_error` line per call on the way up; the result is
/// -1. Nothing throws but memory exhaustion. Parsers can be listed by name (`add_to_list`); a list owns
/// nothing.
/// Thread safety: a parser is configured and parsed by one thread at a time; concurrent queries are safe.
#pragma once

#include <string>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class AceReporter;
class AceStringParser;

class SORV_API AceOptionsParser {
 public:
  /// Size of the buffers that defaults are written to, terminator included.
  static constexpr int MAX_DEFAULTS = 1024;

  AceOptionsParser() = default;
  AceOptionsParser(const AceOptionsParser&) = delete;
  AceOptionsParser& operator=(const AceOptionsParser&) = delete;
  ~AceOptionsParser() = default;

  // Declaring. All texts are copied; a null help text is empty. Return 0, or -1 (`ace_error`) for a name that
  // is null, empty, holds a blank or is declared already.

  int add_flag_option(const char* name, const char* help);
  int add_int_option(const char* name, int def, const char* help);
  int add_float_option(const char* name, float def, const char* help);
  int add_double_option(const char* name, double def, const char* help);
  /// Shown as the character between braces.
  int add_char_option(const char* name, char def, const char* help);
  /// Shown as `display`; when that is null as the default, or as "{}" when that is null or empty; in braces
  /// when it would begin with a blank.
  int add_string_option(const char* name, const char* def, const char* help, const char* display = nullptr);

  // Parsing.

  /// Sets every option to its default, then takes the values of `text` (null is empty). At the first error
  /// the parse ends; options before it, and one with an invalid value (as far as that could be read), keep
  /// what they were given. The text by which a default is shown always stands for the default, though it has
  /// blanks or single braces. Returns 0 or -1. Texts from `get_string_value` before this call become invalid.
  int parse(const char* text, AceReporter* rep);
  /// Lets the option with exactly this (lower-case) name read its value. Returns 0 or -1.
  int parse_option(char* name, AceStringParser* string_parser, AceReporter* rep);

  // The present values. An unknown name, or an option of another kind, gives false, -1, 0 or null.

  bool get_bool_value(const char* name) const;
  int get_int_value(const char* name) const;
  char get_char_value(const char* name) const;
  float get_float_value(const char* name) const;
  double get_double_value(const char* name) const;
  /// Valid until the next parse.
  const char* get_string_value(const char* name) const;

  // Texts for people.

  /// One line per option in `at`: type, "-" and name, help text, in columns. Returns the number of options.
  int get_help_strings(const char*** lines, AceAttach* at) const;
  int get_max_type_len() const;
  int get_max_opt_len() const;
  /// The options with their defaults, "-name default" separated by blanks, as a text that `parse` reads.
  /// Flags, whose default is their absence, do not appear. One option takes at most MAX_DEFAULTS - 1 bytes
  /// and is cut there; the whole is as long as it needs to be. Null without options. Lives with the parser.
  const char* get_defaults_string();
  /// The same text into a buffer of MAX_DEFAULTS bytes, cut there. Returns 0.
  int create_defaults_string(char* out) const;
  int get_num_opts() const { return numOptions; }
  /// Whether any option is declared.
  bool is_initialized() const { return numOptions > 0; }

  // Lists by name. The newest parser is at the head, and hides older ones of the same name.

  /// Names this parser and puts it at the head of the list. Returns 0, or -1 when it is in a list already.
  int add_to_list(AceOptionsParser** head, const char* name);
  /// The first parser with exactly this name; null if there is none.
  static AceOptionsParser* get_parser(AceOptionsParser* head, const char* name);

  /// One declared option. Options live in the parser's attach and own nothing.
  class SORV_API ConfigOption {
   public:
    ConfigOption(const char* type, const char* name, const char* help)
        : typeString(type), optionName(name), helpString(help) {}
    ConfigOption(const ConfigOption&) = delete;
    ConfigOption& operator=(const ConfigOption&) = delete;

    /// Back to the default.
    virtual void reset() = 0;
    /// Reads the value. Returns 0 or -1.
    virtual int parse_option(AceStringParser* string_parser, AceReporter* rep) = 0;
    /// Writes "-name default" to `out`, at most MAX_DEFAULTS bytes with the terminator. Returns the number of
    /// bytes before it.
    virtual int create_def_string(char* out) const = 0;
    virtual ~ConfigOption() = default;

    const char* typeString;
    const char* optionName;  // in lower case
    const char* helpString;
  };

  class FlagConfigOption;
  class IntConfigOption;
  class FloatConfigOption;
  class DoubleConfigOption;
  class CharConfigOption;
  class StringConfigOption;

 private:
  template <class Option, class... Values>
  int add(const char* name, const char* help, Values... values);
  ConfigOption* find(const char* name) const;
  template <class Option>
  const Option* find_kind(const char* name) const;
  std::string defaults_text() const;

  AceAttach memAt;                         // options, names, help texts
  AceAttach optsAt;                        // text values
  ConfigOption** configOptions = nullptr;  // in the order of declaration
  int numOptions = 0;
  int maxOptions = 0;  // capacity of configOptions
  const char* defaultsString = nullptr;
  AceOptionsParser* nextParser = nullptr;
  const char* listName = nullptr;
};
