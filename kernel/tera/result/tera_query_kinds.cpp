#include "tera/tera_query_kinds.h"

#include <algorithm>
#include <utility>

#include "tera/tera_eval.h"
#include "tera/tera_result.h"
#include "tera/tera_transform.h"

namespace {

bool is_empty_part(const TeraQueryRef& query) {
  return query == nullptr || query->is_empty() != 0;
}

char* display_by(const TeraQuery* query, const char* entry, AceAttach* at) {
  return query != nullptr ? query->display(entry, at) : at->attach(entry);
}

bool equals_part(const TeraQueryRef& query, const char* entry) {
  return query != nullptr && query->equals(entry);
}

}  // namespace

// ---------------------------------------------------------------- plain and phonetic

TeraMixQuery::TeraMixQuery(TeraQuery* plain, TeraQuery* phonetic, int percent, const TeraTransform* transform)
    : plainQuery(plain),
      phoneQuery(phonetic),
      plainPercent(std::clamp(percent, 0, 100)),
      phoneCoding(transform) {}

int TeraMixQuery::is_empty() const {
  return is_empty_part(plainQuery) && is_empty_part(phoneQuery) ? 1 : 0;
}

int TeraMixQuery::compare(const char* entry) {
  if (entry == nullptr) return 0;
  const int plain = plainQuery != nullptr ? plainQuery->compare(entry) : -1;
  int phonetic = -1;
  if (phoneQuery != nullptr && phoneCoding != nullptr) {
    AceAttach at;
    char** codes = nullptr;
    const int num = phoneCoding->code(entry, &codes, &at);
    for (int i = 0; i < num; ++i) phonetic = std::max(phonetic, phoneQuery->compare(codes[i]));
  }
  if (plain < 0 && phonetic < 0) return -1;
  return TeraEval::phone_eval(std::max(plain, 0), std::max(phonetic, 0), plainPercent);
}

char* TeraMixQuery::display(const char* entry, AceAttach* at) const {
  return display_by(plainQuery.get(), entry, at);
}

bool TeraMixQuery::equals(const char* entry) const {
  return equals_part(plainQuery, entry);
}

// ---------------------------------------------------------------- equal entries

TeraForceExactQuery::TeraForceExactQuery(TeraQuery* query, TeraCand::GetString strings)
    : exactQuery(query), entryStrings(std::move(strings)) {}

int TeraForceExactQuery::is_empty() const {
  return is_empty_part(exactQuery) ? 1 : 0;
}

int TeraForceExactQuery::compare(const char* entry) {
  if (exactQuery == nullptr || exactQuery->compare(entry) < 0) return -1;
  return equals(entry) ? TeraEval::PERFECT : 0;
}

int TeraForceExactQuery::compare(Large entry) {
  if (exactQuery == nullptr || !entryStrings) return -1;
  AceAttach at;
  return compare(entryStrings(entry, &at));
}

char* TeraForceExactQuery::display(const char* entry, AceAttach* at) const {
  return display_by(exactQuery.get(), entry, at);
}

bool TeraForceExactQuery::equals(const char* entry) const {
  return equals_part(exactQuery, entry);
}

// ---------------------------------------------------------------- the best of several

MergeQuery::MergeQuery(std::vector<TeraQueryRef> queries) : mergedQueries(std::move(queries)) {}
MergeQuery::~MergeQuery() = default;

int MergeQuery::is_empty() const {
  return std::all_of(mergedQueries.begin(), mergedQueries.end(), is_empty_part) ? 1 : 0;
}

template <class Entry>
int MergeQuery::best_of(Entry entry) {
  int best = mergedQueries.empty() ? 0 : -1;
  for (const TeraQueryRef& query : mergedQueries) best = std::max(best, query->compare(entry));
  return best;
}

int MergeQuery::compare(const char* entry) {
  return best_of(entry);
}

int MergeQuery::compare(Large entry) {
  return best_of(entry);
}

char* MergeQuery::display(const char* entry, AceAttach* at) const {
  TeraQuery* shown = nullptr;
  int best = -1;
  for (const TeraQueryRef& query : mergedQueries) {
    const int quality = query->compare(entry);
    if (quality <= best) continue;
    best = quality;
    shown = query.get();
  }
  return display_by(shown, entry, at);
}

bool MergeQuery::equals(const char* entry) const {
  return std::any_of(mergedQueries.begin(), mergedQueries.end(),
                     [entry](const TeraQueryRef& query) { return equals_part(query, entry); });
}

TeraQuery* TeraQuery::create_merge_query(TeraQuery** queries, int num) {
  std::vector<TeraQueryRef> merged;
  for (int i = 0; i < num && queries != nullptr; ++i)
    if (queries[i] != nullptr) merged.push_back(TeraQueryRef(queries[i]->ref()));
  return new MergeQuery(std::move(merged));
}

TeraQuery* TeraQuery::create_merge_query(int num, TeraResult** results, TeraQuery* first) {
  std::vector<TeraQueryRef> merged;
  const auto add = [&merged](TeraQuery* query) {
    if (query != nullptr) merged.push_back(TeraQueryRef(query->ref()));
  };
  add(first);
  for (int i = 0; i < num && results != nullptr; ++i)
    if (results[i] != nullptr) add(results[i]->get_query());
  return new MergeQuery(std::move(merged));
}
