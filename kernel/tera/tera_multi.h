/// Multi-word index: lines of several words (names, titles, descriptions), found by words that resemble
/// theirs, in any order.
///
///     TeraMulti multi;
///     multi.init(&map, ' ', nullptr, false);
///     multi.make_reader(&reader, nullptr, ' ', 3, 150, TeraMulti::MAKE_INFO, nullptr, 4, 80, 10, nullptr,
///     ...); TeraResult result("hotel adlre", 190, 100, 255); multi.recall(&result, TeraMulti::TRANSPOSE,
///     TeraEval::SHORT, rep, 165, 3, 50, nullptr);
///
/// Every line is split at a separator character. A distinct word (by its bytes) has a number, in byte order;
/// a line is the Huffman-coded sequence of these numbers, so runs of separators are not kept. An index of
/// words (tera_edit.h) says which words resemble a query word, hit lists in which lines they are. The number
/// of a line is its attribute number; numbers without a line are empty lines.
///
/// What a line is worth. Query and line are cut into words, and words with additional separators into their
/// parts. Each query word goes to at most one line word, and the other way round. A pair has the quality of
/// LEVENSHTEIN by MAXIMUM (swaps are one error, if asked for); with COMPLETE the last query word that of
/// PREFIX by SHORT. A word of either side that ends with a dot or a completion marker, and a single letter,
/// also stands for longer words that begin with it, by PREFIX and SHORT (of the query, by EXTEND and LONG).
/// Pairs below the least quality of words do not count. A word with parts goes as a whole or part by part;
/// parts of fewer than `addLen` tokens go with the whole only. With MERGE_ENTRIES two words side by side
/// count as one, too. The line has the model's value, in its fine form, of
///
///     255 * tokens of the query,   the most that the pairs' (tokens of the query word * quality) add up
///     to,   255 * tokens of the line (at most 65,535)
///
/// An automaton takes less room than an edit index. It finds words within `single_max_edit` errors alone, no
/// abbreviations among parts and joined words, and query objects do not hear how words sound.
///
/// 255 is for lines with the query's words in the query's order; other lines have at most 254. Within a group
/// of a result, lines with more weight come first, then those in the query's order, then shorter ones.
///
/// Skip words are words in more than a given share of all lines, and those of a file. They count, but a line
/// is only found by other words, unless each word of the query is a skip word, or resembles none better.
///
/// Hit lists have more keys than words: with additional separators the parts of words, and with MERGE_ENTRIES
/// pairs of words written together, have the numbers behind the words'; the last key has the skip words.
///
/// Payload of `save` ("MULTI"), in order:
///
///     magic         MULTI
///     sepChar       char
///     optionFlags   int
///     addLen        int               0 without additional separators
///     addMap        Token[256]        if addLen > 0; aligned to 8; not 0 for separators
///     addSeps       string            if addLen > 0
///     numWords      int
///     numRecords    Large             lines, the empty ones too
///     maxWords      int               most words of a line
///     maxLine       int               bytes of the longest line as `decode` gives it
///     offsetBits    int               1..31
///     compSize      VInt
///     numStart      int               half the lines, rounded up
///     editStruct    TeraEdit          attribute numbers: keys of hit lists; without USE_AUTO
///     autoStruct    TeraAuto          the same, with USE_AUTO
///     wordComp      HuffmanTree       word numbers; -1: a plain number of offsetBits follows
///     sizeComp      HuffmanTree       numbers of words
///     stringArray   TeraIndex         the words
///     compHeap      Token[compSize]   if compSize > 0; aligned to 8
///     compStart     VInt[numStart]    if numStart > 0; aligned to 8: where each second line starts
///     infoHandle    AceIdMap          if MAKE_INFO: from keys to lines
///     singleInfo    AceIdMap          if MAKE_INFO: from words to the lines that are this word alone
///     fastSingle    AceIdMap          if FAST_SINGLE: from words to lines
///     tokenLengths  Small[numRecords] aligned to 8: tokens of each line's words, 65,535 for more
///
///     line          1 byte n (1..255), or 0 and n in two bytes, the higher first; then n bytes of bits:
///                   sizeComp's code of the number of words, and for each word wordComp's code
///
/// `read` checks the numbers in constant time; what reads lists and lines checks where: a damaged line is
/// empty. `verify` looks at all of them.
///
/// Errors: negative results, explained on the reporter given, or on the default reporter. Memory exhaustion
/// throws `std::bad_alloc`.
/// Thread safety: built or read by one thread; then any number may recall, each with a result of its own.
/// Cost of a recall: the recall of each word, and a step for each entry of the hit lists of the words found.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_bit_stream.h"
#include "ace/ace_huffman.h"
#include "ace/ace_id_map.h"
#include "ace/ace_wrap.h"
#include "tera/tera_auto.h"
#include "tera/tera_edit.h"
#include "tera/tera_eval.h"
#include "tera/tera_index.h"
#include "tera/tera_map.h"

