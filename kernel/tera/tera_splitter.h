/// Splitting a query text into words, and the nodes between them.
///
///     TeraSplitResult split("Karl - Maria", TeraSplitter::BLANKS, map, "-", nullptr);
///
///     text           K a r l _ - _ M a r i a
///     positions      0 1 2 3       4 5 6 7 8 9      "-" and the blanks have no tokens here
///     nodes          0       1     1         2
///                    ^   litOut   litIn   ^ both
///
/// A word is what lies between separators and has at least one position; runs of separators, and what between
/// them has no position, are one node. So n words give n + 1 nodes, and a text without words gives one.
/// Positions are those of `TeraScan::alt_len`: an alternative is one, whatever it is made of, and the
/// operators that match runs of tokens have none. A separator may be a token of the map; its position lies in
/// the node.
///
/// Limits: texts of up to `TeraSplitResult::MAX_LENGTH` bytes and as many positions.
/// Errors: explained on the default reporter; memory exhaustion throws `std::bad_alloc`.
/// Thread safety: any number of threads may use one splitter; a result belongs to one thread at a time.
/// Cost: linear in the text.
#pragma once

#include "ace/ace_attach.h"
#include "tera/tera_map.h"

class AceReporter;
class TeraScan;

/// A text that has been split. Null pointers and 0 nodes until then.
class SORV_API TeraSplitResult : public AceAttach {
 public:
  /// Where a node lies: the word before it ends at `Out`, the word behind it starts at `In`; the same where
  /// there is nothing between. `tok` counts positions, `lit` bytes of the text. Out is 0 in the first node,
  /// In the end of the text in the last one.
  struct NodePos {
    short tokOut;
    short tokIn;
    short litOut;
    short litIn;
    bool operator==(const NodePos&) const = default;
  };
  /// Bits of the marks of positions.
  enum Mark : Token {
    BOUNDARY = 1,   ///< a word starts here, or the text ends
    SEPARATOR = 2,  ///< the position separates words itself
    COMPLETE = 4,   ///< what is before may be completed
  };
  static constexpr int MAX_LENGTH = 32767;

  /// Not split.
  TeraSplitResult() = default;
  /// Not split yet: see `TeraSplitter::convert`. The text is copied; a null one counts as empty.
  explicit TeraSplitResult(const char* text);
  /// Splits. Not split when that fails.
  TeraSplitResult(const char* text, int options, const TeraMap* map, const char* separators,
                  const char* completions);

  /// Takes the tokens and positions of what the scanner has left of its text, which must be this result's;
  /// there are no nodes yet. Returns the number of positions; -1 for an alternative that is not closed, and
  /// beyond the limits.
  int init(TeraScan* scan);
  /// Becomes the split of the text read backwards: characters, positions and nodes in reverse order, the
  /// tokens of each position as they are. Returns the number of nodes; -1 when `other` was not split.
  int init_rev(const TeraSplitResult* other);
  /// Makes the nodes from the marks. The arrays have, for each position and the end, the byte where the word
  /// before ends and that where the word that starts here does; those of other positions are not looked at.
  /// Returns the number of nodes.
  int generate_nodes(const short* lit_out, const short* lit_in);
  /// Keeps the first and the last node, to which all positions then belong. Returns the number of nodes
  /// removed.
  int remove_inner_nodes();
  /// Makes one word of those around an inner node. Returns 0; -1 for what is no inner node.
  int remove_node_data(int node);

  /// The node of the first position from `pos` on that belongs to one; -1 for what is no position.
  int get_node_num(int pos) const;
  /// The text between two nodes, in `at`: from the word behind `from` to the one before `to`, without the
  /// separators around. Null unless `from` is before `to`.
  const char* get_lit_string(int from, int to, AceAttach* at) const;
  /// Stores an array of the words, all in `at`. Returns their number; -1 when nothing was split.
  int get_words(const char*** words, AceAttach* at) const;
  int print(AceReporter* rep) const;

  int litLen = 0;
  const char* litStr = nullptr;  ///< the text
  Token genMark = 0;             ///< of all positions together
  int tokLen = 0;
  Token* tokStr = nullptr;  ///< the tokens, and a 0
  int logLen = 0;           ///< positions
  // For each position, and for the end:
  Token** tokPos = nullptr;  ///< its token; operators without position stand between
  Token* tokMark = nullptr;
  short* nodeNum = nullptr;  ///< the node in which it lies, or at which its word ends; -1: removed
  int numNodes = 0;
  NodePos* nodePos = nullptr;  ///< per node

 private:
  friend class TeraSplitter;
  static constexpr short NO_NODE = -1;

  bool is_unicode() const { return splitMap != nullptr && splitMap->has_uni() != 0; }
  int read(TeraScan* scan, Token* work);
  void make_arrays(int positions);
  void clear_node(const NodePos& node);
  void collect_marks();
  void reverse_text(const TeraSplitResult& other);
  void reverse_tokens(const TeraSplitResult& other);
  void forget();

  const TeraMap* splitMap = nullptr;
  bool hasOperators = false;  // tokens from 250 on are operators
  short* charFrom = nullptr;  // per position and the end: the bytes of its characters
  short* charTo = nullptr;
};

class SORV_API TeraSplitter {
 public:
  using Result = TeraSplitResult;
  using NodePos = TeraSplitResult::NodePos;

  enum Option : int {
    NO_OPERATORS = 1,     ///< the text has no operators
    SPLIT_UNMAPPED = 16,  ///< characters without tokens separate words
    BLANKS = 32,          ///< blanks separate words
    COMPLETE_END = 128,   ///< the end of the text is a completion point
  };

  /// Tabs, line ends and the other white space from 9 to 13 separate words; so do the bytes of `separators`,
  /// and those of `completions`, which are completion points, too. Either may be null. For Unicode maps,
  /// bytes from 128 on are ignored. The map is kept by pointer; null stands for the identity map.
  TeraSplitter(const char* separators, const char* completions, const TeraMap* map, int options);

  /// Splits the text of a result that was made from one. A text with an alternative that is not closed is
  /// read without operators. `work` has room for four tokens per byte and one more, and receives the tokens;
  /// null: they lie in the result. Returns the number of nodes; -1 for a null result, and beyond the limits;
  /// the result is then not split.
  int convert(Result* result, Token* work) const;
  /// Number of bytes before the first separator, or before the end. A null text counts as empty.
  int get_next_sep_pos(const char* text) const;
  bool is_space(char c) const { return (mark_of(c) & SEPARATES) != 0; }
  bool is_complete(char c) const { return (mark_of(c) & COMPLETES) != 0; }

 private:
  enum CharMark : Token { SEPARATES = 1, COMPLETES = 4 };

  Token mark_of(char c) const { return charMark[static_cast<unsigned char>(c)]; }
  void add_marks(const char* bytes, Token marks);
  bool separates_unmapped(const Result& result, char c) const;
  void mark_positions(Result* result, short* lit_out, short* lit_in) const;

  Token charMark[256] = {};
  const TeraMap* convertMap;
  int optionFlags;
};
