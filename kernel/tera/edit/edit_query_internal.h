/// A query word as recall asks for it, and the kernel's task for the entries of one length.
#pragma once

#include <array>
#include <bitset>
#include <span>
#include <vector>

#include "tera/edit/edit_kernel_internal.h"
#include "tera/edit/edit_store_internal.h"

/// The positions of a query; those from EDIT_MAX_QUERY on are dropped. Positions that accept the same tokens
/// share one set, of which the members are distinct: what a set costs, it costs once. Built again, it keeps
/// its memory.
class EditQuery {
 public:
  EditQuery() = default;
  EditQuery(const EditQuery&) = delete;
  EditQuery& operator=(const EditQuery&) = delete;
  /// Without `operators` every token is a position. Alternatives must be closed.
  void build(const Token* tokens, bool operators);
  /// Makes every entry match: "?*" in place of a pattern without positions.
  void match_all();
  /// Makes it a pattern of its positions that may go on at the end, and with `anywhere` at the start.
  void open(bool anywhere);

  int length() const { return static_cast<int>(accepts.size()); }
  bool has_runs() const { return hasRuns; }
  /// Whether positions were dropped, without which it is another one.
  bool is_cut() const { return isCut; }
  const EditAccept* get_accepts() const { return accepts.data(); }
  const bool* get_runs() const { return runs.data(); }
  /// The different sets, and which of them each position has.
  std::span<const EditAccept> get_sets() const { return sets; }
  const int* get_set_numbers() const { return setOf.data(); }
  bool has_alternatives() const { return hasAlternatives; }

 private:
  using TokenSet = std::bitset<NUM_TOKEN_VALUES>;
  int find_set(const TokenSet& tokens);

  std::vector<TokenSet> members;    // per set
  std::vector<Token> memberTokens;  // of all sets, one behind the other
  std::vector<EditAccept> sets;
  std::vector<int> setOf;                          // per position
  std::vector<EditAccept> accepts;                 // per position, that of its set
  std::array<bool, EDIT_MAX_QUERY + 1> runs = {};  // per position, and behind the last
  bool hasRuns = false;
  bool isCut = false;
  bool hasAlternatives = false;
};

/// The columns that a query needs of the entries of one length.
class EditTaskColumns {
 public:
  /// -1 when a saved column is damaged.
  int find(const EditQuery& query, EditColumns* columns, int length);
  const VUint* const* get() const { return pointers.data(); }
  /// Words that `find` unites, one after the other; and those that it keeps for that.
  static VInt union_steps(const EditQuery& query, const EditColumns& columns, int length);
  static VInt union_words(const EditQuery& query, const EditColumns& columns, int length);

 private:
  std::vector<const VUint*> pointers;
  std::vector<const VUint*> setColumns;
  std::vector<VUint> united;  // columns of alternatives
};
