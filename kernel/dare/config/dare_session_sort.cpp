#include "dare/dare_session_sort.h"

#include <algorithm>

#include "ace/ace_attach.h"
#include "dare/dare_candidate.h"
#include "dast/dast_base_field_recall.h"
#include "tera/tera_rand.h"

int QualitySortFunc::cmp(const DareSortSuggestion* a, const DareSortSuggestion* b) const {
  return b->recordObj->get_quality(sessionField) - a->recordObj->get_quality(sessionField);
}

int BasicLexicalSortFunc::cmp(const DareSortSuggestion* a, const DareSortSuggestion* b) const {
  return DastCandidate::cmp_string(a->recordObj->get_string(sessionField),
                                   b->recordObj->get_string(sessionField));
}

int AdvancedLexicalSortFunc::cmp(const DareSortSuggestion* a, const DareSortSuggestion* b) const {
  AceAttach at;
  const auto text = [&](Large record) {
    return baseField->get_string_by_recordid(record, nullptr, nullptr, &at, DastOptions::FIRST);
  };
  return baseField->compare_collation(text(a->recordId), text(b->recordId), 0);
}

int DareSessionSort::compare_suggs(const DareSortSuggestion* a, const DareSortSuggestion* b) const {
  for (const auto& function : sortCmpFuncs)
    if (const int order = function->cmp(a, b); order != 0) return order;
  return 0;
}

int DareSessionSort::sort_suggestions(DareSortSuggestion** list, int n) const {
  if (n < 2) return 0;
  switch (randomMode) {
    case KEEP_ORDER:
      return 0;
    case ROUND_ROBIN:
      round_robin(list, n);
      return 0;
    case SHUFFLE:
      shuffle_suggestions(list, n);
      return 0;
    case SORT:
      resort_suggestions(list, n);
      return 0;
    default:
      return -1;
  }
}

void DareSessionSort::resort_suggestions(DareSortSuggestion** list, int n) const {
  std::stable_sort(list, list + n, [this](const auto* a, const auto* b) { return compare_suggs(a, b) < 0; });
}

void DareSessionSort::shuffle_suggestions(DareSortSuggestion** list, int n) {
  for (int i = n - 1; i >= 2; --i) std::swap(list[i], list[tera_rand(i)]);
}

void DareSessionSort::round_robin(DareSortSuggestion** list, int n) {
  std::rotate(list, list + tera_rand(n - 1), list + n);
}
