/// The configuration from which a character map is made.
///
///     TeraMapConfig config("utf-8");
///     config.set_tokens("A-Z0-9");      // one token each
///     config.map_upper();               // "a" becomes the token of "A" ...
///     config.deaccentuate();            // ... and so does U+00E0
///     std::unique_ptr<TeraMap> map(config.compile());
///
/// Steps apply to what is mapped when they are called, so their order matters. A step that finds the target
/// of a character mapped maps the character, also one that had another mapping, or was a token, before.
///
/// A configuration is for UTF-8 or, when the name of a code page (tera_charset.h) is given, for its bytes.
/// Character sets are written as characters and ranges such as "a-z_": a hyphen between two characters is a
/// range; at the start, at the end and right behind a range it stands for itself. In a code page, characters
/// may also be escaped, and the set ends at a byte from 0x80 on (`strset`, ace_str_escape.h).
///
/// Errors: broken sets throw `AceException`; what else fails says so where it is declared.
/// Thread safety: a configuration belongs to one thread. Maps copy what they need.
#pragma once

#include <memory>

#include "ace/ace_avl_map.h"
#include "ace/ace_types.h"
#include "tera/tera_token_values.h"

class AceReporter;
class TeraMap;

/// Ordered map from code point to `Sequence`.
using UniMap = AVLMap<unsigned int>;

class SORV_API TeraMapConfig {
 public:
  /// The name of a code page; "utf-8", every other name and null stand for UTF-8.
  explicit TeraMapConfig(const char* charset);
  TeraMapConfig(const TeraMapConfig&) = delete;
  TeraMapConfig& operator=(const TeraMapConfig&) = delete;
  ~TeraMapConfig();

  // Tokens.

  /// Makes every character of the set a token. In UTF-8 tokens are numbered as they appear, and a repeated
  /// character keeps its number; in a code page they are numbered by ascending byte, and a repeated character
  /// throws. Null or an empty set gives the ASCII identity, 128 token numbers, in place of what was mapped
  /// before. Returns `numToken`. Throws when there are more than 249 tokens, for falling ranges and for
  /// invalid UTF-8.
  int set_tokens(const char* set);
  /// Makes the first character of `tok` the next token. Returns `numToken`; -1 without a character.
  int add_token(const char* tok);
  int num_token() const { return numToken; }

  // Mappings. All return the number of characters mapped.

  /// Maps every character of the set `chars` to the tokens of the characters of `target`, at most four. A
  /// target without tokens changes nothing. Of a longer target UTF-8 keeps four tokens and says so on
  /// standard output; a code page throws. Throws for broken sets, too.
  int set_map(const char* target, const char* chars);
  /// Reads a mapping file: one mapping per line, the characters, a tab, and their target. -1, with a warning
  /// on `rep` that names the line, when a line has no two fields; throws when the file cannot be read.
  int parse_map_file(const char* file, AceReporter* rep);
  /// One line of it, which is cut in place.
  int parse_map_file_line(char* line, AceReporter* rep);
  /// For each row {from, to} of a table that ends with a row of zeros, if `to` has a mapping, `from` gets it.
  /// In a code page the table must be sorted by `from`, and both must be characters of the code page.
  int map_table(const int (*table)[2]);
  /// For each row {char, first, second} of a table as in tera_unicode_tables.h, the character gets the
  /// mappings of its components (and theirs), at most four tokens, if there are any.
  int map_expand_table(const int (*table)[3]);
  int map_upper();
  int map_lower();
  int deaccentuate();
  int map_spaces();
  int map_whitespaces();
  int map_currency();
  /// Compatibility characters to their components.
  int expand_compat();
  /// Accented letters to letter and accents.
  int expand_accents();
  /// Cyrillic, Greek, Arabic and Hebrew letters to Latin ones; and Latin ones that are two letters or have
  /// none to go back to, unless they are mapped already: sharp s to SS, thorn to TH.
  int any_to_latin();
  /// Chinese characters, kana and Korean syllables to Latin letters: the first four of their sound in
  /// Mandarin, or of the name that Unicode gives them, without tones.
  int east_asian_to_latin();
  /// Letters and digits of further scripts, as those of India, South East Asia, the Caucasus and Ethiopia, to
  /// Latin ones: the sound that the name begins with which Unicode gives them.
  int other_scripts_to_latin();
  /// German umlauts to two letters, and sharp s to "ss".
  int expand_umlauts();
  /// Letters to the digits that they look like.
  int map_digits();

