#include "dime/date/dime_date_transformation_internal.h"

#include <algorithm>
#include <cstring>

#include "tera/tera_scan_graph.h"
#include "tera/tera_splitter.h"

namespace {

/// Words of the longest date.
constexpr int MAX_WORDS = 3;
/// What separates words beside blanks.
constexpr const char* SIGNS = "!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~";

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

/// Whether a word of the text ends with a year: with four digits.
bool ends_with_year(const char* text, int end) {
  int count = 0;
  while (count < end && is_digit(text[end - 1 - count])) ++count;
  return count == 4;
}

/// Whether what is read from a run is not part of a longer number, which goes on behind one of . / - : none
/// does behind the point of a year, or (`is_first`: no date ended there) in front.
bool stands_alone(const char* text, int from, int to, bool is_first) {
  const auto joins = [text](int sign, int beyond) {
    return std::strchr("./-", text[sign]) != nullptr && text[sign] != '\0' && is_digit(text[beyond]);
  };
  if (is_first && from > 1 && joins(from - 1, from - 2)) return false;
  if (text[to] == '\0' || !joins(to, to + 1)) return true;
  return text[to] != '.' && ends_with_year(text, to);
}

}  // namespace

int DimeDateTransformation::detect(TeraScanGraph* graph, std::vector<Found>* found) const {
  const char* const text = graph->get_orig_query();
  const TeraSplitResult split(text, TeraSplitter::BLANKS | TeraSplitter::NO_OPERATORS, nullptr, SIGNS,
                              nullptr);
  if (split.numNodes == 0) return -1;
  graph->init(&split, TeraScanGraph::NO_ORIGIN, 0);
  int behindDate = -1;  // the node where the last date ended
  for (int from = 0; from + 1 < split.numNodes;) {
    const int begin = split.nodePos[from].litIn;
    int to = std::min(from + MAX_WORDS, split.numNodes - 1);
    std::string part;
    for (; to > from; --to) {
      const int end = split.nodePos[to].litOut;
      part.assign(text + begin, text + end);
      if (stands_alone(text, begin, end, from != behindDate) &&
          DimeDateText::read_date(part.c_str(), dateFormat, monthFinder) != DimeDateText::NO_DATE)
        break;
    }
    if (to > from) {
      found->push_back({from, to, part});
      behindDate = to;
    }
    from = std::max(to, from + 1);
  }
  return static_cast<int>(found->size());
}
