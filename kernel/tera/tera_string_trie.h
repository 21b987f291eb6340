/// A set of words as a trie of characters, for asking how a string relates to them.
///
/// Memory is linear in the characters of the words; questions about prefixes take time linear in the string,
/// `is_part` in the trie.
/// Thread safety: constant once made.
#pragma once

#include <vector>

#include "ace/ace_types.h"

class SORV_API StringTrie {
 public:
  /// `words`: separated by white space or "|"; null and empty texts give a trie without words.
  explicit StringTrie(const char* words);

  // All are false for null. The empty string is a prefix and a part of any word, and no word.

  /// A word starts with the string.
  bool is_prefix(const char* string) const;
  /// The string is a word.
  bool is_exact(const char* string) const;
  /// A word contains the string.
  bool is_part(const char* string) const;
  /// The string starts with a word.
  bool is_extension(const char* string) const;

 private:
  /// A character, in the list of those that continue the same beginning.
  struct Node {
    char character = '\0';
    bool isEnd = false;    // a word ends here
    Large firstBelow = 0;  // the continuations; 0 for none
    Large nextBeside = 0;  // the list goes on; 0 at its end
  };

  Large find_below(Large node, char character) const;
  VInt walk(Large node, const char* string) const;

  std::vector<Node> nodes;  // the root first; it is in no list
};
