/// A query word: a text and its compiled form, compared with entry texts through one character map.
///
///     TeraWord word("meier", map, true);
///     int quality = word.leven("mayer", TeraEval::get_model_func(TeraEval::MAXIMUM, 0), 0x0001);
///
/// The map is kept by pointer. See tera_measures.h for the measures and their options.
#pragma once

#include "ace/ace_attach.h"
#include "ace/ace_check_type.h"
#include "tera/tera_map.h"
#include "tera/tera_measures.h"
#include "tera/tera_token_word.h"
#include "tera/tera_word_result.h"

class SORV_API TeraWord : public AceCheckType<TeraWord>, public TeraMeasures<TeraWord, char> {
 public:
  using Eval = TeraEval::Eval;

  /// No word: every measure gives -1.
  TeraWord() = default;
  /// With `no_glob`, operators are ordinary characters. There is no word when `word` or `map` is null, or
  /// when an alternative is empty or not closed.
  TeraWord(const char* word, const TeraMap* map, bool no_glob);
  /// One pattern of several words, each of which starts a new word in it. Null texts count as empty ones.
  TeraWord(int num, const char* const* words, const TeraMap* map, bool no_glob);

  const TeraMap* get_map() const { return mapConfig; }
  const Token* get_token_string() const { return tokenString; }
  /// Number of positions; -1 when there is no word.
  int length() const { return tokenWord.length(); }
  /// `TeraMap::get_pos`; null when there is no word.
  Token* get_pos(Token* string, int pos) const;
  /// Registers half tokens: the characters of `pairs`, two by two (see `TeraPattern::add_halfs`).
  int add_halfs(const char* pairs);

  /// -1 for the free ends 0x8000 with 0x1000, and 0x4000 with 0x2000, which anything matches; else 0.
  static int validate_options(int options);

  // Where it matches. These take memory in `at`, and some 64 bytes per entry token while they run.

  /// As `TeraTokenWord::sequence`.
  int sequence(const char* entry, Eval* eval, int options, const char** edit_seq, AceAttach* at) const;
  /// The alignment for `leven` with these options. Releases `result` and fills it anew. Returns the quality,
  /// with a null model the match value (the quality is then 0); -1 for null arguments and when there is no
  /// word.
  int localize(const char* entry, Eval* eval, int options, TeraWordResult* result) const;
  /// The entry positions [*from, *to) of the matched part for `leven`, and through `marked` the entry's
  /// characters with that part marked; each pointer may be null. Returns the match value, or -1.
  int wordMatch(const Token* entry, int* from, int* to, int options, const char** marked,
                AceAttach* at) const;

  // The entry's text with the characters of matched tokens between `MARK_START` and `MARK_STOP`, in `at`.
  // Null for a null entry and when there is no word.

  static constexpr const char* MARK_START = "<b>";
  static constexpr const char* MARK_STOP = "</b>";

  /// Tokens that match in a best alignment; of swapped ones both.
  char* leven_mark(const char* entry, int options, AceAttach* at) const;
  /// Tokens at positions that count.
  char* count_mark(const char* entry, int options, AceAttach* at) const;
  /// Tokens of a longest common subsequence.
  char* lcs_mark(const char* entry, int options, AceAttach* at) const;
  /// Hits.
  char* subset_mark(const char* entry, int options, AceAttach* at) const;
  /// The run of tokens that resembles the query most.
  char* subword_mark(const char* entry, int options, AceAttach* at) const;
  /// The run of words.
  char* scan_mark(const char* entry, int options, AceAttach* at) const;

  /// The text with the words marked that resemble one of the query words, shortened to `max_length` bytes
  /// (and
  /// "..." behind) around the marks; in `at`. A word of the text is a run of letters, digits and characters
  /// that are not ASCII; it is marked when its quality is at least 150 with a query word, by LEVENSHTEIN and
  /// MAXIMUM, or as a word that begins with it by QUERY; swaps are one error. `min_context` bytes are kept
  /// around each mark, at most a quarter of the length. Null words, which may be among the `num`, mark
  /// nothing. Null for a null text or mark and a negative length. See tera_teaser.h for how texts are cut.
  static char* generate_teaser(const char* text, int num, const TeraWord* const* words, const TeraMap* map,
                               const char* prefix, const char* suffix, int max_length, int min_context,
                               AceAttach* at);
  /// The same for this word alone.
  char* make_teaser(const char* text, const char* prefix, const char* suffix, int max_length, int min_context,
                    AceAttach* at) const;

  /// `TeraMap::cut` with the word's map; `opt` not 0 cuts directly behind tokens. -1 when there is no word.
  int cut(const char* entry, int from, int to, int opt, AceAttach* at, char** prefix, char** infix,
          char** suffix) const;
  /// The entry's tokens in `at`, and for each, and for the end, a flag that is 1 where a word begins: at the
  /// start, behind separators, and at and behind blanks and bars. Returns the number of tokens; -1 for null
  /// arguments and when there is no word.
  int convert_and_word_bounds(const char* entry, int options, Token** tokens, Token** bounds,
                              AceAttach* at) const;

  /// Levenshtein quality of `s2` for the query `s1`. -1 as above, and for what is no model.
  static int cmp(const char* s1, const char* s2, const TeraMap* map, TeraEval::Model model, int options);
  /// The same for texts of several words with bars between: the words are assigned to each other as
  /// `TeraWords::phrase` does it, and the model's fine form gets 255 per word of both sides and the sum of
  /// the pairs' qualities.
  static int mcmp(const char* s1, const char* s2, const TeraMap* map, TeraEval::Model model, int options);
  /// Measures how long each measure takes on sample words, prints a line for each on the default reporter and
  /// returns the nanoseconds per call of all together.
  static int measure_speed();

 private:
  friend class TeraMeasures<TeraWord, char>;
  template <class Loop>
  int run(const char* entry, int options, Loop loop, bool half = false) const;

  AceAttach memAt;
  const TeraMap* mapConfig = nullptr;
  TeraTokenWord tokenWord;
  Token* tokenString = nullptr;
};

extern template class TeraMeasures<TeraWord, char>;
