/// Looking at the entries of an edit index that can answer a query: length by length, first at the groups of
/// the filter, then at the entries of those that pass.
///
///     query, mode, model --- lengths in reach, the query's own first
///          for each:         the least measure that is wanted still       EditQualities
///                            filter's columns -> groups -> tokens         or the columns of all entries
///                            hits -> qualities -> sink
///
/// A sink has `int min_value() const`, the least quality that is wanted still, and `void add(Large slot, int
/// quality)`, which gets them in any order, each slot once. Nothing is allocated that the scratch has
/// already.
#pragma once

#include <algorithm>
#include <bit>
#include <span>

#include "ace/ace_error.h"
#include "ace/ace_time_analysis.h"
#include "tera/edit/edit_budget_internal.h"
#include "tera/edit/edit_reeval_internal.h"
#include "tera/edit/edit_scratch_internal.h"
#include "tera/edit/edit_store_internal.h"
#include "tera/measure/mode_table_internal.h"
#include "tera/tera_edit.h"

/// What is looked for: the query is the scratch's.
struct EditAsk {
  TeraEval::Mode mode;   ///< one that `edit_measure_max` knows
  TeraEval::Eval* func;  ///< null for WILDCARD
  bool transpose;
  int len_min;  ///< of the entries; 0 for no bound
  int len_max;
};

/// The model's value of a measure, as `TeraStandardQuery` asks for it.
inline int edit_quality(const EditAsk& ask, int m, int x, int n) {
  int value = TeraEval::PERFECT;
  switch (tera_mode_row(ask.mode)->form) {
    case TeraModeRow::PLAIN:
      value = ask.func(m, x, n);
      break;
    case TeraModeRow::COUNTED:
      value = ask.func(m, x, std::min(n, EDIT_WORD_LANES));
      break;
    case TeraModeRow::DOUBLED:
      value = ask.func(2 * m, x, 2 * n);
      break;
    case TeraModeRow::PAIRS:
      value = ask.func(m + 1, x, n + 1);
      break;
    case TeraModeRow::PATTERN:
      break;
  }
  return std::clamp(value, 0, TeraEval::PERFECT);
}

/// The qualities of the measures for one length, in the memory of a list.
class EditQualities {
 public:
  EditQualities(const EditAsk& ask, int m, int n, std::vector<Tiny>* list) : values(*list) {
    values.clear();
    for (int x = 0; x <= edit_measure_max(ask.mode, m, n); ++x)
      values.push_back(static_cast<Tiny>(edit_quality(ask, m, x, n)));
  }
  int operator[](int x) const { return values[static_cast<std::size_t>(x)]; }
  /// The least measure, of at least 1, with that quality; 0 when there is none.
  int fewest(int min_value) const {
    for (std::size_t x = 1; x < values.size(); ++x)
      if (values[x] >= min_value) return static_cast<int>(x);
    return 0;
  }

 private:
  std::vector<Tiny>& values;
};

/// Calls `use` for the lengths from `least` to `most`, those next to `best` first, until it gives false.
template <class Use>
bool edit_lengths_around(int best, int least, int most, Use use) {
  int below = std::min(best, most);
  int above = std::max(below + 1, least);
  while (below >= least || above <= most) {
    const bool takesBelow = above > most || (below >= least && best - below <= above - best);
    if (!use(takesBelow ? below-- : above++)) return false;
  }
  return true;
}

template <class Sink>
class EditLook {
 public:
  EditLook(const TeraEdit& edit, EditStore* edit_store, const EditAsk& what, EditScratch* room,
           EditBudget* granted, Sink* taker)
      : itsEdit(edit), store(*edit_store), ask(what), scratch(*room), budget(*granted), sink(*taker) {}

  /// Every length that can reach the quality that is wanted when its turn comes. -1, explained, when a column
  /// is damaged or the budget spent.
  int run() {
    const int q = scratch.query.length();
    const int longest = itsEdit.get_max_length() - 1;
    int most = ask.len_max <= 0 || ask.len_max > longest ? longest : ask.len_max;
    int least = ask.len_min <= 0 || ask.len_min > longest ? 1 : ask.len_min;
    if (tera_mode_row(ask.mode)->has_plain_lengths())
      TeraEval::limit_lengths(ask.func, q, sink.min_value(), least, most);
    return edit_lengths_around(q, least, most, [&](int length) { return look_at(length) >= 0; }) ? 0 : -1;
  }

 private:
  static constexpr int MIN_CHECK_LOG = std::countr_zero(static_cast<unsigned>(EditTokens::GROUP_LANES));

