/// Error-tolerant word index: the entries that resemble a query word, among tens of millions.
///
///     TeraEdit edit;
///     edit.make(&reader, &map, 5, 1, 0, 0, rep, nullptr);
///     edit.dump("words.edit", rep);
///     ...
///     TeraResult result("meier", 191, 100, 255, nullptr);
///     edit.recall(&result, TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, rep);
///
/// An entry is a distinct string; it has the attribute numbers of all lines with that string, and a slot,
/// which is the number that recall reports. Slots are ordered by the number of positions, and within a length
/// by the strings, or as `filter_refine` finds best. Each length's slots are filled up to a multiple of 64 by
/// padding slots (without COMPACT); entries without positions are in group 0.
///
/// Without a filter, the index has a bit matrix (tera_bit_matrix.h) of all entries, and recall looks at all
/// of those whose length allows the quality asked for, 64 to 512 in one step. With a filter of f, it has a
/// coarse matrix (tera_filter.h) of groups of 2^f entries, looks at these, and then at the entries of the
/// groups that are left, which it reads from the strings; so a filtered index has the matrix of all entries
/// only where it has no strings. The filter is faster where few entries are similar, the full matrix in modes
/// that find many. What recall needs of a saved index is decoded when it is first needed, once, and shared by
/// all recalls.
///
/// With REVERSE the entries' positions are stored backwards, which puts entries with the same end next to
/// each other; recall gives the same answers.
///
/// Payload of `save` ("EDITC"): docs/formats.md.
///
/// Errors: negative results, explained on the reporter given, or on the default reporter; -1 for a null
/// argument that an operation needs (reporters may be null). Memory exhaustion throws `std::bad_alloc`.
/// Thread safety: an index is built or read by one thread; then any number may recall at once, each with a
/// result of its own.
#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_wrap.h"
#include "tera/tera_alias_map.h"
#include "tera/tera_big_tree.h"
#include "tera/tera_bit_matrix.h"
#include "tera/tera_eval.h"
#include "tera/tera_filter.h"
#include "tera/tera_index.h"
#include "tera/tera_map.h"

class AceReporter;
class EditBudget;
class EditStore;
class TeraAliasReader;
class TeraQuery;
class TeraReader;
class TeraResult;
class TeraScanGraph;
class TeraSplitResult;
class TeraTransform;
struct EditAsk;
struct EditScratch;

/// Codes of recalls that find nothing.
struct EditRecall {
  static constexpr int NO_ENTRIES = 0;
  static constexpr int GENERAL_ERROR = -1;
  static constexpr int NO_QUERY = -2;
  static constexpr int UNALIGED_MODEL = -4;
};

class SORV_API TeraEdit : public AceWrap, public TeraBitMatrix {
 public:
  /// Options of `make` and features, as they are saved.
  enum Feature : int {
    NO_STRINGS = 1,       ///< do not keep the strings
    COMPACT = 2,          ///< no padding between the lengths; ignored with a filter
    ALLOW_ALT = 4,        ///< entries may contain operators: alternatives and wildcards
    REVERSE = 8,          ///< store the entries' positions backwards
    HAS_DATA = 32,        ///< there are attribute numbers
    HAS_STRINGS = 64,     ///< there are strings and sorted entries
    HAS_ALIASES = 128,    ///< there is an alias map
    HAS_PHONETICS = 256,  ///< there is a phonetic coding, and an index of the entries' codes
  };
  enum FeatureBit : int {
    BIT_NO_STRINGS = 0,
    BIT_COMPACT = 1,
    BIT_ALLOW_ALT = 2,
    BIT_REVERSE = 3,
    BIT_HAS_DATA = 5,
    BIT_HAS_STRINGS = 6,
    BIT_HAS_ALIASES = 7,
    BIT_HAS_PHONETICS = 8,
  };
  static constexpr int BUILD_OPTIONS = NO_STRINGS | COMPACT | ALLOW_ALT | REVERSE;
  /// A further option of a build: columns are saved as they are, not coded. First answers take three quarters
  /// of the time, and at filter 5 the file grows by 2 per cent; without a filter it grows several times. What
  /// is found, and later answers, are the same.
  static constexpr int PLAIN_COLUMNS = 1 << 9;
  static constexpr int MAX_FILTER = 6;
  /// Positions of an entry: a column takes as much memory for a single entry of a length as for 512.
  static constexpr int MAX_POSITIONS = 4096;
  /// Runs of words that `scan` looks up: as long as the longest entry, within these bounds.
  static constexpr int MIN_SCAN_WORDS = 5;
  static constexpr int MAX_SCAN_WORDS = 32;

