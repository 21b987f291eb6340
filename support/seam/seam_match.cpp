#include "seam/seam_match.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_parallel.h"
#include "tera/tera_edit.h"
#include "tera/tera_result.h"

namespace {

struct MatchJob {
  const TeraEdit* index;
  const char* const* queries;
  int k;
  int minQuality;
  TeraEval::Mode mode;
  TeraEval::Model model;
  AceReporter* rep;
};
using Rows = std::vector<SeamMatch>;

void append_group(const TeraCandGroup& group, int query, int best, std::size_t most, Rows* rows) {
  const std::size_t start = rows->size();
  for (const TeraCand* cand = group.get_first_cand(); cand != nullptr; cand = cand->get_next())
    for (Large i = 0; i < cand->get_num_infos(); ++i)
      rows->push_back({query, cand->get_info(i), group.get_value(), best - group.get_value()});
  std::sort(rows->begin() + static_cast<std::ptrdiff_t>(start), rows->end(),
            [](const SeamMatch& a, const SeamMatch& b) { return a.entry < b.entry; });
  if (rows->size() > most) rows->resize(most);
}

void match_one(const MatchJob* job, Rows* rows, int*, VInt query) {
  TeraResult result(job->queries[query], job->minQuality, job->k, TeraResult::MAX_VALUE);
  if (job->index->recall(&result, job->mode, job->model, job->rep) < 0)
    throw AceException("Query refused", "number %ld: %.100s", query, job->queries[query]);
  result.high_first();
  const int best = result.get_max_value();
  Rows& found = rows[query];
  for (const TeraCandGroup* group = result.get_first_group(); group != nullptr; group = group->get_next()) {
    if (found.size() >= static_cast<std::size_t>(job->k)) break;
    append_group(*group, static_cast<int>(query), best, static_cast<std::size_t>(job->k), &found);
  }
}

}  // namespace

SeamBytes seam_match(const TeraEdit* index, const char* const* queries, int num_queries, int k,
                     int min_quality, TeraEval::Mode mode, TeraEval::Model model, int threads, AceAttach* at,
                     AceReporter* rep) {
  if (k < 1) return {nullptr, -1};
  const MatchJob job = {index, queries, k, min_quality, mode, model, rep};
  std::vector<Rows> rows(static_cast<std::size_t>(num_queries));
  AceParallel<const MatchJob, Rows, int>::map(&job, rows.data(), num_queries, nullptr, nullptr, match_one,
                                              threads, rep);
  VInt total = 0;
  for (const Rows& found : rows) total += static_cast<VInt>(found.size());
  SeamMatch* all = nullptr;
  at->malloc(all, total);
  SeamMatch* next = all;
  for (const Rows& found : rows) next = std::copy(found.begin(), found.end(), next);
  return {reinterpret_cast<const Token*>(all), total * static_cast<VInt>(sizeof(SeamMatch))};
}