  int look_at(int length) {
    if (num_slots(length) == 0) return 0;
    const EditQualities qualities(ask, scratch.query.length(), length, &scratch.qualities);
    EditTask task = make_task(length, qualities.fewest(sink.min_value()));
    if (task.fewest == 0) return 0;
    task.room = scratch.room.get(edit_room_bytes(task));
    const bool isFiltered = itsEdit.get_filter() != nullptr;
    const int rc = isFiltered ? look_by_groups(task, qualities) : look_at_all(task, qualities);
    if (rc < 0) ace_error_msg(__FILE__, __LINE__, isFiltered ? SLIM_EVAL : FULL_EVAL, rc);
    return rc;
  }
  EditTask make_task(int length, int fewest) const {
    const EditQuery& query = scratch.query;
    EditTask made;
    made.mode = ask.mode;
    made.transpose = ask.transpose;
    made.m = query.length();
    made.n = length;
    made.fewest = fewest;
    made.accepts = query.get_accepts();
    made.runs = query.get_runs();
    made.sets = query.get_sets().data();
    made.setOf = query.get_set_numbers();
    made.numSets = static_cast<int>(query.get_sets().size());
    return made;
  }
  int num_slots(int length) const { return store.entry_columns().num_slots(length); }

  /// The columns of the query's positions for a length, within the budget. Null, explained.
  const VUint* const* find_columns(EditColumns* columns, int length) {
    const VInt words = EditTaskColumns::union_words(scratch.query, *columns, length);
    const VInt vectors = EditTaskColumns::union_steps(scratch.query, *columns, length) / EDIT_BLOCK_WORDS;
    if (budget.check_memory(words * static_cast<VInt>(sizeof(VUint))) < 0 || budget.spend(vectors) < 0)
      return nullptr;
    return scratch.columns.find(scratch.query, columns, length) < 0 ? nullptr : scratch.columns.get();
  }

  /// Hands the first `num` hits of the room over.
  void take(int num, const EditTask& task, const EditQualities& qualities) {
    const auto first = static_cast<Large>(itsEdit.first_slot(task.n));
    const auto numSlots = static_cast<Large>(num_slots(task.n));
    for (const EditHit& hit : std::span(scratch.hits).first(static_cast<std::size_t>(num))) {
      if (hit.lane >= numSlots) continue;
      if (const int quality = qualities[hit.measure]; quality >= sink.min_value())
        sink.add(first + hit.lane, quality);
    }
  }

  /// Without a filter.
  int look_at_all(EditTask task, const EditQualities& qualities) {
    const AceTimeSection section("FULL_SECTION");
    EditColumns& columns = store.entry_columns();
    const int last = columns.num_blocks(task.n);
    if (budget.spend(last * edit_cells(task)) < 0) return -1;
    task.columns = find_columns(&columns, task.n);
    if (task.columns == nullptr)
      return ace_error(__FILE__, __LINE__, "columns.find(query, columns, length)", -1, 0, -1);
    for (int block = 0; block < last;) {
      const int num = edit_kernel().scan(task, block, last, scratch.hits);
      const AceTimeSection results("FULL_RESULT");
      take(num, task, qualities);
    }
    return 0;
  }

  /// The filter, and the entries of the groups that it lets pass.
  int look_by_groups(EditTask task, const EditQualities& qualities) {
    {
      const AceTimeSection section("EDIT_REEVAL");
      if (find_groups(task) < 0)
        return ace_error(
            __FILE__, __LINE__,
            "marks = filterEdit->recall (query, bits, model_func, min_value, len_min, len_max, num_help, "
            "edit_tableau, &reeval)",
            -1, 0, -1);
    }
    const int numGroups = ((num_slots(task.n) - 1) >> itsEdit.get_filter_log()) + 1;
    while (!scratch.groups.empty() && scratch.groups.back() >= static_cast<Large>(numGroups))
      scratch.groups.pop_back();
    if (scratch.groups.empty()) return 0;
    const AceTimeSection section("SECTION_REEVAL");
    return itsEdit.get_string_handle() != nullptr ? check_entries(task, qualities)
                                                  : check_blocks(task, qualities);
  }
  int find_groups(const EditTask& task) {
    EditColumns& columns = store.filter_columns();
    EditTask coarse = filter_task(task);
    const int last = columns.num_blocks(task.n);
    if (budget.spend(last * edit_cells(coarse)) < 0) return -1;
    coarse.columns = find_columns(&columns, task.n);
    if (coarse.columns == nullptr) return -1;
    scratch.groups.clear();
    for (int block = 0; block < last;) {
      const int num = edit_kernel().scan(coarse, block, last, scratch.hits);
      for (int i = 0; i < num; ++i) scratch.groups.push_back(scratch.hits[static_cast<std::size_t>(i)].lane);
    }
    return 0;
  }
  /// The least measure that a group's filter slot must have for one of its entries to reach `task`. More
  /// tokens never make a measure smaller, except the walks of the sets, which take the first match they find;
  /// their hits are a common subsequence, in which swapped neighbours may count as if they were not.
  static EditTask filter_task(EditTask task) {
    if (!tera_mode_row(task.mode)->isWalk) return task;
    task.mode = TeraEval::SEQ;
    task.boundsSwaps = task.transpose;
    return task;
  }

