/// Blocks of up to 512 entries of one length that are looked at once more, from their tokens: for those that
/// the kernel's bytes cannot hold.
#pragma once

#include <array>
#include <span>
#include <vector>

#include "tera/edit/edit_kernel_internal.h"
#include "tera/edit/edit_query_internal.h"

class EditReeval {
 public:
  EditReeval(const EditQuery& query, int length);

  /// Puts an entry into the next free lane; one of another length counts as empty. `lane` is what it is
  /// called in hits.
  void add_token_block(const Token* tokens, Large lane);
  bool is_full() const { return lanes.size() == EDIT_BLOCK_LANES; }
  /// The hits of the block. Returns their number; `hits` has room for all entries.
  int process(EditTask task, std::span<EditHit> hits) const;
  /// Starts a new block.
  void clean();

 private:
  void set(int pos, std::size_t column);

  const EditQuery& itsQuery;
  int currentLength;
  std::vector<Large> lanes;
  std::vector<VUint> words;  // per set of the query the column of the block, and padding around each
  std::size_t columnSize;
};
