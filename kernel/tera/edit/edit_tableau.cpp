#include "tera/edit_tableau.h"

#include <algorithm>

#include "tera/edit/edit_tableau_internal.h"
#include "tera/text/tera_token_walk_internal.h"

namespace {

struct WordColumns {
  VBit** module;
  int start;
  VBit at(int i, int j) const { return module[i][start + j]; }
};

// The loops with the form of a tableau.

using EditLoop = int(int m, int n, const WordColumns& columns, VBit* minus, VBit* plus);
using CountLoop = int(int m, int n, const WordColumns& columns, VBit* add);

template <EditLoop LOOP>
int along(int start, int size, int num_modules, VBit** module, VBit* cmc, VBit* cpc, VBit*, VBit*) {
  return LOOP(num_modules, size, WordColumns{module, start}, cmc, cpc);
}
template <CountLoop LOOP>
int counted(int start, int size, int num_modules, VBit** module, VBit* add, VBit*, VBit*, VBit*) {
  LOOP(num_modules, size, WordColumns{module, start}, add);
  return 0;
}
/// The one for queries that are longer than the entries, or the other one.
template <EditTableau LONGER, EditTableau OTHER>
int chosen(int start, int size, int num_modules, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  EditTableau* const tableau = num_modules > size ? LONGER : OTHER;
  return tableau(start, size, num_modules, module, cmc, cpc, rmc, rpc);
}
/// As the measure: the walk over the entry also for entries as long as the query.
template <EditTableau ENTRY_WALK, EditTableau QUERY_WALK>
int walked(int start, int size, int num_modules, VBit** module, VBit* add, VBit* cpc, VBit* rmc, VBit* rpc) {
  EditTableau* const tableau = size <= num_modules ? ENTRY_WALK : QUERY_WALK;
  return tableau(start, size, num_modules, module, add, cpc, rmc, rpc);
}
template <bool TRANSPOSE>
int both_sides(int start, int size, int num_modules, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc,
               VBit* rpc) {
  edit_lanes::edit_table<VBit, TRANSPOSE>(num_modules, size, WordColumns{module, start}, {false, false}, cmc,
                                          cpc, rmc, rpc);
  return -size;
}
int tokens_and_pairs(int start, int size, int num_modules, VBit** module, VBit* add, VBit* pairs, VBit*,
                     VBit*) {
  const WordColumns columns{module, start};
  edit_lanes::edit_sequence<VBit>(num_modules, size, columns, add);
  std::fill_n(pairs, num_modules, VBit{0});
  edit_lanes::pair_sequence<VBit>(num_modules, size, columns, pairs);
  return 0;
}

template <EditLoop LOOP>
int each_segment(int start, int size, VBit** module, int* control, VBit* minus, VBit* plus) {
  const int num = control[0];
  if (num < 0 || num > MAX_SEGMENT) return -1;
  for (int s = 0; s < num; ++s) {
    const int from = control[s + 1];
    LOOP(control[s + 2] - from, size, WordColumns{module + from, start}, minus + from, plus + from);
  }
  return num;
}
int down_last_column(int m, int n, const WordColumns& columns, VBit* minus, VBit* plus) {
  constexpr VBit* none = nullptr;
  edit_lanes::edit_table<VBit, false>(m, n, columns, {false, false}, minus, plus, none, none);
  return -n;
}

}  // namespace

// The tableaux by name.

