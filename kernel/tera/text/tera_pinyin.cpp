#include "tera/tera_pinyin.h"

#include <cstring>

#include "ace/ace_attach.h"

namespace {

struct Digraph {
  char letters[3];
  char symbol;
};

constexpr Digraph DIGRAPHS[] = {{"ao", '^'}, {"ch", '}'}, {"ia", '\\'}, {"io", '<'},
                                {"ng", '~'}, {"sh", '{'}, {"ua", '#'},  {"zh", '>'}};

const Digraph* digraph_at(const char* text) {
  for (const Digraph& digraph : DIGRAPHS)
    if (text[0] == digraph.letters[0] && text[1] == digraph.letters[1]) return &digraph;
  return nullptr;
}

const Digraph* digraph_of(char symbol) {
  for (const Digraph& digraph : DIGRAPHS)
    if (symbol == digraph.symbol) return &digraph;
  return nullptr;
}

}  // namespace

char* tera_norm_pinyin(const char* text, AceAttach* at) {
  if (text == nullptr) return nullptr;
  char* result = nullptr;
  char* out = at->malloc(result, static_cast<long>(std::strlen(text)) + 1);
  while (*text != 0) {
    const Digraph* digraph = digraph_at(text);
    *out++ = digraph != nullptr ? digraph->symbol : *text;
    text += digraph != nullptr ? 2 : 1;
  }
  *out = 0;
  return result;
}

char* tera_reverse_norm_pinyin(const char* text, AceAttach* at) {
  if (text == nullptr) return nullptr;
  char* result = nullptr;
  char* out = at->malloc(result, 2 * static_cast<long>(std::strlen(text)) + 1);
  for (; *text != 0; ++text) {
    if (const Digraph* digraph = digraph_of(*text)) {
      *out++ = digraph->letters[0];
      *out++ = digraph->letters[1];
    } else {
      *out++ = *text;
    }
  }
  *out = 0;
  return result;
}
