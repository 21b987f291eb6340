#include "tera/multi/multi_query_internal.h"

#include <algorithm>

#include "tera/multi/multi_recall_internal.h"
#include "tera/teaser/teaser_text_internal.h"
#include "tera/tera_multi.h"
#include "tera/tera_result.h"
#include "tera/tera_teaser.h"

char* multi_marked_line(const TeraMultiEval& eval, const std::string& line, AceAttach* at) {
  const TeaserStyle style{TeraTeaser::MARK_PREFIX, TeraTeaser::MARK_SUFFIX, static_cast<int>(line.size()), 0,
                          false};
  std::vector<TeaserSpan> spans;
  for (const MultiMatch::Pair& pair : eval.get_match().get_chosen()) {
    const MultiText::Unit& unit = eval.get_line().get_units()[static_cast<std::size_t>(pair.line)];
    spans.push_back({unit.from, unit.to, pair.quality, pair.query});
  }
  std::sort(spans.begin(), spans.end(),
            [](const TeaserSpan& a, const TeaserSpan& b) { return a.from < b.from; });
  TeaserText text(line, style);
  for (const TeaserSpan& span : spans) text.add(span);
  return text.build(at);
}

int MultiQuery::compare(const char* entry) {
  if (entry == nullptr) return 0;
  if ((multiEval.get_ask().options & TeraMulti::EXACT) != 0)
    return multiEval.is_same(entry) ? TeraEval::PERFECT : 0;
  return multiEval.score(entry, true).quality;
}

int MultiQuery::compare(Large entry) {
  AceAttach at;
  return compare(index.get_multiword(entry, &at));
}

char* MultiQuery::display(const char* entry, AceAttach* at) const {
  if (entry == nullptr) return nullptr;
  if ((multiEval.get_ask().options & TeraMulti::NO_TEASER) != 0) return at->attach(entry);
  multiEval.score(entry, true);
  return multi_marked_line(multiEval, entry, at);
}

int MultiSingleQuery::compare(const char* entry) {
  if (entry == nullptr) return 0;
  line.split(entry, lineRules);
  int best = 0;
  for (const MultiText::Unit& unit : line.get_units())
    best = std::max(best, wordQuery->compare(line.text_of(unit)));
  return best;
}

int MultiSingleQuery::compare(Large entry) {
  AceAttach at;
  return compare(index.get_multiword(entry, &at));
}

// ---------------------------------------------------------------- the index's

/// With its words.
TeraQuery* TeraMulti::make_query(const char* text, const MultiAsk& ask, AceReporter* rep) const {
  auto query = std::make_unique<MultiQuery>(*this, text, ask);
  return query->get_eval()->find_words(0, rep) >= 0 ? query.release() : nullptr;
}

int TeraMulti::recall_lines(const MultiAsk& ask, TeraResult* result, AceReporter* rep) const {
  const TeraQueryRef query(new MultiQuery(*this, result->get_string(), ask));
  const int rc = recall_lines(query.get(), result, false, rep);
  result->add_query(query.get(), 0);
  return rc;
}

int TeraMulti::recall_lines(TeraQuery* query, TeraResult* result, bool ends, AceReporter* rep) const {
  TeraMultiEval* const eval = static_cast<MultiQuery*>(query)->get_eval();
  if ((eval->get_ask().options & EXACT) != 0) return recall_exact(eval, result, rep);
  const MultiScratchPool::Loan scratch(scratchPool.get(), numRecords);
  MultiRecall recall(*this, eval, scratch.get());
  recall.set_ends(ends);
  const int rc = recall.run(result, rep);
  if (eval->is_unreliable()) result->set_unreliable();
  return rc;
}

/// The words are looked up for queries of other lines.
int TeraMulti::recall_exact(TeraMultiEval* eval, TeraResult* result, AceReporter* rep) const {
  if (eval->is_partial() && eval->find_words(0, rep) < 0) return -1;
  if (eval->is_unreliable()) result->set_unreliable();
  const std::unique_ptr<TeraResult> found(exact(result->get_string(), eval->get_ask().options, nullptr));
  return result->add_cands_from(found.get()) >= 0 ? result->num_cands() : -1;
}

TeraQuery* TeraMulti::eval(const char* query, const TeraMap*, char, int options, TeraEval::Model model,
                           int single_min_qual, int orig_weight, const char* comp_markers,
                           TeraEval::Mode mode) const {
  if (query == nullptr || TeraEval::get_model_func(model, 0) == nullptr) return nullptr;
  const MultiAsk ask{options,
                     model,
                     mode,
                     single_min_qual,
                     SINGLE_MAX_EDIT,
                     orig_weight,
                     comp_markers != nullptr ? comp_markers : ""};
  return make_query(query, ask, nullptr);
}

TeraQuery* TeraMulti::seval(const char* query, int options, TeraEval::Mode mode,
                            TeraEval::Model model) const {
  if (query == nullptr) return nullptr;
  return new MultiSingleQuery(*this, get_rules(),
                              get_word_query(query, mode, model, options & WORD_OPTIONS, ORIG_WEIGHT));
}