class AceReporter;
class MultiAbbreviations;
class MultiBuild;
class MultiScratchPool;
class TeraAliasReader;
class TeraCand;
class TeraMultiEval;
class TeraQuery;
class TeraResult;
class TeraScanGraph;
class TeraTransform;
class WordsReader;
struct MultiAsk;
struct MultiRules;

class SORV_API TeraMulti : public AceWrap {
 public:
  /// Stored in files, not to be renumbered.
  enum BuildOptions : int {
    UNIQUIFY = 1,         ///< the share of skip words is that of distinct lines
    MAKE_INFO = 2,        ///< there are hit lists
    HAS_PHONETICS = 8,    ///< words that sound alike are found, too
    USE_AUTO = 16,        ///< the index of words is an automaton
    REVERSE_INFO = 32,    ///< lines are given back as they were
    MULTIPLE = 64,        ///< lines have several words
    FAST_SINGLE = 128,    ///< there are lists of single words
    OPTIMIZE_HITS = 256,  ///< hit lists are shared where they are equal
    MERGE_ENTRIES = 4096,
  };
  static constexpr int KNOWN_OPTIONS = UNIQUIFY | MAKE_INFO | HAS_PHONETICS | USE_AUTO | REVERSE_INFO |
                                       MULTIPLE | FAST_SINGLE | OPTIMIZE_HITS | MERGE_ENTRIES;

  enum RecallOptions : int {
    NO_GLOB = 1,            ///< the query has no operators
    TRANSPOSE = 2,          ///< two neighbours in the wrong order are one error
    NO_ALIASES = 4,         ///< words have no aliases
    SPLIT_UNMAPPED = 16,    ///< characters without token separate words of the query
    SINGLE = 1 << 15,       ///< the query is one word: `single_recall`
    EXACT = 1 << 16,        ///< only lines with the query's words in its order
    COMPLETE = 1 << 17,     ///< the last word of the query is unfinished
    REEVALUATE = 1 << 18,   ///< every word of the query must have a pair
    FULL_REEVAL = 1 << 20,  ///< words are compared as they are written, without aliases
    NO_TEASER = 1 << 21,    ///< candidates have the line without marks
    DECOMPOSE = 1 << 22,    ///< a query word that nothing resembles is cut in two that are words
    BOUND = 1 << 23,        ///< words are not joined
    WORD_OPTIONS = NO_GLOB | TRANSPOSE | NO_ALIASES,
  };
  enum RecallBit : int {
    BIT_SINGLE = 15,
    BIT_EXACT = 16,
    BIT_COMPLETE = 17,
    BIT_REEVALUATE = 18,
    BIT_FULL_REEVAL = 20,
    BIT_NO_TEASER = 21,
    BIT_DECOMPOSE = 22,
  };
  /// What options that are not given stand for.
  static constexpr int SINGLE_MIN_QUAL = 165;
  static constexpr int SINGLE_MAX_EDIT = 3;
  static constexpr int ORIG_WEIGHT = 50;
  /// Bytes of a line as `decode` gives it.
  static constexpr int MAX_LINE = 1 << 24;