  /// How `filter_refine` orders entries: each step works on the result of those before.
  enum Cluster : int {
    USE_GREEDY_CLUSTER = 1,  ///< each next entry is the most similar one of those nearby
    USE_CONT_CLUSTER = 2,    ///< whole groups are put next to the most similar ones
    USE_FINE_CLUSTER = 4,    ///< entries of neighbouring groups are exchanged while that makes them sparser
    FULL_CLUSTER = 7,
  };

  /// Options of `recall`; the low five bits are also options of the query word (tera_standard_query.h).
  enum Option : int {
    NO_OPERATORS = 1,  ///< the query has no operators
    TRANSPOSE = 2,     ///< two neighbours in the wrong order are one error
    NO_ALIASES = 4,    ///< do not add aliases
    NO_RESOLVE = 8,    ///< candidates keep their slots as entry numbers
    USE_SEGMENT = 32,  ///< `segment` in place of word recall
    NO_TEXTS = 64,     ///< candidates get no strings, for those who only ask for numbers
  };
  static constexpr int BIT_USE_SEGMENT = 5;

  /// The string of an entry, which may be made in `at`; null when there is none.
  using GetString = TeraAliasMap::GetString;

  TeraEdit();
  /// As `init`.
  TeraEdit(const TeraMap* map, TeraTransform* phonetics);
  ~TeraEdit() override;

  // Building, in place of what there was.

  /// An index without entries for a copy of the map and, if not null, a copy of the transform. Returns 0 or
  /// -1.
  int init(const TeraMap* map, TeraTransform* phonetics);
  /// Builds from the entries that a reader has left, with the phonetic coding of `init`. A null map stands
  /// for the index's own. `filter` is f, 0 to 6; `fine` the refinement: 0 leaves the order of the strings,
  /// else entries move by at most `fine` groups; `options` the first four features, and PLAIN_COLUMNS. Of the
  /// strings of `aliases`, which may be null, those that are no entries yet become entries without
  /// attributes, and each string is an alias of those it makes pairs with, with the least penalty of the two;
  /// a string stands for all entries that have its tokens. The sixth argument is unused.
  ///
  /// An entry that cannot be tokenised (with ALLOW_ALT: an alternative that is not closed), and one of more
  /// than MAX_POSITIONS positions, is left out, with a warning. Returns 0, or -1.
  int make(TeraReader* reader, const TeraMap* map, int filter, int fine, int options, int unused,
           AceReporter* rep, TeraAliasReader* aliases);
  /// Builds from distinct strings. Without lists (all null) there are no attribute numbers.
  int make(ListTree* tree, const TeraMap* map, int filter, int fine, int options, AceReporter* rep);

  // The steps of `make`, for builders that have their entries in arrays. A histogram has the number of
  // entries of each length, from 0 to the longest.

  /// Lays the slots of a histogram out in place of all entries, and stores the first slot of each length in
  /// it. Returns the number of slots, or -1.
  int align_sums(int* histogram, int num_lengths, int filter, int options);
  /// Number of filter slots for a histogram; makes the filter, without bits.
  int filter_prepare(int* histogram, int filter);
  /// Orders the entries of each length: moves the strings and token strings, both by slot, null in padding
  /// slots. Returns the number of entries that moved. `fine` as above, `flags` of `Cluster`.
  int filter_refine(const char** strings, const Token** tokens, int fine, int flags, AceReporter* rep);
  /// Makes the bit matrix, and with a filter its own, from token strings by slot, null in padding slots; then
  /// recall works. Returns 0 or -1.
  int fill_bits(const Token** tokens);
  /// Enters an entry into the matrix under construction. -1 for an alternative that is not closed, a token
  /// without a column, a slot of another length, and in an index that is finished or mapped.
  int enter(const Token* tokens, int slot);

  /// Becomes empty.
  void clean();
  /// Drops what is decoded, and the phonetic companion.
  void clean_sim();
  void clean_phone();

  // Recall (tera_edit_recall.cpp). Candidates carry their slots as entry numbers, and their strings where the
  // index has them; then aliases are added and slots turned into attribute numbers, as the options say.
  // All return the number of candidates of the result, or a negative code of `EditRecall`.