  /// From the tokens of the groups' entries. Smaller groups are looked at with their neighbours, which costs
  /// no more.
  int check_entries(EditTask task, const EditQualities& qualities) {
    const int lanesLog = std::max(itsEdit.get_filter_log(), MIN_CHECK_LOG);
    if (const int shift = lanesLog - itsEdit.get_filter_log(); shift != 0) {
      for (Large& group : scratch.groups) group >>= shift;
      scratch.groups.erase(std::unique(scratch.groups.begin(), scratch.groups.end()), scratch.groups.end());
    }
    const VInt vectors = static_cast<VInt>(scratch.groups.size()) << (lanesLog - MIN_CHECK_LOG);
    if (budget.spend(vectors * (edit_cells(task) + set_cells(task))) < 0) return -1;
    const EditTokens& tokens = store.tokens(task.n, lanesLog, scratch.groups);
    task.bytes = tokens.get_bytes();
    task.places = tokens.get_places();
    for (int next = 0; next < static_cast<int>(scratch.groups.size());) {
      task.fewest = qualities.fewest(sink.min_value());
      if (task.fewest == 0) return 0;  // what came since is better than all that may follow
      const int num = edit_kernel().check(task, lanesLog, scratch.groups, next, scratch.hits);
      const AceTimeSection results("SECTION_RESULT");
      take(num, task, qualities);
    }
    return tokens.may_have_operators() ? check_operators(task, tokens, lanesLog, qualities) : 0;
  }
  /// Comparisons with alternatives, which take one for each member.
  static VInt set_cells(const EditTask& task) {
    VInt members = 0;
    for (int set = 0; set < task.numSets; ++set)
      if (task.sets[set].single == 0 && !task.sets[set].any)
        members += static_cast<VInt>(task.sets[set].several.size());
    const bool isKept = VInt{task.numSets} * task.n <= static_cast<VInt>(EDIT_MAX_CELLS);
    return members * task.n * (isKept ? 1 : 3) / 4;
  }

  /// Without strings, from the blocks of the matrix with the groups that passed.
  int check_blocks(EditTask task, const EditQualities& qualities) {
    EditColumns& columns = store.entry_columns();
    if (budget.spend(static_cast<VInt>(scratch.groups.size()) * edit_cells(task)) < 0) return -1;
    task.columns = find_columns(&columns, task.n);
    if (task.columns == nullptr)
      return ace_error(__FILE__, __LINE__, "columns.find(query, columns, length)", -1, 0, -1);
    const int blockLog = std::countr_zero(static_cast<unsigned>(EDIT_BLOCK_LANES)) - itsEdit.get_filter_log();
    int next = 0;
    for (const Large group : scratch.groups) {
      const int block = static_cast<int>(group >> blockLog);
      if (block < next) continue;
      next = block;
      take(edit_kernel().scan(task, next, block + 1, scratch.hits), task, qualities);
    }
    return 0;
  }

  /// The entries with operators among the groups that passed.
  int check_operators(const EditTask& task, const EditTokens& tokens, int lanes_log,
                      const EditQualities& qualities) {
    EditReeval reeval(scratch.query, task.n);
    const auto flush = [&] {
      take(reeval.process(task, scratch.hits), task, qualities);
      reeval.clean();
    };
    AceAttach at;
    const int partsLog = lanes_log - MIN_CHECK_LOG;
    for (const Large wanted : scratch.groups)
      for (Large group = wanted << partsLog; group < (wanted + 1) << partsLog; ++group)
        for (Bit left = tokens.with_operators(group); left != 0; left &= left - 1) {
          const Large found = (group << MIN_CHECK_LOG) + static_cast<Large>(std::countr_zero(left));
          const char* const string =
              itsEdit.get_string(static_cast<Large>(itsEdit.first_slot(task.n)) + found, &at);
          reeval.add_token_block(itsEdit.get_tera_map()->convert(string, false, &at), found);
          if (reeval.is_full()) flush();
          at.release();
        }
    flush();
    return 0;
  }

  static constexpr const char* FULL_EVAL =
      "full_eval(tokenstr, query_len, options, mode, model, min_value, bits, len_min, len_max, max_add, "
      "first, "
      "last, result, rep)";
  static constexpr const char* SLIM_EVAL =
      "slim_eval(tokenstr, query_len, mode, model, min_value, options, bits, len_min, len_max, max_add, "
      "result, rep)";

  const TeraEdit& itsEdit;
  EditStore& store;
  const EditAsk& ask;
  EditScratch& scratch;
  EditBudget& budget;
  Sink& sink;
};