  TeraMulti();
  /// As `init`; the last argument is not 0 for an automaton.
  TeraMulti(const TeraMap* map, char sep, TeraTransform* phonetic, int use_auto);
  ~TeraMulti() override;

  /// An index without lines for a copy of the map and, if not null, of the transform. Returns 0; -1 for a
  /// null map. With `use_auto` words are in an automaton.
  int init(const TeraMap* map, char sep, TeraTransform* phonetic, bool use_auto);
  void clean();

  // Building, in place of what there was, with the transform of `init`.

  /// Builds from the lines of a reader. A null map stands for the index's own. `filter` and `refine` are
  /// those of the index of words (`TeraEdit::make`), `options` of BuildOptions. `add_seps` (may be null) are
  /// additional separators, `add_len` the fewest tokens of their parts that are keys. `sort`, 1 to 100, is
  /// the share of the lines that is kept in memory while building, in percent; the others wait in the chunk
  /// file. Words in more than `skip` percent of the lines are skip words; from 100 on, none. `aliases` (may
  /// be null) are aliases of words; `skip_file` has a skip word per line; `skip_export` receives them all.
  /// The last argument is unused.
  ///
  /// Attribute numbers may come in any order, but none twice, and not far more than lines. Returns 0; -1, for
  /// one, and for a line that takes more than 65,535 bytes coded or MAX_LINE decoded, which is named; -2,
  /// likewise, with REVERSE_INFO, for a line that cannot be given back as it was.
  int make_reader(WordsReader* reader, const TeraMap* map, char sep, int filter, int refine, int options,
                  const char* add_seps, int add_len, int sort, int skip, TeraAliasReader* aliases,
                  const char* skip_file, const char* skip_export, AceReporter* rep, int unused);
  /// The same from a text file. A file that is not there throws an `AceException`.
  int make(const char* file, const TeraMap* map, char sep, int filter, int refine, int options,
           const char* add_seps, int add_len, int sort, int skip, const char* alias_file,
           const char* skip_file, const char* skip_export, AceReporter* rep, int unused);

  // Access. Strings lie in `at` or in the index; null for what is not there.

  Large num_records() const { return numRecords; }
  int get_num_words() const { return numWords; }
  int get_max_words() const { return maxWords; }
  int get_max_line() const { return maxLine; }
  int get_options() const { return optionFlags; }
  const TeraMap* get_tera_map() const {
    return autoStruct != nullptr ? autoStruct->get_tera_map() : editStruct->get_tera_map();
  }
  char get_sep() const { return sepChar; }
  /// The index of words; the other one is empty, or null.
  const TeraEdit* get_edit() const { return editStruct.get(); }
  const TeraAuto* get_auto() const { return autoStruct.get(); }
  /// Tokens of the words of a line; 0 for none.
  int get_token_length(Large line) const;
  bool has_reverse_info() const { return (optionFlags & REVERSE_INFO) != 0; }
  bool has_fast_single() const { return fastSingle != nullptr; }
  /// A word by its number, by either name.
  const char* get_line(Large word, AceAttach* at) const;
  const char* get_word(Large word, AceAttach* at) const;
  /// A whole line, by either name; empty for a number without one.
  const char* get_multiword(Large line, AceAttach* at) const;
  const char* show(Large line, AceAttach* at) const;
  /// Stores the word numbers of a line. Returns how many there are; -1 for what is no line.
  int get_word_ids(Large line, Large** words, AceAttach* at) const;
  /// The lines of a word.
  IdList get_lines(Large word) const;
  bool is_skip_word(Large word) const;
  /// Cuts a text at the separators, in place. Stores of each word, of at most `max_words`, its address, where
  /// it starts, its bytes and its tokens; each array may be null. Returns the number of words.
  int string_split(char* text, char** words, int max_words, int* offsets, int* lengths, int* tokens) const;
  /// Decodes a line into a buffer of `get_max_line` + 1 bytes: before each word, the first included, the
  /// separator. With `expected` from 0 on, a line of another number of words is the empty string; so is a
  /// damaged one. Returns the number of bytes.
  int decode(BitSource* source, char* buffer, int expected) const;