  /// The entries that reach the result's least quality with its query, in a mode and by a model. `len_min`
  /// and `len_max` bound the entries' lengths in positions (0: no bound). `percent` is the weight of the
  /// plain quality against the phonetic one in an index with phonetic coding; 100 leaves the phonetic recall
  /// out.
  ///
  /// Entries without a single match are no candidates, whatever the model gives them, nor are entries without
  /// positions. The measures are those of tera_standard_query.h, except that FRONT, BACK and MID are PREFIX,
  /// SUFFIX and FACTOR for entries shorter than the query and EXTEND, CLOSE and COVER for others; that CLOSE
  /// looks at the last (3m + 1) / 2 positions only; and that SUFFIX is free at the entry's start with and
  /// without transpositions. -1, reported, for a query of more than 1024 positions, unless it is answered by
  /// `exact`.
  ///
  /// A query that would take too long, or too much memory, is refused with -1, reported: so that whatever a
  /// user types is answered within 50 ms on 700,000 words, or not (edit/edit_budget_internal.h has the bounds
  /// and the tunables that move them). The result then has what was found before, and is marked unreliable.
  int recall(TeraResult* result, TeraEval::Mode mode, TeraEval::Model model, int len_min, int len_max,
             int options, int percent, AceReporter* rep) const;
  int recall(TeraResult* result, TeraEval::Mode mode, TeraEval::Model model, AceReporter* rep) const {
    return recall(result, mode, model, 0, 0, 0, 50, rep);
  }
  /// Whether recalls in that mode measure as `TeraStandardQuery` does.
  static bool is_measured_alike(TeraEval::Mode mode) {
    return mode != TeraEval::FRONT && mode != TeraEval::BACK && mode != TeraEval::MID &&
           mode != TeraEval::CLOSE;
  }
  /// The entries with the tokens of `query`, operators off, by binary search; without strings from the
  /// matrix, where -1 is for more than 1024 positions.
  int exact(TeraResult* result, const Token* query, int options) const;
  /// The entries that a pattern matches, with quality 255. -1, reported, for a pattern of more than 128
  /// positions.
  int wildcard(TeraResult* result, const Token* query, int options) const;
  /// The entries that resemble one of the segments of the query, between word separators (token 253, unless
  /// options read it without operators); the best one counts. -4, reported, for EXACT, SUBWORD and SCAN.
  int segment(TeraResult* result, TeraEval::Mode mode, TeraEval::Model model, int len_min, int len_max,
              int options) const;
  /// Scan recall (tera_edit_scan.cpp): recalls the spans of a text, in LEVENSHTEIN mode, into the graph's
  /// edge from the span's first node to its last, of the default origin, options 0 and state 0; edges that
  /// are there already are filled. The spans are all words, the whole text, and all runs of as many adjacent
  /// words as the longest entry has (at least MIN_SCAN_WORDS, at most MAX_SCAN_WORDS), in `full_scan` of any
  /// number; but no runs with more positions than an entry can answer with the
  /// graph's minimum, or than recall takes. `split` is that of the graph's query from which its nodes were
  /// made; a graph without nodes gets them. A null one stands for the words between blanks, as does
  /// `scan_sep`, where words also end at the bytes of `separators`. `percent` and `options` as for `recall`;
  /// a span with an alternative that is not closed is read without operators. Returns the number of spans; or
  /// -1, also where all spans together take more than one recall may.
  int scan(TeraScanGraph* graph, TeraEval::Model model, int options, TeraSplitResult* split, int percent,
           AceReporter* rep) const;
  int scan_sep(TeraScanGraph* graph, TeraEval::Model model, int options, const char* separators, int percent,
               AceReporter* rep) const;
  int full_scan(TeraScanGraph* graph, TeraEval::Model model, int options, TeraSplitResult* split, int percent,
                AceReporter* rep) const;
  /// Adds to a result, ordered or not, the aliases of its candidates; and turns its entry numbers into
  /// attribute numbers. Return the number of candidates, or -1.
  int add_aliases(TeraResult* result, int options) const;
  int resolve(TeraResult* result) const;
  /// A new query, which compares as `recall` does: mixed with the phonetic one where there are codes.
  TeraQuery* get_query(const char* query, TeraEval::Mode mode, TeraEval::Model model, int options,
                       int percent) const;
  /// 1 when the slot's entry has the tokens of the string, operators off; without strings, as far as the
  /// matrix tells.
  int is_equiv(const char* string, Large slot) const;

  // Access. What is returned belongs to the index.

  Large get_num_entries() const { return numEntry; }
  using TeraBitMatrix::get_max_length;
  int get_features() const { return editFeatures; }
  int get_filter_log() const { return filterLog; }
  bool is_aligned() const { return alignMode != 0; }
  const AceIdMap* get_info_handle() const { return infoHandle.get(); }
  const TeraAliasMap* get_alias_map() const { return aliasMap.get(); }
  const TeraIndex* get_string_handle() const { return stringHandle.get(); }
  const TeraFilter* get_filter() const { return filterEdit.get(); }
  /// The heap of the strings; null without.
  const char* get_string_heap() const;
  const TeraMap* get_tera_map() const { return &mapConfig; }
  /// The map of the phonetic companion; null without.
  const TeraMap* get_phone_map() const;
  const TeraTransform* get_phonetics() const { return phoneCoding.get(); }
  const TeraEdit* get_phone_edit() const { return phoneEdit.get(); }
  /// Copies the map. Returns 0 or -1.
  int get_map_config(TeraMap* map) const;
  /// The string of a slot; null without strings and for no slot. The same by both names.
  const char* get_string(Large id, AceAttach* at) const;
  const char* get_entry(Large slot, AceAttach* at) const;
  /// `get_string` as a function, for as long as the index is there.
  GetString get_string_hook() const;
  /// The number of positions of a slot's entry.
  int get_length(Large slot) const;
  /// Whether the phonetic coding may be used by several threads at once.
  int is_parallelizable() const;

