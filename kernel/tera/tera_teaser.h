/// Teasers: a text that was found, with what matched in it marked, shortened around the marks.
///
///     TeraTeaser teaser(map, nullptr, nullptr, 60);
///     teaser.add_result_matches(&result, true, 256);
///     AceAttach at;
///     rep->print(teaser.generate(text, &at, 0, 0, -1));      ...in the old part of <b>Karlsruhe</b>, near...
///
/// A teaser collects strings that matched, each with the query word it matched and its quality, and then
/// marks them in any number of texts. As long as it has none, it looks for words of the text that resemble
/// the query words themselves.
///
/// What is marked: a run of characters whose tokens are those of a string. It begins with a character that
/// the map represents, at the start of the text or behind a separator, and ends before a separator or at the
/// end. Separators are all bytes but ASCII digits and letters: so at an accented letter a word ends, too.
/// Runs that overlap or touch are marked together. Where not all of them find room, each query word keeps
/// its first one and its perfect ones; then the first ones stay.
///
/// Lengths are in bytes. A text that is not longer than the maximum is never cut, even if its marks make it
/// longer; what is cut has at most the maximum, and "..." behind. With a Unicode map it is cut between
/// characters. Marks are written as they are: escaping the text for where it is shown is the caller's.
///
/// Ownership: the attach holds the strings; the map is kept by pointer, a null one stands for bytes.
/// Errors: -1, reported, when memory ends; `generate` then returns the text itself. Nothing is thrown.
/// Thread safety: filled by one thread; then any number may generate.
/// Cost: a walk from each start of a word, at most as far as the longest string.
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "ace/ace_attach.h"
#include "tera/tera_eval.h"
#include "tera/tera_trie.h"
#include "tera/tera_word.h"

class TeaserText;
class TeraResult;
class TeraScanGraph;

class SORV_API TeraTeaser : public AceAttach {
 public:
  static constexpr int LONGEST = 32768;
  static constexpr int LEAST_QUALITY = 150;
  /// Strings of more tokens are not marked.
  static constexpr int MAX_TOKENS = 1024;

  /// The marks of what a multi-word recall finds, and of teasers that are not told others.
  static constexpr const char* MARK_PREFIX = "<b>";
  static constexpr const char* MARK_SUFFIX = "</b>";

  /// What is known of a string that matched.
  struct MatchValue {
    void set(int word, bool alias, int matched_quality) {
      isAliasMatch = alias;
      quality = matched_quality;
      queryWord = word;
    }
    bool is_fresh() const { return queryWord < 0 && !isAliasMatch; }

    bool isAliasMatch = false;  ///< the alias side of a literal match
    int quality = -1;           ///< -1: not known
    int queryWord = -1;         ///< -1: none yet
  };

  /// Null for MARK_PREFIX and MARK_SUFFIX; a length outside 1..LONGEST means LONGEST.
  TeraTeaser(const TeraMap* map, const char* prefix, const char* suffix, int max_length);
  /// With the settings of another one, but neither words nor strings.
  explicit TeraTeaser(const TeraTeaser* other);

  // Query words. Return an id from 0 on, or -1.

  /// A copy of the word; its measure uses `map`, or the teaser's if that is null.
  int add_query_word(const char* word, const TeraMap* map);
  /// Replaces all words by these, normalised. Returns their number, or -1.
  int set_query_words(int n, const char* const* words);
  /// The id of the word, normalised, which is added if it is new.
  int get_query_word_id(const char* word);
  /// "" for what is no id.
  const char* get_query_word(int id) const;
  int get_num_words() const { return static_cast<int>(queryWords.size()); }

  // Strings that matched. Return how many are new.

  /// Strings below the least quality (but not of unknown one) and without tokens are left out. A string that
  /// is there already keeps the better quality; not knowing counts as 255 for an alias.
  int add_match(const char* string, int word, int quality, bool alias);
  /// Strings of one quality for one query word; none for a null or empty query.
  int add_query_matches(int n, const char* const* strings, const char* query, int quality);
  /// The candidates of groups below `limit`, for the result's query. Of "alias|text" the text, and with
  /// `with_alias` the alias, too; of a line that a recall of several words has marked the marked words.
  /// Candidates without a string, or with an empty one, are left out.
  int add_result_matches(const TeraResult* result, bool with_alias, int limit);
  /// The same for every edge of the graph; -1 when that fails.
  int add_graph_matches(const TeraScanGraph* graph, int with_alias, int limit);
  int num_matches() const { return matchTrie.num_entries(); }

  /// How much of the query word is in the text, 0..255; -1 for what is no id.
  int get_quality(const char* text, int word) const;
  /// The teaser of a text, in `at` (or the text itself, when it is empty or cannot be marked; null for null).
  /// With `free_start` or `free_end` not 0 marks may start, or end, inside a word. A negative `max_length`
  /// means the teaser's own.
  const char* generate(const char* text, AceAttach* at, int free_start, int free_end, int max_length) const;
  /// The text if `n` exceeds its length, else its first `n` bytes and "...".
  const char* clip(const char* text, AceAttach* at, int n) const;

  int get_min_qual() const { return minQual; }
  const char* get_mark_prefix() const { return markPrefix; }
  const char* get_mark_suffix() const { return markSuffix; }
  int get_max_length() const { return maxLength; }
  int get_min_context_length() const { return minContextLength; }
  int get_min_infix_length() const { return minInfixLength; }

 private:
  static constexpr int MIN_QUERY_SPACE = 256;
  static constexpr int GENERATED_CONTEXT = 10;
  /// Of each byte, whether it separates words.
  static const std::array<bool, 256> sepMap;
  static bool is_separator(char byte) { return sepMap[static_cast<unsigned char>(byte)]; }

  void set_lengths(int max_length);
  int make_room(int space);
  const char* normalized(const char* word);
  int append_word(const char* word, const TeraMap* map);
  int add_candidate(const char* string, int word, int quality, bool with_alias);
  int add_marked(const char* string, int word, int quality);
  bool is_unicode() const { return markMap->has_uni() != 0; }
  const char* make_teaser(const char* text, AceAttach* at, bool free_start, bool free_end, int max) const;
  void find_matches(const char* text, bool free_start, bool free_end, TeaserText* marked) const;

  const char* markPrefix = MARK_PREFIX;
  const char* markSuffix = MARK_SUFFIX;
  int maxLength = LONGEST;
  int minQual = LEAST_QUALITY;
  int totalMarkLength = 0;
  int minContextLength = 0;  // kept before and behind a match
  int minInfixLength = 0;    // the longest gap that is surely kept whole
  int queryWordsSpace = 0;
  std::vector<const char*> queryWords;            // in the attach
  std::vector<std::unique_ptr<TeraWord>> tWords;  // compiled
  const TeraMap* markMap;
  TeraTrie<MatchValue> matchTrie;
  TeraEval::Eval* evalFunc;
};
