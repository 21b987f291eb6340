/// A query word as recall asks for it, and the kernel's task for the entries of one length.
#pragma once

#include <memory>
#include <vector>

#include "tera/edit/edit_kernel_internal.h"
#include "tera/edit/edit_store_internal.h"

/// The positions of a query; those from EDIT_MAX_QUERY on are dropped.
class EditQuery {
 public:
  /// Without `operators` every token is a position. Alternatives must be closed.
  EditQuery(const Token* tokens, bool operators);
  EditQuery(const EditQuery&) = delete;
  EditQuery& operator=(const EditQuery&) = delete;
  /// Makes every entry match: "?*" in place of a pattern without positions.
  void match_all();
  /// Makes it a pattern of its positions that may go on at the end, and with `anywhere` at the start.
  void open(bool anywhere);

  int length() const { return static_cast<int>(accepts.size()); }
  bool has_runs() const { return hasRuns; }
  /// Whether positions were dropped, without which it is another one.
  bool is_cut() const { return isCut; }
  const EditAccept* get_accepts() const { return accepts.data(); }
  const bool* get_runs() const { return runs.get(); }

 private:
  std::vector<std::vector<Token>> members;  // per position
  std::vector<EditAccept> accepts;
  std::unique_ptr<bool[]> runs;  // per position, and behind the last
  bool hasRuns = false;
  bool isCut = false;
};

/// The columns that a query needs of the entries of one length.
class EditTaskColumns {
 public:
  /// -1 when a saved column is damaged.
  int find(const EditQuery& query, EditColumns* columns, int length);
  const VUint* const* get() const { return pointers.data(); }

 private:
  std::vector<const VUint*> pointers;
  std::vector<std::vector<VUint>> united;  // columns of alternatives
};
