#include "tera/edit/edit_query_internal.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "tera/text/tera_token_walk_internal.h"

namespace {

constexpr std::size_t PADDING = EDIT_PADDING * EDIT_BLOCK_WORDS;

/// Whether the set has no column of its own.
bool is_united(const EditAccept& set) {
  return !set.any && set.several.size() != 1;
}

std::size_t padded_words(const EditColumns& columns, int length) {
  return static_cast<std::size_t>(columns.num_blocks(length)) * static_cast<std::size_t>(length) *
             EDIT_BLOCK_WORDS +
         2 * PADDING;
}

}  // namespace

void EditQuery::build(const Token* tokens, bool operators) {
  members.clear();
  memberTokens.clear();
  sets.clear();
  setOf.clear();
  accepts.clear();
  runs.fill(false);
  hasRuns = isCut = hasAlternatives = false;
  TokenSet position;
  int current = 0;
  const auto finish = [&](int next) {  // of an alternative no member may have come
    for (; current < next; ++current, position.reset()) setOf.push_back(find_set(position));
  };
  const auto accept = [&](int pos, Token tok) {
    isCut |= pos >= EDIT_MAX_QUERY;
    if (isCut) return;
    finish(pos);
    position.set(tok);
  };
  const auto ignore = [](int) {};
  walk_positions(tokens, operators, accept, ignore, [&](int pos) {
    if (pos <= EDIT_MAX_QUERY) runs[static_cast<std::size_t>(pos)] = hasRuns = true;
  });
  if (position.any()) finish(current + 1);
  for (const TokenSet& set : members)
    for (std::size_t tok = set._Find_first(); tok < set.size(); tok = set._Find_next(tok))
      memberTokens.push_back(static_cast<Token>(tok));
  const Token* next = memberTokens.data();
  for (const TokenSet& tokenSet : members) {
    EditAccept& set = sets.emplace_back();
    set.several = {next, tokenSet.count()};
    next += tokenSet.count();
    set.any = operators && tokenSet.test(TOKEN_WILDCARD);
    if (!set.any && set.several.size() == 1) set.single = set.several.front();
    hasAlternatives |= set.single == 0;
  }
  for (const int set : setOf) accepts.push_back(sets[static_cast<std::size_t>(set)]);
}

int EditQuery::find_set(const TokenSet& tokens) {
  const auto number = std::find(members.begin(), members.end(), tokens) - members.begin();
  if (number == std::ssize(members)) members.push_back(tokens);
  return static_cast<int>(number);
}

void EditQuery::match_all() {
  sets.assign(1, EditAccept{0, {}, true});
  accepts.assign(1, sets.front());
  setOf.assign(1, 0);
  hasAlternatives = true;
  runs.fill(false);
  runs[1] = hasRuns = true;
}

void EditQuery::open(bool anywhere) {
  runs.fill(false);
  runs[0] = anywhere;
  runs[accepts.size()] = hasRuns = true;
}

VInt EditTaskColumns::union_words(const EditQuery& query, const EditColumns& columns, int length) {
  const auto num = std::count_if(query.get_sets().begin(), query.get_sets().end(), is_united);
  return num * static_cast<VInt>(padded_words(columns, length));
}

VInt EditTaskColumns::union_steps(const EditQuery& query, const EditColumns& columns, int length) {
  VInt members = 0;
  for (const EditAccept& set : query.get_sets())
    if (is_united(set)) members += static_cast<VInt>(set.several.size());
  return members * static_cast<VInt>(padded_words(columns, length));
}

int EditTaskColumns::find(const EditQuery& query, EditColumns* columns, int length) {
  setColumns.clear();
  pointers.clear();
  const std::size_t size = padded_words(*columns, length);
  const VInt total = union_words(query, *columns, length);
  united.assign(static_cast<std::size_t>(total), 0);
  auto next = united.begin() + PADDING;  // the column of the next alternative
  for (const EditAccept& set : query.get_sets()) {
    const bool isUnited = is_united(set);
    const auto column_of = [&](int tok) { return columns->get(tok, length); };
    const VUint* column =
        isUnited ? nullptr : column_of(set.any ? EditColumns::ANY_TOKEN : int{set.several.front()});
    if (!isUnited && column == nullptr) return -1;
    if (isUnited) {
      for (const Token tok : set.several) {
        const VUint* const one = column_of(tok);
        if (one == nullptr) return -1;
        std::transform(one, one + (size - 2 * PADDING), next, next, [](VUint a, VUint b) { return a | b; });
      }
      column = std::to_address(next);
      next += static_cast<std::ptrdiff_t>(size);
    }
    setColumns.push_back(column);
  }
  for (int i = 0; i < query.length(); ++i)
    pointers.push_back(setColumns[static_cast<std::size_t>(query.get_set_numbers()[i])]);
  return 0;
}
