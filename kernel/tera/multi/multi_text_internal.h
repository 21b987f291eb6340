/// Texts as the multi-word index sees them: words, their parts, and what counts as one word.
///
///     text     Baden-Baden Haupt Bahnhof         blank: sepChar, "-": an additional separator
///     atoms    0     1     2     3               the least pieces that have tokens
///     units    Baden-Baden [0,2)   Baden [0,1)   Baden [1,2)   Haupt [2,3)   Bahnhof [3,4)
///     joined   Baden-BadenHaupt [0,3)   HauptBahnhof [2,4)       where words may be joined
///
/// A word of several atoms is a unit, and so is each of its atoms. Its weight is the number of tokens of its
/// atoms.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "tera/tera_map.h"

/// How texts are split. The map is kept by pointer.
struct MultiRules {
  const TeraMap* map = nullptr;
  char sepChar = ' ';
  std::array<bool, 256> splits{};  ///< additional separators
  int minPart = 1;                 ///< parts of fewer tokens are no units of their own
  bool joins = false;              ///< two words side by side are also one
  bool operators = false;          ///< alternatives are one token

  void add_separators(const char* bytes);
  /// ASCII characters without token, too.
  void add_unmapped();
  int count_tokens(const char* text) const;
};

class MultiText {
 public:
  struct Atom {
    Large start;  ///< of its text
    int tokens;
  };
  struct Unit {
    Large start;  ///< of its text
    int length;   ///< of its text
    int first;    ///< its atoms are [first, last)
    int last;
    int tokens;
    int from;  ///< its bytes in the text are [from, to)
    int to;

    bool is_single() const { return last - first == 1; }
  };

  /// In place of what there was.
  void split(const char* text, const MultiRules& rules);
  /// So many words without texts, each an atom.
  void make_words(std::size_t count);

  const std::vector<Atom>& get_atoms() const { return atoms; }
  const std::vector<Unit>& get_units() const { return units; }
  /// Whether no other unit lies within this one.
  bool is_innermost(std::size_t unit) const;
  int num_atoms() const { return static_cast<int>(atoms.size()); }
  const char* atom_text(int atom) const {
    return buffer.data() + atoms[static_cast<std::size_t>(atom)].start;
  }
  /// Ends with a 0.
  const char* text_of(const Unit& unit) const { return buffer.data() + unit.start; }
  std::string_view view_of(const Unit& unit) const {
    return {text_of(unit), static_cast<std::size_t>(unit.length)};
  }
  /// Tokens of all atoms.
  int num_tokens() const { return numTokens; }

 private:
  struct Word {
    std::string_view text;
    int from;
    int first;
    int last;
    int tokens;
  };

  Large store(std::string_view first, std::string_view second = {});
  void add_word(std::string_view word, int from, const MultiRules& rules);
  void add_joined(const Word& first, const Word& second);

  std::string buffer;  // the texts of atoms and units, each with a 0
  std::vector<Atom> atoms;
  std::vector<Unit> units;
  int numTokens = 0;
  Word lastWord{};
};

/// Whether a word stands for longer ones: it ends with a dot or one of the markers, or is a single letter.
bool multi_is_abbreviation(std::string_view word, int tokens, const char* markers);
