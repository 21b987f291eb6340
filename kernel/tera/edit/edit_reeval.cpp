#include "tera/edit/edit_reeval_internal.h"

#include <algorithm>

#include "tera/tera_token.h"
#include "tera/text/tera_token_walk_internal.h"

EditReeval::EditReeval(const EditQuery& query, int length)
    : itsQuery(query),
      currentLength(length),
      columnSize(static_cast<std::size_t>(length + 2 * EDIT_PADDING) * EDIT_BLOCK_WORDS) {}

void EditReeval::clean() {
  lanes.clear();
  std::fill(words.begin(), words.end(), VUint{0});
}

void EditReeval::set(int pos, std::size_t column) {
  const std::size_t lane = lanes.size() - 1;
  const std::size_t word = columnSize * column +
                           static_cast<std::size_t>(pos + EDIT_PADDING) * EDIT_BLOCK_WORDS +
                           lane / EDIT_WORD_LANES;
  words[word] |= VUint{1} << lane % EDIT_WORD_LANES;
}

void EditReeval::add_token_block(const Token* tokens, Large lane) {
  lanes.push_back(lane);
  const std::span<const EditAccept> sets = itsQuery.get_sets();
  words.resize(columnSize * sets.size());
  if (tokens == nullptr || TeraToken::alt_len(tokens) != currentLength) return;
  const auto accept = [&](int pos, Token tok) {
    for (std::size_t column = 0; column < sets.size(); ++column) {
      const EditAccept& accepted = sets[column];
      if (accepted.any || tok == TOKEN_WILDCARD ||
          std::find(accepted.several.begin(), accepted.several.end(), tok) != accepted.several.end())
        set(pos, column);
    }
  };
  const auto ignore = [](int) {};
  walk_positions(tokens, true, accept, ignore, ignore);
}

int EditReeval::process(EditTask task, std::span<EditHit> hits) const {
  if (lanes.empty()) return 0;
  std::vector<const VUint*> columns;
  columns.reserve(static_cast<std::size_t>(itsQuery.length()));
  for (int i = 0; i < itsQuery.length(); ++i)
    columns.push_back(words.data() + columnSize * static_cast<std::size_t>(itsQuery.get_set_numbers()[i]) +
                      EDIT_PADDING * EDIT_BLOCK_WORDS);
  task.columns = columns.data();
  int block = 0;
  const int num = edit_kernel().scan(task, block, 1, hits);
  int kept = 0;
  for (const EditHit& hit : hits.first(static_cast<std::size_t>(num)))
    if (hit.lane < lanes.size()) hits[static_cast<std::size_t>(kept++)] = {lanes[hit.lane], hit.measure};
  return kept;
}