  // Recall. Candidates have lines, as attribute numbers, with their texts; strings live as long as the
  // result.

  /// The lines that reach the result's least quality with its query. `single_min_qual` is the least quality
  /// of a pair of words, `orig_weight` the percentage of the plain quality where words are coded
  /// phonetically, `comp_markers` (may be null) are characters at the end of words that go on, `mode`
  /// measures words, by its default model. A query of one word, or SINGLE: see `single_recall` for the
  /// latter. Candidates that an abbreviation has found are `TeraCand::INITIAL`. In a group with more
  /// candidates than `TeraResult::get_biggest`, those behind are one collection, if the result takes
  /// collections. Returns the number of candidates, or -1.
  int recall(TeraResult* result, int options, TeraEval::Model model, AceReporter* rep,
             int single_min_qual = SINGLE_MIN_QUAL, int single_max_edit = SINGLE_MAX_EDIT,
             int orig_weight = ORIG_WEIGHT, const char* comp_markers = nullptr,
             TeraEval::Mode mode = TeraEval::LEVENSHTEIN) const;
  /// The words that resemble the query as a whole, each with all of its lines.
  int single_recall(TeraResult* result, int options, TeraEval::Mode mode, TeraEval::Model model,
                    int single_max_edit, int orig_weight, AceReporter* rep) const;
  /// The lines with the query's words in its order, whatever the separators; 255 each. The caller deletes the
  /// result; null for a null query and on errors.
  TeraResult* exact(const char* query, int options, AceReporter* rep) const;
  /// The lines that runs of words of the graph's text resemble, each from the run's first node to its last. A
  /// run is as long as the longest line, at most `MAX_RUN` words, and its first and last word must have
  /// pairs; with COMPLETE the last word of the text is unfinished. A graph without nodes gets them. Returns
  /// the number of runs, or -1.
  int multi_detect(TeraScanGraph* graph, int options, TeraEval::Model model, int single_min_qual,
                   int single_max_edit, int orig_weight, const char* comp_markers, AceReporter* rep,
                   TeraEval::Mode mode = TeraEval::LEVENSHTEIN) const;
  /// The same for words: each word of the text with the words that resemble it, and their lines.
  int single_detect(TeraScanGraph* graph, int options, TeraEval::Mode mode, TeraEval::Model model,
                    int single_max_edit, int orig_weight, AceReporter* rep) const;
  static constexpr int MAX_RUN = 8;
  /// Two words that together resemble a word, with a separator between, in `at`; null for none.
  const char* decompose(const char* word, int single_min_qual, AceAttach* at) const;
  /// Query objects: what `recall`, and `single_recall`, give a line of that text (for the latter its best
  /// word). Null for a null query and one that is too long. The
  /// map and the separator are the index's; these arguments are unused.
  TeraQuery* eval(const char* query, const TeraMap* map, char sep, int options, TeraEval::Model model,
                  int single_min_qual = SINGLE_MIN_QUAL, int orig_weight = ORIG_WEIGHT,
                  const char* comp_markers = nullptr, TeraEval::Mode mode = TeraEval::LEVENSHTEIN) const;
  TeraQuery* seval(const char* query, int options, TeraEval::Mode mode, TeraEval::Model model) const;
  int is_parallelizable() const {
    return autoStruct != nullptr ? autoStruct->is_parallelizable() : editStruct->is_parallelizable();
  }

  // Output.