  // Output.

  /// Writes every entry that is not empty as an entry line: in mode 0 one for each of its attribute numbers,
  /// in mode 1 one with the first, else one with its slot. Returns the number of lines, or -1.
  int write(const char* filename, int mode) const;
  /// Writes for each filter slot its entries, one line per slot, with tabs between. Returns the number of
  /// lines, or -1 without filter or strings.
  int write_filter(const char* filename) const;
  /// `write` for the phonetic companion; -1 without.
  int write_phonetic(const char* filename, int mode) const;
  void print(AceReporter* rep) const;
  /// How dense the columns are, how they are coded, and their sizes.
  void stats(AceReporter* rep) const;

  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;

 private:
  friend class EditStore;

  // Building (tera_edit_build.cpp).
  struct Entries;
  void clean_entries();
  int make_entries(Entries* entries, const TeraMap* map, int filter, int fine, int options, AceReporter* rep);
  int make_from(Entries* entries, int filter, int fine, int options, AceReporter* rep);
  int fill_filter(const Token** tokens);
  int set_bits(TeraBitMatrix* matrix, const Token* tokens, int slot);
  int make_strings(const std::vector<const char*>& strings, AceReporter* rep);
  std::vector<Large> cluster_entries(const Token* const* tokens, int fine, int flags, AceReporter* rep) const;
  void sort_entries();
  int make_info(const Entries& entries, AceReporter* rep);
  int make_aliases(const Entries& entries, AceReporter* rep);
  int make_phonetics(const std::vector<const char*>& strings, AceReporter* rep);

  // Recall (edit/edit_request_internal.h). Each returns a number of candidates, or a negative code.
  struct Request;
  struct Prepared;
  int recall(Request* request) const;
  int prepare(Request* request, Prepared* out) const;
  int look(const Prepared& prepared, Request* request) const;
  int look_and_listen(const EditAsk& ask, EditScratch* scratch, Request* request) const;
  void add_texts(TeraResult* result, int options) const;
  int complete(const Request& request) const;
  int find_exact(const Token* tokens, Request* request) const;
  int find_exact_bits(const Token* tokens, Request* request) const;
  int find_pattern(EditScratch* scratch, Request* request) const;
  int find_segments(Request* request) const;
  int add_phonetic(int min_value, Request* request) const;
  int finish(TeraResult* result, int options) const;
  int longest_run() const;
  int scan_runs(TeraScanGraph* graph, TeraEval::Model model, int options, const TeraSplitResult& split,
                int percent, int max_words, AceReporter* rep) const;

  // Persistence.
  int save_parts(AceFile* file);
  VInt read_payload(AceFile* file);
  int read_parts(AceFile* file);
  VInt read_companion(AceFile* file);
  const char* check_head(int sections) const;
  bool are_strings_long() const;
  std::vector<int> slots_of_lengths() const;
  int refuse(const char* reason) const;

  TeraMap mapConfig;
  int editFeatures = 0;
  Large numEntry = 0;  ///< slots
  std::unique_ptr<TeraIndex> stringHandle;
  const Large* sortedEntries = nullptr;  ///< slots in the order of their tokens
  int alignMode = 0;
  int filterLog = 0;
  std::unique_ptr<TeraFilter> filterEdit;
  std::unique_ptr<AceIdMap> infoHandle;
  std::unique_ptr<TeraAliasMap> aliasMap;
  std::unique_ptr<TeraTransform> phoneCoding;
  std::unique_ptr<TeraEdit> phoneEdit;  ///< entries: codes; attribute numbers: slots of this index
  int fileMapped = 0;
  bool isCompanion = false;
  bool staysPlain = false;       ///< the columns that are built next
  std::vector<Large> ownSorted;  // sortedEntries, unless they were read
  AceAttach memAt;               // and when they were read from a stream
  std::unique_ptr<EditStore> editStore;
};

/// For the registry of persistent objects: a `TeraEdit` from the file, or null; and an empty one.
SORV_API AceWrap* TeraEditfactory(AceFile* file);
SORV_API AceWrap* TeraEditfactoryCreate();
