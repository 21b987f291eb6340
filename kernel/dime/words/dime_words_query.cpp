// Qualities of values from those of the words of a text.
#include <algorithm>
#include <cstring>

#include "ace/ace_attach.h"
#include "dime/dime_words.h"
#include "tera/tera_scan.h"
#include "tera/tera_scan_graph.h"

WordsAmortizedQuery::WordsAmortizedQuery(const TeraScanGraph* graph, const TeraMulti* multi,
                                         TeraEval::Model model)
    : evalFunc(TeraEval::fine_model_func(TeraEval::get_model_func(model, 0))), multiStruct(multi) {
  const int words = std::max(graph->get_num_nodes() - 1, 0);
  wordWeights.assign(static_cast<std::size_t>(words), 0);
  TeraScan scan(multi->get_tera_map(), graph->get_orig_query(), true);
  int word = 0;
  while (scan.get_next_token() != 0) {
    while (word + 1 < words && scan.get_current_off() > graph->get_node(word + 1)->get_char_pos()) ++word;
    if (word < words) ++wordWeights[static_cast<std::size_t>(word)];
  }
}

int WordsAmortizedQuery::get_quality(const int* qualities, Large item, int divisor) const {
  const int length = TeraEval::FINE_UNIT * multiStruct->get_token_length(item);
  int total = 0;
  int score = 0;
  for (std::size_t i = 0; i < wordWeights.size() && divisor > 0; ++i) {
    if (qualities[i] <= 0) continue;
    total += TeraEval::FINE_UNIT * wordWeights[i];
    score += qualities[i] * wordWeights[i] / divisor;
  }
  const int quality = evalFunc(total, score, length);
  return quality > TeraEval::PERFECT ? TeraEval::PERFECT - 1 : std::max(quality, 0);
}
