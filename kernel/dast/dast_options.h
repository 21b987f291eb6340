/// How a field is asked, how aliases are shown, and where the options of the methods are found by name.
///
/// Thread safety: the names are constants. Parsers are listed while the library is loaded; afterwards the
/// lists are only read, and each parser is used by one thread at a time (`dast_options_mutex`).
#pragma once

#include <mutex>

#include "ace/ace_options_parser.h"
#include "ace/ace_types.h"

#undef EMPTY  // a macro of <utmpx.h>

class AceAttach;
class AceInput;

class SORV_API DastOptions {
 public:
  /// Recall modes of a query. The values are positions in the code string "-#!>?<0123456789+*".
  enum Call : int {
    NOOP = -1,     ///< the query takes no part
    EMPTY = 0,     ///< '-' no query
    ARRAYOP = 1,   ///< '#' values from a list
    EXACT = 2,     ///< '!'
    COMPLETE = 3,  ///< '>' the query is the beginning of a value
    APPROX = 4,    ///< '?' with errors
    DETECT = 5,    ///< '<' the value is a part of the query
    DETECT0 = 6,   ///< '0' to '9': with the settings of that row (dime_detect_settings.h)
    DETECT9 = 15,
    FS_DETECT = 16,    ///< '+' values in a free text
    FS_COMPLETE = 17,  ///< '*' the same, the last word unfinished
  };
  /// Which strings of a record are shown where a value has aliases.
  enum AliasDisplay : int {
    UNKNOWN = 0,
    ALL = 1,         ///< the main value and its local aliases, "|" between them
    FIRST = 2,       ///< the main value
    BEST = 3,        ///< the one that matches best
    NONE = 4,        ///< the main value, whose aliases are not told
    EVERYTHING = 5,  ///< all, with global and generated aliases
    HIT = 6,         ///< what was hit
  };

  /// The mode of a code of one character or of a name in upper or lower case; NOOP for all else and for null.
  /// "#" is no code here.
  static Call get_call_mode(const char* text);
  /// The name in lower case; null for a value that is no mode.
  static const char* get_call_string(Call call);
  /// The mode of a code, NOOP when there is none.
  static Call get_call_from_token(char code);
  /// The code; '\0' for NOOP and for what is no mode.
  static char get_mode_code(Call call);
  /// Stores the names from NOOP on as a new array in `at`. Returns their number.
  static int get_available_modes(const char*** names, AceAttach* at);
  static Call get_smallest_mode() { return NOOP; }
  static Call get_largest_mode() { return FS_COMPLETE; }
  /// DETECT0 to DETECT9; NOOP for another index.
  static Call get_custom_mode(int index);

  /// The value of a name, in any case; UNKNOWN for all else.
  static AliasDisplay get_alias_display(const char* text);
  /// The name; null for UNKNOWN and what is no value.
  static const char* get_alias_display_string(AliasDisplay display);

  /// Where modes come as numbers from outside.
  static bool is_call(int value) { return value >= NOOP && value <= FS_COMPLETE; }
};

/// Lists `parser` under `name`, if it is in no list, and returns it; with a null parser, returns the one of
/// that name in any case, or null.
SORV_API AceOptionsParser* dast_recall_options_parser(const char* name, AceOptionsParser* parser);
SORV_API AceOptionsParser* dast_build_options_parser(const char* name, AceOptionsParser* parser);
/// The options of a method with their defaults, as a text that the parser reads; "" for a method without.
SORV_API const char* get_recall_options_defaults(const char* method);
SORV_API const char* get_build_options_defaults(const char* method);
/// Held while a listed parser parses and its values are taken.
SORV_API std::recursive_mutex& dast_options_mutex();

/// Reads on until a line ends with '}', unless `value` (a line of `input`) does already. Returns the number
/// of lines read.
SORV_API int read_tcl_multi_line_comment(AceInput* input, char* value);
