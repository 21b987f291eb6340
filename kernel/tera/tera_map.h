/// Character maps: text to tokens.
///
/// A token (tera_token_values.h) stands for a class of characters that a search does not tell apart. A map
/// says which characters are significant, which share a token, which become several tokens, which are skipped
/// and which are pattern operators. It is built from a `TeraMapConfig`, and then read through a `TeraScan` or
/// the functions here.
///
/// Entries of `tokenMap`, by byte of the input:
///
///     low byte not 0             the byte's `Sequence`, one to four tokens
///     0xFFFF0000                 first byte of UTF-8 characters; they are looked up in `blockIndex`
///     0x....TT00, TT 250..255    operator TT; the bytes above are its `Sequence` with operators switched off
///     0                          skipped; byte 0 ends the text
///
/// A map with code points in `blockIndex` is a Unicode map: only such a map reads bytes above 127 as UTF-8
/// and turns tokens back into UTF-8. Where its text is not valid UTF-8 at a byte that is mapped, this is
/// printed on the default reporter and the text ends there.
///
/// Saved form (after whatever alignment the file is at):
///
///     numToken        int        0..256
///     tokenMap        256 x 4    aligned to 8; entries as above, ordinary tokens below numToken
///     indexMap        256 x 4    aligned to 8; code points, or bytes in a map that is not Unicode
///     blockIndex      BlockIndex (ace_block_index.h)
///     unicodeMap      n x 4      aligned to 8, n = blockIndex.size(); absent when n is 0
///
/// `read` checks all of it, so that scans of whatever text stay in bounds.
///
/// Conventions. `no_glob` switches operators off: their characters are then ordinary, and skipped if they
/// have no mapping of their own. Null texts count as empty ones unless stated otherwise. Positions and
/// lengths are counted in tokens unless they say bytes. What is "in `at`" lives until that attach is
/// released. Thread safety: a finished map is immutable and may be used by any number of threads. Cost: a
/// scan touches each byte once; nothing is allocated but results. Characters of one byte and of two are found
/// by direct index, others by binary search.
#pragma once

#include "ace/ace_attach.h"
#include "ace/ace_block_index.h"
#include "ace/ace_wrap.h"
#include "tera/tera_token_values.h"

class AceReporter;
class TeraMapConfig;
class TeraScan;

class SORV_API TeraMap : public AceWrap {
 public:
  /// Without tokens.
  TeraMap() = default;
  /// Every byte is a token of its own (256 token numbers, no operators); with `no_space` the blank is
  /// skipped.
  explicit TeraMap(bool no_space);
  /// What `TeraMapConfig::compile_map` makes; null gives a map without tokens.
  explicit TeraMap(const TeraMapConfig* config);
  explicit TeraMap(const TeraMap* other);
  ~TeraMap() override;

  /// 0; or -1 with an empty map, explained on the default reporter. Reading past the end throws (ace_file.h).
  /// The large arrays stay in a mapped file, which must live as long as the map.
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;
  VInt save(AceFile* file) const;

  /// `TeraMap(false)` and `TeraMap(true)`, made on first use.
  static const TeraMap* get_ident_map();
  static const TeraMap* get_nospace_map();

  /// Becomes a deep copy. Returns 0.
  int copy(const TeraMap* other);
  /// Becomes empty. Returns 0.
  int clean();
  int num_token() const { return numToken; }
  /// 1 for a Unicode map.
  int has_uni() const { return blockIndex.empty() ? 0 : 1; }
  /// Writes the map as text, in one message.
  int print(AceReporter* rep) const;

  // Characters.

  /// The `Sequence` of a code point of several bytes; 0 when it has none.
  Sequence map_unicode(int uni) const;
  /// The entry of a character below 128 (below 256 unless this is a Unicode map); otherwise `map_unicode`.
  Sequence map_any_char(int c) const;
  /// The entry of the code point's first UTF-8 byte, or `map_unicode` where that says so.
  Sequence get_uni_mapping(int uni) const;
  /// First character from blank to "~", not "|", that has no entry; 255 when there is none.
  char get_unmapped() const;
  /// Whether a token is an operator, which is so from 250 on in maps that leave these numbers free.
  bool is_operator(int tok) const { return tok >= TOKEN_WILDCARD && numToken <= MAX_TOKEN_NUMBERS; }
  /// Writes the token's character without a terminator; returns the number of bytes, at most 4, 0 for a
  /// token without a character.
  int token2utf(Token tok, char* utf) const;

  // Conversions.

  /// Writes at most `max_tokens` - 1 tokens and a 0; returns their number. Below 1 nothing is written.
  int convert(const char* in, Token* out, int max_tokens, bool no_glob) const;
  /// The token string in `at`, with three zero bytes behind it; null gives null.
  Token* convert(const char* in, bool no_glob, AceAttach* at) const;
  /// `convert`, and marks word starts: `sep_list` has room for `max_tokens` flags and receives one, 0 or 1,
  /// per token and one for the end. The first position and the end are always marked. If the character `sep`
  /// has a token, this token (which stays in `out`) marks its own position and the next; otherwise a position
  /// is marked when `sep` occurs in the input between the token before and this one's last byte.
  /// Returns the number of tokens; -1 for a null `sep_list`.
  int convert_sep(const char* in, Token* out, int max_tokens, char sep, Token* sep_list, bool no_glob) const;
  /// The characters of the tokens, in `at`; tokens without a character are left out. Null gives null.
  char* convert_reverse(const Token* tokenstr, AceAttach* at) const;
  /// The canonical form of a text: converted and converted back. Null gives null.
  char* normalize(const char* in, bool no_glob, AceAttach* at) const;
  /// 1 when `normalize(str, true, at)` would give the same text.
  int is_normalized(const char* str) const;