  /// Of the last two, those that a text needs, as flags of `set_complex_flags`; maybe empty. They make a
  /// saved map larger, by 200 and by 70 KB.
  static const char* script_flags(const char* utf8);

  // Operators. A character that becomes one loses its token; one that a code page does not have is left out.
  // Return 0, or -1 where that is said.

  /// "[", "]", "?" and "*" become operators, without `force` only those that have no mapping; "|" loses its
  /// own.
  int map_glob_chars(int force);
  /// Each of "?", "!", "*", "|" in `globs` becomes an operator, and "[" or "]" make both so. Null stands for
  /// `map_glob_chars(0)`.
  int map_globs(const char* globs);
  /// Chooses the operator characters; a zero leaves that operator out, a zero `alt_start` all. The stop of
  /// "[",
  /// "{" and "(" is its partner, for others it must be given: else -1. -1 also for a byte from 128 on in
  /// UTF-8.
  int map_specials(Token alt_start, Token alt_stop, Token wildcard, Token wildseq, Token word_sep,
                   Token alt_seg);

  // From texts. Errors are reported on `rep` and give -1.

  /// Applies the operations that `flags` names, such as "-map_upper -map_accents", always in the same order.
  int set_complex_flags(const char* flags, AceReporter* rep);
  /// The vocabulary in which hosts configure a map: configures `map` (for UTF-8) from `num` keys and values.
  ///
  ///     -tokens          token set           set_tokens
  ///     -complex_flags   flags               set_complex_flags
  ///     -map_file        file name           parse_map_file
  ///     -map_glob_chars  (not used)          map_glob_chars(1)
  ///
  /// Keys may be in upper case; others are warned about and ignored. Returns 0 or -1.
  static int configure(int num, const char* const* keys, const char* const* values, TeraMap* map,
                       AceReporter* rep);

  // Results.

  /// Makes `map` the map of this configuration. Returns 0; -1 for null.
  int compile_map(TeraMap* map) const;
  /// A new map, owned by the caller. Without any tokens, the ASCII identity is set first.
  TeraMap* compile();

  // Ready-made maps for names in other scripts, owned by the caller. They take some milliseconds.

  static TeraMap* compile_cyrillic();
  static TeraMap* compile_greek();
  static TeraMap* compile_arabic();
  static TeraMap* compile_hebrew();
  static TeraMap* compile_kanji();

 private:
  // UTF-8 and code page forms of the public functions.
  int set_utf_tokens(const char* set);
  int set_page_tokens(const char* set);
  int set_utf_map(const char* target, const char* chars);
  int set_page_map(const char* target, const char* chars);
  int map_uni_table(const int (*table)[2]);
  int map_page_table(const int (*table)[2]);
  int map_uni_expand_table(const int (*table)[3]);
  int map_page_expand_table(const int (*table)[3]);

  void set_ascii_tokens();
  bool is_token(int c) const;
  void set_uni_token(int uni);
  void enter_mapping(Sequence seq, int from);
  void enter_uni_mapping(Sequence seq, int uni);
  int map_character(int uni, const char* target);
  Sequence get_sequence(const char* target) const;
  Sequence join(const int* unis, int num) const;
  Sequence mapping_of(int c) const;
  Sequence mapping_of_uni(int uni) const;
  int code_of(int uni) const;
  int byte_of(int uni) const;
  void set_operator(Token tok, int c);

  int numToken = 1;                 // next free token number
  Sequence tokenMap[256] = {};      // as in TeraMap
  int indexMap[256] = {};           // as in TeraMap
  std::unique_ptr<UniMap> tempMap;  // characters of several UTF-8 bytes
  const int* uniMap = nullptr;      // code page: byte to code point; null for UTF-8
};