int edit_distance(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return both_sides<false>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_distance_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc,
                        VBit* rpc) {
  return both_sides<true>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_leven(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return along<edit_lanes::edit_distance<VBit, false, WordColumns>>(start, size, m, module, cmc, cpc, rmc,
                                                                    rpc);
}
int edit_leven_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return along<edit_lanes::edit_distance<VBit, true, WordColumns>>(start, size, m, module, cmc, cpc, rmc,
                                                                   rpc);
}
int edit_prefix(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return along<edit_lanes::edit_prefix<VBit, false, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_prefix_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return along<edit_lanes::edit_prefix<VBit, true, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_suffix(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return along<edit_lanes::edit_suffix<VBit, false, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_suffix_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return along<edit_lanes::edit_suffix<VBit, true, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_factor(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return along<edit_lanes::edit_factor<VBit, false, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_factor_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return along<edit_lanes::edit_factor<VBit, true, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_cover(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return along<edit_lanes::edit_cover<VBit, false, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_cover_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return along<edit_lanes::edit_cover<VBit, true, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_close(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return along<edit_lanes::edit_close<VBit, false, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_close_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return along<edit_lanes::edit_close<VBit, true, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_extend(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return along<edit_lanes::edit_extend<VBit, false, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_extend_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return along<edit_lanes::edit_extend<VBit, true, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_front(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return chosen<along<edit_lanes::edit_prefix<VBit, false, WordColumns>>,
                along<edit_lanes::edit_extend<VBit, false, WordColumns>>>(start, size, m, module, cmc, cpc,
                                                                          rmc, rpc);
}
int edit_front_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return chosen<along<edit_lanes::edit_prefix<VBit, true, WordColumns>>,
                along<edit_lanes::edit_extend<VBit, true, WordColumns>>>(start, size, m, module, cmc, cpc,
                                                                         rmc, rpc);
}
int edit_back(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return chosen<along<edit_lanes::edit_suffix<VBit, false, WordColumns>>,
                along<edit_lanes::edit_close<VBit, false, WordColumns>>>(start, size, m, module, cmc, cpc,
                                                                         rmc, rpc);
}
int edit_back_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return chosen<along<edit_lanes::edit_suffix<VBit, true, WordColumns>>,
                along<edit_lanes::edit_close<VBit, true, WordColumns>>>(start, size, m, module, cmc, cpc, rmc,
                                                                        rpc);
}
int edit_mid(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return chosen<along<edit_lanes::edit_factor<VBit, false, WordColumns>>,
                along<edit_lanes::edit_cover<VBit, false, WordColumns>>>(start, size, m, module, cmc, cpc,
                                                                         rmc, rpc);
}
int edit_mid_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return chosen<along<edit_lanes::edit_factor<VBit, true, WordColumns>>,
                along<edit_lanes::edit_cover<VBit, true, WordColumns>>>(start, size, m, module, cmc, cpc, rmc,
                                                                        rpc);
}
int count_pos(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return counted<edit_lanes::count_pos<VBit, false, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int count_pos_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return counted<edit_lanes::count_pos<VBit, true, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_bigrams(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return counted<edit_lanes::edit_bigrams<VBit, false, WordColumns>>(start, size, m, module, cmc, cpc, rmc,
                                                                     rpc);
}
int edit_bigrams_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc,
                       VBit* rpc) {
  return counted<edit_lanes::edit_bigrams<VBit, true, WordColumns>>(start, size, m, module, cmc, cpc, rmc,
                                                                    rpc);
}
int edit_subset(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return counted<edit_lanes::query_walk<VBit, false, WordColumns>>(start, size, m, module, cmc, cpc, rmc,
                                                                   rpc);
}
int edit_subset_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return counted<edit_lanes::query_walk<VBit, true, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_superset(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return counted<edit_lanes::entry_walk<VBit, false, WordColumns>>(start, size, m, module, cmc, cpc, rmc,
                                                                   rpc);
}
int edit_superset_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc,
                        VBit* rpc) {
  return counted<edit_lanes::entry_walk<VBit, true, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_blockedit(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return walked<counted<edit_lanes::entry_walk<VBit, false, WordColumns>>,
                counted<edit_lanes::query_walk<VBit, false, WordColumns>>>(start, size, m, module, cmc, cpc,
                                                                           rmc, rpc);
}
int edit_blockedit_trans(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc,
                         VBit* rpc) {
  return walked<counted<edit_lanes::entry_walk<VBit, true, WordColumns>>,
                counted<edit_lanes::query_walk<VBit, true, WordColumns>>>(start, size, m, module, cmc, cpc,
                                                                          rmc, rpc);
}
int count_bipos(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return counted<edit_lanes::count_bipos<VBit, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_sequence(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return counted<edit_lanes::edit_sequence<VBit, WordColumns>>(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_bisequence(int start, int size, int m, VBit** module, VBit* cmc, VBit* cpc, VBit* rmc, VBit* rpc) {
  return tokens_and_pairs(start, size, m, module, cmc, cpc, rmc, rpc);
}
int edit_leven_segment(int start, int size, VBit** module, int* control, VBit* minus, VBit* plus) {
  return each_segment<down_last_column>(start, size, module, control, minus, plus);
}
int edit_prefix_segment(int start, int size, VBit** module, int* control, VBit* minus, VBit* plus) {
  return each_segment<edit_lanes::edit_prefix<VBit, false, WordColumns>>(start, size, module, control, minus,
                                                                         plus);
}
int edit_suffix_segment(int start, int size, VBit** module, int* control, VBit* minus, VBit* plus) {
  return each_segment<edit_lanes::edit_suffix<VBit, false, WordColumns>>(start, size, module, control, minus,
                                                                         plus);
}
int edit_factor_segment(int start, int size, VBit** module, int* control, VBit* minus, VBit* plus) {
  return each_segment<edit_lanes::edit_factor<VBit, false, WordColumns>>(start, size, module, control, minus,
                                                                         plus);
}

int select_edit_tableau(TeraEval::Mode mode, int options, EditTableau** func) {
  struct Choice {
    TeraEval::Mode mode;
    EditTableau* plain;
    EditTableau* transposed;
    int outputs;
  };
  static constexpr int TRANSPOSE = 2;
  static const Choice CHOICES[] = {
      {TeraEval::LEVENSHTEIN, edit_leven, edit_leven_trans, 4},
      {TeraEval::PREFIX, edit_prefix, edit_prefix_trans, 2},
      {TeraEval::SUFFIX, edit_suffix, edit_suffix_trans, 2},
      {TeraEval::FACTOR, edit_factor, edit_factor_trans, 2},
      {TeraEval::COVER, edit_cover, edit_cover_trans, 4},
      {TeraEval::CLOSE, edit_close, edit_close_trans, 4},
      {TeraEval::EXTEND, edit_extend, edit_extend_trans, 4},
      {TeraEval::POSITION, count_pos, count_pos_trans, 1},
      {TeraEval::BIPOS, count_bipos, count_bipos, 1},
      {TeraEval::SEQ, edit_sequence, edit_sequence, 1},
      {TeraEval::WILDCARD, edit_sequence, edit_sequence, 1},
      {TeraEval::BISEQ, edit_bisequence, edit_bisequence, 2},
      {TeraEval::FRONT, edit_front, edit_front_trans, 4},
      {TeraEval::BACK, edit_back, edit_back_trans, 4},
      {TeraEval::MID, edit_mid, edit_mid_trans, 4},
      {TeraEval::BIGRAMS, edit_bigrams, edit_bigrams_trans, 2},
      {TeraEval::SUBSET, edit_subset, edit_subset_trans, 4},
      {TeraEval::SUPERSET, edit_superset, edit_superset_trans, 4},
      {TeraEval::BLOCKEDIT, edit_blockedit, edit_blockedit_trans, 4},
  };
  for (const Choice& choice : CHOICES) {
    if (choice.mode != mode) continue;
    *func = (options & TRANSPOSE) != 0 ? choice.transposed : choice.plain;
    return choice.outputs;
  }
  return -1;
}

int count_segments(const Token* query) {
  int num = 1;
  const auto ignore = [](int, Token) {};
  walk_positions(
      query, true, ignore, [&num](int) { ++num; }, [](int) {});
  return num;
}