  // Comparisons, token by token.

  /// The first difference of token values, where the wildcard matches any token; -1 or 1 when the first or
  /// the second ends before; 0 when equal.
  int compare(const char* in1, const char* in2, bool no_glob) const;
  int compare(const Token* in1, const char* in2, bool no_glob) const;
  /// `compare` with the map, or strcmp when it is null.
  static int compare_static(const TeraMap* map_or_null, const char* in1, const char* in2, bool no_glob);
  /// Whether plain text `s1` matches `s2`, in which a wildcard matches any token and an alternative each of
  /// its members: 1, 0, or -1 when `s2` has an alternative that is not closed.
  int is_equal(const char* s1, const char* s2) const;
  /// 1 when both have the same tokens, operators off.
  int strings_are_equal(const char* string, const char* ref) const;
  /// 1 when the tokens of `part` occur in a row in those of `whole`.
  int contains(const char* part, const char* whole, bool no_glob) const;
  /// Number of tokens.
  int tok_len(const char* in, bool no_glob) const;
  /// Number of positions: an alternative is one, the operators 253 to 255 are none. -1 for an alternative
  /// that is empty or not closed.
  int alt_len(const char* in, bool no_glob) const;

  // Positions.

  /// Where the text continues behind `pos` tokens, operators off; its end when there are not that many.
  const char* find(const char* string, int pos) const;
  /// Position of a scan, operators off, as soon as it is not before `end`.
  const char* find(const char* string, const char* end) const;
  /// Cuts the text behind `from` and behind `to` tokens, operators off, and stores copies of the three parts
  /// in `at` through the pointers that are not null. A cut is made directly behind the token with
  /// `incl_unmap`, else before the next significant character. Returns 0; -1 (and null parts) for a null
  /// text.
  int cut(const char* string, int from, int to, AceAttach* at, char** prefix, char** infix, char** suffix,
          bool incl_unmap) const;
  /// A position from 0 on gives `string` itself, whatever its value. A negative one walks the whole string
  /// and gives the address one past its 0; null when an alternative is not closed.
  Token* get_pos(Token* string, int pos) const;
  /// `get_pos(token, from)`, and 0 written at the `get_pos` of that with `to` - `from`. Negative differences
  /// write behind the string: it needs room as `convert` into an attach gives. Null when a position is.
  Token* cut_token(Token* token, int from, int to) const;
  /// Finds the tokens of `part` in `string`, operators off. Stores where they start and end and returns their
  /// number; or stores -1 and returns 0.
  int localize(const char* string, const char* part, int* start, int* end) const;
  /// Bytes of `string` that the tokens of `prefix` cover, with what is skipped behind them; -1 when `string`
  /// does not start with them.
  int localize_prefix(const char* string, const char* prefix) const;
  /// Offset in bytes of the first character of `string` from which on its tokens are those of `suffix`; -1 if
  /// there is none.
  int localize_suffix(const char* string, const char* suffix) const;
  /// Key for coarse sorting: the first ordinary tokens (of an alternative, the first one), as many as fit
  /// with b bits each, b the bit length of `numToken`; the first is in the highest bits.
  VBit sort_key(const char* string, bool no_glob) const;

  /// Splits `str` at the characters that have the token of `sep`, into at most `max_words` words (the rest is
  /// dropped) that have tokens at all; with `group` and the double quote unmapped, text between double quotes
  /// is a word. The words are copied into `at`, with `sep` in front (`front`) and behind (`back`). Returns
  /// their number; -1, reported on `rep`, when `sep` has no token.
  int decompose(const char* str, const char** words, int max_words, char sep, int front, int back, int group,
                AceAttach* at, AceReporter* rep) const;

 private:
  friend class TeraMapConfig;
  friend class TeraScan;

  static constexpr Sequence LEAD_BYTE = 0xFFFF0000;
  static constexpr int NUM_TWO_BYTES = 0x800;

  bool read_checked(AceFile* file);
  const char* find_fault() const;
  void index_two_bytes();
  int put_char(int c, char* out) const;
  /// `uni` from 0 to MAX_UNI, `blockIndex` not empty.
  Sequence find_unicode(int uni) const { return uni < NUM_TWO_BYTES ? twoByteMap[uni] : find_in_index(uni); }
  Sequence find_in_index(int uni) const;
  static long find_tokens(const Token* whole, const Token* part);

  Sequence tokenMap[256] = {};           // per byte
  int numToken = 0;                      // token numbers in use, counting 0
  int isMapped = 0;                      // unicodeMap belongs to a file
  int indexMap[256] = {};                // per token, the character it is turned back into; 0 for none
  BlockIndex blockIndex;                 // code points of several bytes
  const Sequence* unicodeMap = nullptr;  // per position of blockIndex
  const Sequence* twoByteMap = nullptr;  // per code point below NUM_TWO_BYTES, in memAt; not saved
  AceAttach memAt;
};
