/// Unicode collation: texts by the weights of a table, level by level.
///
/// A text is a list of collation elements, each with a primary (which letter), a secondary (which accent) and
/// a tertiary weight (which case). Two texts are compared by the primary weights of their elements, then by
/// the secondary, then by the tertiary ones; weights of 0 are skipped on their level. Texts whose weights are
/// all the same compare equal even if their bytes differ, such as a letter with an accent in one character
/// and in two.
///
/// A text starts with a key if its primary weights start with those of the key: strings that start with the
/// key in other case and accents stand among the others in the order, and belong to the same run.
///
/// The table (its form is described in docs/formats.md) gives elements to single characters and to sequences
/// of characters; the longest sequence wins. Variable elements count like all others. Characters that the
/// table does not have are ordered by code point after all that it has: those beyond U+FFFF always are.
/// Behind them come bytes that are no character of the encoding. Texts are not normalised: marks after one
/// letter count in the order in which they stand, and a sequence only where its characters are neighbours.
///
/// Errors: of `load` only, explained on the default reporter.
/// Thread safety: constant after `load`.
/// Cost: comparing skips what the texts have in common, and goes on to a further level only when all weights
/// of the level before are the same. See bench/tera/tera_collation_bench.cpp.
/// Source: Unicode Technical Standard 10, Unicode Collation Algorithm; variable weighting "non-ignorable".
#pragma once

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "tera/tera_collation.h"

class SORV_API TeraUnicode final : public TeraCollation {
 public:
  static constexpr int LEVEL = 3;              ///< weights of an element
  static constexpr int UNICODEPOINTS = 65536;  ///< code points that a table can have
  /// Most characters, and most elements, of an entry.
  static constexpr int MAX_CHARACTERS = 16;
  static constexpr int MAX_ELEMENTS = 32;

  struct CollElem {
    Large weights[LEVEL];  ///< primary, secondary, tertiary; 0: to be skipped
  };

  explicit TeraUnicode(const char* name);

  /// Reads the table; before that, and after an error, a collation has no characters. `encoding` is UTF-8
  /// (as TeraTransform::is_utf8 has it, and null) or the name of a code page, in which the texts to compare
  /// are. Returns 0; or -1 for an unknown code page, a file that cannot be read, a line that is no entry, and
  /// a table without entries.
  int load(const char* filename, const char* encoding);

  int compare_sort(const char* a, const char* b, int prefix) const override;
  int compare_limit(const char* a, const char* b, int unused) const override;

  /// Takes the longest sequence with an entry, or else one character, from the front of `*text`, which must
  /// not be at its end. Stores its elements, which are the table's; or `*own`, for a character without an
  /// entry. Returns their number.
  int get_coll_elem(const char** text, const CollElem** elements, CollElem* own) const;

 private:
  struct Entry;
  struct Contraction;
  struct Cursor;
  class Loader;
  static constexpr int TABLE_SIZE = 256;
  static constexpr int ASCII_SIZE = 128;

  void clear();
  int decode(const unsigned char* text, Large* uni) const;
  const Entry* entry_of(Large uni) const;
  const Contraction* longest_contraction(const Entry* entry, const unsigned char** text) const;
  void read_elements(Cursor& cursor) const;
  Large next_primary(Cursor& cursor) const;
  Large next_weight(Cursor& cursor, int level) const;
  int compare_level(const char* a, const char* b, int level) const;
  void skip_common(const char** a, const char** b) const;

  const Entry* unicodeElements[UNICODEPOINTS / TABLE_SIZE] = {};  // pages; null where the table has nothing
  const Entry* singleByteEntries[TABLE_SIZE] = {};                // by the byte, with a code page
  const int* codePage = nullptr;                                  // code points by the byte; null for UTF-8
  // Of a byte that is followed by one of ASCII: the weight of its character, if that is its whole share.
  Large asciiPrimary[ASCII_SIZE] = {};
  // Whether a character that starts with this byte, or has it inside, may go with what is before it.
  bool isJoined[TABLE_SIZE] = {};
  AceAttach memAt;  // pages, contractions and their elements
};
