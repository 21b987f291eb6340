#include "tera/tera_string_trie.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr const char* SEPARATORS = " \t\r\n|";
constexpr Large ROOT = 0;
constexpr Large NONE = 0;  // the root is below nothing

}  // namespace

StringTrie::StringTrie(const char* words) : nodes(1) {
  const std::string_view text(words != nullptr ? words : "");
  for (std::size_t start = 0; (start = text.find_first_not_of(SEPARATORS, start)) != text.npos;) {
    const std::size_t end = std::min(text.find_first_of(SEPARATORS, start), text.size());
    Large node = ROOT;
    for (const char c : text.substr(start, end - start)) {
      Large below = find_below(node, c);
      if (below == NONE) {
        below = static_cast<Large>(nodes.size());
        nodes.push_back({c, false, NONE, nodes[node].firstBelow});
        nodes[node].firstBelow = below;
      }
      node = below;
    }
    nodes[node].isEnd = true;
    start = end;
  }
}

Large StringTrie::find_below(Large node, char character) const {
  Large below = nodes[node].firstBelow;
  while (below != NONE && nodes[below].character != character) below = nodes[below].nextBeside;
  return below;
}

/// Where the string leads to from a node; -1 when it leads nowhere.
VInt StringTrie::walk(Large node, const char* string) const {
  for (; *string != '\0'; ++string) {
    node = find_below(node, *string);
    if (node == NONE) return -1;
  }
  return node;
}

bool StringTrie::is_prefix(const char* string) const {
  return string != nullptr && nodes.size() > 1 && walk(ROOT, string) >= 0;
}

bool StringTrie::is_exact(const char* string) const {
  const VInt node = string != nullptr ? walk(ROOT, string) : -1;
  return node >= 0 && nodes[static_cast<std::size_t>(node)].isEnd;
}

bool StringTrie::is_part(const char* string) const {
  if (string == nullptr || nodes.size() == 1) return false;
  for (Large node = ROOT; node < nodes.size(); ++node)
    if (walk(node, string) >= 0) return true;
  return false;
}

bool StringTrie::is_extension(const char* string) const {
  if (string == nullptr) return false;
  Large node = ROOT;
  for (; *string != '\0'; ++string) {
    node = find_below(node, *string);
    if (node == NONE) return false;
    if (nodes[node].isEnd) return true;
  }
  return false;
}
