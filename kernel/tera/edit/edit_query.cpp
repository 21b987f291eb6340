#include "tera/edit/edit_query_internal.h"

#include <algorithm>

#include "tera/text/tera_token_walk_internal.h"

EditQuery::EditQuery(const Token* tokens, bool operators) {
  std::vector<int> runPositions;
  const auto accept = [this](int pos, Token tok) {
    isCut |= pos >= EDIT_MAX_QUERY;
    if (isCut) return;
    members.resize(static_cast<std::size_t>(pos) + 1);
    members.back().push_back(tok);
  };
  const auto ignore = [](int) {};
  walk_positions(tokens, operators, accept, ignore, [&](int pos) {
    if (pos <= EDIT_MAX_QUERY) runPositions.push_back(pos);
  });
  for (const std::vector<Token>& list : members) {
    EditAccept& accepted = accepts.emplace_back();
    accepted.any = operators && std::find(list.begin(), list.end(), TOKEN_WILDCARD) != list.end();
    if (!accepted.any && list.size() == 1) accepted.single = list.front();
    accepted.several = list;
  }
  runs = std::make_unique<bool[]>(members.size() + 1);
  for (const int pos : runPositions) runs[static_cast<std::size_t>(pos)] = true;
  hasRuns = !runPositions.empty();
}

void EditQuery::match_all() {
  accepts.assign(1, EditAccept{0, {}, true});
  runs = std::make_unique<bool[]>(2);
  runs[1] = hasRuns = true;
}

void EditQuery::open(bool anywhere) {
  runs = std::make_unique<bool[]>(members.size() + 1);
  runs[0] = anywhere;
  runs[members.size()] = hasRuns = true;
}

int EditTaskColumns::find(const EditQuery& query, EditColumns* columns, int length) {
  pointers.clear();
  united.clear();
  constexpr std::size_t padding = EDIT_PADDING * EDIT_BLOCK_WORDS;
  const std::size_t num = static_cast<std::size_t>(columns->num_blocks(length)) *
                          static_cast<std::size_t>(length) * EDIT_BLOCK_WORDS;
  for (int i = 0; i < query.length(); ++i) {
    const EditAccept& accept = query.get_accepts()[i];
    const bool isPlain = accept.any || accept.several.size() == 1;
    if (!isPlain) united.emplace_back(num + 2 * padding);
    const auto add = [&](int tok) {
      const VUint* const column = columns->get(tok, length);
      if (column == nullptr) return false;
      if (isPlain)
        pointers.push_back(column);
      else
        std::transform(column, column + num, united.back().begin() + padding, united.back().begin() + padding,
                       [](VUint one, VUint other) { return one | other; });
      return true;
    };
    if (accept.any) {
      if (!add(EditColumns::ANY_TOKEN)) return -1;
      continue;
    }
    for (const Token tok : accept.several)
      if (!add(tok)) return -1;
    if (!isPlain) pointers.push_back(united.back().data() + padding);
  }
  return 0;
}
