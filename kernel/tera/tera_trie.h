/// Tries of mapped strings: a value per string, and the strings that a text goes on with.
///
/// Memory is linear in the tokens of the strings; a walk takes time linear in the tokens that it follows, and
/// in the number of different tokens at each step.
/// Thread safety: strings are entered by one thread; then any number may walk.
#pragma once

#include <vector>

#include "ace/ace_attach.h"
#include "tera/tera_map.h"
#include "tera/tera_scan.h"

template <class V>
class TeraTrie {
 public:
  /// The map is kept by pointer.
  explicit TeraTrie(const TeraMap* map) : mapConfig(map), nodes(1) {}

  /// The value of a string (operators off), which is made if it is new; null for a string without tokens, and
  /// for one of more than `max_tokens`. The pointer lasts until the next call.
  V* enter(const char* string, int max_tokens);
  int num_entries() const { return static_cast<int>(values.size()); }
  const TeraMap* get_map() const { return mapConfig; }

  /// Follows a text and calls `visit(value, end)` for each string with which it begins; `end` is behind the
  /// last character. A text that does not begin with a character that has a token begins with none.
  template <class Visit>
  void localize(const char* text, Visit visit) const;

 private:
  static constexpr int NO_VALUE = -1;
  /// A token, in the list of those that continue the same beginning; 0 ends a list.
  struct Node {
    Token token = 0;
    int value = NO_VALUE;
    Large firstBelow = 0;
    Large nextBeside = 0;
  };

  Large find_below(Large node, Token token) const {
    Large below = nodes[node].firstBelow;
    while (below != 0 && nodes[below].token != token) below = nodes[below].nextBeside;
    return below;
  }
  Large make_below(Large node, Token token) {
    nodes.push_back({token, NO_VALUE, 0, nodes[node].firstBelow});
    return nodes[node].firstBelow = static_cast<Large>(nodes.size() - 1);
  }

  const TeraMap* mapConfig;
  std::vector<Node> nodes;  // the root first
  std::vector<V> values;
};

template <class V>
V* TeraTrie<V>::enter(const char* string, int max_tokens) {
  AceAttach at;
  const Token* tokens = mapConfig->convert(string, true, &at);
  int length = 0;
  while (tokens[length] != 0) ++length;
  if (length == 0 || length > max_tokens) return nullptr;
  Large node = 0;
  for (int i = 0; i < length; ++i) {
    const Large below = find_below(node, tokens[i]);
    node = below != 0 ? below : make_below(node, tokens[i]);
  }
  if (nodes[node].value == NO_VALUE) {
    values.emplace_back();
    nodes[node].value = num_entries() - 1;
  }
  return &values[static_cast<std::size_t>(nodes[node].value)];
}

template <class V>
template <class Visit>
void TeraTrie<V>::localize(const char* text, Visit visit) const {
  TeraScan scan(mapConfig, text, true);
  if (scan.skip_no_token() != text) return;
  Large node = 0;
  while (const Token token = scan.get_next_token()) {
    node = find_below(node, token);
    if (node == 0) return;
    const int value = nodes[node].value;
    if (value != NO_VALUE && scan.is_char_finished())
      visit(values[static_cast<std::size_t>(value)], scan.get_current_pos());
  }
}
