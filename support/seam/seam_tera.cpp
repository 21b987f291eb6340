#include "seam/seam_tera.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "tera/tera_auto.h"
#include "tera/tera_index.h"
#include "tera/tera_multi.h"
#include "tera/tera_word.h"
#include "tera/tera_word_result.h"
#include "tera/tera_words_reader.h"

TeraScanGraph* seam_new_graph(const char* query, int min_value, int num_cands, int max_dist) {
  auto* const graph =
      new TeraScanGraph(TeraScanGraph::CHAR_POSITIONS, query, min_value, num_cands, max_dist, 0);
  graph->incr_ref();
  graph->keep_query();
  return graph;
}

SeamTexts seam_entries(const TeraIndex* index, AceAttach* at) {
  const auto count = std::min<VInt>(index->get_size(), std::numeric_limits<int>::max());
  const char** texts = nullptr;
  at->malloc(texts, count);
  for (VInt i = 0; i < count; ++i) texts[i] = index->get_line(static_cast<Large>(i), at);
  return {texts, static_cast<int>(count)};
}

SeamTexts seam_completions(const TeraAuto* index, const char* beginning, int max, AceAttach* at) {
  if (max < 0) return {nullptr, -1};
  char** texts = nullptr;
  at->malloc(texts, max);
  const int count = index->complete(beginning, max, texts, at);
  return {texts, count};
}

SeamTexts seam_localize(const TeraWord* word, const char* entry, TeraEval::Model model, int options,
                        AceAttach* at) {
  TeraWordResult found;
  if (word->localize(entry, TeraEval::get_model_func(model, 0), options, &found) < 0) return {nullptr, -1};
  std::vector<const char*> texts;
  for (const char* text : {found.inputPrefix, found.inputMatch, found.inputSuffix, found.editSeq})
    texts.push_back(at->attach(text != nullptr ? text : ""));
  return seam_texts(texts, at);
}

int seam_make_multi(TeraMulti* index, const char* const* lines, int num_lines, const TeraMap* map, char sep,
                    int options, AceReporter* rep) {
  constexpr int FILTER = 5;
  constexpr int ALL = 100;  // lines are sorted in memory, and no word is too frequent, in percent
  SeamStringReader strings(num_lines, lines);
  WordsReader reader(&strings, nullptr);
  return index->make_reader(&reader, map, sep, FILTER, 1, options, nullptr, 0, ALL, ALL, nullptr, nullptr,
                            nullptr, rep, 0);
}
