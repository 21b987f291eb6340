/// Names that other languages use for nested classes, and small steps between lists and indexes of words.
#pragma once

#include "seam/seam_kernel.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_teaser.h"

class TeraAuto;
class TeraIndex;
class TeraMap;
class TeraMulti;
class TeraWord;

using TeraScanNode = TeraScanGraph::Node;
using TeraScanEdge = TeraScanGraph::Edge;
using DastTeaser = TeraTeaser;

/// A graph over a text, which it copies, with one reference.
SORV_API TeraScanGraph* seam_new_graph(const char* query, int min_value, int num_cands, int max_dist);
/// The strings of all entries, as far as a list can be long.
SORV_API SeamTexts seam_entries(const TeraIndex* index, AceAttach* at);
/// The texts of all entries that begin with a text, at most `max`.
SORV_API SeamTexts seam_completions(const TeraAuto* index, const char* beginning, int max, AceAttach* at);
/// How an entry was found: the text in front, the matched part, the text behind, and the steps
/// (tera_word_result.h). A count of -1 where there is no word.
SORV_API SeamTexts seam_localize(const TeraWord* word, const char* entry, TeraEval::Model model, int options,
                                 AceAttach* at);
/// Builds an index of lines from a list; the attribute of a line is its place in it. Returns what the index
/// says.
SORV_API int seam_make_multi(TeraMulti* index, const char* const* lines, int num_lines, const TeraMap* map,
                             char sep, int options, AceReporter* rep);