  /// Writes the lines that are not empty; with `infos` as "%08x\t%s", with their number. Returns how many, or
  /// -1.
  int write(const char* file, int infos) const;
  /// The same for the words; with `infos` as "%d\t%s", with their number of lines.
  int words(const char* file, int infos) const;
  void stat(AceReporter* rep) const;
  /// Whether all lists and lines are as described. Returns 0, or -1, reported.
  int verify(AceReporter* rep) const;

  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;

 private:
  friend class MultiAbbreviations;
  friend class MultiBuild;
  friend class MultiExact;
  friend class MultiRecall;
  friend class TeraMultiEval;
  class Undo;

  const MultiRules& get_rules() const { return *splitRules; }
  void clean_lines();
  void make_rules();
  bool has_more_keys() const { return addLen > 0 || (optionFlags & MERGE_ENTRIES) != 0; }
  const Token* find_line(Large line, VInt* size) const;
  bool decode_ids(BitSource source, std::vector<Large>* words) const;
  bool read_ids(Large line, std::vector<Large>* words) const;
  bool decode_text(BitSource* source, int expected, std::string* text) const;
  bool read_text(Large line, std::string* text) const;
  Large next_word(BitSource* source) const;
  IdList skip_list() const;
  const char* key_text(Large key, const char* shown, AceAttach* at) const;
  int recall_word(TeraResult* result, TeraEval::Mode mode, TeraEval::Model model, const MultiAsk& ask,
                  bool plain, AceReporter* rep) const;
  TeraQuery* get_word_query(const char* text, TeraEval::Mode mode, TeraEval::Model model, int options,
                            int weight) const;
  bool is_long(const char* word) const;
  int recall_keys(TeraResult* result, TeraEval::Mode mode, TeraEval::Model model, int options, int max_edit,
                  int weight, AceReporter* rep) const;
  void put_lines(TeraCand* cand, AceAttach* at) const;
  TeraQuery* make_query(const char* text, const MultiAsk& ask, AceReporter* rep) const;
  int recall_lines(const MultiAsk& ask, TeraResult* result, AceReporter* rep) const;
  int recall_lines(TeraQuery* query, TeraResult* result, bool ends, AceReporter* rep) const;
  int recall_exact(TeraMultiEval* eval, TeraResult* result, AceReporter* rep) const;

  VInt read_payload(AceFile* file);
  int read_lines(AceFile* file);
  int read_lists(AceFile* file);
  const char* check_head() const;
  int refuse(const char* reason) const;

  AceAttach memAt;
  std::unique_ptr<TeraEdit> editStruct;
  std::unique_ptr<TeraAuto> autoStruct;
  int optionFlags = 0;
  char sepChar = ' ';
  char unmappedChar = '\0';
  int numWords = 0;
  Large numRecords = 0;
  int maxWords = 0;
  int maxLine = 0;
  HuffmanTree wordComp;
  HuffmanTree sizeComp;
  TeraIndex stringArray;
  int offsetBits = 1;
  VInt compSize = 0;
  const Token* compHeap = nullptr;
  int numStart = 0;
  const VInt* compStart = nullptr;
  std::unique_ptr<AceIdMap> infoHandle;
  std::unique_ptr<AceIdMap> singleInfo;
  std::unique_ptr<AceIdMap> fastSingle;
  int addLen = 0;
  Token addMap[256] = {};
  std::string addSeps;
  const Small* tokenLengths = nullptr;
  int fileMapped = 0;
  std::vector<Token> ownHeap;  // the arrays, unless they were read
  std::vector<VInt> ownStart;
  std::vector<Small> ownLengths;
  std::unique_ptr<MultiRules> splitRules;
  std::unique_ptr<MultiScratchPool> scratchPool;
  std::unique_ptr<MultiAbbreviations> abbreviations;
};

/// For the registry of persistent objects: a `TeraMulti` from the file, or null; and an empty one.
SORV_API AceWrap* TeraMultifactory(AceFile* file);
SORV_API AceWrap* TeraMultifactoryCreate();
